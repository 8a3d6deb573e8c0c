#pragma once
// Looks inside a written PDF the way a suspicious reader would: every object, every stream
// decoded, the page images decoded to pixels, the text a reader could extract.

#include "records/redaction_records.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace norvane::testing {

struct InspectedPage {
    PageRect mediaBox;
    int rotate = 0;
    std::vector<std::string> resourceKeys;  // top-level keys of the page's /Resources
    int imageCount = 0;                     // image XObjects in the resources
    // The first image XObject, decoded.
    int width = 0;
    int height = 0;
    int components = 0;
    std::vector<std::uint8_t> pixels;  // rows top to bottom, no padding
};

struct InspectedPdf {
    std::vector<InspectedPage> pages;
    std::map<std::string, std::string> info;  // Info entries (text values as UTF-8)
    std::vector<std::string> catalogKeys;
    std::vector<std::string> trailerKeys;
    std::vector<std::string> pageKeys;  // union of the keys of all page dictionaries
    int versions = 0;                   // revisions MuPDF sees in the file
    int textCharacters = 0;             // characters a reader can extract from all pages
    std::string text;                   // that text, page after page
    std::string everything;             // every object printed plus every stream decoded
};

// Pixels of a page image (stored unrotated, covering `sourceMediaBox`) lying wholly inside
// `box` (source page space) that are not pure black.
int nonBlackPixelsUnder(const InspectedPage& page, const PageRect& sourceMediaBox, const PageRect& box);

// Pixels of a page image that are pure black.
int blackPixels(const InspectedPage& page);

InspectedPdf inspectPdf(const std::vector<unsigned char>& bytes);

// What poppler's pdftotext extracts from the file, as a reader's copy and search would see it.
std::string pdftotext(const std::filesystem::path& pdf);

// True if `haystack` holds `needle` as bytes, as UTF-16BE or as UTF-16LE (how text strings
// and XMP may carry it).
bool holdsText(const std::string& haystack, const std::string& needle);
bool holdsText(const std::vector<unsigned char>& haystack, const std::string& needle);

}  // namespace norvane::testing
