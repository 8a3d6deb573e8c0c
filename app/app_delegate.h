#pragma once
// Launch-time chores: install the drawn icon, bring the first real main window to the front
// once it exists, and decide whether closing the last window quits.

#include <QImage>
#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

namespace norvane {

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

class RedactionAppDelegate : public QObject {
    Q_OBJECT
public:
    static constexpr int lastAttempt = 20;
    static constexpr std::chrono::milliseconds retryDelay{100};

    explicit RedactionAppDelegate(WindowSystem& windows, QObject* parent = nullptr);

    void applicationDidFinishLaunching();
    bool applicationShouldTerminateAfterLastWindowClosed() const { return hasPresentedMainWindow_; }
    bool hasPresentedMainWindow() const { return hasPresentedMainWindow_; }

private:
    void bringInitialWindowForward(int attempt);

    WindowSystem& windows_;
    bool hasPresentedMainWindow_ = false;
};

}  // namespace norvane
