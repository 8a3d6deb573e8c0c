#pragma once
// A page's text layer, line by line, with each character's box in page space. Private to the
// engine; shared by the text search and verification.

#include "engine/mupdf_session.h"
#include "records/redaction_records.h"

#include <functional>
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

}  // namespace norvane
