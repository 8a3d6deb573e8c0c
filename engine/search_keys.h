#pragma once
// String and rectangle helpers shared by the text-layer search, the OCR search and
// verification. Strings are UTF-8.

#include "records/redaction_records.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace norvane {

// Folds case and accents (current locale), keeps letters, marks and numbers, lower-cases.
std::string normalizedSearchKey(std::string_view text);

// Widens by max(0.55·h, 6) sideways and max(0.18·h, 3) vertically; empty rects unchanged.
PageRect safetyExpanded(const PageRect& rect);

// Trims Unicode white space and line breaks from both ends.
std::string trimmed(std::string_view text);

// Appends `c` as UTF-8; what is not a Unicode scalar value becomes U+FFFD.
void appendUtf8(std::string& out, char32_t c);

using ByteRange = std::pair<std::size_t, std::size_t>;  // [begin, end) byte offsets

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

}  // namespace norvane
