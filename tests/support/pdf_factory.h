#pragma once
// Builds the PDFs the tests need, in code: known text at known positions, odd page boxes,
// rotation, encryption, and the broken files hostile input looks like.

#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace norvane {
// Lets failed expectations show the rectangles they compared.
void PrintTo(const PageRect& rect, std::ostream* os);
}  // namespace norvane

namespace norvane::testing {

struct TextRun {
    std::string text;  // UTF-8; must be representable in WinAnsi (in a scan: any letter MuPDF has a font for)
    double x = 72;     // baseline start, page space
    double y = 720;
    double size = 12;
    std::string font = "Helvetica";  // any base-14 name
    std::array<double, 3> colour{};  // RGB, 0 to 1
    int renderMode = 0;              // Tr: 3 draws nothing, as recognised text layers do
};

// An annotation made the way a viewer would make it (with an appearance where it has one).
struct AnnotationSpec {
    enum class Kind { note, freeText };  // note: a closed sticky note; freeText: text shown on the page
    Kind kind = Kind::freeText;
    PageRect rect{72, 600, 240, 40};
    std::string contents;
};

// A filled-in text form field (a widget on the page plus an AcroForm entry).
struct FieldSpec {
    std::string name = "field";
    PageRect rect{72, 500, 240, 24};
    std::string value;
};

// A raster image placed on the page: a photo-like colour picture (smooth shading plus grain,
// so it does not compress away) or a flat grey scan-like picture when `gray`.
struct ImageSpec {
    PageRect placement{0, 0, 612, 792};
    int width = 256;  // pixels
    int height = 256;
    bool gray = false;
    unsigned seed = 1;
    std::vector<unsigned char> samples{};  // rows top to bottom; empty: the generated picture
};

struct PageSpec {
    PageRect mediaBox{0, 0, 612, 792};
    std::optional<PageRect> cropBox{};
    int rotate = 0;
    std::vector<TextRun> texts{};
    std::vector<PageRect> filledBlackRects{};  // drawn after the text, in the content stream
    std::string extraContent{};                // raw operators appended to the content stream
    std::string extraResources{};              // raw /Resources entries for them, e.g. an /ExtGState
    std::vector<ImageSpec> images{};           // drawn first, under the text
    std::vector<AnnotationSpec> annotations{};
    std::vector<FieldSpec> fields{};
    std::vector<std::string> rawAnnotations{};  // annotation dictionaries as written, e.g. a /Redact
};

struct DocumentPlan {
    std::vector<PageSpec> pages{};
    std::optional<std::string> ownerPassword{};
    std::optional<std::string> userPassword{};
    std::map<std::string, std::string> info{};                       // Info dictionary entries, e.g. {"Title", "…"}
    std::optional<std::string> xmpMetadata{};                        // catalog /Metadata stream, stored uncompressed
    std::vector<std::pair<std::string, std::string>> attachments{};  // (name, contents): /EmbeddedFiles
    std::vector<std::string> outlineTitles{};                        // one bookmark per title, each to page 1
    std::string extraCatalog{};                                      // raw catalog entries, e.g. an /OpenAction
};

std::vector<unsigned char> buildPdf(const DocumentPlan& plan);

// The opened document of buildPdf() over these pages.
SharedPdfDocument documentOf(const std::vector<PageSpec>& pages);

// Appends an incremental update to `bytes` that replaces the content stream of page
// `pageIndex` with `content` (raw operators; the page's font names stay available). The old
// content stays in the file as an earlier revision.
std::vector<unsigned char> withRevision(const std::vector<unsigned char>& bytes, int pageIndex,
                                        const std::string& content);

// A classic PDF from object bodies numbered from 1; object 1 is the catalog.
std::vector<unsigned char> rawPdf(const std::vector<std::string>& objects, const std::string& trailerExtra = "");

// One Letter page of 12 pt Helvetica lines, 20 points apart down from (72, 720), whose font
// reads the bytes 0x80 to 0x83 as U+200B, U+00AD, U+FEFF and U+2060, drawn blank.
std::vector<unsigned char> pdfWithInvisibles(const std::vector<std::string>& lines);

// Convenience: one Letter page per entry, each with one line of 12 pt Helvetica at (72, 720).
DocumentPlan textPages(const std::vector<std::string>& lines);

// Width of a run of text in points, as MuPDF measures the base-14 font.
double textWidth(const std::string& text, double size, const std::string& font = "Helvetica");

// The area the glyphs of bytes [begin, end) of a run may ink, in the run's page space:
// from the descender to the ascender, across their advance widths.
PageRect glyphBox(const TextRun& run, std::size_t begin, std::size_t end);
PageRect glyphBox(const TextRun& run, const std::string& word);

bool contains(const PageRect& outer, const PageRect& inner);

RedactionRegion region(std::int64_t pageIndex, PageRect rect);

// (page number, page count) as the engine reports them, and a receiver that keeps them.
using Progress = std::vector<std::pair<std::int64_t, std::int64_t>>;
std::function<void(std::int64_t, std::int64_t)> recordInto(Progress& progress);

std::vector<unsigned char> bytesOf(const std::string& text);
void writeFile(const std::filesystem::path& path, const std::vector<unsigned char>& bytes);
std::vector<unsigned char> readFile(const std::filesystem::path& path);

// A fresh directory removed with the object.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path file(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

}  // namespace norvane::testing
