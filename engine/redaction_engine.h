#pragma once
// The stateless redaction engine: text-layer and OCR search, secure export, verification.
// Everything it needs comes in as arguments; nothing is kept between calls.

#include "engine/pattern_presets.h"
#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

namespace norvane {

// Called after each processed page with (one-based page number, page count). The engine
// does not go on until it returns, so a receiver on another thread can apply the report
// before the next page starts.
using PageProgress = std::function<void(std::int64_t page, std::int64_t pageCount)>;

// Which recognition models read the pages.
struct RecognitionOptions {
    // The recogniser's own form, e.g. "eng+deu". Empty: English, the desktop's language, and
    // every installed language that has letters of the terms being read for.
    std::string languages;
};

// A searchable copy's pages as its export recognised them, from the very pixels it wrote, bound
// to the bytes of the file written and the languages that read them. Opaque outside the engine.
struct RecognisedCopy;
using SharedRecognisedCopy = std::shared_ptr<const RecognisedCopy>;

// What verification looks for in the copy.
struct VerificationRequest {
    std::vector<std::string> terms;       // each looked for as typed (case and accents ignored)
    std::vector<PatternPreset> patterns;  // each run again over the copy's text
    RecognitionOptions recognition;
    // Read instead of the copy's pixels when it belongs to the file checked, byte for byte, and
    // was read with the languages verification would use; otherwise the pixels are read again.
    SharedRecognisedCopy recognisedCopy{};
};

// What the secure copy holds besides its page images.
struct ExportOptions {
    bool labelRedactions = false;
    // An invisible text layer over each page, recognised from the page image as written.
    bool searchable = false;
    // The languages that read it, chosen as verification chooses them for `terms`.
    RecognitionOptions recognition{};
    std::vector<std::string> terms{};
};

class RedactionEngine {
public:
    RedactionEngine() = delete;

    // Case-insensitive search of the text layer. A blank query finds nothing; a page whose text
    // cannot be read is reported in `unreadPages`. Throws CancellationError when `stop` is
    // requested (checked before each page).
    static SearchOutcome nativeTextMatches(const SharedPdfDocument& document, const std::string& query,
                                           std::stop_token stop = {});

    // OCR over every page at 220 dpi; a page that cannot be rendered is reported in
    // `unreadPages`. Throws CancellationError when `stop` is requested (checked before each
    // page), UnreadableTermError before reading anything when the recognisers cannot read
    // every letter of the query, and OcrError when recognition fails.
    static SearchOutcome ocrMatches(const SharedPdfDocument& document, const std::string& query,
                                    const RecognitionOptions& recognition, const PageProgress& progress,
                                    std::stop_token stop = {});

    // Text-layer matches of a preset, one result per line a match touches, `text` the matched
    // string. Throws MatcherUnavailable when the pattern cannot be run.
    static SearchOutcome nativePatternMatches(const SharedPdfDocument& document, PatternPreset preset,
                                              std::stop_token stop = {});

    // The OCR search for a preset's matches in the recognised text; throws as ocrMatches does.
    static SearchOutcome ocrPatternMatches(const SharedPdfDocument& document, PatternPreset preset,
                                           const RecognitionOptions& recognition, const PageProgress& progress,
                                           std::stop_token stop = {});

    // Writes the image-only secure copy to `outputPath` (atomically: a temporary file in the
    // same folder renamed into place). With `options.searchable`, each page also gets the words
    // recognised on its image as invisible text, and the recognised pages are returned for
    // verification (nothing otherwise, nor for a document too large to keep them). Throws
    // RedactionError, OcrError (the recogniser could not start) or CancellationError; on any
    // failure no file is left at `outputPath` or beside it.
    static SharedRecognisedCopy exportSecurePDF(const SharedPdfDocument& document,
                                                const std::vector<RedactionRegion>& redactions,
                                                const std::filesystem::path& outputPath, const ExportOptions& options,
                                                const PageProgress& progress, std::stop_token stop = {});

    // Re-opens a written file and looks for the terms and patterns in its text layer and its
    // 150-dpi OCR (or the export's own reading of its pixels, see VerificationRequest). A term with letters the
    // recognisers cannot read is reported as a finding of its own (it cannot be shown to be gone). Throws
    // RedactionError::outputVerificationFailed, OcrError or CancellationError.
    static ExportVerification verifyOutput(const std::filesystem::path& outputPath, const VerificationRequest& request,
                                           const PageProgress& progress, std::stop_token stop = {});
};

// One finding per place: a finding of the same term, ignoring case, on the same page and at the
// same place (isSamePlace) as one before it is dropped, whether read from the text layer or the
// pixels; the first is kept. Findings without a place are merged by term alone.
std::vector<VerificationFinding> oneFindingPerPlace(std::vector<VerificationFinding> findings);

// A failure of the on-device text recognition, with the recogniser's own description.
class OcrError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The query has letters that none of the loaded recognition models can read, so the OCR
// search could never find it. The message names no letter of the query.
class UnreadableTermError : public OcrError {
public:
    using OcrError::OcrError;
};

}  // namespace norvane
