#include "ui/qt_desktop_services.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QSettings>
#include <QUrl>

namespace norvane {

namespace {

void openContainingFolder(const QString& path) {
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
}

}  // namespace

std::optional<QString> QtDesktopServices::chooseSaveLocation(const QString& proposedName, const QString& directory) {
    QFileDialog dialog(QApplication::activeWindow());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilter(QStringLiteral("PDF (*.pdf)"));
    dialog.setDefaultSuffix(QStringLiteral("pdf"));
    dialog.setDirectory(directory);
    dialog.selectFile(proposedName);
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    const QStringList files = dialog.selectedFiles();
    if (files.isEmpty() || files.front().isEmpty()) {
        return std::nullopt;
    }
    return files.front();
}

void QtDesktopServices::revealInFileManager(const QString& path) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openContainingFolder(path);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString()} << QString();
    // Asynchronous so a slow or missing file manager never freezes the window.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 5000));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [path](QDBusPendingCallWatcher* finished) {
        if (finished->isError()) {
            openContainingFolder(path);
        }
        finished->deleteLater();
    });
}

void QtDesktopServices::openUrl(const QUrl& url) {
    QDesktopServices::openUrl(url);
}

QString QtDesktopServices::preference(const QString& key) const {
    const QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Norvane"),
                             QStringLiteral("Norvane"));
    return settings.value(key).toString();
}

void QtDesktopServices::setPreference(const QString& key, const QString& value) {
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Norvane"),
                       QStringLiteral("Norvane"));
    settings.setValue(key, value);
}

}  // namespace norvane
