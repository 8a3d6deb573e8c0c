// Inspecting a received PDF: each hiding place found where it is, and the look-alikes that hide
// nothing (a dark bar with text on it, shading, a recognised text layer) left alone.

#include "engine/inspection.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/scan_factory.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace norvane {
namespace {

using testing::buildPdf;
using testing::DocumentPlan;
using testing::PageSpec;
using testing::TextRun;

const TextRun kLine{"Payee Jane Roe secret", 72, 700, 12};

PageRect grown(PageRect r, double by) {
    return {r.x - by, r.y - by, r.width + 2 * by, r.height + 2 * by};
}

std::vector<unsigned char> onePage(PageSpec page, DocumentPlan plan = {}) {
    plan.pages = {std::move(page)};
    return buildPdf(plan);
}

// A page whose second line sits in a layer that is off.
std::vector<unsigned char> hiddenLayerPdf() {
    const std::string content =
        "BT /F1 12 Tf 72 700 Td (Shown line) Tj ET /OC /oc1 BDC BT /F1 12 Tf 72 600 Td (Layer secret) Tj ET EMC";
    return testing::rawPdf({
        "<< /Type /Catalog /Pages 2 0 R /OCProperties << /OCGs [5 0 R] /D << /OFF [5 0 R] >> >> >>",
        "<< /Type /Pages /Count 1 /Kids [3 0 R] >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents 6 0 R /Resources << /Font << /F1 4 0 R >> "
        "/Properties << /oc1 5 0 R >> >> >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
        "<< /Type /OCG /Name (Notes) >>",
        "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream",
    });
}

const std::vector<TextRun> kScanLines{{"Quarterly report to the board", 72, 700, 16},
                                      {"Revenue rose in every region", 72, 660, 16}};

std::vector<unsigned char> scanWithLayer(std::vector<TextRun> layer, std::vector<PageRect> boxes = {},
                                         bool underPixels = false) {
    testing::ScanPage scan;
    scan.source.texts = kScanLines;
    scan.textLayer = std::move(layer);
    scan.boxesOver = std::move(boxes);
    scan.layerUnderPixels = underPixels;
    return testing::buildScannedPdf({scan});
}

struct Case {
    const char* name;
    std::function<std::vector<unsigned char>()> build;
    std::set<std::string> found;      // "kind" or "kind/cause", every finding of the file
    std::optional<PageRect> place{};  // the first finding's rectangle holds this one's centre
};

std::string keyOf(const InspectionFinding& finding) {
    std::string key(rawValue(finding.kind));
    if (finding.cause) {
        key += "/" + std::string(rawValue(*finding.cause));
    }
    return key;
}

const Case kCases[] =
    {
        {"BlackBoxOverLiveText",
         [] { return onePage({.texts = {kLine}, .filledBlackRects = {grown(testing::glyphBox(kLine, "secret"), 1)}}); },
         {"failedRedaction/box"},
         testing::glyphBox(kLine, "secret")},
        {"DarkBarWithWhiteTextOnTop",
         [] {
    return onePage({.texts = {kLine},
                    .extraContent = "q 0 0 0 rg 60 600 400 30 re f Q BT 1 1 1 rg /F1 14 Tf 72 610 Td "
                                    "(Quarterly figures) Tj ET\n"});
         },
         {}},
        {"WhiteTextOnWhite",
         [] {
    TextRun white = kLine;
    white.colour = {1, 1, 1};
    return onePage({.texts = {white}});
         },
         {"coveredText/colour"},
         testing::glyphBox(kLine, "Jane")},
           {"WhiteBoxOnWhiteAndShadedTable",
            [] {
    return onePage({.texts = {kLine},
                    .extraContent = "q 1 1 1 rg 72 600 200 30 re f Q q 0.8 g 72 500 300 20 re f Q "
                                    "BT /F1 12 Tf 74 505 Td (Total 1200) Tj ET\n"});
            },
            {}},
    {"WhiteBoxOverText",
     [] { return onePage({.texts = {kLine}, .extraContent = "q 1 1 1 rg 150 690 100 30 re f Q\n"}); },
     {"coveredText/box"},
     testing::glyphBox(kLine, "secret")},
    {"ImageDrawnOverText",
     [] {
    return onePage({.texts = {kLine},
                    .extraContent = "q 60 0 0 20 160 695 cm /Im1 Do Q\n",
                    .images = {{.placement = {400, 100, 50, 50}, .width = 16, .height = 16}}});
     },
     {"coveredText/image"},
     testing::glyphBox(kLine, "secret")},
    {"BlackTextOnABlackBoxDrawnBeforeIt",
     [] {
    return onePage({.texts = {kLine},
                    .extraContent = "q 0 0 0 rg 100 600 120 20 re f Q BT /F1 12 Tf 105 605 Td (Hidden name) Tj "
                                    "ET\n"});
     },
     {"failedRedaction/box"},
     PageRect{105, 605, 60, 8}},
    {"OneColourImageOverText",
     [] {
    return onePage({.texts = {kLine},
                    .extraContent = "q 60 0 0 20 160 695 cm /Im1 Do Q\n",
                    .images = {{.placement = {400, 100, 1, 1},
                                .width = 4,
                                .height = 4,
                                .gray = true,
                                .samples = std::vector<unsigned char>(16, 0)}}});
     },
     {"failedRedaction/image"},
     testing::glyphBox(kLine, "secret")},
    {"RecognisedTextLayerOverScan", [] { return scanWithLayer(kScanLines); }, {"ocrLayer"}},
    {"BoxDrawnOverAScanWithItsTextLayer",
     [] { return scanWithLayer(kScanLines, {grown(testing::glyphBox(kScanLines[1], "rose"), 1)}); },
     {"failedRedaction/box", "ocrLayer"},
     testing::glyphBox(kScanLines[1], "rose")},
    {"RecognisedTextLayerUnderItsScan", [] { return scanWithLayer(kScanLines, {}, true); }, {"ocrLayer"}},
    {"TextUnderAScanSayingSomethingElse",
     [] {
    return scanWithLayer({{"Account 4417 belongs to Jane", 72, 700, 16}}, {}, true);
     },
     {"coveredText/image"},
     PageRect{72, 700, 100, 10}},
    {"InvisibleTextOverAScanSayingSomethingElse",
     [] {
    return scanWithLayer({{"Account 4417 belongs to Jane", 72, 700, 16}});
     },
     {"invisibleText/renderMode"},
     PageRect{72, 700, 100, 10}},
    {"InvisibleTextOnAPlainPage",
     [] {
    TextRun hidden = kLine;
    hidden.renderMode = 3;
    return onePage({.texts = {hidden}});
     },
     {"invisibleText/renderMode"},
     testing::glyphBox(kLine, "Payee")},
    {"RedactionMarkNeverApplied",
     [] {
    return onePage({.texts = {kLine},
                    .rawAnnotations = {"<< /Type /Annot /Subtype /Redact /Rect [250 695 300 712] "
                                       "/QuadPoints [250 712 300 712 250 695 300 695] >>"}});
     },
     {"unappliedRedaction"},
     PageRect{250, 695, 50, 17}},
    {"DarkSquareAnnotationOverText",
     [] {
    const PageRect r = grown(testing::glyphBox(kLine, "Jane"), 1);
    return onePage({.texts = {kLine},
                    .rawAnnotations = {"<< /Type /Annot /Subtype /Square /Rect [" + std::to_string(r.x) + " " +
                                       std::to_string(r.y) + " " + std::to_string(r.maxX()) + " " +
                                       std::to_string(r.maxY()) + "] /C [0 0 0] /IC [0 0 0] >>"}});
     },
     {"darkAnnotation"},
     testing::glyphBox(kLine, "Jane")},
    {"HiddenLayer", hiddenLayerPdf, {"hiddenLayer"}, PageRect{72, 598, 60, 12}},
    {"Attachment",
     [] {
    return onePage({.texts = {kLine}}, {.attachments = {{"notes.txt", "secret"}}});
     },
     {"attachment"}},
    {"JavaScriptOnOpening",
     [] {
    return onePage({.texts = {kLine}}, {.extraCatalog = " /OpenAction << /S /JavaScript /JS (app.alert\\(1\\)) >>"});
     },
     {"javascript"}},
    {"IncrementalUpdateReplacedAName",
     [] {
    return testing::withRevision(buildPdf(testing::textPages({"Name: Jane Roe"})), 0,
                                 "BT /F1 12 Tf 72 720 Td (Name: John Doe) Tj ET");
     },
     {"earlierRevision"}},
    {"CommentsFormsMetadataOutlineLabels",
     [] {
    return onePage({.texts = {kLine},
                    .annotations = {{.kind = testing::AnnotationSpec::Kind::note, .contents = "call her"}},
                    .fields = {{.value = "Jane"}}},
                   {.info = {{"Author", "J. Roe"}},
                    .outlineTitles = {"Intro"},
                    .extraCatalog = " /PageLabels << /Nums [0 << /S /r >>] >>"});
     },
     {"comment", "formValue", "metadata", "bookmarks", "pageLabels"}},
    {"OffTheCropBoxAndTinyText",
     [] {
    return onePage(
        {.cropBox = PageRect{0, 0, 612, 690}, .texts = {kLine, {"tiny words", 72, 300, 0.5}, {"Shown", 72, 200, 12}}});
     },
     {"textOutsidePage", "tinyText"},
     testing::glyphBox(kLine, "Jane")},
    {"ThinGlyphsOfACodeListing",
     [] {
    // Sizes and positions that put the strokes of '=' and '"' anywhere on the pixel grid.
    PageSpec page;
    for (int i = 0; i < 50; ++i) {
        page.texts.push_back(
            {"a == b; x = \"=\"; -- . , ' ` ~", 72 + (i % 7) * 0.13, 760 - i * 14.3, 6 + (i % 9) * 0.5, "Courier"});
    }
    return onePage(page);
     },
     {}},
    {"PlainTextPage", [] { return buildPdf(testing::textPages({"Nothing to see here"})); }, {}},
    };

void PrintTo(const Case& c, std::ostream* os) {
    *os << c.name;
}

class Inspection : public ::testing::TestWithParam<Case> {};

TEST_P(Inspection, FindsWhatIsHiddenAndOnlyThat) {
    const Case& c = GetParam();
    const auto findings = inspectDocument(PdfDocument::fromBytes(c.build()), {}, {});
    std::set<std::string> keys;
    for (const auto& finding : findings) {
        keys.insert(keyOf(finding));
        EXPECT_TRUE(finding.text.empty()) << "content only when asked for";
    }
    EXPECT_EQ(keys, c.found);
    if (c.place) {
        ASSERT_FALSE(findings.empty());
        const auto& first = findings.front();
        ASSERT_TRUE(first.rect);
        EXPECT_EQ(first.pageIndex, 0);
        const double x = c.place->x + c.place->width / 2;
        const double y = c.place->y + c.place->height / 2;
        EXPECT_TRUE(x > first.rect->minX() && x < first.rect->maxX() && y > first.rect->minY() &&
                    y < first.rect->maxY())
            << keyOf(first) << " at " << ::testing::PrintToString(*first.rect);
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, Inspection, ::testing::ValuesIn(kCases),
                         [](const auto& param) { return std::string(param.param.name); });

// The hidden words themselves come out only on request, and the summary and list lines name
// kinds, counts and places, never content.
TEST(InspectionWords, TextOnRequestSummaryAndLines) {
    const auto bytes = onePage({.texts = {kLine},
                                .filledBlackRects = {grown(testing::glyphBox(kLine, "secret"), 1)},
                                .annotations = {{.contents = "see me"}, {.contents = "and me"}}},
                               {.info = {{"Title", "Draft"}}});
    const auto findings = inspectDocument(PdfDocument::fromBytes(bytes), {.withText = true, .recognition = {}}, {});
    ASSERT_FALSE(findings.empty());
    const auto failed = std::find_if(findings.begin(), findings.end(),
                                     [](const auto& f) { return f.kind == InspectionKind::failedRedaction; });
    ASSERT_NE(failed, findings.end());
    EXPECT_EQ(failed->text, "secret");
    EXPECT_EQ(failed->count, 6);
    EXPECT_EQ(describe(*failed), "Failed redaction: 6 characters under a box");
    EXPECT_EQ(inspectionSummary(findings), "1 failed redaction \u00B7 2 comments \u00B7 metadata");
    EXPECT_EQ(describe({InspectionKind::pageNotInspected, 2, std::nullopt, 1, std::nullopt, {}}),
              "Page 3 could not be inspected");
    EXPECT_EQ(inspectionSummary({}), "");
}

// A page that cannot be drawn is a finding of its own; the pages around it are still inspected.
TEST(InspectionWords, APageThatCannotBeInspectedIsSaidSo) {
    const auto bytes = buildPdf({.pages = {{.texts = {kLine}, .filledBlackRects = {testing::glyphBox(kLine, "Jane")}},
                                           {.mediaBox = {0, 0, 0, 792}},
                                           {.texts = {kLine}}}});
    const auto findings = inspectDocument(PdfDocument::fromBytes(bytes), {}, {});
    std::vector<std::pair<std::int64_t, InspectionKind>> seen;
    for (const auto& finding : findings) {
        seen.emplace_back(finding.pageIndex, finding.kind);
    }
    EXPECT_EQ(seen, (std::vector<std::pair<std::int64_t, InspectionKind>>{{0, InspectionKind::failedRedaction},
                                                                          {1, InspectionKind::pageNotInspected}}));
}

}  // namespace
}  // namespace norvane
