#include "engine/redaction_engine.h"
#include "tests/support/scan_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

namespace norvane {
namespace {

using namespace norvane::testing;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

ExportVerification verify(const std::filesystem::path& path, const std::vector<std::string>& terms,
                          Progress* progress = nullptr) {
    Progress ignored;
    return RedactionEngine::verifyOutput(path, {terms, {}, {}}, recordInto(progress ? *progress : ignored));
}

// A source whose sensitive name sits on page 1 of 2, exported with the name boxed and labelled.
TEST(Verification, ReadsTheCopysPixelsIncludingLabels) {
    const TextRun name{"Client Harrington", 72, 720, 12};
    DocumentPlan plan = textPages({"", "Nothing sensitive here"});
    plan.pages[0].texts = {name, TextRun{"Quarterly figures attached", 72, 650, 12}};
    PageRect box = glyphBox(name, "Harrington");
    box = PageRect{box.x - 6, box.y - 6, std::max(box.width + 12, 90.0), box.height + 12};
    TempDir dir;
    RedactionEngine::exportSecurePDF(PdfDocument::fromBytes(buildPdf(plan)), {region(0, box)}, dir.file("copy.pdf"),
                                     {.labelRedactions = true}, {});

    Progress progress;
    const ExportVerification covered = verify(dir.file("copy.pdf"), {"Harrington", "   ", "\n"}, &progress);
    EXPECT_TRUE(covered.passed());
    EXPECT_EQ(covered.checkedPages(), 2);
    EXPECT_EQ(progress, (Progress{{1, 2}, {2, 2}}));
    // "act" is inside the burnt-in label; "figures" was never covered.
    EXPECT_THAT(verify(dir.file("copy.pdf"), {"act", "Harrington", "figures"}).suspiciousMatches(),
                ElementsAre("act", "figures"));
    EXPECT_TRUE(verify(dir.file("copy.pdf"), {}).passed());
}

// One finding per place and term, case aside: the first reading is kept, from either source.
TEST(Verification, FindingsOfOneTermAtOnePlaceAreOne) {
    const PageRect word{72, 700, 80, 14};
    const auto at = [](std::string term, std::optional<std::int64_t> page, std::optional<PageRect> rect,
                       RedactionSource source = RedactionSource::ocr) {
        return VerificationFinding{std::move(term), page, rect, source};
    };
    const struct {
        const char* name;
        VerificationFinding second;
        bool kept;
    } cases[] = {
        {"same place, other case", at("encoding", 0, word), false},
        {"a few points off, upper case", at("ENCODING", 0, PageRect{75, 698, 80, 14}), false},
        {"inside, from the text layer", at("Encoding", 0, PageRect{80, 702, 60, 10}, RedactionSource::textSearch),
         false},
        {"larger, around it", at("encoding", 0, PageRect{22, 650, 180, 114}), true},
        {"beside it", at("encoding", 0, PageRect{200, 700, 80, 14}), true},
        {"other page", at("encoding", 1, word), true},
        {"other term", at("decoding", 0, word), true},
        {"accented", at("\xc3\xa9ncoding", 0, word), true},
        {"no place", at("encoding", std::nullopt, std::nullopt), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto merged = oneFindingPerPlace({at("Encoding", 0, word), c.second});
        EXPECT_EQ(merged.front(), at("Encoding", 0, word));
        EXPECT_EQ(merged.size(), c.kept ? 2u : 1u);
    }
    const VerificationFinding unreadable{"Zhang", std::nullopt, std::nullopt, RedactionSource::ocr,
                                         FindingReason::unreadableLetters};
    EXPECT_EQ(oneFindingPerPlace(
                  {unreadable,
                   {"ZHANG", std::nullopt, std::nullopt, RedactionSource::ocr, FindingReason::unreadableLetters}}),
              std::vector{unreadable});
}

TEST(Verification, TextLayerFindingsAreDistinctTrimmedAndInCodePointOrder) {
    struct Case {
        std::vector<std::string> lines;  // "\x01" first: drawn invisibly
        std::vector<std::string> terms;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        // Spellings that differ in case only are one finding where they are read at one place.
        {{"Confidential memo for Mr Smith"}, {" Smith ", "Smith", "smith\n", "   "}, {"Smith"}},
        {{"alpha and beta testing"}, {"beta", "alpha", "Alpha"}, {"alpha", "beta"}},
        {{"Attached: R\xc3\xa9sum\xc3\xa9 of the applicant"},
         {"resume", "R\xc3\x89SUM\xc3\x89"},
         {"R\xc3\x89SUM\xc3\x89", "resume"}},
        // The text layer holds only "4711-A"; the recognised line holds "4711a" too, by its letters
        // and digits, as the OCR search would find it.
        {{"Invoice No. 4711-A"}, {"4711a", "4711-a"}, {"4711-a", "4711a"}},
        {{"Invoking asn]Parser now"}, {"asn1Parser"}, {"asn1Parser"}},
        {{"Payment to John", "Whitaker by cheque"}, {"John  Whitaker", "JohnWhitaker"}, {"John  Whitaker"}},
        {{"Payment to John Whit", "aker by cheque"}, {"John Whitaker"}, {}},
        {{"Payment to Harring-", "ton by cheque"}, {"Harrington", "to-ton"}, {"Harrington"}},
        // No recogniser sees invisible text; the text layer still holds it.
        {{"Visible heading", "\x01Quarterly memo"}, {"Quarterly", "Harrington"}, {"Quarterly"}},
    };
    TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lines[0]);
        PageSpec page;
        double y = 760;
        for (const auto& line : c.lines) {
            if (line.starts_with('\x01')) {
                page.extraContent +=
                    "BT /F1 12 Tf 3 Tr 72 " + std::to_string(y -= 40) + " Td (" + line.substr(1) + ") Tj ET\n";
            } else {
                page.texts.push_back(TextRun{line, 72, y -= 40});
            }
        }
        writeFile(dir.file("plain.pdf"), buildPdf({.pages = {page}}));
        const ExportVerification result = verify(dir.file("plain.pdf"), c.terms);
        EXPECT_THAT(result.suspiciousMatches(), ElementsAreArray(c.expected));
        EXPECT_EQ(result.passed(), c.expected.empty());
        EXPECT_EQ(result.checkedPages(), 1);
    }
}

// Each missed occurrence is named with its page and place, in the checked file's own page
// space (the copy's pages start at the origin), from the pixels and from a text layer alike.
// A copy keeps its pages' turn, so it shows its text sideways or upside down.
TEST(Verification, FindingsLocateEveryMissedOccurrence) {
    for (const auto& [media, rotate] :
         {std::pair{PageRect{0, 0, 612, 792}, 0}, std::pair{PageRect{40, 60, 500, 700}, 90},
          std::pair{PageRect{0, 0, 612, 792}, 180}, std::pair{PageRect{-30, 20, 600, 500}, 270}}) {
        SCOPED_TRACE(rotate);
        const TextRun covered{"Payee Harrington", media.x + 60, media.maxY() - 100, 14};
        const TextRun missed{"Harrington, second copy", media.x + 60, media.maxY() - 300, 14};
        const PageRect ink = glyphBox(covered, "Harrington");
        TempDir dir;
        RedactionEngine::exportSecurePDF(
            documentOf({{.mediaBox = media}, {.mediaBox = media, .rotate = rotate, .texts = {covered, missed}}}),
            {region(1, {ink.x - 6, ink.y - 6, ink.width + 12, ink.height + 12})}, dir.file("copy.pdf"), {}, {});
        const ExportVerification result = verify(dir.file("copy.pdf"), {"Harrington"});
        ASSERT_EQ(result.findings().size(), 1u);
        const VerificationFinding& finding = result.findings()[0];
        EXPECT_EQ(std::tuple(finding.term, finding.pageIndex, finding.source),
                  std::tuple(std::string("Harrington"), 1, RedactionSource::ocr));
        PageRect word = glyphBox(missed, "Harrington");
        word.x -= media.x;
        word.y -= media.y;
        const PageRect rect = finding.rect.value_or(PageRect{});
        EXPECT_PRED2(contains, rect, word);
        EXPECT_LT(rect.width, word.width + 30);
        EXPECT_LT(rect.height, word.height + 20);
    }

    const TextRun line{"Smith wrote to Smith", 72, 700, 12};
    TempDir dir;
    writeFile(dir.file("plain.pdf"), buildPdf({.pages = {{.texts = {line}}}}));
    const ExportVerification result = verify(dir.file("plain.pdf"), {"smith"});
    std::vector<PageRect> fromText;
    for (const VerificationFinding& finding : result.findings()) {
        if (finding.source == RedactionSource::textSearch) fromText.push_back(finding.rect.value_or(PageRect{}));
    }
    ASSERT_EQ(fromText.size(), 2u);
    EXPECT_PRED2(contains, fromText[0], glyphBox(line, 0, 5));
    EXPECT_PRED2(contains, fromText[1], glyphBox(line, 15, 20));
    EXPECT_LT(fromText[0].maxX(), glyphBox(line, 9, 14).x) << "the word, not the line";
}

// A term or pattern that runs on past a line end, in the text layer or in recognised lines of
// one block, is reported with the place of each part; so is one read down a column of glyphs.
TEST(Verification, FindingsAcrossLineEndsAndDownColumnsHaveEachPartsPlace) {
    const TextRun first{"Payment to John", 72, 700, 14};
    const TextRun second{"Whitaker by cheque to +44 20", 72, 682, 14};
    const TextRun third{"7946 0958 before May", 72, 664, 14};
    std::vector<TextRun> column;
    for (std::size_t i = 0; i < 6; ++i) {
        column.push_back({std::string(1, "SECRET"[i]), 400, 600 - 18.0 * static_cast<double>(i), 14});
    }
    PageSpec page{.texts = {first, second, third}};
    page.texts.insert(page.texts.end(), column.begin(), column.end());
    TempDir dir;
    writeFile(dir.file("plain.pdf"), buildPdf({.pages = {page}}));
    writeFile(dir.file("scan.pdf"), buildScannedPdf({ScanPage{page}}));
    for (const char* file : {"plain.pdf", "scan.pdf"}) {
        SCOPED_TRACE(file);
        const auto result = RedactionEngine::verifyOutput(
            dir.file(file), {{"John Whitaker", "secret"}, {PatternPreset::phone}, {}}, {});
        const RedactionSource source =
            file == std::string("plain.pdf") ? RedactionSource::textSearch : RedactionSource::ocr;
        std::map<std::string, std::vector<PageRect>> places;
        for (const VerificationFinding& finding : result.findings()) {
            if (finding.source == source) places[finding.term].push_back(finding.rect.value_or(PageRect{}));
        }
        ASSERT_EQ(places["John Whitaker"].size(), 2u);
        EXPECT_PRED2(contains, places["John Whitaker"][0], glyphBox(first, "John"));
        EXPECT_PRED2(contains, places["John Whitaker"][1], glyphBox(second, "Whitaker"));
        EXPECT_LT(places["John Whitaker"][1].maxX(), glyphBox(second, "cheque").x) << "the part, not the line";
        ASSERT_EQ(places["+44 20 7946 0958"].size(), 2u);
        EXPECT_PRED2(contains, places["+44 20 7946 0958"][0], glyphBox(second, "+44 20"));
        EXPECT_PRED2(contains, places["+44 20 7946 0958"][1], glyphBox(third, "7946 0958"));
        ASSERT_EQ(places["secret"].size(), 1u);
        const PageRect glyphs = glyphBox(column[0], "S").united(glyphBox(column[5], "T"));
        const PageRect capitals{glyphs.x, glyphs.y + 0.21 * 14, glyphs.width, glyphs.height - 0.21 * 14};
        EXPECT_PRED2(contains, places["secret"][0], capitals);
    }
}

// Characters nobody sees do not hide a term from the text layer's check.
TEST(Verification, InvisibleCharactersDoNotHideATerm) {
    TempDir dir;
    writeFile(dir.file("plain.pdf"), pdfWithInvisibles({"Mr Sm\x80ith and Mr Jo\x82nes\x83 wrote"}));
    EXPECT_THAT(verify(dir.file("plain.pdf"), {"Smith", "Jones", "Brown"}).suspiciousMatches(),
                ElementsAre("Jones", "Smith"));
}

// Scans are read as shown, whatever turn their pixels were stored with, and upright when a
// sheet went through turned and nothing records it (text enough for the orientation model).
TEST(Verification, FindsTermsOnTurnedScans) {
    TempDir dir;
    PageSpec page{.texts = {{"Beneficiary: Margaret Oyelaran", 72, 700, 14}}};
    for (const char* line : {"The undersigned declares that the information given above is true,",
                             "complete and correct, and that no part of it has been withheld.",
                             "Payment is due within thirty days of the date of this statement."}) {
        page.texts.push_back({line, 72, page.texts.back().y - 24, 12});
    }
    for (const auto& [rotate, turn] : {std::pair{90, 0}, std::pair{0, 90}, std::pair{0, 180}, std::pair{0, 270}}) {
        writeFile(dir.file("scan.pdf"), buildScannedPdf({ScanPage{.source = page, .rotate = rotate, .turn = turn}}));
        EXPECT_THAT(verify(dir.file("scan.pdf"), {"Oyelaran", "Whitaker"}).suspiciousMatches(), ElementsAre("Oyelaran"))
            << rotate << " " << turn;
    }
}

const auto kVerificationFails = ::testing::Throws<RedactionError>(
    ::testing::AllOf(::testing::Property(&RedactionError::kind, RedactionError::Kind::outputVerificationFailed),
                     ::testing::Property(&RedactionError::errorDescription,
                                         "The exported PDF was created but verification could not complete.")));

TEST(Verification, ARecogniserThatCannotStartFailsVerification) {
    TempDir dir;
    writeFile(dir.file("plain.pdf"), buildPdf(textPages({"Nothing sensitive"})));
    const char* before = std::getenv("TESSDATA_PREFIX");
    const std::string saved = before ? before : "";
    ::setenv("TESSDATA_PREFIX", dir.path().c_str(), 1);
    EXPECT_THAT([&] { verify(dir.file("plain.pdf"), {"Harrington"}); }, kVerificationFails);
    EXPECT_TRUE(verify(dir.file("plain.pdf"), {}).passed()) << "no terms, nothing to recognise";
    before ? ::setenv("TESSDATA_PREFIX", saved.c_str(), 1) : ::unsetenv("TESSDATA_PREFIX");
}

// Fail closed: a copy that cannot be read in full is never reported clean.
TEST(Verification, UnreadableOutputFailsVerification) {
    const DocumentPlan locked{.pages = textPages({"Harrington"}).pages, .userPassword = "secret"};
    DocumentPlan noArea = textPages({"Harrington", "Harrington"});
    noArea.pages[1].mediaBox = {0, 0, 0, 792};
    const std::pair<const char*, std::vector<unsigned char>> cases[] = {
        {"empty", {}},
        {"plainText", bytesOf("Harrington, not a PDF\n")},
        {"headerOnly", bytesOf("%PDF-1.7\n%%EOF\n")},
        {"needsPassword", buildPdf(locked)},
        {"pageOfNoArea", buildPdf(noArea)},
        {"pageThatCannotBeDrawn", readFile(NORVANE_SOURCE_DIR "/tests/fuzz-crashes/image-too-large-to-decode.pdf")},
        {"missing", {}},
    };
    TempDir dir;
    for (const auto& [name, bytes] : cases) {
        if (name != std::string("missing")) writeFile(dir.file(name), bytes);
        EXPECT_THAT([&] { verify(dir.file(name), {"term"}); }, kVerificationFails) << name;
    }
}

}  // namespace
}  // namespace norvane
