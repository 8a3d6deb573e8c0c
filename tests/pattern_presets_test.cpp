#include "engine/redaction_engine.h"
#include "engine/search_keys.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

namespace norvane {
namespace {

struct PresetCase {
    const char* preset;
    std::string text;
    std::vector<std::string> found;  // what a person would mark, in order
};

std::vector<std::string> matchedStrings(PatternPreset preset, const std::string& text) {
    std::vector<std::string> found;
    for (const auto& [begin, end] : findPatternMatches(preset, text)) {
        found.push_back(text.substr(begin, end - begin));
    }
    return found;
}

TEST(PatternPresets, FindWhatAPersonWouldMarkAndNothingElse) {
    const PresetCase cases[] = {
        {"email", "Write to jane.doe+hr@mail.example.co.uk.", {"jane.doe+hr@mail.example.co.uk"}},
        {"email", "(björn@exämple.de) or Ops@Example.ORG", {"björn@exämple.de", "Ops@Example.ORG"}},
        {"email", "user@localhost, a@b.c, name@@example.com, @example.com", {}},
        {"email", "see x@example.com1 and y@ex_ample.com", {}},

        {"phone", "Call +44 20 7946 0958 or +1 (555) 123-4567.", {"+44 20 7946 0958", "+1 (555) 123-4567"}},
        {"phone",
         "US: (555) 123-4567, 555-123-4567, 555.123.4567, 1-800-555-0199",
         {"(555) 123-4567", "555-123-4567", "555.123.4567", "1-800-555-0199"}},
        {"phone",
         "Berlin 030 1234567, Paris 01 23 45 67 89, NL 06-12345678",
         {"030 1234567", "01 23 45 67 89", "06-12345678"}},
        {"phone", "Invoice 12345678, 3.14159, 1,234,567, 2024-01-15, 01.02.2024 12, 078-05-1120, +12 34", {}},
        {"phone", "555-123-45678 and 555-123.4567 and ID-555-123-4567, DE44 5001 0517 5407 3249 31", {}},

        {"iban",
         "IBAN DE89 3704 0044 0532 0130 00, GB82WEST12345698765432.",
         {"DE89 3704 0044 0532 0130 00", "GB82WEST12345698765432"}},
        {"iban", "BE68 5390 0754 7034 2024", {"BE68 5390 0754 7034"}},  // the year is not part of it
        {"iban", "DE89 3704 0044 0532 0130 01, GB82WEST12345698765433, XDE89370400440532013000", {}},

        {"card",
         "Visa 4111 1111 1111 1111, Amex 3782-822463-10005, 5555555555554444.",
         {"4111 1111 1111 1111", "3782-822463-10005", "5555555555554444"}},
        {"card", "4111 1111 1111 1111 12/27", {"4111 1111 1111 1111"}},
        {"card", "4111 1111 1111 1112, 411111111111, 41111111111111111111111, A4111111111111111", {}},
        {"card", "IBAN DE44 5001 0517 5407 3249 31", {}},  // its tail passes the Luhn check

        {"ssn", "SSN 078-05-1120 or 078 05 1120.", {"078-05-1120", "078 05 1120"}},
        {"ssn", "000-12-3456 666-12-3456 900-12-3456 078-00-1120 078-05-0000 078-05 1120 1078-05-1120", {}},

        {"date",
         "Born 1984-03-07, seen 07/03/1984, 3.7.84, 12-31-2024.",
         {"1984-03-07", "07/03/1984", "3.7.84", "12-31-2024"}},
        {"date",
         "On 5 March 2024, 1st Jan. 1999 and March 5th, 2024.",
         {"5 March 2024", "1st Jan. 1999", "March 5th, 2024"}},
        {"date", "13/13/2024, 32.01.2024, 2024-13-01, 10.1.2.3, page 1/2, v1.10.12", {}},

        {"ipv4", "Hosts 192.168.1.10 and 8.8.8.8; mask 255.255.255.0.", {"192.168.1.10", "8.8.8.8", "255.255.255.0"}},
        {"ipv4", "256.1.1.1, 1.2.3, 192.168.01.1, 1.2.3.4.5, v10.0.0.1", {}},

        {"ipv6",
         "Use 2001:db8::8a2e:370:7334 or fe80::1ff:fe23:4567:890a, ::ffff:192.0.2.1.",
         {"2001:db8::8a2e:370:7334", "fe80::1ff:fe23:4567:890a", "::ffff:192.0.2.1"}},
        {"ipv6", "at 12:30:45, ratio 3:4, :: and ::1, 1:2:3:4:5:6:7:8:9, 2001:db8:::1", {}},

        {"url",
         "See https://example.org/a?b=1, www.example.com. Or (http://x.example/path).",
         {"https://example.org/a?b=1", "www.example.com", "http://x.example/path"}},
        {"url", "example.com, mailto:a@example.com, xwww.example.com, https:// nothing", {}},
    };
    for (const auto& [name, text, found] : cases) {
        const auto preset = patternPresetNamed(name);
        ASSERT_TRUE(preset) << name;
        EXPECT_EQ(matchedStrings(*preset, text), found) << name << ": " << text;
    }
}

TEST(PatternPresets, EveryNameIsKnownAndMatchesAreByteRangesIntoUtf8) {
    for (const auto& info : patternPresets()) {
        EXPECT_EQ(patternPresetNamed(info.name), info.preset);
    }
    EXPECT_FALSE(patternPresetNamed("Email"));
    // Offsets count bytes, so text after multi-byte characters is cut where it stands.
    const std::string text = "Grüße — Zoë: 192.168.1.1\xFF und mehr";
    const auto ranges = findPatternMatches(PatternPreset::ipv4, text);
    ASSERT_EQ(ranges.size(), 1u);
    EXPECT_EQ(text.substr(ranges[0].first, ranges[0].second - ranges[0].first), "192.168.1.1");
}

// In the text layer a match may run on past a line end, as typed text does, with one box per
// line part; or down a column of stacked glyphs, with one box over it. What matched within a
// line is found as before, and a line end is never read as nothing.
TEST(PatternSearch, MatchesRunOnPastLineEnds) {
    using testing::TextRun;
    struct Case {
        const char* name;
        std::vector<TextRun> runs;
        PatternPreset preset;
        std::vector<std::string> expected;  // one per box
    };
    std::vector<TextRun> column;
    for (std::size_t i = 0; i < 8; ++i) {
        column.push_back({std::string(1, "10.0.0.1"[i]), 400, 700 - 14.0 * static_cast<double>(i)});
    }
    const Case cases[] = {
        {"phone",
         {{"Call +44 20", 72, 700}, {"7946 0958 today", 72, 686}},
         PatternPreset::phone,
         {"+44 20 7946 0958", "+44 20 7946 0958"}},
        {"iban",
         {{"IBAN DE89 3704 0044", 72, 700}, {"0532 0130 00 please", 72, 686}},
         PatternPreset::iban,
         {"DE89 3704 0044 0532 0130 00", "DE89 3704 0044 0532 0130 00"}},
        {"withinALine",
         {{"Call 555-123-4567", 72, 700}, {"or later", 72, 686}},
         PatternPreset::phone,
         {"555-123-4567"}},
        {"lineEndIsNoJoin",
         {{"Card 4111 1111", 72, 700}, {"1111 1111 ends", 72, 686}},
         PatternPreset::paymentCard,
         {"4111 1111 1111 1111", "4111 1111 1111 1111"}},
        {"lineEndIsNotNothing",
         {{"IBAN GB82WEST1234", 72, 700}, {"5698765432", 72, 686}},
         PatternPreset::iban,
         {"GB82WEST1234 5698765432", "GB82WEST1234 5698765432"}},
        {"column", column, PatternPreset::ipv4, {"10.0.0.1"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto results =
            RedactionEngine::nativePatternMatches(testing::documentOf({{.texts = c.runs}}), c.preset).results;
        std::vector<std::string> texts;
        for (const auto& result : results) {
            texts.push_back(result.text);
        }
        EXPECT_EQ(texts, c.expected);
        if (texts.size() == 2) {  // each box on its own line: baselines 700 and 686
            EXPECT_GT(results[0].rect.y + results[0].rect.height / 2, 697);
            EXPECT_LT(results[1].rect.y + results[1].rect.height / 2, 697);
        }
    }
}

}  // namespace
}  // namespace norvane
