// Drives the document model's search and export commands as the workspace does, recording
// every published change in order while the background work runs.

#include "engine/redaction_engine.h"
#include "model/recent_redaction_store.h"
#include "model/engine_calls.h"
#include "model/redaction_view_model.h"
#include "model/task_runner.h"
#include "tests/support/change_recorder.h"
#include "tests/support/pdf_factory.h"

#include <QCoreApplication>
#include <QDir>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }

namespace norvane {
namespace {

using testing::ChangeRecorder;
namespace fs = std::filesystem;

const QString kOverwriteMessage =
    QStringLiteral("Norvane will not overwrite the original PDF. Choose a different output name.");

// The history goes to a private folder: set before anything reaches the shared store.
class PrivateHistoryHome : public ::testing::Environment {
public:
    void SetUp() override { qputenv("XDG_DATA_HOME", QByteArray::fromStdString(home_.path().string())); }

private:
    testing::TempDir home_;
};
[[maybe_unused]] ::testing::Environment* const kHistoryHome = ::testing::AddGlobalTestEnvironment(new PrivateHistoryHome);

QString qPath(const fs::path& path) { return QString::fromStdString(path.string()); }

template <class Predicate>
void spinUntil(Predicate done) {
    QTimer tick;
    tick.start(10);
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

void waitForWorkers() {
    spinUntil([] { return backgroundTaskCount() == 0; });
}

class ScriptedDesktop : public DesktopServices {
public:
    std::optional<QString> answer;
    std::function<void()> whileOpen;
    std::vector<std::pair<QString, QString>> asked;  // (proposed name, directory)
    QStringList revealed;

    std::optional<QString> chooseSaveLocation(const QString& proposedName, const QString& directory) override {
        asked.emplace_back(proposedName, directory);
        if (whileOpen) {
            whileOpen();
        }
        return answer;
    }
    void revealInFileManager(const QString& path) override { revealed << path; }
};

// Swaps the engine's long operations for the length of one test.
class ScopedEngine {
public:
    ScopedEngine() : saved_(engineCalls()) {}
    ~ScopedEngine() { engineCalls() = saved_; }
    EngineCalls& operator*() { return engineCalls(); }
    EngineCalls* operator->() { return &engineCalls(); }

private:
    EngineCalls saved_;
};

class CommandsTest : public ::testing::Test {
protected:
    void SetUp() override {
        model->setDesktopServices(desktop);
        auto* observed = model.get();  // the test may drop its reference while a task runs
        QObject::connect(observed, &RedactionViewModel::statusTextChanged,
                         [this, observed] { statuses << observed->statusText(); });
        QObject::connect(observed, &RedactionViewModel::progressChanged,
                         [this, observed] { progresses.push_back(observed->progress()); });
    }
    void TearDown() override { waitForWorkers(); }

    QString openPdf(const std::vector<std::string>& pageTexts, const std::string& name = "contract.pdf") {
        const auto path = dir.file(name);
        testing::writeFile(path, testing::buildPdf(testing::textPages(pageTexts)));
        model->open(qPath(path));
        EXPECT_TRUE(model->document());
        return qPath(path);
    }

    void addManualRegions(int pages) {
        for (int page = 0; page < pages; ++page) {
            model->addManual(page, PageRect{60, 700, 200, 40});
        }
    }

    // Runs `action` once, the first time the status reads `status`.
    void onStatus(const QString& status, std::function<void()> action) {
        auto fired = std::make_shared<bool>(false);
        QObject::connect(model.get(), &RedactionViewModel::statusTextChanged, model.get(), [this, status, action, fired] {
            if (!*fired && model->statusText() == status) {
                *fired = true;
                action();
            }
        });
    }

    void clearRecords() {
        recorder.clear();
        statuses.clear();
        progresses.clear();
    }

    static std::size_t historySize() { return RecentRedactionStore::shared().records().size(); }

    testing::TempDir dir;
    std::shared_ptr<RedactionViewModel> model = RedactionViewModel::create();
    std::shared_ptr<ScriptedDesktop> desktop = std::make_shared<ScriptedDesktop>();
    ChangeRecorder recorder{model.get()};
    QStringList statuses;
    std::vector<std::optional<double>> progresses;
};

// ---------------------------------------------------------------------------------------
// Text-layer search

TEST_F(CommandsTest, FindTextPublishesResultsAndCountOnly) {
    model->setSearchText(QStringLiteral("smith"));
    clearRecords();
    model->findNativeText();
    EXPECT_TRUE(recorder.changes.isEmpty()) << "no document: nothing happens";

    openPdf({"Agreement with Smith", "Nothing here", "Signed: SMITH"});
    clearRecords();
    model->findNativeText();
    EXPECT_EQ(recorder.changes, (QStringList{"searchResults", "statusText"}));
    ASSERT_EQ(model->searchResults().size(), 2u);
    EXPECT_EQ(model->statusText(), QStringLiteral("2 text matches"));

    const auto first = model->searchResults();
    model->findNativeText();
    ASSERT_EQ(model->searchResults().size(), 2u);
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_NE(model->searchResults()[i].id, first[i].id);
        EXPECT_EQ(model->searchResults()[i].rect, first[i].rect);
    }

    model->setSearchText(QStringLiteral("  \n "));
    model->findNativeText();
    EXPECT_TRUE(model->searchResults().empty());
    EXPECT_EQ(model->statusText(), QStringLiteral("0 text matches"));
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->task());
}

// ---------------------------------------------------------------------------------------
// OCR search on the real recogniser

const std::vector<std::string> kOcrPages = {"Confidential memo for Smith", "Nothing to see on this page",
                                            "Smith signed the contract"};

TEST_F(CommandsTest, OcrSearchReportsEveryPageThenTheMatches) {
    openPdf(kOcrPages);
    model->setSearchText(QStringLiteral("Smith"));
    clearRecords();
    model->findWithOCR();
    EXPECT_TRUE(model->isBusy());
    EXPECT_EQ(recorder.changes, (QStringList{"isBusy", "progress", "isBusy", "errorMessage", "searchResults", "progress"}));
    model->setSearchText(QStringLiteral("changed while running"));
    waitForWorkers();

    EXPECT_EQ(statuses, (QStringList{"OCR 1 of 3", "OCR 2 of 3", "OCR 3 of 3", "2 OCR matches"}));
    ASSERT_EQ(progresses.size(), 6u);
    EXPECT_EQ(progresses[1], 0.0);
    EXPECT_DOUBLE_EQ(*progresses[2], 1.0 / 3.0);
    EXPECT_DOUBLE_EQ(*progresses[3], 2.0 / 3.0);
    EXPECT_DOUBLE_EQ(*progresses[4], 1.0);
    EXPECT_FALSE(progresses[5].has_value());
    ASSERT_EQ(model->searchResults().size(), 2u);
    EXPECT_EQ(model->searchResults()[0].pageIndex, 0);
    EXPECT_EQ(model->searchResults()[1].pageIndex, 2);
    EXPECT_EQ(model->searchResults()[0].text, "Smith") << "the query taken at the start";
    EXPECT_FALSE(model->isBusy());
    EXPECT_EQ(recorder.changes.mid(recorder.changes.size() - 4),
              (QStringList{"searchResults", "statusText", "progress", "isBusy"}));
}

struct OcrCancelCase {
    const char* name;
    const char* cancelAt;
    const char* finalStatus;
};

class OcrCancel : public CommandsTest, public ::testing::WithParamInterface<OcrCancelCase> {};

INSTANTIATE_TEST_SUITE_P(
    Phases, OcrCancel,
    ::testing::Values(OcrCancelCase{"WhileRecognising", "OCR 1 of 3", "OCR cancelled"},
                      // The recogniser has already finished: its results are dropped, silently.
                      OcrCancelCase{"RacingCompletion", "OCR 3 of 3", "OCR 3 of 3"}),
    [](const ::testing::TestParamInfo<OcrCancelCase>& param) { return param.param.name; });

TEST_P(OcrCancel, EndsNotBusyWithNoResults) {
    openPdf(kOcrPages);
    model->setSearchText(QStringLiteral("Smith"));
    bool busyAfterCancel = true;
    onStatus(QString::fromUtf8(GetParam().cancelAt), [&] {
        model->cancel();
        busyAfterCancel = model->isBusy();
    });
    model->findWithOCR();
    waitForWorkers();

    EXPECT_FALSE(busyAfterCancel);
    EXPECT_EQ(statuses.last(), QString::fromUtf8(GetParam().finalStatus));
    EXPECT_TRUE(model->searchResults().empty());
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->progress().has_value());
    EXPECT_FALSE(model->errorMessage().has_value());
}

