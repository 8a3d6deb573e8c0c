#include "engine/glyph_columns.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace norvane {
namespace {

constexpr double kTallness = 2.0;        // a column stands at least this many times as high as it is wide
constexpr unsigned kInk = 160;           // luminance below this is ink
constexpr int kGlyphSplit = 4;           // a gap under 1/4 of the tallest glyph is inside a glyph (an i's dot)
constexpr std::size_t kMaxColumns = 64;  // a page of sideways lines must not be read line by line forever
constexpr std::size_t kMaxGlyphs = 256;
constexpr double kStackGap = 0.25;  // glyphs stacked stand this much of their height apart, or more

// Pixels, half-open.
struct Cell {
    int x0 = 0;
    int y0 = 0;
    int x1 = 0;
    int y1 = 0;
};

bool inkAt(const PageImage& image, int x, int y) {
    const std::uint8_t* p =
        image.samples.data() +
        (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) + static_cast<std::size_t>(x)) *
            static_cast<std::size_t>(image.components);
    const unsigned luminance = image.components >= 3 ? (77u * p[0] + 150u * p[1] + 29u * p[2]) >> 8 : p[0];
    return luminance < kInk;
}

Cell pixelsOf(const PageImage& image, const NormalizedBox& box) {
    const auto clampTo = [](double v, int limit) { return static_cast<int>(std::clamp(v, 0.0, double(limit))); };
    return {clampTo(std::floor(box.x * image.width), image.width),
            clampTo(std::floor((1 - box.y - box.height) * image.height), image.height),
            clampTo(std::ceil((box.x + box.width) * image.width), image.width),
            clampTo(std::ceil((1 - box.y) * image.height), image.height)};
}

NormalizedBox normalizedOf(const Cell& c, int width, int height) {
    const double w = width;
    const double h = height;
    return {c.x0 / w, (h - c.y1) / h, (c.x1 - c.x0) / w, (c.y1 - c.y0) / h};
}

// The glyphs of a column, top to bottom: runs of rows holding ink, each cut to its ink.
std::vector<Cell> glyphCells(const PageImage& image, const Cell& area) {
    std::vector<Cell> cells;
    for (int y = area.y0; y < area.y1; ++y) {
        bool ink = false;
        for (int x = area.x0; x < area.x1 && !ink; ++x) {
            ink = inkAt(image, x, y);
        }
        if (!ink) {
            continue;
        }
        if (!cells.empty() && cells.back().y1 == y) {
            cells.back().y1 = y + 1;
        } else {
            cells.push_back({area.x0, y, area.x1, y + 1});
        }
    }
    int tallest = 0;
    for (const Cell& c : cells) {
        tallest = std::max(tallest, c.y1 - c.y0);
    }
    std::vector<Cell> glyphs;
    for (const Cell& c : cells) {
        if (!glyphs.empty() && (c.y0 - glyphs.back().y1) * kGlyphSplit < tallest) {
            glyphs.back().y1 = c.y1;
        } else {
            glyphs.push_back(c);
        }
    }
    for (Cell& g : glyphs) {
        int x0 = g.x1;
        int x1 = g.x0;
        for (int y = g.y0; y < g.y1; ++y) {
            for (int x = g.x0; x < g.x1; ++x) {
                if (inkAt(image, x, y)) {
                    x0 = std::min(x0, x);
                    x1 = std::max(x1, x + 1);
                }
            }
        }
        g.x0 = x0;
        g.x1 = x1;
    }
    return glyphs;
}

int tallestOf(const std::vector<Cell>& glyphs) {
    int tallest = 0;
    for (const Cell& g : glyphs) {
        tallest = std::max(tallest, g.y1 - g.y0);
    }
    return tallest;
}

bool inkInRow(const PageImage& image, int y, int x0, int x1) {
    for (int x = x0; x < x1; ++x) {
        if (inkAt(image, x, y)) {
            return true;
        }
    }
    return false;
}

