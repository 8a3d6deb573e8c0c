// The render service shared by the views of one document, with a drawer the test holds and
// releases: which page is drawn next, what a newer wish or a stopped draw leaves behind, and
// what the memory budget keeps.

#include "canvas/page_render_service.h"
#include "engine/page_preview.h"
#include "tests/support/pdf_factory.h"

#include <QTest>

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <set>

namespace norvane {
namespace {

using Viewer = PageRenderService::Viewer;
constexpr double kScale[] = {1.0, 0.25};  // canvas, thumbnails: 16 KB and 4 KB images
constexpr std::size_t kCanvasImage = 64 * 64 * 4;

struct Want {
    char viewer;  // 'c' canvas, 't' thumbnails, '*' the canvas paints these pages (recently used)
    std::vector<int> pages;
};

// Draws hold until released or aborted, and then yield a whole image even when aborted.
struct Drawer {
    std::mutex mutex;
    std::condition_variable changed;
    std::string started;
    int aborted = 0;
    bool hold = true;
    std::set<std::int64_t> broken;

    QImage draw(std::int64_t page, double scale, PreviewAbort& abort) {
        std::unique_lock lock(mutex);
        started += (scale == kScale[0] ? " c" : " t") + std::to_string(page);
        changed.notify_all();
        while (hold && !abort.aborted())
            changed.wait_for(lock, std::chrono::milliseconds(1));
        aborted += abort.aborted();
        return broken.contains(page) ? QImage() : QImage(static_cast<int>(64 * scale), 64, QImage::Format_RGB32);
    }
};

struct Harness {
    explicit Harness(std::size_t budget = std::size_t{1} << 30, std::set<std::int64_t> broken = {}) {
        drawer->broken = std::move(broken);
        service = std::make_unique<PageRenderService>(
            testing::documentOf(std::vector<testing::PageSpec>(10)), budget,
            [d = drawer](std::int64_t page, double scale, PreviewAbort& abort) { return d->draw(page, scale, abort); });
    }
    void apply(const Want& w) {
        const int v = w.viewer == 't';
        std::vector<PageRenderService::Wish> wishes;
        for (int page : w.pages) {
            if (w.viewer == '*') service->image(page, kScale[0]);
            wishes.push_back({page, kScale[v]});
        }
        if (w.viewer != '*') service->want(Viewer(v), wishes);
    }
    void awaitFirstDraw() {
        std::unique_lock lock(drawer->mutex);
        ASSERT_TRUE(drawer->changed.wait_for(lock, std::chrono::seconds(10), [&] { return !drawer->started.empty(); }));
    }
    void release() {
        std::lock_guard lock(drawer->mutex);
        drawer->hold = false;
    }
    void runToIdle() {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !service->isBusy(); }, 10000));
    }
    std::string kept() {
        std::string s;
        for (int v : {0, 1})
            for (int page = 0; page < 10; ++page)
                if (service->has(page, kScale[v])) s += (v ? " t" : " c") + std::to_string(page);
        return s;
    }

    std::shared_ptr<Drawer> drawer = std::make_shared<Drawer>();
    std::unique_ptr<PageRenderService> service;
};

