#include "engine/searchable_layer.h"

#include "engine/redaction_engine.h"

#include <unicode/unistr.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace norvane {
namespace {

// Affine maps compose as PDF matrices do: `first`, then `second`.
Affine then(const Affine& first, const Affine& second) {
    return {first.a * second.a + first.b * second.c,
            first.a * second.b + first.b * second.d,
            first.c * second.a + first.d * second.c,
            first.c * second.b + first.d * second.d,
            first.e * second.a + first.f * second.c + second.e,
            first.e * second.b + first.f * second.d + second.f};
}

std::optional<Affine> inverted(const Affine& m) {
    const double det = m.a * m.d - m.b * m.c;
    if (det == 0 || !std::isfinite(det)) {
        return std::nullopt;
    }
    return Affine{
        m.d / det, -m.b / det, -m.c / det, m.a / det, (m.c * m.f - m.d * m.e) / det, (m.b * m.e - m.a * m.f) / det};
}

std::size_t confidentWords(const PageReading& reading) {
    std::size_t count = 0;
    for (const OcrLine& line : reading.lines) {
        count += line.upright ? line.confidentWords : 0;
    }
    return count;
}

std::u32string utf32(const std::string& utf8) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(utf8);
    std::u32string out;
    for (std::int32_t i = 0; i < text.length();) {
        const UChar32 c = text.char32At(i);
        i += U16_LENGTH(c);
        out.push_back(static_cast<char32_t>(c));
    }
    return out;
}

// Pixel boxes of the reading's image: x right, y down.
struct PixelBox {
    double left, top, right, bottom;
};

PixelBox pixels(const PageImage& image, const NormalizedBox& box) {
    const double w = image.width;
    const double h = image.height;
    return {box.x * w, (1 - box.y - box.height) * h, (box.x + box.width) * w, (1 - box.y) * h};
}

// `text` from `left` to `right` of the word, standing on `bottom`, `size` pixels high.
void place(std::vector<LayerWord>& words, std::u32string text, std::size_t glyphs, double left, double right,
           double bottom, double size, const Affine& toPage) {
    const double width = right - left;
    if (glyphs == 0 || !(width > 0) || !(size > 0)) {
        return;
    }
    const Affine inPixels{2 * width / static_cast<double>(glyphs), 0, 0, -size, left, bottom};
    const Affine m = then(inPixels, toPage);
    if (std::isfinite(m.a) && std::isfinite(m.b) && std::isfinite(m.c) && std::isfinite(m.d) && std::isfinite(m.e) &&
        std::isfinite(m.f)) {
        words.push_back({std::move(text), m});
    }
}

void addLine(const PageImage& image, const OcrLine& line, const Affine& toPage, std::vector<LayerWord>& words) {
    if (line.stacked) {
        for (const OcrLine::Symbol& symbol : line.symbols) {
            const PixelBox box = pixels(image, symbol.box);
            place(words, utf32(line.text.substr(symbol.begin, symbol.end - symbol.begin)), 1, box.left, box.right,
                  box.bottom, box.bottom - box.top, toPage);
        }
        return;
    }
    const PixelBox lineBox = pixels(image, line.box);
    for (std::size_t begin = 0; begin < line.text.size();) {
        const std::size_t space = std::min(line.text.find(' ', begin), line.text.size());
        if (const auto box = line.boxForRange(begin, space)) {
            std::u32string text = utf32(line.text.substr(begin, space - begin));
            const std::size_t glyphs = text.size();
            if (space < line.text.size()) {
                text.push_back(U' ');
            }
            const PixelBox word = pixels(image, *box);
            place(words, std::move(text), glyphs, word.left, word.right, lineBox.bottom, lineBox.bottom - lineBox.top,
                  toPage);
        }
        begin = space + 1;
    }
}

std::string hex4(unsigned value) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "%04X", value & 0xFFFFu);
    return buffer;
}

// The character as UTF-16BE hex, as a CMap destination wants it.
std::string utf16Hex(char32_t c) {
    if (c < 0x10000) {
        return hex4(c);
    }
    const char32_t v = c - 0x10000;
    return hex4(0xD800 + (v >> 10)) + hex4(0xDC00 + (v & 0x3FF));
}

