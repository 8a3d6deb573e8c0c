#pragma once
// A page's text layer, line by line, with each character's box in page space. Private to the
// engine; shared by the text search and verification.

#include "engine/mupdf_session.h"
#include "records/redaction_records.h"

#include <functional>
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

// A page's text layer as plain UTF-8, a line break after every line, with each character's
// bytes and box, so a match in the text can say where it stands on the page.
struct TextLayer {
    struct Char {
        std::size_t begin, end, line;
        PageRect box;
    };
    std::string text;
    std::vector<Char> chars;

    // One box per line that the bytes [begin, end) touch, the union of their characters there.
    std::vector<PageRect> lineBoxes(std::size_t begin, std::size_t end) const;
};

// Throws mu::MuPdfError as forEachTextLine does.
TextLayer readTextLayer(const mu::Session& session, int pageIndex);

}  // namespace norvane
