#include "workspace/pending_list.h"

#include "ui/symbols.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QAbstractItemDelegate>
#include <QHBoxLayout>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QStyleOptionToolButton>
#include <QToolTip>
#include <QVBoxLayout>

#include <algorithm>

namespace norvane {

QString pageLabel(std::int64_t pageIndex) {
    return QStringLiteral("Page ") + QString::number(pageIndex + 1);
}

QString sourceLabel(RedactionSource source) {
    const std::string_view raw = rawValue(source);
    return QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size()));
}

// ---- model ----

PendingListModel::PendingListModel(RedactionViewModel& model, QObject* parent)
    : QAbstractListModel(parent), model_(model) {
    connect(&model_, &RedactionViewModel::redactionsChanged, this, &PendingListModel::sync);
    sync();
}

int PendingListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant PendingListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) {
        return {};
    }
    const RedactionRegion& r = region(index.row());
    const auto detail = [&] { return r.matchedText ? QString::fromStdString(*r.matchedText) : sourceLabel(r.source); };
    switch (role) {
        case Qt::DisplayRole:
            return pageLabel(r.pageIndex);
        case DetailRole:
            return detail();
        case Qt::AccessibleTextRole:
            return pageLabel(r.pageIndex) + QStringLiteral(", ") + detail();
        default:
            return {};
    }
}

void PendingListModel::sync() {
    // Regions change at the end ("Redact All", undo) or one at a time (remove): only the rows
    // between the unchanged beginning and end are replaced, so selection elsewhere stays.
    const RegionList& regions = model_.redactions();
    const auto same = [](const RedactionRegion& a, const RedactionRegion& b) {
        return a.id == b.id && a.pageIndex == b.pageIndex && a.source == b.source && a.matchedText == b.matchedText;
    };
    const std::size_t shorter = std::min(rows_.size(), regions.size());
    std::size_t head = 0;
    while (head < shorter && same(rows_[head], regions[head])) {
        ++head;
    }
    std::size_t tail = 0;
    while (tail < shorter - head && same(rows_[rows_.size() - 1 - tail], regions[regions.size() - 1 - tail])) {
        ++tail;
    }
    if (head + tail < rows_.size()) {
        beginRemoveRows({}, static_cast<int>(head), static_cast<int>(rows_.size() - tail) - 1);
        rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(head), rows_.end() - static_cast<std::ptrdiff_t>(tail));
        endRemoveRows();
    }
    if (head + tail < regions.size()) {
        beginInsertRows({}, static_cast<int>(head), static_cast<int>(regions.size() - tail) - 1);
        rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(head),
                     regions.begin() + static_cast<std::ptrdiff_t>(head),
                     regions.end() - static_cast<std::ptrdiff_t>(tail));
        endInsertRows();
    }
}

// ---- remove button ----

RemoveButton::RemoveButton(QWidget* parent) : QToolButton(parent) {
    setObjectName(QStringLiteral("removeRegion"));
    setAutoRaise(true);
    setIconSize(QSize(16, 16));
    setToolTip(QStringLiteral("Remove"));
    applyIcon();
}

void RemoveButton::changeEvent(QEvent* event) {
    QToolButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange) {
        applyIcon();
    }
}

void RemoveButton::applyIcon() {
    setIcon(theme::symbolIcon(QStringLiteral("xmark.circle.fill"), theme::secondaryLabelColor(palette())));
}

// ---- view ----

