#pragma once
// Pieces the norvane-redact commands share: progress on stderr, JSON shapes of the
// records, region arguments and error printing.

#include "cli/arguments.h"
#include "cli/commands.h"
#include "engine/redaction_engine.h"
#include "records/redaction_records.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace norvane::cli {

using Json = nlohmann::ordered_json;

Json toJson(const RedactionSearchResult& result);
Json toJson(const ExportVerification& verification);
Json toJson(const PageRect& rect);

// Reports "<prefix>N of M" after each page: a redrawn bar on a terminal, one line per page
// otherwise.
PageProgress progressPrinter(const Console& console, std::string prefix);

struct RegionArgument {
    std::int64_t pageIndex = 0;
    PageRect rect;  // standardised
};

// "PAGE:X,Y,W,H" with a zero-based page and a rectangle in page space. Nothing for
// malformed text, non-finite numbers, or a rectangle under 2 points either way (what the
// canvas treats as a click).
std::optional<RegionArgument> parseRegion(std::string_view text);

// Every value of `option` as a preset, or nothing after printing a usage error that lists the
// names.
std::optional<std::vector<PatternPreset>> patternArguments(const ParsedArguments& parsed, std::string_view option,
                                                           const CommandRules& rules, std::ostream& err);

// The value of --ocr-lang ("deu+eng"), empty when not given; nothing after printing why when a
// language it names is not installed.
std::optional<std::string> recognitionArgument(const ParsedArguments& parsed, std::ostream& err);

// Opens a document for redaction; on refusal prints the fixed message and returns nothing.
SharedPdfDocument openOrReport(const std::filesystem::path& path, std::ostream& err);

// The fixed message of a RedactionError, the recogniser's own words for an OcrError, and
// `fallback` (or, without one, the error's own words) for anything else.
void printError(std::ostream& err, const std::exception& error, const std::optional<RedactionError>& fallback);

}  // namespace norvane::cli
