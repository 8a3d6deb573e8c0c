#include "canvas/page_canvas.h"

#include "canvas/canvas_accessibility.h"
#include "canvas/page_geometry.h"
#include "canvas/page_painting.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace norvane {
namespace {

constexpr double kMinZoom = 0.1;  // of actual size
constexpr double kMaxZoom = 8.0;
constexpr double kZoomStep = 1.25;
constexpr double kClickLimit = 8.0;  // a drag smaller than this either way is a click

QRectF spanning(const QPointF& a, const QPointF& b) {
    return QRectF(QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                  QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y())));
}

std::vector<PdfPageInfo> pagesOf(const SharedPdfDocument& document) {
    return document ? document->pages() : std::vector<PdfPageInfo>{};
}

}  // namespace

PageCanvas::PageCanvas(SharedPdfDocument document, QWidget* parent)
    : QAbstractScrollArea(parent), document_(std::move(document)), column_(pagesOf(document_)) {
    accessibility_ = std::make_unique<CanvasAccessibility>(*this);
    setAccessibleName(QStringLiteral("Pages"));
    setAccessibleDescription(canvasKeysDescription());
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    verticalScrollBar()->setSingleStep(40);
    horizontalScrollBar()->setSingleStep(40);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    viewport()->setMouseTracking(false);

    wantTimer_.setSingleShot(true);
    wantTimer_.setInterval(0);
    connect(&wantTimer_, &QTimer::timeout, this, &PageCanvas::requestVisiblePages);
    holdRenders(renders_, renderServiceFor(nullptr, document_), this, [this](qint64 pageIndex) {
        const QRectF area = pageRectInViewport(pageIndex);
        if (area.intersects(QRectF(viewport()->rect()))) {
            viewport()->update(area.toAlignedRect().adjusted(-2, -2, 2, 2));
            if (!firstPageShown_) {
                firstPageShown_ = true;
                emit firstPageShown();
            }
        }
    });
    relayout();
}

// The child interfaces read this canvas, so they go first.
PageCanvas::~PageCanvas() {
    accessibility_.reset();
}

void PageCanvas::synchronize(const std::vector<RedactionRegion>& regions, qint64 selectedPageIndex) {
    const qint64 pages = column_.pageCount();
    qint64 number = 0;  // counted in list order, as the pending list counts
    regions_.assign(regions, pages, [&number](const RedactionRegion& region) {
        return ShownRegion{region.id, region.rect, region.source, ++number};
    });
    regionCount_ = number;
    viewport()->update();
    accessibility_->marksChanged();

    // The model announces a new box before the page it selects; following only changes of
    // selection keeps that order from showing the previously selected page in between.
    if (selectedPageIndex >= 0 && selectedPageIndex < pages && syncedSelection_ != selectedPageIndex) {
        syncedSelection_ = selectedPageIndex;
        if (!pageInView(selectedPageIndex)) {
            goToPage(selectedPageIndex);
        }
    }
}

void PageCanvas::setLabelRedactions(bool label) {
    if (label != labelRedactions_) {
        labelRedactions_ = label;
        viewport()->update();
    }
}

void PageCanvas::setOutlines(std::vector<PageOutline> outlines) {
    if (outlines == outlines_) {
        return;
    }
    outlines_ = std::move(outlines);
    outlineCounts_.fill(0);
    outlinesByPage_.assign(outlines_, column_.pageCount(), [this](const PageOutline& outline) {
        return ShownOutline{outline, ++outlineCounts_[static_cast<std::size_t>(outline.kind)]};
    });
    viewport()->update();
    accessibility_->marksChanged();
}

qint64 PageCanvas::outlineCount(PageOutline::Kind kind) const {
    return outlineCounts_[static_cast<std::size_t>(kind)];
}

bool PageCanvas::pageInView(qint64 pageIndex) const {
    return pageRectInViewport(pageIndex).intersects(QRectF(viewport()->rect()));
}

QRectF PageCanvas::pageRectToViewport(qint64 pageIndex, const PageRect& rect) const {
    return column_.toContent(pageIndex, rect).translated(-scrollOffset());
}