struct OrderCase {
    friend void PrintTo(const OrderCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<Want> held;   // the first starts a draw that is held while the others arrive
    std::vector<Want> after;  // then, with draws running freely
    std::set<std::int64_t> broken;
    const char* drawn;
    const char* kept;
    const char* failed;
};

class RenderOrderTest : public ::testing::TestWithParam<OrderCase> {};

TEST_P(RenderOrderTest, DrawsInOrderAndKeepsOnlyWhatFinishedUnstopped) {
    const OrderCase& c = GetParam();
    Harness h(std::size_t{1} << 30, c.broken);
    h.apply(c.held[0]);
    h.awaitFirstDraw();
    for (std::size_t i = 1; i < c.held.size(); ++i)
        h.apply(c.held[i]);
    h.release();
    h.runToIdle();
    for (const Want& w : c.after)
        h.apply(w);
    h.runToIdle();
    EXPECT_EQ(h.drawer->started, c.drawn);
    EXPECT_EQ(h.kept(), c.kept);
    std::string failed;
    for (int page = 0; page < 10; ++page)
        if (h.service->hasFailed(page)) failed += " " + std::to_string(page);
    EXPECT_EQ(failed, c.failed);
}

INSTANTIATE_TEST_SUITE_P(
    Wishes, RenderOrderTest,
    ::testing::Values(
        OrderCase{"canvas_before_thumbnails",
                  {{'t', {0, 1, 2}}, {'c', {5, 6}}},
                  {},
                  {},
                  " t0 c5 c6 t1 t2",
                  " c5 c6 t0 t1 t2",
                  ""},
        OrderCase{"newer_wish_replaces_older_and_stops_its_draw_unkept_unfailed",
                  {{'c', {1}}, {'c', {2, 3}}, {'c', {4}}},
                  {},
                  {1},
                  " c1 c4",
                  " c4",
                  ""},
        OrderCase{"a_draw_still_wanted_goes_on", {{'t', {0, 1}}, {'t', {1, 0}}}, {}, {}, " t0 t1", " t0 t1", ""},
        OrderCase{"wanted_only_at_another_resolution_is_stopped",
                  {{'c', {1}}, {'t', {1}}, {'c', {}}},
                  {},
                  {},
                  " c1 t1",
                  " t1",
                  ""},
        OrderCase{"stopped_then_wanted_again_is_drawn_again",
                  {{'c', {1}}, {'c', {2}}, {'c', {1}}},
                  {},
                  {},
                  " c1 c1",
                  " c1",
                  ""},
        OrderCase{"cached_resolution_is_not_drawn_again",
                  {{'c', {1}}},
                  {{'c', {1, 2}}, {'t', {1}}},
                  {},
                  " c1 c2 t1",
                  " c1 c2 t1",
                  ""},
        OrderCase{
            "failed_page_is_skipped_at_every_resolution", {{'c', {3}}}, {{'t', {3, 4}}}, {3}, " c3 t4", " t4", " 3"},
        OrderCase{"pages_outside_the_document_are_ignored", {{'c', {-1, 12, 2}}}, {}, {}, " c2", " c2", ""}),
    [](const auto& param) { return std::string(param.param.name); });

struct BudgetCase {
    friend void PrintTo(const BudgetCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<Want> steps;  // each drawn to the end before the next
    const char* kept;
};

class RenderBudgetTest : public ::testing::TestWithParam<BudgetCase> {};

TEST_P(RenderBudgetTest, LeastRecentlyUsedGoFirstAndWantedPagesStay) {
    Harness h(3 * kCanvasImage);
    h.release();
    for (const Want& step : GetParam().steps) {
        h.apply(step);
        h.runToIdle();
    }
    EXPECT_EQ(h.kept(), GetParam().kept);
    EXPECT_LE(h.service->cachedBytes(), 3 * kCanvasImage);
}

INSTANTIATE_TEST_SUITE_P(
    ThreeCanvasPages, RenderBudgetTest,
    ::testing::Values(
        BudgetCase{
            "least_recently_painted_goes", {{'c', {0}}, {'c', {1}}, {'c', {2}}, {'*', {0}}, {'c', {3}}}, " c0 c2 c3"},
        BudgetCase{"five_wanted_stay_until_unwanted", {{'c', {0, 1, 2, 3, 4}}, {'c', {4}}}, " c2 c3 c4"},
        BudgetCase{"thumbnails_protect_their_pages", {{'t', {0}}, {'c', {1, 2, 3}}, {'c', {4}}}, " c3 c4 t0"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(RenderService, ClosingStopsTheDrawInProgress) {
    Harness h;
    h.apply({'c', {1, 2}});
    h.awaitFirstDraw();
    h.service.reset();  // would hang here if the held draw were not told to stop
    EXPECT_EQ(h.drawer->started, " c1");
    EXPECT_EQ(h.drawer->aborted, 1);
}

TEST(RenderService, MuPdfRenderToldToStopGivesNoPixels) {
    PagePreviewRenderer renderer(testing::documentOf(std::vector<testing::PageSpec>(1)));
    PreviewAbort abort;
    EXPECT_TRUE(renderer.render(0, 0.5, &abort));
    abort.abort();
    EXPECT_FALSE(renderer.render(0, 0.5, &abort));
}

}  // namespace
}  // namespace norvane
