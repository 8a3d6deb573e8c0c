#include "engine/page_loop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

namespace norvane {
namespace {

struct PageFailure : std::runtime_error {
    std::int64_t page;
    explicit PageFailure(std::int64_t p) : std::runtime_error("page failed"), page(p) {}
};

struct Walk {
    const char* name = "";
    std::int64_t pages = 0;
    int workers = 1;
    std::int64_t window = 0;  // as many as workers
    std::set<std::int64_t> failing = {};
    std::int64_t slowPage = -1;     // finishes last among its neighbours; with a window, only once
                                    // the others have read every page the window lets them
    std::int64_t cancelAfter = -1;  // the caller stops once this page was used
    std::int64_t expectedFailure = -1;
};

class ParallelPages : public ::testing::TestWithParam<Walk> {};

// Whatever order the workers finish in, the caller sees pages, progress and failures exactly
// as a walk page by page would show them.
TEST_P(ParallelPages, BehaveLikeTheSequentialWalk) {
    const Walk& walk = GetParam();
    struct State {
        std::thread::id owner = std::this_thread::get_id();
    };
    std::atomic<int> reading{0};
    std::atomic<int> mostReading{0};
    std::atomic<int> reads{0};
    std::atomic<std::int64_t> othersRead{0};
    std::atomic<bool> crossedThreads{false};
    std::stop_source stop;
    std::vector<std::int64_t> used;
    std::vector<std::int64_t> reported;

    const auto run = [&] {
        forEachPageInParallel<State>(
            walk.pages, walk.workers, walk.window, [&](std::int64_t page, std::int64_t) { reported.push_back(page); },
            stop.get_token(),
            [&](State& state, std::int64_t page, std::stop_token) -> std::int64_t {
                crossedThreads = crossedThreads || state.owner != std::this_thread::get_id();
                const int now = ++reading;
                for (int most = mostReading; now > most && !mostReading.compare_exchange_weak(most, now);) {
                }
                ++reads;
                if (page == walk.slowPage && walk.window > 0) {
                    const auto ahead = page + std::min<std::int64_t>(walk.window - 1, walk.pages - page - 1);
                    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
                    while (othersRead < ahead && std::chrono::steady_clock::now() < deadline) {
                        std::this_thread::sleep_for(std::chrono::milliseconds(1));
                    }
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                    EXPECT_EQ(othersRead, ahead) << "pages read before and past the slow one";
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(page == walk.slowPage ? 40 : (page * 7) % 5));
                if (page != walk.slowPage) {
                    ++othersRead;
                }
                --reading;
                if (walk.failing.contains(page)) {
                    throw PageFailure(page);
                }
                return page * 10;
            },
            [&](std::int64_t page, std::int64_t value) {
            EXPECT_EQ(value, page * 10);
            used.push_back(page);
            if (page == walk.cancelAfter) {
                stop.request_stop();
            }
            });
    };

    std::int64_t last = walk.pages - 1;
    if (walk.expectedFailure >= 0) {
        try {
            run();
            ADD_FAILURE() << "no failure surfaced";
        } catch (const PageFailure& failure) {
            EXPECT_EQ(failure.page, walk.expectedFailure);
        }
        last = walk.expectedFailure - 1;
    } else if (walk.cancelAfter >= 0) {
        EXPECT_THROW(run(), CancellationError);
        last = walk.cancelAfter;
        // Workers run ahead a little, never through the rest of a long document.
        EXPECT_LE(reads, walk.cancelAfter + 1 + std::max<std::int64_t>(walk.window, walk.workers) + walk.workers);
    } else {
        run();
    }
    std::vector<std::int64_t> expected;
    for (std::int64_t page = 0; page <= last; ++page) {
        expected.push_back(page);
    }
    EXPECT_EQ(used, expected);
    for (auto& page : expected) {
        ++page;
    }
    EXPECT_EQ(reported, expected);
    EXPECT_LE(mostReading, walk.workers);
    EXPECT_FALSE(crossedThreads);
}

INSTANTIATE_TEST_SUITE_P(
    Walks, ParallelPages,
    ::testing::Values(
        Walk{.name = "Empty", .pages = 0, .workers = 3}, Walk{.name = "OneWorker", .pages = 9, .workers = 1},
        Walk{.name = "MoreWorkersThanPages", .pages = 2, .workers = 4},
        Walk{.name = "SlowFirstPage", .pages = 12, .workers = 3, .slowPage = 0},
        Walk{.name = "OthersReadOnPastASlowPage", .pages = 30, .workers = 2, .window = 9, .slowPage = 4},
        Walk{.name = "WindowPastTheEnd", .pages = 6, .workers = 2, .window = 9, .slowPage = 1},
        // Page 5 fails first; page 2, slower, is still the failure the caller sees.
        Walk{.name = "EarliestFailureWins",
             .pages = 10,
             .workers = 3,
             .failing = {2, 5},
             .slowPage = 2,
             .expectedFailure = 2},
        Walk{.name = "FailureOnLastPage", .pages = 6, .workers = 2, .failing = {5}, .expectedFailure = 5},
        Walk{.name = "CancelledEarlyInALongDocument", .pages = 200, .workers = 4, .cancelAfter = 3},
        Walk{.name = "CancelledEarlyWithAWindow", .pages = 200, .workers = 2, .window = 9, .cancelAfter = 3},
        Walk{.name = "CancelledNextToTheEnd", .pages = 5, .workers = 2, .cancelAfter = 3}),
    [](const ::testing::TestParamInfo<Walk>& walk) { return std::string(walk.param.name); });

}  // namespace
}  // namespace norvane
