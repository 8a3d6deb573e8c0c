#include "engine/page_raster.h"
#include "engine/mupdf_session.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

namespace norvane {
namespace {

using namespace norvane::testing;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr auto kStored = RenderOrientation::mediaBox;
constexpr auto kShown = RenderOrientation::displayed;

// Pixel rectangle, half-open: [x0, x1) × [y0, y1).
struct PixelRect {
    int x0, y0, x1, y1;
};

const std::uint8_t* pixel(const PageImage& image, int x, int y) {
    return image.samples.data() +
           (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) + static_cast<std::size_t>(x)) * 3;
}

const auto isBlack = [](const std::uint8_t* p) { return p[0] == 0 && p[1] == 0 && p[2] == 0; };
const auto isWhite = [](const std::uint8_t* p) { return p[0] == 255 && p[1] == 255 && p[2] == 255; };
const auto isDark = [](const std::uint8_t* p) { return p[0] < 96 && p[1] < 96 && p[2] < 96; };
const auto notBlack = [](const std::uint8_t* p) { return p[0] > 64; };

PixelRect all(const PageImage& image) {
    return {0, 0, image.width, image.height};
}

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

TEST(PageRaster, SizeRoundsUpWithinLimits) {
    const double inf = std::numeric_limits<double>::infinity();
    const std::tuple<PageRect, double, std::optional<std::pair<int, int>>> cases[] = {
        {{0, 0, 612, 792}, 180, std::pair{1530, 1980}},
        {{0, 0, 100.1, 50}, 72, std::pair{101, 50}},
        {{0, 0, 0.2, 0.2}, 72, std::pair{1, 1}},
        {{-300, 40, 200, 100}, 72, std::pair{200, 100}},
        {{612, 792, -612, -792}, 72, std::pair{612, 792}},
        {{0, 0, 10000, 20000}, 72, std::pair{10000, 20000}},  // exactly at the pixel limit
        {{0, 0, 10000, 20000.5}, 72, std::nullopt},
        {{0, 0, 14400, 14400}, 72, std::nullopt},
        {{0, 0, 612, 0}, 180, std::nullopt},
        {{0, 0, 0, 792}, 180, std::nullopt},
        {{0, 0, kNaN, 792}, 72, std::nullopt},
        {{0, 0, inf, 792}, 72, std::nullopt},
        {{0, 0, 612, 792}, 0, std::nullopt},
        {{0, 0, 612, 792}, -72, std::nullopt},
        {{0, 0, 612, 792}, kNaN, std::nullopt},
    };
    for (const auto& [mediaBox, dpi, expected] : cases) {
        const auto size = rasterSize(mediaBox, dpi);
        ASSERT_EQ(size.has_value(), expected.has_value()) << mediaBox.width << " x " << mediaBox.height << " @ " << dpi;
        if (size) {
            EXPECT_EQ(std::pair(size->width, size->height), *expected);
        }
    }
}

// Each failed render must hand back its slot of MuPDF's error stack (256 per context), or a
// long document with bad pages would make every later page of the session fail too.
TEST(PageRaster, ManyFailedRendersLeaveTheSessionUsable) {
    mu::Session session(
        PdfDocument::fromBytes(readFile(NORVANE_SOURCE_DIR "/tests/fuzz-crashes/image-too-large-to-decode.pdf")));
    for (int attempt = 0; attempt < 300; ++attempt) {
        const auto image = renderImage(session, {.dpi = 36, .orientation = kShown, .compactEdges = attempt % 2 == 0});
        ASSERT_EQ(image.failure(), PageFailure::unrenderable) << attempt;
    }
    const auto good = renderImage(session, {.pageIndex = 1, .dpi = 36});
    ASSERT_TRUE(good);
    EXPECT_GT(countIn(*good, all(*good), isDark), 0);
}

// A page that cannot be drawn says why, so the export and the searches can tell the person.
TEST(PageRaster, FailuresSayWhy) {
    // The page's /Parent chain loops, so MuPDF cannot look up its inherited boxes.
    const auto loopingParents = PdfDocument::fromBytes(rawPdf({
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 /Parent 4 0 R >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Rotate 0 >>",
        "<< /Parent 2 0 R >>",
    }));
    const auto letter = documentOf({PageSpec{}});
    struct Case {
        const char* name;
        SharedPdfDocument document;
        RenderRequest request;
        PageFailure expected;
    };
    const Case cases[] = {
        {"overThePixelLimit", documentOf({{.mediaBox = {0, 0, 14400, 14400}}}), {}, PageFailure::tooLarge},
        {"noArea", documentOf({{.mediaBox = {0, 0, 612, 0}}}), {}, PageFailure::tooLarge},
        {"windowOverThePixelLimit",
         documentOf({{.mediaBox = {0, 0, 14400, 14400}}}),
         {.window = PixelWindow{0, 0, 14400, 14400}},
         PageFailure::tooLarge},
        {"windowOutsideThePage", letter, {.window = PixelWindow{612, 0, 10, 10}}, PageFailure::unrenderable},
        {"noSuchPage", letter, {.pageIndex = 1}, PageFailure::unrenderable},
        {"negativePage", letter, {.pageIndex = -1}, PageFailure::unrenderable},
        {"boxNotANumber",
         letter,
         {.boxes = {region(0, {10, 10, 10, 10}), region(0, {kNaN, 10, 10, 10})}},
         PageFailure::unrenderable},
        {"unloadablePage", loopingParents, {}, PageFailure::unparsable},
    };
    for (const Case& c : cases) {
        mu::Session session(c.document);
        const auto image = renderImage(session, c.request);
        EXPECT_FALSE(image) << c.name;
        EXPECT_FALSE(image.cancelled()) << c.name;
        EXPECT_EQ(image.failure(), c.expected) << c.name;
    }

    // A render stopped through its cookie is not a failure of the page.
    mu::Session session(letter);
    fz_cookie cookie{};
    cookie.abort = 1;
    const auto stopped = renderImage(session, {.cookie = &cookie});
    EXPECT_TRUE(!stopped && stopped.cancelled() && !stopped.failure());
}

TEST(PageRaster, BoxesPaintExactlyTheCoveredPixels) {
    struct Case {
        const char* name;
        PageSpec page;
        RenderOrientation orientation;
        double dpi;
        PageRect rect;
        PixelRect expected;  // clipped to the bitmap
    };
    const Case cases[] = {
        {"topLeftArea", {}, kStored, 72, {72, 720, 100, 20}, {72, 52, 172, 72}},
        {"offsetMediaBox", {.mediaBox = {50, 50, 200, 100}}, kStored, 72, {60, 60, 10, 10}, {10, 80, 20, 90}},
        {"negativeOrigin", {.mediaBox = {-100, -50, 200, 100}}, kStored, 72, {-100, -50, 10, 10}, {0, 90, 10, 100}},
        {"exportResolution", {}, kStored, 180, {10, 20, 30, 40}, {25, 1830, 100, 1930}},
        {"fractionRoundsOut", {.mediaBox = {0, 0, 100, 100}}, kStored, 72, {10.2, 10.2, 5.6, 5.6}, {10, 84, 16, 90}},
        {"negativeSizeStandardised", {.mediaBox = {0, 0, 100, 100}}, kStored, 72, {20, 20, -10, -10}, {10, 80, 20, 90}},
        {"overhangClipped", {.mediaBox = {0, 0, 100, 100}}, kStored, 72, {-50, 90, 100, 50}, {0, 0, 50, 10}},
        {"entirelyOffPage", {.mediaBox = {0, 0, 100, 100}}, kStored, 72, {200, 200, 10, 10}, {0, 0, 0, 0}},
        {"hugeBox", {.mediaBox = {0, 0, 100, 50}}, kStored, 72, {-1e12, -1e12, 2e12, 2e12}, {0, 0, 100, 50}},
        {"rotatedAsStored", {.rotate = 90}, kStored, 72, {0, 0, 10, 20}, {0, 772, 10, 792}},
        {"rotated90Shown", {.rotate = 90}, kShown, 72, {0, 0, 10, 20}, {0, 0, 20, 10}},
        {"rotated180Shown", {.rotate = 180}, kShown, 72, {0, 0, 10, 20}, {602, 0, 612, 20}},
        {"rotated270Shown", {.rotate = 270}, kShown, 72, {0, 0, 10, 20}, {772, 602, 792, 612}},
        {"offset90", {.mediaBox = {50, 50, 200, 100}, .rotate = 90}, kShown, 72, {60, 60, 10, 10}, {10, 10, 20, 20}},
    };
    for (const Case& c : cases) {
        for (const bool compact : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (compact ? ", compact edges" : ""));
            mu::Session session(documentOf({c.page}));
            const auto image = renderImage(
                session,
                {.dpi = c.dpi, .boxes = {region(0, c.rect)}, .orientation = c.orientation, .compactEdges = compact});
            ASSERT_TRUE(image);
            EXPECT_EQ(countIn(*image, c.expected, isBlack), area(*image, c.expected)) << "box not fully black";
            EXPECT_EQ(countIn(*image, all(*image), isBlack), area(*image, c.expected)) << "black outside the box";
        }
    }
}