// ---------------------------------------------------------------------------------------
// Export on the real engine

TEST_F(CommandsTest, ExportRunsEveryPhaseInOrderAndRecordsIt) {
    const QString source = openPdf({"Agreement with Smith", "Page two"});
    model->setSearchText(QStringLiteral("Smith"));
    model->findNativeText();
    model->addAllSearchResults();
    model->addManual(1, PageRect{60, 700, 100, 30});
    const auto output = dir.file("out") / "contract-redacted.pdf";
    fs::create_directories(output.parent_path());
    desktop->answer = qPath(output);
    const auto historyBefore = historySize();
    clearRecords();

    model->exportSecureCopy();
    waitForWorkers();

    ASSERT_EQ(desktop->asked.size(), 1u);
    EXPECT_EQ(desktop->asked[0].first, QStringLiteral("contract-redacted.pdf"));
    EXPECT_EQ(desktop->asked[0].second, qPath(dir.path()));
    EXPECT_EQ(recorder.changes,
              (QStringList{"isBusy", "progress",                                              // cancel()
                           "isBusy", "errorMessage", "verification", "progress",              // start
                           "statusText", "progress", "statusText", "progress", "statusText",  // export
                           "statusText", "progress", "statusText", "progress", "statusText",  // verification
                           "outputURL", "verification", "statusText", "progress", "isBusy"}));
    EXPECT_EQ(statuses, (QStringList{QString::fromUtf8("Creating secure redacted PDF\u2026"), "Exporting page 1 of 2",
                                     "Exporting page 2 of 2", QString::fromUtf8("Verifying redacted output\u2026"),
                                     "Verifying page 1 of 2", "Verifying page 2 of 2", "Verification Passed"}));
    EXPECT_EQ(progresses, (std::vector<std::optional<double>>{std::nullopt, 0.0, 0.5, 1.0, 0.5, 1.0, std::nullopt}));
    EXPECT_EQ(model->outputURL(), qPath(output));
    ASSERT_TRUE(model->verification().has_value());
    EXPECT_TRUE(model->verification()->passed());
    EXPECT_EQ(model->verification()->checkedPages(), 2);
    EXPECT_TRUE(fs::exists(output));

    ASSERT_EQ(historySize(), historyBefore + 1);
    const auto& record = RecentRedactionStore::shared().records().front();
    EXPECT_EQ(record.sourceName, QStringLiteral("contract.pdf"));
    EXPECT_EQ(record.outputPath, qPath(output));
    EXPECT_EQ(record.pageCount, 2);
    EXPECT_EQ(record.redactionCount, 2);
    EXPECT_TRUE(record.verificationPassed);
    EXPECT_EQ(model->sourceURL(), source);
    EXPECT_EQ(model->redactions().size(), 2u) << "the pending regions stay for another export";

    // Editing afterwards clears the verdict but the last export can still be revealed.
    model->addManual(0, PageRect{10, 10, 20, 20});
    EXPECT_FALSE(model->verification().has_value());
    model->revealOutput();
    EXPECT_EQ(desktop->revealed, QStringList{qPath(output)});
}

