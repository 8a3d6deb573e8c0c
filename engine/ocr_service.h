#pragma once
// On-device text recognition, private to the engine. One OcrService per operation and
// thread: it loads the language models once and reads page after page with them.

#include "engine/page_raster.h"
#include "records/redaction_records.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace tesseract {
class TessBaseAPI;
}

namespace norvane {

// A box in fractions of the image (0 to 1), origin at the lower left, y up.
struct NormalizedBox {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

struct OcrLine {
    // One recognised character: its bytes [begin, end) in `text` and its box.
    struct Symbol {
        std::size_t begin = 0;
        std::size_t end = 0;
        NormalizedBox box;
    };

    std::string text;  // UTF-8, words joined by single spaces, no line break
    NormalizedBox box;
    // False for a line the recogniser read turned (sideways text in a vertical block): its
    // character boxes are not to be trusted, only the line's own box.
    bool upright = true;
    std::size_t block = 0;           // lines of one block share it, counted from 0 in reading order
    std::size_t words = 0;           // words of three or more letters or digits
    std::size_t confidentWords = 0;  // those of them the recogniser is sure of
    std::vector<Symbol> symbols;
    bool stacked = false;  // glyphs of a column read as a line: each character stands on its own glyph

    // Union of the boxes of the symbols that overlap the byte range [begin, end); nothing
    // when no recognised symbol lies in it.
    std::optional<NormalizedBox> boxForRange(std::size_t begin, std::size_t end) const;
};

// Parts of reading that cost time, all on unless a benchmark switches one off to price it.
struct ReadingFeatures {
    bool lightInk = true;     // grey, coloured and white-on-dark text made black on white first
    bool orientation = true;  // a page whose text is turned without /Rotate also read upright
};

class OcrService {
public:
    // English plus the language of the user's locale when its model is installed.
    // Throws OcrError when the models cannot be loaded.
    OcrService();
    // `languages` in the recogniser's own form, e.g. "eng" or "eng+deu".
    explicit OcrService(const std::string& languages, const ReadingFeatures& features = {});
    ~OcrService();
    OcrService(const OcrService&) = delete;
    OcrService& operator=(const OcrService&) = delete;

    // Recognises one page image (RGB or grey) rendered at `dpi`, lines in reading order. Lines
    // whose box is lower than `minimumLineHeight` × image height are dropped (0 keeps every line).
    // Throws OcrError when recognition fails, CancellationError when `stop` is requested
    // while it runs.
    std::vector<OcrLine> recognize(const PageImage& image, double dpi, float minimumLineHeight,
                                   std::stop_token stop = {});

    // The clockwise turn (0, 90, 180 or 270) the text on `image` stands in, by the orientation
    // model; nothing when there is too little text to be sure or the model is not installed.
    std::optional<int> textTurn(const PageImage& image, double dpi);

    const std::string& languages() const { return languages_; }

private:
    std::unique_ptr<tesseract::TessBaseAPI> api_;
    std::unique_ptr<tesseract::TessBaseAPI> orientation_;  // loaded on first use
    bool orientationUnavailable_ = false;
    std::string languages_;
    ReadingFeatures features_;
};

// The image as one luminance byte a pixel: all the recogniser reads of it, in a third of the
// memory.
PageImage greyImage(PageImage image);

// Folder holding the installed language models; empty when none is found.
std::filesystem::path tessdataDirectory();

// The recogniser's glyph-less font (pdf.ttf): beside the models, else where the recogniser's
// library installs it; empty when there is none.
std::filesystem::path glyphlessFontFile();

// "eng", plus "+" and the model for the language of `localeName` (e.g. "de_DE", "zh_TW")
// when `tessdata` holds it.
std::string recognitionLanguages(std::string_view localeName, const std::filesystem::path& tessdata);

// Maps a normalised box of `image` back to page space through the inverse of its
// page-to-pixel transform; with a rotated rendering the result is the box on the page as
// stored. Returns the axis-aligned bounds.
PageRect imageBoxToPage(const PageImage& image, const NormalizedBox& box);

}  // namespace norvane
