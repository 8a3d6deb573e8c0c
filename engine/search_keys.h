#pragma once
// String and rectangle helpers shared by the text-layer search, the OCR search and
// verification. Strings are UTF-8.

#include "model/redaction_records.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace norvane {

// Folds case and accents (current locale), keeps letters, marks and numbers, lower-cases.
std::string normalizedSearchKey(std::string_view text);

// Widens by max(0.55·h, 6) sideways and max(0.18·h, 3) vertically; empty rects unchanged.
PageRect safetyExpanded(const PageRect& rect);

// Trims Unicode white space and line breaks from both ends.
std::string trimmed(std::string_view text);

// First occurrence of `needle` in `haystack` ignoring case and accents (no locale), as a
// [begin, end) range of byte offsets into `haystack`. Nothing for an empty needle.
std::optional<std::pair<std::size_t, std::size_t>> findIgnoringCaseAndAccents(std::string_view haystack,
                                                                              std::string_view needle);

}  // namespace norvane