void PageCanvas::revealRect(qint64 pageIndex, const PageRect& rect) {
    revealContent(column_.toContent(pageIndex, rect));
}

void PageCanvas::revealContent(const QRectF& content) {
    const QRectF target = content.translated(-scrollOffset());
    if (target.isEmpty()) {
        return;
    }
    const QRectF view(QPointF(0, 0), QSizeF(viewport()->size()));
    const auto centreOn = [](QScrollBar* bar, double from, double to, double extent) {
        if (from < 0 || to > extent) {
            bar->setValue(bar->value() + static_cast<int>(std::lround((from + to - extent) / 2)));
        }
    };
    centreOn(verticalScrollBar(), target.top(), target.bottom(), view.height());
    centreOn(horizontalScrollBar(), target.left(), target.right(), view.width());
}

double PageCanvas::actualScale() const {
    return logicalDpiX() / 72.0;
}

QPointF PageCanvas::scrollOffset() const {
    return QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
}

QRectF PageCanvas::viewInContent() const {
    return QRectF(scrollOffset(), QSizeF(viewport()->size()));
}

void PageCanvas::relayout(std::optional<QPointF> anchorViewportPoint, std::optional<double> freeScale) {
    // By default the top middle of the view keeps its place; fitting a page fits the one being
    // read, and shows it whole.
    const QPointF anchor = anchorViewportPoint.value_or(QPointF(viewport()->width() / 2.0, 0));
    const qint64 readPage = currentPageIndex().value_or(0);
    const double before = column_.scale();
    const double bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, verticalScrollBar());
    const double scale = freeScale.value_or(column_.fitScale(zoomMode_, contentsRect().size(), bar, readPage, before));
    const auto offset = column_.relayout(scale, viewport()->width(), scrollOffset(), anchor);
    updateScrollBars();
    if (offset) {
        horizontalScrollBar()->setValue(static_cast<int>(std::lround(offset->x())));
        verticalScrollBar()->setValue(static_cast<int>(std::lround(offset->y())));
    }
    if (zoomMode_ == ZoomMode::fitPage) {
        goToPage(readPage);
    }
    viewport()->update();
    wantTimer_.start();
    notifyCurrentPage();
    if (column_.scale() != before) {
        emit zoomChanged();
    }
}

void PageCanvas::notifyCurrentPage() {
    const auto current = currentPageIndex();
    if (current != reportedPage_) {
        reportedPage_ = current;
        if (current) {
            emit currentPageChanged(*current);
        }
    }
}

void PageCanvas::updateScrollBars() {
    const QSize view = viewport()->size();
    const QSizeF content = column_.contentSize();
    const auto clampInt = [](double v) { return static_cast<int>(std::clamp(std::ceil(v), 0.0, 2.0e9)); };
    verticalScrollBar()->setPageStep(view.height());
    horizontalScrollBar()->setPageStep(view.width());
    verticalScrollBar()->setRange(0, clampInt(content.height() - view.height()));
    horizontalScrollBar()->setRange(0, clampInt(content.width() - view.width()));
}

QRectF PageCanvas::pageRectInViewport(qint64 pageIndex) const {
    const QRectF rect = column_.pageRect(pageIndex);
    return rect.isNull() ? rect : rect.translated(-scrollOffset());
}

std::optional<qint64> PageCanvas::pageAt(const QPointF& viewportPoint) const {
    return column_.pageAt(viewportPoint + scrollOffset());
}

std::optional<qint64> PageCanvas::currentPageIndex() const {
    return column_.currentPage(verticalScrollBar()->value());
}

void PageCanvas::goToPage(qint64 pageIndex) {
    if (!column_.pageRect(pageIndex).isNull()) {
        verticalScrollBar()->setValue(static_cast<int>(std::lround(column_.topOf(pageIndex))));
    }
}

PageRect PageCanvas::viewportRectToPage(qint64 pageIndex, const QRectF& viewportRect) const {
    return column_.toPage(pageIndex, viewportRect.translated(scrollOffset()));
}

