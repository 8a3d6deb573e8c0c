#pragma once
// A page's text layer, line by line, with each character's box in page space. Private to the
// engine; shared by the text search, the pattern search and verification.

#include "engine/line_joins.h"
#include "engine/mupdf_session.h"
#include "engine/search_keys.h"
#include "records/redaction_records.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace norvane {

struct TextLayerChar {
    char32_t c = 0;
    PageRect box;
};

// Calls `line` once per text line in reading order. Throws mu::MuPdfError when the page cannot
// be loaded or its text cannot be extracted.
void forEachTextLine(const mu::Session& session, int pageIndex,
                     const std::function<void(const std::vector<TextLayerChar>&)>& line);

// The character of a line that is a single glyph (white space and invisible characters aside).
std::optional<std::size_t> singleGlyph(const std::vector<TextLayerChar>& line);

// The columns of stacked single glyphs among one page's lines (see stackedColumns), judged as
// the page is shown with its /Rotate `rotation`.
std::vector<std::vector<std::size_t>> stackedColumns(const std::vector<std::vector<TextLayerChar>>& lines,
                                                     int rotation);

// A page's text layer as the searches read it: each line's visible text (invisible characters
// left out, white space as single spaces) with its characters' boxes, read line by line, on
// across line ends, and down columns of stacked glyphs.
class TextLayer {
public:
    using Find = std::function<std::vector<ByteRange>(const std::string&)>;
    using Found = std::function<void(const std::string& text, const std::vector<PageRect>& covers)>;

    // Each match `find` reports in any reading of the page, with the text it matched and what
    // covers it (safety margins included): one box per line, one per column; a box is empty
    // where the characters had none.
    void forEachMatch(const Find& find, const Found& found) const;

private:
    friend TextLayer readTextLayer(const mu::Session& session, int pageIndex);

    struct Line {
        std::string text;
        std::vector<std::pair<std::size_t, PageRect>> boxes;  // each character's first byte and box
    };
    PageRect boxOf(const LinePart& part) const;

    std::vector<Line> lines_;
    std::vector<LineReading> readings_;  // line by line first
};

// Throws mu::MuPdfError as forEachTextLine does.
TextLayer readTextLayer(const mu::Session& session, int pageIndex);

}  // namespace norvane