struct ExportCancelCase {
    const char* name;
    const char* cancelAt;
    const char* finalStatus;
    bool fileWritten;
    bool published;
};

class ExportCancel : public CommandsTest, public ::testing::WithParamInterface<ExportCancelCase> {};

INSTANTIATE_TEST_SUITE_P(
    Phases, ExportCancel,
    ::testing::Values(
        ExportCancelCase{"BeforeTheFirstPage", "Creating secure redacted PDF\u2026", "Export cancelled", false, false},
        ExportCancelCase{"WhileExporting", "Exporting page 1 of 3", "Export cancelled", false, false},
        // After the last page the file is complete: the task ends without a word.
        ExportCancelCase{"BetweenThePhases", "Exporting page 3 of 3", "Exporting page 3 of 3", true, false},
        ExportCancelCase{"WhileVerifying", "Verifying page 1 of 3", "Export cancelled", true, false},
        // A verification that has returned is always published.
        ExportCancelCase{"RacingCompletion", "Verifying page 3 of 3", "Verification Passed", true, true}),
    [](const ::testing::TestParamInfo<ExportCancelCase>& param) { return param.param.name; });

TEST_P(ExportCancel, EndsAsThePhaseRequires) {
    openPdf({"one", "two", "three"});
    addManualRegions(3);
    const auto output = dir.file("secure.pdf");
    desktop->answer = qPath(output);
    const auto historyBefore = historySize();
    bool busyAfterCancel = true;
    onStatus(QString::fromUtf8(GetParam().cancelAt), [&] {
        model->cancel();
        busyAfterCancel = model->isBusy();
    });

    model->exportSecureCopy();
    waitForWorkers();

    EXPECT_FALSE(busyAfterCancel);
    EXPECT_EQ(statuses.last(), QString::fromUtf8(GetParam().finalStatus));
    EXPECT_EQ(fs::exists(output), GetParam().fileWritten);
    EXPECT_EQ(model->outputURL().has_value(), GetParam().published);
    EXPECT_EQ(model->verification().has_value(), GetParam().published);
    EXPECT_EQ(historySize(), historyBefore + (GetParam().published ? 1 : 0));
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->progress().has_value());
    EXPECT_FALSE(model->errorMessage().has_value());
    EXPECT_EQ(model->redactions().size(), 3u);
    for (const auto& entry : fs::directory_iterator(dir.path())) {
        const auto name = entry.path().filename().string();
        EXPECT_TRUE(name == "contract.pdf" || name == "secure.pdf") << "left behind: " << name;
    }
}

