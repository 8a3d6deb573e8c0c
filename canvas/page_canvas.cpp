#include "canvas/page_canvas.h"

#include "canvas/page_geometry.h"
#include "engine/page_preview.h"
#include "ui/theme.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QStyle>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace norvane {
namespace {

constexpr double kMargin = 16;    // around the column of pages
constexpr double kGap = 12;       // between two pages
constexpr double kMinZoom = 0.1;  // of actual size
constexpr double kMaxZoom = 8.0;
constexpr double kZoomStep = 1.25;
constexpr double kMinScale = 0.02;  // view pixels per point
constexpr double kMaxScale = 32.0;
constexpr double kClickLimit = 8.0;  // a drag smaller than this either way is a click
// Above this a page is drawn in tiles of what is in view, so zooming in stays sharp without
// pictures of whole enlarged pages; a small whole picture stands in while tiles are drawn.
constexpr double kWholePagePixels = 8e6;
constexpr int kTile = 1024;  // device pixels
constexpr double kStandInPixels = 2e6;

QRectF spanning(const QPointF& a, const QPointF& b) {
    return QRectF(QPointF(std::min(a.x(), b.x()), std::min(a.y(), b.y())),
                  QPointF(std::max(a.x(), b.x()), std::max(a.y(), b.y())));
}

}  // namespace

PageCanvas::PageCanvas(SharedPdfDocument creationDocument, QWidget* parent)
    : QAbstractScrollArea(parent), creationDocument_(std::move(creationDocument)) {
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
    useRenders(renderServiceFor(nullptr, creationDocument_));
}

void PageCanvas::useRenders(std::shared_ptr<PageRenderService> renders) {
    holdRenders(renders_, std::move(renders), this, [this](qint64 pageIndex) {
        const QRectF area = pageRectInViewport(pageIndex);
        if (area.intersects(QRectF(viewport()->rect()))) {
            viewport()->update(area.toAlignedRect().adjusted(-2, -2, 2, 2));
        }
    });
}

PageCanvas::~PageCanvas() = default;

void PageCanvas::synchronize(const SharedPdfDocument& document, const std::vector<RedactionRegion>& regions,
                             qint64 selectedPageIndex) {
    if (!document) {
        if (document_) {
            setDocument(nullptr);
        }
        return;
    }
    if (document != document_) {
        setDocument(document);
    }
    boxes_.assign(regions, document_->pageCount(), [](const RedactionRegion& region) { return region.rect; });
    viewport()->update();

    // The model announces a new box before the page it selects; following only changes of
    // selection keeps that order from showing the previously selected page in between.
    if (selectedPageIndex >= 0 && selectedPageIndex < document_->pageCount() && syncedSelection_ != selectedPageIndex) {
        syncedSelection_ = selectedPageIndex;
        if (!pageInView(selectedPageIndex)) {
            goToPage(selectedPageIndex);
        }
    }
}

bool PageCanvas::pageInView(qint64 pageIndex) const {
    return pageRectInViewport(pageIndex).intersects(QRectF(viewport()->rect()));
}

void PageCanvas::setOutlines(std::vector<PageOutline> outlines) {
    if (outlines != outlines_) {
        outlines_ = std::move(outlines);
        outlinesByPage_.assign(outlines_, document_ ? document_->pageCount() : 0,
                               [](const PageOutline& outline) { return outline; });
        viewport()->update();
    }
}

QRectF PageCanvas::pageRectToViewport(qint64 pageIndex, const PageRect& rect) const {
    if (!document_ || pageIndex < 0 || pageIndex >= document_->pageCount()) {
        return {};
    }
    const QRectF page = pageRectInViewport(pageIndex);
    const QRectF displayed = pageRectToDisplayed(document_->page(pageIndex), rect);
    return {page.left() + displayed.left() * scale_, page.top() + displayed.top() * scale_, displayed.width() * scale_,
            displayed.height() * scale_};
}