std::optional<QRectF> PageCanvas::dragPreview() const {
    if (!dragStart_ || !dragCurrent_) {
        return std::nullopt;
    }
    return spanning(*dragStart_, *dragCurrent_).translated(-scrollOffset());
}

std::optional<QRectF> PageCanvas::keyboardBoxInViewport() const {
    if (!keyboardBox_) {
        return std::nullopt;
    }
    return column_.displayedToContent(keyboardBox_->pageIndex(), keyboardBox_->rect()).translated(-scrollOffset());
}

void PageCanvas::setScale(double scale, ZoomMode mode, std::optional<QPointF> anchorViewportPoint) {
    zoomMode_ = mode;
    const double before = column_.scale();
    const QPointF anchor = anchorViewportPoint.value_or(QPointF(viewport()->width() / 2.0, viewport()->height() / 2.0));
    if (mode == ZoomMode::free) {
        relayout(anchor, std::clamp(scale, kMinZoom * actualScale(), kMaxZoom * actualScale()));
    } else {
        relayout(anchor);
    }
    if (column_.scale() == before) {
        emit zoomChanged();  // the mode alone changed; a new scale was announced already
    }
}

void PageCanvas::setZoom(double zoom) {
    setScale(zoom * actualScale(), ZoomMode::free, std::nullopt);
}

void PageCanvas::setZoomMode(ZoomMode mode) {
    setScale(column_.scale(), mode, std::nullopt);
}

void PageCanvas::zoomIn() {
    setZoom(zoom() * kZoomStep);
}

void PageCanvas::zoomOut() {
    setZoom(zoom() / kZoomStep);
}

double PageCanvas::devicePixelsPerPoint() const {
    return column_.scale() * viewport()->devicePixelRatioF();
}

bool PageCanvas::isSharp(qint64 pageIndex) {
    if (!renders_ || !column_.hasPage(pageIndex)) {
        return false;
    }
    if (renders_->hasFailed(pageIndex)) {
        return true;
    }
    const PageColumn::Picture picture = column_.picture(pageIndex, viewInContent(), viewport()->devicePixelRatioF());
    if (!picture.tiled) {
        return renders_->has(pageIndex, picture.pixelsPerPoint);
    }
    return std::ranges::all_of(
        picture.tiles, [&](const QRect& tile) { return renders_->has(pageIndex, picture.pixelsPerPoint, tile); });
}

void PageCanvas::requestVisiblePages() {
    if (renders_) {
        renders_->want(PageRenderService::Viewer::canvas,
                       column_.wishes(viewInContent(), viewport()->devicePixelRatioF()));
    }
}

void PageCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    paintCanvas(*this, painter);
}

void PageCanvas::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    relayout();
}

void PageCanvas::scrollContentsBy(int, int) {
    viewport()->update();
    wantTimer_.start();
    notifyCurrentPage();
}

void PageCanvas::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    const auto page = pageAt(event->position());
    if (!page) {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    setFocus(Qt::MouseFocusReason);
    setKeyboardBox(std::nullopt);  // the mouse takes over
    dragStart_ = event->position() + scrollOffset();
    dragCurrent_ = dragStart_;
    dragPage_ = *page;
    event->accept();
}

void PageCanvas::mouseMoveEvent(QMouseEvent* event) {
    if (!dragStart_ || !dragPage_) {
        QAbstractScrollArea::mouseMoveEvent(event);
        return;
    }
    // Past the top or bottom edge the view follows the pointer, so a drag can cross pages.
    const double y = event->position().y();
    const double h = viewport()->height();
    if (y < 0) {
        verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(std::max(y, -40.0)));
    } else if (y > h) {
        verticalScrollBar()->setValue(verticalScrollBar()->value() + static_cast<int>(std::min(y - h, 40.0)));
    }
    dragCurrent_ = event->position() + scrollOffset();
    viewport()->update();
    event->accept();
}

void PageCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (!dragStart_ || !dragPage_) {
        QAbstractScrollArea::mouseReleaseEvent(event);
        endDrag();
        return;
    }
    const QRectF dragged = spanning(*dragStart_, event->position() + scrollOffset());
    const qint64 page = *dragPage_;
    endDrag();
    event->accept();
    if (dragged.width() < kClickLimit || dragged.height() < kClickLimit) {
        return;  // a click, not a drag
    }
    if (onManualRedaction_) {
        onManualRedaction_(page, column_.toPage(page, dragged));
    }
}

