// Search of the PDF's own text layer. Case is folded, accents are not: "résumé" does not
// find "resume" here (the OCR search is the one that ignores accents).
//
// The document's characters are read page by page from MuPDF's structured text and fed
// through a streaming matcher, so only the current page's lines and the characters of the
// current partial match are held, however large the document. Lines, blocks and pages are joined by line breaks; a
// run of white space in the query matches any run of spaces and line breaks in the text,
// which lets a match continue onto the next line or page. A word broken at a line end with a
// hyphen is found too, with or without that hyphen, and so is a word set as a column of single
// glyphs. Characters nobody sees (zero-width spaces, soft hyphens) are read through.

#include "engine/line_joins.h"
#include "engine/page_text.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace norvane {
namespace {

// Pattern symbol for a run of white space.
constexpr char32_t kGap = 0x110000;

// The readings that join a line to the one before (see Readings).
enum Join : std::uint8_t { kDroppedHyphen = 1, kKeptHyphen = 2, kColumn = 4 };

struct Glyph {
    char32_t c = 0;
    std::int64_t page = 0;
    std::uint64_t line = 0;   // unique per text line of the document; per column in the column reading
    bool hasBox = false;      // line breaks have none
    PageRect box;             // page space
    std::uint64_t order = 0;  // position in the document, the same in every reading of it
    std::uint8_t joins = 0;   // on the first glyph after a join: the readings that joined it
};

using OrderedResults = std::vector<std::pair<std::uint64_t, RedactionSearchResult>>;

bool isGapCharacter(char32_t c) {
    return c == '\n' || u_isUWhiteSpace(static_cast<UChar32>(c));
}

char32_t foldedKey(char32_t c) {
    return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

// Ligature code points typed into the query compare as their letters, as the text does.
std::u32string_view ligatureLetters(char32_t c) {
    switch (c) {
        case 0xFB00:
            return U"ff";
        case 0xFB01:
            return U"fi";
        case 0xFB02:
            return U"fl";
        case 0xFB03:
            return U"ffi";
        case 0xFB04:
            return U"ffl";
        case 0xFB05:
            return U"st";
        case 0xFB06:
            return U"st";
        default:
            return {};
    }
}

std::vector<char32_t> queryPattern(const std::string& query) {
    const std::string text = trimmed(query);
    icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX))));
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    if (U_SUCCESS(status)) {
        icu::UnicodeString composed = nfc->normalize(unicode, status);
        if (U_SUCCESS(status)) {
            unicode = composed;
        }
    }
    std::vector<char32_t> pattern;
    for (std::int32_t i = 0; i < unicode.length();) {
        const auto c = static_cast<char32_t>(unicode.char32At(i));
        i += U16_LENGTH(static_cast<UChar32>(c));
        if (isGapCharacter(c)) {
            if (pattern.empty() || pattern.back() != kGap) {
                pattern.push_back(kGap);
            }
        } else if (isInvisible(c)) {
            continue;
        } else if (const auto letters = ligatureLetters(c); !letters.empty()) {
            pattern.insert(pattern.end(), letters.begin(), letters.end());
        } else {
            pattern.push_back(foldedKey(c));
        }
    }
    return pattern;
}

// Streaming Knuth–Morris–Pratt over the text's symbols (characters, and one gap per run of
// white space). Matches do not overlap: the search goes on after each match's end.
class Matcher {
public:
    // `join`: report only matches that run across a line end this reading joined (one box per
    // line they touch); the plain reading (0) reports the rest.
    Matcher(std::vector<char32_t> pattern, std::uint8_t join)
        : pattern_(std::move(pattern)), failure_(pattern_.size(), 0), join_(join) {
        for (std::size_t i = 1, k = 0; i < pattern_.size(); ++i) {
            while (k > 0 && pattern_[i] != pattern_[k]) {
                k = failure_[k - 1];
            }
            if (pattern_[i] == pattern_[k]) {
                ++k;
            }
            failure_[i] = k;
        }
    }

    void add(const Glyph& glyph, OrderedResults& results, const std::string& fallbackText) {
        if (isInvisible(glyph.c)) {
            return;
        }
        const std::uint64_t index = glyphBase_ + glyphs_.size();
        glyphs_.push_back(glyph);
        const bool gap = isGapCharacter(glyph.c);
        if (gap && lastWasGap_) {
            prune();  // the gap symbol already stands for this run
            return;
        }
        lastWasGap_ = gap;
        step(gap ? kGap : foldedKey(glyph.c), index);
        if (matched_ == pattern_.size()) {
            emit(symbolStarts_.front(), index, results, fallbackText);
            matched_ = 0;
            symbolStarts_.clear();
        }
        prune();
    }

private:
    void step(char32_t symbol, std::uint64_t glyphIndex) {
        while (matched_ > 0 && pattern_[matched_] != symbol) {
            matched_ = failure_[matched_ - 1];
        }
        if (pattern_[matched_] == symbol) {
            ++matched_;
        }
        symbolStarts_.push_back(glyphIndex);
        while (symbolStarts_.size() > matched_) {
            symbolStarts_.pop_front();
        }
    }