// The recogniser may take only part of a column for a line: the area grows up and down while
// more glyphs follow at most a glyph and a half apart, in a band a little wider than the line.
Cell grownArea(const PageImage& image, Cell area, int tallest) {
    area.x0 = std::max(0, area.x0 - tallest / 2);
    area.x1 = std::min(image.width, area.x1 + tallest / 2);
    const int reach = tallest * 3 / 2;
    for (int y = area.y0 - 1, blank = 0; y >= 0 && blank <= reach; --y) {
        blank = inkInRow(image, y, area.x0, area.x1) ? 0 : blank + 1;
        area.y0 = blank == 0 ? y : area.y0;
    }
    for (int y = area.y1, blank = 0; y < image.height && blank <= reach; ++y) {
        blank = inkInRow(image, y, area.x0, area.x1) ? 0 : blank + 1;
        area.y1 = blank == 0 ? y + 1 : area.y1;
    }
    return area;
}

// Glyphs set one under the other leave gaps of a good part of a glyph between them; text
// turned on its side cuts into whole words with narrow gaps, and is read turned already.
bool stacked(const std::vector<Cell>& glyphs) {
    std::vector<int> heights;
    std::vector<int> gaps;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        heights.push_back(glyphs[i].y1 - glyphs[i].y0);
        if (i > 0) {
            gaps.push_back(glyphs[i].y0 - glyphs[i - 1].y1);
        }
    }
    const auto median = [](std::vector<int>& v) {
        std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2), v.end());
        return v[v.size() / 2];
    };
    return median(gaps) >= kStackGap * median(heights);
}

// Where each glyph's baseline would be: glyphs stacked at a steady pitch stand on baselines a
// pitch apart, which a descender's bottom does not show, so the pitch is the median of the
// pairs' (Theil-Sen) and the baselines are fitted through the bottoms.
std::vector<double> baselines(const std::vector<Cell>& glyphs) {
    std::vector<double> slopes;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        for (std::size_t j = i + 1; j < glyphs.size(); ++j) {
            slopes.push_back(static_cast<double>(glyphs[j].y1 - glyphs[i].y1) / static_cast<double>(j - i));
        }
    }
    std::nth_element(slopes.begin(), slopes.begin() + static_cast<std::ptrdiff_t>(slopes.size() / 2), slopes.end());
    const double pitch = slopes[slopes.size() / 2];
    std::vector<double> offsets;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        offsets.push_back(glyphs[i].y1 - pitch * static_cast<double>(i));
    }
    std::nth_element(offsets.begin(), offsets.begin() + static_cast<std::ptrdiff_t>(offsets.size() / 2), offsets.end());
    std::vector<double> lines;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        lines.push_back(offsets[offsets.size() / 2] + pitch * static_cast<double>(i));
    }
    return lines;
}

// The glyphs side by side on one baseline, with the spacing of letters in a word, and where
// each landed.
PageImage setInARow(const PageImage& image, const std::vector<Cell>& glyphs, std::vector<Cell>& placed) {
    const int tallest = tallestOf(glyphs);
    const std::vector<double> baseline = baselines(glyphs);
    int width = 0;
    int below = 0;  // deepest reach under the baseline
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        width += glyphs[i].x1 - glyphs[i].x0;
        below = std::max(below, static_cast<int>(std::lround(glyphs[i].y1 - baseline[i])));
    }
    below = std::clamp(below, 0, tallest);
    const int margin = tallest;
    const int spacing = std::max(1, tallest / 8);
    PageImage row;
    row.width = width + spacing * static_cast<int>(glyphs.size() - 1) + 2 * margin;
    row.height = tallest + below + 2 * margin;
    row.components = image.components;
    const auto components = static_cast<std::size_t>(image.components);
    row.samples.assign(static_cast<std::size_t>(row.width) * static_cast<std::size_t>(row.height) * components, 255);
    int x = margin;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        const Cell& g = glyphs[i];
        const int drop = std::clamp(static_cast<int>(std::lround(g.y1 - baseline[i])), -tallest, below);
        const int top = std::max(0, margin + tallest + drop - (g.y1 - g.y0));
        for (int y = g.y0; y < g.y1; ++y) {
            for (int dx = 0; dx < g.x1 - g.x0; ++dx) {
                const std::uint8_t* from =
                    image.samples.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) +
                                            static_cast<std::size_t>(g.x0 + dx)) *
                                               components;
                std::uint8_t* to = row.samples.data() +
                                   (static_cast<std::size_t>(top + y - g.y0) * static_cast<std::size_t>(row.width) +
                                    static_cast<std::size_t>(x + dx)) *
                                       components;
                std::copy_n(from, components, to);
            }
        }
        placed.push_back({x, top, x + g.x1 - g.x0, top + g.y1 - g.y0});
        x += g.x1 - g.x0 + spacing;
    }
    return row;
}

}  // namespace

