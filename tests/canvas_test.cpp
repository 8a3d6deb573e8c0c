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

struct Reported {
    qint64 pageIndex;
    PageRect rect;
};

SharedPdfDocument letterPages(int count) {
    return documentOf(std::vector<PageSpec>(static_cast<std::size_t>(count)));
}

// A canvas on screen, with every reported drag recorded.
class CanvasHarness {
public:
    explicit CanvasHarness(SharedPdfDocument document, QSize size = QSize(700, 600)) : canvas(document) {
        canvas.setOnManualRedaction([this](qint64 page, const PageRect& rect) { reports.push_back({page, rect}); });
        canvas.resize(size);
        canvas.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&canvas));
        canvas.synchronize(document, {}, 0);
    }

    QWidget* view() { return canvas.viewport(); }

    void drag(QPoint from, QPoint to) {
        QTest::mousePress(view(), Qt::LeftButton, Qt::NoModifier, from);
        QTest::mouseMove(view(), (from + to) / 2);
        QTest::mouseMove(view(), to);
        QTest::mouseRelease(view(), Qt::LeftButton, Qt::NoModifier, to);
    }

    PageCanvas canvas;
    std::vector<Reported> reports;
};

// Where a point of the displayed page lies in page space, worked out per rotation from
// what a reader sees: fx, fy are fractions across and down the page as shown.
QPointF expectedPagePoint(const PageRect& box, int rotation, double fx, double fy) {
    const double minX = box.x, minY = box.y, maxX = box.x + box.width, maxY = box.y + box.height;
    const double w = box.width, h = box.height;
    switch (rotation) {
        case 90:
            return {minX + fy * w, minY + fx * h};
        case 180:
            return {maxX - fx * w, minY + fy * h};
        case 270:
            return {maxX - fy * w, maxY - fx * h};
        default:
            return {minX + fx * w, maxY - fy * h};
    }
}

// ---- where drags land ----

struct DragCase {
    const char* name;
    PageRect mediaBox;
    int rotation;
    double zoom;
    int pageIndex;  // pages before it shift it down the column
};

void PrintTo(const DragCase& c, std::ostream* os) {
    *os << c.name;
}

class DragGeometryTest : public ::testing::TestWithParam<DragCase> {};

TEST_P(DragGeometryTest, DragBecomesThePageSpaceRectangleUnderThePointer) {
    const DragCase& c = GetParam();
    PageSpec page;
    page.mediaBox = c.mediaBox;
    page.rotate = c.rotation;
    std::vector<PageSpec> pages(static_cast<std::size_t>(c.pageIndex) + 1, page);
    CanvasHarness h(documentOf(pages));
    h.canvas.setZoom(c.zoom);
    h.canvas.synchronize(h.canvas.document(), {}, c.pageIndex);

    const QRectF shown = h.canvas.pageRectInViewport(c.pageIndex);
    ASSERT_FALSE(shown.isEmpty());
    // Two points well inside the visible part of the page.
    const QRectF visible = shown.intersected(QRectF(h.view()->rect()).adjusted(4, 4, -4, -4));
    ASSERT_GT(visible.width(), 60);
    ASSERT_GT(visible.height(), 60);
    const QPoint a = (visible.topLeft() + QPointF(visible.width() * 0.2, visible.height() * 0.15)).toPoint();
    const QPoint b = (visible.topLeft() + QPointF(visible.width() * 0.7, visible.height() * 0.6)).toPoint();
    h.drag(b, a);  // drawn backwards: the rectangle is standardised either way

    ASSERT_EQ(h.reports.size(), 1u);
    EXPECT_EQ(h.reports[0].pageIndex, c.pageIndex);
    const auto fraction = [&](QPoint p) {
        return QPointF((p.x() - shown.left()) / shown.width(), (p.y() - shown.top()) / shown.height());
    };
    const QPointF pa = expectedPagePoint(c.mediaBox, c.rotation, fraction(a).x(), fraction(a).y());
    const QPointF pb = expectedPagePoint(c.mediaBox, c.rotation, fraction(b).x(), fraction(b).y());
    const PageRect& got = h.reports[0].rect;
    EXPECT_NEAR(got.x, std::min(pa.x(), pb.x()), 1e-6);
    EXPECT_NEAR(got.y, std::min(pa.y(), pb.y()), 1e-6);
    EXPECT_NEAR(got.width, std::abs(pa.x() - pb.x()), 1e-6);
    EXPECT_NEAR(got.height, std::abs(pa.y() - pb.y()), 1e-6);
    EXPECT_FALSE(h.canvas.isDragging());
}

