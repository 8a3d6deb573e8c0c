#pragma once
// The application's top-level windows as the launch logic sees them.

#include <QImage>

#include <chrono>
#include <functional>
#include <memory>

namespace norvane {

// The title of the main window and of the dialogs it shows, as the desktop receives it.
inline constexpr auto kWindowTitle = "Norvane - Redaction Tool";

// What the delegate needs of the desktop; the app uses the Qt one, tests a scripted list.
class WindowSystem {
public:
    virtual ~WindowSystem() = default;

    // The application's windows, in the application's order.
    virtual int windowCount() const = 0;
    virtual bool canBecomeKey(int index) const = 0;
    virtual bool isSheet(int index) const = 0;
    virtual bool isTitled(int index) const = 0;

    virtual void makeRegularApplication() = 0;
    virtual void setApplicationIcon(const QImage& icon) = 0;
    virtual void activateIgnoringOtherApps() = 0;
    virtual void makeKeyAndOrderFront(int index) = 0;
    virtual void setQuitOnLastWindowClosed(bool quit) = 0;
    virtual void runLater(std::chrono::milliseconds delay, std::function<void()> work) = 0;
};

// Over QGuiApplication's top-level windows, in creation order.
std::unique_ptr<WindowSystem> makeQtWindowSystem();

}  // namespace norvane
