#include "workspace/findings_list.h"

#include "ui/theme.h"
#include "ui/typography.h"

#include <QKeyEvent>
#include <QPainter>

#include <algorithm>

namespace norvane {

void FindingListModel::setFindings(SearchResultList findings) {
    beginResetModel();
    rows_ = std::move(findings);
    endResetModel();
}

QVariant FindingListModel::rowData(const RedactionSearchResult& finding, int role) const {
    const QString text = QString::fromStdString(finding.text);
    switch (role) {
        case Qt::DisplayRole:
            return pageLabel(finding.pageIndex) + QString::fromUtf8(" \u00b7 ") + text;
        case Qt::AccessibleTextRole:
            return pageLabel(finding.pageIndex) + QStringLiteral(", ") + text + QStringLiteral(", ") +
                   sourceLabel(finding.source);
        default:
            return {};
    }
}

// One line cut to fit, the source at the right, on a card.
class FindingRowDelegate : public RowDelegate {
public:
    struct Geometry {
        int height = 0;
        QRect text, source;
    };

    explicit FindingRowDelegate(FindingListView* view) : RowDelegate(view), list_(view) { forget(); }

    void forget() override {
        textFont_ = theme::font(theme::TextStyle::Caption);
        sourceFont_ = theme::font(theme::TextStyle::Caption2);
    }
    int rowHeight(const QModelIndex& index) const override { return geometry(index).height; }
    const QFont& textFont() const { return textFont_; }

    Geometry geometry(const QModelIndex& index) const {
        const QString source = sourceLabel(list_->rows()->at(index.row()).source);
        const QSize sourceSize = labelSize(QFontMetrics(sourceFont_), source);
        const int textHeight = labelSize(QFontMetrics(textFont_), index.data().toString()).height();
        const int width = rowWidth();
        const int content = std::max(textHeight, sourceSize.height());
        Geometry g;
        g.height = content + 2 * kMarginY;
        g.source = QRect(width - kMarginX - sourceSize.width(), kMarginY, sourceSize.width(), content);
        g.text = QRect(kMarginX, kMarginY, std::max(0, g.source.left() - layoutSpacing(view()) - kMarginX), content);
        return g;
    }

protected:
    void paintRow(QPainter* painter, const QRect& rect, const QModelIndex& index) const override {
        const int row = index.row();
        const Geometry g = geometry(index);
        const QPalette& palette = view().palette();
        paintButtonRow(painter, rect, palette, list_->pressedPart() == row && list_->hoveredPart() == row);
        // The row is a button: its words are in the button text colour.
        const QColor ink = palette.color(QPalette::ButtonText);
        const QPoint at = rect.topLeft();
        drawLabelText(painter, view(), g.text.translated(at), textFont_, ink, list_->shownText(row));
        drawLabelText(painter, view(), g.source.translated(at), sourceFont_, ink,
                      sourceLabel(list_->rows()->at(row).source));
    }

private:
    static constexpr int kMarginX = 8;
    static constexpr int kMarginY = 6;

    FindingListView* list_;
    QFont textFont_, sourceFont_;
};

FindingListView::FindingListView(QWidget* parent) : RowListView(true, 6, parent), rows_(new FindingListModel(this)) {
    setObjectName(QStringLiteral("findingList"));
    setAccessibleName(QStringLiteral("Places Still Read"));
    setRowDelegate(new FindingRowDelegate(this));
    setTrailingGap(false);
    setModel(rows_);
}

QString FindingListView::shownText(int row) const {
    const auto* delegate = static_cast<const FindingRowDelegate*>(rowDelegate());
    const QModelIndex index = rows_->index(row);
    return QFontMetrics(delegate->textFont())
        .elidedText(index.data().toString(), Qt::ElideRight, delegate->geometry(index).text.width());
}

QString FindingListView::partToolTip(int row) const {
    const QString text = rows_->index(row).data().toString();
    return shownText(row) != text ? text : QString();
}

void FindingListView::keyPressEvent(QKeyEvent* event) {
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && currentIndex().isValid()) {
        emit partEntered(currentIndex().row());
        event->accept();
        return;
    }
    RowListView::keyPressEvent(event);
}

}  // namespace norvane