    // Only the characters of the current partial match are kept.
    void prune() {
        const std::uint64_t keepFrom = symbolStarts_.empty() ? glyphBase_ + glyphs_.size() : symbolStarts_.front();
        while (glyphBase_ < keepFrom && !glyphs_.empty()) {
            glyphs_.pop_front();
            ++glyphBase_;
        }
    }

    // One rectangle per page the match touches: the union of its line boxes there, else
    // the union of everything it has there.
    // A match across a joined line end gets one rectangle per line instead: the union of a
    // line's end and the next line's start would black out both lines.
    void emit(std::uint64_t first, std::uint64_t last, OrderedResults& results, const std::string& fallbackText) const {
        std::string text;
        bool joined = false;
        for (std::uint64_t i = first; i <= last; ++i) {
            appendUtf8(text, glyphs_[i - glyphBase_].c);
            joined = joined || (i > first && (glyphs_[i - glyphBase_].joins & join_) != 0);
        }
        if (join_ != 0 && !joined) {
            return;
        }
        if (text.empty()) {
            text = fallbackText;
        }
        const std::uint64_t order = glyphs_[first - glyphBase_].order;
        // A column's margin comes from its glyphs' height, not from the column's.
        const bool column = join_ == kColumn;
        const auto push = [&](std::int64_t page, const std::optional<PageRect>& rect) {
            if (rect && rect->width > 1.0 && rect->height > 1.0) {
                results.emplace_back(
                    order, RedactionSearchResult{Uuid::random(), page, column ? *rect : safetyExpanded(*rect), text,
                                                 RedactionSource::textSearch});
            }
        };

        std::uint64_t i = first;
        while (i <= last) {
            const std::int64_t page = glyphs_[i - glyphBase_].page;
            std::optional<PageRect> linesUnion;
            std::optional<PageRect> everything;
            std::optional<PageRect> currentLine;
            std::uint64_t currentLineId = 0;
            auto closeLine = [&] {
                if (currentLine && !currentLine->isEmpty()) {
                    linesUnion = linesUnion ? linesUnion->united(*currentLine) : *currentLine;
                }
                currentLine.reset();
            };
            for (; i <= last && glyphs_[i - glyphBase_].page == page; ++i) {
                const Glyph& g = glyphs_[i - glyphBase_];
                if (!g.hasBox) {
                    continue;
                }
                if (currentLine && g.line != currentLineId) {
                    if (joined) {
                        push(page, currentLine);
                        currentLine.reset();
                    }
                    closeLine();
                }
                const PageRect box = column ? safetyExpanded(g.box) : g.box;
                currentLineId = g.line;
                currentLine = currentLine ? boundsUnion(*currentLine, box) : box;
                everything = everything ? boundsUnion(*everything, box) : box;
            }
            if (joined) {
                push(page, currentLine);
                continue;
            }
            closeLine();
            push(page, linesUnion ? linesUnion : everything);
        }
    }

    // Like PageRect::united, but degenerate boxes still count with their corners.
    static PageRect boundsUnion(const PageRect& a, const PageRect& b) {
        const double x0 = std::min(a.minX(), b.minX());
        const double y0 = std::min(a.minY(), b.minY());
        const double x1 = std::max(a.maxX(), b.maxX());
        const double y1 = std::max(a.maxY(), b.maxY());
        return PageRect{x0, y0, x1 - x0, y1 - y0};
    }

    std::vector<char32_t> pattern_;
    std::vector<std::size_t> failure_;
    std::size_t matched_ = 0;
    std::deque<std::uint64_t> symbolStarts_;  // first glyph of each matched symbol
    std::deque<Glyph> glyphs_;
    std::uint64_t glyphBase_ = 0;  // document-wide index of glyphs_.front()
    bool lastWasGap_ = false;
    std::uint8_t join_ = 0;
};

// The text is read four ways at once: as it stands (line ends are white space), with a
// line-end hyphen and its line end dropped ("QUO-" + "KKA" reads "QUOKKA"), with only the line
// end dropped ("7731-" + "QUOKKA" reads "7731-QUOKKA"), and down the page's columns of stacked
// single glyphs ("S" over "E" over "C" ... reads "SEC...").
struct Readings {
    explicit Readings(const std::vector<char32_t>& pattern)
        : plain(pattern, 0),
          dropHyphen(pattern, kDroppedHyphen),
          keepHyphen(pattern, kKeptHyphen),
          column(pattern, kColumn) {}
    Matcher plain, dropHyphen, keepHyphen, column;
    OrderedResults results;
    std::uint64_t order = 0;
    std::uint64_t lineCounter = 0;
    std::uint8_t joining = 0;  // the joins the previous line's end made
};

