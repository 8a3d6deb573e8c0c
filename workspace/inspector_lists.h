#pragma once
// The inspector's long lists, search results and pending regions: list models kept in step
// with the document model and views that draw only the rows on screen, so thousands of rows
// cost no widgets. Each row looks as a small widget row would: a hidden template widget is
// laid out and styled, and the views paint with its geometry, fonts and colours.

#include "model/redaction_view_model.h"

#include <QAbstractListModel>
#include <QHash>
#include <QListView>
#include <QToolButton>

#include <optional>

class QLabel;

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

// The document model's search results, replaced whole as the search replaces them.
class ResultListModel : public CopiedRowsModel<RedactionSearchResult> {
    Q_OBJECT
public:
    explicit ResultListModel(RedactionViewModel& model, QObject* parent = nullptr);

protected:
    // Display: the text; accessible text: page, text and source.
    QVariant rowData(const RedactionSearchResult& hit, int role) const override;
};

// The document model's regions, changed in place so that the choice and scrolling survive.
class PendingListModel : public CopiedRowsModel<RedactionRegion> {
    Q_OBJECT
public:
    enum Role { DetailRole = Qt::UserRole + 1 };
    explicit PendingListModel(RedactionViewModel& model, QObject* parent = nullptr);

protected:
    // Display: "Page 3"; DetailRole: the matched text, or the source; accessible text: both.
    QVariant rowData(const RedactionRegion& region, int role) const override;

private:
    void sync();
    RedactionViewModel& model_;
};

// Where a row's parts lie, relative to the row's top left corner.
struct RowLayout {
    int height = 0;
    QRect first;
    QRect second;
    QRect trailing;
};

// A row laid out and styled as a widget row would be, never shown: two labels in a column,
// then a trailing widget.
struct RowTemplate {
    QWidget* row = nullptr;
    QLabel* first = nullptr;
    QLabel* second = nullptr;
    QWidget* trailing = nullptr;
    // At the height of the row's size hint.
    RowLayout layOut(int width) const;
};

// Rows drawn in place of row widgets. The list is as tall as its rows, so the scroll area
// around it scrolls it; only past the tallest widget Qt allows does it scroll itself. Each row
// has one pressable part, a button in it or the whole row, with hover and press as a button.
class RowListView : public QListView {
    Q_OBJECT
public:
    static constexpr int kRowGap = 18;  // below a row, before the next

    void setModel(QAbstractItemModel* model) override;

    // Where a row's parts lie, its height without the gap, and how to draw it at `rect`.
    virtual const RowLayout& rowLayout(int row) const = 0;
    int rowHeight(int row) const { return rowLayout(row).height; }
    virtual void paintRow(QPainter* painter, const QRect& rect, int row) const = 0;
    // The pressable part of a row, in viewport coordinates.
    QRect partRect(int row) const;
    std::optional<int> hoveredPart() const { return hovered_; }
    std::optional<int> pressedPart() const { return pressed_; }

signals:
    // Clicked, or Space or Enter on the current row.
    void partClicked(int row);

protected:
    // The pressable part is the whole row, or the template's trailing widget.
    RowListView(bool wholeRowPresses, QWidget* parent);
    virtual QString partToolTip(int row) const {
        Q_UNUSED(row);
        return {};
    }
    // The template's geometry is stale: the width, font or style changed.
    virtual void forgetLayout() = 0;
    void fitHeight();

    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

    RowTemplate template_;

private:
    std::optional<int> partAt(const QPoint& viewportPoint) const;
    void setHovered(std::optional<int> row);

    bool wholeRowPresses_;
    std::optional<int> hovered_;
    std::optional<int> pressed_;
};

// A search hit on a card: page, text (two lines at most), source. Pressing one shows its
// page and adds it as a pending region (the inspector connects partClicked).
class ResultListView : public RowListView {
    Q_OBJECT
public:
    ResultListView(RedactionViewModel& model, QWidget* parent = nullptr);
    ResultListModel* rows() const { return rows_; }
    // Depends on the text and source only; kept per pair for the current width.
    const RowLayout& rowLayout(int row) const override;
    void paintRow(QPainter* painter, const QRect& rect, int row) const override;
    // The text as the row shows it: as many lines as the row holds, the last cut with "…".
    QString shownText(int row) const;

protected:
    // The whole text, when the row shows less.
    QString partToolTip(int row) const override;
    void forgetLayout() override;

private:
    ResultListModel* rows_;
    mutable QHash<QString, RowLayout> layouts_;
};

// The remove button of the pending rows' template, whose style option the list draws with.
class RemoveButton : public QToolButton {
    Q_OBJECT
public:
    explicit RemoveButton(QWidget* parent);
    using QToolButton::initStyleOption;

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyIcon();
};

// A pending region: page, detail, remove button. Delete, Backspace or Space remove the
// current row, and the row taking its place becomes current.
class PendingListView : public RowListView {
    Q_OBJECT
public:
    PendingListView(RedactionViewModel& model, QWidget* parent = nullptr);
    PendingListModel* rows() const { return rows_; }
    // The same for every row.
    const RowLayout& rowLayout(int row) const override;
    void paintRow(QPainter* painter, const QRect& rect, int row) const override;

protected:
    QString partToolTip(int row) const override;
    void forgetLayout() override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    RedactionViewModel& model_;
    PendingListModel* rows_;
    RemoveButton* button_;
    mutable std::optional<RowLayout> layout_;
};

}  // namespace norvane
