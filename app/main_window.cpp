#include "app/main_window.h"

#include "app/about_panel.h"
#include "app/root_view.h"
#include "canvas/page_canvas.h"
#include "ui/window_system.h"
#include "workspace/workspace_screen.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QEvent>
#include <QFileDialog>
#include <QMenuBar>
#include <QMessageBox>
#include <QStandardPaths>

#include <algorithm>

namespace norvane {

void configureApplication() {
    QApplication::setApplicationName(QStringLiteral("Norvane"));
    QApplication::setApplicationVersion(QStringLiteral(NORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral(NORVANE_APP_ID));
}

MainWindow::MainWindow(SharedServices services, QWidget* parent) : QMainWindow(parent), services_(std::move(services)) {
    setWindowTitle(QString::fromLatin1(kWindowTitle));
    setMinimumSize(minimumWidth, minimumHeight);
    resize(defaultWidth, defaultHeight);
    rootView_ = new RootView(services_);
    rootView_->setLeaveQuestion(
        [this] { return !hasUnexportedRedactions() || (discardQuestion_ && discardQuestion_(this)); });
    setCentralWidget(rootView_);
    buildMenus();
    connect(rootView_, &RootView::detailChanged, this, &MainWindow::watchWorkspace);
    watchWorkspace();
}

MainWindow::~MainWindow() {
    // The children go after this part of the window, and a model may outlive them all: what
    // they say on the way out must not reach a window that is no longer one.
    if (WorkspaceScreen* workspace = rootView_->workspace()) {
        workspace->disconnect(this);
        workspace->model().disconnect(this);
    }
    rootView_->disconnect(this);
}

MainWindow* MainWindow::openNewWindow(SharedServices services) {
    auto* window = new MainWindow(std::move(services));
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->show();
    return window;
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    newWindow_ = file->addAction(QStringLiteral("New Window"), this, [this] { openNewWindow(services_); });
    newWindow_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_N));
    open_ = file->addAction(QStringLiteral("Open PDFs\u2026"), this, &MainWindow::chooseFilesToOpen);
    open_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_O));
    export_ = file->addAction(QStringLiteral("Export Secure Copy\u2026"), this, [this] {
        if (WorkspaceScreen* workspace = rootView_->workspace(); workspace && workspace->canExport()) {
            workspace->exportSecureCopy();
        }
    });
    export_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_E));
    file->addSeparator();
    close_ = file->addAction(QStringLiteral("Close Window"), this, &QWidget::close);
    close_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));
    quit_ = file->addAction(QStringLiteral("Quit"), qApp, [] {
        if (closeAllForQuit()) QCoreApplication::quit();
    });
    quit_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit_->setMenuRole(QAction::QuitRole);

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    undo_ = edit->addAction(QStringLiteral("Undo Redaction"), this, [this] {
        if (WorkspaceScreen* workspace = rootView_->workspace(); workspace && workspace->canUndo()) {
            workspace->undoLast();
        }
    });
    undo_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Z));
    find_ = edit->addAction(QStringLiteral("Find"), this, [this] {
        if (WorkspaceScreen* workspace = rootView_->workspace()) workspace->focusSearchField();
    });
    find_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_F));

    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    const auto onCanvas = [this](auto act) {
        return [this, act] {
            if (WorkspaceScreen* workspace = rootView_->workspace()) {
                if (PageCanvas* canvas = workspace->canvas()) act(*canvas);
            }
        };
    };
    zoomIn_ = view->addAction(QStringLiteral("Zoom In"), this, onCanvas([](PageCanvas& c) { c.zoomIn(); }));
    zoomIn_->setShortcuts({QKeySequence::ZoomIn, QKeySequence(Qt::CTRL | Qt::Key_Equal)});
    zoomOut_ = view->addAction(QStringLiteral("Zoom Out"), this, onCanvas([](PageCanvas& c) { c.zoomOut(); }));
    zoomOut_->setShortcut(QKeySequence::ZoomOut);
    actualSize_ = view->addAction(QStringLiteral("Actual Size"), this, onCanvas([](PageCanvas& c) { c.setZoom(1.0); }));
    actualSize_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_0));
    fitWidth_ = view->addAction(QStringLiteral("Fit Width"), this,
                                onCanvas([](PageCanvas& c) { c.setZoomMode(PageCanvas::ZoomMode::fitWidth); }));
    fitPage_ = view->addAction(QStringLiteral("Fit Page"), this,
                               onCanvas([](PageCanvas& c) { c.setZoomMode(PageCanvas::ZoomMode::fitPage); }));
    for (QAction* fit : {fitWidth_, fitPage_})
        fit->setCheckable(true);
    view->addSeparator();
    goToPage_ = view->addAction(QStringLiteral("Go to Page\u2026"), this, [this] {
        if (WorkspaceScreen* workspace = rootView_->workspace()) workspace->editPageNumber();
    });
    goToPage_->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_G));
    view->addSeparator();
    fullScreen_ = view->addAction(QStringLiteral("Full Screen"), this, [this](bool on) {
        if (on) {
            showFullScreen();
        } else {
            showNormal();
        }
    });
    fullScreen_->setCheckable(true);
    fullScreen_->setShortcut(QKeySequence(Qt::Key_F11));

    QMenu* window = menuBar()->addMenu(QStringLiteral("&Window"));
    minimize_ = window->addAction(QStringLiteral("Minimize"), this, &QWidget::showMinimized);
    minimize_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_M));

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    website_ = help->addAction(QStringLiteral("Explore More Local Tools"), this, [this] {
        if (services_->desktop) openNorvaneWebsite(*services_->desktop);
    });
    help->addSeparator();
    about_ = help->addAction(QStringLiteral("About Norvane Redaction"), this,
                             [this] { showNorvaneAbout(services_->desktop); });
    about_->setMenuRole(QAction::AboutRole);

    for (QMenu* menu : {file, edit, view})
        connect(menu, &QMenu::aboutToShow, this, &MainWindow::updateCommandStates);
}

