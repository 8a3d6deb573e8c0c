// The workspace screen driven like a person: choosing and dropping files, the queue and its
// guard, the one alert, the editing layout's enabled states, lists and verdict, and the
// quick guide's hover and popover rules.

#include "workspace/workspace_screen.h"

#include "ui/theme.h"
#include "ui/typography.h"
#include "canvas/page_canvas.h"
#include "model/engine_calls.h"
#include "tests/support/pdf_factory.h"
#include "workspace/editing_layout.h"
#include "workspace/inspector_panel.h"
#include "workspace/landing_view.h"
#include "workspace/page_sidebar.h"
#include "workspace/quick_guide_strip.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QEnterEvent>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>

#include <gtest/gtest.h>

namespace norvane {
namespace {

namespace fs = std::filesystem;
using testing::TempDir;

// Deferred deletions (closed faces, dismissed alerts) happen before the next look.
void settle() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

QString qpath(const fs::path& path) { return QString::fromStdString(path.string()); }

// History writes from exports land in a scratch folder, never the user's.
class ScratchHistory : public ::testing::Environment {
public:
    void SetUp() override { qputenv("XDG_DATA_HOME", QByteArray::fromStdString(dir.path().string())); }
    TempDir dir;
};
[[maybe_unused]] auto* const scratchHistory = ::testing::AddGlobalTestEnvironment(new ScratchHistory);

class Files {
public:
    QString pdf(const std::string& name, int pages = 3) {
        std::vector<std::string> lines;
        for (int i = 0; i < pages; ++i) lines.push_back("Page text " + std::to_string(i + 1));
        const auto path = dir.file(name);
        testing::writeFile(path, testing::buildPdf(testing::textPages(lines)));
        return qpath(path);
    }
    QString encrypted(const std::string& name) {
        auto spec = testing::textPages({"secret"});
        spec.ownerPassword = "owner";
        const auto path = dir.file(name);
        testing::writeFile(path, testing::buildPdf(spec));
        return qpath(path);
    }
    TempDir dir;
};

class WorkspaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        screen.resize(1320, 860);
        screen.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&screen));
    }

    RedactionViewModel& model() { return screen.model(); }
    EditingLayout* editing() {
        settle();
        return screen.findChild<EditingLayout*>();
    }
    QuickGuideStrip* strip() {
        settle();
        return screen.findChild<QuickGuideStrip*>();
    }
    LandingView* landing() { return screen.findChild<LandingView*>(); }
    QWidget* queueBar() { return screen.findChild<QWidget*>(QStringLiteral("queueBar")); }
    QString queueText() { return screen.findChild<QLabel*>(QStringLiteral("queueCount"))->text(); }
    void openNext() { QTest::mouseClick(screen.findChild<QPushButton*>(QStringLiteral("openNextPdf")), Qt::LeftButton); }
    QMessageBox* alert() {
        settle();
        for (auto* box : screen.findChildren<QMessageBox*>(QStringLiteral("workspaceAlert"))) {
            if (box->isVisible()) return box;
        }
        return nullptr;
    }
    void pressOK() {
        QMessageBox* box = alert();
        ASSERT_NE(box, nullptr);
        QTest::mouseClick(box->button(QMessageBox::Ok), Qt::LeftButton);
        settle();
    }
    QString openName() { return model().sourceURL() ? QFileInfo(*model().sourceURL()).fileName() : QString(); }
    void dragOnCanvas() {
        PageCanvas* canvas = editing()->canvas();
        const QPoint start = canvas->pageRectInViewport(0).center().toPoint();
        QTest::mousePress(canvas->viewport(), Qt::LeftButton, Qt::NoModifier, start);
        QTest::mouseMove(canvas->viewport(), start + QPoint(60, 30));
        QTest::mouseRelease(canvas->viewport(), Qt::LeftButton, Qt::NoModifier, start + QPoint(60, 30));
    }

    Files files;
    WorkspaceScreen screen;
};

// ---- choosing files and the queue ----

TEST_F(WorkspaceTest, ThreePdfsOpenTheFirstAndQueueTheRestUntilTheQueueRunsOut) {
    EXPECT_FALSE(queueBar()->isVisible());
    screen.openFiles({files.pdf("a.pdf"), files.pdf("b.pdf"), files.pdf("c.pdf")});
    EXPECT_EQ(openName(), "a.pdf");
    EXPECT_TRUE(queueBar()->isVisible());
    EXPECT_EQ(queueText(), "2 PDFs queued");
    openNext();
    EXPECT_EQ(openName(), "b.pdf");
    EXPECT_EQ(queueText(), "1 PDF queued");
    openNext();
    EXPECT_EQ(openName(), "c.pdf");
    EXPECT_FALSE(queueBar()->isVisible());
}

