#pragma once
// The stateless redaction engine: text-layer and OCR search, secure export, verification.
// Everything it needs comes in as arguments; nothing is kept between calls.

#include "engine/pattern_presets.h"
#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <vector>

namespace norvane {

// Called after each processed page with (one-based page number, page count). The engine
// does not go on until it returns, so a receiver on another thread can apply the report
// before the next page starts.
using PageProgress = std::function<void(std::int64_t page, std::int64_t pageCount)>;

class RedactionEngine {
public:
    RedactionEngine() = delete;

    // Case-insensitive search of the text layer. Never throws; a blank query finds nothing.
    static std::vector<RedactionSearchResult> nativeTextMatches(const SharedPdfDocument& document,
                                                                const std::string& query);

    // OCR over every page at 220 dpi. Throws CancellationError when `stop` is requested
    // (checked before each page) and OcrError when recognition fails.
    static std::vector<RedactionSearchResult> ocrMatches(const SharedPdfDocument& document, const std::string& query,
                                                         const PageProgress& progress, std::stop_token stop = {});

    // Text-layer matches of a preset, one result per line a match touches, `text` the matched
    // string. Throws MatcherUnavailable when the pattern cannot be run; an unreadable page has
    // no matches, as for a typed search.
    static std::vector<RedactionSearchResult> nativePatternMatches(const SharedPdfDocument& document,
                                                                   PatternPreset preset);

    // The OCR search for a preset's matches in every recognised line; throws as ocrMatches does.
    static std::vector<RedactionSearchResult> ocrPatternMatches(const SharedPdfDocument& document, PatternPreset preset,
                                                                const PageProgress& progress,
                                                                std::stop_token stop = {});

    // Writes the image-only secure copy to `outputPath` (atomically: a temporary file in the
    // same folder renamed into place). Throws RedactionError or CancellationError; on any
    // failure no file is left at `outputPath` or beside it.
    static void exportSecurePDF(const SharedPdfDocument& document, const std::vector<RedactionRegion>& redactions,
                                const std::filesystem::path& outputPath, bool labelRedactions,
                                const PageProgress& progress, std::stop_token stop = {});

    // Re-opens a written file and looks for the terms in its text layer and its 150-dpi OCR.
    // Throws RedactionError::outputVerificationFailed, OcrError or CancellationError.
    static ExportVerification verifyOutput(const std::filesystem::path& outputPath,
                                           const std::vector<std::string>& sensitiveTerms, const PageProgress& progress,
                                           std::stop_token stop = {});
};

// A failure of the on-device text recognition, with the recogniser's own description.
class OcrError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace norvane
