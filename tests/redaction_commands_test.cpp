// Drives the document model's search and export commands as the workspace does, recording
// every published change in order while the background work runs.

#include "engine/redaction_engine.h"
#include "engine/searchable_layer.h"
#include "model/redaction_view_model.h"
#include "model/task_runner.h"
#include "tests/support/change_recorder.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/scan_factory.h"
#include "tests/support/test_services.h"

#include <QCoreApplication>
#include <QThread>

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace norvane {
namespace {

using testing::ChangeRecorder;
using testing::waitForWorkers;
namespace fs = std::filesystem;

const QString kOverwriteMessage =
    QStringLiteral("Norvane will not overwrite the original PDF. Choose a different output name.");
const QString kCreating = QString::fromUtf8("Creating secure redacted PDF\u2026");

QString qPath(const fs::path& path) {
    return QString::fromStdString(path.string());
}

// Calls through to `calls`, so a test can swap one after the model has taken its services.
EngineCalls forwardedTo(const EngineCalls& calls) {
    return EngineCalls{[&calls](const auto&... a) { return calls.openDocument(a...); },
                       [&calls](const auto&... a) { return calls.nativeTextMatches(a...); },
                       [&calls](const auto&... a) { return calls.nativePatternMatches(a...); },
                       [&calls](const auto&... a) { return calls.ocrMatches(a...); },
                       [&calls](const auto&... a) { return calls.ocrPatternMatches(a...); },
                       [&calls](const auto&... a) { return calls.exportSecurePDF(a...); },
                       [&calls](const auto&... a) { return calls.verifyOutput(a...); },
                       [&calls](const auto&... a) { return calls.inspect(a...); }};
}

class CommandsTest : public ::testing::Test {
protected:
    void SetUp() override {
        // Three pages, the query found on the first and the last; stops between pages when cancelled.
        engine.ocrMatches = [this](const auto&, const std::string& query, const RecognitionOptions&,
                                   const auto& progress, std::stop_token stop) {
            for (std::int64_t page = 1; page <= 3; ++page) {
                if (stop.stop_requested()) throw CancellationError();
                progress(page, 3);
                if (ocrFailure) throw OcrError(ocrFailure);
            }
            const auto found = [&](std::int64_t page) {
                return RedactionSearchResult{Uuid::random(), page, {72, 700, 40, 12}, query, RedactionSource::ocr};
            };
            return SearchOutcome{{found(0), found(2)}, {}};
        };
        auto* observed = model.get();  // the test may drop its reference while a task runs
        QObject::connect(observed, &RedactionViewModel::statusTextChanged,
                         [this, observed] { statuses << observed->statusText(); });
        QObject::connect(observed, &RedactionViewModel::progressChanged,
                         [this, observed] { progresses.push_back(observed->progress()); });
    }
    void TearDown() override { waitForWorkers(); }

    QString openPdf(const std::vector<std::string>& pageTexts, const std::string& name = "contract.pdf") {
        testing::writeFile(dir.file(name), testing::buildPdf(testing::textPages(pageTexts)));
        model->open(qPath(dir.file(name)));
        EXPECT_TRUE(model->document());
        waitForWorkers();  // the inspection opening starts
        return qPath(dir.file(name));
    }
    // Runs `action` once, the first time the status reads `status`.
    void onStatus(const QString& status, std::function<void()> action) {
        auto fired = std::make_shared<bool>(false);
        QObject::connect(model.get(), &RedactionViewModel::statusTextChanged, model.get(), [=, this] {
            if (!*fired && model->statusText() == status) {
                *fired = true;
                action();
            }
        });
    }
    void cancelAt(const char* status) {
        onStatus(QString::fromUtf8(status), [this] {
            model->cancel();
            busyAfterCancel = model->isBusy();
        });
    }
    void clearRecords() {
        recorder.changes.clear();
        statuses.clear();
        progresses.clear();
    }
    const RecentRedactionRecordList& history() const { return services.history->records(); }

    testing::TempDir dir;
    EngineCalls engine;
    const char* ocrFailure = nullptr;
    testing::TestServices services{std::nullopt, forwardedTo(engine)};
    testing::ScriptedDesktop& desktop = *services.desktop;
    std::shared_ptr<RedactionViewModel> model = RedactionViewModel::create(services.shared);
    ChangeRecorder recorder{model.get()};
    QStringList statuses;
    std::vector<std::optional<double>> progresses;
    bool busyAfterCancel = false;
};

// ---- Search ----

// The text search runs off the window's thread like the others, and says which pages it could
// not read instead of passing over them.
TEST_F(CommandsTest, FindTextRunsAsATaskAndNamesThePagesItCouldNotRead) {
    model->findNativeText();
    EXPECT_TRUE(recorder.changes.isEmpty()) << "no document: nothing happens";

    openPdf({"Agreement with Smith", "Nothing here", "Signed: SMITH"});
    model->setSearchText(QStringLiteral("smith"));
    clearRecords();
    model->findNativeText();
    EXPECT_TRUE(model->isBusy());
    waitForWorkers();
    EXPECT_EQ(recorder.changes.mid(recorder.changes.size() - 4),
              (QStringList{"searchResults", "statusText", "progress", "isBusy"}));
    EXPECT_EQ(model->searchResults().size(), 2u);
    EXPECT_EQ(model->statusText(), QStringLiteral("2 text matches"));
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->errorMessage());

    engine.nativeTextMatches = [](const auto&...) {
        return SearchOutcome{{}, {{1, PageFailure::outOfMemory}, {2, PageFailure::unparsable}}};
    };
    model->setSearchText(QStringLiteral("  \n "));
    model->findNativeText();
    waitForWorkers();
    EXPECT_TRUE(model->searchResults().empty());
    EXPECT_EQ(model->statusText(), QStringLiteral("0 text matches"));
    EXPECT_EQ(model->errorMessage(),
              QStringLiteral("Page 2 could not be searched. It needs more memory than is available.\n"
                             "Page 3 could not be searched. Its content could not be parsed."));
    EXPECT_FALSE(model->isBusy());
}

// Only the task still current may end things: a search cancelled by a newer one keeps quiet, so
// busy stays on until the newer one ends.
TEST_F(CommandsTest, AReplacedTaskLeavesTheStateToItsReplacement) {
    engine.ocrMatches = [](const auto&, const std::string& query, const RecognitionOptions&, const auto& progress,
                           std::stop_token stop) {
        progress(1, 2);
        if (query == "first") {
            while (!stop.stop_requested())
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            throw CancellationError();
        }
        while (backgroundTaskCount() > 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));  // first ended
        progress(2, 2);
        return SearchOutcome{};
    };
    std::vector<bool> busy;
    QObject::connect(model.get(), &RedactionViewModel::isBusyChanged, [&] { busy.push_back(model->isBusy()); });
    openPdf({"one"});
    model->setSearchText(QStringLiteral("first"));
    model->findWithOCR();
    model->setSearchText(QStringLiteral("second"));
    clearRecords();
    busy.clear();
    model->findWithOCR();
    waitForWorkers();
    EXPECT_EQ(statuses, (QStringList{"OCR 1 of 2", "OCR 2 of 2", "0 OCR matches"}));
    EXPECT_EQ(busy, (std::vector{false, true, false}));
}

