#pragma once
// The large page area of the workspace, made for one document: every page in one continuous
// column (laid out by PageColumn), pending regions drawn as black boxes, hits and findings
// outlined, and a mouse drag or a box placed with the keyboard turned into a page-space
// rectangle for a new manual region. Screen readers find each page and what is on it as
// accessible children (canvas_accessibility.h).

#include "canvas/keyboard_box.h"
#include "canvas/page_buckets.h"
#include "canvas/page_column.h"
#include "canvas/page_render_service.h"
#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <QAbstractScrollArea>
#include <QPointF>
#include <QRectF>
#include <QTimer>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace norvane {

class CanvasAccessibility;

// A place outlined on a page, never filled solid, so it cannot be taken for a pending box.
struct PageOutline {
    // A search hit, where verification still read a term, or what the source hides.
    enum class Kind { searchHit, finding, hiddenContent };
    qint64 pageIndex = 0;
    PageRect rect;
    Kind kind = Kind::searchHit;
    bool emphasised = false;

    friend bool operator==(const PageOutline&, const PageOutline&) = default;
};

// A pending region as the canvas shows it: `number` counts from 1 in the model's list order.
struct ShownRegion {
    Uuid id;
    PageRect rect;
    RedactionSource source = RedactionSource::manual;
    qint64 number = 0;
};

// An outline with its number among the outlines of its kind, from 1.
struct ShownOutline {
    PageOutline outline;
    qint64 number = 0;
};

class PageCanvas : public QAbstractScrollArea {
    Q_OBJECT

public:
    using ZoomMode = PageColumn::ZoomMode;
    using ManualRedactionHandler = std::function<void(qint64 pageIndex, const PageRect& rect)>;

    // Keys that start a box at the centre of the page being read (Insert for layouts without B).
    static constexpr Qt::Key kBoxKey = Qt::Key_B;
    static constexpr Qt::Key kOtherBoxKey = Qt::Key_Insert;

    // Without a document the canvas is empty.
    explicit PageCanvas(SharedPdfDocument document, QWidget* parent = nullptr);
    ~PageCanvas() override;

    const SharedPdfDocument& document() const { return document_; }
    const PageColumn& column() const { return column_; }
    void setOnManualRedaction(ManualRedactionHandler handler) { onManualRedaction_ = std::move(handler); }

    // Brings the view in line with the model: the boxes, and the selected page, scrolled to
    // only when the selection changed to a page out of view, so that adding or removing a box
    // on the page being read never moves it.
    void synchronize(const std::vector<RedactionRegion>& regions, qint64 selectedPageIndex);
    // Draws the white label the export will set in each box.
    void setLabelRedactions(bool label);
    bool labelRedactions() const { return labelRedactions_; }

    void setOutlines(std::vector<PageOutline> outlines);
    const std::vector<PageOutline>& outlines() const { return outlines_; }
    // Scrolls the least needed to show a page-space rectangle, centred where it must move.
    void revealRect(qint64 pageIndex, const PageRect& rect);
    // Where a page-space rectangle sits in viewport coordinates (empty for no such page).
    QRectF pageRectToViewport(qint64 pageIndex, const PageRect& rect) const;

    // Zoom relative to actual size (a point is 1/72 of a logical inch on screen).
    double zoom() const { return column_.scale() / actualScale(); }
    ZoomMode zoomMode() const { return zoomMode_; }
    // A free zoom, bounded, kept through resizes.
    void setZoom(double zoom);
    void setZoomMode(ZoomMode mode);
    void zoomIn();
    void zoomOut();
    // View pixels per point at the current size and zoom.
    double scale() const { return column_.scale(); }

    // Page at a viewport point, falling back to the nearest page; nothing without pages.
    std::optional<qint64> pageAt(const QPointF& viewportPoint) const;
    // Where a page sits in viewport coordinates (empty for a page that does not exist).
    QRectF pageRectInViewport(qint64 pageIndex) const;
    // A viewport rectangle in a page's page space.
    PageRect viewportRectToPage(qint64 pageIndex, const QRectF& viewportRect) const;
    // The page at the top of the view.
    std::optional<qint64> currentPageIndex() const;
    void goToPage(qint64 pageIndex);
    bool pageInView(qint64 pageIndex) const;
    // The part of the column in view, in content coordinates.
    QRectF viewInContent() const;
    // Every part of the page in view is drawn at the view's resolution (or the page failed).
    bool isSharp(qint64 pageIndex);

    bool isDragging() const { return dragStart_.has_value(); }
    // The drag preview in viewport coordinates, while dragging.
    std::optional<QRectF> dragPreview() const;
    // The box being placed with the keyboard, if any.
    const std::optional<KeyboardBox>& keyboardBox() const { return keyboardBox_; }
    // It in viewport coordinates.
    std::optional<QRectF> keyboardBoxInViewport() const;

    // What is on a page, for painting and for screen readers.
    std::span<const ShownRegion> regionsOn(qint64 pageIndex) const { return regions_.on(pageIndex); }
    qint64 regionCount() const { return regionCount_; }
    std::span<const ShownOutline> outlinesOn(qint64 pageIndex) const { return outlinesByPage_.on(pageIndex); }
    qint64 outlineCount(PageOutline::Kind kind) const;

    // Drawn pages of the document, shared with its thumbnails; none without a document.
    const std::shared_ptr<PageRenderService>& renderService() const { return renders_; }
    // View pixels per point of the page images this view asks for.
    double devicePixelsPerPoint() const;

    // Its children as screen readers see them.
    CanvasAccessibility& accessibility() const { return *accessibility_; }

signals:
    void currentPageChanged(qint64 pageIndex);
    // The first page image in view arrived (or failed): work that would slow it may start.
    void firstPageShown();
    // The scale or the zoom mode changed.
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
    bool firstPageShown_ = false;
    double actualScale() const;
    QPointF scrollOffset() const;
    void setScale(double scale, ZoomMode mode, std::optional<QPointF> anchorViewportPoint);
    void notifyCurrentPage();
    // Lays the pages out again at the fitted scale, or at `freeScale`, keeping the point under
    // the anchor where it is.
    void relayout(std::optional<QPointF> anchorViewportPoint = std::nullopt,
                  std::optional<double> freeScale = std::nullopt);
    void updateScrollBars();
    void requestVisiblePages();
    void endDrag();
    bool handleBoxKey(QKeyEvent* event);
    void setKeyboardBox(std::optional<KeyboardBox> box);
    void revealContent(const QRectF& content);

    SharedPdfDocument document_;
    PageColumn column_;
    PageBuckets<ShownRegion> regions_;
    qint64 regionCount_ = 0;
    bool labelRedactions_ = false;
    std::vector<PageOutline> outlines_;
    PageBuckets<ShownOutline> outlinesByPage_;
    std::array<qint64, 3> outlineCounts_{};  // by kind
    ManualRedactionHandler onManualRedaction_;

    ZoomMode zoomMode_ = ZoomMode::fitWidth;
    std::optional<qint64> syncedSelection_;
    std::optional<qint64> reportedPage_;

    std::optional<QPointF> dragStart_;  // content coordinates
    std::optional<qint64> dragPage_;
    std::optional<QPointF> dragCurrent_;
    std::optional<KeyboardBox> keyboardBox_;

    std::shared_ptr<PageRenderService> renders_;
    QTimer wantTimer_;
    std::unique_ptr<CanvasAccessibility> accessibility_;
};

}  // namespace norvane