TEST_F(WorkspaceTest, ChoosingOnePdfWhileOthersWaitEmptiesTheQueue) {
    screen.openFiles({files.pdf("a.pdf"), files.pdf("b.pdf"), files.pdf("c.pdf")});
    screen.openFiles({files.pdf("d.pdf")});
    EXPECT_EQ(openName(), "d.pdf");
    EXPECT_FALSE(queueBar()->isVisible());
}

struct ImportCase {
    const char* name;
    std::vector<const char*> files;
    const char* opened;  // nullptr: nothing opens and the alert speaks
    const char* queue;   // nullptr: no bar
};

void PrintTo(const ImportCase& c, std::ostream* os) { *os << c.name; }

class ImportFilterTest : public WorkspaceTest, public ::testing::WithParamInterface<ImportCase> {};

TEST_P(ImportFilterTest, OnlyNamesEndingInPdfAnyCaseAreTaken) {
    const ImportCase& c = GetParam();
    QStringList chosen;
    for (const char* name : c.files) chosen << files.pdf(name);  // PDF content whatever the name says
    screen.openFiles(chosen);
    if (c.opened) {
        EXPECT_EQ(openName(), c.opened);
        EXPECT_EQ(alert(), nullptr);
    } else {
        EXPECT_EQ(model().document(), nullptr);
        ASSERT_NE(alert(), nullptr);
        EXPECT_EQ(alert()->informativeText(), "Please choose a PDF file.");
        EXPECT_EQ(alert()->windowTitle(), "Norvane - Redaction Tool");
    }
    if (c.queue) {
        EXPECT_EQ(queueText(), c.queue);
    } else {
        EXPECT_FALSE(queueBar()->isVisible());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Names, ImportFilterTest,
    ::testing::Values(ImportCase{"textFileSkipped", {"notes.txt", "b.pdf", "C.PDF"}, "b.pdf", "1 PDF queued"},
                      ImportCase{"mixedCase", {"a.pdf", "B.PDF", "c.Pdf"}, "a.pdf", "2 PDFs queued"},
                      ImportCase{"noExtension", {"README", "notes.txt"}, nullptr, nullptr},
                      ImportCase{"pdfNotLast", {"archive.pdf.zip"}, nullptr, nullptr},
                      ImportCase{"dotPdfOnlyName", {"x.pdf"}, "x.pdf", nullptr}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(WorkspaceTest, ChoosingNoPdfKeepsTheOpenDocumentAndTheQueue) {
    screen.openFiles({files.pdf("a.pdf"), files.pdf("b.pdf"), files.pdf("c.pdf")});
    const auto document = model().document();
    screen.openFiles({files.pdf("notes.txt")});
    EXPECT_EQ(model().document(), document);
    EXPECT_EQ(queueText(), "2 PDFs queued");
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert()->informativeText(), "Please choose a PDF file.");
}

TEST_F(WorkspaceTest, AnEncryptedFirstPdfKeepsTheLandingAndStillQueuesTheOthers) {
    screen.openFiles({files.encrypted("locked.pdf"), files.pdf("b.pdf")});
    EXPECT_EQ(model().document(), nullptr);
    EXPECT_TRUE(landing()->isVisible());
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert()->informativeText(), "This PDF is encrypted or password-protected. Unlock it before redacting.");
    EXPECT_EQ(queueText(), "1 PDF queued");
    pressOK();
    EXPECT_FALSE(model().errorMessage());
    EXPECT_EQ(alert(), nullptr);
    openNext();
    EXPECT_EQ(openName(), "b.pdf");
}

TEST_F(WorkspaceTest, OpenNextRefusesWhileRegionsArePendingAndNothingWasExported) {
    screen.openFiles({files.pdf("a.pdf"), files.pdf("b.pdf")});
    dragOnCanvas();
    ASSERT_EQ(model().redactions().size(), 1u);
    openNext();
    EXPECT_EQ(openName(), "a.pdf");
    EXPECT_EQ(queueText(), "1 PDF queued");
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert()->informativeText(),
              "This PDF still has pending redactions. Export the secure copy or clear the pending redactions before "
              "opening the next queued PDF.");
    pressOK();
    // The same message can come back.
    openNext();
    ASSERT_NE(alert(), nullptr);
    pressOK();

    QTest::mouseClick(editing()->clearButton(), Qt::LeftButton);
    openNext();
    EXPECT_EQ(openName(), "b.pdf");
    EXPECT_FALSE(queueBar()->isVisible());
}