TEST_F(CommandsTest, AnUnwritableLocationFailsTheExport) {
    openPdf({"one"});
    addManualRegions(1);
    desktop->answer = qPath(dir.file("missing-folder") / "out.pdf");
    model->exportSecureCopy();
    waitForWorkers();
    EXPECT_EQ(model->errorMessage(), QStringLiteral("The secure redacted PDF could not be created."));
    EXPECT_EQ(statuses.last(), QStringLiteral("Export failed"));
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->outputURL().has_value());
}

TEST_F(CommandsTest, ExportStartedDuringOcrCancelsTheSearch) {
    openPdf(kOcrPages);
    addManualRegions(1);
    model->setSearchText(QStringLiteral("Smith"));
    desktop->answer = qPath(dir.file("out.pdf"));
    onStatus(QStringLiteral("OCR 1 of 3"), [&] { model->exportSecureCopy(); });

    model->findWithOCR();
    waitForWorkers();

    EXPECT_TRUE(statuses.contains(QStringLiteral("OCR cancelled")));
    EXPECT_FALSE(statuses.contains(QStringLiteral("OCR 2 of 3")));
    EXPECT_EQ(statuses.last(), QStringLiteral("Verification Passed"));
    EXPECT_TRUE(model->searchResults().empty());
    EXPECT_FALSE(model->isBusy());
    EXPECT_TRUE(fs::exists(dir.file("out.pdf")));
}

// The dialog is modal, but a running OCR search goes on behind it and is only cancelled by
// an export that actually starts.
struct DialogOutcome {
    const char* name;
    const char* answer;  // relative to the test folder; null: dismissed
    bool refused;
};

class DialogDuringOcr : public CommandsTest, public ::testing::WithParamInterface<DialogOutcome> {};

