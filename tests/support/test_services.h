#pragma once
// Services for tests: the history in a file the test chooses (or in memory only), a desktop
// that answers from a script and records what it was asked, and the engine calls given.

#include "model/redaction_view_model.h"
#include "model/services.h"

#include <QHash>
#include <QStringList>
#include <QUrl>

#include <filesystem>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace norvane::testing {

class ScriptedDesktop : public DesktopServices {
public:
    std::optional<QString> answer;  // the save dialog's answer; nothing: dismissed
    std::function<void()> whileOpen;
    std::vector<std::pair<QString, QString>> asked;  // (proposed name, directory)
    QStringList revealed;
    std::vector<QUrl> opened;

    std::optional<QString> chooseSaveLocation(const QString& proposedName, const QString& directory) override;
    void revealInFileManager(const QString& path) override { revealed << path; }
    void openUrl(const QUrl& url) override { opened.push_back(url); }
    QString preference(const QString& key) const override { return preferences.value(key); }
    void setPreference(const QString& key, const QString& value) override { preferences[key] = value; }

    QHash<QString, QString> preferences;
};

struct TestServices {
    explicit TestServices(std::optional<std::filesystem::path> historyFile = std::nullopt, EngineCalls engine = {});

    std::shared_ptr<ScriptedDesktop> desktop;
    std::shared_ptr<RecentRedactionStore> history;
    SharedServices shared;
};

// Reaches the fields that only the model's own operations write, to set up a scene.
class ModelProbe : public RedactionViewModel {
public:
    ModelProbe() : RedactionViewModel(TestServices().shared) {}
    using RedactionViewModel::setInspection;
    using RedactionViewModel::setIsBusy;
    using RedactionViewModel::setOutputURL;
    using RedactionViewModel::setProgress;
    using RedactionViewModel::setSearchResults;
    using RedactionViewModel::setStatusText;
};

// An export that completes in a blink: a stub file and a passed verification of one page.
EngineCalls instantExportEngine();

// Runs the event loop until every background task has ended.
void waitForWorkers();

}  // namespace norvane::testing
