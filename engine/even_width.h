#pragma once
// Boxes that do not give away the length of what they hide: a short name and a long one on
// the same line export as boxes of the same width, in steps of three times the line height.

#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <vector>

namespace norvane {

// Every region made from a search hit, widened to the next multiple of three times its height,
// centred on the match and kept inside its page; first, boxes on one text line all take the
// height of the tallest. Drawn regions stay as drawn. Widths run along the page as displayed:
// on a quarter-turned page a line runs along page y.
std::vector<RedactionRegion> evenWidthRegions(const PdfDocument& document, std::vector<RedactionRegion> regions);

}  // namespace norvane
