#include "engine/secure_export.h"
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

using namespace norvane::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::vector<std::string> filesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

std::vector<PageSpec> textPageSpecs(std::size_t count) {
    return textPages(std::vector<std::string>(count, "Body text")).pages;
}

SharedPdfDocument textDocument(std::size_t pages) {
    return documentOf(textPageSpecs(pages));
}

const std::vector<RedactionRegion> kOneBox{region(0, {0, 0, 5, 5})};

TEST(SecureExport, OutputHoldsOnlyPageImagesAndTheThreeAttributes) {
    // Text, revisions and old titles gone are the leak cases' to prove.
    DocumentPlan plan{.pages = textPageSpecs(1), .info = {{"Title", "Source title"}}, .outlineTitles = {"Chapter"}};
    plan.pages[0].annotations = {{AnnotationSpec::Kind::note, {300, 300, 20, 20}, "note"}};
    TempDir dir;
    RedactionEngine::exportSecurePDF(PdfDocument::fromBytes(buildPdf(plan)), {region(0, {72, 690, 100, 30})},
                                     dir.file("out.pdf"), {}, {});

    const auto pdf = inspectPdf(readFile(dir.file("out.pdf")));
    ASSERT_EQ(pdf.pages.size(), 1u);
    EXPECT_EQ(pdf.info,
              (std::map<std::string, std::string>{
                  {"Title", "Redacted Document"}, {"Creator", "Norvane Redaction"}, {"Producer", "Norvane"}}));
    EXPECT_THAT(pdf.catalogKeys, UnorderedElementsAre("Type", "Pages"));
    EXPECT_THAT(pdf.trailerKeys, UnorderedElementsAre("Size", "Root", "Info"));
    const std::set<std::string> pageKeys{"Type", "Parent", "MediaBox", "Rotate", "Resources", "Contents"};
    for (const auto& key : pdf.pageKeys) {
        EXPECT_TRUE(pageKeys.count(key)) << key;
    }
    EXPECT_THAT(pdf.pages[0].resourceKeys, ElementsAre("XObject"));
    EXPECT_EQ(pdf.pages[0].imageCount, 1);
}

// Every page comes out at the origin with its rotation kept, as an image at 180 dpi.
TEST(SecureExport, PageSizeRotationAndImageResolution) {
    struct Case {
        PageRect mediaBox;
        int rotate;
        PageRect expected;
        int width, height;
    };
    const Case cases[] = {
        {{0, 0, 612, 792}, 0, {0, 0, 612, 792}, 1530, 1980},
        {{50, 50, 200, 100}, 0, {0, 0, 200, 100}, 500, 250},
        {{-300, -200, 400, 300}, 0, {0, 0, 400, 300}, 1000, 750},
        {{0, 0, 100.25, 50.5}, 0, {0, 0, 100.25, 50.5}, 251, 127},
        {{0, 0, 612, 792}, 90, {0, 0, 612, 792}, 1530, 1980},
        {{10, 20, 300, 200}, 270, {0, 0, 300, 200}, 750, 500},
    };
    std::vector<PageSpec> pages;
    for (const Case& c : cases) {
        pages.push_back(PageSpec{
            .mediaBox = c.mediaBox, .rotate = c.rotate, .texts = {{"Hello", c.mediaBox.x + 10, c.mediaBox.y + 10}}});
    }
    TempDir dir;
    RedactionEngine::exportSecurePDF(documentOf(pages), kOneBox, dir.file("out.pdf"), {}, {});
    const auto pdf = inspectPdf(readFile(dir.file("out.pdf")));
    ASSERT_EQ(pdf.pages.size(), std::size(cases));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(pdf.pages[i].mediaBox, cases[i].expected) << i;
        EXPECT_EQ(pdf.pages[i].rotate, cases[i].rotate) << i;
        EXPECT_EQ(pdf.pages[i].width, cases[i].width) << i;
        EXPECT_EQ(pdf.pages[i].height, cases[i].height) << i;
    }
}

