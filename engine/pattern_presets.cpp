#include "engine/pattern_presets.h"

#include "engine/search_keys.h"

#include <arpa/inet.h>
#include <unicode/regex.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

namespace norvane {
namespace {

// Whether a match is what it looks like; the regular expression only finds candidates.
using Check = bool (*)(const std::u16string& match);

struct Preset {
    PatternPresetInfo info;
    const char* expression;
    Check check;
    // A candidate that fails its check is tried again without its trailing groups: the
    // expression is greedy and may have taken the next number on the line along.
    bool shrinks;
};

std::string digitsOf(const std::u16string& text) {
    std::string digits;
    for (const char16_t c : text) {
        if (c >= u'0' && c <= u'9') {
            digits += static_cast<char>(c);
        }
    }
    return digits;
}

// The runs of ASCII digits in `text`, as numbers (capped, so a long run cannot overflow).
std::vector<long> numbersIn(const std::u16string& text) {
    std::vector<long> numbers;
    bool inRun = false;
    for (const char16_t c : text) {
        const bool digit = c >= u'0' && c <= u'9';
        if (digit) {
            if (!inRun) {
                numbers.push_back(0);
            }
            numbers.back() = std::min(numbers.back() * 10 + (c - u'0'), 1'000'000L);
        }
        inRun = digit;
    }
    return numbers;
}

bool phoneCheck(const std::u16string& match) {
    const std::size_t digits = digitsOf(match).size();
    return digits <= 15 && digits >= (match.front() == u'+' ? 8u : 10u);
}

bool ibanCheck(const std::u16string& match) {
    std::string compact;
    for (const char16_t c : match) {
        if (c != u' ') {
            compact += static_cast<char>(c);
        }
    }
    if (compact.size() < 15 || compact.size() > 34) {
        return false;
    }
    std::rotate(compact.begin(), compact.begin() + 4, compact.end());
    int remainder = 0;
    for (const char c : compact) {
        const int value = c >= 'A' ? c - 'A' + 10 : c - '0';
        remainder = (value >= 10 ? remainder * 100 : remainder * 10) + value;
        remainder %= 97;
    }
    return remainder == 1;
}

bool luhnCheck(const std::u16string& match) {
    const std::string digits = digitsOf(match);
    if (digits.size() < 13 || digits.size() > 19) {
        return false;
    }
    int sum = 0;
    bool twice = false;
    for (auto it = digits.rbegin(); it != digits.rend(); ++it) {
        int d = *it - '0';
        if (twice && (d *= 2) > 9) {
            d -= 9;
        }
        sum += d;
        twice = !twice;
    }
    return sum % 10 == 0;
}

bool dateCheck(const std::u16string& match) {
    const std::vector<long> n = numbersIn(match);
    const auto day = [](long d) { return d >= 1 && d <= 31; };
    const auto month = [](long m) { return m >= 1 && m <= 12; };
    if (n.size() == 2) {  // a month written as a word: the day and the year
        return day(n[0]) || day(n[1]);
    }
    if (n.size() != 3) {
        return false;
    }
    if (n[0] >= 100) {
        return month(n[1]) && day(n[2]);  // year first
    }
    return (day(n[0]) && month(n[1])) || (month(n[0]) && day(n[1]));
}

bool ipv6Check(const std::u16string& match) {
    std::string ascii(match.begin(), match.end());
    in6_addr address{};
    if (inet_pton(AF_INET6, ascii.c_str(), &address) != 1) {
        return false;
    }
    // "::" and "::1" are placeholders, not someone's address.
    std::size_t groups = 0;
    for (std::size_t i = 0; i < ascii.size(); ++i) {
        groups += ascii[i] != ':' && (i == 0 || ascii[i - 1] == ':');
    }
    return groups >= 2;
}

#define NV_BEFORE "(?<![\\p{L}\\p{N}])"
#define NV_AFTER "(?![\\p{L}\\p{N}])"
#define NV_MONTHS                                                                                        \
    "(?i:January|February|March|April|May|June|July|August|September|October|November|December|Jan|Feb|" \
    "Mar|Apr|Jun|Jul|Aug|Sept|Sep|Oct|Nov|Dec)"

const std::array<Preset, 9> kPresets{{
    {{PatternPreset::email, "email", "E-mail Address"},
     R"((?<![\p{L}\p{N}._%+\-@])[\p{L}\p{N}_%+\-]+(?:\.[\p{L}\p{N}_%+\-]+)*@)"
     R"([\p{L}\p{N}](?:[\p{L}\p{N}\-]*[\p{L}\p{N}])?(?:\.[\p{L}\p{N}](?:[\p{L}\p{N}\-]*[\p{L}\p{N}])?)*)"
     R"(\.\p{L}{2,}(?![\p{L}\p{N}\-@]|\.[\p{L}\p{N}]))",
     nullptr,
     false},
    // International numbers, US numbers, and national numbers with a trunk 0, each in the
    // groupings people write; separators stay consistent so dates and ID numbers stay out, and
    // the tail of a longer group of numbers (an IBAN's) is not a number of its own.
    {{PatternPreset::phone, "phone", "Phone Number"},
     R"((?<![\p{L}\p{N}+\-./])(?<![0-9][ ])(?:)"
     R"(\+[0-9]{1,3}(?:[ .\-]?(?:\([0-9]{1,4}\)|[0-9]{1,5})){2,6})"
     R"(|(?:1[ .\-]?)?\([2-9][0-9]{2}\)[ ]?[0-9]{3}[ .\-][0-9]{4})"
     R"(|(?:1[ .\-])?[2-9][0-9]{2}(?<us>[ .\-])[0-9]{3}\k<us>[0-9]{4})"
     R"(|\(0[0-9]{1,4}\)[ ]?[0-9]{2,8}(?:[ \-][0-9]{2,8}){0,3})"
     R"(|0[0-9]{1,4}(?:(?<gap>[ .])[0-9]{2,8}(?:\k<gap>[0-9]{2,8}){0,3}|(?<dash>[/\-])[0-9]{3,8}(?:\k<dash>[0-9]{3,8}){0,2}))"
     R"()(?![\p{L}\p{N}]|[.\-/][0-9]))",
     phoneCheck,
     false},
    {{PatternPreset::iban, "iban", "IBAN"},
     NV_BEFORE R"([A-Z]{2}[0-9]{2}(?:[ ]?[A-Z0-9]{4}){2,7}(?:[ ]?[A-Z0-9]{1,3})?)" NV_AFTER,
     ibanCheck,
     true},
    {{PatternPreset::paymentCard, "card", "Payment Card Number"},
     R"((?<![\p{L}\p{N}\-])(?<![0-9][ ])[0-9](?:[ \-]?[0-9]){12,18}(?![\p{L}\p{N}]|-[0-9]))",
     luhnCheck,
     true},
    {{PatternPreset::socialSecurityNumber, "ssn", "US Social Security Number"},
     R"((?<![\p{L}\p{N}\-])(?!000|666|9)[0-9]{3}(?<sep>[ \-])(?!00)[0-9]{2}\k<sep>(?!0000)[0-9]{4})"
     R"((?![\p{L}\p{N}]|-[0-9]))",
     nullptr,
     false},
    {{PatternPreset::date, "date", "Date"},
     R"((?<![\p{L}\p{N}./\-])(?:)"
     R"([0-9]{4}(?<iso>[\-/.])[0-9]{1,2}\k<iso>[0-9]{1,2})"
     R"(|[0-9]{1,2}(?<num>[./\-])[0-9]{1,2}\k<num>(?:[0-9]{4}|[0-9]{2}))"
     R"(|[0-9]{1,2}(?i:st|nd|rd|th)?\.?[ ])" NV_MONTHS R"(\.?,?[ ][0-9]{4})"
     R"(|)" NV_MONTHS R"(\.?[ ][0-9]{1,2}(?i:st|nd|rd|th)?,?[ ][0-9]{4})"
     R"()(?![\p{L}\p{N}]|[./\-][0-9]))",
     dateCheck,
     false},
    {{PatternPreset::ipv4, "ipv4", "IPv4 Address"},
     R"((?<![\p{L}\p{N}.])(?:(?:25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])\.){3})"
     R"((?:25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])(?![\p{L}\p{N}]|\.[0-9]))",
     nullptr,
     false},
    {{PatternPreset::ipv6, "ipv6", "IPv6 Address"},
     R"((?<![\p{L}\p{N}:.])[0-9A-Fa-f]{0,4}(?::[0-9A-Fa-f]{0,4}){2,7}(?:\.[0-9]{1,3}){0,3}(?![\p{L}\p{N}:]))",
     ipv6Check,
     false},
    {{PatternPreset::webAddress, "url", "Web Address"},
     R"((?<![\p{L}\p{N}@.])(?:(?i:https?|ftp)://|(?i:www)\.)[^\s<>"'`]*[^\s<>"'`.,;:!?)\]}])",
     nullptr,
     false},
}};

#undef NV_BEFORE
#undef NV_AFTER
#undef NV_MONTHS

const Preset& presetFor(PatternPreset preset) {
    return kPresets[static_cast<std::size_t>(preset)];
}

// Compiled once; ICU patterns are immutable and shared by every thread's matchers.
const icu::RegexPattern& compiled(PatternPreset preset) {
    static const auto patterns = [] {
        std::array<std::unique_ptr<icu::RegexPattern>, kPresets.size()> all;
        for (std::size_t i = 0; i < kPresets.size(); ++i) {
            UParseError where{};
            UErrorCode status = U_ZERO_ERROR;
            all[i].reset(
                icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(kPresets[i].expression), 0, where, status));
            if (U_FAILURE(status)) {
                all[i].reset();
            }
        }
        return all;
    }();
    const auto& pattern = patterns[static_cast<std::size_t>(preset)];
    if (!pattern) {
        throw MatcherUnavailable("A pattern could not be built.");
    }
    return *pattern;
}

std::u16string slice(const icu::UnicodeString& text, std::int32_t begin, std::int32_t end) {
    return std::u16string(reinterpret_cast<const char16_t*>(text.getBuffer()) + begin,
                          static_cast<std::size_t>(end - begin));
}

// The end of the longest acceptable candidate starting at `begin`, cut back only at a
// separator; nothing when none passes.
std::optional<std::int32_t> acceptedEnd(const Preset& preset, const icu::UnicodeString& text, std::int32_t begin,
                                        std::int32_t end) {
    if (!preset.check || preset.check(slice(text, begin, end))) {
        return end;
    }
    if (preset.shrinks) {
        for (std::int32_t cut = end - 1; cut > begin; --cut) {
            const char16_t c = text.charAt(cut);
            if ((c == u' ' || c == u'-') && preset.check(slice(text, begin, cut))) {
                return cut;
            }
        }
    }
    return std::nullopt;
}

}  // namespace

const std::vector<PatternPresetInfo>& patternPresets() {
    static const std::vector<PatternPresetInfo> all = [] {
        std::vector<PatternPresetInfo> infos;
        for (const Preset& preset : kPresets) {
            infos.push_back(preset.info);
        }
        return infos;
    }();
    return all;
}

std::optional<PatternPreset> patternPresetNamed(std::string_view name) {
    for (const Preset& preset : kPresets) {
        if (preset.info.name == name) {
            return preset.info.preset;
        }
    }
    return std::nullopt;
}

std::vector<ByteRange> findPatternMatches(PatternPreset preset, std::string_view text) {
    const Utf16WithOffsets input = toUtf16WithOffsets(text);
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(compiled(preset).matcher(input.string, status));
    if (U_FAILURE(status)) {
        throw MatcherUnavailable("A pattern could not be run.");
    }
    // A hostile text layer must not hold the search for long; running out is a failure.
    matcher->setTimeLimit(2000, status);

    std::vector<ByteRange> ranges;
    std::int64_t from = 0;
    while (from <= input.string.length() && matcher->find(from, status)) {
        const std::int32_t begin = matcher->start(status);
        const std::int32_t end = matcher->end(status);
        if (U_FAILURE(status)) {
            break;
        }
        if (const auto accepted = acceptedEnd(presetFor(preset), input.string, begin, end)) {
            ranges.emplace_back(input.byteOffsets[static_cast<std::size_t>(begin)],
                                input.byteOffsets[static_cast<std::size_t>(*accepted)]);
            from = std::max(*accepted, begin + 1);
        } else {
            from = begin + 1;
        }
    }
    if (U_FAILURE(status)) {
        throw MatcherUnavailable("A pattern search did not finish.");
    }
    return ranges;
}

}  // namespace norvane
