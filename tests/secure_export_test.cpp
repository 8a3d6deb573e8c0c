#include "engine/mupdf_session.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/pdf_inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <thread>

namespace norvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using testing::buildPdf;
using testing::documentOf;
using testing::DocumentSpec;
using testing::inspectPdf;
using testing::PageSpec;
using testing::TempDir;

PageSpec page(PageRect media = {0, 0, 612, 792}, int rotate = 0) {
    PageSpec p;
    p.mediaBox = media;
    p.rotate = rotate;
    return p;
}

std::vector<PageSpec> textPages(int count) {
    std::vector<PageSpec> pages;
    for (int i = 0; i < count; ++i) {
        PageSpec p = page();
        p.texts.push_back({"Page " + std::to_string(i + 1) + " body text", 72, 700, 12});
        pages.push_back(p);
    }
    return pages;
}

RedactionRegion region(std::int64_t pageIndex, PageRect rect) {
    RedactionRegion r;
    r.id = Uuid::random();
    r.pageIndex = pageIndex;
    r.rect = rect;
    return r;
}

std::vector<std::string> filesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

using Progress = std::vector<std::pair<std::int64_t, std::int64_t>>;

PageProgress recordInto(Progress& progress) {
    return [&progress](std::int64_t page, std::int64_t count) { progress.emplace_back(page, count); };
}

TEST(SecureExport, OutputHoldsOnlyPageImagesAndTheThreeAttributes) {
    TempDir dir;
    const auto out = dir.file("out.pdf");
    std::vector<PageSpec> pages = textPages(1);
    pages[0].annotations.push_back({testing::AnnotationSpec::Kind::note, {300, 300, 20, 20}, "note"});
    DocumentSpec spec;
    spec.pages = pages;
    spec.info = {{"Title", "Source title"}, {"Author", "Someone"}};
    spec.outlineTitles = {"Chapter"};
    RedactionEngine::exportSecurePDF(PdfDocument::fromBytes(buildPdf(spec)), {region(0, {72, 690, 100, 30})}, out,
                                     false, {});

    const auto bytes = testing::readFile(out);
    const auto pdf = inspectPdf(bytes, false);
    ASSERT_EQ(pdf.pages.size(), 1u);
    EXPECT_EQ(pdf.info, (std::map<std::string, std::string>{
                            {"Title", "Redacted Document"}, {"Creator", "Norvane Redaction"}, {"Producer", "Norvane"}}));
    EXPECT_THAT(pdf.catalogKeys, UnorderedElementsAre("Type", "Pages"));
    EXPECT_THAT(pdf.trailerKeys, UnorderedElementsAre("Size", "Root", "Info"));
    for (const auto& key : pdf.pageKeys) {
        EXPECT_THAT((std::set<std::string>{"Type", "Parent", "MediaBox", "Rotate", "Resources", "Contents"}),
                    ::testing::Contains(key));
    }
    EXPECT_THAT(pdf.pages[0].resourceKeys, ElementsAre("XObject"));
    EXPECT_EQ(pdf.pages[0].imageCount, 1);
    EXPECT_FALSE(pdf.pages[0].hasAnnotations);
    EXPECT_EQ(pdf.textCharacters, 0);
    EXPECT_EQ(pdf.versions, 1);
    const std::string text(bytes.begin(), bytes.end());
    EXPECT_EQ(text.find("%%EOF"), text.rfind("%%EOF")) << "more than one revision";
    EXPECT_EQ(text.find("Source title"), std::string::npos);
    EXPECT_EQ(text.find("Chapter"), std::string::npos);
}

struct GeometryCase {
    const char* name;
    PageRect mediaBox;
    int rotate;
    PageRect expectedMediaBox;
    int pixelWidth;
    int pixelHeight;
};

void PrintTo(const GeometryCase& c, std::ostream* os) { *os << c.name; }

class OutputGeometry : public ::testing::TestWithParam<GeometryCase> {};

TEST_P(OutputGeometry, PageSizeAtOriginRotationKeptImageAt180Dpi) {
    const GeometryCase& c = GetParam();
    TempDir dir;
    const auto out = dir.file("out.pdf");
    PageSpec p = page(c.mediaBox, c.rotate);
    p.texts.push_back({"Hello", c.mediaBox.x + 10, c.mediaBox.y + 10, 12});
    RedactionEngine::exportSecurePDF(documentOf({page(), p}), {region(0, {0, 0, 10, 10})}, out, false, {});
    const auto pdf = inspectPdf(testing::readFile(out));
    ASSERT_EQ(pdf.pages.size(), 2u);
    const auto& result = pdf.pages[1];
    EXPECT_EQ(result.mediaBox, c.expectedMediaBox);
    EXPECT_EQ(result.rotate, c.rotate);
    EXPECT_EQ(result.width, c.pixelWidth);
    EXPECT_EQ(result.height, c.pixelHeight);
    EXPECT_EQ(pdf.pages[0].mediaBox, (PageRect{0, 0, 612, 792}));
}