struct OcrEnding {
    friend void PrintTo(const OcrEnding& c, std::ostream* os) { *os << c.name; }
    const char* name;
    const char* cancelAt;  // null: not cancelled
    const char* failure;   // thrown by the recogniser after the first page
    QStringList statuses;
    std::size_t results;
};

class OcrEndings : public CommandsTest, public ::testing::WithParamInterface<OcrEnding> {};

INSTANTIATE_TEST_SUITE_P(
    Scripted, OcrEndings,
    ::testing::Values(
        OcrEnding{"Completed", nullptr, nullptr, {"OCR 1 of 3", "OCR 2 of 3", "OCR 3 of 3", "2 OCR matches"}, 2},
        OcrEnding{"CancelledWhileRecognising", "OCR 1 of 3", nullptr, {"OCR 1 of 3", "OCR cancelled"}, 0},
        // The recogniser has already finished: its results are dropped, silently.
        OcrEnding{"CancelRacingCompletion", "OCR 3 of 3", nullptr, {"OCR 1 of 3", "OCR 2 of 3", "OCR 3 of 3"}, 0},
        OcrEnding{"RecogniserFails", nullptr, "no language data", {"OCR 1 of 3"}, 0}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_P(OcrEndings, EndNotBusyWithTheirOwnStatus) {
    ocrFailure = GetParam().failure;
    openPdf({"one"});
    model->setSearchText(QStringLiteral("Smith"));
    if (GetParam().cancelAt) cancelAt(GetParam().cancelAt);
    clearRecords();
    model->findWithOCR();
    EXPECT_TRUE(model->isBusy());
    model->setSearchText(QStringLiteral("changed while running"));
    waitForWorkers();

    EXPECT_EQ(statuses, GetParam().statuses);
    ASSERT_EQ(model->searchResults().size(), GetParam().results);
    if (GetParam().results) {
        EXPECT_EQ(model->searchResults()[0].text, "Smith") << "the query taken at the start";
        EXPECT_EQ(progresses,
                  (std::vector<std::optional<double>>{std::nullopt, 0.0, 1.0 / 3, 2.0 / 3, 1.0, std::nullopt}));
    }
    EXPECT_FALSE(busyAfterCancel);
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->progress().has_value());
    EXPECT_EQ(model->errorMessage(),
              GetParam().failure ? std::optional(QString::fromUtf8(GetParam().failure)) : std::nullopt);
}

// A pattern's text-layer hits come at once; with OCR included they stay while the recogniser
// adds its own after them. Even-width boxes are what the canvas shows and the export draws.
TEST_F(CommandsTest, PatternHitsGatherBothReadingsAndEvenWidthBoxesReachTheExport) {
    engine.ocrPatternMatches =
        [](const auto&, PatternPreset preset, const RecognitionOptions&, const auto& progress, std::stop_token) {
        progress(1, 1);
        EXPECT_EQ(preset, PatternPreset::email);
        return SearchOutcome{
            {RedactionSearchResult{Uuid::random(), 0, {72, 500, 90, 14}, "b@example.org", RedactionSource::ocr}}, {}};
    };
    std::vector<RedactionRegion> exported;
    engine.exportSecurePDF = [&](const auto&, const std::vector<RedactionRegion>& regions, const auto&...) {
        exported = regions;
        return SharedRecognisedCopy();
    };
    openPdf({"Mail a@example.org today"});
    model->findPattern(PatternPreset::email, false);
    waitForWorkers();
    ASSERT_EQ(model->searchResults().size(), 1u);
    EXPECT_EQ(model->searchResults()[0].text, "a@example.org");
    EXPECT_EQ(model->statusText(), QStringLiteral("1 text matches"));

    model->findPattern(PatternPreset::email, true);
    waitForWorkers();
    ASSERT_EQ(model->searchResults().size(), 2u);
    EXPECT_EQ(model->searchResults()[1].text, "b@example.org");
    EXPECT_EQ(model->statusText(), QString::fromUtf8("1 text matches \u00B7 1 OCR matches"));

    model->addAllSearchResults();
    model->setEvenWidthBoxes(true);
    const RegionList shown = model->exportedRedactions();
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_NE(shown[1].rect, model->redactions()[1].rect);
    EXPECT_EQ(std::fmod(shown[1].rect.width, 3 * shown[1].rect.height), 0.0);
    desktop.answer = qPath(dir.file("out.pdf"));
    model->exportSecureCopy();
    waitForWorkers();
    ASSERT_EQ(exported.size(), shown.size());
    for (std::size_t i = 0; i < shown.size(); ++i)
        EXPECT_EQ(exported[i].rect, shown[i].rect);
}

// With OCR included, the recogniser reading again what a text hit holds (the same text, any
// case, at the same place) adds no second hit: one hit per place, the text layer's.
TEST_F(CommandsTest, OcrHitsAtATextHitsPlaceAreNotAddedTwice) {
    const PageRect word{72, 500, 90, 14};
    const auto shifted = [&](double dx, double dy, double grow = 0) {
        return PageRect{word.x + dx - grow, word.y + dy - grow, word.width + 2 * grow, word.height + 2 * grow};
    };
    const struct {
        const char* name;
        std::vector<std::tuple<std::int64_t, PageRect, std::string>> read;
        std::size_t added;
    } cases[] = {
        {"same box", {{0, word, "a@example.org"}}, 0},
        {"a few points off", {{0, shifted(4, -2), "a@example.org"}}, 0},
        {"tighter, inside", {{0, shifted(0, 0, -4), "a@example.org"}}, 0},
        {"other case", {{0, word, "A@Example.ORG"}}, 0},
        {"a misread one", {{0, word, "a@examp1e.org"}}, 0},
        {"other page", {{1, word, "a@example.org"}}, 1},
        {"other term", {{0, word, "b@example.org"}}, 1},
        {"half off", {{0, shifted(50, 0), "a@example.org"}}, 1},
        {"larger, around it", {{0, shifted(0, 0, 40), "a@example.org"}}, 1},
        {"two readings of one hit", {{0, word, "a@example.org"}, {0, shifted(1, 1), "a@example.org"}}, 1},
    };
    openPdf({"Mail a@example.org today", "Nothing"});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        engine.nativePatternMatches = [&](const auto&...) {
            return SearchOutcome{{{Uuid::random(), 0, word, "a@example.org", RedactionSource::textSearch}}, {}};
        };
        engine.ocrPatternMatches =
            [&](const auto&, PatternPreset, const RecognitionOptions&, const auto&, std::stop_token) {
            SearchOutcome read;
            for (const auto& [page, rect, text] : c.read)
                read.results.push_back({Uuid::random(), page, rect, text, RedactionSource::ocr});
            return read;
        };
        model->findPattern(PatternPreset::email, true);
        waitForWorkers();
        ASSERT_EQ(model->searchResults().size(), 1 + c.added);
        EXPECT_EQ(model->searchResults()[0].source, RedactionSource::textSearch);
        EXPECT_EQ(model->statusText(), QString::fromUtf8("1 text matches \u00B7 %1 OCR matches").arg(c.added));
    }
}

