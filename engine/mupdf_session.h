#pragma once
// MuPDF plumbing, private to the engine.
//
// One process-wide base context owns the lock set; each thread works on a clone and its
// own fz_document, so nothing MuPDF ever crosses threads. Every MuPDF call goes through
// muCall(), which turns a MuPDF error into a C++ exception. The callable must not own
// C++ objects with destructors: MuPDF unwinds with longjmp.

#include "engine/pdf_document.h"

#include <mupdf/fitz.h>
#include <mupdf/pdf.h>

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>

namespace norvane::mu {

class MuPdfError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Thrown instead of MuPdfError when MuPDF failed to allocate memory.
class MuPdfOutOfMemory : public MuPdfError {
public:
    using MuPdfError::MuPdfError;
};

[[noreturn]] void throwCaught(fz_context* ctx);

// What a failure while reading or drawing a page means for that page: memory (MuPDF's or
// ours), MuPDF refusing the page's objects, or anything else. Cancellation is not a page
// failure: it is rethrown.
PageFailure pageFailureOf(const std::exception_ptr& failure);

// A C++ exception must never leave an fz_try block: it would skip fz_catch and leave a
// slot of MuPDF's error stack taken for good (256 of them per context). So the body's own
// exceptions are parked and rethrown only once MuPDF's block has closed, and nested
// muCalls are harmless.
template <class F>
void muCall(fz_context* ctx, F&& body) {
    std::exception_ptr escaped;
    bool failed = false;
    fz_try(ctx) {
        try {
            body();
        } catch (...) {
            escaped = std::current_exception();
        }
    }
    fz_catch(ctx) {
        failed = true;
    }
    if (escaped) {
        std::rethrow_exception(escaped);
    }
    if (failed) {
        throwCaught(ctx);
    }
}

// One MuPDF call's result, for callers that keep C++ objects alive around it.
template <class F>
auto muValue(fz_context* ctx, F&& body) -> decltype(body()) {
    decltype(body()) value{};
    muCall(ctx, [&] { value = body(); });
    return value;
}

// A context clone for the calling thread; dropped with the object.
class Context {
public:
    Context();
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    fz_context* get() const { return ctx_; }

private:
    fz_context* ctx_ = nullptr;
};

// An fz_document over a shared PdfDocument's bytes, confined to the thread that made it.
class Session {
public:
    explicit Session(SharedPdfDocument document);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    fz_context* ctx() const { return context_.get(); }
    pdf_document* pdf() const { return pdf_; }
    fz_document* doc() const { return &pdf_->super; }
    const SharedPdfDocument& document() const { return document_; }

private:
    Context context_;
    SharedPdfDocument document_;
    pdf_document* pdf_ = nullptr;
};

// What extracting one page's text holds, released on every way out (dropping never throws).
struct PageTextResources {
    fz_context* ctx;
    fz_page* page = nullptr;
    fz_stext_page* text = nullptr;
    fz_device* device = nullptr;
    fz_buffer* buffer = nullptr;

    explicit PageTextResources(fz_context* context) : ctx(context) {}
    ~PageTextResources() {
        fz_drop_buffer(ctx, buffer);
        fz_drop_device(ctx, device);
        fz_drop_stext_page(ctx, text);
        fz_drop_page(ctx, page);
    }
    PageTextResources(const PageTextResources&) = delete;
    PageTextResources& operator=(const PageTextResources&) = delete;
};

// Bytes MuPDF currently holds through its allocator, across all contexts.
std::size_t allocatedBytes();

}  // namespace norvane::mu
