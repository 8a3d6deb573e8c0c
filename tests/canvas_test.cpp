// The page canvas driven with the mouse and keyboard as a person would: where a drag lands
// in page space for every rotation, zoom and media-box offset, what counts as a click, a box
// placed with the keyboard, how the view follows the model, and what a screen reader finds.

#include "canvas/page_canvas.h"
#include "canvas/page_geometry.h"
#include "tests/support/pdf_factory.h"

#include <QAccessible>
#include <QApplication>
#include <QScrollBar>
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

// A canvas on screen, with every reported drag recorded.
struct CanvasHarness {
    explicit CanvasHarness(SharedPdfDocument document, QSize size = QSize(700, 600)) : canvas(document) {
        canvas.setOnManualRedaction([this](qint64 page, const PageRect& rect) { reports.push_back({page, rect}); });
        canvas.resize(size);
        canvas.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&canvas));
        canvas.synchronize({}, 0);
        QTest::qWait(0);  // the scroll bars follow their ranges a turn of the event loop later
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

// The black pixels of the canvas within a page's visible part.
QRect inkedOn(CanvasHarness& h, qint64 page) {
    const QImage shot = h.view()->grab().toImage();
    const QRect area = h.canvas.pageRectInViewport(page).toAlignedRect().adjusted(1, 1, -1, -1) & h.view()->rect();
    QRect inked;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (qGray(shot.pixel(x, y)) < 60) inked |= QRect(x, y, 1, 1);
        }
    }
    return inked;
}