void PageCanvas::revealRect(qint64 pageIndex, const PageRect& rect) {
    const QRectF target = pageRectToViewport(pageIndex, rect);
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

void PageCanvas::setDocument(const SharedPdfDocument& document) {
    endDrag();
    document_ = document;
    syncedSelection_.reset();
    boxes_ = {};
    outlines_.clear();
    outlinesByPage_ = {};
    useRenders(renderServiceFor(renders_, document_));
    relayout();
    verticalScrollBar()->setValue(0);
    horizontalScrollBar()->setValue(0);
    viewport()->update();
    wantTimer_.start();
}

double PageCanvas::actualScale() const {
    return logicalDpiX() / 72.0;
}

double PageCanvas::fitScale(ZoomMode mode) const {
    if (!document_) {
        return 1.0;
    }
    // Fitted to the width with no vertical bar, unless the pages are then too tall for the
    // view: then fitted beside the bar. Deciding from the contents alone keeps the bar from
    // coming and going as the scale changes.
    const QRect area = contentsRect();
    const auto fitted = [&](double wide) {
        const double available = wide - 2 * kMargin;
        if (mode == ZoomMode::fitPage) {
            // The page being read, whole, with a little of the gap around it.
            const QSizeF page = displayedPageSize(document_->page(currentPageIndex().value_or(0)));
            const double high = area.height() - 2 * kGap;
            if (!(page.width() > 0) || !(page.height() > 0) || available <= 0 || high <= 0) {
                return kMinScale;
            }
            return std::min(available / page.width(), high / page.height());
        }
        double widest = 0;
        for (const PdfPageInfo& page : document_->pages()) {
            widest = std::max(widest, displayedPageSize(page).width());
        }
        return widest > 0 && available > 0 ? available / widest : kMinScale;
    };
    const double alone = fitted(area.width());
    double tall = 2 * kMargin - kGap;
    for (const PdfPageInfo& page : document_->pages()) {
        tall += displayedPageSize(page).height() * alone + kGap;
    }
    if (tall <= area.height()) {
        return alone;
    }
    return fitted(area.width() - style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, verticalScrollBar()));
}

void PageCanvas::relayout(std::optional<QPointF> anchorViewportPoint, std::optional<double> freeScale) {
    // Keep the point under the anchor (by default the top middle of the view) where it is.
    const QPointF anchor = anchorViewportPoint.value_or(QPointF(viewport()->width() / 2.0, 0));
    std::optional<qint64> anchorPage;
    QPointF anchorInPage;  // displayed points relative to the anchor page's corner
    if (!pageRects_.empty()) {
        const QPointF content = toContent(anchor);
        anchorPage = pageAtContent(content);
        if (anchorPage) {
            anchorInPage = (content - pageRectInContent(*anchorPage).topLeft()) / scale_;
        }
    }

    // Fitting a page fits the one being read, and shows it whole.
    const qint64 readPage = currentPageIndex().value_or(0);
    if (freeScale) {
        scale_ = *freeScale;
    } else if (zoomMode_ != ZoomMode::free) {
        scale_ = fitScale(zoomMode_);
    }
    scale_ = std::clamp(scale_, kMinScale, kMaxScale);
    pageRects_.clear();
    if (!document_) {
        contentWidth_ = contentHeight_ = 0;
        updateScrollBars();
        return;
    }
    double widest = 0;
    for (const PdfPageInfo& page : document_->pages()) {
        widest = std::max(widest, displayedPageSize(page).width() * scale_);
    }
    contentWidth_ = widest + 2 * kMargin;
    const double columnWidth = std::max(contentWidth_, static_cast<double>(viewport()->width()));
    double y = kMargin;
    pageRects_.reserve(document_->pages().size());
    for (const PdfPageInfo& page : document_->pages()) {
        const QSizeF size = displayedPageSize(page) * scale_;
        pageRects_.emplace_back((columnWidth - size.width()) / 2.0, y, size.width(), size.height());
        y += size.height() + kGap;
    }
    contentHeight_ = y - kGap + kMargin;
    updateScrollBars();

    if (anchorPage && *anchorPage < static_cast<qint64>(pageRects_.size())) {
        const QPointF content = pageRectInContent(*anchorPage).topLeft() + anchorInPage * scale_;
        horizontalScrollBar()->setValue(static_cast<int>(std::lround(content.x() - anchor.x())));
        verticalScrollBar()->setValue(static_cast<int>(std::lround(content.y() - anchor.y())));
    }
    if (zoomMode_ == ZoomMode::fitPage) {
        goToPage(readPage);
    }
    viewport()->update();
    wantTimer_.start();
    notifyCurrentPage();
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
    const auto clampInt = [](double v) { return static_cast<int>(std::clamp(std::ceil(v), 0.0, 2.0e9)); };
    verticalScrollBar()->setPageStep(view.height());
    horizontalScrollBar()->setPageStep(view.width());
    verticalScrollBar()->setRange(0, clampInt(contentHeight_ - view.height()));
    horizontalScrollBar()->setRange(0, clampInt(contentWidth_ - view.width()));
}