// ---- Export on the real engine ----

// A second export, cancelled or failing, after one that succeeded.
struct ExportEnding {
    friend void PrintTo(const ExportEnding& c, std::ostream* os) { *os << c.name; }
    const char* name;
    const char* cancelAt;  // null: not cancelled
    bool failWhileVerifying;
    std::function<void()> raise;  // null: nothing fails
    const char* finalStatus;
    const char* error = nullptr;
    bool fileWritten = false;
    bool published = false;
};

class ExportEndings : public CommandsTest, public ::testing::WithParamInterface<ExportEnding> {};

INSTANTIATE_TEST_SUITE_P(
    Steps, ExportEndings,
    ::testing::Values(
        ExportEnding{"CancelBeforeTheFirstPage", "Creating secure redacted PDF\u2026", false, {}, "Export cancelled"},
        ExportEnding{"CancelWhileExporting", "Exporting page 1 of 3", false, {}, "Export cancelled"},
        // After the last page the file is complete: the task ends without a word.
        ExportEnding{
            "CancelBetweenTheSteps", "Exporting page 3 of 3", false, {}, "Exporting page 3 of 3", nullptr, true},
        ExportEnding{"CancelWhileVerifying", "Verifying page 1 of 3", false, {}, "Export cancelled", nullptr, true},
        // A verification that has returned is always published.
        ExportEnding{
            "CancelRacingCompletion", "Verifying page 3 of 3", false, {}, "Verification Passed", nullptr, true, true},
        ExportEnding{"ExportFails", nullptr, false, [] { throw RedactionError::exportFailed(); }, "Export failed",
                     "The secure redacted PDF could not be created."},
        ExportEnding{"OtherErrorWhileExporting", nullptr, false, [] { throw std::runtime_error("No space left"); },
                     "Export failed", "No space left"},
        ExportEnding{"VerificationFails", nullptr, true, [] { throw RedactionError::outputVerificationFailed(); },
                     "Export failed", "The exported PDF was created but verification could not complete.", true},
        ExportEnding{"RecogniserFails", nullptr, true, [] { throw OcrError("no language data"); }, "Export failed",
                     "no language data", true}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_P(ExportEndings, KeepTheLastOutputUnlessTheirOwnIsVerified) {
    const ExportEnding& c = GetParam();
    bool armed = false;
    engine.exportSecurePDF = [&](const auto&... a) {
        if (armed && c.raise && !c.failWhileVerifying) c.raise();
        return RedactionEngine::exportSecurePDF(a...);
    };
    engine.verifyOutput = [&](const auto&... a) {
        if (armed && c.raise && c.failWhileVerifying) c.raise();
        return RedactionEngine::verifyOutput(a...);
    };
    openPdf({"Smith one", "Smith two", "Smith three"});
    model->setSearchText(QStringLiteral("Smith"));
    model->findNativeText();
    waitForWorkers();
    model->addAllSearchResults();
    desktop.answer = qPath(dir.file("first.pdf"));
    clearRecords();
    model->exportSecureCopy();
    waitForWorkers();

    // The first runs every step, checks its terms are gone and is recorded.
    EXPECT_EQ(statuses,
              (QStringList{kCreating, "Exporting page 1 of 3", "Exporting page 2 of 3", "Exporting page 3 of 3",
                           QString::fromUtf8("Verifying redacted output\u2026"), "Verifying page 1 of 3",
                           "Verifying page 2 of 3", "Verifying page 3 of 3", "Verification Passed"}));
    EXPECT_EQ(progresses, (std::vector<std::optional<double>>{std::nullopt, 0.0, 1.0 / 3, 2.0 / 3, 1.0, 1.0 / 3,
                                                              2.0 / 3, 1.0, std::nullopt}));
    ASSERT_EQ(model->outputURL(), desktop.answer);
    ASSERT_EQ(history().size(), 1u);
    const auto& r = history()[0];
    EXPECT_EQ(std::tuple(r.sourceName, r.outputPath, r.pageCount, r.redactionCount, r.verificationPassed),
              std::tuple(QStringLiteral("contract.pdf"), *desktop.answer, 3, 3, true));

    armed = true;
    const auto output = dir.file("secure.pdf");
    desktop.answer = qPath(output);
    if (c.cancelAt) cancelAt(c.cancelAt);
    clearRecords();
    model->exportSecureCopy();
    waitForWorkers();

    EXPECT_FALSE(busyAfterCancel);
    EXPECT_EQ(statuses.last(), QString::fromUtf8(c.finalStatus));
    EXPECT_EQ(model->errorMessage(), c.error ? std::optional(QString::fromUtf8(c.error)) : std::nullopt);
    if (c.error) {
        EXPECT_EQ(recorder.changes.mid(recorder.changes.size() - 4),
                  (QStringList{"errorMessage", "statusText", "progress", "isBusy"}));
    }
    EXPECT_EQ(fs::exists(output), c.fileWritten);
    EXPECT_EQ(model->outputURL(), qPath(c.published ? output : dir.file("first.pdf")));
    EXPECT_EQ(model->verification().has_value(), c.published);
    EXPECT_EQ(history().size(), c.published ? 2u : 1u);
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->progress().has_value());
    EXPECT_EQ(model->redactions().size(), 3u);
    for (const auto& entry : fs::directory_iterator(dir.path())) {
        const auto name = entry.path().filename().string();
        EXPECT_TRUE(name == "contract.pdf" || name == "first.pdf" || name == "secure.pdf") << "left behind: " << name;
    }
}

// ---- Inspection ----

InspectionFinding hidden(InspectionKind kind, std::int64_t page, std::optional<PageRect> rect = std::nullopt) {
    return InspectionFinding{kind, page, rect, 9, std::nullopt, {}};
}

void waitUntil(const std::function<bool()>& done) {
    while (!done()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

// Opening starts the inspection, after the open and beside the one task: it leaves the session
// idle, and neither a search nor Cancel stops it or waits for it.
TEST_F(CommandsTest, TheInspectionRunsBesideSearchesWithoutMakingTheSessionBusy) {
    std::atomic<bool> release = false;
    std::atomic<int> calls = 0;
    const std::vector found{hidden(InspectionKind::comment, 0, PageRect{72, 700, 20, 20})};
    engine.inspect = [&](const SharedPdfDocument& document, const InspectionOptions& options, const PageProgress&,
                         std::stop_token stop) {
        ++calls;
        EXPECT_EQ(document->pageCount(), 3);
        EXPECT_FALSE(options.withText);
        EXPECT_EQ(options.recognition.languages, "deu");
        while (!release && !stop.stop_requested())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (stop.stop_requested()) throw CancellationError();
        return found;
    };
    model->setRecognitionLanguages(QStringLiteral("deu"));
    testing::writeFile(dir.file("doc.pdf"), testing::buildPdf(testing::textPages({"Smith", "two", "three"})));
    model->open(qPath(dir.file("doc.pdf")));
    EXPECT_EQ(model->inspection().state, DocumentInspection::State::running);
    EXPECT_FALSE(model->isBusy());
    EXPECT_EQ(model->task(), nullptr);
    EXPECT_EQ(model->statusText(), QStringLiteral("3 pages loaded"));

    model->setSearchText(QStringLiteral("Smith"));
    model->findNativeText();
    waitUntil([&] { return !model->isBusy(); });
    model->cancel();
    EXPECT_EQ(model->searchResults().size(), 1u);
    EXPECT_EQ(model->inspection().state, DocumentInspection::State::running);

    release = true;
    waitForWorkers();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(model->inspection().state, DocumentInspection::State::done);
    EXPECT_EQ(model->inspection().findings, found);
    EXPECT_EQ(model->statusText(), QStringLiteral("1 text matches")) << "the inspection says nothing there";
    const auto document = model->document();
    model->open(qPath(dir.file("missing.pdf")));
    EXPECT_EQ(model->document(), document);
    EXPECT_EQ(calls, 1) << "a refused file keeps the document and what was found in it";
    EXPECT_EQ(model->inspection().findings, found);
}

// What an inspection finds belongs to the document it read: one that ends after another
// document was opened, or after its own was closed, changes nothing. A failure is said.
TEST_F(CommandsTest, AnInspectionEndingAfterItsDocumentWentIsIgnoredAndAFailureIsSaid) {
    using State = DocumentInspection::State;
    for (const bool reopen : {true, false}) {
        SCOPED_TRACE(reopen ? "another document" : "closed");
        std::atomic<bool> release = false;
        engine.inspect = [&](const SharedPdfDocument& document, const auto&, const auto&, std::stop_token) {
            if (document->pageCount() == 2) {  // the first document's, ending however late it was stopped
                while (!release)
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                return std::vector{hidden(InspectionKind::coveredText, 1, PageRect{72, 600, 100, 14})};
            }
            return std::vector<InspectionFinding>{};
        };
        testing::writeFile(dir.file("first.pdf"), testing::buildPdf(testing::textPages({"one", "two"})));
        model->open(qPath(dir.file("first.pdf")));
        ASSERT_EQ(model->inspection().state, State::running);
        if (reopen) {
            testing::writeFile(dir.file("second.pdf"), testing::buildPdf(testing::textPages({"one"})));
            model->open(qPath(dir.file("second.pdf")));
            waitUntil([&] { return model->inspection().state == State::done; });
        } else {
            model->clearDocument();
        }
        release = true;
        waitForWorkers();
        EXPECT_EQ(model->inspection().state, reopen ? State::done : State::notStarted);
        EXPECT_TRUE(model->inspection().findings.empty());
    }

    const struct {
        std::function<void()> fail;
        std::string said;
    } failures[] = {
        {[] { throw RedactionError::cannotOpenPDF(); }, RedactionError::cannotOpenPDF().errorDescription()},
        {[] { throw std::bad_alloc(); }, "This PDF could not be inspected."},
    };
    for (const auto& f : failures) {
        engine.inspect = [&](const auto&...) -> std::vector<InspectionFinding> {
            f.fail();
            return {};
        };
        openPdf({"one"});
        EXPECT_EQ(model->inspection().state, State::failed);
        EXPECT_EQ(model->inspection().failure, f.said);
        EXPECT_FALSE(model->errorMessage()) << "the workspace goes on";
    }
}

// Redact covers covered text only, once, and selects its page; Redact All adds every covered
// place that is not pending yet, and undo takes back the last of them.
TEST_F(CommandsTest, RedactingCoveredTextAddsEachPlaceOnce) {
    const PageRect underBox{72, 600, 120, 14};
    const std::vector findings{
        hidden(InspectionKind::metadata, -1),
        hidden(InspectionKind::failedRedaction, 0, underBox),
        hidden(InspectionKind::coveredText, 2, PageRect{300, 500, -80, -14}),
        hidden(InspectionKind::coveredText, 2, PageRect{222, 488, 76, 12}),  // inside the one before
        hidden(InspectionKind::comment, 1, PageRect{10, 10, 20, 20}),
        hidden(InspectionKind::coveredText, 1),                          // no place
        hidden(InspectionKind::coveredText, 7, PageRect{0, 0, 50, 50}),  // past the last page
        hidden(InspectionKind::coveredText, 1, PageRect{400, 100, 60, 12}),
    };
    engine.inspect = [&](const auto&...) { return findings; };
    openPdf({"one", "two", "three"});
    ASSERT_EQ(model->inspection().findings, findings);
    model->addManual(0, PageRect{70, 598, 124, 18});
    const auto places = [&] {
        std::vector<std::pair<std::int64_t, PageRect>> shown;
        for (const RedactionRegion& region : model->redactions()) {
            EXPECT_FALSE(region.matchedText);
            shown.emplace_back(region.pageIndex, region.rect);
        }
        return shown;
    };
    using Places = std::vector<std::pair<std::int64_t, PageRect>>;
    const PageRect drawn{70, 598, 124, 18};

    model->setVerification(ExportVerification(3, {}));
    for (const std::size_t nothing : {0u, 4u, 5u, 6u}) {
        model->redactInspectionFinding(findings[nothing]);
    }
    EXPECT_EQ(places(), (Places{{0, drawn}}));
    EXPECT_TRUE(model->verification()) << "nothing was added";

    model->redactInspectionFinding(findings[2]);
    model->redactInspectionFinding(findings[2]);
    EXPECT_EQ(places(), (Places{{0, drawn}, {2, PageRect{220, 486, 80, 14}}}));
    EXPECT_EQ(model->selectedPageIndex(), 2);
    EXPECT_FALSE(model->verification());

    model->redactAllCoveredText();
    EXPECT_EQ(places(), (Places{{0, drawn}, {2, PageRect{220, 486, 80, 14}}, {1, PageRect{400, 100, 60, 12}}}));
    EXPECT_EQ(model->redactions().back().source, RedactionSource::manual);
    EXPECT_EQ(model->selectedPageIndex(), 1);
    model->undoLast();
    EXPECT_EQ(places(), (Places{{0, drawn}, {2, PageRect{220, 486, 80, 14}}}));
}

// ---- Before any work starts ----

TEST_F(CommandsTest, ExportAsksForATargetOnlyWithRegionsAndDismissingChangesNothing) {
    model->exportSecureCopy();
    EXPECT_TRUE(recorder.changes.isEmpty());
    openPdf({"one"});
    clearRecords();
    model->exportSecureCopy();
    EXPECT_EQ(recorder.changes, QStringList{"errorMessage"});
    EXPECT_EQ(model->errorMessage(), QStringLiteral("Add at least one redaction before exporting."));
    EXPECT_TRUE(desktop.asked.empty());

    const std::pair<const char*, const char*> names[] = {{"Report.final.pdf", "Report.final-redacted.pdf"},
                                                         {"scan.PDF", "scan-redacted.pdf"},
                                                         {"no-extension", "no-extension-redacted.pdf"},
                                                         {"caf\xc3\xa9 notes.pdf", "caf\xc3\xa9 notes-redacted.pdf"}};
    for (const auto& [source, proposed] : names) {
        openPdf({"one"}, source);
        model->addManual(0, PageRect{60, 700, 200, 40});
        clearRecords();
        model->exportSecureCopy();
        EXPECT_EQ(desktop.asked.back(), std::pair(QString::fromUtf8(proposed), qPath(dir.path())));
        EXPECT_TRUE(recorder.changes.isEmpty());
        EXPECT_EQ(backgroundTaskCount(), 0u);
    }
}

// Links and hard links of the source are the command line's to prove; here the model must
// refuse before any work starts, and not over-refuse a name that only differs in case.
TEST_F(CommandsTest, ExportRefusesOnlyTheSourceItself) {
    const QString source = openPdf({"one"});
    model->addManual(0, PageRect{60, 700, 200, 40});
    const auto sourceBytes = testing::readFile(source.toStdString());
    desktop.answer = qPath(dir.path()) + QStringLiteral("/a/b/../../contract.pdf");
    clearRecords();
    model->exportSecureCopy();
    EXPECT_EQ(recorder.changes, QStringList{"errorMessage"});
    EXPECT_EQ(model->errorMessage(), kOverwriteMessage);
    EXPECT_EQ(backgroundTaskCount(), 0u);

    desktop.answer = qPath(dir.file("Contract.pdf"));
    model->exportSecureCopy();
    waitForWorkers();
    EXPECT_EQ(model->statusText(), QStringLiteral("Verification Passed"));
    EXPECT_EQ(desktop.asked.size(), 2u);
    EXPECT_EQ(testing::readFile(source.toStdString()), sourceBytes);
}

// Every term searched is checked in the copy, found or not, and every pattern used is run again;
// the regions' matched strings join them. A searchable copy is read with the languages and terms
// verification uses, and what the export read is handed to verification.
TEST_F(CommandsTest, ExportHandsTheEngineTheSwitchesAndTermsOfTheMomentItStarts) {
    std::optional<ExportOptions> optionsUsed;
    const auto readByExport = std::make_shared<const RecognisedCopy>();
    SharedRecognisedCopy handedToVerification;
    std::vector<std::string> termsUsed;
    std::vector<PatternPreset> patternsUsed;
    std::string languagesUsed;
    std::size_t regionsUsed = 0;
    engine.exportSecurePDF = [&](const SharedPdfDocument&, const std::vector<RedactionRegion>& regions, const fs::path&,
                                 const ExportOptions& options, const PageProgress&, std::stop_token) {
        optionsUsed = options;
        regionsUsed = regions.size();
        return readByExport;
    };
    engine.verifyOutput =
        [&](const fs::path&, const VerificationRequest& request, const PageProgress&, std::stop_token) {
        handedToVerification = request.recognisedCopy;
        termsUsed = request.terms;
        patternsUsed = request.patterns;
        languagesUsed = request.recognition.languages;
        return ExportVerification(1, {"Smith"});
    };
    openPdf({"one"});
    for (const char* query : {"Nobody", "  ", "Smith"}) {
        model->setSearchText(QString::fromUtf8(query));
        model->findNativeText();
        waitForWorkers();
    }
    model->findPattern(PatternPreset::email, false);
    waitForWorkers();
    model->setRecognitionLanguages(QStringLiteral("deu+eng"));
    RegionList regions;
    for (const char* text : {"Smith", "Smith", "  ", " Smith ", static_cast<const char*>(nullptr)}) {
        regions.push_back({Uuid::random(), 0, PageRect{10.0 * static_cast<double>(regions.size()), 10, 5, 5},
                           text ? RedactionSource::ocr : RedactionSource::manual,
                           text ? std::optional<std::string>(text) : std::nullopt});
    }
    model->setRedactions(regions);
    desktop.answer = qPath(dir.file("out.pdf"));
    desktop.whileOpen = [&] {
        model->setLabelRedactions(true);
        model->setSearchableCopy(true);
    };
    onStatus(kCreating, [&] { model->setRedactions({}); });

    model->exportSecureCopy();
    waitForWorkers();

    ASSERT_TRUE(optionsUsed);
    EXPECT_TRUE(optionsUsed->labelRedactions);
    EXPECT_TRUE(optionsUsed->searchable);
    EXPECT_EQ(optionsUsed->recognition.languages, "deu+eng");
    EXPECT_EQ(optionsUsed->terms, termsUsed);
    EXPECT_EQ(handedToVerification, readByExport);
    EXPECT_EQ(regionsUsed, 5u) << "the snapshot taken when the export began";
    std::sort(termsUsed.begin(), termsUsed.end());
    EXPECT_EQ(termsUsed, (std::vector<std::string>{" Smith ", "Nobody", "Smith"}));
    EXPECT_EQ(patternsUsed, std::vector{PatternPreset::email});
    EXPECT_EQ(languagesUsed, "deu+eng");
    EXPECT_EQ(model->statusText(), QStringLiteral("Needs Review"));
    ASSERT_EQ(history().size(), 1u);
    EXPECT_FALSE(history()[0].verificationPassed);
    EXPECT_EQ(history()[0].redactionCount, 5);
}

// A hit the user did not add is read again in the copy; its finding goes back onto the
// source page (offset and turned here), and the second export passes.
TEST_F(CommandsTest, RedactRemainingClosesWhatTheFirstExportMissed) {
    engine.ocrMatches = RedactionEngine::ocrMatches;
    engine.exportSecurePDF = RedactionEngine::exportSecurePDF;
    engine.verifyOutput = RedactionEngine::verifyOutput;
    std::vector<testing::ScanPage> pages;
    for (const char* line : {"Payee Harrington", "Countersigned by Harrington"}) {
        pages.push_back(
            {testing::PageSpec{.mediaBox = {40, 60, 612, 792}, .texts = {testing::TextRun{line, 100, 700, 14}}}, 90});
    }
    testing::writeFile(dir.file("scan.pdf"), testing::buildScannedPdf(pages));
    model->open(qPath(dir.file("scan.pdf")));
    model->setSearchText(QStringLiteral("Harrington"));
    model->findWithOCR();
    waitForWorkers();
    ASSERT_EQ(model->searchResults().size(), 2u);
    model->addSearchResult(model->searchResults()[0]);
    desktop.answer = qPath(dir.file("first.pdf"));
    model->exportSecureCopy();
    waitForWorkers();

    EXPECT_EQ(model->statusText(), QStringLiteral("Needs Review"));
    const SearchResultList found = model->remainingFindings();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].pageIndex, 1);
    const testing::TextRun& missed = pages[1].source.texts[0];
    EXPECT_PRED2(testing::contains, found[0].rect,
                 testing::scannedRect(pages[1], testing::glyphBox(missed, "Harrington")));
    EXPECT_LT(std::max(found[0].rect.width, found[0].rect.height), 120) << "the word, not the page";

    model->redactRemaining();
    EXPECT_FALSE(model->verification());
    ASSERT_EQ(model->redactions().size(), 2u);
    EXPECT_EQ(std::tuple(model->redactions()[1].source, model->redactions()[1].matchedText),
              std::tuple(RedactionSource::ocr, std::optional<std::string>("Harrington")));
    model->redactRemaining();
    EXPECT_EQ(model->redactions().size(), 2u) << "nothing left to add";
    desktop.answer = qPath(dir.file("second.pdf"));
    model->exportSecureCopy();
    waitForWorkers();
    EXPECT_EQ(model->statusText(), QStringLiteral("Verification Passed"));
    EXPECT_TRUE(model->remainingFindings().empty());
}

// Closing the screen drops the model; the running task keeps it until it has ended.
TEST_F(CommandsTest, ARunningTaskKeepsItsModelAlive) {
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
    testing::TestServices services;
    services.desktop->answer = qPath(folder.file("out.pdf"));
    auto model = RedactionViewModel::create(services.shared);
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
