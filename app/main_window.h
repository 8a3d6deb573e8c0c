#pragma once
// One main window: its own root view (so its own selection and workspace) and the menu bar,
// whose workspace commands act on this window's workspace and are disabled when they cannot run.

#include "model/services.h"

#include <QMainWindow>
#include <QStringList>

#include <functional>

class QAction;

namespace norvane {

class RootView;

// Name, version and desktop entry of the process. No display name: Qt would append it to every
// window title on X11 and Wayland.
void configureApplication();

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int defaultWidth = 1320;
    static constexpr int defaultHeight = 860;
    static constexpr int minimumWidth = 1120;
    static constexpr int minimumHeight = 740;

    explicit MainWindow(SharedServices services, QWidget* parent = nullptr);
    ~MainWindow() override;

    // A new, shown main window that deletes itself when closed.
    static MainWindow* openNewWindow(SharedServices services);

    RootView* rootView() const { return rootView_; }

    // Shows the workspace (building it when another section is shown) and hands it the files:
    // the first is opened, the rest are queued.
    void openFiles(const QStringList& paths);

    QAction* newWindowAction() const { return newWindow_; }
    QAction* openAction() const { return open_; }
    QAction* exportAction() const { return export_; }
    QAction* closeAction() const { return close_; }
    QAction* quitAction() const { return quit_; }
    QAction* undoAction() const { return undo_; }
    QAction* findAction() const { return find_; }
    QAction* fullScreenAction() const { return fullScreen_; }
    QAction* zoomInAction() const { return zoomIn_; }
    QAction* zoomOutAction() const { return zoomOut_; }
    QAction* actualSizeAction() const { return actualSize_; }
    QAction* fitWidthAction() const { return fitWidth_; }
    QAction* fitPageAction() const { return fitPage_; }
    QAction* goToPageAction() const { return goToPage_; }
    QAction* minimizeAction() const { return minimize_; }
    QAction* aboutAction() const { return about_; }
    QAction* websiteAction() const { return website_; }

    // Asked before a close would drop redactions that no export holds; true discards them.
    using DiscardQuestion = std::function<bool(QWidget* window)>;
    void setDiscardQuestion(DiscardQuestion question) { discardQuestion_ = std::move(question); }
    static bool askToDiscard(QWidget* window);
    bool hasUnexportedRedactions() const;

    // Closes every main window, each asking first where needed; false when one stayed open.
    static bool closeAllForQuit();

public slots:
    // Re-evaluates which workspace commands can run now.
    void updateCommandStates();

protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void watchWorkspace();
    void chooseFilesToOpen();

    SharedServices services_;
    RootView* rootView_ = nullptr;
    QAction* newWindow_ = nullptr;
    QAction* open_ = nullptr;
    QAction* export_ = nullptr;
    QAction* close_ = nullptr;
    QAction* quit_ = nullptr;
    QAction* undo_ = nullptr;
    QAction* find_ = nullptr;
    QAction* fullScreen_ = nullptr;
    QAction* zoomIn_ = nullptr;
    QAction* zoomOut_ = nullptr;
    QAction* actualSize_ = nullptr;
    QAction* fitWidth_ = nullptr;
    QAction* fitPage_ = nullptr;
    QAction* goToPage_ = nullptr;
    QAction* minimize_ = nullptr;
    QAction* about_ = nullptr;
    QAction* website_ = nullptr;
    DiscardQuestion discardQuestion_ = &MainWindow::askToDiscard;
};

}  // namespace norvane
