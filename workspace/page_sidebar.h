#pragma once
// The column of page thumbnails left of the canvas: one row per page with its thumbnail and
// pending boxes, "Page N", a mark where the source hides something and a badge counting that
// page's pending regions. Rows are laid out
// from the page sizes alone; a thumbnail is rendered only once its row scrolls into view. One
// row is highlighted, the selected page; the page being read is kept in view. Arrows, Home and
// End move the keyboard's row, ringed while the list has focus; Return and Space choose it.
// Screen readers find the rows as list items (page_sidebar_accessibility.h).

#include "canvas/page_buckets.h"
#include "canvas/page_render_service.h"
#include "model/redaction_view_model.h"
#include "workspace/page_sidebar_accessibility.h"

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

    qint64 rowCount() const { return static_cast<qint64>(rows_.size()); }
    // Row of a page in viewport coordinates; empty for a page that does not exist.
    QRect rowRect(qint64 pageIndex) const;
    std::optional<qint64> rowAt(const QPoint& viewportPoint) const;
    // Number of pending regions on a page, of any source (the badge; none shown at 0).
    qint64 badgeCount(qint64 pageIndex) const;
    // Whether the inspection found something on the page (the mark).
    bool hidesContent(qint64 pageIndex) const;
    bool isHighlighted(qint64 pageIndex) const { return model_.selectedPageIndex() == pageIndex; }
    qint64 selectedRow() const { return model_.selectedPageIndex(); }
    // The page being read in the canvas, kept in view.
    void setReadingPage(qint64 pageIndex);
    std::optional<qint64> readingPage() const { return readingPage_; }
    // The keyboard's row: the one it moved to, or else the selected one.
    std::optional<qint64> focusedRow() const;

    // Shares the canvas's drawn pages; without one for the document shown, the sidebar makes
    // its own.
    void setRenderService(std::shared_ptr<PageRenderService> renders);
    const std::shared_ptr<PageRenderService>& renderService() const { return renders_; }
    // Where a page's thumbnail sits in viewport coordinates.
    QRectF thumbnailRect(qint64 pageIndex) const;
    // View pixels per point of a page's thumbnail image.
    double thumbnailPixelsPerPoint(qint64 pageIndex) const;

    // Its rows as screen readers see them.
    SidebarAccessibility& accessibility() { return accessibility_; }

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
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void relayout();
    void syncBoxes();
    void syncHiddenContent();
    void syncSelection();
    void setFocusRow(qint64 pageIndex);
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
    qint64 shownSelection_ = -1;
    PageBuckets<PageRect> boxes_;
    std::vector<bool> hidesContent_;  // by page
    std::shared_ptr<PageRenderService> renders_;
    QTimer wantTimer_;
    SidebarAccessibility accessibility_{*this};
};

}  // namespace norvane
