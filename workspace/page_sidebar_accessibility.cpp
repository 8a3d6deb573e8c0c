#include "workspace/page_sidebar_accessibility.h"

#include "workspace/page_sidebar.h"

#include <QAccessibleWidget>
#include <QWindow>

namespace norvane {
namespace {

class RowAccessible : public QAccessibleInterface {
public:
    RowAccessible(SidebarAccessibility& owner, qint64 pageIndex) : owner_(owner), page_(pageIndex) {}

    qint64 pageIndex() const { return page_; }
    bool isValid() const override { return !sidebar().rowRect(page_).isNull(); }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return sidebar().window()->windowHandle(); }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(&sidebar()); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString&) override {}
    QString text(QAccessible::Text t) const override {
        return t == QAccessible::Name
                   ? SidebarAccessibility::rowName(page_, sidebar().badgeCount(page_), sidebar().hidesContent(page_))
                   : QString();
    }
    QRect rect() const override {
        const QRect row = sidebar().rowRect(page_);
        return row.translated(sidebar().viewport()->mapToGlobal(QPoint(0, 0)));
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.selectable = true;
        state.selected = sidebar().isHighlighted(page_);
        state.focusable = true;
        state.focused = sidebar().hasFocus() && sidebar().focusedRow() == page_;
        state.offscreen = !sidebar().rowRect(page_).intersects(sidebar().viewport()->rect());
        return state;
    }

private:
    PageSidebar& sidebar() const { return owner_.sidebar(); }

    SidebarAccessibility& owner_;
    qint64 page_;
};

class SidebarAccessible : public QAccessibleWidget {
public:
    explicit SidebarAccessible(PageSidebar* sidebar) : QAccessibleWidget(sidebar, QAccessible::List) {}

    PageSidebar* sidebar() const { return static_cast<PageSidebar*>(widget()); }
    int childCount() const override { return static_cast<int>(sidebar()->rowCount()); }
    QAccessibleInterface* child(int index) const override { return sidebar()->accessibility().row(index); }
    int indexOfChild(const QAccessibleInterface* child) const override {
        const auto* row = dynamic_cast<const RowAccessible*>(child);
        return row && row->isValid() ? static_cast<int>(row->pageIndex()) : -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        const auto row = sidebar()->rowAt(sidebar()->viewport()->mapFromGlobal(QPoint(x, y)));
        return row ? child(static_cast<int>(*row)) : nullptr;
    }
    QAccessibleInterface* focusChild() const override {
        if (const auto row = sidebar()->focusedRow(); row && sidebar()->hasFocus()) {
            return child(static_cast<int>(*row));
        }
        return QAccessibleWidget::focusChild();
    }
};

QAccessibleInterface* sidebarFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("norvane::PageSidebar") && object && object->isWidgetType()) {
        return new SidebarAccessible(static_cast<PageSidebar*>(object));
    }
    return nullptr;
}

// Before any widget exists, so that no reader meets the list as a plain scroll area.
[[maybe_unused]] const bool kFactoryInstalled = (QAccessible::installFactory(sidebarFactory), true);

}  // namespace

SidebarAccessibility::~SidebarAccessibility() {
    reset();
}

QString SidebarAccessibility::rowName(qint64 pageIndex, qint64 pending, bool hiddenContent) {
    QString name = QStringLiteral("Page ") + QString::number(pageIndex + 1);
    if (pending > 0) {
        name += QStringLiteral(", ") + QString::number(pending) + QStringLiteral(" pending");
    }
    if (hiddenContent) {
        name += QStringLiteral(", hides content");
    }
    return name;
}

QAccessibleInterface* SidebarAccessibility::row(qint64 pageIndex) {
    if (pageIndex < 0 || pageIndex >= sidebar_.rowCount()) {
        return nullptr;
    }
    if (const auto found = rows_.find(pageIndex); found != rows_.end()) {
        return QAccessible::accessibleInterface(found->second.id);
    }
    auto* iface = new RowAccessible(*this, pageIndex);
    rows_.emplace(pageIndex, Row{QAccessible::registerAccessibleInterface(iface), iface->text(QAccessible::Name)});
    return iface;
}

void SidebarAccessibility::announce(QAccessibleInterface* iface, QAccessible::Event event) const {
    if (iface && QAccessible::isActive()) {
        QAccessibleEvent change(iface, event);
        QAccessible::updateAccessibility(&change);
    }
}

void SidebarAccessibility::reset() {
    for (const auto& [page, row] : rows_) {
        QAccessible::deleteAccessibleInterface(row.id);
    }
    rows_.clear();
}

void SidebarAccessibility::countsChanged() {
    for (auto& [page, row] : rows_) {
        QAccessibleInterface* iface = QAccessible::accessibleInterface(row.id);
        if (const QString name = iface->text(QAccessible::Name); name != row.told) {
            row.told = name;
            announce(iface, QAccessible::NameChanged);
        }
    }
}

void SidebarAccessibility::selectionChanged(qint64 before) {
    if (!QAccessible::isActive()) {
        return;
    }
    for (const qint64 page : {before, sidebar_.selectedRow()}) {
        announce(row(page), QAccessible::Selection);
    }
}

void SidebarAccessibility::focusChanged() {
    if (!QAccessible::isActive()) {
        return;
    }
    if (const auto focused = sidebar_.focusedRow(); focused && sidebar_.hasFocus()) {
        announce(row(*focused), QAccessible::Focus);
    }
}

}  // namespace norvane
