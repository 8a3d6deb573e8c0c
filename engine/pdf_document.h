#pragma once
// A PDF opened for redaction: the file's bytes plus the facts every layer needs.
// Immutable and safe to share between threads; MuPDF work happens in sessions
// (engine/mupdf_session.h) that each thread opens over it.

#include "records/redaction_records.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace norvane {

struct PdfPageInfo {
    PageRect mediaBox;  // standardised, absolute page-space coordinates
    int rotation = 0;   // /Rotate snapped to 0, 90, 180 or 270
};

class PdfDocument {
public:
    // Reads the file once. Throws RedactionError::cannotOpenPDF for anything that is not a
    // PDF whose page tree can be read. Encrypted and page-less files open (so callers can
    // say why they refuse them); see openForRedaction.
    static std::shared_ptr<const PdfDocument> open(const std::filesystem::path& path);
    static std::shared_ptr<const PdfDocument> fromBytes(std::vector<unsigned char> bytes);

    // open() plus the refusals of the workspace: encrypted, then no pages.
    static std::shared_ptr<const PdfDocument> openForRedaction(const std::filesystem::path& path);

    const std::vector<unsigned char>& bytes() const { return bytes_; }
    std::int64_t pageCount() const { return static_cast<std::int64_t>(pages_.size()); }
    // True when the file has an encryption dictionary, even if no password is needed.
    bool isEncrypted() const { return encrypted_; }
    const PdfPageInfo& page(std::int64_t index) const { return pages_.at(static_cast<std::size_t>(index)); }
    const std::vector<PdfPageInfo>& pages() const { return pages_; }

    PdfDocument(const PdfDocument&) = delete;
    PdfDocument& operator=(const PdfDocument&) = delete;

private:
    PdfDocument() = default;

    std::vector<unsigned char> bytes_;
    std::vector<PdfPageInfo> pages_;
    bool encrypted_ = false;
};

using SharedPdfDocument = std::shared_ptr<const PdfDocument>;

}  // namespace norvane
