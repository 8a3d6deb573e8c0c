// The workspace screen driven like a person: choosing and dropping files, the queue and its
// guard, the one alert, the editing layout's enabled states, lists and verdict, and the
// quick guide's hover rule.

#include "workspace/workspace_screen.h"

#include "canvas/page_canvas.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"
#include "ui/theme.h"
#include "ui/typography.h"
#include "workspace/editing_layout.h"
#include "workspace/inspector_panel.h"
#include "workspace/landing_view.h"
#include "workspace/page_sidebar.h"
#include "workspace/quick_guide_strip.h"

#include <QApplication>
#include <QCheckBox>
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

// Deferred deletions (closed faces, dismissed alerts) happen before the next look.
void settle() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

// An export that completes in a blink.
EngineCalls quickEngine() {
    EngineCalls calls;
    calls.exportSecurePDF = [](const auto&, const auto&, const fs::path& out, bool, const auto&, auto) {
        testing::writeFile(out, {'%', 'P', 'D', 'F'});
    };
    calls.verifyOutput = [](const auto&, const auto&, const auto&, auto) { return ExportVerification(1, {}); };
    return calls;
}

class WorkspaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        screen.resize(1320, 860);
        screen.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&screen));
    }

    // PDF content whatever the name says.
    QString pdf(const std::string& name, int pages = 3) {
        const auto path = dir.file(name);
        testing::writeFile(path, testing::buildPdf(testing::textPages(std::vector<std::string>(pages, "Page text"))));
        return QString::fromStdString(path.string());
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
    bool queueShown() { return screen.findChild<QWidget*>(QStringLiteral("queueBar"))->isVisible(); }
    QString queueText() { return screen.findChild<QLabel*>(QStringLiteral("queueCount"))->text(); }
    void openNext() {
        QTest::mouseClick(screen.findChild<QPushButton*>(QStringLiteral("openNextPdf")), Qt::LeftButton);
    }
    QMessageBox* alert() {
        settle();
        for (auto* box : screen.findChildren<QMessageBox*>(QStringLiteral("workspaceAlert"))) {
            if (box->isVisible()) return box;
        }
        return nullptr;
    }
    QString alertText() { return alert() ? alert()->informativeText() : QString(); }
    void pressOK() {
        QTest::mouseClick(alert()->button(QMessageBox::Ok), Qt::LeftButton);
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

    testing::TempDir dir;
    testing::TestServices services{std::nullopt, quickEngine()};
    WorkspaceScreen screen{services.shared};
};

const QString kChooseAPdf = QStringLiteral("Please choose a PDF file.");

// ---- choosing files and the queue ----

TEST_F(WorkspaceTest, TheFirstPdfOpensAndTheRestWaitUntilAnotherChoiceReplacesThem) {
    EXPECT_FALSE(queueShown());
    screen.openFiles({pdf("a.pdf"), pdf("b.pdf"), pdf("c.pdf")});
    EXPECT_EQ(openName(), "a.pdf");
    EXPECT_EQ(queueText(), "2 PDFs queued");
    openNext();
    EXPECT_EQ(openName(), "b.pdf");
    EXPECT_EQ(queueText(), "1 PDF queued");

    // Choosing no PDF keeps the document and the queue; choosing one empties the queue.
    const auto document = model().document();
    screen.openFiles({pdf("notes.txt")});
    EXPECT_EQ(model().document(), document);
    EXPECT_EQ(queueText(), "1 PDF queued");
    EXPECT_EQ(alertText(), kChooseAPdf);
    pressOK();

    // Another choice replaces the document and its regions without a word, and takes marks itself.
    dragOnCanvas();
    screen.openFiles({pdf("d.pdf")});
    EXPECT_EQ(openName(), "d.pdf");
    EXPECT_FALSE(queueShown());
    EXPECT_TRUE(model().redactions().empty());
    EXPECT_EQ(alertText(), QString());
    dragOnCanvas();
    ASSERT_EQ(model().redactions().size(), 1u);
    EXPECT_EQ(model().redactions()[0].pageIndex, 0);
}

struct ImportCase {
    friend void PrintTo(const ImportCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<const char*> files;
    const char* opened;  // null: nothing opens
    const char* queue;   // null: no bar
};

// The same names opened, chosen in the picker and dropped on the card; only a drop stays silent.
enum class Way { opened, picked, dropped };

void PrintTo(Way way, std::ostream* os) {
    *os << (way == Way::opened ? "opened" : way == Way::picked ? "picked" : "dropped");
}

class ImportFilterTest : public WorkspaceTest, public ::testing::WithParamInterface<std::tuple<ImportCase, Way>> {};

TEST_P(ImportFilterTest, OnlyNamesEndingInPdfAnyCaseAreTaken) {
    const auto& [c, way] = GetParam();
    const bool dropped = way == Way::dropped;
    QStringList chosen;
    for (const char* name : c.files)
        chosen << pdf(name);
    if (way == Way::picked) {
        QTest::mouseClick(landing()->selectButton(), Qt::LeftButton);
        auto* picker = screen.findChild<QFileDialog*>(QStringLiteral("pdfPicker"));
        ASSERT_NE(picker, nullptr);
        EXPECT_EQ(picker->fileMode(), QFileDialog::ExistingFiles);
        emit picker->filesSelected(chosen);
        picker->close();
    } else if (dropped) {
        DropCard* card = landing()->dropCard();
        QMimeData data;
        QList<QUrl> urls;
        for (const auto& path : chosen)
            urls << QUrl::fromLocalFile(path);
        data.setUrls(urls);
        QDragEnterEvent enter(card->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card, &enter);
        EXPECT_TRUE(card->isDropTargeted());
        QDropEvent drop(QPointF(card->rect().center()), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card, &drop);
        EXPECT_FALSE(card->isDropTargeted());
        EXPECT_EQ(drop.isAccepted(), c.opened != nullptr);
    } else {
        screen.openFiles(chosen);
    }
    EXPECT_EQ(openName(), c.opened ? QString::fromUtf8(c.opened) : QString());
    EXPECT_EQ(alertText(), c.opened || dropped ? QString() : kChooseAPdf);
    EXPECT_EQ(queueShown(), c.queue != nullptr);
    if (c.queue) {
        EXPECT_EQ(queueText(), c.queue);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Names, ImportFilterTest,
    ::testing::Combine(::testing::Values(
                           ImportCase{
                               "textFileSkipped", {"notes.txt", "b.pdf", "C.PDF", "x.doc"}, "b.pdf", "1 PDF queued"},
                           ImportCase{"mixedCase", {"a.pdf", "B.PDF", "c.Pdf"}, "a.pdf", "2 PDFs queued"},
                           ImportCase{"noExtension", {"README", "notes.txt"}, nullptr, nullptr},
                           ImportCase{"pdfNotLast", {"archive.pdf.zip"}, nullptr, nullptr}),
                       ::testing::Values(Way::opened, Way::picked, Way::dropped)),
    [](const auto& param) {
    return std::string(std::get<0>(param.param).name) + "_" + ::testing::PrintToString(std::get<1>(param.param));
    });

TEST_F(WorkspaceTest, AnEncryptedFirstPdfKeepsTheLandingAndStillQueuesTheOthers) {
    auto locked = testing::textPages({"secret"});
    locked.ownerPassword = "owner";
    testing::writeFile(dir.file("locked.pdf"), testing::buildPdf(locked));
    screen.openFiles({QString::fromStdString(dir.file("locked.pdf").string()), pdf("b.pdf")});
    EXPECT_EQ(model().document(), nullptr);
    EXPECT_TRUE(landing()->isVisible());
    EXPECT_EQ(alertText(), "This PDF is encrypted or password-protected. Unlock it before redacting.");
    EXPECT_EQ(queueText(), "1 PDF queued");
    pressOK();
    EXPECT_FALSE(model().errorMessage());
    EXPECT_EQ(alertText(), QString());
    openNext();
    EXPECT_EQ(openName(), "b.pdf");
}

TEST_F(WorkspaceTest, OpenNextRefusesWhileRegionsArePendingAndNothingWasExported) {
    screen.openFiles({pdf("a.pdf"), pdf("b.pdf"), pdf("c.pdf")});
    dragOnCanvas();
    ASSERT_EQ(model().redactions().size(), 1u);
    for (int attempt = 0; attempt < 2; ++attempt) {  // the same message can come back
        openNext();
        EXPECT_EQ(openName(), "a.pdf");
        EXPECT_EQ(alertText(),
                  "This PDF still has pending redactions. Export the secure copy or clear the pending redactions "
                  "before opening the next queued PDF.");
        pressOK();
    }
    QTest::mouseClick(editing()->clearButton(), Qt::LeftButton);
    openNext();
    EXPECT_EQ(openName(), "b.pdf");

    // After an export, a new region hides the verdict but not the output, and does not hold the queue.
    dragOnCanvas();
    services.desktop->answer = QString::fromStdString(dir.file("b-redacted.pdf").string());
    QTest::mouseClick(editing()->exportButton(), Qt::LeftButton);
    QSignalSpy busy(&model(), &RedactionViewModel::isBusyChanged);
    for (int i = 0; i < 200 && (model().isBusy() || !model().outputURL()); ++i)
        busy.wait(50);
    ASSERT_TRUE(model().outputURL());
    InspectorPanel* inspector = editing()->inspector();
    ASSERT_TRUE(inspector->verificationPanel()->isVisible());
    QTest::mouseClick(inspector->revealButton(), Qt::LeftButton);
    EXPECT_EQ(services.desktop->revealed, QStringList{*model().outputURL()});
    dragOnCanvas();
    EXPECT_FALSE(inspector->verificationPanel()->isVisible());
    openNext();
    EXPECT_EQ(alertText(), QString());
    EXPECT_EQ(openName(), "c.pdf");
}

// Closing the document keeps the queue; the next document gets a fresh guide strip.
TEST_F(WorkspaceTest, ClosingTheDocumentReturnsToTheLandingWithTheQueue) {
    screen.openFiles({pdf("a.pdf"), pdf("b.pdf")});
    strip()->pointerEntered(GuideItem::ocr);
    QTest::mouseClick(editing()->inspector()->closeDocumentButton(), Qt::LeftButton);
    EXPECT_EQ(editing(), nullptr);
    EXPECT_TRUE(landing()->isVisible());
    EXPECT_EQ(queueText(), "1 PDF queued");
    openNext();
    EXPECT_FALSE(strip()->hoveredItem());
}

// ---- the editing layout ----

TEST_F(WorkspaceTest, ToolbarAndCommandsFollowThePendingCount) {
    screen.openFiles({pdf("a.pdf")});
    EditingLayout* layout = editing();
    QSignalSpy commands(&screen, &WorkspaceScreen::commandStateChanged);
    const auto expectPending = [&](int count, bool enabled, const QColor& colour) {
        EXPECT_EQ(layout->pendingLabel()->text(), QStringLiteral("%1 Pending").arg(count));
        EXPECT_EQ(layout->pendingLabel()->palette().color(QPalette::WindowText), colour);
        for (auto* b : {layout->undoButton(), layout->clearButton(), layout->exportButton()}) {
            EXPECT_EQ(b->isEnabled(), enabled) << b->objectName().toStdString();
        }
        EXPECT_EQ(screen.canExport(), enabled);
        EXPECT_EQ(screen.canUndo(), enabled);
    };
    expectPending(0, false, theme::secondaryLabelColor(layout->palette()));
    dragOnCanvas();
    expectPending(1, true, theme::systemRed(layout->palette()));
    EXPECT_GE(commands.count(), 1);
    QTest::mouseClick(layout->undoButton(), Qt::LeftButton);
    expectPending(0, false, theme::secondaryLabelColor(layout->palette()));
}

TEST_F(WorkspaceTest, FindFocusesTheSearchFieldBoundBothWaysAndReturnThereDoesNothing) {
    screen.openFiles({pdf("a.pdf")});
    InspectorPanel* inspector = editing()->inspector();
    screen.activateWindow();
    screen.focusSearchField();
    EXPECT_TRUE(inspector->searchField()->hasFocus());
    QTest::keyClicks(inspector->searchField(), "Page text");
    EXPECT_EQ(model().searchText(), "Page text");
    QSignalSpy results(&model(), &RedactionViewModel::searchResultsChanged);
    QTest::keyClick(inspector->searchField(), Qt::Key_Return);
    EXPECT_EQ(results.count(), 0);
    model().setSearchText(QStringLiteral("other"));
    EXPECT_EQ(inspector->searchField()->text(), "other");

    QCheckBox* toggle = inspector->labelToggle();
    QTest::mouseClick(toggle, Qt::LeftButton);
    EXPECT_TRUE(model().labelRedactions());
    model().setLabelRedactions(false);
    EXPECT_FALSE(toggle->isChecked());
}

// An editing layout over a model whose task-only fields a test can set.
class ModelProbe : public RedactionViewModel {
public:
    ModelProbe() : RedactionViewModel(testing::TestServices().shared) {}
    using RedactionViewModel::setIsBusy;
    using RedactionViewModel::setOutputURL;
    using RedactionViewModel::setProgress;
    using RedactionViewModel::setSearchResults;
    using RedactionViewModel::setStatusText;
};

class LayoutTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing::writeFile(dir.file("doc.pdf"),
                           testing::buildPdf(testing::textPages(std::vector<std::string>(6, "x"))));
        model->open(QString::fromStdString(dir.file("doc.pdf").string()));
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

    testing::TempDir dir;
    std::shared_ptr<ModelProbe> model = std::make_shared<ModelProbe>();
    std::unique_ptr<EditingLayout> layout;
    int openRequests = 0;
};

TEST_F(LayoutTest, WhileBusyOnlyExportAndOcrAreDisabled) {
    addRegion(0, 100);
    model->setIsBusy(true);
    InspectorPanel* inspector = layout->inspector();
    EXPECT_FALSE(layout->exportButton()->isEnabled());
    EXPECT_FALSE(inspector->ocrSearchButton()->isEnabled());
    for (QWidget* w : std::initializer_list<QWidget*>{
             inspector->findTextButton(), layout->undoButton(), layout->clearButton(), layout->openButton(),
             inspector->closeDocumentButton(), inspector->pendingRows().at(0)->removeButton()}) {
        EXPECT_TRUE(w->isEnabled()) << w->objectName().toStdString();
    }
    model->setIsBusy(false);
    EXPECT_TRUE(layout->exportButton()->isEnabled());
    EXPECT_TRUE(inspector->ocrSearchButton()->isEnabled());
    QTest::mouseClick(layout->openButton(), Qt::LeftButton);
    EXPECT_EQ(openRequests, 1);
}

TEST_F(LayoutTest, StatusBarIsPresentOnlyWhileBusyOrWithProgressAndCancelHidesIt) {
    model->setStatusText(QStringLiteral("OCR 2 of 3"));
    const struct {
        bool busy;
        std::optional<double> progress;
        int maximum;  // 0: indeterminate; -1: no bar
        int value;
    } cases[] = {{false, std::nullopt, -1, 0},
                 {true, std::nullopt, 0, 0},
                 {true, 0.5, 1000, 500},
                 {false, 2.0 / 3.0, 1000, 667},
                 {true, 0.0, 1000, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.busy << " " << c.progress.value_or(-1));
        model->setIsBusy(c.busy);
        model->setProgress(c.progress);
        ASSERT_EQ(layout->statusBar()->isVisible(), c.maximum >= 0);
        if (c.maximum < 0) continue;
        EXPECT_EQ(layout->progressBar()->maximum(), c.maximum);
        EXPECT_EQ(layout->progressBar()->value(), c.maximum ? c.value : layout->progressBar()->value());
        EXPECT_EQ(layout->statusLabel()->text(), "OCR 2 of 3");
        QTest::mouseClick(layout->cancelButton(), Qt::LeftButton);
        EXPECT_FALSE(model->isBusy());
        EXPECT_FALSE(layout->statusBar()->isVisible());
    }
}

TEST_F(LayoutTest, PressingAHitTwiceAddsOneRegionAndRedactAllSkipsDuplicates) {
    InspectorPanel* inspector = layout->inspector();
    EXPECT_FALSE(inspector->resultsSection()->isVisible());
    model->setSearchResults({hit(2, PageRect{72, 700, 80, 14}, "Jane Roe"), hit(2, PageRect{73, 701, 80, 14}, "Jane"),
                             hit(4, PageRect{72, 300, 80, 14}, "b")});
    EXPECT_TRUE(inspector->resultsSection()->isVisible());
    EXPECT_EQ(inspector->matchCountLabel()->text(), "3 matches");
    ASSERT_EQ(inspector->resultRows().size(), 3u);
    QTest::mouseClick(inspector->resultRows()[0], Qt::LeftButton);
    settle();
    QTest::mouseClick(inspector->resultRows()[0], Qt::LeftButton);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(model->selectedPageIndex(), 2);
    EXPECT_EQ(layout->sidebar()->badgeCount(2), 1);
    EXPECT_TRUE(layout->sidebar()->isHighlighted(2));
    EXPECT_EQ(layout->canvas()->currentPageIndex(), 2);

    QTest::mouseClick(inspector->redactAllButton(), Qt::LeftButton);
    EXPECT_EQ(model->redactions().size(), 2u);
    EXPECT_EQ(inspector->resultRows().size(), 3u);
    EXPECT_EQ(inspector->pendingRows().size(), 2u);
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
    const auto detail = [](PendingRow* row) {
        return row->findChild<QLabel*>(QStringLiteral("pendingDetail"))->accessibleName();
    };
    EXPECT_EQ(detail(rows[0]), "Manual");
    EXPECT_EQ(detail(rows[1]), "Jane Roe");
    EXPECT_EQ(rows[1]->findChild<QLabel*>()->text(), "Page 2");

    const Uuid middle = model->redactions()[1].id;
    QTest::mouseClick(rows[1]->removeButton(), Qt::LeftButton);
    settle();
    ASSERT_EQ(model->redactions().size(), 2u);
    for (const auto& region : model->redactions())
        EXPECT_NE(region.id, middle);
    ASSERT_EQ(inspector->pendingRows().size(), 2u);
    EXPECT_EQ(inspector->pendingRows()[1]->region().id, model->redactions()[1].id);

    model->undoLast();  // drops the newest row only
    ASSERT_EQ(inspector->pendingRows().size(), 1u);
    EXPECT_EQ(inspector->pendingRows()[0]->region().id, model->redactions()[0].id);
}

TEST_F(LayoutTest, ThumbnailBadgesCountRegionsPerPageAndClickingSelectsThePage) {
    PageSidebar* sidebar = layout->sidebar();
    for (double x : {50.0, 150.0, 250.0})
        addRegion(1, x);
    EXPECT_EQ(sidebar->badgeCount(1), 3);
    EXPECT_EQ(sidebar->badgeCount(0), 0);

    // Row 5 is further down; bring it into view the way a person would, by scrolling.
    sidebar->verticalScrollBar()->setValue(sidebar->verticalScrollBar()->maximum());
    const QRect row = sidebar->rowRect(4);
    ASSERT_TRUE(sidebar->viewport()->rect().contains(row.center()));
    QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, Qt::NoModifier, row.center());
    EXPECT_EQ(model->selectedPageIndex(), 4);
    EXPECT_TRUE(sidebar->isHighlighted(4));
    EXPECT_FALSE(sidebar->isHighlighted(1));
    EXPECT_EQ(layout->canvas()->currentPageIndex(), 4);
}

TEST_F(LayoutTest, VerdictPanelShowsTheOutcomeItsTermsAndTheRevealButtonUntilTheRegionsChange) {
    QWidget* panel = layout->inspector()->verificationPanel();
    const struct {
        std::vector<std::string> remaining;
        bool withOutput;
        const char* title;
        const char* detail;  // null: no list
    } cases[] = {
        {{}, false, "Verification Passed", nullptr},
        {{}, true, "Verification Passed", nullptr},
        {{"555-0100", "Jane Roe"}, true, "Needs Review", "Possible sensitive text still detected: 555-0100, Jane Roe"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.detail ? c.detail : c.title);
        addRegion(0, 100);
        EXPECT_FALSE(panel->isVisible());
        model->setOutputURL(c.withOutput ? std::optional(QStringLiteral("/tmp/out.pdf")) : std::nullopt);
        model->setVerification(ExportVerification(3, c.remaining));
        ASSERT_TRUE(panel->isVisible());
        auto* title = panel->findChild<QLabel*>(QStringLiteral("verdictTitle"));
        EXPECT_EQ(title->text(), c.title);
        EXPECT_EQ(title->palette().color(QPalette::WindowText),
                  c.remaining.empty() ? theme::systemGreen(title->palette()) : theme::systemOrange(title->palette()));
        EXPECT_EQ(panel->findChild<QLabel*>(QStringLiteral("checkedPages"))->text(), "3 pages checked.");
        auto* terms = panel->findChild<QLabel*>(QStringLiteral("suspiciousMatches"));
        EXPECT_EQ(terms->isVisible() ? terms->text() : QString(), c.detail ? QString::fromUtf8(c.detail) : QString());
        EXPECT_EQ(layout->inspector()->revealButton()->isVisible(), c.withOutput);

        // "Clear Redactions" empties the list and hides the verdict; the output stays known.
        QTest::mouseClick(layout->clearButton(), Qt::LeftButton);
        EXPECT_TRUE(model->redactions().empty());
        EXPECT_FALSE(panel->isVisible());
        EXPECT_EQ(model->outputURL().has_value(), c.withOutput);
    }
}

// ---- quick guide ----

// Leave events can arrive after the next chip's enter; they must not undo its highlight.
TEST(GuideStrip, ALateLeaveFromTheLastChipDoesNotUndoTheNextChipsHighlight) {
    QuickGuideStrip strip;
    const auto hover = [&](GuideItem item, bool entering) {
        QEnterEvent enter(QPointF(5, 5), QPointF(5, 5), QPointF(5, 5));
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(strip.chip(item), entering ? static_cast<QEvent*>(&enter) : &leave);
    };
    hover(GuideItem::ocr, true);
    hover(GuideItem::secureExport, true);
    hover(GuideItem::ocr, false);
    EXPECT_EQ(strip.hoveredItem(), GuideItem::secureExport);
    hover(GuideItem::secureExport, false);
    EXPECT_FALSE(strip.hoveredItem());
    hover(GuideItem::manual, true);  // in order, as well
    hover(GuideItem::manual, false);
    hover(GuideItem::findText, true);
    EXPECT_EQ(strip.hoveredItem(), GuideItem::findText);
}

}  // namespace
}  // namespace norvane
