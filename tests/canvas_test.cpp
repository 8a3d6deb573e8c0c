// The page canvas driven with the mouse and keyboard as a person would: where a drag lands
// in page space for every rotation, zoom and media-box offset, what counts as a click, and
// how the view follows the model.

#include "canvas/page_canvas.h"
#include "canvas/page_geometry.h"
#include "engine/page_preview.h"
#include "tests/support/pdf_factory.h"

#include <QApplication>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

namespace norvane {
namespace {

using testing::documentOf;
using testing::PageSpec;

SharedPdfDocument letterPages(int count) {
    return documentOf(std::vector<PageSpec>(static_cast<std::size_t>(count)));
}

PageSpec box(PageRect mediaBox, int rotation) {
    PageSpec page;
    page.mediaBox = mediaBox;
    page.rotate = rotation;
    return page;
}

// A canvas on screen, with every reported drag recorded.
struct CanvasHarness {
    explicit CanvasHarness(SharedPdfDocument document, QSize size = QSize(700, 600)) : canvas(document) {
        canvas.setOnManualRedaction([this](qint64 page, const PageRect& rect) { reports.push_back({page, rect}); });
        canvas.resize(size);
        canvas.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&canvas));
        canvas.synchronize(document, {}, 0);
    }

    QWidget* view() { return canvas.viewport(); }
    QScrollBar* scroll() { return canvas.verticalScrollBar(); }
    QPoint pageCentre(qint64 page) { return canvas.pageRectInViewport(page).center().toPoint(); }

    void drag(QPoint from, QPoint to) {
        QTest::mousePress(view(), Qt::LeftButton, Qt::NoModifier, from);
        QTest::mouseMove(view(), (from + to) / 2);
        QTest::mouseMove(view(), to);
        QTest::mouseRelease(view(), Qt::LeftButton, Qt::NoModifier, to);
    }

    PageCanvas canvas;
    std::vector<std::pair<qint64, PageRect>> reports;
};

// Where a point of the displayed page lies in page space, worked out per rotation from
// what a reader sees: fx, fy are fractions across and down the page as shown.
QPointF expectedPagePoint(const PageRect& b, int rotation, double fx, double fy) {
    switch (rotation) {
        case 90:
            return {b.x + fy * b.width, b.y + fx * b.height};
        case 180:
            return {b.x + b.width - fx * b.width, b.y + fy * b.height};
        case 270:
            return {b.x + b.width - fy * b.width, b.y + b.height - fx * b.height};
        default:
            return {b.x + fx * b.width, b.y + b.height - fy * b.height};
    }
}

// ---- where drags land ----

