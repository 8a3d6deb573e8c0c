#pragma once
// The canvas's column of pages without the widget: where each page sits at a scale, the scale
// that fits a view, which page is at a point or at the top, how a relayout keeps the point
// under an anchor still, and which pictures of a page (whole, or the tiles in view) to ask
// for. Content coordinates are view pixels from the top-left corner of the whole column.

#include "canvas/page_render_service.h"
#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSizeF>

#include <optional>
#include <utility>
#include <vector>

namespace norvane {

class PageColumn {
public:
    enum class ZoomMode { fitWidth, fitPage, free };

    static constexpr double kMargin = 16;      // around the column
    static constexpr double kGap = 12;         // between two pages
    static constexpr double kMinScale = 0.02;  // view pixels per point
    static constexpr double kMaxScale = 32.0;

    // How a page is asked for at the view's resolution: whole, or the tiles in view.
    struct Picture {
        double pixelsPerPoint = 1;  // device pixels per point actually drawn
        bool tiled = false;
        std::vector<QRect> tiles;  // device pixels of the whole picture
    };

    // A place on a page: displayed points from the page's top-left corner.
    struct Anchor {
        qint64 page = 0;
        QPointF offset;
    };

    explicit PageColumn(std::vector<PdfPageInfo> pages = {});

    qint64 pageCount() const { return static_cast<qint64>(pages_.size()); }
    bool hasPage(qint64 index) const { return index >= 0 && index < pageCount(); }
    const PdfPageInfo& page(qint64 index) const { return pages_[static_cast<std::size_t>(index)]; }
    // Width and height as displayed, in points.
    QSizeF displayedSize(qint64 index) const { return sizes_[static_cast<std::size_t>(index)]; }

    double scale() const { return scale_; }
    QSizeF contentSize() const { return content_; }
    const std::vector<QRectF>& pageRects() const { return rects_; }
    // Where a page sits, in content coordinates; null for a page that is not laid out.
    QRectF pageRect(qint64 index) const;

    // The scale at which `mode` fits the pages into `area`, the view without scroll bars; when
    // the pages are then taller than the area, fitted again beside a vertical bar `barWidth`
    // wide. Fitting a page fits `readPage`, whole. A free mode keeps `current`.
    double fitScale(ZoomMode mode, QSizeF area, double barWidth, qint64 readPage, double current) const;
    // Lays the pages out at `scale` (bounded), centred in a view `viewWidth` wide.
    void layOut(double scale, double viewWidth);
    // Lays out again, keeping what was under `anchor` (a view point, the view's top-left corner at
    // `offset` in content) where it is: the offset that does, or none when nothing was laid out.
    std::optional<QPointF> relayout(double scale, double viewWidth, QPointF offset, QPointF anchor);

    std::optional<Anchor> anchorAt(QPointF content) const;
    QPointF contentPoint(const Anchor& anchor) const;

    // Page at a point, falling back to the nearest page; none without pages.
    std::optional<qint64> pageAt(QPointF content) const;
    // The first page that shows more than a sliver below `top`.
    std::optional<qint64> currentPage(double top) const;
    // The scroll offset that shows a page at the top, a little of the gap above it.
    double topOf(qint64 index) const;
    // Pages reaching into [top, bottom], as first and one past the last.
    std::pair<qint64, qint64> pagesWithin(double top, double bottom) const;

    // Displayed points of a page <-> content coordinates, and page space <-> content.
    QRectF displayedToContent(qint64 index, const QRectF& displayed) const;
    QRectF contentToDisplayed(qint64 index, const QRectF& content) const;
    QRectF toContent(qint64 index, const PageRect& rect) const;
    PageRect toPage(qint64 index, const QRectF& content) const;

    // How to ask for a page so that what of it is in `view` (content coordinates) is sharp at
    // `devicePixelRatio` device pixels per view pixel.
    Picture picture(qint64 index, const QRectF& view, double devicePixelRatio) const;
    // Every picture the view needs now, most wanted first: the pages in view (tiles, then a
    // small stand-in for tiled pages) and one page either side.
    std::vector<PageRenderService::Wish> wishes(const QRectF& view, double devicePixelRatio) const;

private:
    std::vector<PdfPageInfo> pages_;
    std::vector<QSizeF> sizes_;
    double widest_ = 0;  // displayed points
    double scale_ = 1.0;
    QSizeF content_;
    std::vector<QRectF> rects_;
};

}  // namespace norvane