struct InkCase {
    friend void PrintTo(const InkCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    PageRect mediaBox;
    int rotation;
    double zoom;
    int pageIndex;  // pages before it shift it down the column
};

class InkGeometryTest : public ::testing::TestWithParam<InkCase> {};

// Checked against what MuPDF draws, not against the canvas's own arithmetic: a drag around a
// mark's ink reports the mark's rectangle, and the box painted for it covers just that ink.
TEST_P(InkGeometryTest, ADragAroundTheInkReportsItsRectangleAndItsBoxCoversJustThatInk) {
    const InkCase& c = GetParam();
    const PageRect& b = c.mediaBox;
    const PageRect mark{b.x + b.width / 2 - 45, b.y + b.height / 2 - 5, 60, 20};  // off-centre, not square
    const PageSpec page{.mediaBox = b, .rotate = c.rotation, .filledBlackRects = {mark}};
    const auto document = documentOf(std::vector<PageSpec>(static_cast<std::size_t>(c.pageIndex) + 1, page));
    CanvasHarness h(document);
    h.canvas.setZoom(c.zoom);
    h.canvas.synchronize({}, c.pageIndex);
    h.canvas.revealRect(c.pageIndex, mark);
    PageRenderService& renders = *h.canvas.renderService();
    // Wait for the image (or tiles) drawn at this scale, not an earlier one stretched.
    ASSERT_TRUE(QTest::qWaitFor([&] { return h.canvas.isSharp(c.pageIndex); }, 10000));
    if (renders.hasFailed(c.pageIndex)) {
        GTEST_SKIP() << "page rendering is not available in this build";
    }
    const QRect inked = inkedOn(h, c.pageIndex);
    ASSERT_GT(inked.width(), 8);
    h.drag(inked.bottomRight() + QPoint(1, 1), inked.topLeft());  // drawn backwards
    ASSERT_EQ(h.reports.size(), 1u);
    EXPECT_EQ(h.reports[0].first, c.pageIndex);
    const PageRect got = h.reports[0].second;
    const double tolerance = 1.5 / h.canvas.scale();
    EXPECT_NEAR(got.x, mark.x, tolerance);
    EXPECT_NEAR(got.y, mark.y, tolerance);
    EXPECT_NEAR(got.width, mark.width, tolerance);
    EXPECT_NEAR(got.height, mark.height, tolerance);

    // Regions on pages that do not exist are skipped.
    const auto paint = [&](PageRect rect) {
        h.canvas.synchronize({{Uuid::random(), c.pageIndex, rect, RedactionSource::manual, std::nullopt},
                              {Uuid::random(), c.pageIndex + 1, b, RedactionSource::manual, std::nullopt},
                              {Uuid::random(), -1, b, RedactionSource::ocr, std::nullopt}},
                             c.pageIndex);
        return inkedOn(h, c.pageIndex);
    };
    const QRect boxed = paint(got);
    EXPECT_LE((boxed.topLeft() - inked.topLeft()).manhattanLength(), 2);
    EXPECT_LE((boxed.bottomRight() - inked.bottomRight()).manhattanLength(), 2);
    const QRect shown = h.canvas.pageRectInViewport(c.pageIndex).toAlignedRect().adjusted(1, 1, -1, -1);
    EXPECT_EQ(paint(b), shown & h.view()->rect());
}

INSTANTIATE_TEST_SUITE_P(RotationsZoomsAndBoxes, InkGeometryTest,
                         ::testing::Values(InkCase{"letter_r0", {0, 0, 612, 792}, 0, 1.0, 0},
                                           InkCase{"letter_r90", {0, 0, 612, 792}, 90, 1.0, 0},
                                           InkCase{"offset_r180", {-70, 500, 200, 300}, 180, 2.5, 0},
                                           InkCase{"offset_r90_zoomed", {100, -50, 300, 500}, 90, 1.6, 0},
                                           InkCase{"offset_r270_small", {150, -40, 200, 300}, 270, 0.4, 0},
                                           InkCase{"fifth_page_r270_zoomed", {10, 20, 595, 842}, 270, 1.6, 4},
                                           InkCase{"tiled_r90", {0, 0, 612, 792}, 90, 4.0, 1},
                                           InkCase{"tiled_offset_r180", {-70, 500, 900, 700}, 180, 6.0, 0}),
                         [](const auto& param) { return std::string(param.param.name); });

// Measured in view points, not page units: zoomed in, a tiny page box is still reported and
// left for the model to drop.
TEST(PageCanvas, OnlyDragsOfAtLeastEightByEightViewPointsAreReported) {
    const struct {
        int dx;
        int dy;
        bool reported;
        double zoom;
    } cases[] = {{0, 0, false, 1}, {5, 5, false, 1},  {7, 40, false, 1}, {40, 7, false, 1},
                 {8, 8, true, 1},  {-8, -8, true, 1}, {-30, 9, true, 1}, {9, 9, true, 8}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.dx << "x" << c.dy << " at zoom " << c.zoom);
        CanvasHarness h(letterPages(1));
        h.canvas.setZoom(c.zoom);
        const QPoint start(h.view()->width() / 2, h.view()->height() / 2);
        h.drag(start, start + QPoint(c.dx, c.dy));
        ASSERT_EQ(h.reports.size(), c.reported ? 1u : 0u);
        EXPECT_FALSE(h.canvas.isDragging() || h.canvas.dragPreview());
        if (c.reported) {
            EXPECT_NEAR(h.reports[0].second.width, std::abs(c.dx) / h.canvas.scale(), 1e-3);
        }
    }
}

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
TEST(PageCanvas, DragsBelongToTheNearestPage) {
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

TEST(PageCanvas, ScrollsToTheSelectedPageOnlyWhenAnotherPageIsShown) {
    const auto document = letterPages(8);
    CanvasHarness h(document);
    h.canvas.setZoom(1.5);
    h.canvas.synchronize({}, 5);
    EXPECT_EQ(h.canvas.currentPageIndex(), 5);
    const int atFive = h.scroll()->value();

    // Reading further down page 5, a new region or selecting page 5 again must not jump back.
    h.scroll()->setValue(atFive + 150);
    RedactionRegion region{Uuid::random(), 5, PageRect{72, 72, 100, 40}, RedactionSource::manual, std::nullopt};
    h.canvas.synchronize({region}, 5);
    EXPECT_EQ(h.scroll()->value(), atFive + 150);
    h.canvas.synchronize({}, 0);
    EXPECT_EQ(h.canvas.currentPageIndex(), 0);
}

TEST(PageCanvas, ZoomCommandsAreBoundedFitsFollowTheViewAndControlWheelKeepsThePointUnderThePointer) {
    CanvasHarness h(letterPages(3));
    const double fit = h.canvas.scale();
    EXPECT_NEAR(h.canvas.pageRectInViewport(0).width(), h.view()->width() - 32, 1.0);
    h.canvas.setFocus();
    QTest::keyClick(&h.canvas, Qt::Key_Plus, Qt::ControlModifier);
    EXPECT_GT(h.canvas.scale(), fit);
    EXPECT_EQ(h.canvas.zoomMode(), PageCanvas::ZoomMode::free);
    QTest::keyClick(&h.canvas, Qt::Key_0, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(h.canvas.scale(), h.canvas.logicalDpiX() / 72.0);
    for (int i = 0; i < 40; ++i)
        QTest::keyClick(&h.canvas, Qt::Key_Minus, Qt::ControlModifier);
    EXPECT_NEAR(h.canvas.zoom(), 0.1, 1e-9);

    // Fits are kept through resizes; a free zoom is not changed by them.
    h.canvas.setZoomMode(PageCanvas::ZoomMode::fitPage);
    h.canvas.goToPage(1);
    h.canvas.resize(900, 500);
    QTest::qWait(0);
    EXPECT_TRUE(QRectF(h.view()->rect()).contains(h.canvas.pageRectInViewport(1)));
    EXPECT_NEAR(h.canvas.pageRectInViewport(1).height(), h.view()->height() - 24, 1.0);
    h.canvas.setZoomMode(PageCanvas::ZoomMode::fitWidth);
    h.canvas.resize(600, 500);
    QTest::qWait(0);
    EXPECT_NEAR(h.canvas.pageRectInViewport(0).width(), h.view()->width() - 32, 1.0);
    h.canvas.setZoom(2.0);
    h.canvas.resize(800, 500);
    QTest::qWait(0);
    EXPECT_DOUBLE_EQ(h.canvas.zoom(), 2.0);

    const QPoint pointer(250, 300);
    const qint64 page = h.canvas.pageAt(pointer).value();
    const PageRect before = h.canvas.viewportRectToPage(page, QRectF(pointer, QSizeF()));
    QWheelEvent wheel(QPointF(pointer), h.view()->mapToGlobal(QPointF(pointer)), QPoint(), QPoint(0, 240), Qt::NoButton,
                      Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(h.view(), &wheel);
    ASSERT_GT(h.canvas.zoom(), 2.0);
    const PageRect after = h.canvas.viewportRectToPage(page, QRectF(pointer, QSizeF()));
    EXPECT_NEAR(after.x, before.x, 1.0);
    EXPECT_NEAR(after.y, before.y, 1.0);
}

// Reading with the keyboard: the page keys move a page at a time, and every change of the page
// at the top of the view is announced once.
TEST(PageCanvas, PageKeysMoveThroughPagesAndTheCurrentPageIsAnnounced) {
    CanvasHarness h(letterPages(5), QSize(700, 400));
    std::vector<qint64> announced;
    QObject::connect(&h.canvas, &PageCanvas::currentPageChanged, [&](qint64 page) { announced.push_back(page); });
    h.canvas.setFocus();
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        qint64 page;
    } steps[] = {{Qt::Key_PageDown, {}, 1}, {Qt::Key_Space, {}, 2},    {Qt::Key_PageUp, {}, 1},
                 {Qt::Key_End, {}, 4},      {Qt::Key_PageDown, {}, 4}, {Qt::Key_Space, Qt::ShiftModifier, 3},
                 {Qt::Key_Home, {}, 0},     {Qt::Key_PageUp, {}, 0}};
    for (const auto& step : steps) {
        QTest::keyClick(&h.canvas, step.key, step.modifiers);
        EXPECT_EQ(h.canvas.currentPageIndex(), step.page) << QKeySequence(step.key).toString().toStdString();
    }
    // Half way down page 1, going back goes to its top first.
    h.canvas.goToPage(1);
    h.scroll()->setValue(h.scroll()->value() + 300);
    QTest::keyClick(&h.canvas, Qt::Key_PageUp);
    EXPECT_EQ(h.scroll()->value(),
              static_cast<int>(std::lround(h.canvas.pageRectInViewport(1).top())) + h.scroll()->value() - 6);
    EXPECT_EQ((std::vector<qint64>{1, 2, 1, 4, 3, 0, 1}), announced);
}

// A box by keyboard moves and grows in steps, never leaves its page, and Return reports exactly
// it in page space; the page keys still page while it is out.
TEST(PageCanvas, AKeyboardBoxMovesAndResizesWithinItsPageAndReturnAddsExactlyIt) {
    const PageSpec turned{.mediaBox = {100, -50, 300, 500}, .rotate = 90};  // shown 500 wide, 300 high
    const auto document = documentOf({turned, turned, turned});
    CanvasHarness h(document);
    h.canvas.setFocus();
    const auto press = [&](Qt::Key key, Qt::KeyboardModifiers modifiers = {}, int times = 1) {
        for (int i = 0; i < times; ++i)
            QTest::keyClick(&h.canvas, key, modifiers);
    };
    const Qt::KeyboardModifiers ctrl = Qt::ControlModifier;
    const Qt::KeyboardModifiers shift = Qt::ShiftModifier;
    press(Qt::Key_B);
    ASSERT_TRUE(h.canvas.keyboardBox());
    EXPECT_EQ(h.canvas.keyboardBox()->pageIndex(), 0);
    EXPECT_EQ(h.canvas.keyboardBox()->rect(), QRectF(187.5, 140.625, 125, 18.75));
    const struct {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        int times;
        QRectF box;
    } steps[] = {{Qt::Key_Right, {}, 1, {189.5, 140.625, 125, 18.75}},
                 {Qt::Key_Down, shift, 1, {189.5, 164.625, 125, 18.75}},
                 {Qt::Key_Right, ctrl, 1, {189.5, 164.625, 127, 18.75}},
                 {Qt::Key_Down, ctrl | shift, 1, {189.5, 164.625, 127, 42.75}},
                 {Qt::Key_Up, {}, 100, {189.5, 0, 127, 42.75}},
                 {Qt::Key_Up, ctrl, 30, {189.5, 0, 127, 4}},
                 {Qt::Key_Left, shift, 30, {0, 0, 127, 4}},
                 {Qt::Key_Right, ctrl | shift, 30, {0, 0, 500, 4}},
                 {Qt::Key_Right, {}, 1, {0, 0, 500, 4}},
                 {Qt::Key_Down, shift, 30, {0, 296, 500, 4}}};
    for (const auto& step : steps) {
        press(step.key, step.modifiers, step.times);
        ASSERT_TRUE(h.canvas.keyboardBox());
        EXPECT_EQ(h.canvas.keyboardBox()->rect(), step.box)
            << QKeySequence(step.modifiers | step.key).toString().toStdString() << " x" << step.times;
    }
    EXPECT_TRUE(QRectF(h.view()->rect()).contains(*h.canvas.keyboardBoxInViewport())) << "kept in view";

    press(Qt::Key_PageDown);
    EXPECT_EQ(h.canvas.currentPageIndex(), 1);
    EXPECT_EQ(h.canvas.keyboardBox()->pageIndex(), 0);
    press(Qt::Key_Return);
    ASSERT_EQ(h.reports.size(), 1u);
    EXPECT_EQ(h.reports[0].first, 0);
    EXPECT_EQ(h.reports[0].second, displayedRectToPage(document->page(0), QRectF(0, 296, 500, 4)));
    EXPECT_FALSE(h.canvas.keyboardBox());

    // Started again on the page being read; Escape drops it, and a drag takes over from it.
    press(Qt::Key_Insert);
    EXPECT_EQ(h.canvas.keyboardBox()->pageIndex(), 1);
    press(Qt::Key_Escape);
    EXPECT_FALSE(h.canvas.keyboardBox());
    press(Qt::Key_B);
    h.drag(h.pageCentre(1), h.pageCentre(1) + QPoint(30, 30));
    EXPECT_FALSE(h.canvas.keyboardBox());
    press(Qt::Key_Return);
    EXPECT_EQ(h.reports.size(), 2u) << "the drag only";
}

// With the label on, a box large enough carries white text centred in it, as the export sets
// it; a small box and a box without the option stay plain black.
TEST(PageCanvas, TheRedactedLabelIsDrawnInBoxesLargeEnoughToCarryIt) {
    const PageRect large{100, 400, 200, 40};
    const PageRect small{100, 340, 60, 30};  // too narrow for the label
    const struct {
        bool label;
        int largeWhite;  // at least
        int smallWhite;  // exactly
    } cases[] = {{true, 40, 0}, {false, 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label ? "label" : "no label");
        CanvasHarness h(letterPages(1));
        h.canvas.setZoom(1.5);
        h.canvas.synchronize({{Uuid::random(), 0, large, RedactionSource::manual, std::nullopt},
                              {Uuid::random(), 0, small, RedactionSource::ocr, std::nullopt}},
                             0);
        h.canvas.revealRect(0, PageRect{100, 340, 200, 100});  // both boxes
        h.canvas.setLabelRedactions(c.label);
        const QImage shot = h.view()->grab().toImage();
        const auto white = [&](const PageRect& box, QPointF* centre = nullptr) {
            const QRect area = h.canvas.pageRectToViewport(0, box).toAlignedRect().adjusted(2, 2, -2, -2) & shot.rect();
            EXPECT_FALSE(area.isEmpty());
            int count = 0;
            QPointF sum;
            for (int y = area.top(); y <= area.bottom(); ++y) {
                for (int x = area.left(); x <= area.right(); ++x) {
                    if (qGray(shot.pixel(x, y)) > 160) {
                        ++count;
                        sum += QPointF(x + 0.5, y + 0.5);
                    }
                }
            }
            if (centre && count > 0) *centre = sum / count;
            return count;
        };
        QPointF centre;
        const int largeWhite = white(large, &centre);
        EXPECT_GE(largeWhite, c.largeWhite);
        EXPECT_EQ(white(small), c.smallWhite);
        if (c.label) {
            const QPointF middle = h.canvas.pageRectToViewport(0, large).center();
            EXPECT_NEAR(centre.x(), middle.x(), 4);
            EXPECT_NEAR(centre.y(), middle.y(), 4);
        } else {
            EXPECT_EQ(largeWhite, 0);
        }
    }
}

// Pages, the regions, hits, findings and hidden content on them and a keyboard box are
// accessible children, named and placed where they are drawn; interfaces stay as long as what
// they stand for.
TEST(PageCanvas, ScreenReadersFindEachPageAndWhatIsOnIt) {
    CanvasHarness h(letterPages(3));
    QAccessibleInterface* canvas = QAccessible::queryAccessibleInterface(&h.canvas);
    ASSERT_TRUE(canvas);
    EXPECT_EQ(canvas->role(), QAccessible::Document);
    EXPECT_EQ(canvas->text(QAccessible::Name), "Pages");
    EXPECT_TRUE(canvas->text(QAccessible::Description).contains("press B"));
    ASSERT_EQ(canvas->childCount(), 3);

    const RedactionRegion manual{Uuid::random(), 1, {72, 600, 200, 40}, RedactionSource::manual, std::nullopt};
    const RedactionRegion text{Uuid::random(), 0, {72, 500, 100, 20}, RedactionSource::textSearch, "Jane"};
    const RedactionRegion ocr{Uuid::random(), 1, {300, 200, 120, 30}, RedactionSource::ocr, "Roe"};
    h.canvas.synchronize({manual, text, ocr}, 0);
    h.canvas.setOutlines({{1, {72, 300, 80, 14}, PageOutline::Kind::searchHit},
                          {2, {72, 300, 80, 14}, PageOutline::Kind::searchHit},
                          {1, {72, 100, 60, 14}, PageOutline::Kind::finding},
                          {1, {300, 100, 60, 14}, PageOutline::Kind::hiddenContent}});
    h.canvas.goToPage(1);
    QAccessibleInterface* page = canvas->child(1);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->text(QAccessible::Name), "Page 2 of 3");
    EXPECT_EQ(page->parent(), canvas);
    EXPECT_EQ(canvas->indexOfChild(page), 1);
    EXPECT_EQ(canvas->child(1), page) << "kept, not made again";
    EXPECT_FALSE(page->state().offscreen);
    EXPECT_TRUE(canvas->child(0)->state().offscreen);

    const QStringList names{"Redaction 1 of 3, page 2, manual", "Redaction 3 of 3, page 2, from OCR Search",
                            "Search match 1 of 2, page 2", "Finding 1 of 1, page 2", "Hidden content 1 of 1, page 2"};
    ASSERT_EQ(page->childCount(), names.size());
    for (int i = 0; i < page->childCount(); ++i) {
        QAccessibleInterface* mark = page->child(i);
        EXPECT_EQ(mark->text(QAccessible::Name), names[i]);
        EXPECT_EQ(mark->parent(), page);
        EXPECT_EQ(page->indexOfChild(mark), i);
        // Found again where it is drawn, on screen.
        const QPoint centre = mark->rect().center();
        EXPECT_EQ(canvas->childAt(centre.x(), centre.y()), page) << i;
        EXPECT_EQ(page->childAt(centre.x(), centre.y()), mark) << i;
        EXPECT_TRUE(page->rect().contains(mark->rect())) << i;
    }
    const QRectF drawn = h.canvas.pageRectToViewport(1, manual.rect);
    EXPECT_EQ(h.view()->mapFromGlobal(page->child(0)->rect().center()), drawn.toAlignedRect().center());

    // Removing a region renumbers the others in place; its own interface goes.
    QAccessibleInterface* kept = page->child(1);
    const QAccessible::Id gone = QAccessible::uniqueId(page->child(0));
    h.canvas.synchronize({text, ocr}, 0);
    EXPECT_EQ(page->childCount(), 4);
    EXPECT_EQ(page->child(0), kept);
    EXPECT_EQ(kept->text(QAccessible::Name), "Redaction 2 of 2, page 2, from OCR Search");
    EXPECT_EQ(QAccessible::accessibleInterface(gone), nullptr);
    h.canvas.synchronize({text, ocr, manual}, 0);
    EXPECT_EQ(page->child(1)->text(QAccessible::Name), "Redaction 3 of 3, page 2, manual");

    // The box being placed is on the page being read, and is what the keyboard works on.
    h.canvas.setFocus();
    QTest::keyClick(&h.canvas, Qt::Key_B);
    ASSERT_EQ(page->childCount(), 6);
    QAccessibleInterface* box = page->child(2);
    EXPECT_EQ(box->text(QAccessible::Name), "New box on page 2");
    EXPECT_EQ(canvas->focusChild(), box);
    const QAccessible::Id boxId = QAccessible::uniqueId(box);
    QTest::keyClick(&h.canvas, Qt::Key_Escape);
    EXPECT_EQ(page->childCount(), 5);
    EXPECT_EQ(QAccessible::accessibleInterface(boxId), nullptr);

    // Children go with their canvas, and only with theirs.
    QAccessible::Id otherPage = 0;
    QAccessible::Id otherMark = 0;
    {
        CanvasHarness other(letterPages(2));
        other.canvas.synchronize({{Uuid::random(), 1, {72, 72, 100, 30}, RedactionSource::manual, std::nullopt}}, 0);
        QAccessibleInterface* second = QAccessible::queryAccessibleInterface(&other.canvas)->child(1);
        EXPECT_EQ(second->text(QAccessible::Name), "Page 2 of 2");
        otherPage = QAccessible::uniqueId(second);
        otherMark = QAccessible::uniqueId(second->child(0));
    }
    EXPECT_EQ(QAccessible::accessibleInterface(otherPage), nullptr);
    EXPECT_EQ(QAccessible::accessibleInterface(otherMark), nullptr);
    EXPECT_EQ(canvas->child(1), page);
    EXPECT_EQ(page->child(0), kept);
}

}  // namespace
}  // namespace norvane