struct DragCase {
    friend void PrintTo(const DragCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    PageRect mediaBox;
    int rotation;
    double zoom;
    int pageIndex;  // pages before it shift it down the column
};

class DragGeometryTest : public ::testing::TestWithParam<DragCase> {};

TEST_P(DragGeometryTest, DragBecomesThePageSpaceRectangleUnderThePointer) {
    const DragCase& c = GetParam();
    CanvasHarness h(
        documentOf(std::vector<PageSpec>(static_cast<std::size_t>(c.pageIndex) + 1, box(c.mediaBox, c.rotation))));
    h.canvas.setZoom(c.zoom);
    h.canvas.synchronize(h.canvas.document(), {}, c.pageIndex);

    const QRectF shown = h.canvas.pageRectInViewport(c.pageIndex);
    const QRectF visible = shown.intersected(QRectF(h.view()->rect()).adjusted(4, 4, -4, -4));
    ASSERT_GT(visible.width(), 60);
    ASSERT_GT(visible.height(), 60);
    const QPoint a = (visible.topLeft() + QPointF(visible.width() * 0.2, visible.height() * 0.15)).toPoint();
    const QPoint b = (visible.topLeft() + QPointF(visible.width() * 0.7, visible.height() * 0.6)).toPoint();
    h.drag(b, a);  // drawn backwards: the rectangle is standardised either way

    ASSERT_EQ(h.reports.size(), 1u);
    EXPECT_EQ(h.reports[0].first, c.pageIndex);
    const auto pagePoint = [&](QPoint p) {
        return expectedPagePoint(c.mediaBox, c.rotation, (p.x() - shown.left()) / shown.width(),
                                 (p.y() - shown.top()) / shown.height());
    };
    const QPointF pa = pagePoint(a), pb = pagePoint(b);
    const PageRect& got = h.reports[0].second;
    EXPECT_NEAR(got.x, std::min(pa.x(), pb.x()), 1e-6);
    EXPECT_NEAR(got.y, std::min(pa.y(), pb.y()), 1e-6);
    EXPECT_NEAR(got.width, std::abs(pa.x() - pb.x()), 1e-6);
    EXPECT_NEAR(got.height, std::abs(pa.y() - pb.y()), 1e-6);
}

INSTANTIATE_TEST_SUITE_P(RotationsZoomsAndBoxes, DragGeometryTest,
                         ::testing::Values(DragCase{"letter_r0", {0, 0, 612, 792}, 0, 1.0, 0},
                                           DragCase{"letter_r90", {0, 0, 612, 792}, 90, 1.0, 0},
                                           DragCase{"letter_r180", {0, 0, 612, 792}, 180, 1.0, 0},
                                           DragCase{"letter_r270", {0, 0, 612, 792}, 270, 1.0, 0},
                                           DragCase{"offset_r90_zoomed", {100, -50, 300, 500}, 90, 2.5, 0},
                                           DragCase{"offset_r270_small", {100, -50, 300, 500}, 270, 0.4, 0},
                                           DragCase{"fifth_page_r270_zoomed", {10, 20, 595, 842}, 270, 1.6, 4}),
                         [](const auto& param) { return std::string(param.param.name); });

// The arithmetic above is only as good as its idea of /Rotate; check that idea against
// pixels MuPDF actually draws.
struct RenderCase {
    friend void PrintTo(const RenderCase& c, std::ostream* os) { *os << "rotated " << c.rotation; }
    PageRect mediaBox;
    int rotation;
};

class RenderedGeometryTest : public ::testing::TestWithParam<RenderCase> {};

TEST_P(RenderedGeometryTest, BlackRectangleAppearsWhereTheGeometrySaysItIs) {
    const auto& [mediaBox, rotation] = GetParam();
    PageSpec page = box(mediaBox, rotation);
    const PageRect mark{mediaBox.x + 30, mediaBox.y + 50, 60, 20};  // off-centre, not square
    page.filledBlackRects = {mark};
    const auto document = documentOf({page});
    const auto image = PagePreviewRenderer(document).render(0, 1.0);
    if (!image) {
        GTEST_SKIP() << "page rendering is not available in this build";
    }
    ASSERT_NEAR(image->width, displayedPageSize(document->page(0)).width(), 1.0);
    QRect inked;
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x) {
            const auto* px = &image->rgb[static_cast<std::size_t>(y * image->width + x) * 3];
            if (px[0] < 60 && px[1] < 60 && px[2] < 60) inked |= QRect(x, y, 1, 1);
        }
    }
    const QRectF expected = pageRectToDisplayed(document->page(0), mark);
    EXPECT_NEAR(inked.left(), expected.left(), 1.5);
    EXPECT_NEAR(inked.top(), expected.top(), 1.5);
    EXPECT_NEAR(inked.right() + 1, expected.right(), 1.5);
    EXPECT_NEAR(inked.bottom() + 1, expected.bottom(), 1.5);
}

INSTANTIATE_TEST_SUITE_P(Rotations, RenderedGeometryTest,
                         ::testing::Values(RenderCase{{0, 0, 200, 300}, 180}, RenderCase{{150, -40, 200, 300}, 90},
                                           RenderCase{{-70, 500, 200, 300}, 270}));

// ---- clicks, thresholds and cancelling ----

struct SizeCase {
    friend void PrintTo(const SizeCase& c, std::ostream* os) { *os << c.dx << "x" << c.dy << " at zoom " << c.zoom; }
    int dx;
    int dy;
    bool reported;
    double zoom = 1.0;
};

class ClickThresholdTest : public ::testing::TestWithParam<SizeCase> {};