INSTANTIATE_TEST_SUITE_P(
    SecureExport, OutputGeometry,
    ::testing::Values(GeometryCase{"letter", {0, 0, 612, 792}, 0, {0, 0, 612, 792}, 1530, 1980},
                      GeometryCase{"a4", {0, 0, 595, 842}, 0, {0, 0, 595, 842}, 1488, 2105},
                      GeometryCase{"offsetOrigin", {50, 50, 200, 100}, 0, {0, 0, 200, 100}, 500, 250},
                      GeometryCase{"negativeOrigin", {-300, -200, 400, 300}, 0, {0, 0, 400, 300}, 1000, 750},
                      GeometryCase{"fractional", {0, 0, 100.25, 50.5}, 0, {0, 0, 100.25, 50.5}, 251, 127},
                      GeometryCase{"rotated90", {0, 0, 612, 792}, 90, {0, 0, 612, 792}, 1530, 1980},
                      GeometryCase{"rotated270Offset", {10, 20, 300, 200}, 270, {0, 0, 300, 200}, 750, 500}),
    [](const auto& p) { return std::string(p.param.name); });

class Lossless : public ::testing::TestWithParam<bool> {};

// The stored image is exactly the rendered page, boxes included: nothing is lost or smeared.
TEST_P(Lossless, StoredPixelsEqualTheRenderedPage) {
    const bool colour = GetParam();
    PageSpec p = page({0, 0, 300, 200});
    p.texts.push_back({"Some text to keep", 20, 150, 14});
    if (colour) {
        p.images.push_back({{20, 20, 120, 80}, 64, 48});
    }
    const auto document = documentOf({p});
    const std::vector<RedactionRegion> boxes{region(0, {150, 20, 100, 40}), region(0, {18, 140, 80, 30})};
    TempDir dir;
    RedactionEngine::exportSecurePDF(document, boxes, dir.file("out.pdf"), true, {});
    const auto pdf = inspectPdf(testing::readFile(dir.file("out.pdf")));
    ASSERT_EQ(pdf.pages.size(), 1u);
    const auto& stored = pdf.pages[0];
    EXPECT_EQ(stored.components, colour ? 3 : 1);

    mu::Session session(document);
    const auto rendered = renderImage(session, 0, 180, boxes, true, RenderOrientation::mediaBox, true);
    ASSERT_TRUE(rendered);
    ASSERT_EQ(stored.width, rendered->width);
    ASSERT_EQ(stored.height, rendered->height);
    std::size_t mismatches = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(rendered->width * rendered->height); ++i) {
        for (int c = 0; c < 3; ++c) {
            const std::uint8_t want = rendered->samples[i * 3 + static_cast<std::size_t>(c)];
            const std::uint8_t got = stored.pixels[i * static_cast<std::size_t>(stored.components) +
                                                   static_cast<std::size_t>(colour ? c : 0)];
            mismatches += want != got ? 1 : 0;
        }
    }
    EXPECT_EQ(mismatches, 0u);
}

INSTANTIATE_TEST_SUITE_P(SecureExport, Lossless, ::testing::Values(false, true),
                         [](const auto& p) { return p.param ? "colourPage" : "greyPage"; });

// Pages go through two threads; each must come out in its own place with its own boxes.
TEST(SecureExport, EveryPageKeepsItsOwnBoxesAndOrder) {
    constexpr int kPages = 9;
    std::vector<PageSpec> pages;
    std::vector<RedactionRegion> boxes;
    for (int i = 0; i < kPages; ++i) {
        pages.push_back(page({0, 0, 200, 100 + 10.0 * i}));
        boxes.push_back(region(i, {10.0 + 16 * i, 10, 10, 10}));  // whole pixels at 180 dpi
    }
    boxes.push_back(region(99, {0, 0, 200, 200}));  // not a page: ignored
    boxes.push_back(region(-1, {0, 0, 200, 200}));
    TempDir dir;
    Progress progress;
    RedactionEngine::exportSecurePDF(documentOf(pages), boxes, dir.file("out.pdf"), false, recordInto(progress));
    const auto pdf = inspectPdf(testing::readFile(dir.file("out.pdf")));
    ASSERT_EQ(pdf.pages.size(), static_cast<std::size_t>(kPages));
    for (int i = 0; i < kPages; ++i) {
        SCOPED_TRACE(i);
        const auto& p = pdf.pages[static_cast<std::size_t>(i)];
        const PageRect media{0, 0, 200, 100 + 10.0 * i};
        EXPECT_EQ(p.mediaBox, media);
        EXPECT_EQ(testing::nonBlackPixelsUnder(p, media, boxes[static_cast<std::size_t>(i)].rect), 0);
        EXPECT_EQ(testing::blackPixels(p), 25 * 25) << "exactly one 10 × 10 pt box";
    }
    ASSERT_EQ(progress.size(), static_cast<std::size_t>(kPages));
    for (int i = 0; i < kPages; ++i) {
        const std::pair<std::int64_t, std::int64_t> expected{i + 1, kPages};
        EXPECT_EQ(progress[static_cast<std::size_t>(i)], expected);
    }
}

