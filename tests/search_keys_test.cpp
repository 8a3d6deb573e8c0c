#include "engine/search_keys.h"
#include "engine/line_joins.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace norvane {
namespace {

TEST(SearchKeys, NormalizedKeyFoldsAndKeepsOnlyLettersMarksAndNumbers) {
    const std::pair<std::string, std::string> cases[] = {
        {"JOHN-SMITH.", "johnsmith"},
        {"Café 12", "cafe12"},
        {"Cafe\xCC\x81", "cafe"},
        {"ÉLÈVE", "eleve"},
        {"a\r\nb\tc\u2028d", "abcd"},
        {" -.,;!?$€ ", ""},
        {"x²½", "x²½"},
        {"Ωμέγα", "ωμεγα"},
        {"ＡＢ１２", "ａｂ１２"},
        {"ab\xFF"
         "cd",
         "abcd"},
    };
    for (const auto& [input, key] : cases) {
        EXPECT_EQ(normalizedSearchKey(input), key) << input;
    }
}

// What a recogniser may misread is the same key: "asn]Parser" is read for "asn1Parser".
TEST(SearchKeys, RecognitionKeysMakeMistakenShapesOne) {
    const std::pair<std::string, std::string> cases[] = {
        {"asn]Parser", "asnlparser"}, {"ASN.1", "asnl"},    {"I|l1!", "lllll"},
        {"B0ND 55", "bondss"},        {"Ölfeld", "olfeld"}, {"x-y", "xy"},
    };
    for (const auto& [input, key] : cases) {
        EXPECT_EQ(recognitionKey(input), key) << input;
    }
    EXPECT_EQ(recognitionKey("asn1"), recognitionKey("asnl"));
    EXPECT_NE(recognitionKey("asn1"), recognitionKey("asn7"));
}

TEST(SearchKeys, SafetyMarginsComeFromTheHeightWithFloors) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::pair<PageRect, PageRect> cases[] = {
        {{100, 200, 50, 2}, {94, 197, 62, 8}},        // both floors
        {{10, 10, 100, 20}, {-1, 6.4, 122, 27.2}},    // both proportional
        {{0, 0, 1000, 20}, {-11, -3.6, 1022, 27.2}},  // width takes no part
        {{5, 5, 0, 10}, {5, 5, 0, 10}},               // nothing to widen
        {{5, 5, 10, 0}, {5, 5, 10, 0}},
        {{5, 5, -10, 10}, {5, 5, -10, 10}},
    };
    for (const auto& [in, out] : cases) {
        const PageRect r = safetyExpanded(in);
        EXPECT_NEAR(r.x, out.x, 1e-9) << in.height;
        EXPECT_NEAR(r.y, out.y, 1e-9) << in.height;
        EXPECT_NEAR(r.width, out.width, 1e-9) << in.height;
        EXPECT_NEAR(r.height, out.height, 1e-9) << in.height;
    }
    EXPECT_TRUE(std::isnan(safetyExpanded({1, 2, nan, 10}).width));
}

TEST(SearchKeys, TrimmedRemovesUnicodeWhiteSpaceAtBothEndsOnly) {
    const std::pair<std::string, std::string> cases[] = {
        {" John  Smith\n", "John  Smith"},
        {" \t\r\n\v\f", ""},
        {"\u00A0\u0085x\u00A0", "x"},
        {"\u2028\u2029x\u3000", "x"},
        {"\u200Bx", "\u200Bx"},
        {" résumé ", "résumé"},
        {" \xC3 ", "\xC3"},
    };
    for (const auto& [input, output] : cases) {
        EXPECT_EQ(trimmed(input), output) << input;
    }
}

TEST(SearchKeys, FindIgnoringCaseAndAccentsGivesByteOffsetsInTheOriginal) {
    using Range = std::optional<std::pair<std::size_t, std::size_t>>;
    const std::tuple<std::string, std::string, Range> cases[] = {
        {"JOHN SMITH", "john smith", Range{{0, 10}}},
        {"Le résumé final", "resume", Range{{3, 11}}},
        {"a resume", "RÉSUMÉ", Range{{2, 8}}},
        {"ÄÖÜ 😀 Smith", "smith", Range{{12, 17}}},
        {"smith smith", "SMITH", Range{{0, 5}}},
        {"\xFF\xFEname", "NAME", Range{{2, 6}}},
        {"John-Smith", "John Smith", std::nullopt},
        {"abc", "", std::nullopt},
        {"", "a", std::nullopt},
    };
    for (const auto& [haystack, needle, range] : cases) {
        EXPECT_EQ(findIgnoringCaseAndAccents(haystack, needle), range) << haystack << " / " << needle;
    }
}

// A match in a joined reading is its own only where it runs across a join, and it is traced back
// to the bytes of each line it covers.
TEST(LineJoins, MatchesAcrossLineEndsAreTracedToTheirLines) {
    const std::tuple<std::vector<std::string>, std::string, std::vector<LinePart>> cases[] = {
        {{"to John", "Whitaker by"}, "John Whitaker", {{0, 3, 7, 0}, {1, 0, 8, 1}}},
        {{"John", "", "Whitaker"}, "John Whitaker", {{0, 0, 4, 0}, {2, 0, 8, 2}}},
        {{"QUO-", "KKA"}, "QUOKKA", {{0, 0, 3, 0}, {1, 0, 3, 1}}},
        {{"7731-", "QUOKKA"}, "7731-QUOKKA", {{0, 0, 5, 0}, {1, 0, 6, 1}}},
        {{"Smi\u00AD", "th"}, "Smith", {{0, 0, 3, 0}, {1, 0, 2, 1}}},
        {{"Smi\u00AD", "th"}, "Smi th", {{0, 0, 3, 0}, {1, 0, 2, 1}}},
        {{"Smi\u00AD", "th"}, "Smi\u00ADth", {}},
        {{"Smith co-", "signed"}, "Smith", {}},
        {{"ab", "cd", "ef"}, "b cd e", {{0, 1, 2, 0}, {1, 0, 2, 1}, {2, 0, 1, 2}}},
    };
    for (const auto& [lines, needle, expected] : cases) {
        std::vector<LinePart> found;
        for (const LineReading& reading : LineReading::joined(lines)) {
            for (auto at = reading.text().find(needle); at != std::string::npos;
                 at = reading.text().find(needle, at + 1)) {
                if (reading.owns(at, at + needle.size())) {
                    const auto parts = reading.parts(at, at + needle.size());
                    found.insert(found.end(), parts.begin(), parts.end());
                }
            }
        }
        EXPECT_EQ(found, expected) << lines[0] << " / " << needle;
    }
}

}  // namespace
}  // namespace norvane
