#include "engine/mupdf_session.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>

namespace norvane::mu {
namespace {

// A ceiling on what hostile files can make MuPDF allocate: past it MuPDF gets NULL and
// raises its own error, which reaches the user as a clear message instead of an OOM kill.
constexpr std::size_t kAllocationCeiling = std::size_t{8} << 30;

std::atomic<std::size_t> gAllocated{0};

// MuPDF's cache of decoded images and fonts, shared by every thread. Its default (256 MB)
// mostly holds images of pages read once (OCR, verification, export), so it is kept small.
constexpr std::size_t kStoreBytes = std::size_t{64} << 20;

// Each block carries its size in front, aligned for any type.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* boundedMalloc(void*, size_t size) {
    if (size > kAllocationCeiling || gAllocated.load(std::memory_order_relaxed) + size > kAllocationCeiling) {
        return nullptr;
    }
    auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
    if (!block) {
        return nullptr;
    }
    std::memcpy(block, &size, sizeof size);
    gAllocated.fetch_add(size, std::memory_order_relaxed);
    return block + kHeader;
}

void boundedFree(void*, void* ptr) {
    if (!ptr) {
        return;
    }
    auto* block = static_cast<unsigned char*>(ptr) - kHeader;
    size_t size;
    std::memcpy(&size, block, sizeof size);
    gAllocated.fetch_sub(size, std::memory_order_relaxed);
    std::free(block);
}

void* boundedRealloc(void* user, void* old, size_t size) {
    if (!old) {
        return boundedMalloc(user, size);
    }
    if (size == 0) {
        boundedFree(user, old);
        return nullptr;
    }
    auto* block = static_cast<unsigned char*>(old) - kHeader;
    size_t oldSize;
    std::memcpy(&oldSize, block, sizeof oldSize);
    if (size > oldSize && gAllocated.load(std::memory_order_relaxed) + (size - oldSize) > kAllocationCeiling) {
        return nullptr;
    }
    auto* grown = static_cast<unsigned char*>(std::realloc(block, size + kHeader));
    if (!grown) {
        return nullptr;
    }
    std::memcpy(grown, &size, sizeof size);
    if (size > oldSize) {
        gAllocated.fetch_add(size - oldSize, std::memory_order_relaxed);
    } else {
        gAllocated.fetch_sub(oldSize - size, std::memory_order_relaxed);
    }
    return grown + kHeader;
}

std::mutex gLocks[FZ_LOCK_MAX];

void lockMutex(void*, int lock) {
    gLocks[lock].lock();
}
void unlockMutex(void*, int lock) {
    gLocks[lock].unlock();
}

// MuPDF's messages can quote document content; we never print them.
void silence(void*, const char*) {}

fz_context* baseContext() {
    static fz_context* base = [] {
        static fz_alloc_context alloc{nullptr, boundedMalloc, boundedRealloc, boundedFree};
        static fz_locks_context locks{nullptr, lockMutex, unlockMutex};
        fz_context* ctx = fz_new_context(&alloc, &locks, kStoreBytes);
        if (!ctx) {
            return ctx;
        }
        fz_set_error_callback(ctx, silence, nullptr);
        fz_set_warning_callback(ctx, silence, nullptr);
        fz_try(ctx) {
            fz_register_document_handlers(ctx);
        }
        fz_catch(ctx) {
            fz_drop_context(ctx);
            ctx = nullptr;
        }
        return ctx;
    }();
    return base;
}

}  // namespace

void throwCaught(fz_context* ctx) {
    const char* message = fz_caught_message(ctx);
    if (fz_caught(ctx) == FZ_ERROR_MEMORY) {
        throw MuPdfOutOfMemory(message ? message : "out of memory");
    }
    throw MuPdfError(message ? message : "MuPDF error");
}

PageFailure pageFailureOf(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const MuPdfOutOfMemory&) {
        return PageFailure::outOfMemory;
    } catch (const std::bad_alloc&) {
        return PageFailure::outOfMemory;
    } catch (const std::length_error&) {
        return PageFailure::outOfMemory;
    } catch (const MuPdfError&) {
        return PageFailure::unparsable;
    } catch (const CancellationError&) {
        throw;
    } catch (...) {
        return PageFailure::unrenderable;
    }
}

std::size_t allocatedBytes() {
    return gAllocated.load(std::memory_order_relaxed);
}

Context::Context() {
    fz_context* base = baseContext();
    if (!base) {
        throw MuPdfError("cannot create MuPDF context");
    }
    ctx_ = fz_clone_context(base);
    if (!ctx_) {
        throw MuPdfOutOfMemory("cannot clone MuPDF context");
    }
    fz_set_error_callback(ctx_, silence, nullptr);
    fz_set_warning_callback(ctx_, silence, nullptr);
}

Context::~Context() {
    fz_drop_context(ctx_);
}

Session::Session(SharedPdfDocument document) : document_(std::move(document)) {
    fz_context* ctx = context_.get();
    const auto& bytes = document_->bytes();
    pdf_document* pdf = nullptr;
    fz_stream* stream = nullptr;
    fz_var(pdf);
    fz_var(stream);
    fz_try(ctx) {
        stream = fz_open_memory(ctx, bytes.data(), bytes.size());
        pdf = pdf_open_document_with_stream(ctx, stream);
    }
    fz_always(ctx) {
        fz_drop_stream(ctx, stream);
    }
    fz_catch(ctx) {
        throwCaught(ctx);
    }
    pdf_ = pdf;
}

Session::~Session() {
    if (pdf_) {
        pdf_drop_document(ctx(), pdf_);
    }
}

}  // namespace norvane::mu