namespace {

// Text as the template label would paint it (QLabel's plain-text path).
void drawLabelText(QPainter* painter, const QLabel* label, const QRect& rect, const QString& text) {
    const Qt::LayoutDirection direction = text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
    const int flags = static_cast<int>(QStyle::visualAlignment(direction, label->alignment())) |
                      (direction == Qt::LeftToRight ? Qt::TextForceLeftToRight : Qt::TextForceRightToLeft);
    painter->setFont(label->font());
    label->style()->drawItemText(painter, rect, flags, label->palette(), label->isEnabled(), text,
                                 label->foregroundRole());
}

class PendingRowDelegate : public QAbstractItemDelegate {
public:
    explicit PendingRowDelegate(PendingListView* view) : QAbstractItemDelegate(view), view_(view) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override {
        return QSize(0, view_->rowLayout().height + PendingListView::kRowGap);
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const PendingListView::RowLayout& layout = view_->rowLayout();
        const QPoint origin = option.rect.topLeft();
        painter->save();
        const bool selected = option.state.testFlag(QStyle::State_Selected);
        const bool focused = option.state.testFlag(QStyle::State_HasFocus) && view_->hasFocus();
        if (selected || focused) {
            // Half the gap above and below, so neighbouring marks never touch.
            const QRectF mark =
                QRectF(origin.x(), origin.y(), option.rect.width(), layout.height).adjusted(0.5, -5.5, -0.5, 5.5);
            const QColor accent = option.palette.color(QPalette::Highlight);
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(focused ? QPen(accent, 1.0) : QPen(Qt::NoPen));
            painter->setBrush(selected ? theme::withAlpha(accent, 0.16) : QColor(Qt::transparent));
            painter->drawRoundedRect(mark, 6, 6);
        }
        drawLabelText(painter, view_->pageTemplate(), layout.page.translated(origin),
                      index.data(Qt::DisplayRole).toString());
        const QRect detail = layout.detail.translated(origin);
        drawLabelText(painter, view_->detailTemplate(), detail,
                      view_->detailTemplate()->fontMetrics().elidedText(
                          index.data(PendingListModel::DetailRole).toString(), Qt::ElideRight, detail.width()));

        RemoveButton* button = view_->buttonTemplate();
        QStyleOptionToolButton look;
        button->initStyleOption(&look);
        look.rect = layout.button.translated(origin);
        const bool hovered = view_->hoveredButton() == index.row();
        const bool pressed = hovered && view_->pressedButton() == index.row();
        look.state &= ~(QStyle::State_MouseOver | QStyle::State_Sunken | QStyle::State_Raised | QStyle::State_HasFocus);
        look.state |= pressed ? QStyle::State_Sunken : QStyle::State_Raised;
        look.activeSubControls = pressed ? QStyle::SC_ToolButton : QStyle::SC_None;
        if (hovered) {
            look.state |= QStyle::State_MouseOver;
        }
        button->style()->drawComplexControl(QStyle::CC_ToolButton, &look, painter, button);
        painter->restore();
    }

private:
    PendingListView* view_;
};

}  // namespace

PendingListView::PendingListView(RedactionViewModel& model, QWidget* parent)
    : QListView(parent), model_(model), rows_(new PendingListModel(model, this)) {
    setObjectName(QStringLiteral("pendingList"));
    setAccessibleName(QStringLiteral("Pending Redactions"));
    setFrameShape(QFrame::NoFrame);
    viewport()->setAutoFillBackground(false);
    viewport()->setMouseTracking(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The list is as tall as its rows, so it scrolls with the inspector; only past the tallest
    // widget Qt allows does it scroll itself.
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setVerticalScrollMode(ScrollPerPixel);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setUniformItemSizes(true);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);

    // Never shown: it lays out and styles one row the way a widget row would look.
    template_ = new QWidget(this);
    template_->hide();
    auto* row = new QHBoxLayout(template_);
    row->setContentsMargins(0, 0, 0, 0);
    auto* column = new QVBoxLayout();
    column->setSpacing(2);
    page_ = new theme::ThemedLabel(pageLabel(0), theme::font(theme::TextStyle::Caption, QFont::DemiBold),
                                   theme::primaryText(), template_);
    detail_ = new theme::ThemedLabel(sourceLabel(RedactionSource::manual), theme::font(theme::TextStyle::Caption2),
                                     theme::secondaryText(), template_);
    detail_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    detail_->setMinimumWidth(0);
    column->addWidget(page_);
    column->addWidget(detail_);
    row->addLayout(column, 1);
    button_ = new RemoveButton(template_);
    row->addWidget(button_, 0, Qt::AlignVCenter);

    setItemDelegate(new PendingRowDelegate(this));
    setModel(rows_);
    const auto rowsChanged = [this] {
        hovered_.reset();
        pressed_.reset();
        fitHeight();
    };
    connect(rows_, &QAbstractItemModel::rowsInserted, this, rowsChanged);
    connect(rows_, &QAbstractItemModel::rowsRemoved, this, rowsChanged);
    fitHeight();
}

