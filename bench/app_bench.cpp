// The app's speed against the command line's for the same work: an OCR search of a scanned
// document, and a text search, "Redact All", export and verification of a long text document.
// Ours drives the real main window offscreen the way a person does (the canvas and thumbnails
// drawing as they would); the peer is `norvane-redact` doing the same, in the same run.
//
//   norvane-app-bench CLI [--runs N] [--scan-pages N] [--manual FILE --term TEXT]

#include "app/main_window.h"
#include "app/root_view.h"
#include "bench/bench_support.h"
#include "canvas/page_canvas.h"
#include "canvas/page_render_service.h"
#include "model/redaction_view_model.h"
#include "model/task_runner.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/scan_factory.h"
#include "ui/appearance.h"
#include "workspace/workspace_screen.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QStyleFactory>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

using namespace norvane;
using norvane::bench::Timing;
namespace fs = std::filesystem;

namespace {

const char* const kLines[] = {
    "Account holder: Margaret Harrington, 14 Mill Lane, Ashford, Kent TN23 4QX.",
    "The quarterly statement lists every transfer made between 1 April and 30 June.",
    "Reference 88-213-4471 was settled on 12 May for the amount of 2,450.00 GBP.",
    "Please contact our office if any of the entries below do not match your records.",
    "Invoice No. 4711-A covers consultancy services delivered in the second quarter.",
    "Mr. Harrington confirmed the payment schedule by telephone on 3 June.",
    "Interest is calculated daily on the cleared balance and paid monthly in arrears.",
    "Witness statement of Daniel Okafor, taken at the Maidstone office on 7 June.",
};

testing::PageSpec densePage(int page, int lines) {
    testing::PageSpec spec;
    for (int i = 0; i < lines; ++i) {
        spec.texts.push_back({kLines[(i + page) % std::size(kLines)], 72, 740 - 18.0 * i, 11});
    }
    return spec;
}

class ScriptedSave : public DesktopServices {
public:
    std::optional<QString> chooseSaveLocation(const QString&, const QString&) override { return target; }
    void revealInFileManager(const QString&) override {}
    void openUrl(const QUrl&) override {}
    QString preference(const QString&) const override { return {}; }
    void setPreference(const QString&, const QString&) override {}
    QString target;
};

// Runs the event loop until `done` holds.
void spinUntil(const std::function<bool()>& done) {
    QTimer tick;
    tick.start(5);
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

Timing timeWindow(const std::function<void()>& start, RedactionViewModel& model) {
    return bench::timeOurs([&] {
        start();
        spinUntil([&] { return !model.isBusy() && backgroundTaskCount() == 0; });
    });
}

void report(const char* what, const Timing& app, const Timing& cli) {
    std::printf("%-34s app %7.2f s (cpu %6.2f)   norvane-redact %7.2f s (cpu %6.2f)   ratio %.2f (target <= 1.10)\n",
                what, app.wall, app.cpu, cli.wall, cli.cpu, app.wall / cli.wall);
}

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    QApplication::setStyle(new theme::ReadableStyle(QStyleFactory::create(QStringLiteral("Fusion"))));
    const QStringList args = QApplication::arguments().mid(1);
    if (args.isEmpty()) {
        std::cerr << "usage: norvane-app-bench CLI [--runs N] [--scan-pages N] [--manual FILE --term TEXT]\n";
        return 2;
    }
    const std::string cli = args[0].toStdString();
    int runs = 3;
    int scanPages = 6;
    std::string manual;
    std::string term = "Harrington";
    for (qsizetype i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == QStringLiteral("--runs")) runs = args[i + 1].toInt();
        if (args[i] == QStringLiteral("--scan-pages")) scanPages = args[i + 1].toInt();
        if (args[i] == QStringLiteral("--manual")) manual = args[i + 1].toStdString();
        if (args[i] == QStringLiteral("--term")) term = args[i + 1].toStdString();
    }

    testing::TempDir dir;
    const fs::path scan = dir.file("scan.pdf");
    {
        std::vector<testing::ScanPage> pages;
        for (int i = 0; i < scanPages; ++i) {
            pages.push_back({densePage(i, 36)});
        }
        testing::writeFile(scan, testing::buildScannedPdf(pages));
    }
    if (manual.empty()) {
        std::vector<testing::PageSpec> pages;
        for (int i = 0; i < 36; ++i) {
            pages.push_back(densePage(i, 38));
        }
        manual = dir.file("manual.pdf").string();
        testing::writeFile(manual, testing::buildPdf({.pages = pages}));
    }

    auto desktop = std::make_shared<ScriptedSave>();
    auto history = std::make_shared<RecentRedactionStore>(std::nullopt);
    MainWindow window(std::make_shared<const Services>(Services{history, desktop, {}}));
    window.resize(1320, 860);
    window.show();
    const auto openInWindow = [&](const fs::path& file) -> RedactionViewModel& {
        RedactionViewModel& model = window.rootView()->workspace()->model();
        model.clearDocument();
        model.open(QString::fromStdString(file.string()));
        // The pages in view and the thumbnails drawn, as before a person starts.
        QElapsedTimer quiet;
        quiet.start();
        spinUntil([&] {
            for (const PageCanvas* canvas : window.findChildren<PageCanvas*>()) {
                if (canvas->renderService() && canvas->renderService()->isBusy()) {
                    quiet.restart();
                }
            }
            return quiet.elapsed() >= 500;
        });
        return model;
    };
    const QString query = QString::fromStdString(term);

    Timing searchApp = bench::kNotRun, searchCli = bench::kNotRun;
    Timing exportApp = bench::kNotRun, exportCli = bench::kNotRun;
    try {
        for (int run = 0; run < runs; ++run) {
            RedactionViewModel& scanned = openInWindow(scan);
            scanned.setSearchText(query);
            searchApp = bench::fastest(searchApp, timeWindow([&] { scanned.findWithOCR(); }, scanned));
            if (scanned.searchResults().empty() || scanned.errorMessage()) {
                std::cerr << "norvane-app-bench: the OCR search in the window found nothing\n";
                return 1;
            }
            searchCli = bench::fastest(searchCli, bench::timeCommand({cli, "find", scan.string(), term, "--ocr"}));

            RedactionViewModel& text = openInWindow(manual);
            desktop->target = QString::fromStdString(dir.file("app-copy.pdf").string());
            exportApp = bench::fastest(exportApp, timeWindow(
                                                      [&] {
                text.setSearchText(query);
                text.findNativeText();
                spinUntil([&] { return !text.isBusy(); });
                text.addAllSearchResults();
                text.exportSecureCopy();
                                                      },
                                                      text));
            if (!text.verification() || !text.verification()->passed()) {
                std::cerr << "norvane-app-bench: the export in the window did not pass verification\n";
                return 1;
            }
            exportCli = bench::fastest(
                exportCli,
                bench::timeCommand({cli, "export", manual, "-o", dir.file("cli-copy.pdf").string(), "--find", term}));
        }
    } catch (const std::exception& error) {
        std::cerr << "norvane-app-bench: " << error.what() << '\n';
        return 1;
    }
    std::printf("OCR search: %d scanned pages; export: %s, term found by the text search\n", scanPages,
                fs::path(manual).filename().c_str());
    report("OCR search", searchApp, searchCli);
    report("text search, export, verification", exportApp, exportCli);
    return 0;
}