// The stored image is exactly the rendered page, boxes included: nothing is lost or smeared,
// and a page without colour is stored grey.
TEST(SecureExport, StoredPixelsEqualTheRenderedPage) {
    const PageSpec grey{.mediaBox = {0, 0, 300, 200}, .texts = {{"Some text to keep", 20, 150, 14}}};
    PageSpec photo = grey;
    photo.images.push_back({{20, 20, 120, 80}, 64, 48});
    // Red in the page's last pixel only, at 180 dpi: a grey test that skips any pixel loses it.
    PageSpec corner = grey;
    corner.extraContent = "1 0 0 rg 299.6 0 0.4 0.4 re f\n";
    for (const auto& [name, page, colour] :
         {std::tuple{"grey", grey, false}, std::tuple{"photo", photo, true}, std::tuple{"corner", corner, true}}) {
        SCOPED_TRACE(name);
        const auto document = documentOf({page});
        const std::vector<RedactionRegion> boxes{region(0, {150, 20, 100, 40}), region(0, {18, 140, 80, 30})};
        TempDir dir;
        RedactionEngine::exportSecurePDF(document, boxes, dir.file("out.pdf"), {.labelRedactions = true}, {});
        const auto pdf = inspectPdf(readFile(dir.file("out.pdf")));
        ASSERT_EQ(pdf.pages.size(), 1u);
        const auto& stored = pdf.pages[0];
        EXPECT_EQ(stored.components, colour ? 3 : 1);

        mu::Session session(document);
        const auto rendered =
            renderImage(session, {.dpi = 180, .boxes = boxes, .labelRedactions = true, .compactEdges = true});
        ASSERT_TRUE(rendered);
        ASSERT_EQ(stored.width, rendered->width);
        ASSERT_EQ(stored.height, rendered->height);
        std::size_t mismatches = 0;
        const auto n = static_cast<std::size_t>(stored.components);
        for (std::size_t i = 0; i < rendered->samples.size(); ++i) {
            mismatches += rendered->samples[i] != stored.pixels[i / 3 * n + (colour ? i % 3 : 0)];
        }
        EXPECT_EQ(mismatches, 0u);
    }
}

// Pages are rendered by several workers, finishing in any order; each must come out in its own
// place with its own boxes, and progress must reach the caller on its own thread.
TEST(SecureExport, EveryPageKeepsItsOwnBoxesAndOrder) {
    constexpr int kPages = 9;
    std::vector<PageSpec> pages;
    std::vector<RedactionRegion> boxes;
    for (int i = 0; i < kPages; ++i) {
        // Pages of very different work, so that workers overtake each other.
        pages.push_back(PageSpec{.mediaBox = {0, 0, 200 + 400.0 * (i % 3), 100 + 10.0 * i}});
        boxes.push_back(region(i, {10.0 + 16 * i, 10, 10, 10}));  // whole pixels at 180 dpi
    }
    boxes.push_back(region(99, {0, 0, 200, 200}));  // not a page: ignored
    boxes.push_back(region(-1, {0, 0, 200, 200}));
    const auto checkPages = [&](const InspectedPdf& pdf) {
        ASSERT_EQ(pdf.pages.size(), static_cast<std::size_t>(kPages));
        for (std::size_t i = 0; i < pdf.pages.size(); ++i) {
            SCOPED_TRACE(i);
            const auto& page = pdf.pages[i];
            EXPECT_EQ(page.mediaBox, pages[i].mediaBox);
            EXPECT_EQ(nonBlackPixelsUnder(page, page.mediaBox, boxes[i].rect), 0);
            EXPECT_EQ(blackPixels(page), 25 * 25) << "exactly one 10 × 10 pt box";
        }
    };
    TempDir dir;
    Progress progress;
    std::set<std::thread::id> threads;
    RedactionEngine::exportSecurePDF(documentOf(pages), boxes, dir.file("out.pdf"), {},
                                     [&](std::int64_t page, std::int64_t count) {
        progress.emplace_back(page, count);
        threads.insert(std::this_thread::get_id());
    });
    checkPages(inspectPdf(readFile(dir.file("out.pdf"))));
    Progress expected;
    for (int i = 0; i < kPages; ++i) {
        expected.emplace_back(i + 1, kPages);
    }
    EXPECT_EQ(progress, expected);
    EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
    for (const int workers : {1, 3, 4, 12}) {
        SCOPED_TRACE(workers);
        checkPages(inspectPdf(exportSecurePdfToMemory(documentOf(pages), boxes, false, 180, workers)));
    }

    // Boxes only for pages the document does not have still give a plain copy.
    RedactionEngine::exportSecurePDF(documentOf(pages), {region(99, {0, 0, 100, 100})}, dir.file("out.pdf"), {}, {});
    for (const auto& page : inspectPdf(readFile(dir.file("out.pdf"))).pages) {
        EXPECT_EQ(blackPixels(page), 0);
    }
}