void readGlyphColumns(const PageImage& image, double dpi, OcrService& ocr, std::vector<OcrLine>& lines,
                      std::stop_token stop) {
    std::size_t block = 0;
    for (const OcrLine& line : lines) {
        block = std::max(block, line.block + 1);
    }
    std::size_t read = 0;
    std::vector<Cell> done;
    const std::size_t count = lines.size();
    for (std::size_t i = 0; i < count && read < kMaxColumns; ++i) {
        const Cell area = pixelsOf(image, lines[i].box);
        if (lines[i].upright || area.y1 - area.y0 < kTallness * (area.x1 - area.x0)) {
            continue;
        }
        std::vector<Cell> glyphs = glyphCells(image, area);
        if (glyphs.empty()) {
            continue;
        }
        const Cell grown = grownArea(image, area, tallestOf(glyphs));
        // Another piece of a column read already.
        const int middleX = (area.x0 + area.x1) / 2;
        const int middleY = (area.y0 + area.y1) / 2;
        if (std::any_of(done.begin(), done.end(), [&](const Cell& c) {
                return middleX >= c.x0 && middleX < c.x1 && middleY >= c.y0 && middleY < c.y1;
            })) {
            continue;
        }
        glyphs = glyphCells(image, grown);
        if (glyphs.size() < 2 || glyphs.size() > kMaxGlyphs || !stacked(glyphs)) {
            continue;
        }
        done.push_back(grown);
        ++read;
        std::vector<Cell> placed;
        const PageImage row = setInARow(image, glyphs, placed);
        OcrLine column;
        column.block = block++;
        column.stacked = true;
        for (const OcrLine& part : ocr.recognize(row, dpi, 0.0f, stop)) {
            if (!part.upright) {
                continue;  // what reads only turned here was read turned already
            }
            if (!column.text.empty()) {
                column.text += ' ';
            }
            const std::size_t offset = column.text.size();
            column.text += part.text;
            for (const OcrLine::Symbol& symbol : part.symbols) {
                // Each character goes back to the glyph its middle was read from.
                const double middle = (symbol.box.x + symbol.box.width / 2) * row.width;
                std::size_t nearest = 0;
                for (std::size_t g = 1; g < placed.size(); ++g) {
                    if (std::abs((placed[g].x0 + placed[g].x1) / 2.0 - middle) <
                        std::abs((placed[nearest].x0 + placed[nearest].x1) / 2.0 - middle)) {
                        nearest = g;
                    }
                }
                column.symbols.push_back({symbol.begin + offset, symbol.end + offset,
                                          normalizedOf(glyphs[nearest], image.width, image.height)});
            }
        }
        if (!column.text.empty()) {
            Cell all = glyphs.front();
            for (const Cell& g : glyphs) {
                all = {std::min(all.x0, g.x0), all.y0, std::max(all.x1, g.x1), g.y1};
            }
            column.box = normalizedOf(all, image.width, image.height);
            lines.push_back(std::move(column));
        }
    }
}

}  // namespace norvane