TEST(SecureExport, RegionsOnlyForMissingPagesExportPlainPages) {
    TempDir dir;
    std::vector<PageSpec> pages(5, page({0, 0, 100, 100}));
    RedactionEngine::exportSecurePDF(documentOf(pages), {region(99, {0, 0, 100, 100})}, dir.file("out.pdf"), false, {});
    const auto pdf = inspectPdf(testing::readFile(dir.file("out.pdf")));
    ASSERT_EQ(pdf.pages.size(), 5u);
    for (const auto& p : pdf.pages) {
        EXPECT_EQ(testing::blackPixels(p), 0);
    }
}

TEST(SecureExport, ProgressIsReportedOnTheCallingThread) {
    TempDir dir;
    std::set<std::thread::id> threads;
    RedactionEngine::exportSecurePDF(documentOf(textPages(4)), {region(0, {0, 0, 5, 5})}, dir.file("out.pdf"), false,
                                     [&](std::int64_t, std::int64_t) { threads.insert(std::this_thread::get_id()); });
    EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

struct OutputName {
    const char* name;
    std::string fileName;
    bool existing;
};

void PrintTo(const OutputName& c, std::ostream* os) { *os << c.name; }

class OutputNames : public ::testing::TestWithParam<OutputName> {};

// Any name the file system takes works, and the temporary file beside it never makes the
// name too long.
TEST_P(OutputNames, ExportToExactlyThatFile) {
    TempDir dir;
    const auto out = dir.file(GetParam().fileName);
    if (GetParam().existing) {
        testing::writeFile(out, {'o', 'l', 'd'});
    }
    RedactionEngine::exportSecurePDF(documentOf(textPages(2)), {region(0, {0, 0, 5, 5})}, out, false, {});
    EXPECT_EQ(PdfDocument::open(out)->pageCount(), 2);
    EXPECT_THAT(filesIn(dir.path()), ElementsAre(GetParam().fileName));
}

INSTANTIATE_TEST_SUITE_P(SecureExport, OutputNames,
                         ::testing::Values(OutputName{"replacesExisting", "out.pdf", true},
                                           OutputName{"longestName", std::string(251, 'n') + ".pdf", false},
                                           OutputName{"longestNameExisting", std::string(251, 'e') + ".pdf", true},
                                           OutputName{"hiddenName", ".out.pdf", false}),
                         [](const auto& p) { return std::string(p.param.name); });

// ---- failures: the right error, no file, and the right progress ------------------------------

struct FailureCase {
    const char* name;
    std::function<SharedPdfDocument()> document;
    std::vector<RedactionRegion> regions;
    RedactionError::Kind kind;
    std::int64_t failedPage;
    Progress progress;
};

void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.name; }

class Failures : public ::testing::TestWithParam<FailureCase> {};

TEST_P(Failures, ThrowReportAndLeaveNothing) {
    const FailureCase& c = GetParam();
    TempDir dir;
    Progress progress;
    try {
        RedactionEngine::exportSecurePDF(c.document(), c.regions, dir.file("out.pdf"), false, recordInto(progress));
        FAIL() << "expected an error";
    } catch (const RedactionError& error) {
        EXPECT_EQ(error.kind(), c.kind);
        EXPECT_EQ(error.pageIndex(), c.failedPage);
    }
    EXPECT_EQ(progress, c.progress);
    EXPECT_THAT(filesIn(dir.path()), IsEmpty());
}

SharedPdfDocument hugeThirdPage() {
    std::vector<PageSpec> pages = textPages(4);
    pages[2].mediaBox = {0, 0, 14400, 14400};  // over the pixel limit at 180 dpi
    return documentOf(pages);
}