INSTANTIATE_TEST_SUITE_P(RotationsZoomsAndBoxes, DragGeometryTest,
                         ::testing::Values(DragCase{"letter_r0", {0, 0, 612, 792}, 0, 1.0, 0},
                                           DragCase{"letter_r90", {0, 0, 612, 792}, 90, 1.0, 0},
                                           DragCase{"letter_r180", {0, 0, 612, 792}, 180, 1.0, 0},
                                           DragCase{"letter_r270", {0, 0, 612, 792}, 270, 1.0, 0},
                                           DragCase{"offset_r0_zoomed", {100, -50, 300, 500}, 0, 2.5, 0},
                                           DragCase{"offset_r90_zoomed", {100, -50, 300, 500}, 90, 2.5, 0},
                                           DragCase{"offset_r270_small", {100, -50, 300, 500}, 270, 0.4, 0},
                                           DragCase{"fifth_page_r270_zoomed", {10, 20, 595, 842}, 270, 1.6, 4}),
                         [](const auto& param) { return std::string(param.param.name); });

// The arithmetic above is only as good as its idea of /Rotate; check that idea against
// pixels MuPDF actually draws.
struct RenderedBoxCase {
    const char* name;
    PageRect mediaBox;
    int rotation;
};

void PrintTo(const RenderedBoxCase& c, std::ostream* os) {
    *os << c.name;
}

class RenderedGeometryTest : public ::testing::TestWithParam<RenderedBoxCase> {};

TEST_P(RenderedGeometryTest, BlackRectangleAppearsWhereTheGeometrySaysItIs) {
    const RenderedBoxCase& c = GetParam();
    PageSpec spec;
    spec.mediaBox = c.mediaBox;
    spec.rotate = c.rotation;
    const PageRect mark{c.mediaBox.x + 30, c.mediaBox.y + 50, 60, 20};  // off-centre, not square
    spec.filledBlackRects = {mark};
    const auto document = documentOf({spec});
    PagePreviewRenderer renderer(document);
    const auto image = renderer.render(0, 1.0);
    if (!image) {
        GTEST_SKIP() << "page rendering is not available in this build";
    }
    const QSizeF size = displayedPageSize(document->page(0));
    ASSERT_NEAR(image->width, size.width(), 1.0);
    ASSERT_NEAR(image->height, size.height(), 1.0);

    int minX = image->width, minY = image->height, maxX = -1, maxY = -1;
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x) {
            const auto* px = &image->rgb[(static_cast<std::size_t>(y) * static_cast<std::size_t>(image->width) +
                                          static_cast<std::size_t>(x)) *
                                         3];
            if (px[0] < 60 && px[1] < 60 && px[2] < 60) {
                minX = std::min(minX, x), minY = std::min(minY, y), maxX = std::max(maxX, x), maxY = std::max(maxY, y);
            }
        }
    }
    ASSERT_GE(maxX, 0) << "no black pixels";
    const QRectF expected = pageRectToDisplayed(document->page(0), mark);
    EXPECT_NEAR(minX, expected.left(), 1.5);
    EXPECT_NEAR(minY, expected.top(), 1.5);
    EXPECT_NEAR(maxX + 1, expected.right(), 1.5);
    EXPECT_NEAR(maxY + 1, expected.bottom(), 1.5);
}

