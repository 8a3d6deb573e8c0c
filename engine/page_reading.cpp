#include "engine/page_reading.h"

#include "engine/glyph_columns.h"
#include "engine/line_joins.h"
#include "engine/redaction_engine.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>

namespace norvane {

namespace {

// The image turned clockwise by `degrees` (90, 180 or 270), its page mapping turned with it.
PageImage turned(const PageImage& image, int degrees) {
    const auto w = static_cast<std::size_t>(image.width);
    const auto h = static_cast<std::size_t>(image.height);
    const auto n = static_cast<std::size_t>(image.components);
    const bool quarter = degrees != 180;
    PageImage out;
    out.width = quarter ? image.height : image.width;
    out.height = quarter ? image.width : image.height;
    out.components = image.components;
    out.samples.resize(image.samples.size());
    const auto outWidth = static_cast<std::size_t>(out.width);
    for (std::size_t y = 0; y < h; ++y) {
        for (std::size_t x = 0; x < w; ++x) {
            const std::size_t u = degrees == 90 ? h - 1 - y : degrees == 180 ? w - 1 - x : y;
            const std::size_t v = degrees == 90 ? x : degrees == 180 ? h - 1 - y : w - 1 - x;
            std::copy_n(image.samples.data() + (y * w + x) * n, n, out.samples.data() + (v * outWidth + u) * n);
        }
    }
    // Pixel space turned the same way, after the page's own mapping.
    const double W = image.width;
    const double H = image.height;
    const Affine turn = degrees == 90    ? Affine{0, 1, -1, 0, H, 0}
                        : degrees == 180 ? Affine{-1, 0, 0, -1, W, H}
                                         : Affine{0, -1, 1, 0, 0, W};
    const Affine& m = image.pageToPixel;
    out.pageToPixel = {turn.a * m.a + turn.c * m.b,          turn.b * m.a + turn.d * m.b,
                       turn.a * m.c + turn.c * m.d,          turn.b * m.c + turn.d * m.d,
                       turn.a * m.e + turn.c * m.f + turn.e, turn.b * m.e + turn.d * m.f + turn.f};
    return out;
}

// Enough words read with confidence that the text stands upright in this reading.
bool readUpright(const PageReading& reading) {
    std::size_t words = 0;
    std::size_t confident = 0;
    for (const OcrLine& line : reading.lines) {
        if (line.upright) {
            words += line.words;
            confident += line.confidentWords;
        }
    }
    return confident >= 3 && confident * 2 >= words;
}

}  // namespace

PageReadings readPage(const mu::Session& session, std::int64_t pageIndex, double dpi, float minimumLineHeight,
                      std::optional<OcrService>& ocr, const std::string& languages, std::stop_token stop,
                      const ReadingFeatures& features) {
    const PdfDocument& document = *session.document();
    if (pageIndex < 0 || pageIndex >= document.pageCount()) {
        return PageFailure::unrenderable;
    }
    RenderResult shown =
        renderImage(session, {.pageIndex = pageIndex, .dpi = dpi, .orientation = RenderOrientation::displayed});
    if (!shown) {
        return shown.failure().value_or(PageFailure::unrenderable);
    }
    if (!ocr) {
        ocr.emplace(languages, features);
    }
    return readPageImage(std::move(*shown), document.page(pageIndex).rotation, dpi, minimumLineHeight, *ocr, stop,
                         features);
}

std::vector<PageReading> readPageImage(PageImage displayed, int rotation, double dpi, float minimumLineHeight,
                                       OcrService& ocr, std::stop_token stop, const ReadingFeatures& features) {
    // Kept grey until every turn is read: the recogniser reads no more of it.
    if (displayed.components != 1) {
        displayed = greyImage(std::move(displayed));
    }
    std::vector<PageReading> readings;
    std::vector<int> turnsRead;
    const auto read = [&](int turn) {
        PageImage image = turn == 0 ? std::move(displayed) : turned(readings.front().geometry, turn);
        PageReading reading;
        reading.lines = ocr.recognize(image, dpi, minimumLineHeight, stop);
        readGlyphColumns(image, dpi, ocr, reading.lines, stop);
        if (turn != 0) {
            std::vector<std::uint8_t>().swap(image.samples);
        }
        reading.geometry = std::move(image);
        readings.push_back(std::move(reading));
        turnsRead.push_back(turn);
    };
    read(0);
    // The page as stored: turned back by its /Rotate.
    if (rotation != 0) {
        read(360 - rotation);
    }
    // Text the page does not show upright, /Rotate or not (a sheet fed sideways): read the way the
    // orientation model says, or every way when it cannot tell, since a page nobody read
    // upright would pass unread.
    if (features.orientation && std::none_of(readings.begin(), readings.end(), readUpright)) {
        std::vector<int> turns = {90, 180, 270};
        if (const std::optional<int> textTurn = ocr.textTurn(readings.front().geometry, dpi)) {
            turns = {(360 - *textTurn) % 360};
        }
        for (const int turn : turns) {
            if (turn != 0 && std::find(turnsRead.begin(), turnsRead.end(), turn) == turnsRead.end()) {
                read(turn);
            }
        }
    }
    std::vector<std::uint8_t>().swap(readings.front().geometry.samples);
    return readings;
}

PageImage turnedImage(const PageImage& image, int degrees) {
    return degrees % 360 == 0 ? image : turned(image, degrees % 360);
}

std::optional<PageRect> coveringRect(const PageImage& image, const NormalizedBox& box) {
    const PageRect rect = imageBoxToPage(image, box);
    if (!(rect.width > 0) || !(rect.height > 0) || !std::isfinite(rect.x) || !std::isfinite(rect.y) ||
        !std::isfinite(rect.width) || !std::isfinite(rect.height)) {
        return std::nullopt;
    }
    return safetyExpanded(rect);
}

std::optional<PageRect> coveringRect(const PageImage& image, const OcrLine& line, std::size_t begin, std::size_t end) {
    if (!line.stacked) {
        const auto box = line.boxForRange(begin, end);
        return box ? coveringRect(image, *box) : std::nullopt;
    }
    std::optional<PageRect> covered;
    for (const OcrLine::Symbol& symbol : line.symbols) {
        if (symbol.begin < end && begin < symbol.end) {
            if (const auto rect = coveringRect(image, symbol.box)) {
                covered = covered ? covered->united(*rect) : *rect;
            }
        }
    }
    return covered;
}

bool containsCentreOf(const PageRect& outer, const PageRect& inner) {
    const double x = inner.x + inner.width / 2;
    const double y = inner.y + inner.height / 2;
    return x >= outer.minX() && x <= outer.maxX() && y >= outer.minY() && y <= outer.maxY();
}

namespace {

// Where a range of a recognised line stands: its characters when the line was read upright,
// else the whole line.
std::optional<PageRect> placeOf(const PageImage& image, const OcrLine& line, std::size_t begin, std::size_t end) {
    const auto rect = line.upright ? coveringRect(image, line, begin, end) : std::nullopt;
    return rect ? rect : coveringRect(image, line.box);
}

bool isSingleGlyph(const OcrLine& line) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(line.text);
    return line.upright && text.countChar32() == 1 && !u_isUWhiteSpace(text.char32At(0));
}

// Hits that run across the end of a line onto the next of its block, or down a column of
// single recognised glyphs: one per part, or one per column.
void joinedHits(const PageReading& reading, const std::function<std::vector<ByteRange>(const std::string&)>& find,
                std::vector<RecognisedHit>& upright, std::vector<RecognisedHit>& turned) {
    const auto& lines = reading.lines;
    const auto search = [&](const LineReading& joined, std::size_t first) {
        for (const auto& [begin, end] : find(joined.text())) {
            if (!joined.owns(begin, end)) {
                continue;
            }
            const std::string text = joined.text().substr(begin, end - begin);
            std::optional<std::size_t> place;
            for (const LinePart& part : joined.parts(begin, end)) {
                const OcrLine& line = lines[first + part.line];
                const auto rect = placeOf(reading.geometry, line, part.begin, part.end);
                auto& into = line.upright ? upright : turned;
                if (place == part.place && rect && into.back().rect) {
                    into.back().rect = into.back().rect->united(*rect);
                } else {
                    into.push_back({rect, text});
                }
                place = part.place;
            }
        }
    };
    std::vector<std::string> texts;
    for (std::size_t first = 0; first < lines.size();) {
        std::size_t stop = first + 1;
        while (stop < lines.size() && lines[stop].block == lines[first].block) {
            ++stop;
        }
        texts.clear();
        for (std::size_t i = first; i < stop; ++i) {
            texts.push_back(lines[i].text);
        }
        for (const LineReading& joined : LineReading::joined(texts)) {
            search(joined, first);
        }
        first = stop;
    }

    std::vector<ShownBox> shown;
    std::vector<bool> single;
    texts.clear();
    const double w = reading.geometry.width;
    const double h = reading.geometry.height;
    for (const OcrLine& line : lines) {
        const NormalizedBox& b = line.box;
        shown.push_back({b.x * w, (1 - b.y - b.height) * h, (b.x + b.width) * w, (1 - b.y) * h});
        single.push_back(isSingleGlyph(line));
        texts.push_back(line.text);
    }
    if (const auto columns = stackedColumns(shown, single); !columns.empty()) {
        search(LineReading::columns(texts, columns), 0);
    }
}

}  // namespace

