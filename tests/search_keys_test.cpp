#include "engine/search_keys.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace norvane {
namespace {

struct KeyCase {
    const char* name;
    std::string input;
    std::string key;
};

void PrintTo(const KeyCase& c, std::ostream* os) { *os << c.name; }

class NormalizedSearchKey : public ::testing::TestWithParam<KeyCase> {};

TEST_P(NormalizedSearchKey, FoldsAndKeepsOnlyLettersMarksAndNumbers) {
    EXPECT_EQ(normalizedSearchKey(GetParam().input), GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(
    SearchKeys, NormalizedSearchKey,
    ::testing::Values(KeyCase{"plain", "John Smith", "johnsmith"}, KeyCase{"upperHyphen", "JOHN-SMITH", "johnsmith"},
                      KeyCase{"trailingPunctuation", "john smith.", "johnsmith"},
                      KeyCase{"accentAndDigits", "Café 12", "cafe12"},
                      KeyCase{"decomposedAccent", "Cafe\xCC\x81", "cafe"},
                      KeyCase{"upperAccents", "ÉLÈVE", "eleve"},
                      KeyCase{"lineBreaksAndTabs", "a\r\nb\tc\u2028d", "abcd"},
                      KeyCase{"symbolsOnly", " -.,;!?$€ ", ""}, KeyCase{"empty", "", ""},
                      KeyCase{"otherNumbers", "x²½", "x²½"},  // No (other numbers) are kept
                      KeyCase{"nonLatinLetters", "Ωμέγα", "ωμεγα"},
                      KeyCase{"fullwidthDigits", "ＡＢ１２", "ａｂ１２"},
                      KeyCase{"malformedUtf8", std::string("ab\xFF" "cd"), "abcd"}),
    [](const auto& p) { return std::string(p.param.name); });

struct ExpandCase {
    const char* name;
    PageRect in;
    PageRect out;
};

void PrintTo(const ExpandCase& c, std::ostream* os) { *os << c.name; }

class SafetyExpanded : public ::testing::TestWithParam<ExpandCase> {};

TEST_P(SafetyExpanded, WidensByHeightDerivedMargins) {
    const PageRect r = safetyExpanded(GetParam().in);
    EXPECT_DOUBLE_EQ(r.x, GetParam().out.x);
    EXPECT_DOUBLE_EQ(r.y, GetParam().out.y);
    EXPECT_DOUBLE_EQ(r.width, GetParam().out.width);
    EXPECT_DOUBLE_EQ(r.height, GetParam().out.height);
}

INSTANTIATE_TEST_SUITE_P(
    SearchKeys, SafetyExpanded,
    ::testing::Values(
        // Both floors.
        ExpandCase{"twoPointHigh", {100, 200, 50, 2}, {94, 197, 62, 8}},
        ExpandCase{"tenPointHigh", {0, 0, 30, 10}, {-6, -3, 42, 16}},
        ExpandCase{"twentyPointHigh", {10, 10, 100, 20}, {-1, 6.4, 122, 27.2}},
        ExpandCase{"fortyPointHigh", {0, 0, 5, 40}, {-22, -7.2, 49, 54.4}},
        // Width takes no part in the margins.
        ExpandCase{"longLine", {0, 0, 1000, 20}, {-11, -3.6, 1022, 27.2}},
        ExpandCase{"zeroWidth", {5, 5, 0, 10}, {5, 5, 0, 10}}, ExpandCase{"zeroHeight", {5, 5, 10, 0}, {5, 5, 10, 0}},
        ExpandCase{"negativeWidth", {5, 5, -10, 10}, {5, 5, -10, 10}}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(SafetyExpandedNan, ComesBackUnchanged) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const PageRect r = safetyExpanded({1, 2, nan, 10});
    EXPECT_EQ(r.x, 1);
    EXPECT_TRUE(std::isnan(r.width));
}

struct TrimCase {
    const char* name;
    std::string input;
    std::string output;
};

void PrintTo(const TrimCase& c, std::ostream* os) { *os << c.name; }

class Trimmed : public ::testing::TestWithParam<TrimCase> {};

TEST_P(Trimmed, RemovesUnicodeWhiteSpaceAtBothEndsOnly) { EXPECT_EQ(trimmed(GetParam().input), GetParam().output); }

INSTANTIATE_TEST_SUITE_P(
    SearchKeys, Trimmed,
    ::testing::Values(TrimCase{"spaces", "  Smith  ", "Smith"}, TrimCase{"innerKept", " John  Smith\n", "John  Smith"},
                      TrimCase{"allBlank", " \t\r\n\v\f", ""}, TrimCase{"empty", "", ""},
                      TrimCase{"noBreakSpaceAndNel", "\u00A0\u0085x\u00A0", "x"},
                      TrimCase{"lineAndParagraphSeparators", "\u2028\u2029x\u3000", "x"},
                      TrimCase{"zeroWidthSpaceIsNotWhiteSpace", "\u200Bx", "\u200Bx"},
                      TrimCase{"multibyteAtEnd", " résumé ", "résumé"},
                      TrimCase{"malformedKept", std::string(" \xC3 "), std::string("\xC3")}),
    [](const auto& p) { return std::string(p.param.name); });

struct FindCase {
    const char* name;
    std::string haystack;
    std::string needle;
    std::optional<std::pair<std::size_t, std::size_t>> range;
};

void PrintTo(const FindCase& c, std::ostream* os) { *os << c.name; }

class FindIgnoringCaseAndAccents : public ::testing::TestWithParam<FindCase> {};

TEST_P(FindIgnoringCaseAndAccents, GivesByteOffsetsInTheOriginal) {
    EXPECT_EQ(findIgnoringCaseAndAccents(GetParam().haystack, GetParam().needle), GetParam().range);
}

using Range = std::pair<std::size_t, std::size_t>;

INSTANTIATE_TEST_SUITE_P(
    SearchKeys, FindIgnoringCaseAndAccents,
    ::testing::Values(FindCase{"exact", "Dear John Smith,", "John Smith", Range{5, 15}},
                      FindCase{"caseOnly", "JOHN SMITH", "john smith", Range{0, 10}},
                      FindCase{"accentInText", "Le résumé final", "resume", Range{3, 11}},
                      FindCase{"accentInNeedle", "a resume", "RÉSUMÉ", Range{2, 8}},
                      // Offsets after multi-byte characters and outside the BMP are byte offsets.
                      FindCase{"afterMultibyte", "ÄÖÜ 😀 Smith", "smith", Range{12, 17}},
                      FindCase{"firstOfTwo", "smith smith", "SMITH", Range{0, 5}},
                      FindCase{"punctuationMatters", "John-Smith", "John Smith", std::nullopt},
                      FindCase{"absent", "nothing here", "Smith", std::nullopt},
                      FindCase{"emptyNeedle", "abc", "", std::nullopt}, FindCase{"emptyHaystack", "", "a", std::nullopt},
                      FindCase{"malformedBeforeMatch", std::string("\xFF\xFEname"), "NAME", Range{2, 6}}),
    [](const auto& p) { return std::string(p.param.name); });

}  // namespace
}  // namespace norvane