QPointF PageCanvas::toContent(const QPointF& viewportPoint) const {
    return viewportPoint + QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
}

QPointF PageCanvas::toViewport(const QPointF& contentPoint) const {
    return contentPoint - QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
}

QRectF PageCanvas::pageRectInContent(qint64 pageIndex) const {
    if (pageIndex < 0 || pageIndex >= static_cast<qint64>(pageRects_.size())) {
        return {};
    }
    return pageRects_[static_cast<std::size_t>(pageIndex)];
}

QRectF PageCanvas::pageRectInViewport(qint64 pageIndex) const {
    const QRectF rect = pageRectInContent(pageIndex);
    return rect.isNull() ? rect : rect.translated(toViewport(QPointF()));
}

std::optional<qint64> PageCanvas::pageAtContent(const QPointF& point) const {
    if (pageRects_.empty()) {
        return std::nullopt;
    }
    // Pages are stacked top to bottom: the first whose bottom edge lies below the point,
    // or the one above it, is the nearest.
    const auto below = std::lower_bound(pageRects_.begin(), pageRects_.end(), point.y(),
                                        [](const QRectF& r, double y) { return r.bottom() < y; });
    const auto distance = [&](const QRectF& r) {
        const double dx = std::max({r.left() - point.x(), 0.0, point.x() - r.right()});
        const double dy = std::max({r.top() - point.y(), 0.0, point.y() - r.bottom()});
        return std::hypot(dx, dy);
    };
    std::optional<std::size_t> best;
    double bestDistance = 0;
    for (auto it : {below, below == pageRects_.begin() ? pageRects_.end() : below - 1}) {
        if (it == pageRects_.end()) {
            continue;
        }
        const double d = distance(*it);
        if (!best || d < bestDistance) {
            best = static_cast<std::size_t>(it - pageRects_.begin());
            bestDistance = d;
        }
    }
    return best ? std::optional<qint64>(static_cast<qint64>(*best)) : std::nullopt;
}

std::optional<qint64> PageCanvas::pageAt(const QPointF& viewportPoint) const {
    return pageAtContent(toContent(viewportPoint));
}

std::optional<qint64> PageCanvas::currentPageIndex() const {
    if (pageRects_.empty()) {
        return std::nullopt;
    }
    // The first page that still shows more than a sliver at the top of the view.
    const double top = verticalScrollBar()->value() + kGap;
    const auto it = std::lower_bound(pageRects_.begin(), pageRects_.end(), top,
                                     [](const QRectF& r, double y) { return r.bottom() <= y; });
    if (it == pageRects_.end()) {
        return static_cast<qint64>(pageRects_.size()) - 1;
    }
    return static_cast<qint64>(it - pageRects_.begin());
}

void PageCanvas::goToPage(qint64 pageIndex) {
    const QRectF rect = pageRectInContent(pageIndex);
    if (rect.isNull()) {
        return;
    }
    verticalScrollBar()->setValue(static_cast<int>(std::lround(rect.top() - kGap / 2)));
}

