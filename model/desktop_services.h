#pragma once
// What the model and the screens ask of the desktop: the app supplies real dialogs, the file
// manager and the browser, tests supply scripted answers.

#include <QString>
#include <QUrl>

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

    // Opens a web address in the default browser.
    virtual void openUrl(const QUrl& url) = 0;

    // A choice the person made that outlives the window (the desktop's settings store); an
    // empty string when never made.
    virtual QString preference(const QString& key) const = 0;
    virtual void setPreference(const QString& key, const QString& value) = 0;
};

// The recognition languages chosen for OCR ("deu+eng"); empty: chosen for each search.
inline const QString kRecognitionLanguagesPreference = QStringLiteral("recognitionLanguages");
// "true" when exports are made searchable; anything else: image-only.
inline const QString kSearchableCopyPreference = QStringLiteral("searchableCopy");

}  // namespace norvane
