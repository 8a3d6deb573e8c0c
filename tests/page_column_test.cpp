// The canvas's column of pages without a widget: the fitted scales, where pages sit, which page
// is at a point or on top, how a relayout keeps the anchor still, and which pictures are asked
// for, tiles of what is in view on pages too large to draw whole.

#include "canvas/page_column.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace norvane {
namespace {

using Mode = PageColumn::ZoomMode;
using Span = std::pair<qint64, qint64>;

constexpr PdfPageInfo kLetter{{0, 0, 612, 792}, 0};
constexpr PdfPageInfo kWideTurned{{0, 0, 842, 595}, 90};  // shown 595 wide, 842 high
constexpr double kBar = 15;

PageColumn columnOf(std::vector<PdfPageInfo> pages, double scale = 1.0, double viewWidth = 700) {
    PageColumn column(std::move(pages));
    column.layOut(scale, viewWidth);
    return column;
}

struct FitCase {
    friend void PrintTo(const FitCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<PdfPageInfo> pages;
    Mode mode;
    QSizeF area;
    qint64 readPage;
    double scale;
};

class FitTest : public ::testing::TestWithParam<FitCase> {};

TEST_P(FitTest, FitsTheWidestPageOrTheReadPageBesideTheBarOnlyWhenThePagesOverflow) {
    const FitCase& c = GetParam();
    EXPECT_NEAR(PageColumn(c.pages).fitScale(c.mode, c.area, kBar, c.readPage, 0.5), c.scale, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, FitTest,
    ::testing::Values(
        // Three letter pages overflow 600 high: fitted beside the bar.
        FitCase{
            "width_overflowing", {kLetter, kLetter, kLetter}, Mode::fitWidth, {700, 600}, 0, (700 - kBar - 32) / 612},
        // One short wide page fits whole: no room is kept for a bar.
        FitCase{"width_short", {{{0, 0, 600, 100}, 0}}, Mode::fitWidth, {700, 600}, 0, (700 - 32) / 600.0},
        // The widest page decides, turned pages by their displayed width.
        FitCase{"width_widest_turned", {kWideTurned, kLetter}, Mode::fitWidth, {700, 600}, 0, (700 - kBar - 32) / 612},
        // A whole page in view: the read page's height decides here, its width there.
        FitCase{"page_tall", {kLetter, kLetter}, Mode::fitPage, {700, 600}, 1, (600 - 24) / 792.0},
        FitCase{"page_turned", {kLetter, kWideTurned}, Mode::fitPage, {700, 600}, 1, (600 - 24) / 842.0},
        FitCase{
            "page_narrow_view", {kLetter, kLetter, kLetter}, Mode::fitPage, {300, 900}, 0, (300 - kBar - 32) / 612.0},
        FitCase{"page_read_out_of_range", {kLetter, kWideTurned}, Mode::fitPage, {700, 600}, 9, (600 - 24) / 842.0},
        FitCase{"free_keeps_its_scale", {kLetter}, Mode::free, {700, 600}, 0, 0.5},
        FitCase{"no_pages", {}, Mode::fitWidth, {700, 600}, 0, 0.5}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(PageColumn, PagesAreStackedCentredWithGapsAndTheScaleIsBounded) {
    const PageColumn column = columnOf({kLetter, kWideTurned, kLetter}, 0.5, 1000);
    const std::vector<QRectF> expected{{(1000 - 306) / 2.0, 16, 306, 396},
                                       {(1000 - 297.5) / 2.0, 16 + 396 + 12, 297.5, 421},
                                       {(1000 - 306) / 2.0, 16 + 396 + 12 + 421 + 12, 306, 396}};
    EXPECT_EQ(column.pageRects(), expected);
    EXPECT_EQ(column.contentSize(), QSizeF(306 + 32, expected[2].bottom() + 16));
    EXPECT_TRUE(column.pageRect(3).isNull());
    // Wider than the view, the column starts at the margin.
    EXPECT_DOUBLE_EQ(columnOf({kLetter}, 2.0, 300).pageRect(0).left(), 16);
    EXPECT_DOUBLE_EQ(columnOf({kLetter}, 1e-6).scale(), PageColumn::kMinScale);
    EXPECT_DOUBLE_EQ(columnOf({kLetter}, 1e6).scale(), PageColumn::kMaxScale);
    EXPECT_EQ(columnOf({}).contentSize(), QSizeF());
}

// In margins and gaps the nearest page counts; the page on top is the first showing more than
// the gap's worth below the top edge.
TEST(PageColumn, PageAtAPointAndPageOnTop) {
    const PageColumn column = columnOf({kLetter, kLetter, kLetter}, 1.0, 1000);
    const QRectF first = column.pageRect(0);
    const QRectF second = column.pageRect(1);
    const struct {
        QPointF point;
        qint64 page;
    } points[] = {{first.center(), 0},
                  {{0, first.center().y()}, 0},
                  {{first.center().x(), -500}, 0},
                  {{first.center().x(), first.bottom() + 5}, 0},
                  {{first.center().x(), second.top() - 5}, 1},
                  {{2000, second.center().y()}, 1},
                  {{first.center().x(), 1e9}, 2}};
    for (const auto& p : points) {
        EXPECT_EQ(column.pageAt(p.point), p.page) << p.point.x() << "," << p.point.y();
    }
    const struct {
        double top;
        qint64 page;
    } tops[] = {{0, 0}, {first.bottom() - 13, 0}, {first.bottom() - 12, 1}, {column.topOf(1), 1}, {1e9, 2}};
    for (const auto& t : tops) {
        EXPECT_EQ(column.currentPage(t.top), t.page) << t.top;
    }
    EXPECT_DOUBLE_EQ(column.topOf(1), second.top() - 6);
    EXPECT_EQ(column.pagesWithin(first.bottom() + 1, second.top() + 1), Span(1, 2));
    EXPECT_EQ(column.pagesWithin(first.bottom() - 1, 1e9), Span(0, 3));
    EXPECT_EQ(column.pagesWithin(-100, 10), Span(0, 0));
    EXPECT_FALSE(columnOf({}).pageAt({0, 0}));
    EXPECT_FALSE(columnOf({}).currentPage(0));
}

// Whatever was under the anchor before a zoom is under it after, on pages of any size.
TEST(PageColumn, RelayoutKeepsWhatIsUnderTheAnchorInPlace) {
    const struct {
        double from;
        double to;
        QPointF offset;
        QPointF anchor;
    } cases[] = {{1.0, 2.0, {0, 0}, {350, 0}},
                 {1.0, 0.3, {0, 900}, {120, 400}},
                 {2.5, 1.25, {200, 3000}, {10, 10}},
                 {0.5, 4.0, {0, 500}, {690, 590}}};
    for (const auto& c : cases) {
        PageColumn column = columnOf({kLetter, kWideTurned, kLetter, kLetter}, c.from);
        const auto before = column.anchorAt(c.offset + c.anchor);
        ASSERT_TRUE(before);
        const auto offset = column.relayout(c.to, 700, c.offset, c.anchor);
        ASSERT_TRUE(offset);
        EXPECT_DOUBLE_EQ(column.scale(), c.to);
        const auto after = column.anchorAt(*offset + c.anchor);
        ASSERT_TRUE(after);
        EXPECT_EQ(after->page, before->page);
        EXPECT_NEAR(after->offset.x(), before->offset.x(), 1e-9);
        EXPECT_NEAR(after->offset.y(), before->offset.y(), 1e-9);
    }
    PageColumn unlaid({kLetter});
    EXPECT_FALSE(unlaid.relayout(1.0, 700, {}, {}));
}

// A page too large to draw whole is asked for in the 1024-pixel tiles that cover what is in
// view, and nothing else; a small stand-in follows the tiles, and a neighbour drawn whole.
TEST(PageColumn, OnlyTheTilesInViewOfAHugePageAreAskedFor) {
    const PdfPageInfo huge{{0, 0, 7200, 7200}, 0};  // 100 inches square
    const PageColumn column = columnOf({kLetter, huge, kLetter}, 1.0, 800);
    const QRectF page = column.pageRect(1);
    const struct {
        double ratio;
        QPointF into;  // the view's corner, from the page's corner
        int tiles;
    } cases[] = {{1, {0, 0}, 1}, {1, {1000, 1000}, 4}, {2, {1000, 1000}, 9}, {2, {3000, 2048}, 6}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.ratio << " at " << c.into.x() << "," << c.into.y());
        const QRectF view(page.topLeft() + c.into, QSizeF(800, 600));
        const PageColumn::Picture picture = column.picture(1, view, c.ratio);
        ASSERT_TRUE(picture.tiled);
        EXPECT_DOUBLE_EQ(picture.pixelsPerPoint, c.ratio);
        EXPECT_EQ(static_cast<int>(picture.tiles.size()), c.tiles);
        QRect covered;
        for (const QRect& tile : picture.tiles) {
            EXPECT_EQ(tile.x() % 1024, 0);
            EXPECT_EQ(tile.y() % 1024, 0);
            covered |= tile;
        }
        const QRectF seen((view.topLeft() - page.topLeft()) * c.ratio, view.size() * c.ratio);
        EXPECT_TRUE(QRectF(covered).contains(seen));
        EXPECT_LT(covered.width(), seen.width() + 2 * 1024);
    }
    EXPECT_FALSE(column.picture(0, QRectF(0, 0, 800, 600), 2).tiled);

    const QRectF view(page.topLeft() + QPointF(0, -100), QSizeF(800, 600));  // the page's top, the gap above
    const auto wishes = column.wishes(view, 1);
    ASSERT_EQ(wishes.size(), 4u);
    EXPECT_EQ(wishes[0].pageIndex, 0);  // the bottom of the first page shows too
    EXPECT_TRUE(wishes[0].tile.isNull());
    EXPECT_EQ(wishes[1].pageIndex, 1);
    EXPECT_FALSE(wishes[1].tile.isNull());
    EXPECT_EQ(wishes[2].pageIndex, 2);  // the next page, ready for scrolling
    EXPECT_EQ(wishes[3].pageIndex, 1);  // the stand-in, last
    EXPECT_TRUE(wishes[3].tile.isNull());
    EXPECT_LT(wishes[3].pixelsPerPoint, 0.25);
    EXPECT_TRUE(column.wishes(QRectF(0, 1e7, 800, 600), 1).empty());
}

}  // namespace
}  // namespace norvane
