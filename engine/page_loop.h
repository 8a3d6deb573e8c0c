#pragma once
// The walk over a document's pages behind OCR search, verification and export: stop when
// asked, do the page's work (render, then read or draw), report the page as done.

#include "engine/redaction_engine.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <type_traits>
#include <variant>
#include <vector>

namespace norvane {

// Workers for page-parallel reading: one per core, at most 4 (each holds a recogniser and a
// page image), never more than there are pages.
inline int pageWorkerCount(std::int64_t pageCount) {
    const auto cores = static_cast<std::int64_t>(std::max(1u, std::thread::hardware_concurrency()));
    return static_cast<int>(
        std::clamp<std::int64_t>(std::min<std::int64_t>(cores, 4), 1, std::max<std::int64_t>(pageCount, 1)));
}

// How many pages workers may run ahead of the one the caller waits for, when a finished page
// is just its recognised lines: enough for the others to read on past a slow page.
inline std::int64_t readingWindow(int workers) {
    return std::int64_t{workers} + 8;
}

// The pages on `workers` threads. Each worker keeps its own `State` (MuPDF session,
// recogniser: made on first use, on the worker's thread, since neither may cross threads) and
// calls `read(state, pageIndex, stop)`, which returns the page's result or throws; there is no
// skipping a page, so a page that could not be read is a result or a failure, never silence.
// The calling thread hands results to `use(pageIndex, result)` and reports progress strictly
// in page order. A failure surfaces as the first failing page in page order
// would have surfaced sequentially; cancellation reaches pages being read through the token.
// A worker starts a page only while it lies fewer than `window` pages past the one the caller
// waits for.
template <typename State, typename Read, typename Use>
void forEachPageInParallel(std::int64_t pageCount, int workers, std::int64_t window, const PageProgress& progress,
                           const std::stop_token& stop, Read&& read, Use&& use) {
    using Result = std::invoke_result_t<Read&, State&, std::int64_t, std::stop_token>;
    using Outcome = std::variant<std::monostate, Result, std::exception_ptr>;  // not yet read, read, failed

    // Finished pages wait here for the calling thread. With a window of `workers`, at most
    // workers + 1 results are alive, the one the caller holds included, however slow a page is.
    const std::int64_t lookahead = std::max<std::int64_t>({window, workers, 1});
    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::int64_t, Outcome> finished;
    std::int64_t nextToRead = 0;
    std::int64_t nextToUse = 0;
    std::int64_t end = pageCount;  // lowered to the first failing page: nothing past it matters
    std::stop_source quit;
    const std::stop_callback forward(stop, [&] {
        {
            const std::lock_guard lock(mutex);
            quit.request_stop();
        }
        changed.notify_all();
    });

    const auto work = [&] {
        std::optional<State> state;
        for (;;) {
            std::int64_t pageIndex = 0;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] {
                    return quit.stop_requested() || nextToRead >= end || nextToRead < nextToUse + lookahead;
                });
                if (quit.stop_requested() || nextToRead >= end) {
                    return;
                }
                pageIndex = nextToRead++;
            }
            Outcome outcome;
            try {
                if (!state) {
                    state.emplace();
                }
                outcome.template emplace<Result>(read(*state, pageIndex, quit.get_token()));
            } catch (...) {
                outcome = std::current_exception();
            }
            {
                const std::lock_guard lock(mutex);
                if (std::holds_alternative<std::exception_ptr>(outcome)) {
                    end = std::min(end, pageIndex + 1);
                }
                finished.emplace(pageIndex, std::move(outcome));
            }
            changed.notify_all();
        }
    };

    std::vector<std::jthread> threads;
    // Declared after the threads so it runs first on every way out: wake them and let them end.
    struct Release {
        std::stop_source& quit;
        std::condition_variable& changed;
        std::mutex& mutex;
        ~Release() {
            {
                const std::lock_guard lock(mutex);
                quit.request_stop();
            }
            changed.notify_all();
        }
    } release{quit, changed, mutex};
    for (int i = 0; i < std::max(workers, 1); ++i) {
        threads.emplace_back(work);
    }

    for (std::int64_t pageIndex = 0; pageIndex < pageCount; ++pageIndex) {
        Outcome outcome;
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return stop.stop_requested() || finished.contains(pageIndex); });
            if (stop.stop_requested()) {
                throw CancellationError();
            }
            auto found = finished.find(pageIndex);
            outcome = std::move(found->second);
            finished.erase(found);
            nextToUse = pageIndex + 1;
        }
        changed.notify_all();
        if (auto* failure = std::get_if<std::exception_ptr>(&outcome)) {
            std::rethrow_exception(*failure);
        }
        use(pageIndex, std::move(std::get<Result>(outcome)));
        if (progress) {
            progress(pageIndex + 1, pageCount);
        }
    }
}

}  // namespace norvane
