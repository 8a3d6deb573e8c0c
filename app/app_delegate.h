#pragma once
// Launch-time chores: install the drawn icon, bring the first real main window to the front
// once it exists, and decide whether closing the last window quits.

#include "ui/window_system.h"

#include <QObject>

namespace norvane {

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
