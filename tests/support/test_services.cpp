#include "tests/support/test_services.h"

#include "model/task_runner.h"
#include "tests/support/pdf_factory.h"

#include <QCoreApplication>
#include <QTimer>

namespace norvane::testing {

std::optional<QString> ScriptedDesktop::chooseSaveLocation(const QString& proposedName, const QString& directory) {
    asked.emplace_back(proposedName, directory);
    if (whileOpen) {
        whileOpen();
    }
    return answer;
}

TestServices::TestServices(std::optional<std::filesystem::path> historyFile, EngineCalls engine)
    : desktop(std::make_shared<ScriptedDesktop>()),
      history(std::make_shared<RecentRedactionStore>(
          historyFile ? std::optional(QString::fromStdString(historyFile->string())) : std::nullopt)),
      shared(std::make_shared<const Services>(Services{history, desktop, std::move(engine)})) {}

EngineCalls instantExportEngine() {
    EngineCalls calls;
    calls.exportSecurePDF =
        [](const auto&, const auto&, const std::filesystem::path& out, const auto&, const auto&, auto) {
        writeFile(out, {'%', 'P', 'D', 'F'});
        return SharedRecognisedCopy();
    };
    calls.verifyOutput = [](const auto&, const auto&, const auto&, auto) { return ExportVerification(1, {}); };
    return calls;
}

void waitForWorkers() {
    QTimer tick;
    tick.start(10);  // wakes the loop even if nothing is posted
    while (backgroundTaskCount() != 0) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

}  // namespace norvane::testing