INSTANTIATE_TEST_SUITE_P(Rotations, RenderedGeometryTest,
                         ::testing::Values(RenderedBoxCase{"r0", {0, 0, 200, 300}, 0},
                                           RenderedBoxCase{"r180", {0, 0, 200, 300}, 180},
                                           RenderedBoxCase{"offset_r90", {150, -40, 200, 300}, 90},
                                           RenderedBoxCase{"offset_r270", {-70, 500, 200, 300}, 270}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(PageGeometry, RectangleSurvivesTheRoundTripForEveryRotation) {
    for (int rotation : {0, 90, 180, 270}) {
        PdfPageInfo page{PageRect{-30, 40, 300, 500}, rotation};
        const PageRect rect{10, 400, 55.5, 21.25};
        const PageRect back = displayedRectToPage(page, pageRectToDisplayed(page, rect));
        EXPECT_NEAR(back.x, rect.x, 1e-9) << rotation;
        EXPECT_NEAR(back.y, rect.y, 1e-9) << rotation;
        EXPECT_NEAR(back.width, rect.width, 1e-9) << rotation;
        EXPECT_NEAR(back.height, rect.height, 1e-9) << rotation;
        const QRectF whole = pageRectToDisplayed(page, page.mediaBox);
        EXPECT_NEAR(whole.left(), 0, 1e-9);
        EXPECT_NEAR(whole.top(), 0, 1e-9);
        EXPECT_NEAR(whole.width(), displayedPageSize(page).width(), 1e-9);
    }
}

// ---- clicks, thresholds and cancelling ----

struct SizeCase {
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
        EXPECT_NEAR(h.reports[0].rect.width, std::abs(c.dx) / h.canvas.scale(), 1e-3);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ClickThresholdTest,
                         ::testing::Values(SizeCase{0, 0, false}, SizeCase{5, 5, false}, SizeCase{7, 40, false},
                                           SizeCase{40, 7, false}, SizeCase{8, 8, true}, SizeCase{-8, -8, true},
                                           SizeCase{-30, 9, true}, SizeCase{9, 9, true, 8.0}));

TEST(PageCanvas, PreviewFollowsThePointerAndEscapeDropsTheDrag) {
    CanvasHarness h(letterPages(1));
    const QPoint start = h.canvas.pageRectInViewport(0).center().toPoint();
    QTest::mousePress(h.view(), Qt::LeftButton, Qt::NoModifier, start);
    QTest::mouseMove(h.view(), start + QPoint(50, 30));
    ASSERT_TRUE(h.canvas.dragPreview());
    EXPECT_EQ(h.canvas.dragPreview()->toRect(),
              QRect(start, start + QPoint(50, 30)).normalized().adjusted(0, 0, -1, -1));
    QTest::mouseMove(h.view(), start + QPoint(-20, -10));  // rebuilt from the start, not grown
    EXPECT_EQ(h.canvas.dragPreview()->topLeft().toPoint(), start + QPoint(-20, -10));
    QTest::keyClick(&h.canvas, Qt::Key_Escape);
    EXPECT_FALSE(h.canvas.isDragging());
    EXPECT_FALSE(h.canvas.dragPreview());
    QTest::mouseRelease(h.view(), Qt::LeftButton, Qt::NoModifier, start + QPoint(80, 80));
    EXPECT_TRUE(h.reports.empty());
}

TEST(PageCanvas, DragAcrossPagesBelongsToTheStartPageAndMayLeaveIt) {
    CanvasHarness h(letterPages(3), QSize(700, 2000));
    h.canvas.setZoom(0.3);
    const QRectF second = h.canvas.pageRectInViewport(1);
    const QRectF third = h.canvas.pageRectInViewport(2);
    ASSERT_TRUE(QRectF(h.view()->rect()).contains(third.center()));
    h.drag((second.topLeft() + QPointF(10, second.height() * 0.8)).toPoint(), third.center().toPoint());
    ASSERT_EQ(h.reports.size(), 1u);
    EXPECT_EQ(h.reports[0].pageIndex, 1);
    EXPECT_LT(h.reports[0].rect.y, 0.0);  // reaches below page 2's media box
}

TEST(PageCanvas, PressInTheMarginBesidePageStartsADragOnTheNearestPage) {
    CanvasHarness h(letterPages(2), QSize(1200, 600));
    h.canvas.setZoom(0.5);  // narrow pages, wide grey margins
    const QRectF first = h.canvas.pageRectInViewport(0);
    ASSERT_GT(first.left(), 40);
    const QPoint margin(static_cast<int>(first.left()) - 30, static_cast<int>(first.center().y()));
    EXPECT_EQ(h.canvas.pageAt(margin), 0);
    h.drag(margin, margin + QPoint(60, 40));
    ASSERT_EQ(h.reports.size(), 1u);
    EXPECT_EQ(h.reports[0].pageIndex, 0);
    EXPECT_LT(h.reports[0].rect.x, 0.0);  // starts left of the media box
}

// ---- the document it was made for ----

TEST(PageCanvas, DragsOnAnotherDocumentThanTheOneItWasMadeForAreDropped) {
    const auto first = letterPages(2);
    const auto second = letterPages(2);
    CanvasHarness h(first);
    const QPoint start = h.canvas.pageRectInViewport(0).center().toPoint();
    h.drag(start, start + QPoint(40, 40));
    EXPECT_EQ(h.reports.size(), 1u);

    h.canvas.synchronize(second, {}, 0);
    EXPECT_EQ(h.canvas.document(), second);
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

TEST(PageCanvas, SameDocumentObjectKeepsZoomAndScrollAcrossUpdates) {
    const auto document = letterPages(6);
    CanvasHarness h(document);
    h.canvas.setZoom(2.0);
    h.canvas.synchronize(document, {}, 3);
    const int scrolled = h.canvas.verticalScrollBar()->value();
    const double scale = h.canvas.scale();
    RedactionRegion region{Uuid::random(), 3, PageRect{72, 72, 100, 40}, RedactionSource::manual, std::nullopt};
    h.canvas.synchronize(document, {region}, 3);
    EXPECT_EQ(h.canvas.verticalScrollBar()->value(), scrolled);
    EXPECT_DOUBLE_EQ(h.canvas.scale(), scale);

    // A document closed and another opened starts at the top.
    h.canvas.synchronize(nullptr, {}, 0);
    EXPECT_EQ(h.canvas.document(), nullptr);
    h.canvas.synchronize(letterPages(6), {}, 0);
    EXPECT_EQ(h.canvas.verticalScrollBar()->value(), 0);
}

// ---- following the selected page ----

TEST(PageCanvas, ScrollsToTheSelectedPageOnlyWhenAnotherPageIsShown) {
    const auto document = letterPages(8);
    CanvasHarness h(document);
    h.canvas.setZoom(1.5);
    h.canvas.synchronize(document, {}, 5);
    EXPECT_EQ(h.canvas.currentPageIndex(), 5);
    const int atFive = h.canvas.verticalScrollBar()->value();

    // Out of range: stays put.
    for (qint64 index : {qint64{-1}, qint64{8}, qint64{1000}}) {
        h.canvas.synchronize(document, {}, index);
        EXPECT_EQ(h.canvas.verticalScrollBar()->value(), atFive) << index;
    }

    // Reading further down page 5 and selecting page 5 again must not jump back to its top.
    h.canvas.verticalScrollBar()->setValue(atFive + 150);
    ASSERT_EQ(h.canvas.currentPageIndex(), 5);
    h.canvas.synchronize(document, {}, 5);
    EXPECT_EQ(h.canvas.verticalScrollBar()->value(), atFive + 150);

    h.canvas.synchronize(document, {}, 0);
    EXPECT_EQ(h.canvas.currentPageIndex(), 0);
}

// ---- zoom ----

TEST(PageCanvas, KeyboardZoomAndFitToWidth) {
    CanvasHarness h(letterPages(2));
    const double fit = h.canvas.scale();
    EXPECT_NEAR(h.canvas.pageRectInViewport(0).width(), h.view()->width() - 32, 1.0);
    h.canvas.setFocus();
    QTest::keyClick(&h.canvas, Qt::Key_Plus, Qt::ControlModifier);
    EXPECT_GT(h.canvas.scale(), fit);
    QTest::keyClick(&h.canvas, Qt::Key_0, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(h.canvas.scale(), fit);
    QTest::keyClick(&h.canvas, Qt::Key_Minus, Qt::ControlModifier);
    EXPECT_LT(h.canvas.scale(), fit);
    for (int i = 0; i < 40; ++i)
        QTest::keyClick(&h.canvas, Qt::Key_Minus, Qt::ControlModifier);
    EXPECT_GT(h.canvas.scale(), 0.0);  // bounded, never zero
}

TEST(PageCanvas, ControlWheelZoomKeepsThePointUnderThePointer) {
    CanvasHarness h(letterPages(3));
    const QPoint pointer(250, 300);
    const auto pageBefore = h.canvas.pageAt(pointer);
    ASSERT_TRUE(pageBefore);
    const PageRect before = h.canvas.viewportRectToPage(*pageBefore, QRectF(pointer, QSizeF(0, 0)));
    QWheelEvent wheel(QPointF(pointer), h.view()->mapToGlobal(QPointF(pointer)), QPoint(), QPoint(0, 240), Qt::NoButton,
                      Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(h.view(), &wheel);
    ASSERT_GT(h.canvas.zoom(), 1.0);
    const PageRect after = h.canvas.viewportRectToPage(*pageBefore, QRectF(pointer, QSizeF(0, 0)));
    EXPECT_NEAR(after.x, before.x, 1.0);
    EXPECT_NEAR(after.y, before.y, 1.0);
}

// ---- what is painted ----

QColor pixelAt(PageCanvas& canvas, QPointF viewportPoint) {
    const QImage shot = canvas.viewport()->grab().toImage();
    const qreal dpr = shot.devicePixelRatio();
    return shot.pixelColor((viewportPoint * dpr).toPoint());
}

TEST(PageCanvas, PendingRegionsArePaintedBlackAndBadPageIndicesAreSkipped) {
    PageSpec rotated;
    rotated.rotate = 90;
    rotated.mediaBox = {50, 50, 400, 600};
    const auto document = documentOf({rotated});
    CanvasHarness h(document);
    const PageRect rect{100, 100, 120, 80};
    const std::vector<RedactionRegion> regions{
        {Uuid::random(), 7, PageRect{0, 0, 500, 500}, RedactionSource::manual, std::nullopt},
        {Uuid::random(), -1, PageRect{0, 0, 500, 500}, RedactionSource::ocr, std::nullopt},
        {Uuid::random(), 0, rect, RedactionSource::textSearch, std::string("Smith")},
    };
    h.canvas.synchronize(document, regions, 0);
    const QRectF page = h.canvas.pageRectInViewport(0);
    const QRectF displayed = pageRectToDisplayed(document->page(0), rect);
    const QPointF centre = page.topLeft() + displayed.center() * h.canvas.scale();
    EXPECT_EQ(pixelAt(h.canvas, centre), QColor(Qt::black));
    // Outside the box, the page is not black.
    const QPointF outside = page.topLeft() + (displayed.bottomRight() + QPointF(20, 20)) * h.canvas.scale();
    EXPECT_NE(pixelAt(h.canvas, outside), QColor(Qt::black));

    // Removing the region in the model removes the box at the next update.
    h.canvas.synchronize(document, {}, 0);
    EXPECT_NE(pixelAt(h.canvas, centre), QColor(Qt::black));
}

// ---- rendering off the UI thread ----

TEST(PageCanvas, RendersOnlyPagesNearTheViewAndShowsPlaceholdersMeanwhile) {
    const auto document = letterPages(60);
    CanvasHarness h(document);
    // Painting never waits: the first frame is there before any image is.
    EXPECT_FALSE(h.view()->grab().isNull());
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
    ASSERT_FALSE(first.isNull());
    EXPECT_NEAR(first.width(), h.canvas.pageRectInViewport(0).width() * h.view()->devicePixelRatioF(), 1.5);
}

}  // namespace
}  // namespace norvane
