#pragma once
// The desktop services of a real session: Qt's save dialog and the desktop's file manager.

#include "model/desktop_services.h"

#include <QPointer>
#include <QWidget>

namespace norvane {

class QtDesktopServices : public DesktopServices {
public:
    // `dialogParent`: the window the save dialog is modal to (may be null).
    explicit QtDesktopServices(QWidget* dialogParent = nullptr) : dialogParent_(dialogParent) {}

    std::optional<QString> chooseSaveLocation(const QString& proposedName, const QString& directory) override;

    // Asks the file manager over D-Bus to show the file selected; where no file manager
    // answers, opens the containing folder instead.
    void revealInFileManager(const QString& path) override;

private:
    QPointer<QWidget> dialogParent_;
};

}  // namespace norvane