// Scripted save dialog and engine, so an export completes in a blink.
class ScriptedDesktop : public DesktopServices {
public:
    explicit ScriptedDesktop(QString target) : target_(std::move(target)) {}
    std::optional<QString> chooseSaveLocation(const QString&, const QString&) override { return target_; }
    void revealInFileManager(const QString& path) override { revealed.push_back(path); }
    std::vector<QString> revealed;

private:
    QString target_;
};

class ScriptedEngine {
public:
    explicit ScriptedEngine(std::vector<std::string> remaining = {}) : saved_(engineCalls()) {
        engineCalls().exportSecurePDF = [](const SharedPdfDocument&, const std::vector<RedactionRegion>&,
                                           const fs::path& out, bool, const PageProgress& progress, std::stop_token) {
            testing::writeFile(out, {'%', 'P', 'D', 'F'});
            progress(1, 1);
        };
        engineCalls().verifyOutput = [remaining](const fs::path&, const std::vector<std::string>&,
                                                 const PageProgress& progress, std::stop_token) {
            progress(1, 1);
            return ExportVerification(1, remaining);
        };
    }
    ~ScriptedEngine() { engineCalls() = saved_; }

private:
    EngineCalls saved_;
};

TEST_F(WorkspaceTest, AfterAnExportOpenNextProceedsEvenWithANewRegion) {
    ScriptedEngine engine;
    screen.openFiles({files.pdf("a.pdf"), files.pdf("b.pdf")});
    auto desktop = std::make_shared<ScriptedDesktop>(qpath(files.dir.file("a-redacted.pdf")));
    model().setDesktopServices(desktop);
    dragOnCanvas();
    ASSERT_TRUE(screen.canExport());
    QTest::mouseClick(editing()->exportButton(), Qt::LeftButton);
    QSignalSpy busy(&model(), &RedactionViewModel::isBusyChanged);
    for (int i = 0; i < 200 && (model().isBusy() || !model().outputURL()); ++i) busy.wait(50);
    ASSERT_TRUE(model().outputURL());

    // The reveal button shows the export, and a new region hides the verdict but not the output.
    InspectorPanel* inspector = editing()->inspector();
    ASSERT_TRUE(inspector->verificationPanel()->isVisible());
    QTest::mouseClick(inspector->revealButton(), Qt::LeftButton);
    EXPECT_EQ(desktop->revealed.size(), 1u);
    dragOnCanvas();
    EXPECT_FALSE(inspector->verificationPanel()->isVisible());
    openNext();
    EXPECT_EQ(alert(), nullptr);
    EXPECT_EQ(openName(), "b.pdf");
}

TEST_F(WorkspaceTest, OpeningAnotherPdfReplacesTheDocumentAndItsRegionsWithoutAWarning) {
    screen.openFiles({files.pdf("a.pdf")});
    dragOnCanvas();
    screen.openFiles({files.pdf("b.pdf")});
    EXPECT_EQ(openName(), "b.pdf");
    EXPECT_TRUE(model().redactions().empty());
    EXPECT_EQ(alert(), nullptr);

    // The new document must take marks too, not only the one first shown.
    settle();
    dragOnCanvas();
    ASSERT_EQ(model().redactions().size(), 1u);
    EXPECT_EQ(model().redactions()[0].pageIndex, 0);
}

TEST_F(WorkspaceTest, TheGuideStripBelongsToAnOpenDocumentAndTheQueueBarToBothFaces) {
    EXPECT_EQ(strip(), nullptr);
    screen.openFiles({files.pdf("a.pdf"), files.pdf("b.pdf")});
    ASSERT_NE(strip(), nullptr);
    EXPECT_TRUE(strip()->isVisible());
    EXPECT_FALSE(landing()->isVisible());
    // Hovering leaves state in the strip; a new strip after closing starts clean.
    strip()->pointerEntered(GuideItem::ocr);

    QTest::mouseClick(editing()->inspector()->closeDocumentButton(), Qt::LeftButton);
    settle();
    EXPECT_EQ(strip(), nullptr);
    EXPECT_EQ(editing(), nullptr);
    EXPECT_TRUE(landing()->isVisible());
    EXPECT_TRUE(queueBar()->isVisible());
    EXPECT_EQ(queueText(), "1 PDF queued");

    openNext();
    ASSERT_NE(strip(), nullptr);
    EXPECT_FALSE(strip()->hoveredItem());
    EXPECT_FALSE(strip()->selectedItem());
}

