#include "engine/mupdf_session.h"
#include "engine/page_loop.h"
#include "engine/page_reading.h"
#include "engine/page_text.h"
#include "engine/recognition_languages.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"
#include "engine/searchable_layer.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <tuple>

namespace norvane {
namespace {

constexpr double kVerificationDpi = 150;

// Runs the matcher, whose failure must fail the verification rather than pass the page.
std::vector<ByteRange> occurrences(const std::string& text, const std::string& term) {
    try {
        return findAllIgnoringCaseAndAccents(text, term);
    } catch (const MatcherUnavailable&) {
        throw RedactionError::outputVerificationFailed();
    }
}

// White space in a term matches any white space in the text, a line end included: the text's
// readings hold it as single spaces.
std::string singleSpaced(const std::string& term) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(term);
    icu::UnicodeString spaced;
    for (std::int32_t i = 0; i < text.length();) {
        const UChar32 c = text.char32At(i);
        i += U16_LENGTH(c);
        if (!u_isUWhiteSpace(c)) {
            spaced.append(c);
        } else if (spaced.isEmpty() || spaced.char32At(spaced.length() - 1) != ' ') {
            spaced.append(static_cast<UChar32>(' '));
        }
    }
    std::string out;
    spaced.toUTF8String(out);
    return out;
}

// A page whose text cannot be read throws: nobody can say it is clean.
TextLayer textLayer(const mu::Session& session, std::int64_t pageIndex) {
    try {
        return readTextLayer(session, static_cast<int>(pageIndex));
    } catch (const mu::MuPdfError&) {
        throw RedactionError::outputVerificationFailed();
    }
}

// The same, for a pattern: a match the pattern cannot run on must not pass.
std::vector<ByteRange> patternOccurrences(const std::string& text, PatternPreset preset) {
    try {
        return findPatternMatches(preset, text);
    } catch (const MatcherUnavailable&) {
        throw RedactionError::outputVerificationFailed();
    }
}

using Find = std::function<std::vector<ByteRange>(const std::string&)>;

// What is looked for: each term, and each pattern under the text it matched.
struct Search {
    std::optional<std::string> term;  // nothing: a pattern, reported as the text it matched
    Find find;
    std::string key;  // a term's search key: what the OCR search would find it by
};

// One finding per line a text-layer match touches (one for a column); the whole page when its
// characters have no usable boxes, so a finding always says where to look.
void textLayerFindings(const TextLayer& layer, const Search& search, std::int64_t pageIndex, const PageRect& page,
                       std::vector<VerificationFinding>& findings) {
    layer.forEachMatch(search.find, [&](const std::string& text, const std::vector<PageRect>& covers) {
        const std::string term = search.term.value_or(text);
        bool placed = false;
        for (const PageRect& cover : covers) {
            if (!cover.isEmpty()) {
                findings.push_back({term, pageIndex, cover, RedactionSource::textSearch});
                placed = true;
            }
        }
        if (!placed) {
            findings.push_back({term, pageIndex, page, RedactionSource::textSearch});
        }
    });
}

// Findings from every reading; one whose place is unknown covers the whole page. A term is also
// found wherever the OCR search would find it (its letters and digits in a line, spaces and
// punctuation aside), so "J ANE ROE" read from spaced glyphs does not pass for "Jane Roe".
void recognisedFindings(const std::vector<PageReading>& readings, const Search& search, std::int64_t pageIndex,
                        const PageRect& page, std::vector<VerificationFinding>& findings) {
    const std::size_t first = findings.size();
    for (RecognisedHit& hit : recognisedHits(readings, search.find)) {
        findings.push_back(
            {search.term.value_or(std::move(hit.text)), pageIndex, hit.rect.value_or(page), RedactionSource::ocr});
    }
    if (!search.term || search.key.empty()) {
        return;
    }
    std::vector<PageRect> matches;
    try {
        matches = termMatches(readings, *search.term, search.key);
    } catch (const OcrError&) {
        throw RedactionError::outputVerificationFailed();
    }
    for (const PageRect& rect : matches) {
        const bool found = std::any_of(findings.begin() + static_cast<std::ptrdiff_t>(first), findings.end(),
                                       [&](const VerificationFinding& f) {
            return f.rect && (containsCentreOf(rect, *f.rect) || containsCentreOf(*f.rect, rect));
        });
        if (!found) {
            findings.push_back({*search.term, pageIndex, rect, RedactionSource::ocr});
        }
    }
}

// The export's own reading stands for the pixels of exactly the bytes it wrote, read with the
// same languages; a file changed since, by a byte, is read again.
bool isReadingOf(const RecognisedCopy& recognised, const PdfDocument& document, const std::string& languages) {
    if (recognised.languages != languages ||
        recognised.pages.size() != static_cast<std::size_t>(document.pageCount())) {
        return false;
    }
    Sha256 digest;
    digest.add(document.bytes().data(), document.bytes().size());
    return digest.finish() == recognised.fileDigest;
}

}  // namespace