const PendingListView::RowLayout& PendingListView::rowLayout() const {
    if (!layout_) {
        const int height = template_->sizeHint().height();
        template_->layout()->setGeometry(QRect(0, 0, viewport()->width(), height));
        layout_ = RowLayout{height, page_->geometry(), detail_->geometry(), button_->geometry()};
    }
    return *layout_;
}

QRect PendingListView::removeButtonRect(int row) const {
    return rowLayout().button.translated(visualRect(rows_->index(row)).topLeft());
}

std::optional<int> PendingListView::buttonAt(const QPoint& viewportPoint) const {
    const QModelIndex index = indexAt(viewportPoint);
    if (!index.isValid() || !removeButtonRect(index.row()).contains(viewportPoint)) {
        return std::nullopt;
    }
    return index.row();
}

void PendingListView::setHovered(std::optional<int> row) {
    if (row == hovered_) {
        return;
    }
    for (const auto& changed : {hovered_, row}) {
        if (changed) {
            viewport()->update(removeButtonRect(*changed));
        }
    }
    hovered_ = row;
    if (row) {
        viewport()->setCursor(Qt::PointingHandCursor);
    } else {
        viewport()->unsetCursor();
    }
}

// The view moves the choice to the row that takes the removed one's place, so that Delete
// can be pressed again.
void PendingListView::removeRow(int row) {
    const RedactionRegion target = rows_->region(row);  // the row goes away while the model removes it
    model_.remove(target);
}

void PendingListView::fitHeight() {
    const qint64 pitch = rowLayout().height + kRowGap;
    setFixedHeight(static_cast<int>(std::min<qint64>(pitch * rows_->rowCount(), QWIDGETSIZE_MAX)));
}

void PendingListView::keyPressEvent(QKeyEvent* event) {
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && currentIndex().isValid()) {
        removeRow(currentIndex().row());
        event->accept();
        return;
    }
    QListView::keyPressEvent(event);
}

void PendingListView::mousePressEvent(QMouseEvent* event) {
    const auto row = event->button() == Qt::LeftButton ? buttonAt(event->position().toPoint()) : std::nullopt;
    if (!row) {
        QListView::mousePressEvent(event);
        return;
    }
    // A press on a button is the button's alone: it neither selects nor starts a drag.
    pressed_ = row;
    setHovered(row);
    viewport()->update(removeButtonRect(*row));
    event->accept();
}

void PendingListView::mouseMoveEvent(QMouseEvent* event) {
    setHovered(buttonAt(event->position().toPoint()));
    if (!pressed_) {
        QListView::mouseMoveEvent(event);
    }
}

void PendingListView::mouseReleaseEvent(QMouseEvent* event) {
    if (!pressed_) {
        QListView::mouseReleaseEvent(event);
        return;
    }
    const int row = *pressed_;
    pressed_.reset();
    event->accept();
    if (buttonAt(event->position().toPoint()) == row) {
        removeRow(row);
        setHovered(buttonAt(event->position().toPoint()));  // the next row's button is under the pointer now
    } else {
        viewport()->update(removeButtonRect(row));
    }
}

bool PendingListView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::Leave) {
        setHovered(std::nullopt);
    } else if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        if (const auto row = buttonAt(help->pos())) {
            QToolTip::showText(help->globalPos(), button_->toolTip(), viewport(), removeButtonRect(*row));
            return true;
        }
    }
    return QListView::viewportEvent(event);
}

void PendingListView::changeEvent(QEvent* event) {
    QListView::changeEvent(event);
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::FontChange) {
        layout_.reset();
        scheduleDelayedItemsLayout();
        fitHeight();
    }
}

void PendingListView::resizeEvent(QResizeEvent* event) {
    layout_.reset();  // the remove button sits at the right edge
    QListView::resizeEvent(event);
}

}  // namespace norvane