// ---- the picker and drops ----

TEST_F(WorkspaceTest, SelectPdfsShowsThePickerAndItsChoiceIsImported) {
    QTest::mouseClick(landing()->selectButton(), Qt::LeftButton);
    auto* picker = screen.findChild<QFileDialog*>(QStringLiteral("pdfPicker"));
    ASSERT_NE(picker, nullptr);
    EXPECT_EQ(picker->fileMode(), QFileDialog::ExistingFiles);
    const QStringList chosen{files.pdf("one.pdf"), files.pdf("two.PDF")};
    emit picker->filesSelected(chosen);
    picker->close();
    EXPECT_EQ(openName(), "one.pdf");
    EXPECT_EQ(queueText(), "1 PDF queued");
}

class DropTest : public WorkspaceTest {
protected:
    // Returns whether the card took the drop.
    bool drop(const QStringList& paths) {
        DropCard* card = landing()->dropCard();
        QMimeData data;
        QList<QUrl> urls;
        for (const auto& p : paths) urls << QUrl::fromLocalFile(p);
        data.setUrls(urls);
        const QPoint at = card->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card, &enter);
        targetedWhileHovering = card->isDropTargeted();
        QDropEvent dropped(QPointF(at), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card, &dropped);
        EXPECT_FALSE(card->isDropTargeted());
        return dropped.isAccepted();
    }
    bool targetedWhileHovering = false;
};

TEST_F(DropTest, OnlyNonPdfFilesAreRefusedSilently) {
    EXPECT_FALSE(drop({files.pdf("notes.txt"), files.pdf("picture.png")}));
    EXPECT_TRUE(targetedWhileHovering);
    EXPECT_EQ(model().document(), nullptr);
    EXPECT_EQ(alert(), nullptr);
    EXPECT_FALSE(queueBar()->isVisible());
}

TEST_F(DropTest, AMixOpensTheFirstPdfAndQueuesTheOtherPdfs) {
    EXPECT_TRUE(drop({files.pdf("notes.txt"), files.pdf("first.pdf"), files.pdf("second.pdf"), files.pdf("x.doc")}));
    EXPECT_EQ(openName(), "first.pdf");
    EXPECT_EQ(queueText(), "1 PDF queued");
}

TEST_F(DropTest, HoverOutlineEndsWhenTheDragLeaves) {
    DropCard* card = landing()->dropCard();
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(files.pdf("a.pdf"))});
    QDragEnterEvent enter(card->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(card, &enter);
    EXPECT_TRUE(card->isDropTargeted());
    QDragLeaveEvent leave;
    QApplication::sendEvent(card, &leave);
    EXPECT_FALSE(card->isDropTargeted());
}

// ---- the editing layout ----

TEST_F(WorkspaceTest, ToolbarFollowsThePendingCount) {
    screen.openFiles({files.pdf("a.pdf")});
    EditingLayout* layout = editing();
    QSignalSpy commands(&screen, &WorkspaceScreen::commandStateChanged);
    EXPECT_EQ(layout->pendingLabel()->text(), "0 Pending");
    EXPECT_EQ(layout->pendingLabel()->palette().color(QPalette::WindowText),
              theme::secondaryLabelColor(layout->palette()));
    EXPECT_EQ(layout->fileNameLabel()->text(), "a.pdf");
    for (auto* b : {layout->undoButton(), layout->clearButton(), layout->exportButton()}) EXPECT_FALSE(b->isEnabled());
    EXPECT_FALSE(screen.canExport());
    EXPECT_FALSE(screen.canUndo());

    dragOnCanvas();
    EXPECT_EQ(layout->pendingLabel()->text(), "1 Pending");
    EXPECT_EQ(layout->pendingLabel()->palette().color(QPalette::WindowText), theme::systemRed(layout->palette()));
    for (auto* b : {layout->undoButton(), layout->clearButton(), layout->exportButton()}) EXPECT_TRUE(b->isEnabled());
    EXPECT_TRUE(screen.canExport());
    EXPECT_TRUE(screen.canUndo());
    EXPECT_GE(commands.count(), 1);

    QTest::mouseClick(layout->undoButton(), Qt::LeftButton);
    EXPECT_EQ(layout->pendingLabel()->text(), "0 Pending");
}