INSTANTIATE_TEST_SUITE_P(
    SecureExport, Failures,
    ::testing::Values(
        FailureCase{"noPagesWithRegions", [] { return documentOf({}); }, {region(0, {0, 0, 1, 1})},
                    RedactionError::Kind::noPages, 0, {}},
        FailureCase{"noPagesBeforeNoRegions", [] { return documentOf({}); }, {}, RedactionError::Kind::noPages, 0, {}},
        FailureCase{"noDocument", [] { return SharedPdfDocument(); }, {region(0, {0, 0, 1, 1})},
                    RedactionError::Kind::noPages, 0, {}},
        FailureCase{"noRegions", [] { return documentOf(textPages(2)); }, {}, RedactionError::Kind::noRedactions, 0, {}},
        FailureCase{"unrenderableThirdPage", hugeThirdPage, {region(0, {0, 0, 1, 1})},
                    RedactionError::Kind::cannotRenderPage, 2, {{1, 4}, {2, 4}}},
        FailureCase{"emptyMediaBoxOnSecondPage",
                    [] {
                        std::vector<PageSpec> pages = textPages(3);
                        pages[1].mediaBox = {0, 0, 0, 792};
                        return documentOf(pages);
                    },
                    {region(0, {0, 0, 1, 1})}, RedactionError::Kind::cannotRenderPage, 1, {{1, 3}}},
        FailureCase{"unplaceableBoxOnSecondPage", [] { return documentOf(textPages(3)); },
                    {region(1, {std::numeric_limits<double>::quiet_NaN(), 0, 1, 1})},
                    RedactionError::Kind::cannotRenderPage, 1, {{1, 3}}}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(SecureExport, CancellingMidwayStopsBeforeTheNextPageAndLeavesTheOldFile) {
    TempDir dir;
    const auto out = dir.file("out.pdf");
    testing::writeFile(out, {'o', 'l', 'd'});
    std::stop_source stop;
    Progress progress;
    const auto onPage = [&](std::int64_t pageNumber, std::int64_t count) {
        progress.emplace_back(pageNumber, count);
        if (pageNumber == 3) {
            stop.request_stop();  // the user cancels while page 4 is under way
        }
    };
    EXPECT_THROW(RedactionEngine::exportSecurePDF(documentOf(textPages(10)), {region(0, {0, 0, 5, 5})}, out, false,
                                                  onPage, stop.get_token()),
                 CancellationError);
    EXPECT_EQ(progress, (Progress{{1, 10}, {2, 10}, {3, 10}}));
    EXPECT_THAT(filesIn(dir.path()), ElementsAre("out.pdf"));
    EXPECT_EQ(testing::readFile(out), (std::vector<unsigned char>{'o', 'l', 'd'}));
}

TEST(SecureExport, CancelledBeforeStartingReportsNothing) {
    TempDir dir;
    std::stop_source stop;
    stop.request_stop();
    Progress progress;
    EXPECT_THROW(RedactionEngine::exportSecurePDF(documentOf(textPages(3)), {region(0, {0, 0, 5, 5})},
                                                  dir.file("out.pdf"), false, recordInto(progress), stop.get_token()),
                 CancellationError);
    EXPECT_THAT(progress, IsEmpty());
    EXPECT_THAT(filesIn(dir.path()), IsEmpty());
}

TEST(SecureExport, ProgressCallbackFailureLeavesNoFile) {
    TempDir dir;
    EXPECT_THROW(RedactionEngine::exportSecurePDF(documentOf(textPages(3)), {region(0, {0, 0, 5, 5})},
                                                  dir.file("out.pdf"), false,
                                                  [](std::int64_t page, std::int64_t) {
                                                      if (page == 2) {
                                                          throw std::runtime_error("receiver gone");
                                                      }
                                                  }),
                 std::runtime_error);
    EXPECT_THAT(filesIn(dir.path()), IsEmpty());
}

TEST(SecureExport, MissingFolderIsExportFailed) {
    TempDir dir;
    try {
        RedactionEngine::exportSecurePDF(documentOf(textPages(1)), {region(0, {0, 0, 5, 5})},
                                         dir.file("missing") / "out.pdf", false, {});
        FAIL() << "expected exportFailed";
    } catch (const RedactionError& error) {
        EXPECT_EQ(error.kind(), RedactionError::Kind::exportFailed);
        EXPECT_EQ(error.errorDescription(), "The secure redacted PDF could not be created.");
    }
    EXPECT_THAT(filesIn(dir.path()), IsEmpty());
}

// The file is complete before the final rename fails: the temporary copy must still go.
TEST(SecureExport, TargetThatCannotBeReplacedIsExportFailedWithoutStrayFile) {
    TempDir dir;
    const auto target = dir.file("taken.pdf");
    std::filesystem::create_directory(target);
    testing::writeFile(target / "inside", {'x'});
    Progress progress;
    try {
        RedactionEngine::exportSecurePDF(documentOf(textPages(2)), {region(0, {0, 0, 5, 5})}, target, false,
                                         recordInto(progress));
        FAIL() << "expected exportFailed";
    } catch (const RedactionError& error) {
        EXPECT_EQ(error.kind(), RedactionError::Kind::exportFailed);
    }
    EXPECT_EQ(progress.size(), 2u);
    EXPECT_THAT(filesIn(dir.path()), ElementsAre("taken.pdf"));
    EXPECT_THAT(filesIn(target), ElementsAre("inside"));
}

}  // namespace
}  // namespace norvane
