#pragma once
// MuPDF plumbing shared by the test factories and the inspector.

#include "engine/mupdf_session.h"

#include <vector>

namespace norvane::testing {

std::vector<unsigned char> saveToBytes(fz_context* ctx, pdf_document* doc, const pdf_write_options& options);

// A document read from memory (the bytes must outlive it), dropped with the object.
class OpenedPdf {
public:
    OpenedPdf(fz_context* ctx, const std::vector<unsigned char>& bytes);
    ~OpenedPdf() { pdf_drop_document(ctx_, doc_); }
    OpenedPdf(const OpenedPdf&) = delete;
    OpenedPdf& operator=(const OpenedPdf&) = delete;
    pdf_document* get() const { return doc_; }

private:
    fz_context* ctx_;
    pdf_document* doc_ = nullptr;
};

}  // namespace norvane::testing
