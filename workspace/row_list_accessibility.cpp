#include "workspace/row_list_accessibility.h"

#include "workspace/row_list_view.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QHash>
#include <QPointer>
#include <QWindow>

namespace norvane {
namespace {

class RowListAccessible;

// Where a row lies on the screen, for interfaces that are no widgets of their own.
QRect onScreen(const RowListView& view, const QRect& inViewport) {
    return QRect(view.viewport()->mapToGlobal(inViewport.topLeft()), inViewport.size());
}

// Rows and their buttons are no objects, so they are registered with QAccessible (which
// hands out their ids) and deleted by whoever made them, before their view can go.
class RowPart : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    RowPart(RowListView* view, int row) : view_(view), row_(row) {}

    bool isValid() const override { return view_ && view_->model() && row_ < view_->model()->rowCount(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return view_ ? view_->window()->windowHandle() : nullptr; }
    void setText(QAccessible::Text, const QString&) override {}
    QStringList keyBindingsForAction(const QString&) const override { return {}; }
    void doAction(const QString& name) override {
        if (name == pressAction() && isValid()) view_->pressLater(view_->model()->index(row_, 0));
    }

protected:
    QPointer<RowListView> view_;
    int row_;
};

class RowButtonAccessible : public RowPart {
public:
    using RowPart::RowPart;

    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QString text(QAccessible::Text t) const override {
        return t == QAccessible::Name && isValid() ? view_->partName(row_) : QString();
    }
    QRect rect() const override { return isValid() ? onScreen(*view_, view_->partRect(row_)) : QRect(); }
    QAccessible::Role role() const override { return QAccessible::Button; }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.invisible = !isValid() || !view_->isVisible();
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }
    QStringList actionNames() const override { return {pressAction()}; }
};

class RowAccessible : public RowPart {
public:
    using RowPart::RowPart;
    ~RowAccessible() override {
        if (button_) QAccessible::deleteAccessibleInterface(button_);
    }

    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(view_.data()); }
    bool hasButton() const { return isValid() && !view_->wholeRowPresses() && view_->hasPart(row_); }
    QAccessibleInterface* child(int index) const override {
        if (index != 0 || !hasButton()) return nullptr;
        if (!button_) button_ = QAccessible::registerAccessibleInterface(new RowButtonAccessible(view_, row_));
        return QAccessible::accessibleInterface(button_);
    }
    int childCount() const override { return hasButton() ? 1 : 0; }
    int indexOfChild(const QAccessibleInterface* child) const override {
        return child && button_ && QAccessible::uniqueId(const_cast<QAccessibleInterface*>(child)) == button_ ? 0 : -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        QAccessibleInterface* button = child(0);
        return button && button->rect().contains(x, y) ? button : nullptr;
    }
    QString text(QAccessible::Text t) const override {
        return t == QAccessible::Name && isValid() ? view_->rowName(row_) : QString();
    }
    QRect rect() const override {
        if (!isValid()) return {};
        const QRect row = view_->visualRect(view_->model()->index(row_, 0));
        return onScreen(*view_, QRect(row.topLeft(), QSize(row.width(), view_->rowHeight(row_))));
    }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QAccessible::State state() const override {
        QAccessible::State state;
        if (!isValid() || !view_->isVisible()) {
            state.invisible = true;
            return state;
        }
        const QModelIndex index = view_->model()->index(row_, 0);
        state.selectable = state.focusable = true;
        state.selected = view_->selectionModel() && view_->selectionModel()->isSelected(index);
        state.focused = view_->hasFocus() && view_->currentIndex() == index;
        state.offscreen = !view_->viewport()->visibleRegion().intersects(view_->visualRect(index));
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface && isValid() && view_->wholeRowPresses() && view_->hasPart(row_)
                   ? static_cast<QAccessibleActionInterface*>(this)
                   : nullptr;
    }
    QStringList actionNames() const override { return {pressAction()}; }

private:
    mutable QAccessible::Id button_ = 0;
};

// The one interface of each live view, so that a change of rows reaches its row cache. Never
// destroyed: QAccessible deletes interfaces left over at exit after function statics are gone.
QHash<const RowListView*, RowListAccessible*>& liveLists() {
    static auto* lists = new QHash<const RowListView*, RowListAccessible*>();
    return *lists;
}

class RowListAccessible : public QAccessibleWidget {
public:
    explicit RowListAccessible(RowListView* view) : QAccessibleWidget(view, QAccessible::List), view_(view) {
        liveLists().insert(view, this);
    }
    ~RowListAccessible() override {
        liveLists().remove(view_);
        forgetRows();
    }

    void forgetRows() {
        for (const QAccessible::Id id : std::as_const(rows_))
            QAccessible::deleteAccessibleInterface(id);
        rows_.clear();
    }

    int childCount() const override { return view_->model() ? view_->model()->rowCount() : 0; }
    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount()) return nullptr;
        auto id = rows_.constFind(index);
        if (id == rows_.cend()) {
            id = rows_.insert(index, QAccessible::registerAccessibleInterface(new RowAccessible(view_, index)));
        }
        return QAccessible::accessibleInterface(*id);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        const QAccessible::Id id = child ? QAccessible::uniqueId(const_cast<QAccessibleInterface*>(child)) : 0;
        for (auto row = rows_.cbegin(); row != rows_.cend(); ++row) {
            if (row.value() == id) return row.key();
        }
        return -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        const QModelIndex index = view_->indexAt(view_->viewport()->mapFromGlobal(QPoint(x, y)));
        return index.isValid() ? child(index.row()) : nullptr;
    }
    QAccessibleInterface* focusChild() const override {
        return view_->hasFocus() && view_->currentIndex().isValid() ? child(view_->currentIndex().row()) : nullptr;
    }

private:
    RowListView* view_;
    mutable QHash<int, QAccessible::Id> rows_;
};

QAccessibleInterface* RowButtonAccessible::parent() const {
    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(view_.data());
    return list ? list->child(row_) : nullptr;
}

QAccessibleInterface* rowListFactory(const QString& key, QObject* object) {
    if (key == QLatin1String(RowListView::staticMetaObject.className())) {
        if (auto* view = qobject_cast<RowListView*>(object)) return new RowListAccessible(view);
    }
    return nullptr;
}

}  // namespace

void installRowListAccessibility() {
    static const bool installed = (QAccessible::installFactory(rowListFactory), true);
    Q_UNUSED(installed);
}

void rowListRowsChanged(RowListView* view) {
    const auto list = liveLists().constFind(view);
    if (list == liveLists().cend()) return;  // nobody has asked yet: nothing to forget or tell
    (*list)->forgetRows();
    QAccessibleEvent reorder(view, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&reorder);
}

}  // namespace norvane
