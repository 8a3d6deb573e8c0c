#include "ui/qt_desktop_services.h"

#include "ui/window_system.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QSettings>
#include <QUrl>

namespace norvane {

namespace {

void reportUnrevealed(const QString& path) {
    QMessageBox box(QApplication::activeWindow());
    box.setIcon(QMessageBox::Information);
    box.setWindowTitle(QString::fromLatin1(kWindowTitle));
    box.setText(QStringLiteral("The folder could not be shown."));
    box.setInformativeText(QStringLiteral("No file manager answered. The secure copy is here:\n") +
                           QDir::toNativeSeparators(path));
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    box.exec();
}

}  // namespace

QtDesktopServices::QtDesktopServices(FolderOpener opener, FailureReport report)
    : opener_(opener ? std::move(opener)
                     : FolderOpener([](const QUrl& url) { return QDesktopServices::openUrl(url); })),
      report_(report ? std::move(report) : FailureReport(reportUnrevealed)) {}

void QtDesktopServices::openContainingFolder(const QString& path) const {
    if (!opener_(QUrl::fromLocalFile(QFileInfo(path).absolutePath()))) report_(path);
}

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
    // The services may be gone when the answer comes; the callbacks are copied.
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [opener = opener_, report = report_, path](QDBusPendingCallWatcher* finished) {
        if (finished->isError() && !opener(QUrl::fromLocalFile(QFileInfo(path).absolutePath()))) {
            report(path);
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
