#pragma once
// The thumbnails as a screen reader finds them: a list ("Page thumbnails") with one item per
// page ("Page 3, 2 pending", counting its pending regions), selected as the highlighted row is
// and focused as the keyboard's row is. Items are made when a reader first asks for them.

#include <QAccessible>
#include <QString>

#include <map>

namespace norvane {

class PageSidebar;

class SidebarAccessibility {
public:
    explicit SidebarAccessibility(PageSidebar& sidebar) : sidebar_(sidebar) {}
    // Deletes every item it made.
    ~SidebarAccessibility();
    SidebarAccessibility(const SidebarAccessibility&) = delete;
    SidebarAccessibility& operator=(const SidebarAccessibility&) = delete;

    PageSidebar& sidebar() const { return sidebar_; }
    QAccessibleInterface* row(qint64 pageIndex);
    static QString rowName(qint64 pageIndex, qint64 pending, bool hiddenContent = false);

    // After another document: every item goes.
    void reset();
    // After the badge counts changed.
    void countsChanged();
    // After the highlighted row moved from `before`.
    void selectionChanged(qint64 before);
    // After the keyboard's row moved.
    void focusChanged();

private:
    struct Row {
        QAccessible::Id id;
        QString told;
    };
    void announce(QAccessibleInterface* iface, QAccessible::Event event) const;

    PageSidebar& sidebar_;
    std::map<qint64, Row> rows_;
};

}  // namespace norvane
