#pragma once
// What the inspector's lists share: a flat copy of one of the document model's lists, and a
// list view whose rows a delegate sizes and paints from font metrics and the style, so that
// thousands of rows cost no widgets and only the rows on screen are painted. Each row has one
// pressable part, the whole row or a button in it, pressed by mouse, keyboard or assistive
// technology alike.

#include "records/redaction_records.h"

#include <QAbstractListModel>
#include <QListView>
#include <QPersistentModelIndex>
#include <QStyledItemDelegate>

#include <optional>
#include <vector>

namespace norvane {

QString pageLabel(std::int64_t pageIndex);
QString sourceLabel(RedactionSource source);

// A flat list over a copy of one of the document model's lists.
template <class Row>
class CopiedRowsModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;
    int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size());
    }
    QVariant data(const QModelIndex& index, int role) const override {
        return index.isValid() && index.row() < rowCount() ? rowData(at(index.row()), role) : QVariant();
    }
    const Row& at(int row) const { return rows_[static_cast<std::size_t>(row)]; }

protected:
    virtual QVariant rowData(const Row& row, int role) const = 0;
    std::vector<Row> rows_;
};

class RowListView;

// Sizes and paints one kind of row. Row heights depend on the view's width and fonts; the view
// says when those change.
class RowDelegate : public QStyledItemDelegate {
public:
    explicit RowDelegate(RowListView* view);

    // Without the gap below the row.
    virtual int rowHeight(const QModelIndex& index) const = 0;
    // The pressable part, relative to the row's top left corner: the whole row unless a button.
    virtual QRect partRect(const QModelIndex& index) const;
    // What was measured is stale: the width, font, style or palette changed.
    virtual void forget() {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    virtual void paintRow(QPainter* painter, const QRect& row, const QModelIndex& index) const = 0;
    const RowListView& view() const { return *view_; }
    int rowWidth() const;

private:
    RowListView* view_;
};

// A row that is a button: a rounded card, a shade darker while pressed.
void paintButtonRow(QPainter* painter, const QRect& rect, const QPalette& palette, bool pressed);
// Text drawn as a plain-text label with the default alignment would draw it, in `color`.
void drawLabelText(QPainter* painter, const QWidget& on, const QRect& rect, const QFont& font, const QColor& color,
                   const QString& text, bool wordWrap = false);
// The size a plain-text label asks for: one line, or wrapped at word boundaries to `wrapWidth`.
QSize labelSize(const QFontMetrics& metrics, const QString& text, int wrapWidth = -1);
// The spacing a box layout on `widget` puts between two items side by side.
int layoutSpacing(const QWidget& widget);

// The list is as tall as its rows, so the scroll area around it scrolls it; only past the
// tallest widget Qt allows does it scroll itself.
class RowListView : public QListView {
    Q_OBJECT
public:
    void setModel(QAbstractItemModel* model) override;

    int rowGap() const { return gap_; }
    // The gap below `row`: none below the last when the list has gaps only between rows.
    int gapBelow(int row) const;
    int rowHeight(int row) const;
    // The pressable part of a row, in viewport coordinates.
    QRect partRect(int row) const;
    std::optional<int> hoveredPart() const { return hovered_; }
    std::optional<int> pressedPart() const { return pressed_; }

    // For assistive technology: what a row reads as, and, when the part is a button of its own
    // rather than the whole row, that button's name.
    QString rowName(int row) const;
    bool wholeRowPresses() const { return wholeRowPresses_; }
    // Whether the row has a part to press at all: a list may mix rows with and without one.
    virtual bool hasPart(int row) const {
        Q_UNUSED(row);
        return true;
    }
    virtual QString partName(int row) const {
        Q_UNUSED(row);
        return {};
    }
    // Presses the row's part once the current event is done: assistive technology asks from
    // inside its own calls, and the row may go away when pressed.
    void pressLater(const QPersistentModelIndex& row);

signals:
    // Clicked, Space or Enter on the current row, or pressed by assistive technology.
    void partClicked(int row);

protected:
    RowListView(bool wholeRowPresses, int gap, QWidget* parent);
    // Takes ownership.
    void setRowDelegate(RowDelegate* delegate);
    RowDelegate* rowDelegate() const { return delegate_; }
    // Gaps only between rows, so that what follows the list keeps its own spacing. For lists
    // that are replaced whole: the last row's height changes when one is added.
    void setTrailingGap(bool trailing) { trailingGap_ = trailing; }
    virtual QString partToolTip(int row) const {
        Q_UNUSED(row);
        return {};
    }
    void fitHeight();

    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    std::optional<int> partAt(const QPoint& viewportPoint) const;
    void setHovered(std::optional<int> row);
    void remeasure();
    void rowsChanged();

    bool wholeRowPresses_;
    int gap_;
    bool trailingGap_ = true;
    RowDelegate* delegate_ = nullptr;
    std::optional<int> hovered_;
    std::optional<int> pressed_;
};

}  // namespace norvane
