#include "app/app_delegate.h"

#include "app/app_icon.h"

#include <QPointer>

namespace norvane {

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
