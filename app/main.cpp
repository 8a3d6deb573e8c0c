// The desktop application: one main window at start, more on request; PDF paths given on the
// command line are opened in the first window once its workspace exists.

#include "app/app_delegate.h"
#include "app/main_window.h"
#include "ui/appearance.h"
#include "ui/qt_desktop_services.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QTimer>

#include <cstdlib>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    norvane::configureApplication();
    norvane::theme::DesktopAppearance appearance;

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Remove sensitive information from PDF files on this computer."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("PDF files to open."),
                                 QStringLiteral("[FILE.pdf...]"));
    parser.process(app);

    QStringList paths;
    for (const QString& argument : parser.positionalArguments())
        paths.append(QFileInfo(argument).absoluteFilePath());

    const auto services = std::make_shared<const norvane::Services>(norvane::Services{
        std::make_shared<norvane::RecentRedactionStore>(norvane::RecentRedactionStore::defaultStoragePath()),
        std::make_shared<norvane::QtDesktopServices>(), norvane::EngineCalls{}});
    const auto windowSystem = norvane::makeQtWindowSystem();
    norvane::RedactionAppDelegate delegate(*windowSystem);

    norvane::MainWindow* window = norvane::MainWindow::openNewWindow(services);
    if (!paths.isEmpty()) {
        QTimer::singleShot(0, window, [window, paths] { window->openFiles(paths); });
    }
    QTimer::singleShot(0, &delegate, [&delegate] { delegate.applicationDidFinishLaunching(); });
    return QApplication::exec();
}
