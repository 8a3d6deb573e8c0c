#pragma once
// The desktop services of a real session: Qt's save dialog, the desktop's file manager, the
// default browser and the settings store.

#include "model/desktop_services.h"

#include <functional>

namespace norvane {

class QtDesktopServices : public DesktopServices {
public:
    // Opens a folder in the desktop's own way; false when nothing could.
    using FolderOpener = std::function<bool(const QUrl& folder)>;
    // Tells the person a reveal could not be done.
    using FailureReport = std::function<void(const QString& path)>;
    explicit QtDesktopServices(FolderOpener opener = {}, FailureReport report = {});

    // The save dialog is modal to the active window.
    std::optional<QString> chooseSaveLocation(const QString& proposedName, const QString& directory) override;

    // Asks the file manager over D-Bus to show the file selected; where no file manager
    // answers, opens the containing folder instead; where that fails too, says so.
    void revealInFileManager(const QString& path) override;

    void openUrl(const QUrl& url) override;

    // Kept by QSettings in the desktop's configuration folder (~/.config/Norvane/Norvane.conf).
    QString preference(const QString& key) const override;
    void setPreference(const QString& key, const QString& value) override;

private:
    void openContainingFolder(const QString& path) const;
    FolderOpener opener_;
    FailureReport report_;
};

}  // namespace norvane
