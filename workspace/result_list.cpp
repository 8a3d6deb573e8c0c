#include "workspace/result_list.h"

#include "ui/theme.h"
#include "ui/typography.h"

#include <QHash>
#include <QPainter>
#include <QTextLayout>

#include <algorithm>

namespace norvane {

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

// Page over text in a column, the source at the right, on a card.
class ResultRowDelegate : public RowDelegate {
public:
    struct Geometry {
        int height = 0;
        QRect page, text, source;
    };

    explicit ResultRowDelegate(ResultListView* view) : RowDelegate(view), list_(view) { forget(); }

    void forget() override {
        pageFont_ = theme::font(theme::TextStyle::Caption, QFont::DemiBold);
        textFont_ = theme::font(theme::TextStyle::Caption);
        sourceFont_ = theme::font(theme::TextStyle::Caption2);
        textHeights_.clear();
    }
    int rowHeight(const QModelIndex& index) const override { return geometry(index.row()).height; }
    const QFont& textFont() const { return textFont_; }

    // As a widget row would lay it out at the view's width: the text wraps at word boundaries
    // onto two lines at most.
    Geometry geometry(int row) const {
        const RedactionSearchResult& hit = list_->rows()->at(row);
        const QString source = sourceLabel(hit.source);
        const QFontMetrics sourceMetrics(sourceFont_);
        const int width = rowWidth();
        const int sourceWidth = labelSize(sourceMetrics, source).width();
        const int column = std::max(0, width - 2 * kMargin - layoutSpacing(view()) - sourceWidth);
        const int pageHeight = labelSize(QFontMetrics(pageFont_), pageLabel(hit.pageIndex)).height();
        const int textHeight = wrappedHeight(QString::fromStdString(hit.text), source, column);
        const int content = std::max(pageHeight + kLineGap + textHeight, labelSize(sourceMetrics, source).height());
        Geometry g;
        g.height = content + 2 * kMargin;
        g.page = QRect(kMargin, kMargin, column, pageHeight);
        g.text = QRect(kMargin, kMargin + pageHeight + kLineGap, column, textHeight);
        g.source = QRect(width - kMargin - sourceWidth, kMargin, sourceWidth, content);
        return g;
    }

protected:
    void paintRow(QPainter* painter, const QRect& rect, const QModelIndex& index) const override {
        const int row = index.row();
        const Geometry g = geometry(row);
        const RedactionSearchResult& hit = list_->rows()->at(row);
        const QPalette& palette = view().palette();
        paintButtonRow(painter, rect, palette, list_->pressedPart() == row && list_->hoveredPart() == row);
        // The row is a button: its words are in the button text colour.
        const QColor ink = palette.color(QPalette::ButtonText);
        const QPoint at = rect.topLeft();
        drawLabelText(painter, view(), g.page.translated(at), pageFont_, ink, pageLabel(hit.pageIndex));
        drawLabelText(painter, view(), g.text.translated(at), textFont_, ink, list_->shownText(row), true);
        drawLabelText(painter, view(), g.source.translated(at), sourceFont_, ink, sourceLabel(hit.source));
    }

private:
    static constexpr int kMargin = 8;
    static constexpr int kLineGap = 3;  // between the page and the text

    // Kept per text and source (which takes its share of the width) until the width changes.
    int wrappedHeight(const QString& text, const QString& source, int width) const {
        const QString key = source + QChar(u'\n') + text;
        if (const auto known = textHeights_.constFind(key); known != textHeights_.cend()) {
            return *known;
        }
        const QFontMetrics metrics(textFont_);
        const int height = std::min(labelSize(metrics, text, width).height(), 2 * metrics.lineSpacing());
        textHeights_.insert(key, height);
        return height;
    }

    ResultListView* list_;
    QFont pageFont_, textFont_, sourceFont_;
    mutable QHash<QString, int> textHeights_;
};

ResultListView::ResultListView(RedactionViewModel& model, QWidget* parent)
    : RowListView(true, 18, parent), rows_(new ResultListModel(model, this)), delegate_(new ResultRowDelegate(this)) {
    setObjectName(QStringLiteral("resultList"));
    setAccessibleName(QStringLiteral("Search Results"));
    setRowDelegate(delegate_);
    // Heights are kept per text: drop those of the results that went.
    connect(rows_, &QAbstractItemModel::modelAboutToBeReset, this, [this] { delegate_->forget(); });
    setModel(rows_);
}

QString ResultListView::shownText(int row) const {
    const QString text = QString::fromStdString(rows_->at(row).text);
    const QRect box = delegate_->geometry(row).text;
    const QFontMetrics metrics(delegate_->textFont());
    const int lines = std::max(1, box.height() / metrics.lineSpacing());
    // Wrapped as a label wraps, but a word longer than the row breaks rather than running out.
    QTextLayout layout(text, delegate_->textFont());
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

}  // namespace norvane
