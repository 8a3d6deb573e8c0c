#pragma once
// The large page area of the workspace: every page of the document in one continuous
// column, scaled to the view's width (times the zoom), pending regions drawn as black boxes,
// and a mouse drag turned into a page-space rectangle for a new manual region.

#include "canvas/page_render_service.h"
#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <QAbstractScrollArea>
#include <QPointF>
#include <QRectF>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

namespace norvane {

// A place outlined on a page, never filled solid, so it cannot be taken for a pending box.
struct PageOutline {
    enum class Kind { searchHit, finding };
    qint64 pageIndex = 0;
    PageRect rect;
    Kind kind = Kind::searchHit;
    bool emphasised = false;

    friend bool operator==(const PageOutline&, const PageOutline&) = default;
};

// Items grouped by page once per change, so that a paint visits only the pages it shows.
template <class T>
class PageBuckets {
public:
    // Keeps take(item) for each item on a page in [0, pageCount), in list order within a page.
    template <class Item, class Take>
    void assign(const std::vector<Item>& list, qint64 pageCount, Take take) {
        const auto within = [&](const Item& item) { return item.pageIndex >= 0 && item.pageIndex < pageCount; };
        starts_.assign(static_cast<std::size_t>(std::max<qint64>(pageCount, 0)) + 1, 0);
        for (const Item& item : list) {
            if (within(item)) {
                ++starts_[static_cast<std::size_t>(item.pageIndex) + 1];
            }
        }
        std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
        std::vector<std::size_t> next(starts_.begin(), starts_.end() - 1);
        items_.resize(starts_.back());
        for (const Item& item : list) {
            if (within(item)) {
                items_[next[static_cast<std::size_t>(item.pageIndex)]++] = take(item);
            }
        }
    }
    std::span<const T> on(qint64 pageIndex) const {
        if (pageIndex < 0 || static_cast<std::size_t>(pageIndex) + 1 >= starts_.size()) {
            return {};
        }
        const auto p = static_cast<std::size_t>(pageIndex);
        return std::span<const T>(items_).subspan(starts_[p], starts_[p + 1] - starts_[p]);
    }

private:
    std::vector<T> items_;
    std::vector<std::size_t> starts_;  // page p holds items_[starts_[p], starts_[p + 1])
};

class PageCanvas : public QAbstractScrollArea {
    Q_OBJECT

public:
    using ManualRedactionHandler = std::function<void(qint64 pageIndex, const PageRect& rect)>;

    // Drags are reported only for pages of `creationDocument`: if the view later shows
    // another document, its drags are dropped.
    explicit PageCanvas(SharedPdfDocument creationDocument, QWidget* parent = nullptr);
    const SharedPdfDocument& creationDocument() const { return creationDocument_; }
    ~PageCanvas() override;

    void setOnManualRedaction(ManualRedactionHandler handler) { onManualRedaction_ = std::move(handler); }

    // Brings the view in line with the model: the document (swapped only when it is another
    // object), the boxes, and the selected page (scrolled to only when another page is shown).
    void synchronize(const SharedPdfDocument& document, const std::vector<RedactionRegion>& regions,
                     qint64 selectedPageIndex);

    const SharedPdfDocument& document() const { return document_; }

    void setOutlines(std::vector<PageOutline> outlines);
    const std::vector<PageOutline>& outlines() const { return outlines_; }
    // Scrolls the least needed to show a page-space rectangle, centred where it must move.
    void revealRect(qint64 pageIndex, const PageRect& rect);
    // Where a page-space rectangle sits in viewport coordinates (empty for no such page).
    QRectF pageRectToViewport(qint64 pageIndex, const PageRect& rect) const;

    // Zoom relative to fitting the widest page to the view's width.
    double zoom() const { return zoom_; }
    void setZoom(double zoom);
    void zoomIn();
    void zoomOut();
    void zoomToFit();
    // View pixels per point at the current size and zoom.
    double scale() const { return scale_; }

    // Page at a viewport point, falling back to the nearest page; nothing without pages.
    std::optional<qint64> pageAt(const QPointF& viewportPoint) const;
    // Where a page sits in viewport coordinates (empty for a page that does not exist).
    QRectF pageRectInViewport(qint64 pageIndex) const;
    // A viewport rectangle in a page's page space.
    PageRect viewportRectToPage(qint64 pageIndex, const QRectF& viewportRect) const;
    // The page at the top of the view.
    std::optional<qint64> currentPageIndex() const;
    void goToPage(qint64 pageIndex);

    bool isDragging() const { return dragStart_.has_value(); }
    // The drag preview in viewport coordinates, while dragging.
    std::optional<QRectF> dragPreview() const;

    // Drawn pages of the document shown, shared with the thumbnails of that document; none
    // without a document.
    const std::shared_ptr<PageRenderService>& renderService() const { return renders_; }
    // View pixels per point of the page images this view asks for.
    double devicePixelsPerPoint() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    struct DragPage {
        SharedPdfDocument document;
        qint64 index = 0;
    };

    void setDocument(const SharedPdfDocument& document);
    void useRenders(std::shared_ptr<PageRenderService> renders);
    void relayout(std::optional<QPointF> anchorViewportPoint = std::nullopt);
    void updateScrollBars();
    void requestVisiblePages();
    void endDrag();
    QPointF toContent(const QPointF& viewportPoint) const;
    QPointF toViewport(const QPointF& contentPoint) const;
    QRectF pageRectInContent(qint64 pageIndex) const;
    std::optional<qint64> pageAtContent(const QPointF& contentPoint) const;
    PageRect contentRectToPage(qint64 pageIndex, const QRectF& contentRect) const;
    double fitScale() const;

    SharedPdfDocument creationDocument_;
    SharedPdfDocument document_;
    PageBuckets<PageRect> boxes_;
    std::vector<PageOutline> outlines_;
    PageBuckets<PageOutline> outlinesByPage_;
    ManualRedactionHandler onManualRedaction_;

    double zoom_ = 1.0;
    double scale_ = 1.0;
    double contentWidth_ = 0;
    double contentHeight_ = 0;
    std::vector<QRectF> pageRects_;  // content coordinates, one per page

    std::optional<QPointF> dragStart_;  // content coordinates
    std::optional<DragPage> dragPage_;
    std::optional<QPointF> dragCurrent_;

    std::shared_ptr<PageRenderService> renders_;
    QTimer wantTimer_;
};

}  // namespace norvane