std::vector<VerificationFinding> oneFindingPerPlace(std::vector<VerificationFinding> findings) {
    // The places kept so far, by page, reason and folded term; nothing for "no place".
    std::map<std::tuple<std::optional<std::int64_t>, FindingReason, std::string>, std::vector<std::optional<PageRect>>>
        kept;
    std::vector<VerificationFinding> merged;
    for (VerificationFinding& finding : findings) {
        auto& places = kept[{finding.pageIndex, finding.reason, caseFolded(finding.term)}];
        const bool repeated = std::any_of(places.begin(), places.end(), [&](const std::optional<PageRect>& place) {
            return place && finding.rect ? isSamePlace(*place, *finding.rect) : !place && !finding.rect;
        });
        if (!repeated) {
            places.push_back(finding.rect);
            merged.push_back(std::move(finding));
        }
    }
    return merged;
}

ExportVerification RedactionEngine::verifyOutput(const std::filesystem::path& outputPath,
                                                 const VerificationRequest& request, const PageProgress& progress,
                                                 std::stop_token stop) {
    SharedPdfDocument document;
    try {
        document = PdfDocument::open(outputPath);
        const mu::Session session(document);
        bool locked = false;
        mu::muCall(session.ctx(), [&] { locked = fz_needs_password(session.ctx(), session.doc()) != 0; });
        if (locked) {
            // Pages we cannot read would pass unchecked.
            throw RedactionError::outputVerificationFailed();
        }
    } catch (const std::exception&) {
        throw RedactionError::outputVerificationFailed();
    }

    std::vector<std::string> terms;
    for (const auto& term : request.terms) {
        if (std::string t = trimmed(term); !t.empty()) {
            terms.push_back(std::move(t));
        }
    }
    std::vector<Search> searches;
    for (const std::string& term : terms) {
        searches.push_back(
            {term, [needle = singleSpaced(term)](const std::string& text) { return occurrences(text, needle); },
             recognitionKey(term)});
    }
    for (const PatternPreset preset : request.patterns) {
        searches.push_back(
            {std::nullopt, [preset](const std::string& text) { return patternOccurrences(text, preset); }, {}});
    }
    std::string languages;
    if (!searches.empty()) {
        try {
            languages = resolvedRecognitionLanguages(request.recognition, terms);
        } catch (const OcrError&) {
            throw RedactionError::outputVerificationFailed();
        }
    }

    // A term the recognisers cannot read could still stand in the pixels: never a pass.
    std::vector<VerificationFinding> findings;
    for (const std::string& term : terms) {
        if (!unreadableLetters(term, languages).empty()) {
            findings.push_back(
                {term, std::nullopt, std::nullopt, RedactionSource::ocr, FindingReason::unreadableLetters});
        }
    }

    const RecognisedCopy* recognised =
        request.recognisedCopy && !searches.empty() && isReadingOf(*request.recognisedCopy, *document, languages)
            ? request.recognisedCopy.get()
            : nullptr;

    struct ReadPage {
        TextLayer layer;
        std::vector<PageReading> readings;
    };
    const std::int64_t pageCount = document->pageCount();
    const int workers = pageWorkerCount(pageCount);
    forEachPageInParallel<ReadingWorker>(
        pageCount, workers, readingWindow(workers), progress, stop,
        [&](ReadingWorker& worker, std::int64_t pageIndex, std::stop_token token) -> ReadPage {
            const mu::Session* pageSession = nullptr;
            try {
                pageSession = &worker.open(document);
            } catch (const mu::MuPdfError&) {
                throw RedactionError::outputVerificationFailed();
            }
            ReadPage read{textLayer(*pageSession, pageIndex), {}};
            if (searches.empty()) {
                return read;
            }
            if (recognised) {
                read.readings = recognised->pages[static_cast<std::size_t>(pageIndex)];
                return read;
            }
            PageReadings readings;
            try {
                readings = readPage(*pageSession, pageIndex, kVerificationDpi, 0.0f, worker.ocr, languages, token);
            } catch (const OcrError&) {
                if (!worker.ocr) {
                    throw RedactionError::outputVerificationFailed();  // the recogniser did not start
                }
                throw;
            }
            auto* pageReadings = std::get_if<std::vector<PageReading>>(&readings);
            if (!pageReadings) {
                throw RedactionError::outputVerificationFailed();  // a page of the copy nobody can read
            }
            read.readings = std::move(*pageReadings);
            return read;
        },
        [&](std::int64_t pageIndex, const ReadPage& read) {
        const PageRect page = document->page(pageIndex).mediaBox.standardized();
        for (const Search& search : searches) {
            textLayerFindings(read.layer, search, pageIndex, page, findings);
        }
        for (const Search& search : searches) {
            recognisedFindings(read.readings, search, pageIndex, page, findings);
        }
        });
    return ExportVerification::fromFindings(document->pageCount(), oneFindingPerPlace(std::move(findings)));
}

}  // namespace norvane
