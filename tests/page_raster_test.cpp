#include "engine/mupdf_session.h"
#include "engine/page_raster.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>
#include <limits>

namespace norvane {
namespace {

using testing::buildPdf;
using testing::documentOf;
using testing::DocumentSpec;
using testing::PageSpec;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

PageSpec blankPage(PageRect media = {0, 0, 612, 792}, int rotate = 0) {
    PageSpec page;
    page.mediaBox = media;
    page.rotate = rotate;
    return page;
}

RedactionRegion box(PageRect rect) {
    RedactionRegion region;
    region.rect = rect;
    return region;
}

// Pixel rectangle, half-open: [x0, x1) × [y0, y1).
struct PixelRect {
    int x0, y0, x1, y1;
};

const std::uint8_t* pixel(const PageImage& image, int x, int y) {
    return image.samples.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) +
                                   static_cast<std::size_t>(x)) * 3;
}

bool isBlack(const std::uint8_t* p) { return p[0] == 0 && p[1] == 0 && p[2] == 0; }
bool isWhite(const std::uint8_t* p) { return p[0] == 255 && p[1] == 255 && p[2] == 255; }
bool isDark(const std::uint8_t* p) { return p[0] < 96 && p[1] < 96 && p[2] < 96; }

template <class Pred>
int countIn(const PageImage& image, PixelRect r, Pred pred) {
    int n = 0;
    for (int y = std::max(0, r.y0); y < std::min(image.height, r.y1); ++y) {
        for (int x = std::max(0, r.x0); x < std::min(image.width, r.x1); ++x) {
            n += pred(pixel(image, x, y)) ? 1 : 0;
        }
    }
    return n;
}

int area(const PageImage& image, PixelRect r) {
    return std::max(0, std::min(image.width, r.x1) - std::max(0, r.x0)) *
           std::max(0, std::min(image.height, r.y1) - std::max(0, r.y0));
}

// Bounding box of the pixels matching `pred` inside `r`; empty (x0 >= x1) when none.
template <class Pred>
PixelRect boundsOf(const PageImage& image, PixelRect r, Pred pred) {
    PixelRect b{r.x1, r.y1, r.x0, r.y0};
    for (int y = r.y0; y < r.y1; ++y) {
        for (int x = r.x0; x < r.x1; ++x) {
            if (pred(pixel(image, x, y))) {
                b = {std::min(b.x0, x), std::min(b.y0, y), std::max(b.x1, x + 1), std::max(b.y1, y + 1)};
            }
        }
    }
    return b;
}

// ---- sizes -----------------------------------------------------------------------------

struct SizeCase {
    const char* name;
    PageRect mediaBox;
    double dpi;
    std::optional<std::pair<int, int>> expected;
};

void PrintTo(const SizeCase& c, std::ostream* os) { *os << c.name; }

class RasterSizes : public ::testing::TestWithParam<SizeCase> {};

TEST_P(RasterSizes, CeilingRuleAndLimits) {
    const auto size = rasterSize(GetParam().mediaBox, GetParam().dpi);
    ASSERT_EQ(size.has_value(), GetParam().expected.has_value());
    if (size) {
        EXPECT_EQ(size->width, GetParam().expected->first);
        EXPECT_EQ(size->height, GetParam().expected->second);
    }
}

INSTANTIATE_TEST_SUITE_P(
    PageRaster, RasterSizes,
    ::testing::Values(
        SizeCase{"letterExport", {0, 0, 612, 792}, 180, std::pair{1530, 1980}},
        SizeCase{"letterOcr", {0, 0, 612, 792}, 220, std::pair{1870, 2420}},
        SizeCase{"letterVerify", {0, 0, 612, 792}, 150, std::pair{1275, 1650}},
        SizeCase{"roundsUp", {0, 0, 100.1, 50}, 72, std::pair{101, 50}},
        SizeCase{"tinyIsOnePixel", {0, 0, 0.2, 0.2}, 72, std::pair{1, 1}},
        SizeCase{"offsetOriginIgnored", {-300, 40, 200, 100}, 72, std::pair{200, 100}},
        SizeCase{"negativeExtentStandardised", {612, 792, -612, -792}, 72, std::pair{612, 792}},
        SizeCase{"zeroHeight", {0, 0, 612, 0}, 180, std::nullopt},
        SizeCase{"zeroWidth", {0, 0, 0, 792}, 180, std::nullopt},
        SizeCase{"zeroDpi", {0, 0, 612, 792}, 0, std::nullopt},
        SizeCase{"negativeDpi", {0, 0, 612, 792}, -72, std::nullopt},
        SizeCase{"nanDpi", {0, 0, 612, 792}, kNaN, std::nullopt},
        SizeCase{"nanWidth", {0, 0, kNaN, 792}, 72, std::nullopt},
        SizeCase{"infiniteWidth", {0, 0, std::numeric_limits<double>::infinity(), 792}, 72, std::nullopt},
        SizeCase{"exactlyAtPixelLimit", {0, 0, 10000, 20000}, 72, std::pair{10000, 20000}},
        SizeCase{"justOverPixelLimit", {0, 0, 10000, 20000.5}, 72, std::nullopt},
        SizeCase{"hugePage", {0, 0, 14400, 14400}, 72, std::nullopt}),
    [](const auto& p) { return std::string(p.param.name); });