PageRect PageCanvas::contentRectToPage(qint64 pageIndex, const QRectF& contentRect) const {
    const QRectF page = pageRectInContent(pageIndex);
    if (page.isNull() || !document_) {
        return {};
    }
    const QRectF displayed((contentRect.left() - page.left()) / scale_, (contentRect.top() - page.top()) / scale_,
                           contentRect.width() / scale_, contentRect.height() / scale_);
    return displayedRectToPage(document_->page(pageIndex), displayed);
}

PageRect PageCanvas::viewportRectToPage(qint64 pageIndex, const QRectF& viewportRect) const {
    return contentRectToPage(pageIndex, viewportRect.translated(toContent(QPointF())));
}

std::optional<QRectF> PageCanvas::dragPreview() const {
    if (!dragStart_ || !dragCurrent_) {
        return std::nullopt;
    }
    return spanning(toViewport(*dragStart_), toViewport(*dragCurrent_));
}

void PageCanvas::setScale(double scale, ZoomMode mode, std::optional<QPointF> anchorViewportPoint) {
    zoomMode_ = mode;
    const QPointF anchor = anchorViewportPoint.value_or(QPointF(viewport()->width() / 2.0, viewport()->height() / 2.0));
    if (mode == ZoomMode::free) {
        relayout(anchor, std::clamp(scale, kMinZoom * actualScale(), kMaxZoom * actualScale()));
    } else {
        relayout(anchor);
    }
    emit zoomChanged();
}

void PageCanvas::setZoom(double zoom) {
    setScale(zoom * actualScale(), ZoomMode::free, std::nullopt);
}

void PageCanvas::setZoomMode(ZoomMode mode) {
    setScale(scale_, mode, std::nullopt);
}

void PageCanvas::zoomIn() {
    setZoom(zoom() * kZoomStep);
}
void PageCanvas::zoomOut() {
    setZoom(zoom() / kZoomStep);
}

double PageCanvas::devicePixelsPerPoint() const {
    return scale_ * viewport()->devicePixelRatioF();
}

PageCanvas::PagePicture PageCanvas::pictureFor(qint64 pageIndex) const {
    PagePicture picture;
    picture.pixelsPerPoint = devicePixelsPerPoint();
    const PdfPageInfo& page = document_->page(pageIndex);
    const QSizeF points = displayedPageSize(page);
    if (points.width() * points.height() * picture.pixelsPerPoint * picture.pixelsPerPoint <= kWholePagePixels) {
        return picture;
    }
    picture.tiled = true;
    picture.pixelsPerPoint = boundedPreviewScale(page, picture.pixelsPerPoint, true);
    const double wide = std::ceil(points.width() * picture.pixelsPerPoint);
    const double high = std::ceil(points.height() * picture.pixelsPerPoint);
    const QRectF onPage = pageRectInViewport(pageIndex);
    const QRectF seen = onPage & QRectF(viewport()->rect());
    if (seen.isEmpty()) {
        return picture;
    }
    const double toDevice = picture.pixelsPerPoint / scale_;
    const auto first = [](double v) { return static_cast<int>(std::max(0.0, std::floor(v)) / kTile); };
    const auto last = [](double v, double limit) {
        return static_cast<int>(std::clamp(std::ceil(v), 1.0, limit) - 1) / kTile;
    };
    const QRectF local = seen.translated(-onPage.topLeft());
    const QRect whole(0, 0, static_cast<int>(wide), static_cast<int>(high));
    for (int ty = first(local.top() * toDevice); ty <= last(local.bottom() * toDevice, high); ++ty) {
        for (int tx = first(local.left() * toDevice); tx <= last(local.right() * toDevice, wide); ++tx) {
            picture.tiles.push_back(QRect(tx * kTile, ty * kTile, kTile, kTile) & whole);
        }
    }
    return picture;
}