// Feeds one page's characters. A page MuPDF cannot read contributes nothing and is reported
// as unread; a match cannot run across it.
void feedPage(const mu::Session& session, int pageIndex, Readings& r, const std::string& fallbackText,
              std::vector<UnreadPage>& unread) {
    Glyph lineBreak;
    lineBreak.c = '\n';
    lineBreak.page = pageIndex;
    const auto addToAll = [&](const Glyph& glyph) {
        for (Matcher* m : {&r.plain, &r.dropHyphen, &r.keepHyphen, &r.column}) {
            m->add(glyph, r.results, fallbackText);
        }
    };
    std::vector<std::vector<TextLayerChar>> lines;
    try {
        forEachTextLine(session, pageIndex, [&](const std::vector<TextLayerChar>& line) { lines.push_back(line); });
    } catch (...) {
        unread.push_back({pageIndex, mu::pageFailureOf(std::current_exception())});
        lineBreak.order = r.order++;
        addToAll(lineBreak);
        r.joining = 0;
        return;
    }
    std::vector<std::optional<Glyph>> singles(lines.size());
    for (std::size_t l = 0; l < lines.size(); ++l) {
        const auto& line = lines[l];
        const std::uint64_t lineId = ++r.lineCounter;
        const char32_t last = line.empty() ? 0 : line.back().c;
        const bool hyphenated = isLineEndHyphen(last);
        // Nobody sees a soft hyphen, so keeping it reads the same as dropping it.
        const bool keepsHyphen = hyphenated && !isInvisible(last);
        const std::optional<std::size_t> single = singleGlyph(line);
        for (std::size_t i = 0; i < line.size(); ++i) {
            Glyph glyph{line[i].c, pageIndex, lineId, true, line[i].box, r.order++, 0};
            if (r.joining != 0 && !isInvisible(glyph.c)) {
                glyph.joins = r.joining;
                r.joining = 0;
            }
            r.plain.add(glyph, r.results, fallbackText);
            r.keepHyphen.add(glyph, r.results, fallbackText);
            if (!(hyphenated && i + 1 == line.size())) {
                r.dropHyphen.add(glyph, r.results, fallbackText);
            }
            if (single == i) {
                singles[l] = glyph;
            }
        }
        lineBreak.order = r.order++;
        r.plain.add(lineBreak, r.results, fallbackText);
        if (!hyphenated) {
            r.dropHyphen.add(lineBreak, r.results, fallbackText);
        }
        if (!keepsHyphen) {
            r.keepHyphen.add(lineBreak, r.results, fallbackText);
        }
        r.joining = static_cast<std::uint8_t>((hyphenated ? kDroppedHyphen : 0) | (keepsHyphen ? kKeptHyphen : 0));
    }
    for (const auto& column : stackedColumns(lines, session.document()->page(pageIndex).rotation)) {
        const std::uint64_t columnId = ++r.lineCounter;
        for (std::size_t k = 0; k < column.size(); ++k) {
            Glyph glyph = singles[column[k]].value();
            glyph.line = columnId;
            glyph.joins = k > 0 ? kColumn : 0;
            r.column.add(glyph, r.results, fallbackText);
        }
        r.column.add(lineBreak, r.results, fallbackText);
    }
}

}  // namespace

SearchOutcome RedactionEngine::nativeTextMatches(const SharedPdfDocument& document, const std::string& query,
                                                 std::stop_token stop) {
    SearchOutcome outcome;
    const std::string trimmedQuery = trimmed(query);
    if (trimmedQuery.empty() || !document) {
        return outcome;
    }
    std::vector<char32_t> pattern = queryPattern(query);
    if (pattern.empty()) {
        return outcome;
    }
    Readings readings(pattern);
    const auto pageCount = static_cast<int>(std::min<std::int64_t>(document->pageCount(), INT32_MAX));
    std::optional<mu::Session> session;
    try {
        session.emplace(document);
    } catch (...) {
        // No page can be read without the document.
        const PageFailure failure = mu::pageFailureOf(std::current_exception());
        for (int page = 0; page < pageCount; ++page) {
            outcome.unreadPages.push_back({page, failure});
        }
        return outcome;
    }
    for (int page = 0; page < pageCount; ++page) {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        feedPage(*session, page, readings, trimmedQuery, outcome.unreadPages);
    }
    std::stable_sort(readings.results.begin(), readings.results.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [order, result] : readings.results) {
        outcome.results.push_back(std::move(result));
    }
    return outcome;
}

}  // namespace norvane
