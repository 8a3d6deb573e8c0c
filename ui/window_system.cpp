#include "ui/window_system.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
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

std::unique_ptr<WindowSystem> makeQtWindowSystem() {
    return std::make_unique<QtWindowSystem>();
}

}  // namespace norvane
