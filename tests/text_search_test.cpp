#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace norvane {
namespace {

using namespace norvane::testing;

// Whatever the page's box and rotation, the result is in the page's own user space and
// covers the glyphs, with no more than the safety margin around them.
TEST(TextSearch, BoxCoversTheGlyphsInPageSpace) {
    struct Case {
        const char* name;
        PageSpec page;
        TextRun run;
    };
    const Case cases[] = {
        {"letter", {}, {"", 72, 720, 12}},
        {"largeType", {}, {"", 40, 300, 40}},
        {"offsetMediaBox", {.mediaBox = {-100, 50, 400, 300}}, {"", -60, 200, 14}},
        {"rotated90", {.rotate = 90}, {"", 72, 500, 12}},
        {"rotated180", {.rotate = 180}, {"", 100, 100, 10}},
        {"rotated270", {.rotate = 270}, {"", 300, 600, 18}},
        {"rotatedAndOffset", {.mediaBox = {200, 300, 500, 400}, .rotate = 90}, {"", 250, 500, 12}},
        // Text outside the crop box is still exported, so it must still be found.
        {"outsideCropBox", {.cropBox = PageRect{0, 0, 300, 300}}, {"", 72, 720, 12}},
        {"cropBoxAndRotation", {.cropBox = PageRect{50, 60, 400, 500}, .rotate = 270}, {"", 72, 400, 12}},
        {"times", {}, {"", 72, 720, 12, "Times-Roman"}},
        // Small print is where a secret hides.
        {"smallPrint", {}, {"", 72, 60, 6}},
    };
    for (Case c : cases) {
        SCOPED_TRACE(c.name);
        c.run.text = "Dear John Smith, regards";
        c.page.texts = {c.run};
        const auto results = RedactionEngine::nativeTextMatches(documentOf({PageSpec{}, c.page}), "john smith").results;
        ASSERT_EQ(results.size(), 1u);
        EXPECT_EQ(results[0].pageIndex, 1);
        EXPECT_EQ(results[0].text, "John Smith");
        EXPECT_EQ(results[0].source, RedactionSource::textSearch);
        const PageRect ink = glyphBox(c.run, "John Smith");
        const double slack = std::max(16.0, 0.9 * c.run.size);
        const PageRect loose{ink.x - slack, ink.y - slack, ink.width + 2 * slack, ink.height + 2 * slack};
        EXPECT_PRED2(contains, results[0].rect, ink);
        EXPECT_PRED2(contains, loose, results[0].rect);
    }
}

struct QueryCase {
    friend void PrintTo(const QueryCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<std::vector<std::string>> pages;  // lines per page, 20 points apart
    std::string query;
    std::vector<std::pair<std::int64_t, std::string>> expected;  // (page, text)
};

class TextQueries : public ::testing::TestWithParam<QueryCase> {};

TEST_P(TextQueries, FindWhatCaseFoldingFinds) {
    std::vector<PageSpec> pages;
    for (const auto& lines : GetParam().pages) {
        pages.emplace_back();
        double y = 720;
        for (const auto& line : lines) {
            pages.back().texts.push_back(TextRun{line, 72, y -= 20});
        }
    }
    const auto results = RedactionEngine::nativeTextMatches(documentOf(pages), GetParam().query).results;
    ASSERT_EQ(results.size(), GetParam().expected.size());
    std::set<Uuid> ids;
    for (std::size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(std::pair(results[i].pageIndex, results[i].text), GetParam().expected[i]) << i;
        EXPECT_FALSE(results[i].rect.isEmpty());
        ids.insert(results[i].id);
    }
    EXPECT_EQ(ids.size(), results.size()) << "every result has its own id";
}

INSTANTIATE_TEST_SUITE_P(
    TextSearch, TextQueries,
    ::testing::Values(
        QueryCase{"blankQuery", {{"John Smith"}}, " \n\t ", {}},
        QueryCase{"trimmedQuery", {{"Mr Smith signed"}}, "  Smith \r\n", {{0, "Smith"}}},
        QueryCase{"caseFolded", {{"Mr SMITH and mr smith"}}, "Mr Smith", {{0, "Mr SMITH"}, {0, "mr smith"}}},
        QueryCase{"accentedCaseFolded", {{"RÉSUMÉ attached"}}, "résumé", {{0, "RÉSUMÉ"}}},
        QueryCase{"accentsNotFolded", {{"resume attached"}}, "résumé", {}},
        QueryCase{"accentsNotFoldedTheOtherWay", {{"résumé attached"}}, "resume", {}},
        QueryCase{"occurrencesInOrder",
                  {{"Smith"}, {"nothing", "Smith and Smith"}},
                  "smith",
                  {{0, "Smith"}, {1, "Smith"}, {1, "Smith"}}},
        QueryCase{"punctuationIsLiteral", {{"John-Smith"}}, "John Smith", {}},
        QueryCase{"spaceMatchesLineBreak", {{"Dear John", "Smith, hello"}}, "John Smith", {{0, "John\nSmith"}}},
        QueryCase{"spaceRunMatchesOneSpace", {{"John Smith"}}, "John   Smith", {{0, "John Smith"}}},
        QueryCase{"noSpaceDoesNotCrossLines", {{"John", "Smith"}}, "JohnSmith", {}},
        // One result per page the match touches, pages in order.
        QueryCase{"acrossPageBreak",
                  {{"text", "Dear John"}, {"Smith, hello"}},
                  "john smith",
                  {{0, "John\nSmith"}, {1, "John\nSmith"}}},
        QueryCase{
            "acrossEmptyPage", {{"Dear John"}, {}, {"Smith"}}, "john smith", {{0, "John\nSmith"}, {2, "John\nSmith"}}},
        QueryCase{"partialMatchRestarts", {{"Jo John Smith"}}, "John Smith", {{0, "John Smith"}}},
        // A partial match that overlaps the real one: the search must fall back, not start over.
        QueryCase{"selfOverlappingQuery", {{"Mississippi", "AAAB ABABAC"}}, "issip", {{0, "issip"}}},
        QueryCase{"repeatedPrefix", {{"AAAB ABABAC"}}, "ababac", {{0, "ABABAC"}}},
        QueryCase{"noTextLayer", {{}}, "Smith", {}},
        // A word broken with a hyphen at a line end: one result per line part.
        QueryCase{"hyphenDroppedAtLineEnd",
                  {{"Code ZEPHYR-7731-QUO-", "KKA follows"}},
                  "zephyr-7731-quokka",
                  {{0, "ZEPHYR-7731-QUOKKA"}, {0, "ZEPHYR-7731-QUOKKA"}}},
        QueryCase{
            "hyphenKeptAtLineEnd", {{"ref 7731-", "QUOKKA"}}, "7731-Quokka", {{0, "7731-QUOKKA"}, {0, "7731-QUOKKA"}}},
        QueryCase{
            "hyphenAtPageEnd", {{"ZEPHYR-"}, {"QUOKKA"}}, "zephyrquokka", {{0, "ZEPHYRQUOKKA"}, {1, "ZEPHYRQUOKKA"}}},
        QueryCase{"hyphenInsideALineStays", {{"ZEPHYR-QUOKKA"}}, "zephyrquokka", {}},
        QueryCase{"wordsAroundAHyphenatedBreakStillFound", {{"Smith co-", "signed"}}, "smith", {{0, "Smith"}}}),
    [](const auto& p) { return std::string(p.param.name); });

// A match wrapped to the next line gets one box over both parts; one hyphenated there gets a
// box on each line, around its own part only.
TEST(TextSearch, MatchesOverALineBreakAreBoxedLineByLine) {
    const TextRun wrapped{"A long line that ends with John", 72, 720, 12};
    const TextRun next{"Smith", 72, 705, 12};
    const auto united =
        RedactionEngine::nativeTextMatches(documentOf({{.texts = {wrapped, next}}}), "John Smith").results;
    ASSERT_EQ(united.size(), 1u);
    EXPECT_PRED2(contains, united[0].rect, glyphBox(wrapped, "John"));
    EXPECT_PRED2(contains, united[0].rect, glyphBox(next, "Smith"));

    const TextRun first{"A long first line that ends in ZEPHYR-7731-QUO-", 72, 720, 12};
    const TextRun second{"KKA and then the second line goes on", 72, 705, 12};
    const auto results =
        RedactionEngine::nativeTextMatches(documentOf({{.texts = {first, second}}}), "ZEPHYR-7731-QUOKKA").results;
    ASSERT_EQ(results.size(), 2u);
    EXPECT_PRED2(contains, results[0].rect, glyphBox(first, "ZEPHYR-7731-QUO"));
    EXPECT_GT(results[0].rect.minX(), glyphBox(first, "ends").maxX()) << "not the line's start";
    EXPECT_PRED2(contains, results[1].rect, glyphBox(second, "KKA"));
    EXPECT_LT(results[1].rect.maxX(), glyphBox(second, "then").x) << "not the next line's rest";
}

// The font maps code 0x80 to the "fi" glyph, so the text layer holds U+FB01.
TEST(TextSearch, LigaturesMatchTheirLetters) {
    const std::string content = "BT /F1 24 Tf 100 600 Td (\x80nd the \x80le) Tj ET";
    const auto document = PdfDocument::fromBytes(rawPdf({
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [4 0 R] /Count 1 >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding << /BaseEncoding /WinAnsiEncoding "
        "/Differences [128 /fi] >> >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 3 0 R >> >> "
        "/Contents 5 0 R >>",
        "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream",
    }));
    for (const char* query : {"find", "FIND", "\xEF\xAC\x81nd"}) {  // the last types U+FB01
        const auto results = RedactionEngine::nativeTextMatches(document, query).results;
        ASSERT_EQ(results.size(), 1u) << query;
        EXPECT_EQ(results[0].text, "find");
        // From the ligature's left edge, 100 points in.
        EXPECT_LE(results[0].rect.minX(), 100.0);
        EXPECT_GT(results[0].rect.maxX(), 100.0 + 24 * 1.5);
    }
}

// Characters nobody sees do not hide a word, in the text or in the query.
TEST(TextSearch, InvisibleCharactersAreReadThrough) {
    const std::tuple<std::vector<std::string>, std::string, std::vector<std::string>> cases[] = {
        {{"Mr Sm\x80ith signed"}, "smith", {"Smith"}},
        {{"Mr Smi\x81th signed"}, "smith", {"Smith"}},
        {{"\x82Smith\x83 signed"}, "smith signed", {"Smith signed"}},
        {{"Mr Smith signed"}, "Sm\u200Bith", {"Smith"}},
        {{"Mr Smi\x81", "th signed"}, "smith", {"Smith", "Smith"}},  // a soft hyphen breaking the word
        {{"Mr Smi\x81", "th signed"}, "smi-th", {}},
    };
    for (const auto& [lines, query, expected] : cases) {
        std::vector<std::string> found;
        for (const auto& result :
             RedactionEngine::nativeTextMatches(PdfDocument::fromBytes(pdfWithInvisibles(lines)), query).results) {
            found.push_back(result.text);
        }
        EXPECT_EQ(found, expected) << lines[0] << " / " << query;
    }
}

// Glyphs stacked one per line, as a word set vertically, read as that word, with one box over
// the column. Single glyphs that are bullets or table cells stay apart, and what reads along
// the lines is found as before.
TEST(TextSearch, ColumnsOfStackedGlyphsReadAsWords) {
    const auto stacked = [](const std::string& letters, double x, double pitch, double size = 12) {
        std::vector<TextRun> runs;
        double y = 700;
        for (char c : letters) {
            runs.push_back({std::string(1, c), x, y, size});
            y -= pitch;
            size = size == 12 ? 12 : 36 - size;  // alternates 24 and 12 when it starts at 24
        }
        return runs;
    };
    const auto with = [](std::vector<TextRun> runs, const std::vector<TextRun>& more) {
        runs.insert(runs.end(), more.begin(), more.end());
        return runs;
    };
    const std::vector<TextRun> sentence{{"A secret note on apples", 72, 400}};
    std::vector<TextRun> zigzag = stacked("SECRET", 300, 14);
    for (std::size_t i = 1; i < zigzag.size(); i += 2) {
        zigzag[i].x += 12;
    }
    struct Case {
        const char* name;
        std::vector<TextRun> runs;
        std::string query;
        std::vector<std::string> expected;
        std::size_t column = 0;  // how many runs from the first make the column found
    };
    const Case cases[] = {
        {"column", with(stacked("SECRET", 300, 14), sentence), "secret", {"SECRET", "secret"}, 6},
        {"narrowAndWideLetters", stacked("WILLOW", 300, 13), "willow", {"WILLOW"}, 6},
        {"looselySet", stacked("SECRET", 300, 26), "secret", {"SECRET"}, 6},
        {"twoColumns", with(stacked("TOP", 100, 14), stacked("SECRET", 400, 14)), "secret", {"SECRET"}},
        {"tooFarApart", stacked("SECRET", 300, 60), "secret", {}},
        {"zigzag", zigzag, "secret", {}},
        {"mixedSizes", stacked("SECRET", 300, 20, 24), "secret", {}},
        {"bullets",
         with(stacked("ABC", 72, 14), {{"Apples", 110, 700}, {"Bananas", 110, 686}, {"Cherries", 110, 672}}),
         "abc",
         {}},
        {"bulletText",
         with(stacked("ABC", 72, 14), {{"Apples", 110, 700}, {"Bananas", 110, 686}, {"Cherries", 110, 672}}),
         "bananas",
         {"Bananas"}},
        {"tableColumn",
         with(stacked("479", 400, 14), {{"Apples", 72, 700}, {"Pears", 72, 686}, {"Plums", 72, 672}}),
         "479",
         {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto results = RedactionEngine::nativeTextMatches(documentOf({{.texts = c.runs}}), c.query).results;
        std::vector<std::string> texts;
        for (const auto& result : results) {
            texts.push_back(result.text);
        }
        EXPECT_EQ(texts, c.expected);
        if (c.column > 0 && !results.empty()) {
            PageRect glyphs = glyphBox(c.runs[0], 0, 1);
            for (std::size_t i = 1; i < c.column; ++i) {
                glyphs = glyphs.united(glyphBox(c.runs[i], 0, 1));
            }
            EXPECT_PRED2(contains, results[0].rect, glyphs);
            EXPECT_LT(results[0].rect.width, glyphs.width + 30) << "the column, not the page";
        }
    }
}

// A column on a turned page stacks as the reader sees it, across the page's own x axis.
TEST(TextSearch, ColumnsOnTurnedPagesStackAsShown) {
    std::string content;
    double x = 300;
    for (char c : std::string("SECRET")) {
        content += "BT /F1 12 Tf 0 1 -1 0 " + std::to_string(x) + " 400 Tm (" + c + ") Tj ET\n";
        x += 14;
    }
    const PageSpec page{.rotate = 90, .texts = {{"Heading", 72, 720}}, .extraContent = content};
    const auto results = RedactionEngine::nativeTextMatches(documentOf({page}), "secret").results;
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].text, "SECRET");
    EXPECT_PRED2(contains, results[0].rect, (PageRect{290, 400, 14 * 5 + 4, 6}));
}

TEST(TextSearch, ABrokenPageDoesNotHideTheOthers) {
    auto pages = textPages({"Smith one", "", "Smith three"}).pages;
    pages[1].extraContent = "BT /NoSuchFont 12 Tf 72 720 Td (Smith) Tj ET q q q 1 0 0 1 0 0 cm ( Tj ] ]] BI ID";
    const auto results = RedactionEngine::nativeTextMatches(documentOf(pages), "smith").results;
    ASSERT_GE(results.size(), 2u);
    EXPECT_EQ(results.front().pageIndex, 0);
    EXPECT_EQ(results.back().pageIndex, 2);
    EXPECT_TRUE(RedactionEngine::nativeTextMatches(nullptr, "x").results.empty());
}

}  // namespace
}  // namespace norvane