INSTANTIATE_TEST_SUITE_P(Outcomes, DialogDuringOcr,
                         ::testing::Values(DialogOutcome{"Dismissed", nullptr, false},
                                           DialogOutcome{"SourceViaDotDot", "sub/../contract.pdf", true}),
                         [](const ::testing::TestParamInfo<DialogOutcome>& param) { return param.param.name; });

TEST_P(DialogDuringOcr, LeavesTheSearchRunning) {
    openPdf(kOcrPages);
    addManualRegions(1);
    model->setSearchText(QStringLiteral("Smith"));
    if (GetParam().answer) {
        desktop->answer = qPath(dir.path()) + QLatin1Char('/') + QString::fromUtf8(GetParam().answer);
    }
    bool runningWhileOpen = false;
    desktop->whileOpen = [&] { runningWhileOpen = model->isBusy() && model->task() && !model->task()->isCancelled(); };
    onStatus(QStringLiteral("OCR 1 of 3"), [&] { model->exportSecureCopy(); });

    model->findWithOCR();
    waitForWorkers();

    EXPECT_TRUE(runningWhileOpen);
    EXPECT_EQ(statuses.last(), QStringLiteral("2 OCR matches"));
    EXPECT_EQ(model->searchResults().size(), 2u);
    EXPECT_EQ(model->errorMessage(), GetParam().refused ? std::optional(kOverwriteMessage) : std::nullopt);
    EXPECT_FALSE(fs::exists(dir.file("out.pdf")));
}

// ---------------------------------------------------------------------------------------
// Before any work starts

struct Proposal {
    const char* source;
    const char* proposed;
};

class ProposedName : public CommandsTest, public ::testing::WithParamInterface<Proposal> {};

INSTANTIATE_TEST_SUITE_P(Names, ProposedName,
                         ::testing::Values(Proposal{"contract.pdf", "contract-redacted.pdf"},
                                           Proposal{"Report.final.pdf", "Report.final-redacted.pdf"},
                                           Proposal{"scan.PDF", "scan-redacted.pdf"},
                                           Proposal{"no-extension", "no-extension-redacted.pdf"},
                                           Proposal{"caf\xc3\xa9 notes.pdf", "caf\xc3\xa9 notes-redacted.pdf"}));

TEST_P(ProposedName, DismissingTheDialogChangesNothing) {
    openPdf({"one"}, GetParam().source);
    addManualRegions(1);
    clearRecords();
    model->exportSecureCopy();
    ASSERT_EQ(desktop->asked.size(), 1u);
    EXPECT_EQ(desktop->asked[0].first, QString::fromUtf8(GetParam().proposed));
    EXPECT_EQ(desktop->asked[0].second, qPath(dir.path()));
    EXPECT_TRUE(recorder.changes.isEmpty());
    EXPECT_EQ(backgroundTaskCount(), 0u);
}

TEST_F(CommandsTest, ExportNeedsADocumentAndPendingRegions) {
    model->exportSecureCopy();
    EXPECT_TRUE(recorder.changes.isEmpty());

    openPdf({"one"});
    clearRecords();
    model->exportSecureCopy();
    EXPECT_EQ(recorder.changes, QStringList{"errorMessage"});
    EXPECT_EQ(model->errorMessage(), QStringLiteral("Add at least one redaction before exporting."));
    EXPECT_TRUE(desktop->asked.empty());
}

struct GuardCase {
    const char* name;
    std::function<QString(const fs::path& folder)> chosen;
    bool refused;
};

class OverwriteGuard : public CommandsTest, public ::testing::WithParamInterface<GuardCase> {};

