// The render service with a drawer the test holds and releases: which page is drawn next,
// what a newer wish, a stopped draw or closing leave behind, what the memory budget keeps.

#include "canvas/page_render_service.h"
#include "engine/page_preview.h"
#include "tests/support/pdf_factory.h"

#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <sstream>

namespace norvane {
namespace {

constexpr double kScale[] = {1.0, 0.25};  // canvas, thumbnails: 16 KB and 4 KB images
constexpr std::size_t kUnlimited = std::size_t{1} << 30;
constexpr std::size_t kThreePages = 3 * 64 * 64 * 4;

// Draws hold until released or stopped, then yield a whole image even if stopped; page 3 fails.
struct Drawer {
    std::mutex mutex;
    std::condition_variable changed;
    std::string started;
    int stopped = 0;
    std::atomic<bool> hold = true;

    QImage draw(std::int64_t page, double scale, const QRect& tile, PreviewAbort& abort) {
        std::unique_lock lock(mutex);
        started += (scale == kScale[0] ? " c" : " t") + std::to_string(page);
        if (!tile.isNull()) started += "#" + std::to_string(tile.x() / 16);
        changed.notify_all();
        while (hold && !abort.aborted())
            changed.wait_for(lock, std::chrono::milliseconds(1));
        stopped += abort.aborted();
        return page == 3 ? QImage() : QImage(static_cast<int>(64 * scale), 64, QImage::Format_RGB32);
    }
};

// "c1,2": the canvas wants pages 1, 2; "c1#2": the third tile of page 1; "t": thumbnails want
// none; "*0": page 0 painted; "x": closed
struct Want {
    char viewer;
    std::vector<std::pair<int, QRect>> pages;
};

std::vector<Want> script(const std::string& text) {
    std::vector<Want> wants;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        std::istringstream pages(word.substr(1));
        wants.push_back({word[0], {}});
        for (std::string page; std::getline(pages, page, ',');) {
            const auto hash = page.find('#');
            const QRect tile =
                hash == std::string::npos ? QRect() : QRect(16 * std::stoi(page.substr(hash + 1)), 0, 16, 16);
            wants.back().pages.push_back({std::stoi(page), tile});
        }
    }
    return wants;
}

struct RenderCase {
    friend void PrintTo(const RenderCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    const char* held;   // the first starts a draw that is held while the others arrive
    const char* after;  // then each drawn to the end before the next
    const char* drawn;
    const char* kept;
    int stopped;
    const char* failed;
    std::size_t budget = kUnlimited;
};

class RenderServiceTest : public ::testing::TestWithParam<RenderCase> {
protected:
    void apply(const Want& w) {
        const int v = w.viewer == 't';
        std::vector<PageRenderService::Wish> wishes;
        for (const auto& [page, tile] : w.pages) {
            if (w.viewer == '*') service->image(page, kScale[0]);
            wishes.push_back({page, kScale[v], tile});
        }
        if (w.viewer == 'x') service.reset();  // would hang if a held draw were not told to stop
        if (w.viewer == 'c' || w.viewer == 't') service->want(PageRenderService::Viewer(v), wishes);
    }
    void runToIdle() {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !(service && service->isBusy()); }, 9000));
    }
    std::string pages(bool kept) {
        std::string s;
        for (int v = 0; service && v < 2; ++v)
            for (int page = 0; page < 10; ++page)
                for (int tile = -1; tile < (kept ? 2 : 0); ++tile)
                    if (kept ? service->has(page, kScale[v], tile < 0 ? QRect() : QRect(16 * tile, 0, 16, 16))
                             : v == 0 && service->hasFailed(page))
                        s += (kept ? (v ? " t" : " c") : " ") + std::to_string(page) +
                             (tile < 0 ? "" : "#" + std::to_string(tile));
        return s;
    }

    std::shared_ptr<Drawer> drawer = std::make_shared<Drawer>();
    std::unique_ptr<PageRenderService> service;
};

TEST_P(RenderServiceTest, DrawsInOrderAndKeepsWhatFinishedUnstoppedWithinItsBudget) {
    const RenderCase& c = GetParam();
    service = std::make_unique<PageRenderService>(
        testing::documentOf(std::vector<testing::PageSpec>(10)), c.budget,
        [d = drawer](std::int64_t page, double scale, const QRect& tile, PreviewAbort& abort) {
        return d->draw(page, scale, tile, abort);
        });
    for (const Want& w : script(c.held)) {
        apply(w);
        std::unique_lock lock(drawer->mutex);
        ASSERT_TRUE(drawer->changed.wait_for(lock, std::chrono::seconds(10), [&] { return !drawer->started.empty(); }));
    }
    drawer->hold = false;
    runToIdle();
    for (const Want& w : script(c.after)) {
        apply(w);
        runToIdle();
    }
    EXPECT_EQ(drawer->started, c.drawn);
    EXPECT_EQ(drawer->stopped, c.stopped);
    EXPECT_EQ(pages(true), c.kept);
    EXPECT_EQ(pages(false), c.failed);
    EXPECT_LE(service ? service->cachedBytes() : 0, c.budget);
}

INSTANTIATE_TEST_SUITE_P(
    Wishes, RenderServiceTest,
    ::testing::Values(
        RenderCase{"canvas_before_thumbnails", "t0,1,2 c5,6", "", " t0 c5 c6 t1 t2", " c5 c6 t0 t1 t2", 0, ""},
        RenderCase{"newer_wish_replaces_older_stops_its_draw_unkept_unfailed", "c3 c1,2 c4", "", " c3 c4", " c4", 1,
                   ""},
        RenderCase{"a_draw_still_wanted_goes_on", "t0,1 t1,0", "", " t0 t1", " t0 t1", 0, ""},
        RenderCase{"wanted_only_at_another_resolution_is_stopped", "c1 t1 c", "", " c1 t1", " t1", 1, ""},
        RenderCase{"stopped_then_wanted_again_is_drawn_again", "c1 c2 c1", "", " c1 c1", " c1", 1, ""},
        RenderCase{"closing_stops_the_draw_and_drops_the_rest", "c1,2 x", "", " c1", "", 1, ""},
        RenderCase{"cached_resolution_is_not_drawn_again", "c1", "c1,2 t1", " c1 c2 t1", " c1 c2 t1", 0, ""},
        RenderCase{"failed_page_is_skipped_at_every_resolution", "c3", "t3,4", " c3 t4", " t4", 0, " 3"},
        RenderCase{"pages_outside_the_document_are_ignored", "c-1,12,2", "", " c2", " c2", 0, ""},
        RenderCase{"least_recently_painted_goes_first", "", "c0 c1 c2 *0 c4", " c0 c1 c2 c4", " c0 c2 c4", 0, "",
                   kThreePages},
        RenderCase{"wanted_stay_beyond_the_budget_until_unwanted", "", "c4,5,6,7,8 c8", " c4 c5 c6 c7 c8", " c6 c7 c8",
                   0, "", kThreePages},
        RenderCase{"thumbnails_protect_their_pages_too", "", "t0 c1,2,4 c5", " t0 c1 c2 c4 c5", " c4 c5 t0", 0, "",
                   kThreePages},
        RenderCase{"tiles_are_kept_apart_from_the_whole_page_and_each_other", "c1#1", "c1#0,1#1,1 c2#1",
                   " c1#1 c1#0 c1 c2#1", " c1 c1#0 c1#1 c2#1", 0, ""},
        RenderCase{"a_tile_no_longer_wanted_is_stopped", "c1#0 c1#1", "", " c1#0 c1#1", " c1#1", 1, ""}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace norvane
