#pragma once
// Words set as a column of stacked glyphs, in a page image. The recogniser takes such a column
// for one line turned on its side, which it cannot read. Private to the engine.

#include "engine/ocr_service.h"

#include <stop_token>
#include <vector>

namespace norvane {

// For each line of `lines` read turned that is a column of separate glyphs: the glyphs cut
// apart, set side by side and read again, appended to `lines` as an upright line of its own
// block whose characters are placed on the glyphs they were read from. Throws as
// OcrService::recognize does.
void readGlyphColumns(const PageImage& image, double dpi, OcrService& ocr, std::vector<OcrLine>& lines,
                      std::stop_token stop);

}  // namespace norvane
