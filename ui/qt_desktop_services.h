#pragma once
// The desktop services of a real session: Qt's save dialog, the desktop's file manager, the
// default browser and the settings store.

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

    // Kept by QSettings in the desktop's configuration folder (~/.config/Norvane/Norvane.conf).
    QString preference(const QString& key) const override;
    void setPreference(const QString& key, const QString& value) override;
};

}  // namespace norvane
