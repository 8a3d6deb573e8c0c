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

// The boxes for one recognised line. The key decides whether the line matches; the literal
// query, where recognition spelled it the same way, narrows each box to those characters.
// When the key holds the query more often than the literal search can place it (another
// spelling, a hyphen), or the line was read turned, the whole line goes: a tight box on one
// spelling would leave the other readable.
std::vector<PageRect> lineMatches(const PageImage& image, const OcrLine& line, const std::string& term,
                                  const std::string& queryKey) {
    const std::size_t keyCount = countOccurrences(normalizedSearchKey(line.text), queryKey);
    if (keyCount == 0) {
        return {};
    }
    std::vector<ByteRange> ranges;
    if (line.upright) {
        try {
            ranges = findAllIgnoringCaseAndAccents(line.text, term);
        } catch (const MatcherUnavailable&) {
            ranges.clear();  // nothing placed, so the whole line is covered
        }
    }
    std::vector<PageRect> rects;
    if (ranges.size() >= keyCount) {
        for (const ByteRange& range : ranges) {
            const auto rect = coveringRect(image, line, range.first, range.second);
            if (!rect) {
                rects.clear();
                break;
            }
            rects.push_back(*rect);
        }
    }
    if (rects.empty()) {
        const auto whole = coveringRect(image, line.box);
        if (!whole) {
            throw OcrError("Text recognition reported a line without a usable position.");
        }
        rects.push_back(*whole);
    }
    return rects;
}

// Hits of one page from all its readings: every hit on a line read upright, and a hit on a
// line read turned unless another reading placed a tighter box inside it.
std::vector<PageRect> pageMatches(const std::vector<PageReading>& readings, const std::string& term,
                                  const std::string& queryKey) {
    std::vector<PageRect> upright;
    std::vector<PageRect> turned;
    for (const PageReading& reading : readings) {
        const auto& lines = reading.lines;
        std::vector<std::string> keys;
        for (const OcrLine& line : lines) {
            keys.push_back(normalizedSearchKey(line.text));
        }
        for (std::size_t i = 0; i < lines.size(); ++i) {
            std::vector<PageRect> rects = lineMatches(reading.geometry, lines[i], term, queryKey);
            auto& into = lines[i].upright ? upright : turned;
            into.insert(into.end(), rects.begin(), rects.end());
            // A term the recogniser split over this line and the next of its block: both lines
            // go whole, since no literal search can place the parts.
            if (i + 1 < lines.size() && lines[i + 1].block == lines[i].block) {
                if (countOccurrences(keys[i] + keys[i + 1], queryKey) >
                    countOccurrences(keys[i], queryKey) + countOccurrences(keys[i + 1], queryKey)) {
                    for (const OcrLine* part : {&lines[i], &lines[i + 1]}) {
                        if (const auto whole = coveringRect(reading.geometry, part->box)) {
                            (part->upright ? upright : turned).push_back(*whole);
                        }
                    }
                }
            }
        }
    }
    for (const PageRect& rect : turned) {
        const bool placedElsewhere = std::any_of(upright.begin(), upright.end(),
                                                 [&](const PageRect& tight) { return containsCentreOf(rect, tight); });
        if (!placedElsewhere) {
            upright.push_back(rect);
        }
    }
    return upright;
}

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
    const std::string queryKey = normalizedSearchKey(term);
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
        for (const PageRect& rect : pageMatches(readings, term, queryKey)) {
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
