#include "workspace/page_sidebar.h"

#include "canvas/page_geometry.h"
#include "ui/symbols.h"
#include "ui/theme.h"
#include "ui/typography.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <cmath>
#include <utility>

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
    setAccessibleName(QStringLiteral("Page thumbnails"));
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setFocusPolicy(Qt::StrongFocus);
    verticalScrollBar()->setSingleStep(40);
    wantTimer_.setSingleShot(true);
    wantTimer_.setInterval(0);
    connect(&wantTimer_, &QTimer::timeout, this, &PageSidebar::requestVisibleThumbnails);

    connect(&model_, &RedactionViewModel::documentChanged, this, &PageSidebar::relayout);
    connect(&model_, &RedactionViewModel::redactionsChanged, this, &PageSidebar::syncBoxes);
    connect(&model_, &RedactionViewModel::evenWidthBoxesChanged, this, &PageSidebar::syncBoxes);
    connect(&model_, &RedactionViewModel::selectedPageIndexChanged, this, &PageSidebar::syncSelection);
    connect(&model_, &RedactionViewModel::inspectionChanged, this, &PageSidebar::syncHiddenContent);
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
        readingPage_.reset();
        focusRow_.reset();
        shownSelection_ = model_.selectedPageIndex();
        accessibility_.reset();
        syncBoxes();
        syncHiddenContent();
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

void PageSidebar::syncBoxes() {
    // The boxes the export will burn in, so the thumbnails show what the copy will show.
    boxes_.assign(model_.exportedRedactions(), document_ ? document_->pageCount() : 0,
                  [](const RedactionRegion& region) { return region.rect; });
    viewport()->update();
    accessibility_.countsChanged();
}

void PageSidebar::syncHiddenContent() {
    hidesContent_.assign(document_ ? static_cast<std::size_t>(document_->pageCount()) : 0, false);
    for (const InspectionFinding& finding : model_.inspection().findings) {
        if (finding.pageIndex >= 0 && finding.pageIndex < static_cast<qint64>(hidesContent_.size())) {
            hidesContent_[static_cast<std::size_t>(finding.pageIndex)] = true;
        }
    }
    viewport()->update();
    accessibility_.countsChanged();
}

void PageSidebar::syncSelection() {
    // The keyboard goes on from the page chosen, wherever it was chosen.
    const qint64 before = std::exchange(shownSelection_, model_.selectedPageIndex());
    if (shownSelection_ >= 0 && shownSelection_ < rowCount()) {
        setFocusRow(shownSelection_);
    }
    viewport()->update();
    if (before != shownSelection_) {
        accessibility_.selectionChanged(before);
    }
}

std::optional<qint64> PageSidebar::focusedRow() const {
    if (rows_.empty()) {
        return std::nullopt;
    }
    return focusRow_.value_or(std::clamp<qint64>(model_.selectedPageIndex(), 0, rowCount() - 1));
}

void PageSidebar::setFocusRow(qint64 pageIndex) {
    if (focusRow_ != pageIndex) {
        focusRow_ = pageIndex;
        viewport()->update();
        accessibility_.focusChanged();
    }
}

qint64 PageSidebar::badgeCount(qint64 pageIndex) const {
    return static_cast<qint64>(boxes_.on(pageIndex).size());
}

bool PageSidebar::hidesContent(qint64 pageIndex) const {
    return pageIndex >= 0 && pageIndex < static_cast<qint64>(hidesContent_.size()) &&
           hidesContent_[static_cast<std::size_t>(pageIndex)];
}

void PageSidebar::setReadingPage(qint64 pageIndex) {
    if (pageIndex < 0 || pageIndex >= static_cast<qint64>(rows_.size()) || readingPage_ == pageIndex) {
        return;
    }
    readingPage_ = pageIndex;
    scrollToRow(pageIndex);
    viewport()->update();
}

void PageSidebar::scrollToRow(qint64 pageIndex) {
    const QRect row = rowRect(pageIndex);
    QScrollBar* bar = verticalScrollBar();
    // A row taller than the view shows its thumbnail, its top.
    if (row.top() < 0 || row.height() + 2 * kOuterPadding > viewport()->height()) {
        bar->setValue(bar->value() + row.top() - kOuterPadding);
    } else if (row.bottom() > viewport()->height()) {
        bar->setValue(bar->value() + row.bottom() - viewport()->height() + kOuterPadding);
    }
}

void PageSidebar::choose(qint64 pageIndex) {
    model_.setSelectedPageIndex(pageIndex);
    emit pageChosen(pageIndex);
}

void PageSidebar::keyPressEvent(QKeyEvent* event) {
    const auto count = static_cast<qint64>(rows_.size());
    if (count == 0) {
        QAbstractScrollArea::keyPressEvent(event);
        return;
    }
    const qint64 from = *focusedRow();
    std::optional<qint64> to;
    switch (event->key()) {
        case Qt::Key_Up:
            to = std::max<qint64>(from - 1, 0);
            break;
        case Qt::Key_Down:
            to = std::min(from + 1, count - 1);
            break;
        case Qt::Key_Home:
            to = 0;
            break;
        case Qt::Key_End:
            to = count - 1;
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
            choose(from);
            break;
        default:
            QAbstractScrollArea::keyPressEvent(event);
            return;
    }
    if (to) {
        setFocusRow(*to);
        scrollToRow(*to);
    }
    event->accept();
}

