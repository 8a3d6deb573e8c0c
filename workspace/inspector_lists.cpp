#include "workspace/inspector_lists.h"

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
#include <QResizeEvent>
#include <QScrollArea>
#include <QStyleOptionToolButton>
#include <QTextLayout>
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

// ---- models ----

ResultListModel::ResultListModel(RedactionViewModel& model, QObject* parent) : CopiedRowsModel(parent) {
    const auto sync = [this, &model] {
        beginResetModel();
        rows_ = model.searchResults();
        endResetModel();
    };
    connect(&model, &RedactionViewModel::searchResultsChanged, this, sync);
    sync();
}

QVariant ResultListModel::rowData(const RedactionSearchResult& hit, int role) const {
    const QString text = QString::fromStdString(hit.text);
    switch (role) {
        case Qt::DisplayRole:
            return text;
        case Qt::AccessibleTextRole:
            return pageLabel(hit.pageIndex) + QStringLiteral(", ") + text + QStringLiteral(", ") +
                   sourceLabel(hit.source);
        default:
            return {};
    }
}

PendingListModel::PendingListModel(RedactionViewModel& model, QObject* parent)
    : CopiedRowsModel(parent), model_(model) {
    connect(&model_, &RedactionViewModel::redactionsChanged, this, &PendingListModel::sync);
    sync();
}

