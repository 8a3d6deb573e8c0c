#include "engine/mupdf_session.h"
#include "engine/ocr_service.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"
#include "tests/support/scan_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <stop_token>
#include <utility>

namespace norvane {
namespace {

using namespace norvane::testing;
using Progress = std::vector<std::pair<std::int64_t, std::int64_t>>;

std::string str(const PageRect& r) {
    return "(" + std::to_string(r.x) + ", " + std::to_string(r.y) + ", " + std::to_string(r.width) + " x " +
           std::to_string(r.height) + ")";
}

SharedPdfDocument scannedDocument(const std::vector<ScanPage>& pages) { return PdfDocument::fromBytes(buildScannedPdf(pages)); }

std::vector<RedactionSearchResult> search(const SharedPdfDocument& document, const std::string& query, Progress* progress = nullptr,
                                          std::stop_token stop = {}) {
    return RedactionEngine::ocrMatches(
        document, query,
        [progress](std::int64_t page, std::int64_t count) {
            if (progress) {
                progress->emplace_back(page, count);
            }
        },
        stop);
}

// --- languages -------------------------------------------------------------------------

struct LanguageCase {
    const char* locale;
    std::vector<const char*> installed;
    const char* expected;
};

void PrintTo(const LanguageCase& c, std::ostream* out) { *out << (*c.locale ? c.locale : "no locale"); }

class RecognitionLanguages : public ::testing::TestWithParam<LanguageCase> {};

TEST_P(RecognitionLanguages, EnglishPlusTheLocaleLanguageWhenInstalled) {
    TempDir dir;
    for (const char* model : GetParam().installed) {
        writeFile(dir.file(std::string(model) + ".traineddata"), {0});
    }
    EXPECT_EQ(recognitionLanguages(GetParam().locale, dir.path()), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Locales, RecognitionLanguages,
    ::testing::Values(LanguageCase{"", {"eng", "deu"}, "eng"}, LanguageCase{"en_GB", {"eng", "deu"}, "eng"},
                      LanguageCase{"de_DE", {"eng", "deu"}, "eng+deu"}, LanguageCase{"de_AT", {"eng"}, "eng"},
                      LanguageCase{"zh_TW", {"chi_sim", "chi_tra"}, "eng+chi_tra"},
                      LanguageCase{"zh_Hans_CN", {"chi_sim", "chi_tra"}, "eng+chi_sim"},
                      LanguageCase{"nb_NO", {"nor"}, "eng+nor"}, LanguageCase{"xx_YY", {"xx"}, "eng"}));

// --- image boxes back to page space --------------------------------------------------------

struct GeometryCase {
    PageRect mediaBox;
    int rotate;
};

void PrintTo(const GeometryCase& c, std::ostream* out) {
    *out << "rotate " << c.rotate << " box " << c.mediaBox.x << "," << c.mediaBox.y;
}

class ImageBoxToPage : public ::testing::TestWithParam<GeometryCase> {
protected:
    PageImage render() const {
        DocumentSpec spec;
        PageSpec page;
        page.mediaBox = GetParam().mediaBox;
        page.rotate = GetParam().rotate;
        spec.pages.push_back(page);
        const auto document = PdfDocument::fromBytes(buildPdf(spec));
        mu::Session session(document);
        auto image = renderImage(session, 0, 36, {}, false, RenderOrientation::displayed);
        if (!image) {
            throw std::runtime_error("page did not render");
        }
        return *image;
    }
};

TEST_P(ImageBoxToPage, PixelBoxesReturnToWhereTheyWereOnThePage) {
    const PageImage image = render();
    const PageRect& media = GetParam().mediaBox;
    const PageRect onPage{media.x + 0.25 * media.width, media.y + 0.1 * media.height, 0.3 * media.width, 0.05 * media.height};
    // Page rect -> pixel corners -> normalised, lower-left origin.
    const Affine& m = image.pageToPixel;
    auto pixel = [&](double x, double y) { return std::pair{m.a * x + m.c * y + m.e, m.b * x + m.d * y + m.f}; };
    const auto [u0, v0] = pixel(onPage.x, onPage.y);
    const auto [u1, v1] = pixel(onPage.maxX(), onPage.maxY());
    const double w = image.width;
    const double h = image.height;
    const NormalizedBox box{std::min(u0, u1) / w, 1.0 - std::max(v0, v1) / h, std::abs(u1 - u0) / w, std::abs(v1 - v0) / h};

    const PageRect back = imageBoxToPage(image, box);
    EXPECT_NEAR(back.x, onPage.x, 1e-6);
    EXPECT_NEAR(back.y, onPage.y, 1e-6);
    EXPECT_NEAR(back.width, onPage.width, 1e-6);
    EXPECT_NEAR(back.height, onPage.height, 1e-6);
}

TEST_P(ImageBoxToPage, TheImageCornerShownLowerLeftIsThePageCornerShownThere) {
    const PageImage image = render();
    const PageRect corner = imageBoxToPage(image, NormalizedBox{0, 0, 0.01, 0.01});
    const PageRect& media = GetParam().mediaBox;
    // /Rotate turns the page clockwise, so 90 brings the stored lower right corner to the
    // lower left, 180 the upper right and 270 the upper left.
    const int rotate = GetParam().rotate;
    const bool nearMinX = rotate == 0 || rotate == 270;
    const bool nearMinY = rotate == 0 || rotate == 90;
    const double slack = 72.0 / 36 + 0.01 * std::max(media.width, media.height);
    EXPECT_NEAR(nearMinX ? corner.minX() : corner.maxX(), nearMinX ? media.minX() : media.maxX(), slack);
    EXPECT_NEAR(nearMinY ? corner.minY() : corner.maxY(), nearMinY ? media.minY() : media.maxY(), slack);
}

INSTANTIATE_TEST_SUITE_P(Pages, ImageBoxToPage,
                         ::testing::Values(GeometryCase{{0, 0, 612, 792}, 0}, GeometryCase{{50, 50, 300, 400}, 0},
                                           GeometryCase{{-100, 20, 300, 400}, 90}, GeometryCase{{0, 0, 612, 792}, 180},
                                           GeometryCase{{30, -40, 500, 200}, 270}));

// --- OCR search on scans --------------------------------------------------------------------

const std::vector<ScanPage>& recallScan() {
    static const std::vector<ScanPage> pages = [] {
        ScanPage page;
        page.source.texts = {
            TextRun{"Account holder: John Harrington", 72, 720, 12},
            TextRun{"Smith paid Smith for the Caf\xc3\xa9 order", 72, 690, 10},
            TextRun{"Reference 88-213 confirmed", 72, 655, 14},
        };
        return std::vector<ScanPage>{page};
    }();
    return pages;
}

struct RecallCase {
    const char* query;
    std::size_t run;   // index of the run in the scan
    const char* word;  // what each box must cover, as written in that run, once per occurrence
};

void PrintTo(const RecallCase& c, std::ostream* out) { *out << c.word; }

class OcrRecall : public ::testing::TestWithParam<RecallCase> {};

TEST_P(OcrRecall, OneTightBoxPerOccurrence) {
    static const SharedPdfDocument document = scannedDocument(recallScan());
    const RecallCase& c = GetParam();
    const TextRun& run = recallScan()[0].source.texts[c.run];
    std::vector<PageRect> words;
    for (std::size_t at = run.text.find(c.word); at != std::string::npos; at = run.text.find(c.word, at + 1)) {
        words.push_back(glyphBox(run, at, at + std::strlen(c.word)));
    }
    Progress progress;
    const auto results = search(document, c.query, &progress);

    ASSERT_EQ(results.size(), words.size()) << c.query;
    EXPECT_EQ(progress, (Progress{{1, 1}}));
    const PageRect line = glyphBox(run, 0, run.text.size());
    for (std::size_t i = 0; i < words.size(); ++i) {
        const RedactionSearchResult& hit = results[i];
        const PageRect& word = words[i];
        EXPECT_EQ(hit.pageIndex, 0);
        EXPECT_EQ(hit.source, RedactionSource::ocr);
        EXPECT_EQ(hit.text, trimmed(c.query));
        EXPECT_TRUE(contains(hit.rect, word)) << str(hit.rect) << " does not cover " << str(word);
        // Tight placement: no more than the margins and a few points of recognition slack.
        if (word.width < line.width - 20) {
            EXPECT_LT(hit.rect.width, word.width + 2 * std::max(0.55 * word.height, 6.0) + 8) << str(hit.rect);
        }
        EXPECT_LT(hit.rect.height, word.height + 2 * std::max(0.18 * word.height, 3.0) + 6) << str(hit.rect);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Words, OcrRecall,
    ::testing::Values(RecallCase{"Harrington", 0, "Harrington"}, RecallCase{"  john HARRINGTON \n", 0, "John Harrington"},
                      // Twice on the line: a box on each.
                      RecallCase{"smith", 1, "Smith"},
                      // Accents fold both ways.
                      RecallCase{"cafe", 1, "Caf\xc3\xa9"},
                      // 10 pt and 14 pt lines, digits and punctuation.
                      RecallCase{"88-213", 2, "88-213"}));

// A second spelling that only the key finds must not stay readable beside a tight box on the
// first: the whole line goes.
TEST(OcrSearch, ALineWithAnotherSpellingIsCoveredWhole) {
    ScanPage page;
    page.source.texts = {TextRun{"Signed JOHN-SMITH for John Smith today", 72, 720, 12}};
    const auto results = search(scannedDocument({page}), "John Smith");

    ASSERT_EQ(results.size(), 1u);
    const TextRun& run = page.source.texts[0];
    EXPECT_TRUE(contains(results[0].rect, glyphBox(run, "JOHN-SMITH"))) << str(results[0].rect);
    EXPECT_TRUE(contains(results[0].rect, glyphBox(run, "John Smith"))) << str(results[0].rect);
}

struct TurnedCase {
    int rotate;
    PageRect mediaBox;
};

void PrintTo(const TurnedCase& c, std::ostream* out) {
    *out << "rotate " << c.rotate << " box " << c.mediaBox.x << "," << c.mediaBox.y;
}

class TurnedTextPage : public ::testing::TestWithParam<TurnedCase> {};

// A page turned after it was made (its text upright as stored, shown sideways or upside
// down) gets the same boxes from recognition as from its text layer.
TEST_P(TurnedTextPage, RecognitionBoxesTheWordsTheTextLayerBoxes) {
    PageSpec page;
    page.rotate = GetParam().rotate;
    page.mediaBox = GetParam().mediaBox;
    const PageRect& box = page.mediaBox;
    page.texts = {TextRun{"Agreement signed by Thomas Leonard on behalf of", box.x + 40, box.y + box.height - 80, 14}};
    const auto document = documentOf({page});

    const auto fromText = RedactionEngine::nativeTextMatches(document, "Thomas Leonard");
    const auto fromOcr = search(document, "Thomas Leonard");
    ASSERT_EQ(fromText.size(), 1u);
    ASSERT_EQ(fromOcr.size(), 1u);
    const PageRect words = glyphBox(page.texts[0], "Thomas Leonard");
    const PageRect& hit = fromOcr[0].rect;
    EXPECT_TRUE(contains(hit, words)) << str(hit) << " does not cover " << str(words);
    const PageRect& expected = fromText[0].rect;
    EXPECT_LT(std::abs(hit.x - expected.x) + std::abs(hit.maxX() - expected.maxX()), 16) << str(hit) << " vs " << str(expected);
    EXPECT_LT(std::abs(hit.y - expected.y) + std::abs(hit.maxY() - expected.maxY()), 16) << str(hit) << " vs " << str(expected);
}

INSTANTIATE_TEST_SUITE_P(Rotations, TurnedTextPage,
                         ::testing::Values(TurnedCase{0, {0, 0, 612, 792}}, TurnedCase{90, {0, 0, 612, 792}},
                                           TurnedCase{180, {0, 0, 612, 792}}, TurnedCase{270, {0, 0, 612, 792}},
                                           TurnedCase{90, {-200, 300, 612, 792}}, TurnedCase{270, {150, -60, 612, 792}}));

TEST(OcrSearch, ALineWhereTheLiteralQueryFailsIsCoveredWhole) {
    ScanPage page;
    page.source.texts = {TextRun{"Invoice No. 4711-A", 72, 720, 12}};
    const auto results = search(scannedDocument({page}), "4711a");

    ASSERT_EQ(results.size(), 1u);
    const TextRun& run = page.source.texts[0];
    EXPECT_TRUE(contains(results[0].rect, glyphBox(run, 0, run.text.size()))) << str(results[0].rect);
    EXPECT_EQ(results[0].text, "4711a");
}

struct RotationCase {
    int rotate;
    PageRect mediaBox;
};

void PrintTo(const RotationCase& c, std::ostream* out) {
    *out << "rotate " << c.rotate << " box " << c.mediaBox.x << "," << c.mediaBox.y;
}

class RotatedScan : public ::testing::TestWithParam<RotationCase> {};

TEST_P(RotatedScan, HitsLandOnTheWordAsDisplayed) {
    ScanPage page;
    page.rotate = GetParam().rotate;
    page.source.mediaBox = GetParam().mediaBox;
    const PageRect& box = page.source.mediaBox;
    page.source.texts = {TextRun{"Patient: Eleanor Whitfield", box.x + 60, box.y + box.height - 90, 12}};
    const auto results = search(scannedDocument({page}), "whitfield");

    ASSERT_EQ(results.size(), 1u);
    const PageRect expected = scannedRect(page, glyphBox(page.source.texts[0], "Whitfield"));
    EXPECT_TRUE(contains(results[0].rect, expected)) << str(results[0].rect) << " does not cover " << str(expected);
    EXPECT_LT(std::max(results[0].rect.width, results[0].rect.height), 110) << str(results[0].rect);
}

INSTANTIATE_TEST_SUITE_P(Rotations, RotatedScan,
                         ::testing::Values(RotationCase{90, {0, 0, 612, 792}}, RotationCase{180, {0, 0, 612, 792}},
                                           RotationCase{270, {0, 0, 612, 792}},
                                           RotationCase{0, {100, 200, 420, 595}},
                                           RotationCase{90, {-50, 30, 420, 595}}));

TEST(OcrSearch, ReportsProgressOnlyForPagesItCouldRender) {
    // A page far beyond the pixel limit at 220 dpi cannot be rendered and is skipped.
    DocumentSpec spec;
    spec.pages.resize(3);
    spec.pages[0].texts = {TextRun{"First page"}};
    spec.pages[1].mediaBox = PageRect{0, 0, 14400, 14400};
    spec.pages[2].texts = {TextRun{"Third page"}};
    Progress progress;
    const auto results = search(PdfDocument::fromBytes(buildPdf(spec)), "page", &progress);

    EXPECT_EQ(progress, (Progress{{1, 3}, {3, 3}}));
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0].pageIndex, 0);
    EXPECT_EQ(results[1].pageIndex, 2);
}

TEST(OcrSearch, CancellingBetweenPagesThrowsAndReturnsNothing) {
    const auto document = scannedDocument(scannedLines({{"One"}, {"Two"}, {"Three"}, {"Four"}}));
    std::stop_source stop;
    Progress progress;
    std::vector<RedactionSearchResult> results{RedactionSearchResult{}};
    EXPECT_THROW(results = RedactionEngine::ocrMatches(
                     document, "o",
                     [&](std::int64_t page, std::int64_t count) {
                         progress.emplace_back(page, count);
                         if (page == 2) {
                             stop.request_stop();
                         }
                     },
                     stop.get_token()),
                 CancellationError);
    EXPECT_EQ(progress, (Progress{{1, 4}, {2, 4}}));
    EXPECT_EQ(results.size(), 1u);  // untouched: nothing was returned
}

struct QueryCase {
    const char* label;
    const char* query;
};

void PrintTo(const QueryCase& c, std::ostream* out) { *out << c.label; }

class QueriesWithoutLettersOrDigits : public ::testing::TestWithParam<QueryCase> {};

TEST_P(QueriesWithoutLettersOrDigits, DoNoWorkAndReportNoProgress) {
    // Any recognition would hit the unrenderable page and report progress for the other.
    DocumentSpec spec;
    spec.pages.resize(2);
    spec.pages[0].texts = {TextRun{"- - -"}};
    spec.pages[1].mediaBox = PageRect{0, 0, 14400, 14400};
    Progress progress;
    EXPECT_TRUE(search(PdfDocument::fromBytes(buildPdf(spec)), GetParam().query, &progress).empty());
    EXPECT_TRUE(progress.empty());
}

INSTANTIATE_TEST_SUITE_P(Queries, QueriesWithoutLettersOrDigits,
                         ::testing::Values(QueryCase{"empty", ""}, QueryCase{"spaces", "   "},
                                           QueryCase{"line breaks and tabs", " \n\t "}, QueryCase{"hyphen", "-"},
                                           QueryCase{"dots", "..."}, QueryCase{"em dash", "\xe2\x80\x94"},
                                           QueryCase{"symbols", "$ % &"},
                                           QueryCase{"no-break space and ellipsis", "\xc2\xa0\xe2\x80\xa6"}));

TEST(OcrSearch, ADocumentWithoutPagesFindsNothing) {
    Progress progress;
    EXPECT_TRUE(search(PdfDocument::fromBytes(buildPdf(DocumentSpec{})), "anything", &progress).empty());
    EXPECT_TRUE(progress.empty());
}

// --- the recognition service itself -----------------------------------------------------------

TEST(OcrService, DropsLinesBelowTheMinimumHeightOnly) {
    ScanPage page;
    page.source.texts = {TextRun{"Ordinary sized words", 72, 720, 12}, TextRun{"Smallprint clause", 72, 600, 5}};
    const auto document = scannedDocument({page});
    mu::Session session(document);
    const auto image = renderImage(session, 0, 220, {}, false, RenderOrientation::displayed);
    ASSERT_TRUE(image);
    OcrService ocr;
    auto texts = [&](float minimum) {
        std::vector<std::string> result;
        for (const auto& line : ocr.recognize(*image, 220, minimum)) {
            result.push_back(normalizedSearchKey(line.text));
        }
        return result;
    };
    // 5 pt is about 15 pixels high at 220 dpi, below 0.008 of the 2420-pixel page.
    EXPECT_THAT(texts(0), ::testing::ElementsAre("ordinarysizedwords", "smallprintclause"));
    EXPECT_THAT(texts(0.008f), ::testing::ElementsAre("ordinarysizedwords"));
}

TEST(OcrService, SymbolRangesAddUpToTheLineText) {
    const auto document = scannedDocument(scannedLines({{"Grant Ashby, 14 Mill Lane"}}));
    mu::Session session(document);
    const auto image = renderImage(session, 0, 150, {}, false, RenderOrientation::displayed);
    ASSERT_TRUE(image);
    OcrService ocr;
    const auto lines = ocr.recognize(*image, 150, 0);
    ASSERT_EQ(lines.size(), 1u);
    const OcrLine& line = lines[0];
    std::string rebuilt;
    for (const auto& symbol : line.symbols) {
        ASSERT_LE(rebuilt.size(), symbol.begin);
        rebuilt.append(symbol.begin - rebuilt.size(), ' ');
        rebuilt += line.text.substr(symbol.begin, symbol.end - symbol.begin);
        EXPECT_GT(symbol.box.width, 0);
        EXPECT_GE(symbol.box.x, line.box.x - 1e-9);
        EXPECT_LE(symbol.box.x + symbol.box.width, line.box.x + line.box.width + 1e-9);
    }
    EXPECT_EQ(rebuilt, line.text);
    EXPECT_FALSE(line.boxForRange(line.text.size(), line.text.size() + 3));
    const auto space = line.text.find(' ');
    ASSERT_NE(space, std::string::npos);
    EXPECT_FALSE(line.boxForRange(space, space + 1)) << "a word break has no ink";
}

TEST(OcrService, RejectsImagesWithMissingSamples) {
    OcrService ocr;
    PageImage image;
    image.width = 100;
    image.height = 100;
    image.samples.resize(100 * 99 * 3);
    EXPECT_THROW(ocr.recognize(image, 150, 0), OcrError);
}

}  // namespace
}  // namespace norvane