QRectF PageSidebar::thumbnailRect(qint64 pageIndex) const {
    const QRect row = rowRect(pageIndex);
    if (row.isNull()) {
        return {};
    }
    const QSizeF thumb = thumbnailSize(pageIndex);
    return {row.left() + (row.width() - thumb.width()) / 2.0, row.top() + static_cast<double>(kRowPadding),
            thumb.width(), thumb.height()};
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
        wishes.push_back({index, thumbnailPixelsPerPoint(index), {}});
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
    const QPixmap hiddenMark = theme::symbolPixmap(QStringLiteral("eye"), std::min(14, captionHeight()),
                                                   theme::hiddenContent(pal), viewport()->devicePixelRatioF());
    const int top = verticalScrollBar()->value();
    const auto start =
        std::lower_bound(rows_.begin(), rows_.end(), top, [](const QRect& r, int y) { return r.bottom() < y; });
    for (auto it = start; it != rows_.end() && it->top() <= top + viewport()->height(); ++it) {
        const auto index = static_cast<qint64>(it - rows_.begin());
        const QRect row = it->translated(0, -top);
        painter.setPen(Qt::NoPen);
        if (isHighlighted(index)) {
            // The faint tint alone is hard to see on a dark list: an outline that stands out too.
            const QColor tint = theme::withAlpha(theme::teal(), 0.12);
            painter.setBrush(tint);
            painter.setPen(
                QPen(theme::outlineOn(theme::teal(), 0.7, theme::over(tint, theme::controlBackground(pal))), 1.5));
            painter.drawRoundedRect(QRectF(row).adjusted(0.75, 0.75, -0.75, -0.75), 10, 10);
        }

        const QRectF thumbRect = thumbnailRect(index);
        const QImage image = renders_ ? renders_->image(index, thumbnailPixelsPerPoint(index)) : QImage();
        if (image.isNull()) {
            painter.fillRect(thumbRect, QColor(252, 252, 252));
        } else {
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            painter.drawImage(thumbRect, image);
        }
        const PdfPageInfo& page = document_->page(index);
        const double toThumb = thumbRect.width() / displayedPageSize(page).width();
        painter.save();
        painter.setClipRect(thumbRect);
        for (const PageRect& box : boxes_.on(index)) {
            const QRectF shown = pageRectToDisplayed(page, box);
            // At least a pixel, so a thin box still shows at thumbnail size.
            painter.fillRect(QRectF(thumbRect.topLeft() + shown.topLeft() * toThumb,
                                    (shown.size() * toThumb).expandedTo(QSizeF(1, 1))),
                             Qt::black);
        }
        painter.restore();
        painter.setPen(QPen(theme::separatorColor(pal), 1.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(thumbRect.adjusted(-0.5, -0.5, 0.5, 0.5));
        if (hasFocus() && focusedRow() == index) {
            painter.setPen(QPen(theme::labelColor(pal), 1.0, Qt::DashLine));
            painter.drawRoundedRect(QRectF(row).adjusted(1.5, 1.5, -1.5, -1.5), 9, 9);
        }

        const int labelTop = static_cast<int>(std::ceil(thumbRect.bottom())) + kLabelSpacing;
        const QRect labelRect(row.left() + kRowPadding, labelTop, row.width() - 2 * kRowPadding, captionHeight());
        painter.setFont(caption);
        painter.setPen(theme::labelColor(pal));
        painter.drawText(labelRect, Qt::AlignLeft | Qt::AlignVCenter,
                         QStringLiteral("Page ") + QString::number(index + 1));

        double right = labelRect.right();
        if (const qint64 count = badgeCount(index); count > 0) {
            const QString text = QString::number(count);
            const QFontMetrics metrics(badgeFont);
            const QRectF badge(labelRect.right() - metrics.horizontalAdvance(text) - 12, labelRect.top(),
                               metrics.horizontalAdvance(text) + 12, labelRect.height());
            right = badge.left() - 4;
            painter.setPen(Qt::NoPen);
            painter.setBrush(theme::withAlpha(theme::systemRed(pal), 0.15));
            painter.drawRoundedRect(badge, badge.height() / 2, badge.height() / 2);
            painter.setFont(badgeFont);
            painter.setPen(theme::labelColor(pal));
            painter.drawText(badge, Qt::AlignCenter, text);
        }
        if (hidesContent(index)) {
            const int size = std::min(14, labelRect.height());
            const QRectF mark(right - size, labelRect.top() + (labelRect.height() - size) / 2.0, size, size);
            painter.drawPixmap(mark, hiddenMark, QRectF(hiddenMark.rect()));
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
        setFocusRow(*row);
        choose(*row);
    }
    pressedRow_.reset();
    QAbstractScrollArea::mouseReleaseEvent(event);
}

void PageSidebar::focusInEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();  // the keyboard's ring
    accessibility_.focusChanged();
}

void PageSidebar::focusOutEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

}  // namespace norvane