void MainWindow::watchWorkspace() {
    if (WorkspaceScreen* workspace = rootView_->workspace()) {
        connect(workspace, &WorkspaceScreen::commandStateChanged, this, &MainWindow::updateCommandStates,
                Qt::UniqueConnection);
        RedactionViewModel* model = &workspace->model();
        for (auto signal : {&RedactionViewModel::documentChanged, &RedactionViewModel::redactionsChanged,
                            &RedactionViewModel::isBusyChanged}) {
            connect(model, signal, this, &MainWindow::updateCommandStates, Qt::UniqueConnection);
        }
    }
    updateCommandStates();
}

void MainWindow::updateCommandStates() {
    WorkspaceScreen* workspace = rootView_->workspace();
    export_->setEnabled(workspace && workspace->canExport());
    undo_->setEnabled(workspace && workspace->canUndo());
    find_->setEnabled(workspace && workspace->model().document() != nullptr);
    PageCanvas* canvas = workspace ? workspace->canvas() : nullptr;
    for (QAction* action : {zoomIn_, zoomOut_, actualSize_, fitWidth_, fitPage_, goToPage_})
        action->setEnabled(canvas);
    fitWidth_->setChecked(canvas && canvas->zoomMode() == PageCanvas::ZoomMode::fitWidth);
    fitPage_->setChecked(canvas && canvas->zoomMode() == PageCanvas::ZoomMode::fitPage);
}

void MainWindow::openFiles(const QStringList& paths) {
    if (paths.isEmpty()) return;
    if (!rootView_->workspace()) rootView_->setSelection(RedactionSidebarItem::redaction);
    if (WorkspaceScreen* workspace = rootView_->workspace()) workspace->openFiles(paths);
}

void MainWindow::chooseFilesToOpen() {
    const QStringList paths = QFileDialog::getOpenFileNames(
        this, QStringLiteral("Open PDFs"), QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation),
        QStringLiteral("PDF Documents (*.pdf *.PDF)"));
    openFiles(paths);
}

bool MainWindow::hasUnexportedRedactions() const {
    const WorkspaceScreen* workspace = rootView_->workspace();
    return workspace && workspace->hasUnexportedRedactions();
}

bool MainWindow::askToDiscard(QWidget* window) {
    QMessageBox box(window);
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(QString::fromLatin1(kWindowTitle));
    box.setText(QStringLiteral("Discard pending redactions?"));
    box.setStandardButtons(QMessageBox::Discard | QMessageBox::Cancel);
    box.setDefaultButton(QMessageBox::Cancel);
    box.setEscapeButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Discard;
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (hasUnexportedRedactions() && !(discardQuestion_ && discardQuestion_(this))) {
        event->ignore();
        return;
    }
    QMainWindow::closeEvent(event);
}

bool MainWindow::closeAllForQuit() {
    // Stops at the first window that stays; the others keep their work too.
    QApplication::closeAllWindows();
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::none_of(windows.begin(), windows.end(),
                        [](const QWidget* w) { return qobject_cast<const MainWindow*>(w) && w->isVisible(); });
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange) fullScreen_->setChecked(isFullScreen());
}

}  // namespace norvane
