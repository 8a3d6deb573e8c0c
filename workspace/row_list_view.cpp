#include "workspace/row_list_view.h"

#include "ui/theme.h"
#include "workspace/row_list_accessibility.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QScrollArea>
#include <QStyle>
#include <QToolTip>

#include <algorithm>

namespace norvane {

QString pageLabel(std::int64_t pageIndex) {
    return QStringLiteral("Page ") + QString::number(pageIndex + 1);
}

QString sourceLabel(RedactionSource source) {
    const std::string_view raw = rawValue(source);
    return QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size()));
}

void paintButtonRow(QPainter* painter, const QRect& rect, const QPalette& palette, bool pressed) {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    QColor fill = theme::controlBackground(palette);
    if (pressed) {
        fill = fill.darker(108);
    }
    painter->setPen(Qt::NoPen);
    painter->setBrush(fill);
    painter->drawRoundedRect(QRectF(rect), 8, 8);
    painter->restore();
}

void drawLabelText(QPainter* painter, const QWidget& on, const QRect& rect, const QFont& font, const QColor& color,
                   const QString& text, bool wordWrap) {
    const Qt::LayoutDirection direction = text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
    const int flags = static_cast<int>(QStyle::visualAlignment(direction, Qt::AlignLeft | Qt::AlignVCenter)) |
                      (wordWrap ? Qt::TextWordWrap : 0) |
                      (direction == Qt::LeftToRight ? Qt::TextForceLeftToRight : Qt::TextForceRightToLeft);
    QPalette palette = on.palette();
    palette.setColor(QPalette::WindowText, color);
    painter->save();
    painter->setClipRect(rect, Qt::IntersectClip);  // a label paints inside its own rectangle only
    painter->setFont(font);
    on.style()->drawItemText(painter, rect, flags, palette, true, text, QPalette::WindowText);
    painter->restore();
}

QSize labelSize(const QFontMetrics& metrics, const QString& text, int wrapWidth) {
    // Top aligned, as a label measures: centring would round the height differently.
    const int flags = Qt::AlignLeft | Qt::AlignTop | (wrapWidth >= 0 ? Qt::TextWordWrap : 0);
    return metrics.boundingRect(QRect(0, 0, wrapWidth >= 0 ? wrapWidth : 2000, 2000), flags, text).size();
}

int layoutSpacing(const QWidget& widget) {
    const int spacing = widget.style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing, nullptr, &widget);
    if (spacing >= 0) return spacing;
    return std::max(
        0, widget.style()->layoutSpacing(QSizePolicy::Label, QSizePolicy::Label, Qt::Horizontal, nullptr, &widget));
}

// ---- delegate ----

RowDelegate::RowDelegate(RowListView* view) : QStyledItemDelegate(view), view_(view) {}

int RowDelegate::rowWidth() const {
    return view_->viewport()->width();
}

QRect RowDelegate::partRect(const QModelIndex& index) const {
    return QRect(0, 0, rowWidth(), rowHeight(index));
}

QSize RowDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const {
    return QSize(0, rowHeight(index) + view_->gapBelow(index.row()));
}

void RowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    const QRect row(option.rect.topLeft(), QSize(option.rect.width(), rowHeight(index)));
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const bool focused = option.state.testFlag(QStyle::State_HasFocus) && view_->hasFocus();
    if (selected || focused) {
        // Into the gaps above and below, never so far that neighbouring marks touch.
        const double reach = std::min(5.5, view_->rowGap() / 2.0 - 0.5);
        const QColor accent = option.palette.color(QPalette::Highlight);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(focused ? QPen(accent, 1.0) : QPen(Qt::NoPen));
        painter->setBrush(selected ? theme::withAlpha(accent, 0.16) : QColor(Qt::transparent));
        painter->drawRoundedRect(QRectF(row).adjusted(0.5, -reach, -0.5, reach), 6, 6);
        painter->restore();
    }
    paintRow(painter, row, index);
}

// ---- view ----