// Any name the file system takes works, and the temporary file beside it never makes the
// name too long.
TEST(SecureExport, WritesExactlyTheNamedFile) {
    for (const auto& [name, existing] :
         {std::pair{std::string("out.pdf"), true}, std::pair{std::string(251, 'n') + ".pdf", false},
          std::pair{std::string(251, 'e') + ".pdf", true}, std::pair{std::string(".out.pdf"), false}}) {
        TempDir dir;
        if (existing) {
            writeFile(dir.file(name), bytesOf("old"));
        }
        RedactionEngine::exportSecurePDF(textDocument(2), kOneBox, dir.file(name), {}, {});
        EXPECT_EQ(PdfDocument::open(dir.file(name))->pageCount(), 2);
        EXPECT_THAT(filesIn(dir.path()), ElementsAre(name));
    }
}

SharedPdfDocument withMediaBoxes(std::size_t count, const std::map<std::size_t, PageRect>& boxes) {
    std::vector<PageSpec> pages = textPageSpecs(count);
    for (const auto& [index, box] : boxes) {
        pages[index].mediaBox = box;
    }
    return documentOf(pages);
}

TEST(SecureExport, FailuresThrowReportAndLeaveNothing) {
    using Kind = RedactionError::Kind;
    struct Case {
        const char* name;
        SharedPdfDocument document;
        std::vector<RedactionRegion> regions;
        Kind kind;
        std::int64_t failedPage;
        std::optional<PageFailure> why;
        Progress progress;
        std::string output = "out.pdf";
        bool folderInTheWay = false;  // the file is complete before the final rename fails
    };
    const std::vector<RedactionRegion> onFirst{region(0, {0, 0, 1, 1})};
    const Case cases[] = {
        {"noPagesWithRegions", documentOf({}), onFirst, Kind::noPages, 0, {}, {}},
        {"noPagesBeforeNoRegions", documentOf({}), {}, Kind::noPages, 0, {}, {}},
        {"noDocument", nullptr, onFirst, Kind::noPages, 0, {}, {}},
        {"noRegions", textDocument(2), {}, Kind::noRedactions, 0, {}, {}},
        // Over the pixel limit at 180 dpi.
        {"unrenderableThirdPage",
         withMediaBoxes(4, {{2, {0, 0, 14400, 14400}}}),
         onFirst,
         Kind::cannotRenderPage,
         2,
         PageFailure::tooLarge,
         {{1, 4}, {2, 4}}},
        {"emptyMediaBox",
         withMediaBoxes(3, {{1, {0, 0, 0, 792}}}),
         onFirst,
         Kind::cannotRenderPage,
         1,
         PageFailure::tooLarge,
         {{1, 3}}},
        // Page 2 fails at once, page 1 only once its large page is drawn: the first in page order
        // is reported.
        {"unplaceableBoxBeforeUnrenderablePage",
         withMediaBoxes(4, {{1, {0, 0, 1200, 1200}}, {2, {0, 0, 14400, 14400}}}),
         {region(1, {std::numeric_limits<double>::quiet_NaN(), 0, 1, 1})},
         Kind::cannotRenderPage,
         1,
         PageFailure::unrenderable,
         {{1, 4}}},
        {"missingFolder", textDocument(1), onFirst, Kind::exportFailed, 0, {}, {}, "missing/out.pdf"},
        {"targetIsAFolder", textDocument(2), onFirst, Kind::exportFailed, 0, {}, {{1, 2}, {2, 2}}, "taken.pdf", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        if (c.folderInTheWay) {
            std::filesystem::create_directory(dir.file(c.output));
            writeFile(dir.file(c.output) / "inside", {'x'});
        }
        Progress progress;
        try {
            RedactionEngine::exportSecurePDF(c.document, c.regions, dir.file(c.output), {}, recordInto(progress));
            ADD_FAILURE() << "expected an error";
        } catch (const RedactionError& error) {
            EXPECT_EQ(error.kind(), c.kind);
            EXPECT_EQ(error.pageIndex(), c.failedPage);
            EXPECT_EQ(error.pageFailure(), c.why);
        }
        EXPECT_EQ(progress, c.progress);
        EXPECT_EQ(filesIn(dir.path()), c.folderInTheWay ? std::vector{c.output} : std::vector<std::string>{});
    }
}

// Also while the searchable copy's text is being read, and when its recogniser cannot start.
TEST(SecureExport, CancellingOrAFailingReceiverLeavesTheOldFileAlone) {
    TempDir dir;
    const auto out = dir.file("out.pdf");
    writeFile(out, bytesOf("old"));
    std::stop_source stop;
    Progress progress;
    const auto onPage = [&](std::int64_t page, std::int64_t count) {
        progress.emplace_back(page, count);
        if (page == 3) {
            stop.request_stop();  // the user cancels while page 4 is under way
        }
    };
    for (const ExportOptions& options : {ExportOptions{}, ExportOptions{.searchable = true}}) {
        stop = std::stop_source();
        progress.clear();
        EXPECT_THROW(
            RedactionEngine::exportSecurePDF(textDocument(10), kOneBox, out, options, onPage, stop.get_token()),
            CancellationError);
        EXPECT_EQ(progress, (Progress{{1, 10}, {2, 10}, {3, 10}}));
        EXPECT_THAT(filesIn(dir.path()), ElementsAre("out.pdf"));
        EXPECT_EQ(readFile(out), bytesOf("old"));
    }
    EXPECT_THROW(RedactionEngine::exportSecurePDF(textDocument(2), kOneBox, dir.file("new.pdf"),
                                                  {.searchable = true, .recognition = {"zzz"}}, {}),
                 OcrError);
    EXPECT_THAT(filesIn(dir.path()), ElementsAre("out.pdf"));

    progress.clear();
    EXPECT_THROW(RedactionEngine::exportSecurePDF(textDocument(3), kOneBox, dir.file("new.pdf"), {},
                                                  recordInto(progress), stop.get_token()),
                 CancellationError);
    EXPECT_THAT(progress, IsEmpty()) << "cancelled before starting";
    EXPECT_THAT(filesIn(dir.path()), ElementsAre("out.pdf"));

    const auto receiverGone = [](std::int64_t page, std::int64_t) {
        if (page == 2) throw std::runtime_error("receiver gone");
    };
    EXPECT_THROW(RedactionEngine::exportSecurePDF(textDocument(3), kOneBox, dir.file("new.pdf"), {}, receiverGone),
                 std::runtime_error);
    EXPECT_THAT(filesIn(dir.path()), ElementsAre("out.pdf"));
}

}  // namespace
}  // namespace norvane
