#pragma once
// Text that reads on past the end of a line: a word wrapped onto the next line, broken there
// with a hyphen, or set as a column of single glyphs, one per line. Private to the engine;
// shared by the text-layer searches and by verification over text layers and recognised lines.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace norvane {

// Zero-width spaces and joiners, soft hyphens, byte-order marks and the other code points a
// reader never sees: a match reads through them.
bool isInvisible(char32_t c);

// A hyphen that may end a line in the middle of a word; a soft hyphen is one too.
bool isLineEndHyphen(char32_t c);

// A line's box as shown on the page: x to the right, y down, in any one unit.
struct ShownBox {
    double x0 = 0;
    double y0 = 0;
    double x1 = 0;
    double y1 = 0;
};

// The columns of stacked single glyphs among a page's lines, each top to bottom as indices
// into `lines`; `single[i]` says whether line i is one glyph. Glyphs stack when they are of
// about one size, share their centre line, and follow each other down with gaps of about a
// line or less; a glyph with other text beside it in its row (a bullet, a table cell) is
// not part of a column.
std::vector<std::vector<std::size_t>> stackedColumns(const std::vector<ShownBox>& lines,
                                                     const std::vector<bool>& single);

// Bytes [begin, end) of line `line`; parts of one `place` are covered together (a column).
struct LinePart {
    std::size_t line = 0;
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t place = 0;

    friend bool operator==(const LinePart&, const LinePart&) = default;
};

// Lines read as one text, each match in it traced back to the lines it covers.
class LineReading {
public:
    const std::string& text() const { return text_; }

    // Whether a match at [begin, end) is this reading's to report: any match of the reading line
    // by line, otherwise only one that runs across a place where this reading joined two lines
    // (the rest are found by the line-by-line reading too).
    bool owns(std::size_t begin, std::size_t end) const;
    // The parts of lines that [begin, end) covers, in order.
    std::vector<LinePart> parts(std::size_t begin, std::size_t end) const;

    // Lines in order, each ended by a line break; every match counts.
    static LineReading lineByLine(const std::vector<std::string>& lines);
    // The ways a match may read on across line ends: a line end read as a space; and where a
    // line ends in a hyphen, the line joined to the next without the hyphen, and (for a
    // visible hyphen) with it. Lines are UTF-8 without line breaks.
    static std::vector<LineReading> joined(const std::vector<std::string>& lines);
    // Each column's glyphs as one word, one column per line and one place.
    static LineReading columns(const std::vector<std::string>& lines,
                               const std::vector<std::vector<std::size_t>>& columns);

private:
    void append(std::size_t line, std::string_view text, std::size_t place);
    void join() { joins_.push_back(text_.size()); }

    struct Span {
        std::size_t at = 0;  // where in text_
        std::size_t line = 0;
        std::size_t length = 0;
        std::size_t place = 0;
    };
    std::string text_;
    std::vector<Span> spans_;
    std::vector<std::size_t> joins_;  // offsets where a joined line's text begins
    bool everyMatch_ = false;
};

}  // namespace norvane
