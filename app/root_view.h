#pragma once
// The content of every main window: a sidebar with the three sections and a detail column
// showing exactly one screen. A screen is built when its section is selected and destroyed,
// with all its state, when another section is selected.

#include "model/services.h"

#include <QString>
#include <QWidget>

#include <array>
#include <functional>
#include <optional>

class QListWidget;
class QListWidgetItem;
class QSplitter;

namespace norvane {

class WorkspaceScreen;

enum class RedactionSidebarItem { redaction, recent, howTo };

const std::array<RedactionSidebarItem, 3>& allSidebarItems();
QString rawValue(RedactionSidebarItem item);
// Exact, case-sensitive match on the raw value.
std::optional<RedactionSidebarItem> sidebarItemFromRawValue(const QString& raw);
QString sidebarTitle(RedactionSidebarItem item);
QString sidebarSymbol(RedactionSidebarItem item);
QString sidebarSectionHeader(RedactionSidebarItem item);
inline size_t qHash(RedactionSidebarItem item, size_t seed = 0) {
    return ::qHash(rawValue(item), seed);
}

class RootView : public QWidget {
    Q_OBJECT
public:
    static constexpr int sidebarMinimumWidth = 220;
    static constexpr int sidebarIdealWidth = 240;
    static constexpr int sidebarMaximumWidth = 280;

    explicit RootView(SharedServices services, QWidget* parent = nullptr);

    std::optional<RedactionSidebarItem> selection() const { return selection_; }
    // Leaving the workspace first asks `leaveQuestion`; a no keeps the workspace and its work.
    void setSelection(std::optional<RedactionSidebarItem> item);

    using LeaveQuestion = std::function<bool()>;
    void setLeaveQuestion(LeaveQuestion question) { leaveQuestion_ = std::move(question); }

    QWidget* detail() const { return detail_; }
    // The workspace when the detail column shows it, otherwise null.
    WorkspaceScreen* workspace() const;

    QListWidget* sidebar() const { return sidebar_; }
    QSplitter* splitter() const { return splitter_; }

protected:
    void showEvent(QShowEvent* event) override;

signals:
    // A new detail screen replaced the old one.
    void detailChanged();

private:
    void syncSidebarSelection();
    void showDetailFor(std::optional<RedactionSidebarItem> item);
    QListWidgetItem* rowFor(RedactionSidebarItem item) const;

    SharedServices services_;
    std::optional<RedactionSidebarItem> selection_;
    QSplitter* splitter_ = nullptr;
    QListWidget* sidebar_ = nullptr;
    QWidget* detailHost_ = nullptr;
    QWidget* detail_ = nullptr;
    LeaveQuestion leaveQuestion_;
    bool syncing_ = false;
    bool sized_ = false;
};

}  // namespace norvane
