#pragma once
// The inspector's pending regions: a list model kept in step with the document model and a
// view that draws only the rows on screen, so thousands of regions cost no widgets. A row
// looks like a small widget row (page, detail, remove button) laid out by a hidden template.

#include "model/redaction_view_model.h"

#include <QAbstractListModel>
#include <QListView>
#include <QToolButton>

#include <optional>

class QLabel;

namespace norvane {

QString pageLabel(std::int64_t pageIndex);
QString sourceLabel(RedactionSource source);

class PendingListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { DetailRole = Qt::UserRole + 1 };

    explicit PendingListModel(RedactionViewModel& model, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    // Display: "Page 3"; DetailRole: the matched text, or the source; accessible text: both.
    QVariant data(const QModelIndex& index, int role) const override;
    const RedactionRegion& region(int row) const { return rows_[static_cast<std::size_t>(row)]; }

private:
    void sync();

    RedactionViewModel& model_;
    RegionList rows_;
};

// The remove button of the template row, whose style option the list draws with.
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

class PendingListView : public QListView {
    Q_OBJECT
public:
    // Below a row, before the next one.
    static constexpr int kRowGap = 18;

    PendingListView(RedactionViewModel& model, QWidget* parent = nullptr);

    PendingListModel* rows() const { return rows_; }
    // Where a row's parts are, relative to the row's top left corner.
    struct RowLayout {
        int height = 0;
        QRect page;
        QRect detail;
        QRect button;
    };
    const RowLayout& rowLayout() const;
    // The remove button of a row, in viewport coordinates.
    QRect removeButtonRect(int row) const;
    const QLabel* pageTemplate() const { return page_; }
    const QLabel* detailTemplate() const { return detail_; }
    RemoveButton* buttonTemplate() const { return button_; }
    std::optional<int> hoveredButton() const { return hovered_; }
    std::optional<int> pressedButton() const { return pressed_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    std::optional<int> buttonAt(const QPoint& viewportPoint) const;
    void setHovered(std::optional<int> row);
    void removeRow(int row);
    void fitHeight();

    RedactionViewModel& model_;
    PendingListModel* rows_;
    QWidget* template_;
    QLabel* page_;
    QLabel* detail_;
    RemoveButton* button_;
    mutable std::optional<RowLayout> layout_;  // for the current width and fonts
    std::optional<int> hovered_;
    std::optional<int> pressed_;
};

}  // namespace norvane
