#pragma once
// The one walk over a document's pages behind OCR search, verification and export: stop when
// asked, do the page's work (render, then read or draw), report the page as done.

#include "engine/redaction_engine.h"

#include <cstdint>
#include <stop_token>

namespace norvane {

// Throws CancellationError when `stop` is requested before a page. `work` returns whether it
// read the page; a page it skipped is not reported as done.
template <typename Work>
void forEachPage(std::int64_t pageCount, const PageProgress& progress, const std::stop_token& stop, Work&& work) {
    for (std::int64_t pageIndex = 0; pageIndex < pageCount; ++pageIndex) {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        if (work(pageIndex) && progress) {
            progress(pageIndex + 1, pageCount);
        }
    }
}

}  // namespace norvane