// Measured in view points, not page units: zoomed in, a tiny page box is still reported and
// left for the model to drop.
TEST_P(ClickThresholdTest, OnlyDragsOfAtLeastEightByEightViewPointsAreReported) {
    const SizeCase& c = GetParam();
    CanvasHarness h(letterPages(1));
    h.canvas.setZoom(c.zoom);
    const QPoint start(h.view()->width() / 2, h.view()->height() / 2);
    h.drag(start, start + QPoint(c.dx, c.dy));
    ASSERT_EQ(h.reports.size(), c.reported ? 1u : 0u);
    EXPECT_FALSE(h.canvas.isDragging());
    EXPECT_FALSE(h.canvas.dragPreview());
    if (c.reported) {
        EXPECT_NEAR(h.reports[0].second.width, std::abs(c.dx) / h.canvas.scale(), 1e-3);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ClickThresholdTest,
                         ::testing::Values(SizeCase{0, 0, false}, SizeCase{5, 5, false}, SizeCase{7, 40, false},
                                           SizeCase{40, 7, false}, SizeCase{8, 8, true}, SizeCase{-8, -8, true},
                                           SizeCase{-30, 9, true}, SizeCase{9, 9, true, 8.0}));

TEST(PageCanvas, PreviewIsRebuiltFromTheStartAndEscapeDropsTheDrag) {
    CanvasHarness h(letterPages(1));
    const QPoint start = h.pageCentre(0);
    QTest::mousePress(h.view(), Qt::LeftButton, Qt::NoModifier, start);
    QTest::mouseMove(h.view(), start + QPoint(50, 30));
    QTest::mouseMove(h.view(), start + QPoint(-20, -10));
    ASSERT_TRUE(h.canvas.dragPreview());
    EXPECT_EQ(h.canvas.dragPreview()->toRect(), QRect(start + QPoint(-20, -10), QSize(20, 10)));
    QTest::keyClick(&h.canvas, Qt::Key_Escape);
    EXPECT_FALSE(h.canvas.isDragging());
    EXPECT_FALSE(h.canvas.dragPreview());
    QTest::mouseRelease(h.view(), Qt::LeftButton, Qt::NoModifier, start + QPoint(80, 80));
    EXPECT_TRUE(h.reports.empty());
}

// A drag belongs to the page it starts on, or beside, and may leave that page's box.
TEST(PageCanvas, DragsBelongToTheNearestPageWhereTheyStart) {
    CanvasHarness h(letterPages(3), QSize(1200, 2000));
    h.canvas.setZoom(0.3);  // narrow pages with wide margins, three in view
    const QRectF first = h.canvas.pageRectInViewport(0);
    const QRectF second = h.canvas.pageRectInViewport(1);
    ASSERT_GT(first.left(), 40);
    ASSERT_TRUE(QRectF(h.view()->rect()).contains(h.canvas.pageRectInViewport(2).center()));
    const QPoint margin(static_cast<int>(first.left()) - 30, static_cast<int>(first.center().y()));
    EXPECT_EQ(h.canvas.pageAt(margin), 0);
    h.drag(margin, margin + QPoint(60, 40));
    h.drag((second.topLeft() + QPointF(10, second.height() * 0.8)).toPoint(), h.pageCentre(2));
    ASSERT_EQ(h.reports.size(), 2u);
    EXPECT_EQ(h.reports[0].first, 0);
    EXPECT_LT(h.reports[0].second.x, 0.0);  // starts left of the media box
    EXPECT_EQ(h.reports[1].first, 1);
    EXPECT_LT(h.reports[1].second.y, 0.0);  // reaches below page 2's media box
}

TEST(PageCanvas, DragsOnAnotherDocumentThanTheOneItWasMadeForAreDropped) {
    const auto first = letterPages(2);
    CanvasHarness h(first);
    const QPoint start = h.pageCentre(0);
    h.drag(start, start + QPoint(40, 40));
    h.canvas.synchronize(letterPages(2), {}, 0);
    h.drag(start, start + QPoint(40, 40));
    EXPECT_EQ(h.reports.size(), 1u) << "the new document's pages are not in the one captured";

    // Made with no document at all: presses go to the scroll area, nothing is ever reported.
    CanvasHarness detached(nullptr);
    EXPECT_FALSE(detached.canvas.pageAt(QPointF(100, 100)));
    detached.drag(QPoint(100, 100), QPoint(200, 200));
    detached.canvas.synchronize(first, {}, 0);
    detached.drag(start, start + QPoint(40, 40));
    EXPECT_TRUE(detached.reports.empty());
}

// ---- following the model ----

TEST(PageCanvas, ScrollsToTheSelectedPageOnlyWhenAnotherPageIsShown) {
    const auto document = letterPages(8);
    CanvasHarness h(document);
    h.canvas.setZoom(1.5);
    h.canvas.synchronize(document, {}, 5);
    EXPECT_EQ(h.canvas.currentPageIndex(), 5);
    const int atFive = h.scroll()->value();
    const double scale = h.canvas.scale();
    for (qint64 index : {qint64{-1}, qint64{8}}) {
        h.canvas.synchronize(document, {}, index);
        EXPECT_EQ(h.scroll()->value(), atFive) << "out of range " << index;
    }

    // Reading further down page 5, a new region or selecting page 5 again must not jump back.
    h.scroll()->setValue(atFive + 150);
    RedactionRegion region{Uuid::random(), 5, PageRect{72, 72, 100, 40}, RedactionSource::manual, std::nullopt};
    h.canvas.synchronize(document, {region}, 5);
    EXPECT_EQ(h.scroll()->value(), atFive + 150);
    EXPECT_DOUBLE_EQ(h.canvas.scale(), scale);
    h.canvas.synchronize(document, {}, 0);
    EXPECT_EQ(h.canvas.currentPageIndex(), 0);

    // A document closed and another opened starts at the top.
    h.canvas.synchronize(document, {}, 5);
    h.canvas.synchronize(nullptr, {}, 0);
    h.canvas.synchronize(letterPages(8), {}, 0);
    EXPECT_EQ(h.scroll()->value(), 0);
}

TEST(PageCanvas, KeyboardZoomIsBoundedAndControlWheelKeepsThePointUnderThePointer) {
    CanvasHarness h(letterPages(3));
    const double fit = h.canvas.scale();
    EXPECT_NEAR(h.canvas.pageRectInViewport(0).width(), h.view()->width() - 32, 1.0);
    h.canvas.setFocus();
    QTest::keyClick(&h.canvas, Qt::Key_Plus, Qt::ControlModifier);
    EXPECT_GT(h.canvas.scale(), fit);
    QTest::keyClick(&h.canvas, Qt::Key_0, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(h.canvas.scale(), fit);
    for (int i = 0; i < 40; ++i) {
        QTest::keyClick(&h.canvas, Qt::Key_Minus, Qt::ControlModifier);
    }
    EXPECT_GT(h.canvas.scale(), 0.0);
    EXPECT_LT(h.canvas.scale(), fit);
    QTest::keyClick(&h.canvas, Qt::Key_0, Qt::ControlModifier);

    const QPoint pointer(250, 300);
    const qint64 page = h.canvas.pageAt(pointer).value();
    const PageRect before = h.canvas.viewportRectToPage(page, QRectF(pointer, QSizeF()));
    QWheelEvent wheel(QPointF(pointer), h.view()->mapToGlobal(QPointF(pointer)), QPoint(), QPoint(0, 240), Qt::NoButton,
                      Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(h.view(), &wheel);
    ASSERT_GT(h.canvas.zoom(), 1.0);
    const PageRect after = h.canvas.viewportRectToPage(page, QRectF(pointer, QSizeF()));
    EXPECT_NEAR(after.x, before.x, 1.0);
    EXPECT_NEAR(after.y, before.y, 1.0);
}

// ---- what is painted ----

TEST(PageCanvas, PendingRegionsArePaintedBlackOnARotatedPageAndBadPageIndicesAreSkipped) {
    const auto document = documentOf({box({50, 50, 400, 600}, 90)});
    CanvasHarness h(document);
    const PageRect rect{100, 100, 120, 80};
    const std::vector<RedactionRegion> regions{
        {Uuid::random(), 7, PageRect{0, 0, 500, 500}, RedactionSource::manual, std::nullopt},
        {Uuid::random(), -1, PageRect{0, 0, 500, 500}, RedactionSource::ocr, std::nullopt},
        {Uuid::random(), 0, rect, RedactionSource::textSearch, std::string("Smith")},
    };
    const auto pixelAt = [&](QPointF displayedPoint) {
        const QImage shot = h.view()->grab().toImage();
        const QPointF at = h.canvas.pageRectInViewport(0).topLeft() + displayedPoint * h.canvas.scale();
        return shot.pixelColor((at * shot.devicePixelRatio()).toPoint());
    };
    const QRectF displayed = pageRectToDisplayed(document->page(0), rect);
    h.canvas.synchronize(document, regions, 0);
    EXPECT_EQ(pixelAt(displayed.center()), QColor(Qt::black));
    EXPECT_NE(pixelAt(displayed.bottomRight() + QPointF(20, 20)), QColor(Qt::black));
    h.canvas.synchronize(document, {}, 0);
    EXPECT_NE(pixelAt(displayed.center()), QColor(Qt::black)) << "removed at the next update";
}

TEST(PageCanvas, RendersOnlyPagesNearTheViewAndPaintsPlaceholdersMeanwhile) {
    CanvasHarness h(letterPages(60));
    EXPECT_FALSE(h.view()->grab().isNull());  // painting never waits for an image
    QSignalSpy ready(&h.canvas.renderQueue(), &PageRenderQueue::pageReady);
    ASSERT_TRUE(ready.wait(10000));
    QTest::qWait(200);
    for (qint64 i = 3; i < 60; ++i) {
        EXPECT_TRUE(h.canvas.renderQueue().image(i).isNull()) << "page " << i << " was never near the view";
    }
    if (h.canvas.renderQueue().hasFailed(0)) {
        GTEST_SKIP() << "page rendering is not available in this build";
    }
    const QImage first = h.canvas.renderQueue().image(0);
    EXPECT_NEAR(first.width(), h.canvas.pageRectInViewport(0).width() * h.view()->devicePixelRatioF(), 1.5);
}

}  // namespace
}  // namespace norvane