INSTANTIATE_TEST_SUITE_P(
    Paths, OverwriteGuard,
    ::testing::Values(
        GuardCase{"SamePath", [](const fs::path& d) { return qPath(d / "contract.pdf"); }, true},
        GuardCase{"ThroughDot", [](const fs::path& d) { return qPath(d) + "/./contract.pdf"; }, true},
        GuardCase{"ThroughDotDot", [](const fs::path& d) { return qPath(d) + "/a/b/../../contract.pdf"; }, true},
        GuardCase{"DoubledSlash", [](const fs::path& d) { return qPath(d) + "//contract.pdf"; }, true},
        GuardCase{"RelativeToWorkingFolder",
                  [](const fs::path& d) { return QDir::current().relativeFilePath(qPath(d / "contract.pdf")); }, true},
        GuardCase{"OtherCase", [](const fs::path& d) { return qPath(d / "Contract.pdf"); }, false},
        GuardCase{"SymbolicLink",
                  [](const fs::path& d) {
                      fs::create_symlink(d / "contract.pdf", d / "link.pdf");
                      return qPath(d / "link.pdf");
                  },
                  true},
        GuardCase{"SymlinkedFolder",
                  [](const fs::path& d) {
                      fs::create_directory_symlink(d, d / "alias");
                      return qPath(d / "alias" / "contract.pdf");
                  },
                  true},
        GuardCase{"HardLink",
                  [](const fs::path& d) {
                      fs::create_hard_link(d / "contract.pdf", d / "second-name.pdf");
                      return qPath(d / "second-name.pdf");
                  },
                  true},
        GuardCase{"LinkToAnotherFile",
                  [](const fs::path& d) {
                      testing::writeFile(d / "other.pdf", {'x'});
                      fs::create_symlink(d / "other.pdf", d / "link.pdf");
                      return qPath(d / "link.pdf");
                  },
                  false}),
    [](const ::testing::TestParamInfo<GuardCase>& param) { return param.param.name; });

TEST_P(OverwriteGuard, RefusesOnlyTheSourceItself) {
    const QString source = openPdf({"one"});
    addManualRegions(1);
    const auto sourceBytes = testing::readFile(source.toStdString());
    desktop->answer = GetParam().chosen(dir.path());
    clearRecords();

    model->exportSecureCopy();
    if (GetParam().refused) {
        EXPECT_EQ(recorder.changes, QStringList{"errorMessage"});
        EXPECT_EQ(model->errorMessage(), kOverwriteMessage);
        EXPECT_EQ(backgroundTaskCount(), 0u);
        EXPECT_EQ(desktop->asked.size(), 1u) << "the dialog is not shown again";
    } else {
        waitForWorkers();
        EXPECT_EQ(model->statusText(), QStringLiteral("Verification Passed"));
    }
    EXPECT_EQ(testing::readFile(source.toStdString()), sourceBytes);
}

// ---------------------------------------------------------------------------------------
// Scripted engine outcomes

void reportPages(const PageProgress& progress, std::int64_t pages) {
    for (std::int64_t page = 1; page <= pages; ++page) {
        progress(page, pages);
    }
}

struct FailureCase {
    const char* name;
    bool duringVerification;
    std::function<void()> raise;
    std::string message;
};

class ExportFailure : public CommandsTest, public ::testing::WithParamInterface<FailureCase> {};

INSTANTIATE_TEST_SUITE_P(
    Errors, ExportFailure,
    ::testing::Values(
        FailureCase{"ExportFailed", false, [] { throw RedactionError::exportFailed(); },
                    "The secure redacted PDF could not be created."},
        FailureCase{"OtherErrorWhileExporting", false, [] { throw std::runtime_error("No space left on device"); },
                    "No space left on device"},
        FailureCase{"VerificationFailed", true, [] { throw RedactionError::outputVerificationFailed(); },
                    "The exported PDF was created but verification could not complete."},
        FailureCase{"RecogniserFailed", true, [] { throw OcrError("Text recognition could not load its language data."); },
                    "Text recognition could not load its language data."}),
    [](const ::testing::TestParamInfo<FailureCase>& param) { return param.param.name; });

