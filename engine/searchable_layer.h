#pragma once
// The invisible text layer of a searchable copy: the words recognised on a page image as it was
// written, laid over their picture in a font that draws nothing. Private to the engine.

#include "engine/mupdf_session.h"
#include "engine/page_reading.h"

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace norvane {

// A word as the layer shows it: its characters, with the space that parts it from the next word
// of its line, and the text matrix that lays them over the word's picture in the copy's page
// space. The font is set at size 1 and every glyph advances half a unit, so the matrix alone
// sizes the word: its glyphs span the word's box, from the line's bottom to its top.
struct LayerWord {
    std::u32string text;
    Affine matrix;
};

// The words of the reading that reads the page best (the most words read with confidence), in
// reading order. Lines read turned within it are left out: their characters have no reliable
// boxes. A column of stacked glyphs gives each glyph on its own.
std::vector<LayerWord> layerWords(const std::vector<PageReading>& readings);

// The document's one font for the layer: a Type0 font with Identity-H over the glyph-less
// TrueType font. Each distinct character gets a code of its own in the order first shown, and
// the ToUnicode CMap maps the codes back, so the text extracts in any script.
class LayerFont {
public:
    // The operators that show `words` invisibly with the font as /F0; empty without words.
    std::string show(const std::vector<LayerWord>& words);
    std::string toUnicode() const;
    // Every code to the font's one drawn glyph.
    std::vector<std::uint8_t> cidToGidMap() const;

private:
    std::unordered_map<char32_t, std::uint16_t> codes_;
    std::vector<char32_t> characters_;  // code i + 1
};

// Tesseract's glyph-less TrueType font (pdf.ttf, beside its models): one empty glyph, half an em
// wide. Throws OcrError when it is not installed.
const std::vector<std::uint8_t>& glyphlessFont();

// A PDF number: at most four decimals, never an exponent.
std::string pdfNumber(double value);

using Digest = std::array<unsigned char, 32>;

// SHA-256 over bytes given in pieces.
class Sha256 {
public:
    Sha256() { fz_sha256_init(&state_); }
    void add(const void* data, std::size_t size) {
        fz_sha256_update(&state_, static_cast<const unsigned char*>(data), size);
    }
    Digest finish() {
        Digest digest{};
        fz_sha256_final(&state_, digest.data());
        return digest;
    }

private:
    fz_sha256 state_;
};

// Defined here, where the engine's readings are known; opaque to everything above the engine.
struct RecognisedCopy {
    Digest fileDigest{};  // of every byte of the file as written
    std::string languages;
    std::vector<std::vector<PageReading>> pages;  // each page's readings, in the copy's page space
};

}  // namespace norvane