TEST_F(WorkspaceTest, CtrlFFocusesTheSearchFieldAndReturnThereDoesNothing) {
    screen.openFiles({files.pdf("a.pdf")});
    InspectorPanel* inspector = editing()->inspector();
    screen.activateWindow();
    screen.focusSearchField();
    EXPECT_TRUE(inspector->searchField()->hasFocus());
    QTest::keyClicks(inspector->searchField(), "Page text");
    EXPECT_EQ(model().searchText(), "Page text");
    QSignalSpy findText(inspector->findTextButton(), &QPushButton::clicked);
    QSignalSpy results(&model(), &RedactionViewModel::searchResultsChanged);
    QTest::keyClick(inspector->searchField(), Qt::Key_Return);
    EXPECT_EQ(findText.count(), 0);
    EXPECT_EQ(results.count(), 0);
    // The binding runs both ways.
    model().setSearchText(QStringLiteral("other"));
    EXPECT_EQ(inspector->searchField()->text(), "other");
}

// An editing layout over a model whose task-only fields a test can set.
class ModelProbe : public RedactionViewModel {
public:
    static std::shared_ptr<ModelProbe> make() { return std::shared_ptr<ModelProbe>(new ModelProbe()); }
    using RedactionViewModel::setIsBusy;
    using RedactionViewModel::setOutputURL;
    using RedactionViewModel::setProgress;
    using RedactionViewModel::setSearchResults;
    using RedactionViewModel::setStatusText;
};

class LayoutTest : public ::testing::Test {
protected:
    void SetUp() override {
        model->open(files.pdf("doc.pdf", 6));
        ASSERT_NE(model->document(), nullptr);
        layout = std::make_unique<EditingLayout>(*model, [this] { ++openRequests; });
        layout->resize(1320, 800);
        layout->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(layout.get()));
    }

    static RedactionSearchResult hit(std::int64_t page, PageRect rect, std::string text) {
        return RedactionSearchResult{Uuid::random(), page, rect, std::move(text), RedactionSource::textSearch};
    }
    void addRegion(std::int64_t page, double x) { model->addManual(page, PageRect{x, 100, 40, 20}); }

    Files files;
    std::shared_ptr<ModelProbe> model = ModelProbe::make();
    std::unique_ptr<EditingLayout> layout;
    int openRequests = 0;
};

TEST_F(LayoutTest, WhileBusyOnlyExportAndOcrAreDisabled) {
    addRegion(0, 100);
    model->setIsBusy(true);
    InspectorPanel* inspector = layout->inspector();
    EXPECT_FALSE(layout->exportButton()->isEnabled());
    EXPECT_FALSE(inspector->ocrSearchButton()->isEnabled());
    for (QWidget* w : std::initializer_list<QWidget*>{inspector->findTextButton(), layout->undoButton(), layout->clearButton(),
                                                      layout->openButton(), inspector->closeDocumentButton(),
                                                      inspector->pendingRows().at(0)->removeButton()}) {
        EXPECT_TRUE(w->isEnabled()) << w->objectName().toStdString();
    }
    model->setIsBusy(false);
    EXPECT_TRUE(layout->exportButton()->isEnabled());
    EXPECT_TRUE(inspector->ocrSearchButton()->isEnabled());
    QTest::mouseClick(layout->openButton(), Qt::LeftButton);
    EXPECT_EQ(openRequests, 1);
}

struct StatusCase {
    const char* name;
    bool busy;
    std::optional<double> progress;
    bool shown;
    int maximum;  // 0: indeterminate
    int value;
};

void PrintTo(const StatusCase& c, std::ostream* os) { *os << c.name; }

class StatusBarTest : public LayoutTest, public ::testing::WithParamInterface<StatusCase> {};

TEST_P(StatusBarTest, PresentOnlyWhileBusyOrWithProgress) {
    const StatusCase& c = GetParam();
    model->setStatusText(QStringLiteral("OCR 2 of 3"));
    model->setIsBusy(c.busy);
    model->setProgress(c.progress);
    EXPECT_EQ(layout->statusBar()->isVisible(), c.shown);
    if (c.shown) {
        EXPECT_EQ(layout->progressBar()->maximum(), c.maximum);
        if (c.maximum) {
            EXPECT_EQ(layout->progressBar()->value(), c.value);
        }
        EXPECT_EQ(layout->statusLabel()->text(), "OCR 2 of 3");
        QTest::mouseClick(layout->cancelButton(), Qt::LeftButton);
        EXPECT_FALSE(model->isBusy());
        EXPECT_FALSE(layout->statusBar()->isVisible());
    }
}

