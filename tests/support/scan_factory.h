#pragma once
// Image-only ("scanned") pages for the recognition tests: a text page built with the PDF
// factory is rendered to grey pixels and stored as the page's only content.

#include "tests/support/pdf_factory.h"

#include <cstddef>
#include <string>
#include <vector>

namespace norvane::testing {

struct ScanPage {
    PageSpec source;  // the page as the scanner sees it, upright; its rotate is ignored
    // /Rotate of the scanned page. The pixels are stored turned the other way, so the page
    // still displays upright, as scanners that record orientation write them.
    int rotate = 0;
    double dpi = 200;
};

std::vector<unsigned char> buildScannedPdf(const std::vector<ScanPage>& pages);

// One upright Letter scan per entry, each with the given lines of 12 pt Helvetica.
std::vector<ScanPage> scannedLines(const std::vector<std::vector<std::string>>& pages);

// Where a rectangle of the upright source page lies in the scanned page's page space.
PageRect scannedRect(const ScanPage& page, const PageRect& sourceRect);

// The area the glyphs of bytes [begin, end) of a run may ink, in the run's page space:
// from the descender to the ascender, across their advance widths.
PageRect glyphBox(const TextRun& run, std::size_t begin, std::size_t end);
PageRect glyphBox(const TextRun& run, const std::string& word);

bool contains(const PageRect& outer, const PageRect& inner);

}  // namespace norvane::testing
