#pragma once
// Builds the PDFs the tests need, in code: known text at known positions, odd page boxes,
// rotation, encryption, and the broken files hostile input looks like.

#include "model/redaction_records.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace norvane::testing {

struct TextRun {
    std::string text;  // UTF-8; must be representable in WinAnsi
    double x = 72;     // baseline start, page space
    double y = 720;
    double size = 12;
    std::string font = "Helvetica";  // any base-14 name
};

struct PageSpec {
    PageRect mediaBox{0, 0, 612, 792};
    std::optional<PageRect> cropBox;
    int rotate = 0;
    std::vector<TextRun> texts;
    std::vector<PageRect> filledBlackRects;  // drawn after the text, in the content stream
    std::string extraContent;                 // raw operators appended to the content stream
};

struct DocumentSpec {
    std::vector<PageSpec> pages;
    std::optional<std::string> ownerPassword;
    std::optional<std::string> userPassword;
    std::map<std::string, std::string> info;  // Info dictionary entries, e.g. {"Title", "…"}
};

std::vector<unsigned char> buildPdf(const DocumentSpec& spec);

// Convenience: one Letter page per entry, each with one line of 12 pt Helvetica at (72, 720).
DocumentSpec textPages(const std::vector<std::string>& lines);

// Width of a run of text in points, as MuPDF measures the base-14 font.
double textWidth(const std::string& text, double size, const std::string& font = "Helvetica");

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