INSTANTIATE_TEST_SUITE_P(States, StatusBarTest,
                         ::testing::Values(StatusCase{"idle", false, std::nullopt, false, 0, 0},
                                           StatusCase{"busyNoFraction", true, std::nullopt, true, 0, 0},
                                           StatusCase{"busyHalfway", true, 0.5, true, 1000, 500},
                                           StatusCase{"progressOnly", false, 2.0 / 3.0, true, 1000, 667},
                                           StatusCase{"startOfWork", true, 0.0, true, 1000, 0}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST_F(LayoutTest, OneHitShowsOneMatchAndPressingItTwiceAddsOneRegion) {
    InspectorPanel* inspector = layout->inspector();
    EXPECT_FALSE(inspector->resultsSection()->isVisible());
    model->setSearchResults({hit(2, PageRect{72, 700, 80, 14}, "Jane Roe")});
    EXPECT_TRUE(inspector->resultsSection()->isVisible());
    EXPECT_EQ(inspector->matchCountLabel()->text(), "1 matches");
    ASSERT_EQ(inspector->resultRows().size(), 1u);
    QTest::mouseClick(inspector->resultRows()[0], Qt::LeftButton);
    settle();
    QTest::mouseClick(inspector->resultRows()[0], Qt::LeftButton);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(model->selectedPageIndex(), 2);
    EXPECT_EQ(inspector->resultRows().size(), 1u);
    EXPECT_EQ(layout->sidebar()->badgeCount(2), 1);
    EXPECT_TRUE(layout->sidebar()->isHighlighted(2));
    EXPECT_EQ(layout->canvas()->currentPageIndex(), 2);
}

TEST_F(LayoutTest, RedactAllAddsEveryHitOnceAndKeepsTheList) {
    model->setSearchResults({hit(0, PageRect{72, 700, 80, 14}, "a"), hit(0, PageRect{73, 701, 80, 14}, "a"),
                             hit(4, PageRect{72, 300, 80, 14}, "b")});
    QTest::mouseClick(layout->inspector()->redactAllButton(), Qt::LeftButton);
    EXPECT_EQ(model->redactions().size(), 2u);  // the second hit duplicates the first
    EXPECT_EQ(layout->inspector()->resultRows().size(), 3u);
    EXPECT_EQ(layout->inspector()->pendingRows().size(), 2u);
}

TEST_F(LayoutTest, PendingRowsNameTheirSourceAndRemoveExactlyTheirRegion) {
    InspectorPanel* inspector = layout->inspector();
    EXPECT_TRUE(inspector->emptyPendingHint()->isVisible());
    addRegion(0, 100);
    model->addSearchResult(hit(1, PageRect{72, 700, 80, 14}, "Jane Roe"));
    addRegion(0, 300);
    settle();
    EXPECT_FALSE(inspector->emptyPendingHint()->isVisible());
    const auto rows = inspector->pendingRows();
    ASSERT_EQ(rows.size(), 3u);
    const auto detail = [](PendingRow* row) { return row->findChild<QLabel*>(QStringLiteral("pendingDetail"))->accessibleName(); };
    EXPECT_EQ(detail(rows[0]), "Manual");
    EXPECT_EQ(detail(rows[1]), "Jane Roe");
    EXPECT_EQ(rows[1]->findChild<QLabel*>()->text(), "Page 2");

    const Uuid middle = model->redactions()[1].id;
    QTest::mouseClick(rows[1]->removeButton(), Qt::LeftButton);
    settle();
    ASSERT_EQ(model->redactions().size(), 2u);
    for (const auto& region : model->redactions()) EXPECT_NE(region.id, middle);
    ASSERT_EQ(inspector->pendingRows().size(), 2u);
    EXPECT_EQ(inspector->pendingRows()[1]->region().id, model->redactions()[1].id);

    // Undo drops the newest row only.
    model->undoLast();
    ASSERT_EQ(inspector->pendingRows().size(), 1u);
    EXPECT_EQ(inspector->pendingRows()[0]->region().id, model->redactions()[0].id);
}

TEST_F(LayoutTest, ThumbnailBadgesCountRegionsPerPageAndClickingSelectsThePage) {
    PageSidebar* sidebar = layout->sidebar();
    for (double x : {50.0, 150.0, 250.0}) addRegion(1, x);
    EXPECT_EQ(sidebar->badgeCount(1), 3);
    EXPECT_EQ(sidebar->badgeCount(0), 0);

    // Row 5 (index 4) is further down; bring it into view the way a person would, by scrolling.
    sidebar->verticalScrollBar()->setValue(sidebar->verticalScrollBar()->maximum());
    const QRect row = sidebar->rowRect(4);
    ASSERT_TRUE(sidebar->viewport()->rect().contains(row.center()));
    QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, Qt::NoModifier, row.center());
    EXPECT_EQ(model->selectedPageIndex(), 4);
    EXPECT_TRUE(sidebar->isHighlighted(4));
    EXPECT_FALSE(sidebar->isHighlighted(1));
    EXPECT_EQ(layout->canvas()->currentPageIndex(), 4);

    // A hit on page 2 moves the highlight.
    model->addSearchResult(hit(1, PageRect{72, 500, 50, 12}, "x"));
    EXPECT_TRUE(sidebar->isHighlighted(1));
}

TEST_F(LayoutTest, ThumbnailsRenderOnlyForRowsInView) {
    PageSidebar* sidebar = layout->sidebar();
    QSignalSpy ready(&sidebar->renderQueue(), &PageRenderQueue::pageReady);
    ASSERT_TRUE(ready.wait(10000));
    QTest::qWait(100);
    const int top = sidebar->verticalScrollBar()->value();
    for (qint64 i = 0; i < 6; ++i) {
        const QRect row = sidebar->rowRect(i);
        const bool inView = row.bottom() >= 0 && row.top() <= sidebar->viewport()->height();
        if (!inView) {
            EXPECT_TRUE(sidebar->renderQueue().image(i).isNull() && !sidebar->renderQueue().hasFailed(i)) << i;
        }
    }
    EXPECT_EQ(sidebar->verticalScrollBar()->value(), top);
}

struct VerdictCase {
    const char* name;
    std::vector<std::string> remaining;
    bool withOutput;
    const char* title;
    const char* detail;  // nullptr: no list
};

void PrintTo(const VerdictCase& c, std::ostream* os) { *os << c.name; }

class VerdictTest : public LayoutTest, public ::testing::WithParamInterface<VerdictCase> {};

TEST_P(VerdictTest, PanelShowsTheVerdictItsTermsAndTheRevealButton) {
    const VerdictCase& c = GetParam();
    InspectorPanel* inspector = layout->inspector();
    addRegion(0, 100);
    EXPECT_FALSE(inspector->verificationPanel()->isVisible());
    if (c.withOutput) model->setOutputURL(QStringLiteral("/tmp/out.pdf"));
    model->setVerification(ExportVerification(3, c.remaining));
    ASSERT_TRUE(inspector->verificationPanel()->isVisible());
    auto* title = inspector->verificationPanel()->findChild<QLabel*>(QStringLiteral("verdictTitle"));
    EXPECT_EQ(title->text(), c.title);
    const QColor expected = c.remaining.empty() ? theme::systemGreen(title->palette()) : theme::systemOrange(title->palette());
    EXPECT_EQ(title->palette().color(QPalette::WindowText), expected);
    EXPECT_EQ(inspector->verificationPanel()->findChild<QLabel*>(QStringLiteral("checkedPages"))->text(),
              "3 pages checked.");
    auto* terms = inspector->verificationPanel()->findChild<QLabel*>(QStringLiteral("suspiciousMatches"));
    EXPECT_EQ(terms->isVisible(), c.detail != nullptr);
    if (c.detail) {
        EXPECT_EQ(terms->text(), c.detail);
    }
    EXPECT_EQ(inspector->revealButton()->isVisible(), c.withOutput);
    EXPECT_EQ(inspector->revealButton()->text(), theme::platformText(QStringLiteral("Reveal Output in Finder")));

    // "Clear Redactions" empties the list and hides the verdict; the output stays known.
    QTest::mouseClick(layout->clearButton(), Qt::LeftButton);
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_FALSE(inspector->verificationPanel()->isVisible());
    EXPECT_EQ(model->outputURL().has_value(), c.withOutput);
}

INSTANTIATE_TEST_SUITE_P(
    Verdicts, VerdictTest,
    ::testing::Values(VerdictCase{"passed", {}, true, "Verification Passed", nullptr},
                      VerdictCase{"passedNoOutput", {}, false, "Verification Passed", nullptr},
                      VerdictCase{"needsReview",
                                  {"555-0100", "Jane Roe"},
                                  true,
                                  "Needs Review",
                                  "Possible sensitive text still detected: 555-0100, Jane Roe"}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(LayoutTest, LabelToggleIsBoundBothWays) {
    QCheckBox* toggle = layout->inspector()->labelToggle();
    EXPECT_FALSE(toggle->isChecked());
    QTest::mouseClick(toggle, Qt::LeftButton);
    EXPECT_TRUE(model->labelRedactions());
    model->setLabelRedactions(false);
    EXPECT_FALSE(toggle->isChecked());
}

// ---- quick guide ----

class GuideTest : public ::testing::Test {
protected:
    void SetUp() override {
        host.resize(1000, 200);
        strip = new QuickGuideStrip(&host);
        strip->setGeometry(0, 0, 1000, 40);
        other = new QWidget(&host);
        other->setGeometry(0, 100, 1000, 100);
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    }
    void enter(GuideItem item) {
        QEnterEvent event(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
        QApplication::sendEvent(strip->chip(item), &event);
    }
    void leave(GuideItem item) {
        QEvent event(QEvent::Leave);
        QApplication::sendEvent(strip->chip(item), &event);
    }
    // Through the window system, so an open popover sees the click first, as it would.
    void click(GuideItem item) {
        GuideChip* chip = strip->chip(item);
        QTest::mouseClick(host.windowHandle(), Qt::LeftButton, Qt::NoModifier, chip->mapTo(&host, chip->rect().center()));
    }
    std::optional<GuideItem> openPopover() {
        settle();
        return strip->popover() && strip->popover()->isVisible() ? std::optional(strip->popover()->item()) : std::nullopt;
    }

    QWidget host;
    QuickGuideStrip* strip = nullptr;
    QWidget* other = nullptr;
};

TEST_F(GuideTest, ALateLeaveFromTheLastChipDoesNotUndoTheNextChipsHighlight) {
    enter(GuideItem::ocr);
    enter(GuideItem::secureExport);
    leave(GuideItem::ocr);
    EXPECT_EQ(strip->hoveredItem(), GuideItem::secureExport);
    leave(GuideItem::secureExport);
    EXPECT_FALSE(strip->hoveredItem());
    // In order, as well.
    enter(GuideItem::manual);
    leave(GuideItem::manual);
    enter(GuideItem::findText);
    EXPECT_EQ(strip->hoveredItem(), GuideItem::findText);
}

TEST_F(GuideTest, ClickingAChipTwiceKeepsItsPopoverAndAnotherChipSwapsIt) {
    click(GuideItem::manual);
    EXPECT_EQ(openPopover(), GuideItem::manual);
    click(GuideItem::manual);
    EXPECT_EQ(openPopover(), GuideItem::manual);
    EXPECT_EQ(strip->selectedItem(), GuideItem::manual);

    click(GuideItem::findText);
    EXPECT_EQ(openPopover(), GuideItem::findText);
    EXPECT_EQ(strip->selectedItem(), GuideItem::findText);
    EXPECT_EQ(strip->findChildren<GuidePopover*>().size(), 1);
}

TEST_F(GuideTest, AClickElsewhereClosesThePopoverAndTheChipOpensItAgain) {
    click(GuideItem::manual);
    ASSERT_TRUE(openPopover());
    // The popover sits under the chip.
    const QRect chip(strip->chip(GuideItem::manual)->mapToGlobal(QPoint()), strip->chip(GuideItem::manual)->size());
    EXPECT_GE(strip->popover()->geometry().top(), chip.bottom());
    EXPECT_NEAR(strip->popover()->geometry().center().x(), chip.center().x(), 2);
    // Through the window system, as a real click arrives, so popup handling sees it.
    QTest::mouseClick(host.windowHandle(), Qt::LeftButton, Qt::NoModifier, other->geometry().center());
    EXPECT_FALSE(openPopover());
    EXPECT_FALSE(strip->selectedItem());
    click(GuideItem::manual);
    EXPECT_EQ(openPopover(), GuideItem::manual);
}

TEST_F(GuideTest, ChipsCarryTheirHelpTooltipsAndTheExportTextNamesTheProduct) {
    const std::vector<std::pair<GuideItem, QString>> tips{
        {GuideItem::manual, "Click for Manual Redaction help"},
        {GuideItem::findText, "Click for Find Text help"},
        {GuideItem::ocr, "Click for OCR Search help"},
        {GuideItem::secureExport, "Click for Secure Export help"},
    };
    for (const auto& [item, tip] : tips) {
        EXPECT_EQ(strip->chip(item)->toolTip(), tip);
        EXPECT_EQ(guideItemFromRawValue(rawValue(item)), item);
    }
    EXPECT_FALSE(guideItemFromRawValue(QStringLiteral("Export")));
    EXPECT_EQ(strip->chip(GuideItem::ocr)->text(), "OCR = Scanned PDF");
    click(GuideItem::secureExport);
    ASSERT_TRUE(openPopover());
    const QString text = strip->popover()->findChild<QLabel*>(QStringLiteral("popoverText"))->text();
    EXPECT_TRUE(text.contains(QStringLiteral("Norvane does not overwrite your original PDF."))) << text.toStdString();
}

}  // namespace
}  // namespace norvane
