#pragma once
// MuPDF plumbing shared by the test factories and the inspector.

#include "engine/mupdf_session.h"

#include <vector>

namespace norvane::testing {

// Drops what MuPDF handed out however the block is left, so muCall bodies own nothing.
template <class T, auto drop>
struct Held {
    explicit Held(fz_context* context) : ctx(context) {}
    ~Held() { drop(ctx, ptr); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

    fz_context* ctx;
    T* ptr = nullptr;
};

// A document read from `bytes`, which must outlive it.
struct OpenedPdf : Held<pdf_document, pdf_drop_document> {
    OpenedPdf(fz_context* context, const std::vector<unsigned char>& bytes) : Held(context) {
        Held<fz_stream, fz_drop_stream> in(ctx);
        mu::muCall(ctx, [&] {
            in.ptr = fz_open_memory(ctx, bytes.data(), bytes.size());
            ptr = pdf_open_document_with_stream(ctx, in.ptr);
        });
    }
};

}  // namespace norvane::testing
