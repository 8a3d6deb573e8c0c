#include "engine/line_joins.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

namespace norvane {
namespace {

// The column rule, in units of the glyphs' height.
constexpr double kSizeRatio = 1.5;       // the larger of two stacked glyphs at most this much larger
constexpr double kCentreShift = 0.5;     // their centres this far apart sideways
constexpr double kOverlap = 0.3;         // the lower one may reach this far up into the upper
constexpr double kGap = 1.5;             // or stand this far below it
constexpr double kNeighbourReach = 3.0;  // text closer than this in the glyph's row makes it a bullet or a cell
constexpr double kRowSizeRatio = 1.25;   // text of about its size
constexpr double kBaselineShift = 0.15;  // and on about its baseline makes it a table cell
// Past this many comparisons a hostile page would hold the search for long: every glyph then
// counts as standing alone, which can only add readings.
constexpr std::size_t kNeighbourChecks = std::size_t{1} << 24;
constexpr std::size_t kSuccessorScan = 256;

double height(const ShownBox& b) {
    return b.y1 - b.y0;
}

bool usable(const ShownBox& b) {
    return std::isfinite(b.x0) && std::isfinite(b.y0) && std::isfinite(b.x1) && std::isfinite(b.y1) && b.x1 >= b.x0 &&
           b.y1 > b.y0;
}

// Whether `other` makes the glyph part of a row of text: close beside it (a bullet's text), or
// anywhere on the page at its size and on its baseline (a table's other cells).
bool inRowWith(const ShownBox& glyph, const ShownBox& other, bool otherIsSingle) {
    const double h = height(glyph);
    const double overlap = std::min(glyph.y1, other.y1) - std::max(glyph.y0, other.y0);
    if (!(overlap > 0.5 * std::min(h, height(other)))) {
        return false;
    }
    const double gap = std::max({0.0, other.x0 - glyph.x1, glyph.x0 - other.x1});
    const bool sameSize = std::max(h, height(other)) <= kRowSizeRatio * std::min(h, height(other));
    return gap < kNeighbourReach * h ||
           (!otherIsSingle && sameSize && std::abs(glyph.y1 - other.y1) <= kBaselineShift * h);
}

// How far `lower` stands below `upper` when it continues its column; nothing when it does not.
std::optional<double> stackGap(const ShownBox& upper, const ShownBox& lower) {
    const double h = std::max(height(upper), height(lower));
    if (h > kSizeRatio * std::min(height(upper), height(lower))) {
        return std::nullopt;
    }
    if (std::abs((upper.x0 + upper.x1) - (lower.x0 + lower.x1)) / 2 > kCentreShift * h) {
        return std::nullopt;
    }
    const double gap = lower.y0 - upper.y1;
    if (gap < -kOverlap * h || gap > kGap * h) {
        return std::nullopt;
    }
    return gap;
}

enum class LineEnd { plain, visibleHyphen, softHyphen };

// How the line ends, and the bytes of that last character.
std::pair<LineEnd, std::size_t> lineEnd(std::string_view text) {
    if (text.empty()) {
        return {LineEnd::plain, 0};
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    auto end = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
    const std::int32_t last = end;
    UChar32 c = 0;
    U8_PREV(bytes, 0, end, c);
    const auto size = static_cast<std::size_t>(last - end);
    if (c == 0x00AD) {
        return {LineEnd::softHyphen, size};
    }
    return {c >= 0 && isLineEndHyphen(static_cast<char32_t>(c)) ? LineEnd::visibleHyphen : LineEnd::plain, size};
}

}  // namespace

bool isInvisible(char32_t c) {
    return u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
}

bool isLineEndHyphen(char32_t c) {
    return c == '-' || c == 0x00AD || c == 0x2010 || c == 0x2011;
}

std::vector<std::vector<std::size_t>> stackedColumns(const std::vector<ShownBox>& lines,
                                                     const std::vector<bool>& single) {
    std::vector<std::size_t> glyphs;
    for (std::size_t i = 0; i < lines.size() && i < single.size(); ++i) {
        if (single[i] && usable(lines[i])) {
            glyphs.push_back(i);
        }
    }
    if (glyphs.size() < 2) {
        return {};
    }
    if (glyphs.size() * lines.size() <= kNeighbourChecks) {
        std::erase_if(glyphs, [&](std::size_t g) {
            for (std::size_t other = 0; other < lines.size(); ++other) {
                if (other != g && usable(lines[other]) &&
                    inRowWith(lines[g], lines[other], other < single.size() && single[other])) {
                    return true;
                }
            }
            return false;
        });
    }
    std::sort(glyphs.begin(), glyphs.end(), [&](std::size_t a, std::size_t b) { return lines[a].y0 < lines[b].y0; });

    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    std::vector<std::size_t> next(glyphs.size(), kNone);
    std::vector<bool> hasPrevious(glyphs.size(), false);
    for (std::size_t a = 0; a < glyphs.size(); ++a) {
        const ShownBox& upper = lines[glyphs[a]];
        const double reach = upper.y1 + kGap * kSizeRatio * height(upper);
        std::size_t best = kNone;
        double bestGap = 0;
        for (std::size_t b = a + 1; b < glyphs.size() && b <= a + kSuccessorScan && lines[glyphs[b]].y0 <= reach; ++b) {
            const auto gap = hasPrevious[b] ? std::nullopt : stackGap(upper, lines[glyphs[b]]);
            if (gap && (best == kNone || *gap < bestGap)) {
                best = b;
                bestGap = *gap;
            }
        }
        if (best != kNone) {
            next[a] = best;
            hasPrevious[best] = true;
        }
    }
    std::vector<std::vector<std::size_t>> columns;
    for (std::size_t a = 0; a < glyphs.size(); ++a) {
        if (hasPrevious[a] || next[a] == kNone) {
            continue;
        }
        auto& column = columns.emplace_back();
        for (std::size_t at = a; at != kNone; at = next[at]) {
            column.push_back(glyphs[at]);
        }
    }
    return columns;
}

void LineReading::append(std::size_t line, std::string_view text, std::size_t place) {
    if (!text.empty()) {
        spans_.push_back({text_.size(), line, text.size(), place});
        text_ += text;
    }
}

bool LineReading::owns(std::size_t begin, std::size_t end) const {
    const auto join = std::upper_bound(joins_.begin(), joins_.end(), begin);
    return everyMatch_ || (join != joins_.end() && *join < end);
}

std::vector<LinePart> LineReading::parts(std::size_t begin, std::size_t end) const {
    std::vector<LinePart> parts;
    auto span =
        std::upper_bound(spans_.begin(), spans_.end(), begin, [](std::size_t at, const Span& s) { return at < s.at; });
    if (span != spans_.begin()) {
        --span;
    }
    for (; span != spans_.end() && span->at < end; ++span) {
        const std::size_t from = std::max(begin, span->at);
        const std::size_t to = std::min(end, span->at + span->length);
        if (from >= to) {
            continue;
        }
        const LinePart part{span->line, from - span->at, to - span->at, span->place};
        if (!parts.empty() && parts.back().line == part.line && parts.back().end == part.begin) {
            parts.back().end = part.end;
        } else {
            parts.push_back(part);
        }
    }
    return parts;
}

LineReading LineReading::lineByLine(const std::vector<std::string>& lines) {
    LineReading reading;
    reading.everyMatch_ = true;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        reading.append(i, lines[i], i);
        reading.text_ += '\n';
    }
    return reading;
}

std::vector<LineReading> LineReading::joined(const std::vector<std::string>& lines) {
    std::vector<std::size_t> kept;
    bool anyHyphen = false;
    bool anyVisibleHyphen = false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (!lines[i].empty()) {
            kept.push_back(i);
            const LineEnd end = lineEnd(lines[i]).first;
            anyHyphen = anyHyphen || end != LineEnd::plain;
            anyVisibleHyphen = anyVisibleHyphen || end == LineEnd::visibleHyphen;
        }
    }
    std::vector<LineReading> readings;
    if (kept.size() < 2) {
        return readings;
    }
    enum class Way { spaced, dropHyphen, keepHyphen };
    const auto build = [&](Way way) {
        LineReading& reading = readings.emplace_back();
        for (std::size_t k = 0; k < kept.size(); ++k) {
            const std::string_view text = lines[kept[k]];
            const auto [end, hyphenBytes] = lineEnd(text);
            // A soft hyphen is never seen: only the reading that drops it makes use of it.
            const bool glued = (way == Way::dropHyphen && end != LineEnd::plain) ||
                               (way == Way::keepHyphen && end == LineEnd::visibleHyphen);
            const bool cut = (way == Way::dropHyphen && end != LineEnd::plain) || end == LineEnd::softHyphen;
            reading.append(kept[k], text.substr(0, text.size() - (cut ? hyphenBytes : 0)), kept[k]);
            if (k + 1 == kept.size()) {
                break;
            }
            if (!glued) {
                reading.text_ += ' ';
            }
            if (glued || way == Way::spaced) {
                reading.join();
            }
        }
    };
    build(Way::spaced);
    if (anyHyphen) {
        build(Way::dropHyphen);
    }
    if (anyVisibleHyphen) {
        build(Way::keepHyphen);
    }
    return readings;
}

LineReading LineReading::columns(const std::vector<std::string>& lines,
                                 const std::vector<std::vector<std::size_t>>& columns) {
    LineReading reading;
    for (std::size_t place = 0; place < columns.size(); ++place) {
        const auto& column = columns[place];
        for (std::size_t k = 0; k < column.size(); ++k) {
            if (k > 0) {
                reading.join();
            }
            reading.append(column[k], lines.at(column[k]), place);
        }
        reading.text_ += '\n';
    }
    return reading;
}

}  // namespace norvane