QVariant PendingListModel::rowData(const RedactionRegion& region, int role) const {
    const QString detail =
        region.matchedText ? QString::fromStdString(*region.matchedText) : sourceLabel(region.source);
    switch (role) {
        case Qt::DisplayRole:
            return pageLabel(region.pageIndex);
        case DetailRole:
            return detail;
        case Qt::AccessibleTextRole:
            return pageLabel(region.pageIndex) + QStringLiteral(", ") + detail;
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

// ---- rows drawn by the list ----

namespace {

// Text as the template label would paint it (QLabel's plain-text path).
void drawLabelText(QPainter* painter, const QLabel* label, const QRect& rect, const QString& text) {
    const Qt::LayoutDirection direction = text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
    const int flags = static_cast<int>(QStyle::visualAlignment(direction, label->alignment())) |
                      (label->wordWrap() ? Qt::TextWordWrap : 0) |
                      (direction == Qt::LeftToRight ? Qt::TextForceLeftToRight : Qt::TextForceRightToLeft);
    painter->save();
    painter->setClipRect(rect);  // a label paints inside its own rectangle only
    painter->setFont(label->font());
    label->style()->drawItemText(painter, rect, flags, label->palette(), label->isEnabled(), text,
                                 label->foregroundRole());
    painter->restore();
}

RowTemplate rowTemplate(QWidget* owner, int margin, int columnSpacing, QLabel* first, QLabel* second, QWidget* trailing,
                        Qt::Alignment trailingAlignment) {
    auto* row = new QWidget(owner);
    row->hide();
    auto* across = new QHBoxLayout(row);
    across->setContentsMargins(margin, margin, margin, margin);
    auto* column = new QVBoxLayout();
    column->setSpacing(columnSpacing);
    column->addWidget(first);
    column->addWidget(second);
    across->addLayout(column, 1);
    across->addWidget(trailing, 0, trailingAlignment);
    return RowTemplate{row, first, second, trailing};
}

QLabel* templateLabel(const QFont& font, theme::ColorFn color) {
    return new theme::ThemedLabel(QString(), font, std::move(color));
}

// "Page 1": the page label is one line whatever the page.
QLabel* pageTemplateLabel() {
    QLabel* page = templateLabel(theme::font(theme::TextStyle::Caption, QFont::DemiBold), theme::primaryText());
    page->setText(pageLabel(0));
    return page;
}

class RowDelegate : public QAbstractItemDelegate {
public:
    explicit RowDelegate(RowListView* view) : QAbstractItemDelegate(view), view_(view) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const override {
        return QSize(0, view_->rowHeight(index.row()) + RowListView::kRowGap);
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const QRect row(option.rect.topLeft(), QSize(option.rect.width(), view_->rowHeight(index.row())));
        const bool selected = option.state.testFlag(QStyle::State_Selected);
        const bool focused = option.state.testFlag(QStyle::State_HasFocus) && view_->hasFocus();
        if (selected || focused) {
            // Into the gaps above and below, so that neighbouring marks never touch.
            const QColor accent = option.palette.color(QPalette::Highlight);
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(focused ? QPen(accent, 1.0) : QPen(Qt::NoPen));
            painter->setBrush(selected ? theme::withAlpha(accent, 0.16) : QColor(Qt::transparent));
            painter->drawRoundedRect(QRectF(row).adjusted(0.5, -5.5, -0.5, 5.5), 6, 6);
            painter->restore();
        }
        view_->paintRow(painter, row, index.row());
    }

private:
    RowListView* view_;
};

}  // namespace

RowLayout RowTemplate::layOut(int width) const {
    const int height = row->sizeHint().height();
    row->layout()->setGeometry(QRect(0, 0, width, height));
    return RowLayout{height, first->geometry(), second->geometry(), trailing->geometry()};
}

RowListView::RowListView(bool wholeRowPresses, QWidget* parent) : QListView(parent), wholeRowPresses_(wholeRowPresses) {
    setFrameShape(QFrame::NoFrame);
    viewport()->setAutoFillBackground(false);
    viewport()->setMouseTracking(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setVerticalScrollMode(ScrollPerPixel);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setItemDelegate(new RowDelegate(this));
}

void RowListView::setModel(QAbstractItemModel* rows) {
    QListView::setModel(rows);
    const auto rowsChanged = [this] {
        hovered_.reset();
        pressed_.reset();
        fitHeight();
    };
    connect(rows, &QAbstractItemModel::rowsInserted, this, rowsChanged);
    connect(rows, &QAbstractItemModel::rowsRemoved, this, rowsChanged);
    connect(rows, &QAbstractItemModel::modelReset, this, rowsChanged);
}

QRect RowListView::partRect(int row) const {
    const QRect part = wholeRowPresses_ ? QRect(0, 0, viewport()->width(), rowHeight(row)) : rowLayout(row).trailing;
    return part.translated(visualRect(model()->index(row, 0)).topLeft());
}

std::optional<int> RowListView::partAt(const QPoint& viewportPoint) const {
    const QModelIndex index = indexAt(viewportPoint);
    if (!index.isValid() || !partRect(index.row()).contains(viewportPoint)) {
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
        height += rowHeight(row) + kRowGap;
    }
    setFixedHeight(static_cast<int>(std::min<qint64>(height, QWIDGETSIZE_MAX)));
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
    if ((key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter) && currentIndex().isValid()) {
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
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::FontChange) {
        forgetLayout();
        scheduleDelayedItemsLayout();
        fitHeight();
    }
}

void RowListView::resizeEvent(QResizeEvent* event) {
    const bool wider = event->size().width() != event->oldSize().width();
    if (wider) {
        forgetLayout();  // right-hand parts move, text wraps anew
    }
    QListView::resizeEvent(event);
    if (wider) {
        scheduleDelayedItemsLayout();
        fitHeight();
    }
}

// ---- search results ----

ResultListView::ResultListView(RedactionViewModel& model, QWidget* parent)
    : RowListView(true, parent), rows_(new ResultListModel(model, this)) {
    setObjectName(QStringLiteral("resultList"));
    setAccessibleName(QStringLiteral("Search Results"));
    QLabel* text = templateLabel(theme::font(theme::TextStyle::Caption), theme::primaryText());
    text->setWordWrap(true);
    text->setMaximumHeight(text->fontMetrics().lineSpacing() * 2);  // at most two lines
    text->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    template_ = rowTemplate(this, 8, 3, pageTemplateLabel(), text,
                            templateLabel(theme::font(theme::TextStyle::Caption2), theme::secondaryText()), {});
    // A result row is a button, so its labels paint in the button text colour.
    template_.row->setBackgroundRole(QPalette::Button);
    // Layouts are kept per text: drop those of the results that went.
    connect(rows_, &QAbstractItemModel::modelAboutToBeReset, this, [this] { layouts_.clear(); });
    setModel(rows_);
    fitHeight();
}

const RowLayout& ResultListView::rowLayout(int row) const {
    const RedactionSearchResult& hit = rows_->at(row);
    const QString text = QString::fromStdString(hit.text);
    const QString source = sourceLabel(hit.source);
    const QString key = source + QChar(u'\n') + text;
    if (const auto found = layouts_.constFind(key); found != layouts_.cend()) {
        return *found;
    }
    // As a widget row in a column: its size hint, which wraps the text at a fixed width.
    template_.second->setText(text);
    static_cast<QLabel*>(template_.trailing)->setText(source);
    return *layouts_.insert(key, template_.layOut(viewport()->width()));
}

void ResultListView::forgetLayout() {
    layouts_.clear();
}

void ResultListView::paintRow(QPainter* painter, const QRect& rect, int row) const {
    const RowLayout& layout = rowLayout(row);
    const RedactionSearchResult& hit = rows_->at(row);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    QColor fill = theme::controlBackground(template_.row->palette());
    if (pressedPart() == row && hoveredPart() == row) {
        fill = fill.darker(108);
    }
    painter->setPen(Qt::NoPen);
    painter->setBrush(fill);
    painter->drawRoundedRect(QRectF(rect), 8, 8);
    painter->restore();
    const QPoint at = rect.topLeft();
    drawLabelText(painter, template_.first, layout.first.translated(at), pageLabel(hit.pageIndex));
    drawLabelText(painter, template_.second, layout.second.translated(at), shownText(row));
    drawLabelText(painter, static_cast<QLabel*>(template_.trailing), layout.trailing.translated(at),
                  sourceLabel(hit.source));
}

QString ResultListView::shownText(int row) const {
    const QString text = QString::fromStdString(rows_->at(row).text);
    const QRect box = rowLayout(row).second;
    const QFontMetrics metrics(template_.second->font());
    const int lines = std::max(1, box.height() / metrics.lineSpacing());
    // Wrapped as the label wraps, but a word longer than the row breaks rather than running out.
    QTextLayout layout(text, template_.second->font());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    QString shown;
    for (int index = 0; index < lines; ++index) {
        QTextLine line = layout.createLine();
        if (!line.isValid()) break;
        line.setLineWidth(box.width());
        if (index > 0) shown += QChar(u'\n');
        shown += index + 1 == lines ? metrics.elidedText(text.mid(line.textStart()), Qt::ElideRight, box.width())
                                    : text.mid(line.textStart(), line.textLength());
    }
    layout.endLayout();
    return shown;
}

QString ResultListView::partToolTip(int row) const {
    const QString text = QString::fromStdString(rows_->at(row).text);
    const auto joined = [](QString lines) { return lines.remove(QChar(u'\n')); };
    return joined(shownText(row)) != joined(text) ? text : QString();
}

// ---- pending regions ----

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

PendingListView::PendingListView(RedactionViewModel& model, QWidget* parent)
    : RowListView(false, parent),
      model_(model),
      rows_(new PendingListModel(model, this)),
      button_(new RemoveButton(nullptr)) {
    setObjectName(QStringLiteral("pendingList"));
    setAccessibleName(QStringLiteral("Pending Redactions"));
    setUniformItemSizes(true);
    QLabel* detail = templateLabel(theme::font(theme::TextStyle::Caption2), theme::secondaryText());
    detail->setText(sourceLabel(RedactionSource::manual));
    detail->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    template_ = rowTemplate(this, 0, 2, pageTemplateLabel(), detail, button_, Qt::AlignVCenter);
    setModel(rows_);
    connect(this, &RowListView::partClicked, this, [this](int row) {
        const RedactionRegion target = rows_->at(row);  // the row goes away while the model removes it
        model_.remove(target);
    });
    fitHeight();
}

const RowLayout& PendingListView::rowLayout(int) const {
    if (!layout_) {
        layout_ = template_.layOut(viewport()->width());
    }
    return *layout_;
}

QString PendingListView::partToolTip(int) const {
    return button_->toolTip();
}

void PendingListView::forgetLayout() {
    layout_.reset();
}

void PendingListView::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    if ((key == Qt::Key_Delete || key == Qt::Key_Backspace || key == Qt::Key_Space) && currentIndex().isValid()) {
        emit partClicked(currentIndex().row());
        event->accept();
        return;
    }
    // Enter does not remove: only keys that mean it, or Space as on a focused button.
    if (key != Qt::Key_Return && key != Qt::Key_Enter) {
        RowListView::keyPressEvent(event);
    } else {
        QListView::keyPressEvent(event);
    }
}

void PendingListView::paintRow(QPainter* painter, const QRect& rect, int row) const {
    const RowLayout& layout = rowLayout(row);
    const QPoint at = rect.topLeft();
    drawLabelText(painter, template_.first, layout.first.translated(at), pageLabel(rows_->at(row).pageIndex));
    const QRect detail = layout.second.translated(at);
    const QString text = rows_->index(row).data(PendingListModel::DetailRole).toString();
    drawLabelText(painter, template_.second, detail,
                  template_.second->fontMetrics().elidedText(text, Qt::ElideRight, detail.width()));

    QStyleOptionToolButton look;
    button_->initStyleOption(&look);
    look.rect = layout.trailing.translated(at);
    const bool hovered = hoveredPart() == row;
    const bool pressed = hovered && pressedPart() == row;
    look.state &= ~(QStyle::State_MouseOver | QStyle::State_Sunken | QStyle::State_Raised | QStyle::State_HasFocus);
    look.state |= pressed ? QStyle::State_Sunken : QStyle::State_Raised;
    look.activeSubControls = pressed ? QStyle::SC_ToolButton : QStyle::SC_None;
    if (hovered) {
        look.state |= QStyle::State_MouseOver;
    }
    button_->style()->drawComplexControl(QStyle::CC_ToolButton, &look, painter, button_);
}

}  // namespace norvane