std::vector<RecognisedHit> recognisedHits(const std::vector<PageReading>& readings,
                                          const std::function<std::vector<ByteRange>(const std::string&)>& find) {
    std::vector<RecognisedHit> upright;
    std::vector<RecognisedHit> turned;
    for (const PageReading& reading : readings) {
        for (const OcrLine& line : reading.lines) {
            for (const auto& [begin, end] : find(line.text)) {
                (line.upright ? upright : turned)
                    .push_back({placeOf(reading.geometry, line, begin, end), line.text.substr(begin, end - begin)});
            }
        }
        joinedHits(reading, find, upright, turned);
    }
    for (RecognisedHit& hit : turned) {
        const bool placedElsewhere =
            hit.rect && std::any_of(upright.begin(), upright.end(), [&](const RecognisedHit& placed) {
                return placed.rect && containsCentreOf(*hit.rect, *placed.rect);
            });
        if (!placedElsewhere) {
            upright.push_back(std::move(hit));
        }
    }
    return upright;
}

namespace {

// The boxes for one recognised line. The key decides whether the line matches; the literal
// query, where recognition spelled it the same way, narrows each box to those characters.
// When the key holds the query more often than the literal search can place it (another
// spelling, a hyphen), or the line was read turned, the whole line goes: a tight box on one
// spelling would leave the other readable.
std::vector<PageRect> lineMatches(const PageImage& image, const OcrLine& line, const std::string& term,
                                  const std::string& queryKey) {
    const std::size_t keyCount = countOccurrences(recognitionKey(line.text), queryKey);
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

}  // namespace

std::vector<PageRect> termMatches(const std::vector<PageReading>& readings, const std::string& term,
                                  const std::string& queryKey) {
    std::vector<PageRect> upright;
    std::vector<PageRect> turned;
    for (const PageReading& reading : readings) {
        const auto& lines = reading.lines;
        std::vector<std::string> keys;
        for (const OcrLine& line : lines) {
            keys.push_back(recognitionKey(line.text));
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

}  // namespace norvane