bool PageCanvas::isSharp(qint64 pageIndex) {
    if (!renders_ || !document_ || pageIndex < 0 || pageIndex >= document_->pageCount()) {
        return false;
    }
    if (renders_->hasFailed(pageIndex)) {
        return true;
    }
    const PagePicture picture = pictureFor(pageIndex);
    if (!picture.tiled) {
        return renders_->has(pageIndex, picture.pixelsPerPoint);
    }
    return std::ranges::all_of(
        picture.tiles, [&](const QRect& tile) { return renders_->has(pageIndex, picture.pixelsPerPoint, tile); });
}

void PageCanvas::requestVisiblePages() {
    if (!renders_) {
        return;
    }
    const QRectF view(toContent(QPointF()), QSizeF(viewport()->size()));
    std::vector<PageRenderService::Wish> wishes;
    std::vector<PageRenderService::Wish> standIns;
    std::optional<qint64> first;
    std::optional<qint64> last;
    const auto start = std::lower_bound(pageRects_.begin(), pageRects_.end(), view.top(),
                                        [](const QRectF& r, double y) { return r.bottom() < y; });
    for (auto it = start; it != pageRects_.end() && it->top() <= view.bottom(); ++it) {
        const auto index = static_cast<qint64>(it - pageRects_.begin());
        const PagePicture picture = pictureFor(index);
        if (!picture.tiled) {
            wishes.push_back({index, picture.pixelsPerPoint, {}});
        } else {
            for (const QRect& tile : picture.tiles) {
                wishes.push_back({index, picture.pixelsPerPoint, tile});
            }
            const QSizeF points = displayedPageSize(document_->page(index));
            standIns.push_back({index, std::sqrt(kStandInPixels / (points.width() * points.height())), {}});
        }
        first = first.value_or(index);
        last = index;
    }
    // One page either side, so ordinary scrolling finds its next page ready.
    for (const auto neighbour : {last.value_or(-2) + 1, first.value_or(0) - 1}) {
        if (neighbour >= 0 && neighbour < static_cast<qint64>(pageRects_.size())) {
            if (const PagePicture picture = pictureFor(neighbour); !picture.tiled) {
                wishes.push_back({neighbour, picture.pixelsPerPoint, {}});
            }
        }
    }
    wishes.insert(wishes.end(), standIns.begin(), standIns.end());
    renders_->want(PageRenderService::Viewer::canvas, std::move(wishes));
}

void PageCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    const QPalette& pal = palette();
    painter.fillRect(viewport()->rect(), theme::isDark(pal) ? QColor(40, 40, 42) : QColor(226, 228, 231));
    if (!document_) {
        return;
    }
    const QRectF view(QPointF(0, 0), QSizeF(viewport()->size()));
    const QPointF offset = toViewport(QPointF());
    const double ratio = viewport()->devicePixelRatioF();
    const auto start = std::lower_bound(pageRects_.begin(), pageRects_.end(), -offset.y(),
                                        [](const QRectF& r, double y) { return r.bottom() < y; });
    std::vector<qint64> shown;
    for (auto it = start; it != pageRects_.end(); ++it) {
        const QRectF rect = it->translated(offset);
        if (rect.top() > view.bottom()) {
            break;
        }
        if (!rect.intersects(view)) {
            continue;
        }
        const auto index = static_cast<qint64>(it - pageRects_.begin());
        shown.push_back(index);
        painter.fillRect(rect.translated(0, 1.5).adjusted(-1, -1, 1, 1), QColor(0, 0, 0, 40));
        const PagePicture picture = pictureFor(index);
        // Placeholder until the worker delivers (or for a page that will not render).
        const QImage image = renders_ ? renders_->image(index, picture.pixelsPerPoint) : QImage();
        if (image.isNull()) {
            painter.fillRect(rect, QColor(252, 252, 252));
        } else {
            const QSizeF target = rect.size() * ratio;
            const bool exact =
                std::abs(target.width() - image.width()) < 1.0 && std::abs(target.height() - image.height()) < 1.0;
            painter.setRenderHint(QPainter::SmoothPixmapTransform, !exact);
            painter.drawImage(rect, image);
        }
        // Tiles over the stand-in, pixel for pixel unless the page is too large even for tiles.
        const double toView = scale_ / picture.pixelsPerPoint;
        painter.setRenderHint(QPainter::SmoothPixmapTransform, std::abs(toView * ratio - 1.0) > 1e-9);
        for (const QRect& tile : picture.tiles) {
            if (const QImage part = renders_ ? renders_->tile(index, picture.pixelsPerPoint, tile) : QImage();
                !part.isNull()) {
                painter.drawImage(
                    QRectF(rect.topLeft() + QPointF(tile.topLeft()) * toView, QSizeF(part.size()) * toView), part);
            }
        }
    }

    // Pending regions: solid black, whatever their source, clipped to their page.
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const qint64 index : shown) {
        painter.save();
        painter.setClipRect(pageRectInViewport(index));
        painter.setPen(QPen(Qt::black, 1.0));
        painter.setBrush(Qt::black);
        for (const PageRect& rect : boxes_.on(index)) {
            painter.drawRect(pageRectToViewport(index, rect));
        }
        painter.restore();
    }

    // Outlines over the boxes: a hit already covered still shows where it is.
    painter.setRenderHint(QPainter::Antialiasing, true);
    for (const qint64 index : shown) {
        painter.save();
        painter.setClipRect(pageRectInViewport(index));
        for (const PageOutline& outline : outlinesByPage_.on(index)) {
            const QColor tint = outline.kind == PageOutline::Kind::finding ? theme::systemOrange(pal) : theme::teal();
            painter.setPen(QPen(tint, outline.emphasised ? 3.0 : 1.5));
            painter.setBrush(theme::withAlpha(tint, outline.emphasised ? 0.30 : 0.14));
            painter.drawRect(pageRectToViewport(index, outline.rect).adjusted(-1, -1, 1, 1));
        }
        painter.restore();
    }

    if (const auto preview = dragPreview()) {
        const QColor red = theme::systemRed(pal);
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(QPen(theme::withAlpha(red, 0.85), 2.0));
        painter.setBrush(theme::withAlpha(red, 0.22));
        painter.drawRect(*preview);
    }
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
    dragStart_ = toContent(event->position());
    dragCurrent_ = dragStart_;
    dragPage_ = DragPage{document_, *page};
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
    dragCurrent_ = toContent(event->position());
    viewport()->update();
    event->accept();
}

void PageCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (!dragStart_ || !dragPage_) {
        QAbstractScrollArea::mouseReleaseEvent(event);
        endDrag();
        return;
    }
    const QRectF dragged = spanning(*dragStart_, toContent(event->position()));
    const DragPage page = *dragPage_;
    endDrag();
    event->accept();
    if (dragged.width() < kClickLimit || dragged.height() < kClickLimit) {
        return;  // a click, not a drag
    }
    if (page.document != document_ || !document_) {
        return;  // the view changed documents under the drag
    }
    const PageRect rect = contentRectToPage(page.index, dragged);
    // Only pages of the document this view was made for are reported.
    if (creationDocument_ && page.document == creationDocument_ && onManualRedaction_) {
        onManualRedaction_(page.index, rect);
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

void PageCanvas::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && dragStart_) {
        endDrag();
        event->accept();
        return;
    }
    const bool control = event->modifiers().testFlag(Qt::ControlModifier);
    const qint64 last = static_cast<qint64>(pageRects_.size()) - 1;
    const qint64 current = currentPageIndex().value_or(0);
    // Back goes to the top of the page being read first, as paging through a book would.
    const qint64 back =
        verticalScrollBar()->value() > pageRectInContent(current).top() ? current : std::max<qint64>(current - 1, 0);
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
        setScale(scale_ * std::pow(kZoomStep, steps), ZoomMode::free, event->position());
    }
    event->accept();
}

}  // namespace norvane