// The whole point of a box: it must sit exactly on the content it names, whatever the
// page's origin, crop box or rotation.
TEST(PageRaster, BoxCoversContentAtTheSameRectangle) {
    struct Case {
        const char* name;
        PageSpec page;
        RenderOrientation orientation;
        PageRect mark;  // filled black in the page's own content
    };
    const Case cases[] = {
        {"plain", {}, kStored, {100, 600, 80, 30}},
        {"offsetMediaBox", {.mediaBox = {50, 50, 300, 200}}, kStored, {60, 200, 40, 30}},
        {"negativeOrigin", {.mediaBox = {-200, -100, 400, 300}}, kStored, {-150, -80, 40, 30}},
        {"outsideSmallerCropBox", {.cropBox = PageRect{200, 200, 100, 100}}, kStored, {20, 700, 60, 40}},
        {"cropOffset",
         {.mediaBox = {30, 40, 400, 400}, .cropBox = PageRect{100, 100, 50, 50}},
         kStored,
         {40, 50, 30, 20}},
        {"rotated90AsStored", {.rotate = 90}, kStored, {100, 600, 80, 30}},
        {"rotated90Shown", {.rotate = 90}, kShown, {100, 600, 80, 30}},
        {"rotated180Shown", {.rotate = 180}, kShown, {100, 600, 80, 30}},
        {"rotated270Shown", {.rotate = 270}, kShown, {100, 600, 80, 30}},
        {"cropOffset270",
         {.mediaBox = {50, 50, 400, 300}, .cropBox = PageRect{100, 100, 60, 60}, .rotate = 270},
         kShown,
         {70, 300, 50, 30}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PageSpec page = c.page;
        page.filledBlackRects = {c.mark};
        mu::Session session(documentOf({page}));
        const auto content = renderImage(session, {.dpi = 90, .orientation = c.orientation});
        const auto boxed =
            renderImage(session, {.dpi = 90, .boxes = {region(0, c.mark)}, .orientation = c.orientation});
        ASSERT_TRUE(content && boxed);
        const PixelRect ink = boundsOf(*content, all(*content), isDark);
        const PixelRect black = boundsOf(*boxed, all(*boxed), isBlack);
        ASSERT_LT(ink.x0, ink.x1) << "content not drawn";
        // Anti-aliased content edges may sit one pixel inside the box's outward-rounded edges.
        for (const auto& [inner, outer] : {std::pair{ink.x0, black.x0}, std::pair{ink.y0, black.y0},
                                           std::pair{black.x1, ink.x1}, std::pair{black.y1, ink.y1}}) {
            EXPECT_GE(inner, outer);
            EXPECT_LE(inner - outer, 1);
        }
    }
}

TEST(PageRaster, AnnotationsAndFilledFormFieldsAreDrawn) {
    PageSpec page;
    page.annotations.push_back({AnnotationSpec::Kind::freeText, {72, 600, 300, 40}, "MMMMMMMMMMMM"});
    page.fields.push_back({"name", {72, 500, 300, 24}, "WWWWWWWWWWWW"});
    mu::Session session(documentOf({page}));
    const auto image = renderImage(session, {.dpi = 72});
    ASSERT_TRUE(image);
    EXPECT_GT(countIn(*image, {72, 792 - 640, 372, 792 - 600}, isDark), 50) << "annotation missing";
    EXPECT_GT(countIn(*image, {72, 792 - 524, 372, 792 - 500}, isDark), 50) << "form field missing";
}

// ---- labels ---------------------------------------------------------------------------------

constexpr double kLabelDpi = 288;  // four pixels per point: fine enough to measure glyphs
constexpr double kPx = kLabelDpi / 72;

PixelRect labelPixels(double x0, double y0, double x1, double y1, double pageHeight) {
    return {static_cast<int>(std::ceil(x0 * kPx)), static_cast<int>(std::ceil((pageHeight - y1) * kPx)),
            static_cast<int>(std::floor(x1 * kPx)), static_cast<int>(std::floor((pageHeight - y0) * kPx))};
}

TEST(PageRaster, LabelSizeFollowsTheBoxAndSitsCentred) {
    const std::tuple<PageRect, bool, std::optional<double>> cases[] = {
        {{50, 50, 72, 18}, true, 8.1},  // the smallest box with a label
        {{50, 50, 100, 20}, true, 9.0},
        {{50, 50, 300, 100}, true, 11.0},  // capped
        {{350, 150, -300, -100}, true, 11.0},
        {{50, 50, 71.9, 40}, true, std::nullopt},
        {{50, 50, 200, 17.9}, true, std::nullopt},
        {{50, 50, 300, 100}, false, std::nullopt},
    };
    for (const auto& [rect, labels, fontSize] : cases) {
        SCOPED_TRACE(rect.width);
        mu::Session session(documentOf({PageSpec{.mediaBox = {0, 0, 400, 300}}}));
        const auto image =
            renderImage(session, {.dpi = kLabelDpi, .boxes = {region(0, rect)}, .labelRedactions = labels});
        ASSERT_TRUE(image);
        const PageRect r = rect.standardized();
        const PixelRect inside = labelPixels(r.x, r.y, r.maxX(), r.maxY(), 300);
        const PixelRect ink = boundsOf(*image, inside, notBlack);
        if (!fontSize) {
            EXPECT_EQ(countIn(*image, inside, notBlack), 0);
            continue;
        }
        ASSERT_LT(ink.x0, ink.x1) << "no label";
        // Ink of upper-case Helvetica Bold: a little under the advance width; capitals with their
        // anti-aliased edges stand about 0.77 em tall.
        const double advance = textWidth("REDACTED", *fontSize, "Helvetica-Bold") * kPx;
        EXPECT_GT(ink.x1 - ink.x0, advance * 0.9);
        EXPECT_LE(ink.x1 - ink.x0, advance + 2);
        EXPECT_NEAR((ink.y1 - ink.y0) / kPx / *fontSize, 0.77, 0.03);
        EXPECT_NEAR((ink.x0 + ink.x1) / 2.0, (r.x + r.width / 2) * kPx, 1.5 * kPx);
        EXPECT_NEAR((ink.y0 + ink.y1) / 2.0, (300 - r.y - r.height / 2) * kPx, 2.0 * kPx);
        EXPECT_GT(countIn(*image, inside, isWhite), 0) << "pure white on pure black";
    }
}

TEST(PageRaster, LaterBoxCoversEarlierLabel) {
    mu::Session session(documentOf({PageSpec{.mediaBox = {0, 0, 500, 300}}}));
    const PageRect first{100, 100, 300, 40};  // label centred at x = 250, about 219 to 281
    const PageRect second{240, 95, 200, 50};  // covers the label's right part, own label at 340
    const auto image = renderImage(
        session, {.dpi = kLabelDpi, .boxes = {region(0, first), region(0, second)}, .labelRedactions = true});
    ASSERT_TRUE(image);
    EXPECT_GT(countIn(*image, labelPixels(215, 95, 239, 145, 300), notBlack), 0) << "first label's visible part";
    EXPECT_EQ(countIn(*image, labelPixels(241, 95, 300, 145, 300), notBlack), 0) << "second box must hide it";
    EXPECT_GT(countIn(*image, labelPixels(305, 95, 375, 145, 300), notBlack), 0) << "second label";
}

// On a turned page the label must read upright for the person looking at the page, and its
// size is judged as shown.
TEST(PageRaster, LabelsOnTurnedPagesReadUpright) {
    for (int rotate : {90, 270}) {
        mu::Session session(documentOf({PageSpec{.mediaBox = {0, 0, 300, 300}, .rotate = rotate}}));
        // 40 wide and 200 high in page space: 200 × 40 as shown.
        const auto image = renderImage(session, {.dpi = kLabelDpi,
                                                 .boxes = {region(0, {130, 50, 40, 200})},
                                                 .labelRedactions = true,
                                                 .orientation = kShown});
        ASSERT_TRUE(image);
        const PixelRect inBox = boundsOf(*image, all(*image), isBlack);
        const PixelRect label = boundsOf(*image, inBox, notBlack);
        ASSERT_LT(label.x0, label.x1) << rotate;
        EXPECT_GT(label.x1 - label.x0, 3 * (label.y1 - label.y0)) << "label not horizontal on screen";
    }
    // 200 × 40 in page space is only 40 wide on screen: too narrow for a label.
    mu::Session session(documentOf({PageSpec{.mediaBox = {0, 0, 300, 300}, .rotate = 90}}));
    const auto image = renderImage(
        session, {.dpi = 72, .boxes = {region(0, {50, 130, 200, 40})}, .labelRedactions = true, .orientation = kShown});
    ASSERT_TRUE(image);
    EXPECT_EQ(countIn(*image, all(*image), isBlack), 200 * 40);
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
    return {.texts = {{"Confidential: John Smith, 4711-A", 72, 720, 12},
                      {"Severance paid in instalments", 72, 700, 10},
                      {"Bottom line of the page", 72, bottomLineY, 11}}};
}

TEST(CompactEdges, TextPagesGetTenEdgeLevelsAndTheSameInk) {
    // 792 pt at 100 dpi is 1100 rows: not a whole number of bands, and the last line sits in
    // the final partial band.
    mu::Session session(documentOf({textPage(2)}));
    const auto exact = renderImage(session, {.dpi = 100});
    const auto compact = renderImage(session, {.dpi = 100, .compactEdges = true});
    ASSERT_TRUE(exact && compact);
    ASSERT_EQ(std::pair(compact->width, compact->height), std::pair(exact->width, exact->height));
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

// Where partial coverage is more than edges, or the look depends on the white backdrop,
// rounding coverage would change what the reader saw: a black fill in Difference mode is
// invisible on white and must stay so.
TEST(CompactEdges, ImagesTranslucencyAndBlendModesRenderAsShown) {
    const std::pair<const char*, std::string> marks[] = {
        {"image", ""},
        {"translucent", "q /Half gs 0 0 1 rg 72 400 200 150 re f Q\n"},
        {"difference", "q /Diff gs 0 g 72 400 200 150 re f Q\n"},
    };
    for (const auto& [name, content] : marks) {
        SCOPED_TRACE(name);
        PageSpec page = textPage(100);
        page.extraContent = content;
        page.extraResources = " /ExtGState << /Half << /ca 0.5 >> /Diff << /BM /Difference >> >>";
        if (content.empty()) {
            page.images.push_back({{72, 400, 200, 150}, 64, 48});
        }
        mu::Session session(documentOf({page}));
        const auto exact = renderImage(session, {.dpi = 100});
        const auto compact = renderImage(session, {.dpi = 100, .compactEdges = true});
        ASSERT_TRUE(exact && compact);
        EXPECT_TRUE(compact->samples == exact->samples);
    }
}

}  // namespace
}  // namespace norvane
