#pragma once
// What the document model asks of the desktop, as a service it is given: the app supplies
// real dialogs and the file manager, tests supply scripted answers.

#include <QString>

#include <optional>

namespace norvane {

class DesktopServices {
public:
    virtual ~DesktopServices() = default;

    // Modal save dialog: PDF files only, creating folders allowed, `proposedName` filled in,
    // starting in `directory`. Nothing when the user dismisses it.
    virtual std::optional<QString> chooseSaveLocation(const QString& proposedName, const QString& directory) = 0;

    // Shows the file selected in the desktop's file manager.
    virtual void revealInFileManager(const QString& path) = 0;
};

}  // namespace norvane
