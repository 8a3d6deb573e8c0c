#include "app/app_delegate.h"

#include "app/app_icon.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
#include <QPointer>
#include <QTimer>
#include <QWindow>

namespace norvane {

namespace {

class QtWindowSystem final : public WindowSystem {
public:
    int windowCount() const override { return static_cast<int>(QGuiApplication::topLevelWindows().size()); }

    bool canBecomeKey(int index) const override {
        const QWindow* window = at(index);
        if (!window || !window->isVisible()) return false;
        switch (window->type()) {
        case Qt::Popup:
        case Qt::ToolTip:
        case Qt::SplashScreen:
        case Qt::Desktop:
        case Qt::SubWindow:
            return false;
        default:
            break;
        }
        return !(window->flags() & (Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput));
    }

    bool isSheet(int index) const override {
        const QWindow* window = at(index);
        return window && window->type() == Qt::Sheet;
    }

    bool isTitled(int index) const override {
        const QWindow* window = at(index);
        if (!window || (window->flags() & Qt::FramelessWindowHint)) return false;
        const Qt::WindowType type = window->type();
        return type == Qt::Window || type == Qt::Dialog || type == Qt::Sheet || type == Qt::Tool;
    }

    void makeRegularApplication() override {}  // every Qt application with windows already is one

    void setApplicationIcon(const QImage& icon) override {
        QGuiApplication::setWindowIcon(QIcon(QPixmap::fromImage(icon)));
    }

    void activateIgnoringOtherApps() override {}  // activation is per window below

    void makeKeyAndOrderFront(int index) override {
        if (QWindow* window = at(index)) {
            window->raise();
            window->requestActivate();
        }
    }

    void setQuitOnLastWindowClosed(bool quit) override { QGuiApplication::setQuitOnLastWindowClosed(quit); }

    void runLater(std::chrono::milliseconds delay, std::function<void()> work) override {
        QTimer::singleShot(delay, QCoreApplication::instance(), std::move(work));
    }

private:
    static QWindow* at(int index) {
        const QWindowList windows = QGuiApplication::topLevelWindows();
        return index >= 0 && index < windows.size() ? windows.at(index) : nullptr;
    }
};

}  // namespace

std::unique_ptr<WindowSystem> makeQtWindowSystem() { return std::make_unique<QtWindowSystem>(); }

RedactionAppDelegate::RedactionAppDelegate(WindowSystem& windows, QObject* parent)
    : QObject(parent), windows_(windows) {
    // Until a main window has been fronted, closing every window leaves the process running.
    windows_.setQuitOnLastWindowClosed(false);
}

void RedactionAppDelegate::applicationDidFinishLaunching() {
    windows_.makeRegularApplication();
    windows_.setApplicationIcon(RedactionDockIconFactory::makeIcon());
    bringInitialWindowForward(0);
}

void RedactionAppDelegate::bringInitialWindowForward(int attempt) {
    const int count = windows_.windowCount();
    for (int index = 0; index < count; ++index) {
        if (!windows_.canBecomeKey(index) || windows_.isSheet(index) || !windows_.isTitled(index)) continue;
        hasPresentedMainWindow_ = true;
        windows_.setQuitOnLastWindowClosed(true);
        windows_.activateIgnoringOtherApps();
        windows_.makeKeyAndOrderFront(index);
        return;
    }
    if (attempt >= lastAttempt) return;
    windows_.runLater(retryDelay, [self = QPointer<RedactionAppDelegate>(this), attempt] {
        if (self) self->bringInitialWindowForward(attempt + 1);
    });
}

}  // namespace norvane
