#pragma once
// String and rectangle helpers shared by the text-layer search, the OCR search and
// verification. Strings are UTF-8.

#include "engine/pattern_presets.h"
#include "records/redaction_records.h"

#include <unicode/unistr.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace norvane {

// Folds case and accents (current locale), keeps letters, marks and numbers, lower-cases.
std::string normalizedSearchKey(std::string_view text);

// normalizedSearchKey with the shapes a recogniser mistakes for each other made one: 1, i, l and
// the strokes ], | and !; 0 and o; 5 and s. What a recogniser read as "asn]" is then "asn1".
std::string recognitionKey(std::string_view text);

// Widens by max(0.55·h, 6) sideways and max(0.18·h, 3) vertically; empty rects unchanged.
PageRect safetyExpanded(const PageRect& rect);

// Full Unicode case folding only ("Straße" and "STRASSE" fold alike; accents stay).
std::string caseFolded(std::string_view text);

// Trims Unicode white space and line breaks from both ends.
std::string trimmed(std::string_view text);

// Appends `c` as UTF-8; what is not a Unicode scalar value becomes U+FFFD.
void appendUtf8(std::string& out, char32_t c);

using ByteRange = std::pair<std::size_t, std::size_t>;  // [begin, end) byte offsets

// UTF-16 copy of `text` plus, for every UTF-16 index (and one past the end), the byte offset
// in `text` where that unit's scalar starts; malformed bytes become U+FFFD.
struct Utf16WithOffsets {
    icu::UnicodeString string;
    std::vector<std::size_t> byteOffsets;
};
Utf16WithOffsets toUtf16WithOffsets(std::string_view text);

// The search could not be set up or run, so "not found" would be a guess.
class MatcherUnavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Every non-overlapping occurrence of `needle` in `haystack` ignoring case and accents (no
// locale), in order, as byte ranges into `haystack`. Nothing for an empty needle. Throws
// MatcherUnavailable when the search cannot be built or run.
std::vector<ByteRange> findAllIgnoringCaseAndAccents(std::string_view haystack, std::string_view needle);

// The first of those occurrences.
std::optional<ByteRange> findIgnoringCaseAndAccents(std::string_view haystack, std::string_view needle);

// Non-overlapping occurrences of `needle` in `haystack`, compared byte for byte.
std::size_t countOccurrences(std::string_view haystack, std::string_view needle);

// Every non-overlapping match of the preset in `text` that passes its check, in order, as byte
// ranges into `text`. Throws MatcherUnavailable when the expression cannot be built or run.
std::vector<ByteRange> findPatternMatches(PatternPreset preset, std::string_view text);

}  // namespace norvane