struct RenderSizeCase {
    const char* name;
    PageSpec page;
    RenderOrientation orientation;
    double dpi;
    std::optional<std::pair<int, int>> expected;
};

void PrintTo(const RenderSizeCase& c, std::ostream* os) { *os << c.name; }

class RenderSizes : public ::testing::TestWithParam<RenderSizeCase> {};

TEST_P(RenderSizes, BitmapFollowsMediaBoxAndOrientation) {
    mu::Session session(documentOf({GetParam().page}));
    const auto image = renderImage(session, 0, GetParam().dpi, {}, false, GetParam().orientation);
    ASSERT_EQ(image.has_value(), GetParam().expected.has_value());
    if (image) {
        EXPECT_EQ(image->width, GetParam().expected->first);
        EXPECT_EQ(image->height, GetParam().expected->second);
        EXPECT_EQ(image->components, 3);
        EXPECT_EQ(image->samples.size(), static_cast<std::size_t>(image->width) * image->height * 3);
    }
}

INSTANTIATE_TEST_SUITE_P(
    PageRaster, RenderSizes,
    ::testing::Values(
        RenderSizeCase{"letter", blankPage(), RenderOrientation::mediaBox, 180, std::pair{1530, 1980}},
        RenderSizeCase{"rotatedAsStored", blankPage({0, 0, 612, 792}, 90), RenderOrientation::mediaBox, 180,
                       std::pair{1530, 1980}},
        RenderSizeCase{"rotated90Displayed", blankPage({0, 0, 612, 792}, 90), RenderOrientation::displayed, 180,
                       std::pair{1980, 1530}},
        RenderSizeCase{"rotated180Displayed", blankPage({0, 0, 612, 792}, 180), RenderOrientation::displayed, 180,
                       std::pair{1530, 1980}},
        RenderSizeCase{"rotated270Displayed", blankPage({0, 0, 100.1, 50}, 270), RenderOrientation::displayed, 72,
                       std::pair{50, 101}},
        RenderSizeCase{"offsetMediaBox", blankPage({50, 50, 200, 100}), RenderOrientation::mediaBox, 72,
                       std::pair{200, 100}},
        RenderSizeCase{"overPixelLimit", blankPage({0, 0, 14400, 14400}), RenderOrientation::mediaBox, 72,
                       std::nullopt}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(PageRaster, PageOutsideTheDocumentGivesNothing) {
    mu::Session session(documentOf({blankPage()}));
    EXPECT_FALSE(renderImage(session, 1, 72, {}, false));
    EXPECT_FALSE(renderImage(session, -1, 72, {}, false));
}

TEST(PageRaster, EmptyPageIsOpaqueWhite) {
    mu::Session session(documentOf({blankPage({0, 0, 200, 100})}));
    const auto image = renderImage(session, 0, 72, {}, false);
    ASSERT_TRUE(image);
    EXPECT_EQ(countIn(*image, {0, 0, image->width, image->height}, isWhite), image->width * image->height);
}

// Each failed render must hand back its slot of MuPDF's error stack (256 per context), or a
// long document with bad pages would make every later page of the session fail too.
TEST(PageRaster, ManyFailedRendersLeaveTheSessionUsable) {
    const auto bytes = testing::readFile(NORVANE_SOURCE_DIR "/tests/fuzz-crashes/image-too-large-to-decode.pdf");
    mu::Session session(PdfDocument::fromBytes(bytes));
    for (int attempt = 0; attempt < 300; ++attempt) {
        ASSERT_FALSE(renderImage(session, 0, 36, {}, false, RenderOrientation::displayed, attempt % 2 == 0)) << attempt;
    }
    const auto good = renderImage(session, 1, 36, {}, false);
    ASSERT_TRUE(good);
    EXPECT_GT(countIn(*good, {0, 0, good->width, good->height}, isDark), 0);
}

// ---- where boxes land -------------------------------------------------------------------

struct BoxCase {
    const char* name;
    PageRect mediaBox;
    int rotate;
    RenderOrientation orientation;
    double dpi;
    PageRect rect;
    PixelRect expected;  // pixels painted, clipped to the bitmap
};

void PrintTo(const BoxCase& c, std::ostream* os) { *os << c.name; }

class BoxPlacement : public ::testing::TestWithParam<BoxCase> {};

TEST_P(BoxPlacement, PaintsExactlyTheCoveredPixels) {
    const BoxCase& c = GetParam();
    mu::Session session(documentOf({blankPage(c.mediaBox, c.rotate)}));
    const auto image = renderImage(session, 0, c.dpi, {box(c.rect)}, false, c.orientation);
    ASSERT_TRUE(image);
    const PixelRect e = c.expected;
    EXPECT_EQ(countIn(*image, e, isBlack), area(*image, e)) << "box not fully black";
    const int blackEverywhere = countIn(*image, {0, 0, image->width, image->height}, isBlack);
    EXPECT_EQ(blackEverywhere, area(*image, e)) << "black outside the box";
}

constexpr auto kStored = RenderOrientation::mediaBox;
constexpr auto kShown = RenderOrientation::displayed;

INSTANTIATE_TEST_SUITE_P(
    PageRaster, BoxPlacement,
    ::testing::Values(
        BoxCase{"topLeftArea", {0, 0, 612, 792}, 0, kStored, 72, {72, 720, 100, 20}, {72, 52, 172, 72}},
        BoxCase{"offsetMediaBox", {50, 50, 200, 100}, 0, kStored, 72, {60, 60, 10, 10}, {10, 80, 20, 90}},
        BoxCase{"negativeOrigin", {-100, -50, 200, 100}, 0, kStored, 72, {-100, -50, 10, 10}, {0, 90, 10, 100}},
        BoxCase{"exportResolution", {0, 0, 612, 792}, 0, kStored, 180, {10, 20, 30, 40}, {25, 1830, 100, 1930}},
        BoxCase{"fractionalEdgesRoundOutwards", {0, 0, 100, 100}, 0, kStored, 72, {10.2, 10.2, 5.6, 5.6},
                {10, 84, 16, 90}},
        BoxCase{"negativeSizeStandardised", {0, 0, 100, 100}, 0, kStored, 72, {20, 20, -10, -10}, {10, 80, 20, 90}},
        BoxCase{"overhangClipped", {0, 0, 100, 100}, 0, kStored, 72, {-50, 90, 100, 50}, {0, 0, 50, 10}},
        BoxCase{"entirelyOffPage", {0, 0, 100, 100}, 0, kStored, 72, {200, 200, 10, 10}, {0, 0, 0, 0}},
        BoxCase{"rotatedAsStoredIgnoresRotate", {0, 0, 612, 792}, 90, kStored, 72, {0, 0, 10, 20}, {0, 772, 10, 792}},
        BoxCase{"rotated90Shown", {0, 0, 612, 792}, 90, kShown, 72, {0, 0, 10, 20}, {0, 0, 20, 10}},
        BoxCase{"rotated180Shown", {0, 0, 612, 792}, 180, kShown, 72, {0, 0, 10, 20}, {602, 0, 612, 20}},
        BoxCase{"rotated270Shown", {0, 0, 612, 792}, 270, kShown, 72, {0, 0, 10, 20}, {772, 602, 792, 612}},
        BoxCase{"rotated90ShownOffsetBox", {50, 50, 200, 100}, 90, kShown, 72, {60, 60, 10, 10}, {10, 10, 20, 20}}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(PageRaster, BoxThatIsNotANumberRefusesThePage) {
    mu::Session session(documentOf({blankPage()}));
    EXPECT_FALSE(renderImage(session, 0, 72, {box({10, 10, 10, 10}), box({kNaN, 10, 10, 10})}, false));
}

TEST(PageRaster, HugeBoxBlackensTheWholePage) {
    mu::Session session(documentOf({blankPage({0, 0, 100, 50})}));
    const auto image = renderImage(session, 0, 72, {box({-1e12, -1e12, 2e12, 2e12})}, false);
    ASSERT_TRUE(image);
    EXPECT_EQ(countIn(*image, {0, 0, 100, 50}, isBlack), 100 * 50);
}

// ---- page content lands where boxes land ---------------------------------------------------

struct ContentCase {
    const char* name;
    PageRect mediaBox;
    std::optional<PageRect> cropBox;
    int rotate;
    RenderOrientation orientation;
    PageRect mark;  // filled black in the page's own content
};

void PrintTo(const ContentCase& c, std::ostream* os) { *os << c.name; }

class ContentPlacement : public ::testing::TestWithParam<ContentCase> {};

// The whole point of a box: it must sit exactly on the content it names, whatever the
// page's origin, crop box or rotation.
TEST_P(ContentPlacement, BoxCoversContentAtTheSameRectangle) {
    const ContentCase& c = GetParam();
    PageSpec page = blankPage(c.mediaBox, c.rotate);
    page.cropBox = c.cropBox;
    page.filledBlackRects = {c.mark};
    mu::Session session(documentOf({page}));
    const auto content = renderImage(session, 0, 90, {}, false, c.orientation);
    ASSERT_TRUE(content);
    const auto boxed = renderImage(session, 0, 90, {box(c.mark)}, false, c.orientation);
    ASSERT_TRUE(boxed);
    const PixelRect all{0, 0, content->width, content->height};
    const PixelRect ink = boundsOf(*content, all, isDark);
    const PixelRect black = boundsOf(*boxed, all, isBlack);
    ASSERT_LT(ink.x0, ink.x1) << "content not drawn";
    // Anti-aliased content edges may sit one pixel inside the box's outward-rounded edges.
    EXPECT_NEAR(ink.x0, black.x0, 1);
    EXPECT_NEAR(ink.y0, black.y0, 1);
    EXPECT_NEAR(ink.x1, black.x1, 1);
    EXPECT_NEAR(ink.y1, black.y1, 1);
    EXPECT_GE(ink.x0, black.x0);
    EXPECT_GE(ink.y0, black.y0);
    EXPECT_LE(ink.x1, black.x1);
    EXPECT_LE(ink.y1, black.y1);
}

INSTANTIATE_TEST_SUITE_P(
    PageRaster, ContentPlacement,
    ::testing::Values(
        ContentCase{"plain", {0, 0, 612, 792}, std::nullopt, 0, kStored, {100, 600, 80, 30}},
        ContentCase{"offsetMediaBox", {50, 50, 300, 200}, std::nullopt, 0, kStored, {60, 200, 40, 30}},
        ContentCase{"negativeOrigin", {-200, -100, 400, 300}, std::nullopt, 0, kStored, {-150, -80, 40, 30}},
        ContentCase{"outsideSmallerCropBox", {0, 0, 612, 792}, PageRect{200, 200, 100, 100}, 0, kStored,
                    {20, 700, 60, 40}},
        ContentCase{"croppedAndOffset", {30, 40, 400, 400}, PageRect{100, 100, 50, 50}, 0, kStored, {40, 50, 30, 20}},
        ContentCase{"rotated90AsStored", {0, 0, 612, 792}, std::nullopt, 90, kStored, {100, 600, 80, 30}},
        ContentCase{"rotated90Shown", {0, 0, 612, 792}, std::nullopt, 90, kShown, {100, 600, 80, 30}},
        ContentCase{"rotated180Shown", {0, 0, 612, 792}, std::nullopt, 180, kShown, {100, 600, 80, 30}},
        ContentCase{"rotated270Shown", {0, 0, 612, 792}, std::nullopt, 270, kShown, {100, 600, 80, 30}},
        ContentCase{"rotated270ShownCroppedOffset", {50, 50, 400, 300}, PageRect{100, 100, 60, 60}, 270, kShown,
                    {70, 300, 50, 30}}),
    [](const auto& p) { return std::string(p.param.name); });

class DisplayedOrientation : public ::testing::TestWithParam<int> {};

// Turning the page must agree with how MuPDF itself shows a rotated page.
TEST_P(DisplayedOrientation, MatchesTheViewersOwnRendering) {
    PageSpec page = blankPage({0, 0, 300, 200}, GetParam());
    page.filledBlackRects = {{10, 150, 60, 30}, {200, 20, 40, 40}};
    page.texts = {{"Upright?", 100, 100, 14}};
    const auto document = documentOf({page});
    mu::Session session(document);
    const auto ours = renderImage(session, 0, 72, {}, false, RenderOrientation::displayed);
    ASSERT_TRUE(ours);

    fz_context* ctx = session.ctx();
    fz_pixmap* theirs = nullptr;
    mu::muCall(ctx, [&] {
        fz_page* p = fz_load_page(ctx, session.doc(), 0);
        fz_try(ctx) { theirs = fz_new_pixmap_from_page(ctx, p, fz_identity, fz_device_rgb(ctx), 0); }
        fz_always(ctx) { fz_drop_page(ctx, p); }
        fz_catch(ctx) { fz_rethrow(ctx); }
    });
    ASSERT_EQ(fz_pixmap_width(ctx, theirs), ours->width);
    ASSERT_EQ(fz_pixmap_height(ctx, theirs), ours->height);
    int differing = 0;
    for (int y = 0; y < ours->height; ++y) {
        const unsigned char* row = fz_pixmap_samples(ctx, theirs) + static_cast<std::ptrdiff_t>(y) * fz_pixmap_stride(ctx, theirs);
        for (int x = 0; x < ours->width * 3; ++x) {
            differing += std::abs(row[x] - ours->samples[static_cast<std::size_t>(y * ours->width * 3 + x)]) > 8 ? 1 : 0;
        }
    }
    fz_drop_pixmap(ctx, theirs);
    EXPECT_LT(differing, ours->width * ours->height * 3 / 1000);
}

INSTANTIATE_TEST_SUITE_P(PageRaster, DisplayedOrientation, ::testing::Values(0, 90, 180, 270));

// ---- what the page itself shows ------------------------------------------------------------

TEST(PageRaster, AnnotationsAndFilledFormFieldsAreDrawn) {
    PageSpec page = blankPage();
    page.annotations.push_back({testing::AnnotationSpec::Kind::freeText, {72, 600, 300, 40}, "MMMMMMMMMMMM"});
    page.fields.push_back({"name", {72, 500, 300, 24}, "WWWWWWWWWWWW"});
    mu::Session session(documentOf({page}));
    const auto image = renderImage(session, 0, 72, {}, false);
    ASSERT_TRUE(image);
    EXPECT_GT(countIn(*image, {72, 792 - 640, 372, 792 - 600}, isDark), 50) << "annotation missing";
    EXPECT_GT(countIn(*image, {72, 792 - 524, 372, 792 - 500}, isDark), 50) << "form field missing";
}

// ---- labels ---------------------------------------------------------------------------------

constexpr double kLabelDpi = 288;  // four pixels per point: fine enough to measure glyphs
constexpr double kPx = kLabelDpi / 72;

struct LabelCase {
    const char* name;
    PageRect rect;
    bool labels;
    std::optional<double> fontSize;  // nothing: no label
};

void PrintTo(const LabelCase& c, std::ostream* os) { *os << c.name; }

class Labels : public ::testing::TestWithParam<LabelCase> {};

PixelRect pixelsOf(const PageRect& r, double pageHeight) {
    return {static_cast<int>(std::ceil(r.x * kPx)), static_cast<int>(std::ceil((pageHeight - r.y - r.height) * kPx)),
            static_cast<int>(std::floor((r.x + r.width) * kPx)), static_cast<int>(std::floor((pageHeight - r.y) * kPx))};
}

TEST_P(Labels, SizeRuleAndCentring) {
    const LabelCase& c = GetParam();
    mu::Session session(documentOf({blankPage({0, 0, 400, 300})}));
    const auto image = renderImage(session, 0, kLabelDpi, {box(c.rect)}, c.labels);
    ASSERT_TRUE(image);
    const auto notBlack = [](const std::uint8_t* p) { return p[0] > 64; };
    const PageRect r = c.rect.standardized();
    const PixelRect inside = pixelsOf(r, 300);
    const PixelRect ink = boundsOf(*image, inside, notBlack);
    if (!c.fontSize) {
        EXPECT_EQ(countIn(*image, inside, notBlack), 0);
        return;
    }
    ASSERT_LT(ink.x0, ink.x1) << "no label";
    const double size = *c.fontSize;
    // Ink of upper-case Helvetica Bold: a little under the advance width; capitals with their
    // anti-aliased edges stand about 0.77 em tall.
    const double advance = testing::textWidth("REDACTED", size, "Helvetica-Bold") * kPx;
    const double inkWidth = ink.x1 - ink.x0;
    const double inkHeight = ink.y1 - ink.y0;
    EXPECT_GT(inkWidth, advance * 0.9);
    EXPECT_LE(inkWidth, advance + 2);
    EXPECT_NEAR(inkHeight / kPx / size, 0.77, 0.03);
    const double boxCentreX = (r.x + r.width / 2) * kPx;
    const double boxCentreY = (300 - r.y - r.height / 2) * kPx;
    EXPECT_NEAR((ink.x0 + ink.x1) / 2.0, boxCentreX, 1.5 * kPx);
    EXPECT_NEAR((ink.y0 + ink.y1) / 2.0, boxCentreY, 2.0 * kPx);
    // The label is pure white on pure black, nothing else.
    EXPECT_GT(countIn(*image, inside, isWhite), 0);
}

INSTANTIATE_TEST_SUITE_P(
    PageRaster, Labels,
    ::testing::Values(LabelCase{"smallestLabelled", {50, 50, 72, 18}, true, 8.1},
                      LabelCase{"sizeFromHeight", {50, 50, 100, 20}, true, 9.0},
                      LabelCase{"sizeCapped", {50, 50, 300, 100}, true, 11.0},
                      LabelCase{"tooNarrow", {50, 50, 71.9, 40}, true, std::nullopt},
                      LabelCase{"tooLow", {50, 50, 200, 17.9}, true, std::nullopt},
                      LabelCase{"negativeSizeStandardised", {350, 150, -300, -100}, true, 11.0},
                      LabelCase{"labelsOff", {50, 50, 300, 100}, false, std::nullopt}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(PageRaster, LaterBoxCoversEarlierLabel) {
    mu::Session session(documentOf({blankPage({0, 0, 500, 300})}));
    const PageRect first{100, 100, 300, 40};   // label centred at x = 250, about 219 to 281
    const PageRect second{240, 95, 200, 50};   // covers the label's right part, own label at 340
    const auto image = renderImage(session, 0, kLabelDpi, {box(first), box(second)}, true);
    ASSERT_TRUE(image);
    const auto notBlack = [](const std::uint8_t* p) { return p[0] > 64; };
    const auto strip = [](double x0, double x1) {
        return PixelRect{static_cast<int>(x0 * kPx), static_cast<int>((300 - 145) * kPx), static_cast<int>(x1 * kPx),
                         static_cast<int>((300 - 95) * kPx)};
    };
    EXPECT_GT(countIn(*image, strip(215, 239), notBlack), 0) << "first label's visible part";
    EXPECT_EQ(countIn(*image, strip(241, 300), notBlack), 0) << "second box must hide the first label";
    EXPECT_GT(countIn(*image, strip(305, 375), notBlack), 0) << "second label";
}

class RotatedLabel : public ::testing::TestWithParam<int> {};

// On a turned page the label must read upright for the person looking at the page.
TEST_P(RotatedLabel, ReadsUprightWhereThePageIsShownUpright) {
    const int rotate = GetParam();
    mu::Session session(documentOf({blankPage({0, 0, 300, 300}, rotate)}));
    // 40 wide and 200 high in page space: 200 × 40 as shown on a quarter-turned page.
    const PageRect tall{130, 50, 40, 200};
    const auto image = renderImage(session, 0, kLabelDpi, {box(tall)}, true, RenderOrientation::displayed);
    ASSERT_TRUE(image);
    const auto notBlack = [](const std::uint8_t* p) { return p[0] > 64; };
    // Outside the box everything is white, so look only inside it.
    const PixelRect inBox = boundsOf(
        *image, {0, 0, image->width, image->height}, [](const std::uint8_t* p) { return p[0] == 0; });
    const PixelRect label = boundsOf(*image, inBox, notBlack);
    ASSERT_LT(label.x0, label.x1) << "no label";
    EXPECT_GT(label.x1 - label.x0, 3 * (label.y1 - label.y0)) << "label not horizontal on screen";
}

INSTANTIATE_TEST_SUITE_P(PageRaster, RotatedLabel, ::testing::Values(90, 270));

TEST(PageRaster, QuarterTurnedPageJudgesLabelSizeAsShown) {
    // 200 × 40 in page space is only 40 wide on screen: too narrow for a label.
    mu::Session session(documentOf({blankPage({0, 0, 300, 300}, 90)}));
    const auto image = renderImage(session, 0, 72, {box({50, 130, 200, 40})}, true, RenderOrientation::displayed);
    ASSERT_TRUE(image);
    EXPECT_EQ(countIn(*image, {0, 0, image->width, image->height}, [](const std::uint8_t* p) { return p[0] > 0 && p[0] < 255; }) +
                  countIn(*image, {0, 0, image->width, image->height}, isWhite),
              image->width * image->height - 200 * 40);
}


// ---- compact edges (the export's rendering) ----

std::set<int> greyLevels(const PageImage& image) {
    std::set<int> levels;
    for (std::size_t i = 0; i < image.samples.size(); i += 3) {
        levels.insert(image.samples[i]);
    }
    return levels;
}

PageSpec textPage(double bottomLineY) {
    PageSpec page;
    page.texts = {{"Confidential: John Smith, 4711-A", 72, 720, 12}, {"Severance paid in instalments", 72, 700, 10},
                  {"Bottom line of the page", 72, bottomLineY, 11}};
    return page;
}

TEST(CompactEdges, TextPagesGetTenEdgeLevelsAndTheSameInk) {
    // 792 pt at 100 dpi is 1100 rows: not a whole number of bands, and the last line sits in
    // the final partial band.
    const auto document = documentOf({textPage(2)});
    mu::Session session(document);
    const auto exact = renderImage(session, 0, 100, {}, false);
    const auto compact = renderImage(session, 0, 100, {}, false, RenderOrientation::mediaBox, true);
    ASSERT_TRUE(exact && compact);
    ASSERT_EQ(compact->width, exact->width);
    ASSERT_EQ(compact->height, exact->height);
    EXPECT_GT(greyLevels(*exact).size(), 10u);
    EXPECT_LE(greyLevels(*compact).size(), 10u);
    EXPECT_TRUE(greyLevels(*compact).count(0) && greyLevels(*compact).count(255));
    // Ink lands in the same places: compare dark-pixel counts per horizontal strip of 50 rows.
    for (int y = 0; y < exact->height; y += 50) {
        const PixelRect strip{0, y, exact->width, y + 50};
        const int a = countIn(*exact, strip, isDark);
        const int b = countIn(*compact, strip, isDark);
        EXPECT_NEAR(a, b, 0.25 * std::max(a, b) + 20) << "rows from " << y;
        EXPECT_EQ(a == 0, b == 0) << "rows from " << y;
    }
}

TEST(CompactEdges, PagesWithImagesKeepTheDirectRendering) {
    PageSpec page = textPage(100);
    page.images.push_back(testing::ImageSpec{{100, 300, 300, 200}, 64, 64, false, 7});
    const auto document = documentOf({page});
    mu::Session session(document);
    const auto exact = renderImage(session, 0, 72, {}, false);
    const auto compact = renderImage(session, 0, 72, {}, false, RenderOrientation::mediaBox, true);
    ASSERT_TRUE(exact && compact);
    EXPECT_EQ(exact->samples, compact->samples);
}

TEST(CompactEdges, BoxesAndLabelsAreUnchanged) {
    const auto document = documentOf({textPage(100)});
    mu::Session session(document);
    const std::vector<RedactionRegion> boxes{box({60, 690, 300, 50}), box({60, 95, 200, 30})};
    const auto exact = renderImage(session, 0, 180, boxes, true);
    const auto compact = renderImage(session, 0, 180, boxes, true, RenderOrientation::mediaBox, true);
    ASSERT_TRUE(exact && compact);
    for (const auto& region : boxes) {
        const double s = 180.0 / 72.0;
        const PixelRect area{static_cast<int>(region.rect.x * s), static_cast<int>((792 - region.rect.maxY()) * s),
                             static_cast<int>(region.rect.maxX() * s), static_cast<int>((792 - region.rect.y) * s)};
        // Identical inside each box: the same black and the same white label.
        for (int y = area.y0 + 1; y < area.y1 - 1; ++y) {
            for (int x = area.x0 + 1; x < area.x1 - 1; ++x) {
                ASSERT_EQ(std::memcmp(pixel(*exact, x, y), pixel(*compact, x, y), 3), 0) << x << "," << y;
            }
        }
        EXPECT_GT(countIn(*compact, area, isBlack), (area.x1 - area.x0) * (area.y1 - area.y0) / 2);
    }
}

}  // namespace
}  // namespace norvane