TEST_P(ExportFailure, ShowsTheMessageAndKeepsTheLastOutput) {
    ScopedEngine engine;
    bool fail = false;
    engine->exportSecurePDF = [&](const SharedPdfDocument&, const std::vector<RedactionRegion>&, const fs::path&, bool,
                                  const PageProgress& progress, std::stop_token) {
        reportPages(progress, 1);
        if (fail && !GetParam().duringVerification) {
            GetParam().raise();
        }
    };
    engine->verifyOutput = [&](const fs::path&, const std::vector<std::string>&, const PageProgress& progress,
                               std::stop_token) {
        reportPages(progress, 1);
        if (fail && GetParam().duringVerification) {
            GetParam().raise();
        }
        return ExportVerification(1, {});
    };
    openPdf({"one"});
    addManualRegions(1);
    desktop->answer = qPath(dir.file("first.pdf"));
    model->exportSecureCopy();
    waitForWorkers();
    ASSERT_EQ(model->outputURL(), qPath(dir.file("first.pdf")));

    fail = true;
    desktop->answer = qPath(dir.file("second.pdf"));
    const auto historyBefore = historySize();
    clearRecords();
    model->exportSecureCopy();
    waitForWorkers();

    EXPECT_EQ(model->errorMessage(), QString::fromStdString(GetParam().message));
    EXPECT_EQ(statuses.last(), QStringLiteral("Export failed"));
    EXPECT_EQ(recorder.changes.mid(recorder.changes.size() - 4),
              (QStringList{"errorMessage", "statusText", "progress", "isBusy"}));
    EXPECT_EQ(model->outputURL(), qPath(dir.file("first.pdf")));
    EXPECT_EQ(historySize(), historyBefore);
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->progress().has_value());
}

TEST_F(CommandsTest, ExportHandsTheEngineTheLabelAndTermsOfTheMomentItStarts) {
    ScopedEngine engine;
    std::optional<bool> labelUsed;
    std::vector<std::string> termsUsed;
    std::size_t regionsUsed = 0;
    engine->exportSecurePDF = [&](const SharedPdfDocument&, const std::vector<RedactionRegion>& regions, const fs::path&,
                                  bool label, const PageProgress&, std::stop_token) {
        labelUsed = label;
        regionsUsed = regions.size();
    };
    engine->verifyOutput = [&](const fs::path&, const std::vector<std::string>& terms, const PageProgress&,
                               std::stop_token) {
        termsUsed = terms;
        return ExportVerification(1, {"Smith"});
    };
    openPdf({"one"});
    const auto region = [](const char* text, RedactionSource source, double x) {
        return RedactionRegion{Uuid::random(), 0, PageRect{x, 10, 20, 20}, source,
                               text ? std::optional<std::string>(text) : std::nullopt};
    };
    model->setRedactions({region("Smith", RedactionSource::textSearch, 0), region("Smith", RedactionSource::ocr, 50),
                          region("  ", RedactionSource::textSearch, 100), region(" Smith ", RedactionSource::ocr, 150),
                          region(nullptr, RedactionSource::manual, 200)});
    desktop->answer = qPath(dir.file("out.pdf"));
    desktop->whileOpen = [&] { model->setLabelRedactions(true); };
    const auto historyBefore = historySize();
    onStatus(QString::fromUtf8("Creating secure redacted PDF\u2026"), [&] { model->setRedactions({}); });

    model->exportSecureCopy();
    waitForWorkers();

    EXPECT_EQ(labelUsed, true);
    EXPECT_EQ(regionsUsed, 5u) << "the snapshot taken when the export began";
    std::sort(termsUsed.begin(), termsUsed.end());
    EXPECT_EQ(termsUsed, (std::vector<std::string>{" Smith ", "Smith"}));
    EXPECT_EQ(model->statusText(), QStringLiteral("Needs Review"));
    ASSERT_EQ(historySize(), historyBefore + 1);
    EXPECT_FALSE(RecentRedactionStore::shared().records().front().verificationPassed);
    EXPECT_EQ(RecentRedactionStore::shared().records().front().redactionCount, 5);
}

TEST_F(CommandsTest, OcrFailureShowsTheErrorAndKeepsTheLastPageStatus) {
    ScopedEngine engine;
    engine->ocrMatches = [](const SharedPdfDocument&, const std::string&, const PageProgress& progress,
                            std::stop_token) -> std::vector<RedactionSearchResult> {
        progress(1, 2);
        throw OcrError("Text recognition is not available: no language data is installed.");
    };
    openPdf({"one", "two"});
    model->setSearchText(QStringLiteral("x"));
    clearRecords();
    model->findWithOCR();
    waitForWorkers();

    EXPECT_EQ(model->errorMessage(), QStringLiteral("Text recognition is not available: no language data is installed."));
    EXPECT_EQ(statuses, QStringList{"OCR 1 of 2"});
    EXPECT_TRUE(model->searchResults().empty());
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->progress().has_value());
    EXPECT_EQ(recorder.changes.mid(recorder.changes.size() - 3), (QStringList{"errorMessage", "progress", "isBusy"}));
}

