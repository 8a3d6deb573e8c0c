#include "workspace/pending_list.h"

#include "ui/symbols.h"
#include "ui/theme.h"
#include "ui/typography.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionToolButton>

#include <algorithm>

namespace norvane {
namespace {

QString detailOf(const RedactionRegion& region) {
    return region.matchedText ? QString::fromStdString(*region.matchedText) : sourceLabel(region.source);
}

QString foundBy(RedactionSource source) {
    switch (source) {
        case RedactionSource::textSearch:
            return QStringLiteral("text search");
        case RedactionSource::ocr:
            return QStringLiteral("OCR search");
        case RedactionSource::manual:
            break;
    }
    return QStringLiteral("drawn by hand");
}

}  // namespace

PendingListModel::PendingListModel(RedactionViewModel& model, QObject* parent)
    : CopiedRowsModel(parent), model_(model) {
    connect(&model_, &RedactionViewModel::redactionsChanged, this, &PendingListModel::sync);
    sync();
}

QVariant PendingListModel::rowData(const RedactionRegion& region, int role) const {
    switch (role) {
        case Qt::DisplayRole:
            return pageLabel(region.pageIndex);
        case DetailRole:
            return detailOf(region);
        case Qt::AccessibleTextRole:
            return pageLabel(region.pageIndex) + QStringLiteral(", ") +
                   (region.matchedText ? detailOf(region) + QStringLiteral(", ") : QString()) + foundBy(region.source);
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

// Page over detail in a column, then the remove button; every row is as tall as the next.
class PendingRowDelegate : public RowDelegate {
public:
    explicit PendingRowDelegate(PendingListView* view) : RowDelegate(view), list_(view) { forget(); }

    void forget() override {
        pageFont_ = theme::font(theme::TextStyle::Caption, QFont::DemiBold);
        detailFont_ = theme::font(theme::TextStyle::Caption2);
        icon_ = theme::symbolIcon(QStringLiteral("xmark.circle.fill"), theme::secondaryLabelColor(view().palette()));
        geometry_.reset();
    }
    int rowHeight(const QModelIndex&) const override { return geometry().height; }
    QRect partRect(const QModelIndex&) const override { return geometry().button; }

protected:
    void paintRow(QPainter* painter, const QRect& rect, const QModelIndex& index) const override {
        const Geometry& g = geometry();
        const QPalette& palette = view().palette();
        const QPoint at = rect.topLeft();
        drawLabelText(painter, view(), g.page.translated(at), pageFont_, theme::labelColor(palette),
                      index.data(Qt::DisplayRole).toString());
        const QRect detail = g.detail.translated(at);
        drawLabelText(
            painter, view(), detail, detailFont_, theme::secondaryLabelColor(palette),
            QFontMetrics(detailFont_)
                .elidedText(index.data(PendingListModel::DetailRole).toString(), Qt::ElideRight, detail.width()));

        QStyleOptionToolButton look = buttonLook();
        look.rect = g.button.translated(at);
        const bool hovered = list_->hoveredPart() == index.row();
        const bool pressed = hovered && list_->pressedPart() == index.row();
        look.state |= pressed ? QStyle::State_Sunken : QStyle::State_Raised;
        look.activeSubControls = pressed ? QStyle::SC_ToolButton : QStyle::SC_None;
        if (hovered) {
            look.state |= QStyle::State_MouseOver;
        }
        view().style()->drawComplexControl(QStyle::CC_ToolButton, &look, painter, &view());
    }

private:
    struct Geometry {
        int height = 0;
        QRect page, detail, button;
    };
    static constexpr int kLineGap = 2;  // between the page and the detail

    // A borderless tool button showing only the icon, at rest.
    QStyleOptionToolButton buttonLook() const {
        QStyleOptionToolButton look;
        look.initFrom(&view());
        look.state &= ~(QStyle::State_MouseOver | QStyle::State_HasFocus);
        look.state |= QStyle::State_AutoRaise;
        look.subControls = QStyle::SC_ToolButton;
        look.activeSubControls = QStyle::SC_None;
        look.features = QStyleOptionToolButton::None;
        look.toolButtonStyle = Qt::ToolButtonIconOnly;
        look.arrowType = Qt::NoArrow;
        look.icon = icon_;
        look.iconSize = QSize(16, 16);
        look.font = view().font();
        return look;
    }

    const Geometry& geometry() const {
        if (geometry_) return *geometry_;
        QStyleOptionToolButton look = buttonLook();
        look.rect = QRect(QPoint(), look.iconSize);
        const QSize button = view().style()->sizeFromContents(QStyle::CT_ToolButton, &look, look.iconSize, &view());
        const auto lineHeight = [](const QFont& font) {  // of one line, whatever it says
            return labelSize(QFontMetrics(font), QStringLiteral("Page 1")).height();
        };
        int page = lineHeight(pageFont_);
        int detail = lineHeight(detailFont_);
        const int height = std::max(page + kLineGap + detail, button.height());
        // A taller button leaves the two lines sharing the height, as a column layout shares it:
        // halves, unless one line needs more.
        if (const int spare = height - kLineGap; spare > page + detail) {
            const int half = (spare + 1) / 2;
            if (page > half) {
                detail = spare - page;
            } else if (detail > spare - half) {
                page = spare - detail;
            } else {
                page = half;
                detail = spare - half;
            }
        }
        const int width = rowWidth();
        const int column = std::max(0, width - layoutSpacing(view()) - button.width());
        Geometry g;
        g.height = height;
        g.page = QRect(0, 0, column, page);
        g.detail = QRect(0, page + kLineGap, column, detail);
        g.button = QRect(QPoint(width - button.width(), (height - button.height()) / 2), button);
        geometry_ = g;
        return *geometry_;
    }

    PendingListView* list_;
    QFont pageFont_, detailFont_;
    QIcon icon_;
    mutable std::optional<Geometry> geometry_;
};

PendingListView::PendingListView(RedactionViewModel& model, QWidget* parent)
    : RowListView(false, 18, parent), model_(model), rows_(new PendingListModel(model, this)) {
    setObjectName(QStringLiteral("pendingList"));
    setAccessibleName(QStringLiteral("Pending Redactions"));
    setUniformItemSizes(true);
    setRowDelegate(new PendingRowDelegate(this));
    setModel(rows_);
    connect(this, &RowListView::partClicked, this, [this](int row) {
        const RedactionRegion target = rows_->at(row);  // the row goes away while the model removes it
        model_.remove(target);
    });
}

QString PendingListView::partName(int row) const {
    return QStringLiteral("Remove redaction on page ") + QString::number(rows_->at(row).pageIndex + 1);
}

QString PendingListView::partToolTip(int) const {
    return QStringLiteral("Remove");
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

}  // namespace norvane
