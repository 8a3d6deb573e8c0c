#pragma once
// The large page area of the workspace: every page of the document in one continuous
// column, fitted to the view's width, its page or zoomed freely, pending regions drawn as black
// boxes, and a mouse drag turned into a page-space rectangle for a new manual region. Pages too
// large to draw whole at the view's resolution are drawn in tiles of what is in view.

#include "canvas/page_buckets.h"
#include "canvas/page_render_service.h"
#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <QAbstractScrollArea>
#include <QPointF>
#include <QRectF>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
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

class PageCanvas : public QAbstractScrollArea {
    Q_OBJECT

public:
    enum class ZoomMode { fitWidth, fitPage, free };
    using ManualRedactionHandler = std::function<void(qint64 pageIndex, const PageRect& rect)>;

    // Drags are reported only for pages of `creationDocument`: if the view later shows
    // another document, its drags are dropped.
    explicit PageCanvas(SharedPdfDocument creationDocument, QWidget* parent = nullptr);
    const SharedPdfDocument& creationDocument() const { return creationDocument_; }
    ~PageCanvas() override;

    void setOnManualRedaction(ManualRedactionHandler handler) { onManualRedaction_ = std::move(handler); }

    // Brings the view in line with the model: the document (swapped only when it is another
    // object), the boxes, and the selected page, scrolled to only when the selection changed to
    // a page out of view, so that adding or removing a box on the page being read never moves it.
    void synchronize(const SharedPdfDocument& document, const std::vector<RedactionRegion>& regions,
                     qint64 selectedPageIndex);

    const SharedPdfDocument& document() const { return document_; }

    void setOutlines(std::vector<PageOutline> outlines);
    const std::vector<PageOutline>& outlines() const { return outlines_; }
    // Scrolls the least needed to show a page-space rectangle, centred where it must move.
    void revealRect(qint64 pageIndex, const PageRect& rect);
    // Where a page-space rectangle sits in viewport coordinates (empty for no such page).
    QRectF pageRectToViewport(qint64 pageIndex, const PageRect& rect) const;

    // Zoom relative to actual size (a point is 1/72 of a logical inch on screen).
    double zoom() const { return scale_ / actualScale(); }
    ZoomMode zoomMode() const { return zoomMode_; }
    // A free zoom, bounded, kept through resizes.
    void setZoom(double zoom);
    void setZoomMode(ZoomMode mode);
    void zoomIn();
    void zoomOut();
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
    // Every part of the page in view is drawn at the view's resolution (or the page failed).
    bool isSharp(qint64 pageIndex);

    bool isDragging() const { return dragStart_.has_value(); }
    // The drag preview in viewport coordinates, while dragging.
    std::optional<QRectF> dragPreview() const;

    // Drawn pages of the document shown, shared with the thumbnails of that document; none
    // without a document.
    const std::shared_ptr<PageRenderService>& renderService() const { return renders_; }
    // View pixels per point of the page images this view asks for.
    double devicePixelsPerPoint() const;

signals:
    void currentPageChanged(qint64 pageIndex);
    void zoomChanged();

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

    // How a page is asked for at the view's resolution: whole, or the tiles in view.
    struct PagePicture {
        double pixelsPerPoint = 1;  // device pixels per point actually drawn
        bool tiled = false;
        std::vector<QRect> tiles;  // device pixels of the whole picture
    };
    PagePicture pictureFor(qint64 pageIndex) const;
    double actualScale() const;
    double fitScale(ZoomMode mode) const;
    void setScale(double scale, ZoomMode mode, std::optional<QPointF> anchorViewportPoint);
    bool pageInView(qint64 pageIndex) const;
    void notifyCurrentPage();
    void setDocument(const SharedPdfDocument& document);
    void useRenders(std::shared_ptr<PageRenderService> renders);
    // Lays the pages out again at the fitted scale, or at `freeScale`, keeping the point under
    // the anchor where it is.
    void relayout(std::optional<QPointF> anchorViewportPoint = std::nullopt,
                  std::optional<double> freeScale = std::nullopt);
    void updateScrollBars();
    void requestVisiblePages();
    void endDrag();
    QPointF toContent(const QPointF& viewportPoint) const;
    QPointF toViewport(const QPointF& contentPoint) const;
    QRectF pageRectInContent(qint64 pageIndex) const;
    std::optional<qint64> pageAtContent(const QPointF& contentPoint) const;
    PageRect contentRectToPage(qint64 pageIndex, const QRectF& contentRect) const;

    SharedPdfDocument creationDocument_;
    SharedPdfDocument document_;
    PageBuckets<PageRect> boxes_;
    std::vector<PageOutline> outlines_;
    PageBuckets<PageOutline> outlinesByPage_;
    ManualRedactionHandler onManualRedaction_;

    ZoomMode zoomMode_ = ZoomMode::fitWidth;
    double scale_ = 1.0;
    std::optional<qint64> syncedSelection_;
    std::optional<qint64> reportedPage_;
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
