#include "workspace/hidden_content_list.h"

#include "ui/theme.h"
#include "ui/typography.h"

#include <QHash>
#include <QPainter>
#include <QStyleOptionButton>

#include <algorithm>
#include <map>

namespace norvane {
namespace {

QString pageHeader(std::int64_t pageIndex) {
    return pageIndex < 0 ? QStringLiteral("Document") : pageLabel(pageIndex);
}

QString redactTitle() {
    return QStringLiteral("Redact");
}

}  // namespace

bool hasPlace(const InspectionFinding& finding) {
    return finding.pageIndex >= 0 && finding.rect.has_value();
}

bool isRedactable(const InspectionFinding& finding) {
    return isCoveredText(finding.kind) && hasPlace(finding);
}

void HiddenContentListModel::setFindings(const std::vector<InspectionFinding>& findings) {
    std::map<std::int64_t, std::vector<const InspectionFinding*>> byPage;
    for (const InspectionFinding& finding : findings) {
        byPage[std::max<std::int64_t>(finding.pageIndex, -1)].push_back(&finding);
    }
    beginResetModel();
    rows_.clear();
    for (const auto& [page, onPage] : byPage) {
        rows_.push_back({page, std::nullopt});
        for (const InspectionFinding* finding : onPage) {
            rows_.push_back({page, *finding});
        }
    }
    endResetModel();
}

Qt::ItemFlags HiddenContentListModel::flags(const QModelIndex& index) const {
    if (!index.isValid() || index.row() >= rowCount()) return Qt::NoItemFlags;
    return at(index.row()).finding ? Qt::ItemIsEnabled | Qt::ItemIsSelectable : Qt::ItemIsEnabled;
}

QVariant HiddenContentListModel::rowData(const HiddenContentRow& row, int role) const {
    const QString text = row.finding ? QString::fromStdString(describe(*row.finding)) : pageHeader(row.pageIndex);
    switch (role) {
        case Qt::DisplayRole:
            return text;
        case Qt::AccessibleTextRole:
            return row.finding ? pageHeader(row.pageIndex) + QStringLiteral(", ") + text : text;
        default:
            return {};
    }
}

// A header is a caption over its page's cards; a card holds the description, wrapped, and for
// covered text a "Redact" button at the right.
class HiddenContentRowDelegate : public RowDelegate {
public:
    struct Geometry {
        int height = 0;
        QRect text, button;  // button: empty without one
    };

    explicit HiddenContentRowDelegate(HiddenContentListView* view) : RowDelegate(view), list_(view) { forget(); }

    void forget() override {
        headerFont_ = theme::font(theme::TextStyle::Caption, QFont::DemiBold);
        textFont_ = theme::font(theme::TextStyle::Caption);
        button_.reset();
        textHeights_.clear();
    }
    int rowHeight(const QModelIndex& index) const override { return geometry(index.row()).height; }
    QRect partRect(const QModelIndex& index) const override { return geometry(index.row()).button; }

    Geometry geometry(int row) const {
        const HiddenContentRow& shown = list_->rows()->at(row);
        const QString text = list_->rows()->index(row).data().toString();
        const int width = rowWidth();
        Geometry g;
        if (!shown.finding) {
            const int above = row == 0 ? 0 : kHeaderGap;
            const int height = labelSize(QFontMetrics(headerFont_), text).height();
            g.height = above + height;
            g.text = QRect(kMargin, above, std::max(0, width - 2 * kMargin), height);
            return g;
        }
        const bool redactable = list_->hasPart(row);
        const QSize button = redactable ? buttonSize() : QSize();
        const int column = std::max(0, width - 2 * kMargin - (redactable ? layoutSpacing(view()) + button.width() : 0));
        const int textHeight = wrappedHeight(text, column);
        const int content = std::max(textHeight, button.height());
        g.height = content + 2 * kMargin;
        g.text = QRect(kMargin, kMargin, column, content);
        if (redactable) {
            g.button = QRect(QPoint(width - kMargin - button.width(), (g.height - button.height()) / 2), button);
        }
        return g;
    }

protected:
    void paintRow(QPainter* painter, const QRect& rect, const QModelIndex& index) const override {
        const int row = index.row();
        const Geometry g = geometry(row);
        const QPalette& palette = view().palette();
        const QPoint at = rect.topLeft();
        const QString text = index.data().toString();
        if (!list_->rows()->at(row).finding) {
            drawLabelText(painter, view(), g.text.translated(at), headerFont_, theme::secondaryLabelColor(palette),
                          text);
            return;
        }
        paintButtonRow(painter, rect, palette, false);
        drawLabelText(painter, view(), g.text.translated(at), textFont_, palette.color(QPalette::Text), text, true);
        if (g.button.isEmpty()) return;
        QStyleOptionButton look = buttonLook();
        look.rect = g.button.translated(at);
        const bool hovered = list_->hoveredPart() == row;
        look.state |= hovered && list_->pressedPart() == row ? QStyle::State_Sunken : QStyle::State_Raised;
        if (hovered) look.state |= QStyle::State_MouseOver;
        view().style()->drawControl(QStyle::CE_PushButton, &look, painter, &view());
    }

private:
    static constexpr int kMargin = 8;
    static constexpr int kHeaderGap = 10;  // above a header, from the card before it

    QStyleOptionButton buttonLook() const {
        QStyleOptionButton look;
        look.initFrom(&view());
        look.state &= ~(QStyle::State_MouseOver | QStyle::State_HasFocus);
        look.features = QStyleOptionButton::None;
        look.text = redactTitle();
        return look;
    }

    QSize buttonSize() const {
        if (!button_) {
            QStyleOptionButton look = buttonLook();
            const QSize text = view().fontMetrics().size(Qt::TextShowMnemonic, look.text);
            button_ = view().style()->sizeFromContents(QStyle::CT_PushButton, &look, text, &view());
        }
        return *button_;
    }

    // Kept per text until the width or font changes.
    int wrappedHeight(const QString& text, int width) const {
        const QString key = QString::number(width) + QChar(u'\n') + text;
        if (const auto known = textHeights_.constFind(key); known != textHeights_.cend()) {
            return *known;
        }
        const int height = labelSize(QFontMetrics(textFont_), text, width).height();
        textHeights_.insert(key, height);
        return height;
    }

    HiddenContentListView* list_;
    QFont headerFont_, textFont_;
    mutable std::optional<QSize> button_;
    mutable QHash<QString, int> textHeights_;
};

HiddenContentListView::HiddenContentListView(QWidget* parent)
    : RowListView(false, 6, parent), rows_(new HiddenContentListModel(this)) {
    setObjectName(QStringLiteral("hiddenContentList"));
    setAccessibleName(QStringLiteral("Hidden Content"));
    setRowDelegate(new HiddenContentRowDelegate(this));
    setTrailingGap(false);
    setModel(rows_);
}

bool HiddenContentListView::hasPart(int row) const {
    const auto& finding = rows_->at(row).finding;
    return finding && isRedactable(*finding);
}

QString HiddenContentListView::partName(int row) const {
    return QStringLiteral("Redact covered text on page ") + QString::number(rows_->at(row).pageIndex + 1);
}

QString HiddenContentListView::partToolTip(int) const {
    return QStringLiteral("Add this place as a pending redaction");
}

void HiddenContentListView::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
    RowListView::currentChanged(current, previous);
    if (current.isValid()) {
        const auto& finding = rows_->at(current.row()).finding;
        if (finding && hasPlace(*finding)) emit placeChosen(current.row());
    }
}

}  // namespace norvane