constexpr std::size_t kMaxCodes = 0xFFFE;  // two bytes a code; 0 stays .notdef

std::vector<std::uint8_t> readGlyphlessFont() {
    const std::filesystem::path file = glyphlessFontFile();
    std::ifstream in(file, std::ios::binary);
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const bool trueType = bytes.size() >= 12 && bytes.size() < (1u << 20) &&
                          ((bytes[0] == 0 && bytes[1] == 1 && bytes[2] == 0 && bytes[3] == 0) ||
                           std::equal(bytes.begin(), bytes.begin() + 4, "true"));
    if (file.empty() || !trueType) {
        throw OcrError("The searchable copy needs the recogniser's glyph-less font (pdf.ttf), which is not installed.");
    }
    return bytes;
}

}  // namespace

std::vector<LayerWord> layerWords(const std::vector<PageReading>& readings) {
    const PageReading* best = nullptr;
    for (const PageReading& reading : readings) {
        if (!best || confidentWords(reading) > confidentWords(*best)) {
            best = &reading;
        }
    }
    std::vector<LayerWord> words;
    const auto toPage = best ? inverted(best->geometry.pageToPixel) : std::nullopt;
    if (!toPage) {
        return words;
    }
    for (const OcrLine& line : best->lines) {
        if (line.upright) {
            addLine(best->geometry, line, *toPage, words);
        }
    }
    return words;
}

std::string LayerFont::show(const std::vector<LayerWord>& words) {
    std::string ops;
    for (const LayerWord& word : words) {
        std::string codes;
        for (const char32_t c : word.text) {
            auto found = codes_.find(c);
            if (found == codes_.end()) {
                if (characters_.size() >= kMaxCodes) {
                    break;
                }
                characters_.push_back(c);
                found = codes_.emplace(c, static_cast<std::uint16_t>(characters_.size())).first;
            }
            codes += hex4(found->second);
        }
        if (codes.empty()) {
            continue;
        }
        const Affine& m = word.matrix;
        ops += pdfNumber(m.a) + ' ' + pdfNumber(m.b) + ' ' + pdfNumber(m.c) + ' ' + pdfNumber(m.d) + ' ' +
               pdfNumber(m.e) + ' ' + pdfNumber(m.f) + " Tm <" + codes + "> Tj\n";
    }
    return ops.empty() ? ops : "BT 3 Tr /F0 1 Tf\n" + ops + "ET\n";
}

std::string LayerFont::toUnicode() const {
    std::string cmap =
        "/CIDInit /ProcSet findresource begin\n12 dict begin\nbegincmap\n"
        "/CIDSystemInfo << /Registry (Adobe) /Ordering (UCS) /Supplement 0 >> def\n"
        "/CMapName /Adobe-Identity-UCS def\n/CMapType 2 def\n"
        "1 begincodespacerange\n<0000> <FFFF>\nendcodespacerange\n";
    for (std::size_t first = 0; first < characters_.size(); first += 100) {
        const std::size_t count = std::min<std::size_t>(100, characters_.size() - first);
        cmap += std::to_string(count) + " beginbfchar\n";
        for (std::size_t i = first; i < first + count; ++i) {
            cmap += "<" + hex4(static_cast<unsigned>(i + 1)) + "> <" + utf16Hex(characters_[i]) + ">\n";
        }
        cmap += "endbfchar\n";
    }
    return cmap + "endcmap\nCMapName currentdict /CMap defineresource pop\nend\nend\n";
}

std::vector<std::uint8_t> LayerFont::cidToGidMap() const {
    std::vector<std::uint8_t> map(2 * (characters_.size() + 1), 0);
    for (std::size_t i = 3; i < map.size(); i += 2) {
        map[i] = 1;
    }
    return map;
}

const std::vector<std::uint8_t>& glyphlessFont() {
    static const std::vector<std::uint8_t> font = readGlyphlessFont();
    return font;
}

std::string pdfNumber(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.4f", value);
    std::string text = buffer;
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text == "-0" ? "0" : text;
}

}  // namespace norvane
