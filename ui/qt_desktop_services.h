#pragma once
// The desktop services of a real session: Qt's save dialog, the desktop's file manager and
// the default browser.

#include "model/desktop_services.h"

namespace norvane {

class QtDesktopServices : public DesktopServices {
public:
    // The save dialog is modal to the active window.
    std::optional<QString> chooseSaveLocation(const QString& proposedName, const QString& directory) override;

    // Asks the file manager over D-Bus to show the file selected; where no file manager
    // answers, opens the containing folder instead.
    void revealInFileManager(const QString& path) override;

    void openUrl(const QUrl& url) override;
};

}  // namespace norvane