RowListView::RowListView(bool wholeRowPresses, int gap, QWidget* parent)
    : QListView(parent), wholeRowPresses_(wholeRowPresses), gap_(gap) {
    installRowListAccessibility();
    setFrameShape(QFrame::NoFrame);
    viewport()->setAutoFillBackground(false);
    viewport()->setMouseTracking(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setVerticalScrollMode(ScrollPerPixel);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
}

void RowListView::setRowDelegate(RowDelegate* delegate) {
    delegate_ = delegate;
    setItemDelegate(delegate);
}

void RowListView::setModel(QAbstractItemModel* rows) {
    QListView::setModel(rows);
    connect(rows, &QAbstractItemModel::rowsInserted, this, &RowListView::rowsChanged);
    connect(rows, &QAbstractItemModel::rowsRemoved, this, &RowListView::rowsChanged);
    connect(rows, &QAbstractItemModel::modelReset, this, &RowListView::rowsChanged);
    fitHeight();
}

void RowListView::rowsChanged() {
    hovered_.reset();
    pressed_.reset();
    fitHeight();
    rowListRowsChanged(this);
}

int RowListView::rowHeight(int row) const {
    return delegate_->rowHeight(model()->index(row, 0));
}

int RowListView::gapBelow(int row) const {
    return trailingGap_ || row + 1 < model()->rowCount() ? gap_ : 0;
}

QRect RowListView::partRect(int row) const {
    const QModelIndex index = model()->index(row, 0);
    return delegate_->partRect(index).translated(visualRect(index).topLeft());
}

QString RowListView::rowName(int row) const {
    return model()->index(row, 0).data(Qt::AccessibleTextRole).toString();
}

void RowListView::pressLater(const QPersistentModelIndex& row) {
    QMetaObject::invokeMethod(
        this,
        [this, row] {
        if (row.isValid() && hasPart(row.row())) emit partClicked(row.row());
        },
        Qt::QueuedConnection);
}

std::optional<int> RowListView::partAt(const QPoint& viewportPoint) const {
    const QModelIndex index = indexAt(viewportPoint);
    if (!index.isValid() || !hasPart(index.row()) || !partRect(index.row()).contains(viewportPoint)) {
        return std::nullopt;
    }
    return index.row();
}

void RowListView::setHovered(std::optional<int> row) {
    if (row == hovered_) {
        return;
    }
    for (const auto& changed : {hovered_, row}) {
        if (changed) {
            viewport()->update(partRect(*changed));
        }
    }
    hovered_ = row;
    if (row) {
        viewport()->setCursor(Qt::PointingHandCursor);
    } else {
        viewport()->unsetCursor();
    }
}

void RowListView::fitHeight() {
    qint64 height = 0;
    for (int row = 0, count = model() ? model()->rowCount() : 0; row < count; ++row) {
        height += rowHeight(row) + gapBelow(row);
    }
    setFixedHeight(static_cast<int>(std::min<qint64>(height, QWIDGETSIZE_MAX)));
}

void RowListView::remeasure() {
    delegate_->forget();
    scheduleDelayedItemsLayout();
    fitHeight();
}

void RowListView::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    QListView::currentChanged(current, previous);
    if (!current.isValid()) {
        return;
    }
    // This list does not scroll: the scroll area around it brings the row into view.
    for (QWidget* above = parentWidget(); above; above = above->parentWidget()) {
        auto* area = qobject_cast<QScrollArea*>(above);
        if (area && area->widget() && area->widget()->isAncestorOf(this)) {
            const QRect row = visualRect(current);
            const QPoint centre = viewport()->mapTo(area->widget(), row.center());
            area->ensureVisible(centre.x(), centre.y(), 0, row.height() / 2);
            return;
        }
    }
}

void RowListView::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if ((key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter) && currentIndex().isValid() &&
        hasPart(currentIndex().row())) {
        emit partClicked(currentIndex().row());
        event->accept();
        return;
    }
    QListView::keyPressEvent(event);
}

void RowListView::mousePressEvent(QMouseEvent* event) {
    const auto row = event->button() == Qt::LeftButton ? partAt(event->position().toPoint()) : std::nullopt;
    if (!row) {
        QListView::mousePressEvent(event);
        return;
    }
    // A press on the part is the part's alone: it neither selects nor starts a drag.
    pressed_ = row;
    setHovered(row);
    viewport()->update(partRect(*row));
    event->accept();
}

void RowListView::mouseMoveEvent(QMouseEvent* event) {
    setHovered(partAt(event->position().toPoint()));
    if (!pressed_) {
        QListView::mouseMoveEvent(event);
    }
}

void RowListView::mouseReleaseEvent(QMouseEvent* event) {
    if (!pressed_) {
        QListView::mouseReleaseEvent(event);
        return;
    }
    const int row = *pressed_;
    pressed_.reset();
    event->accept();
    viewport()->update(partRect(row));
    if (partAt(event->position().toPoint()) == row) {
        emit partClicked(row);
        setHovered(partAt(event->position().toPoint()));  // rows may have moved under the pointer
    }
}

bool RowListView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::Leave) {
        setHovered(std::nullopt);
    } else if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const auto row = partAt(help->pos());
        const QString tip = row ? partToolTip(*row) : QString();
        if (!tip.isEmpty()) {
            QToolTip::showText(help->globalPos(), tip, viewport(), partRect(*row));
            return true;
        }
    }
    return QListView::viewportEvent(event);
}

void RowListView::changeEvent(QEvent* event) {
    QListView::changeEvent(event);
    const QEvent::Type type = event->type();
    if (type == QEvent::StyleChange || type == QEvent::FontChange || type == QEvent::PaletteChange) {
        remeasure();
    }
}

void RowListView::resizeEvent(QResizeEvent* event) {
    const bool wider = event->size().width() != event->oldSize().width();
    if (wider) {
        delegate_->forget();  // right-hand parts move, text wraps anew
    }
    QListView::resizeEvent(event);
    if (wider) {
        remeasure();
    }
}

}  // namespace norvane