void PageCanvas::endDrag() {
    const bool had = dragStart_.has_value();
    dragStart_.reset();
    dragCurrent_.reset();
    dragPage_.reset();
    if (had) {
        viewport()->update();
    }
}

void PageCanvas::setKeyboardBox(std::optional<KeyboardBox> box) {
    const bool had = keyboardBox_.has_value();
    keyboardBox_ = std::move(box);
    if (keyboardBox_) {
        revealContent(column_.displayedToContent(keyboardBox_->pageIndex(), keyboardBox_->rect()));
    }
    if (had || keyboardBox_) {
        viewport()->update();
        accessibility_->boxChanged();
    }
}

bool PageCanvas::handleBoxKey(QKeyEvent* event) {
    const QKeyCombination key = event->keyCombination();
    if ((key == QKeyCombination(kBoxKey) || key == QKeyCombination(kOtherBoxKey)) && column_.pageCount() > 0) {
        endDrag();
        const qint64 page = currentPageIndex().value_or(0);
        setKeyboardBox(KeyboardBox(page, column_.displayedSize(page)));
        return true;
    }
    if (!keyboardBox_) {
        return false;
    }
    switch (key.key()) {
        case Qt::Key_Escape:
            setKeyboardBox(std::nullopt);
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter: {
            const KeyboardBox box = *keyboardBox_;
            setKeyboardBox(std::nullopt);
            if (onManualRedaction_) {
                onManualRedaction_(box.pageIndex(), displayedRectToPage(column_.page(box.pageIndex()), box.rect()));
            }
            return true;
        }
        default: {
            KeyboardBox moved = *keyboardBox_;
            if (!moved.step(key)) {
                return false;
            }
            setKeyboardBox(moved);
            return true;
        }
    }
}

void PageCanvas::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && dragStart_) {
        endDrag();
        event->accept();
        return;
    }
    if (handleBoxKey(event)) {
        event->accept();
        return;
    }
    const bool control = event->modifiers().testFlag(Qt::ControlModifier);
    const qint64 last = column_.pageCount() - 1;
    const qint64 current = currentPageIndex().value_or(0);
    // Back goes to the top of the page being read first, as paging through a book would.
    const qint64 back =
        verticalScrollBar()->value() > column_.pageRect(current).top() ? current : std::max<qint64>(current - 1, 0);
    const qint64 forward = std::min(current + 1, last);
    const bool shift = event->modifiers().testFlag(Qt::ShiftModifier);
    if (event->matches(QKeySequence::ZoomIn) || (control && event->key() == Qt::Key_Equal)) {
        zoomIn();
    } else if (event->matches(QKeySequence::ZoomOut)) {
        zoomOut();
    } else if (control && event->key() == Qt::Key_0) {
        setZoom(1.0);
    } else if (last < 0 || control) {
        QAbstractScrollArea::keyPressEvent(event);
        return;
    } else if (event->key() == Qt::Key_PageDown || (event->key() == Qt::Key_Space && !shift)) {
        goToPage(forward);
    } else if (event->key() == Qt::Key_PageUp || event->key() == Qt::Key_Space) {
        goToPage(back);
    } else if (event->key() == Qt::Key_Home) {
        goToPage(0);
    } else if (event->key() == Qt::Key_End) {
        goToPage(last);
    } else {
        QAbstractScrollArea::keyPressEvent(event);
        return;
    }
    event->accept();
}

void PageCanvas::wheelEvent(QWheelEvent* event) {
    if (!event->modifiers().testFlag(Qt::ControlModifier)) {
        QAbstractScrollArea::wheelEvent(event);
        return;
    }
    const double steps = event->angleDelta().y() / 120.0;
    if (steps != 0) {
        setScale(column_.scale() * std::pow(kZoomStep, steps), ZoomMode::free, event->position());
    }
    event->accept();
}

}  // namespace norvane
