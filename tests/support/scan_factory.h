#pragma once
// Image-only ("scanned") pages for the recognition tests: a page built with the PDF factory
// is rendered to pixels, its text drawn straight in (so any letter of the base-14 fonts
// will do), and stored as the page's only content.

#include "tests/support/pdf_factory.h"

#include <string>
#include <vector>

namespace norvane::testing {

struct ScanPage {
    PageSpec source;  // the page as the scanner sees it, upright; its rotate is ignored
    // /Rotate of the scanned page. The pixels are stored turned the other way, so the page
    // still displays upright, as scanners that record orientation write them.
    int rotate = 0;
    double dpi = 200;
    int turn = 0;                       // clockwise turn of the paper in the scanner, which /Rotate does not undo
    bool colour = false;                // RGB pixels rather than grey
    std::vector<TextRun> textLayer{};   // drawn as invisible text over the pixels (upright scans only)
    std::vector<PageRect> boxesOver{};  // black boxes drawn over the scan afterwards
    bool layerUnderPixels = false;      // the text layer drawn in ink, then the scan again over it
};

std::vector<unsigned char> buildScannedPdf(const std::vector<ScanPage>& pages);

// Where a rectangle of the upright source page lies in the scanned page's page space.
PageRect scannedRect(const ScanPage& page, const PageRect& sourceRect);

}  // namespace norvane::testing
