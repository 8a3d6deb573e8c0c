#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>

namespace norvane {
namespace {

using testing::DocumentSpec;
using testing::PageSpec;
using testing::TextRun;

SharedPdfDocument load(const DocumentSpec& spec) { return PdfDocument::fromBytes(testing::buildPdf(spec)); }

// The ink of `match` inside `run` in page space: from the baseline's descender to the cap
// height, horizontally from the match's first glyph to its last.
PageRect inkBox(const TextRun& run, const std::string& prefix, const std::string& match) {
    const double x = run.x + testing::textWidth(prefix, run.size, run.font);
    return PageRect{x, run.y - 0.21 * run.size, testing::textWidth(match, run.size, run.font), 0.93 * run.size};
}

bool contains(const PageRect& outer, const PageRect& inner) {
    return outer.minX() <= inner.minX() && outer.minY() <= inner.minY() && outer.maxX() >= inner.maxX() &&
           outer.maxY() >= inner.maxY();
}

::testing::AssertionResult coversTightly(const PageRect& found, const PageRect& ink, double fontSize) {
    // The safety margin grows with the line height; the font's line gap adds a little.
    const double slack = std::max(16.0, 0.9 * fontSize);
    const PageRect loose{ink.x - slack, ink.y - slack, ink.width + 2 * slack, ink.height + 2 * slack};
    if (contains(found, ink) && contains(loose, found)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "found [" << found.x << ", " << found.y << ", " << found.width << ", "
                                         << found.height << "] for ink [" << ink.x << ", " << ink.y << ", "
                                         << ink.width << ", " << ink.height << "]";
}

struct GeometryCase {
    const char* name;
    PageRect mediaBox;
    int rotate;
    std::optional<PageRect> cropBox;
    TextRun run;
};

void PrintTo(const GeometryCase& c, std::ostream* os) { *os << c.name; }

class NativeTextGeometry : public ::testing::TestWithParam<GeometryCase> {};

// Whatever the page's box and rotation, the result is in the page's own user space and
// covers the glyphs.
TEST_P(NativeTextGeometry, BoxCoversTheGlyphsInPageSpace) {
    const auto& c = GetParam();
    DocumentSpec spec;
    PageSpec page;
    page.mediaBox = c.mediaBox;
    page.rotate = c.rotate;
    page.cropBox = c.cropBox;
    TextRun run = c.run;
    run.text = "Dear John Smith, regards";
    page.texts.push_back(run);
    spec.pages = {PageSpec{}, page};

    const auto results = RedactionEngine::nativeTextMatches(load(spec), "john smith");
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].pageIndex, 1);
    EXPECT_EQ(results[0].text, "John Smith");
    EXPECT_EQ(results[0].source, RedactionSource::textSearch);
    EXPECT_TRUE(coversTightly(results[0].rect, inkBox(run, "Dear ", "John Smith"), run.size));
}

INSTANTIATE_TEST_SUITE_P(
    TextSearch, NativeTextGeometry,
    ::testing::Values(
        GeometryCase{"letter", {0, 0, 612, 792}, 0, std::nullopt, TextRun{"", 72, 720, 12}},
        GeometryCase{"largeType", {0, 0, 612, 792}, 0, std::nullopt, TextRun{"", 40, 300, 40}},
        GeometryCase{"offsetMediaBox", {-100, 50, 400, 300}, 0, std::nullopt, TextRun{"", -60, 200, 14}},
        GeometryCase{"rotated90", {0, 0, 612, 792}, 90, std::nullopt, TextRun{"", 72, 500, 12}},
        GeometryCase{"rotated180", {0, 0, 612, 792}, 180, std::nullopt, TextRun{"", 100, 100, 10}},
        GeometryCase{"rotated270", {0, 0, 612, 792}, 270, std::nullopt, TextRun{"", 300, 600, 18}},
        GeometryCase{"rotatedAndOffset", {200, 300, 500, 400}, 90, std::nullopt, TextRun{"", 250, 500, 12}},
        // Text outside the crop box is still exported, so it must still be found.
        GeometryCase{"outsideCropBox", {0, 0, 612, 792}, 0, PageRect{0, 0, 300, 300}, TextRun{"", 72, 720, 12}},
        GeometryCase{"cropBoxAndRotation", {0, 0, 612, 792}, 270, PageRect{50, 60, 400, 500}, TextRun{"", 72, 400, 12}},
        GeometryCase{"times", {0, 0, 612, 792}, 0, std::nullopt, TextRun{"", 72, 720, 12, "Times-Roman"}},
        // Small print is where a secret hides.
        GeometryCase{"smallPrint", {0, 0, 612, 792}, 0, std::nullopt, TextRun{"", 72, 60, 6}}),
    [](const auto& p) { return std::string(p.param.name); });

struct Expected {
    std::int64_t page;
    std::string text;
};

struct QueryCase {
    const char* name;
    std::vector<std::vector<std::string>> pages;  // lines per page, 20 points apart
    std::string query;
    std::vector<Expected> expected;
};

void PrintTo(const QueryCase& c, std::ostream* os) { *os << c.name; }

DocumentSpec linesDocument(const std::vector<std::vector<std::string>>& pages) {
    DocumentSpec spec;
    for (const auto& lines : pages) {
        PageSpec page;
        double y = 720;
        for (const auto& line : lines) {
            page.texts.push_back(TextRun{line, 72, y, 12});
            y -= 20;
        }
        spec.pages.push_back(page);
    }
    return spec;
}

class NativeTextQueries : public ::testing::TestWithParam<QueryCase> {};

TEST_P(NativeTextQueries, FindsWhatCaseFoldingFinds) {
    const auto& c = GetParam();
    const auto results = RedactionEngine::nativeTextMatches(load(linesDocument(c.pages)), c.query);
    ASSERT_EQ(results.size(), c.expected.size());
    std::set<Uuid> ids;
    for (std::size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(results[i].pageIndex, c.expected[i].page) << i;
        EXPECT_EQ(results[i].text, c.expected[i].text) << i;
        EXPECT_FALSE(results[i].rect.isEmpty());
        ids.insert(results[i].id);
    }
    EXPECT_EQ(ids.size(), results.size()) << "every result has its own id";
}

INSTANTIATE_TEST_SUITE_P(
    TextSearch, NativeTextQueries,
    ::testing::Values(
        QueryCase{"blankQuery", {{"John Smith"}}, " \n\t ", {}},
        QueryCase{"emptyQuery", {{"John Smith"}}, "", {}},
        QueryCase{"trimmedQuery", {{"Mr Smith signed"}}, "  Smith \r\n", {{0, "Smith"}}},
        QueryCase{"caseFolded", {{"Mr SMITH and mr smith"}}, "Mr Smith", {{0, "Mr SMITH"}, {0, "mr smith"}}},
        QueryCase{"accentedCaseFolded", {{"RÉSUMÉ attached"}}, "résumé", {{0, "RÉSUMÉ"}}},
        QueryCase{"accentsNotFolded", {{"resume attached"}}, "résumé", {}},
        QueryCase{"accentsNotFoldedTheOtherWay", {{"résumé attached"}}, "resume", {}},
        QueryCase{"twoOccurrencesInOrder", {{"Smith"}, {"nothing", "Smith and Smith"}}, "smith",
                  {{0, "Smith"}, {1, "Smith"}, {1, "Smith"}}},
        QueryCase{"absent", {{"John Smith"}}, "Jones", {}},
        QueryCase{"punctuationIsLiteral", {{"John-Smith"}}, "John Smith", {}},
        QueryCase{"spaceMatchesLineBreak", {{"Dear John", "Smith, hello"}}, "John Smith", {{0, "John\nSmith"}}},
        QueryCase{"spaceRunMatchesOneSpace", {{"John Smith"}}, "John   Smith", {{0, "John Smith"}}},
        QueryCase{"noSpaceDoesNotCrossLines", {{"John", "Smith"}}, "JohnSmith", {}},
        // One result per page the match touches, pages in order.
        QueryCase{"acrossPageBreak", {{"text", "Dear John"}, {"Smith, hello"}}, "john smith",
                  {{0, "John\nSmith"}, {1, "John\nSmith"}}},
        QueryCase{"acrossEmptyPage", {{"Dear John"}, {}, {"Smith"}}, "john smith",
                  {{0, "John\nSmith"}, {2, "John\nSmith"}}},
        QueryCase{"partialMatchRestarts", {{"Jo John Smith"}}, "John Smith", {{0, "John Smith"}}},
        // A partial match that overlaps the real one: the search must fall back, not start over.
        QueryCase{"selfOverlappingQuery", {{"Mississippi", "AAAB ABABAC"}}, "issip", {{0, "issip"}}},
        QueryCase{"repeatedPrefix", {{"AAAB ABABAC"}}, "ababac", {{0, "ABABAC"}}},
        QueryCase{"noTextLayer", {{}}, "Smith", {}}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(NativeTextWrap, UnitesTheLineBoxesOfAWrappedMatch) {
    DocumentSpec spec;
    PageSpec page;
    const TextRun first{"A long line that ends with John", 72, 720, 12};
    const TextRun second{"Smith", 72, 705, 12};
    page.texts = {first, second};
    spec.pages = {page};
    const auto results = RedactionEngine::nativeTextMatches(load(spec), "John Smith");
    ASSERT_EQ(results.size(), 1u);
    const PageRect john = inkBox(first, "A long line that ends with ", "John");
    const PageRect smith = inkBox(second, "", "Smith");
    EXPECT_TRUE(contains(results[0].rect, john));
    EXPECT_TRUE(contains(results[0].rect, smith));
    // The union spans from the start of the second line to the end of the first.
    EXPECT_LE(results[0].rect.minX(), smith.minX());
    EXPECT_GE(results[0].rect.maxX(), john.maxX());
}

// A PDF whose font maps code 0x80 to the "fi" glyph, so the text layer holds U+FB01.
std::vector<unsigned char> ligaturePdf() {
    const std::string content = "BT /F1 24 Tf 100 600 Td (\x80nd the \x80le) Tj ET";
    const std::vector<std::string> objects = {
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [4 0 R] /Count 1 >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding << /BaseEncoding /WinAnsiEncoding "
        "/Differences [128 /fi] >> >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 3 0 R >> >> "
        "/Contents 5 0 R >>",
        "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream",
    };
    std::string pdf = "%PDF-1.4\n";
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        offsets.push_back(pdf.size());
        pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const std::size_t xref = pdf.size();
    pdf += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (const auto offset : offsets) {
        char line[32];
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
        pdf += line;
    }
    pdf += "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(xref) + "\n%%EOF\n";
    return std::vector<unsigned char>(pdf.begin(), pdf.end());
}

class NativeTextLigature : public ::testing::TestWithParam<std::string> {};

TEST_P(NativeTextLigature, MatchesItsLetters) {
    const auto document = PdfDocument::fromBytes(ligaturePdf());
    const auto results = RedactionEngine::nativeTextMatches(document, GetParam());
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].text, "find");
    // Starts at the ligature's left edge, 100 points in.
    EXPECT_LE(results[0].rect.minX(), 100.0);
    EXPECT_GT(results[0].rect.maxX(), 100.0 + 24 * 1.5);
}

INSTANTIATE_TEST_SUITE_P(TextSearch, NativeTextLigature,
                         ::testing::Values("find", "FIND", "\xEF\xAC\x81nd"));  // the last types U+FB01

TEST(NativeTextHostile, ABrokenPageDoesNotHideTheOthers) {
    auto spec = linesDocument({{"Smith one"}, {}, {"Smith three"}});
    spec.pages[1].extraContent = "BT /NoSuchFont 12 Tf 72 720 Td (Smith) Tj ET q q q 1 0 0 1 0 0 cm ( Tj ] ]] BI ID";
    const auto results = RedactionEngine::nativeTextMatches(load(spec), "smith");
    ASSERT_GE(results.size(), 2u);
    EXPECT_EQ(results.front().pageIndex, 0);
    EXPECT_EQ(results.back().pageIndex, 2);
}

TEST(NativeTextHostile, NullDocumentFindsNothing) {
    EXPECT_TRUE(RedactionEngine::nativeTextMatches(nullptr, "x").empty());
}

}  // namespace
}  // namespace norvane
