#pragma once
// The column of page thumbnails left of the canvas: one row per page with its thumbnail and
// pending boxes, "Page N" and a badge counting that page's pending regions. Rows are laid out
// from the page sizes alone; a thumbnail is rendered only once its row scrolls into view. The
// page being read is outlined and kept in view; arrows, Home and End move the keyboard focus
// between rows, Return and Space choose the focused one.

#include "canvas/page_buckets.h"
#include "canvas/page_render_service.h"
#include "model/redaction_view_model.h"

#include <QAbstractScrollArea>
#include <QTimer>

#include <memory>
#include <optional>
#include <vector>

namespace norvane {

class PageSidebar : public QAbstractScrollArea {
    Q_OBJECT

public:
    explicit PageSidebar(RedactionViewModel& model, QWidget* parent = nullptr);

    // Row of a page in viewport coordinates; empty for a page that does not exist.
    QRect rowRect(qint64 pageIndex) const;
    std::optional<qint64> rowAt(const QPoint& viewportPoint) const;
    // Number of pending regions on a page, of any source (the badge; none shown at 0).
    qint64 badgeCount(qint64 pageIndex) const;
    bool isHighlighted(qint64 pageIndex) const { return model_.selectedPageIndex() == pageIndex; }
    // The page being read in the canvas: outlined, and scrolled into view.
    void setReadingPage(qint64 pageIndex);
    std::optional<qint64> readingPage() const { return readingPage_; }
    std::optional<qint64> focusedRow() const { return focusRow_; }

    // Shares the canvas's drawn pages; without one for the document shown, the sidebar makes
    // its own.
    void setRenderService(std::shared_ptr<PageRenderService> renders);
    const std::shared_ptr<PageRenderService>& renderService() const { return renders_; }
    // Where a page's thumbnail sits in viewport coordinates.
    QRectF thumbnailRect(qint64 pageIndex) const;
    // View pixels per point of a page's thumbnail image.
    double thumbnailPixelsPerPoint(qint64 pageIndex) const;

signals:
    // A page chosen with the mouse or keyboard (already the selected page).
    void pageChosen(qint64 pageIndex);

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void relayout();
    void syncBoxes();
    void choose(qint64 pageIndex);
    void scrollToRow(qint64 pageIndex);
    void requestVisibleThumbnails();
    QSizeF thumbnailSize(qint64 pageIndex) const;

    RedactionViewModel& model_;
    SharedPdfDocument document_;
    std::vector<QRect> rows_;  // content coordinates
    int contentHeight_ = 0;
    std::optional<qint64> pressedRow_;
    std::optional<qint64> readingPage_;
    std::optional<qint64> focusRow_;
    PageBuckets<PageRect> boxes_;
    std::shared_ptr<PageRenderService> renders_;
    QTimer wantTimer_;
};

}  // namespace norvane
