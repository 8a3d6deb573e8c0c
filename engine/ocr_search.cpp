#include "engine/mupdf_session.h"
#include "engine/page_loop.h"
#include "engine/page_reading.h"
#include "engine/recognition_languages.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

#include <algorithm>
#include <cmath>
#include <variant>

namespace norvane {
namespace {

constexpr double kOcrSearchDpi = 220;
// Lines lower than this fraction of the page image are noise, not text worth a box.
constexpr float kMinimumTextHeight = 0.008f;

// The recognised lines of every page, read on all workers; `work` turns a page's readings
// into results, in page order. A page that cannot be rendered is reported as unread, with why.
template <typename Work>
SearchOutcome searchRecognisedPages(const SharedPdfDocument& document, const std::string& languages,
                                    const PageProgress& progress, std::stop_token stop, Work&& work) {
    SearchOutcome outcome;
    if (!document || document->pageCount() <= 0) {
        return outcome;
    }
    const std::int64_t pageCount = document->pageCount();
    const int workers = pageWorkerCount(pageCount);
    forEachPageInParallel<ReadingWorker>(
        pageCount, workers, readingWindow(workers), progress, stop,
        [&](ReadingWorker& worker, std::int64_t pageIndex, std::stop_token token) -> PageReadings {
            const mu::Session* session = nullptr;
            try {
                session = &worker.open(document);
            } catch (const mu::MuPdfError&) {
                // Saying "no matches" here would be a lie about pages nobody read.
                throw OcrError("The document could not be read for text recognition.");
            }
            return readPage(*session, pageIndex, kOcrSearchDpi, kMinimumTextHeight, worker.ocr, languages, token);
        },
        [&](std::int64_t pageIndex, const PageReadings& page) {
        if (const auto* failure = std::get_if<PageFailure>(&page)) {
            outcome.unreadPages.push_back({pageIndex, *failure});
        } else {
            work(pageIndex, std::get<std::vector<PageReading>>(page), outcome.results);
        }
        });
    return outcome;
}

}  // namespace

SearchOutcome RedactionEngine::ocrMatches(const SharedPdfDocument& document, const std::string& query,
                                          const RecognitionOptions& recognition, const PageProgress& progress,
                                          std::stop_token stop) {
    const std::string term = trimmed(query);
    const std::string queryKey = recognitionKey(term);
    if (term.empty() || queryKey.empty()) {
        return {};
    }
    const std::string languages = resolvedRecognitionLanguages(recognition, {term});
    // Matching goes by the key, so only its letters must be readable; a page could never show
    // the others, and "no matches" would be a guess.
    if (const auto letters = unreadableLetters(queryKey, languages); !letters.empty()) {
        throw UnreadableTermError(unreadableLettersMessage(letters));
    }
    return searchRecognisedPages(document, languages, progress, stop,
                                 [&](std::int64_t pageIndex, const auto& readings, auto& results) {
        for (const PageRect& rect : termMatches(readings, term, queryKey)) {
            results.push_back(RedactionSearchResult{Uuid::random(), pageIndex, rect, term, RedactionSource::ocr});
        }
    });
}

SearchOutcome RedactionEngine::ocrPatternMatches(const SharedPdfDocument& document, PatternPreset preset,
                                                 const RecognitionOptions& recognition, const PageProgress& progress,
                                                 std::stop_token stop) {
    const auto find = [preset](const std::string& text) { return findPatternMatches(preset, text); };
    const std::string languages = resolvedRecognitionLanguages(recognition, {});
    return searchRecognisedPages(document, languages, progress, stop,
                                 [&](std::int64_t pageIndex, const auto& readings, auto& results) {
        for (RecognisedHit& hit : recognisedHits(readings, find)) {
            if (!hit.rect) {
                throw OcrError("Text recognition reported a line without a usable position.");
            }
            results.push_back(
                RedactionSearchResult{Uuid::random(), pageIndex, *hit.rect, std::move(hit.text), RedactionSource::ocr});
        }
    });
}

}  // namespace norvane
