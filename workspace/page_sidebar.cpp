#include "workspace/page_sidebar.h"

#include "canvas/page_geometry.h"
#include "ui/theme.h"
#include "ui/typography.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <cmath>

namespace norvane {
namespace {

constexpr int kOuterPadding = 10;
constexpr int kRowSpacing = 12;
constexpr int kRowPadding = 8;
constexpr int kLabelSpacing = 6;
constexpr double kThumbWidth = 120;  // the thumbnail's box, points
constexpr double kThumbHeight = 155;
constexpr double kThumbMaxHeight = 150;

int captionHeight() {
    return QFontMetrics(theme::font(theme::TextStyle::Caption)).height() + 2;
}

}  // namespace

PageSidebar::PageSidebar(RedactionViewModel& model, QWidget* parent) : QAbstractScrollArea(parent), model_(model) {
    setObjectName(QStringLiteral("pageSidebar"));
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    verticalScrollBar()->setSingleStep(40);
    wantTimer_.setSingleShot(true);
    wantTimer_.setInterval(0);
    connect(&wantTimer_, &QTimer::timeout, this, &PageSidebar::requestVisibleThumbnails);

    connect(&model_, &RedactionViewModel::documentChanged, this, &PageSidebar::relayout);
    connect(&model_, &RedactionViewModel::redactionsChanged, viewport(), qOverload<>(&QWidget::update));
    connect(&model_, &RedactionViewModel::selectedPageIndexChanged, viewport(), qOverload<>(&QWidget::update));
    relayout();
}

void PageSidebar::setRenderService(std::shared_ptr<PageRenderService> renders) {
    if (holdRenders(renders_, std::move(renders), this, [this](qint64 page) { viewport()->update(rowRect(page)); })) {
        wantTimer_.start();
    }
}

QSizeF PageSidebar::thumbnailSize(qint64 pageIndex) const {
    const QSizeF page = displayedPageSize(document_->page(pageIndex));
    if (!(page.width() > 0) || !(page.height() > 0)) {
        return {kThumbWidth, kThumbHeight};
    }
    // The page fitted into the thumbnail box, then shown no taller than the limit.
    double fit = std::min(kThumbWidth / page.width(), kThumbHeight / page.height());
    QSizeF size = page * fit;
    if (size.height() > kThumbMaxHeight) {
        size *= kThumbMaxHeight / size.height();
    }
    return size;
}

void PageSidebar::relayout() {
    if (document_ != model_.document()) {
        document_ = model_.document();
        if (renders_ && renders_->document() != document_) {
            setRenderService(nullptr);  // the old document's pages go with it
        }
        verticalScrollBar()->setValue(0);
    }
    rows_.clear();
    int y = kOuterPadding;
    const int width = std::max(0, viewport()->width() - 2 * kOuterPadding);
    if (document_) {
        rows_.reserve(static_cast<std::size_t>(document_->pageCount()));
        for (qint64 i = 0; i < document_->pageCount(); ++i) {
            const int thumb = static_cast<int>(std::ceil(thumbnailSize(i).height()));
            const int height = kRowPadding * 2 + thumb + kLabelSpacing + captionHeight();
            rows_.emplace_back(kOuterPadding, y, width, height);
            y += height + kRowSpacing;
        }
        y -= kRowSpacing;
    }
    contentHeight_ = y + kOuterPadding;
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setRange(0, std::max(0, contentHeight_ - viewport()->height()));
    viewport()->update();
    wantTimer_.start();
}

QRect PageSidebar::rowRect(qint64 pageIndex) const {
    if (pageIndex < 0 || pageIndex >= static_cast<qint64>(rows_.size())) {
        return {};
    }
    return rows_[static_cast<std::size_t>(pageIndex)].translated(0, -verticalScrollBar()->value());
}

std::optional<qint64> PageSidebar::rowAt(const QPoint& viewportPoint) const {
    const QPoint content = viewportPoint + QPoint(0, verticalScrollBar()->value());
    const auto it =
        std::lower_bound(rows_.begin(), rows_.end(), content.y(), [](const QRect& r, int y) { return r.bottom() < y; });
    if (it == rows_.end() || !it->contains(content)) {
        return std::nullopt;
    }
    return static_cast<qint64>(it - rows_.begin());
}

qint64 PageSidebar::badgeCount(qint64 pageIndex) const {
    return std::count_if(model_.redactions().begin(), model_.redactions().end(),
                         [&](const RedactionRegion& r) { return r.pageIndex == pageIndex; });
}

double PageSidebar::thumbnailPixelsPerPoint(qint64 pageIndex) const {
    const double pointsWide = displayedPageSize(document_->page(pageIndex)).width();
    const double scale = pointsWide > 0 ? thumbnailSize(pageIndex).width() / pointsWide : 1.0;
    return scale * viewport()->devicePixelRatioF();
}

void PageSidebar::requestVisibleThumbnails() {
    // Deferred to here so that the canvas of a new document can hand over its service first.
    setRenderService(renderServiceFor(renders_, document_));
    if (!renders_) {
        return;
    }
    const int top = verticalScrollBar()->value();
    const int bottom = top + viewport()->height();
    std::vector<PageRenderService::Wish> wishes;
    const auto start =
        std::lower_bound(rows_.begin(), rows_.end(), top, [](const QRect& r, int y) { return r.bottom() < y; });
    for (auto it = start; it != rows_.end() && it->top() <= bottom; ++it) {
        const auto index = static_cast<qint64>(it - rows_.begin());
        wishes.push_back({index, thumbnailPixelsPerPoint(index)});
    }
    renders_->want(PageRenderService::Viewer::thumbnails, std::move(wishes));
}

void PageSidebar::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    const QPalette& pal = palette();
    painter.fillRect(event->rect(), theme::controlBackground(pal));
    if (!document_) {
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    const QFont caption = theme::font(theme::TextStyle::Caption);
    const QFont badgeFont = theme::font(theme::TextStyle::Caption2, QFont::Bold);
    const int top = verticalScrollBar()->value();
    const auto start =
        std::lower_bound(rows_.begin(), rows_.end(), top, [](const QRect& r, int y) { return r.bottom() < y; });
    for (auto it = start; it != rows_.end() && it->top() <= top + viewport()->height(); ++it) {
        const auto index = static_cast<qint64>(it - rows_.begin());
        const QRect row = it->translated(0, -top);
        painter.setPen(Qt::NoPen);
        painter.setBrush(isHighlighted(index) ? theme::withAlpha(theme::teal(), 0.12) : QColor(Qt::transparent));
        painter.drawRoundedRect(QRectF(row), 10, 10);

        const QSizeF thumb = thumbnailSize(index);
        const QRectF thumbRect(row.left() + (row.width() - thumb.width()) / 2.0, row.top() + kRowPadding, thumb.width(),
                               thumb.height());
        const QImage image = renders_ ? renders_->image(index, thumbnailPixelsPerPoint(index)) : QImage();
        if (image.isNull()) {
            painter.fillRect(thumbRect, QColor(252, 252, 252));
        } else {
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawImage(thumbRect, image);
        }
        painter.setPen(QPen(theme::separatorColor(pal), 1.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(thumbRect.adjusted(-0.5, -0.5, 0.5, 0.5));

        const int labelTop = static_cast<int>(std::ceil(thumbRect.bottom())) + kLabelSpacing;
        const QRect labelRect(row.left() + kRowPadding, labelTop, row.width() - 2 * kRowPadding, captionHeight());
        painter.setFont(caption);
        painter.setPen(theme::labelColor(pal));
        painter.drawText(labelRect, Qt::AlignLeft | Qt::AlignVCenter,
                         QStringLiteral("Page ") + QString::number(index + 1));

        if (const qint64 count = badgeCount(index); count > 0) {
            const QString text = QString::number(count);
            const QFontMetrics metrics(badgeFont);
            const QRectF badge(labelRect.right() - metrics.horizontalAdvance(text) - 12, labelRect.top(),
                               metrics.horizontalAdvance(text) + 12, labelRect.height());
            painter.setPen(Qt::NoPen);
            painter.setBrush(theme::withAlpha(theme::systemRed(pal), 0.15));
            painter.drawRoundedRect(badge, badge.height() / 2, badge.height() / 2);
            painter.setFont(badgeFont);
            painter.setPen(theme::labelColor(pal));
            painter.drawText(badge, Qt::AlignCenter, text);
        }
    }
}

void PageSidebar::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    relayout();
}

void PageSidebar::scrollContentsBy(int, int) {
    viewport()->update();
    wantTimer_.start();
}

void PageSidebar::mousePressEvent(QMouseEvent* event) {
    pressedRow_ = event->button() == Qt::LeftButton ? rowAt(event->position().toPoint()) : std::nullopt;
    QAbstractScrollArea::mousePressEvent(event);
}

void PageSidebar::mouseReleaseEvent(QMouseEvent* event) {
    const auto row = rowAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && row && row == pressedRow_) {
        model_.setSelectedPageIndex(*row);
    }
    pressedRow_.reset();
    QAbstractScrollArea::mouseReleaseEvent(event);
}

}  // namespace norvane