// A search replaced by a newer one still writes its own ending when it gets there.
TEST_F(CommandsTest, AReplacedSearchStillEndsWhileTheNewOneRuns) {
    ScopedEngine engine;
    std::atomic<bool> releaseFirst = false;
    std::atomic<bool> releaseSecond = false;
    engine->ocrMatches = [&](const SharedPdfDocument&, const std::string& query, const PageProgress& progress,
                             std::stop_token stop) -> std::vector<RedactionSearchResult> {
        const bool first = query == "first";
        progress(1, first ? 2 : 3);
        auto& release = first ? releaseFirst : releaseSecond;
        while (!release) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        return {};
    };
    openPdf({"one"});
    model->setSearchText(QStringLiteral("first"));
    model->findWithOCR();
    spinUntil([&] { return model->statusText() == QStringLiteral("OCR 1 of 2"); });
    model->setSearchText(QStringLiteral("second"));
    model->findWithOCR();
    spinUntil([&] { return model->statusText() == QStringLiteral("OCR 1 of 3"); });
    ASSERT_TRUE(model->isBusy());

    releaseFirst = true;
    spinUntil([&] { return model->statusText() == QStringLiteral("OCR cancelled"); });
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->progress().has_value());
    ASSERT_TRUE(model->task());
    EXPECT_FALSE(model->task()->isCancelled()) << "the newer search is still the one in flight";

    releaseSecond = true;
    waitForWorkers();
    EXPECT_EQ(model->statusText(), QStringLiteral("0 OCR matches"));
}

// Closing the screen drops the model; the running task keeps it until it has ended.
TEST_F(CommandsTest, ARunningTaskKeepsItsModelAlive) {
    ScopedEngine engine;
    engine->ocrMatches = [](const SharedPdfDocument&, const std::string&, const PageProgress& progress,
                            std::stop_token) -> std::vector<RedactionSearchResult> {
        reportPages(progress, 3);
        return {};
    };
    openPdf({"one"});
    model->setSearchText(QStringLiteral("x"));
    model->findWithOCR();
    std::weak_ptr<RedactionViewModel> weak = model;
    QThread* destroyedOn = nullptr;
    QObject::connect(model.get(), &QObject::destroyed, [&] { destroyedOn = QThread::currentThread(); });
    model.reset();
    EXPECT_FALSE(weak.expired());
    waitForWorkers();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(destroyedOn, QThread::currentThread());
}

// Quitting the application while an export runs: the process ends promptly and cleanly.
void quitDuringExport() {
    testing::TempDir folder;
    const auto source = folder.file("big.pdf");
    testing::writeFile(source, testing::buildPdf(testing::textPages(std::vector<std::string>(40, "page"))));
    auto model = RedactionViewModel::create();
    auto desktop = std::make_shared<ScriptedDesktop>();
    desktop->answer = qPath(folder.file("out.pdf"));
    model->setDesktopServices(desktop);
    model->open(qPath(source));
    model->addManual(0, PageRect{10, 10, 50, 50});
    QObject::connect(model.get(), &RedactionViewModel::statusTextChanged, [&] {
        if (model->statusText() == QStringLiteral("Exporting page 2 of 40")) {
            QCoreApplication::quit();
        }
    });
    model->exportSecureCopy();
    QCoreApplication::exec();
    const bool clean = backgroundTaskCount() == 0 && !fs::exists(folder.file("out.pdf"));
    std::_Exit(clean ? 0 : 1);
}

TEST(CommandsDeathTest, QuittingDuringAnExportEndsCleanly) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(quitDuringExport(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace norvane
