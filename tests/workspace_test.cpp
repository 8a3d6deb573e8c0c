// The workspace screen driven like a person: choosing and dropping files, the queue and its
// guard, the one alert, the editing layout's enabled states, lists and verdict, and the
// quick guide's hover rule.

#include "workspace/workspace_screen.h"

#include "canvas/page_canvas.h"
#include "engine/recognition_languages.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "workspace/editing_layout.h"
#include "workspace/inspector_panel.h"
#include "workspace/landing_view.h"
#include "workspace/page_indicator.h"
#include "workspace/page_sidebar.h"
#include "workspace/quick_guide_strip.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QHelpEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QToolButton>
#include <QToolTip>
#include <QUrl>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>

namespace norvane {
namespace {

// Deferred deletions (closed faces, dismissed alerts) happen before the next look.
void settle() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

class WorkspaceTest : public ::testing::Test {
protected:
    void SetUp() override {
        screen.resize(1320, 860);
        screen.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&screen));
    }

    // PDF content whatever the name says.
    QString pdf(const std::string& name) {
        const auto path = dir.file(name);
        testing::writeFile(path, testing::buildPdf(testing::textPages(std::vector<std::string>(3, "Page text"))));
        return QString::fromStdString(path.string());
    }

    RedactionViewModel& model() { return screen.model(); }
    EditingLayout* editing() {
        settle();
        return screen.findChild<EditingLayout*>();
    }
    LandingView* landing() { return screen.findChild<LandingView*>(); }
    QString queueText() { return screen.findChild<QLabel*>(QStringLiteral("queueCount"))->text(); }
    void openNext() {
        QTest::mouseClick(screen.findChild<QPushButton*>(QStringLiteral("openNextPdf")), Qt::LeftButton);
    }
    QMessageBox* alert() {
        settle();
        return screen.findChild<QMessageBox*>(QStringLiteral("workspaceAlert"));
    }
    QString alertText() { return alert() && alert()->isVisible() ? alert()->informativeText() : QString(); }
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
    testing::TestServices services{std::nullopt, testing::instantExportEngine()};
    WorkspaceScreen screen{services.shared};
};

TEST_F(WorkspaceTest, TheFirstPdfOpensTheRestWaitAndAnotherChoiceReplacesThem) {
    testing::writeFile(dir.file("locked.pdf"),
                       testing::buildPdf({.pages = testing::textPages({"secret"}).pages, .ownerPassword = "owner"}));
    DropCard* card = landing()->dropCard();
    const auto drop = [&](const QStringList& paths) {
        QMimeData data;
        QList<QUrl> urls;
        for (const auto& path : paths)
            urls << QUrl::fromLocalFile(path);
        data.setUrls(urls);
        QDragEnterEvent enter(card->rect().center(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card, &enter);
        EXPECT_TRUE(card->isDropTargeted());
        QDropEvent dropped(QPointF(card->rect().center()), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(card, &dropped);
        EXPECT_FALSE(card->isDropTargeted());
        return dropped.isAccepted();
    };
    // Only names ending in .pdf, any case, are taken; a drop without one is refused without a word.
    EXPECT_FALSE(drop({pdf("README"), pdf("archive.pdf.zip")}));
    EXPECT_EQ(alertText(), QString());
    EXPECT_TRUE(
        drop({QString::fromStdString(dir.file("locked.pdf").string()), pdf("notes.txt"), pdf("A.PDF"), pdf("b.Pdf")}));

    // A locked first PDF keeps the landing but the others still wait.
    EXPECT_TRUE(landing()->isVisible());
    EXPECT_EQ(alertText(), "This PDF is encrypted or password-protected. Unlock it before redacting.");
    EXPECT_EQ(queueText(), "2 PDFs queued");
    pressOK();
    openNext();
    ASSERT_EQ(openName(), "A.PDF");
    EXPECT_EQ(queueText(), "1 PDF queued");

    // Choosing no PDF keeps the document and the queue.
    const auto document = model().document();
    screen.openFiles({pdf("notes.txt"), pdf("archive.pdf.zip")});
    EXPECT_EQ(model().document(), document);
    EXPECT_EQ(queueText(), "1 PDF queued");
    EXPECT_EQ(alertText(), "Please choose a PDF file.");
    pressOK();

    // Closing keeps the queue too; the next document gets a fresh guide strip.
    screen.findChild<QuickGuideStrip*>()->pointerEntered(GuideItem::ocr);
    QTest::mouseClick(editing()->inspector()->closeDocumentButton(), Qt::LeftButton);
    EXPECT_EQ(editing(), nullptr);
    EXPECT_TRUE(landing()->isVisible());
    openNext();
    EXPECT_EQ(openName(), "b.Pdf");
    EXPECT_FALSE(screen.findChild<QuickGuideStrip*>()->hoveredItem());

    // Another choice in the picker replaces the document and its regions without a word.
    dragOnCanvas();
    QTest::mouseClick(editing()->openButton(), Qt::LeftButton);
    auto* picker = screen.findChild<QFileDialog*>(QStringLiteral("pdfPicker"));
    ASSERT_NE(picker, nullptr);
    EXPECT_EQ(picker->fileMode(), QFileDialog::ExistingFiles);
    emit picker->filesSelected({pdf("d.pdf")});
    picker->close();
    EXPECT_EQ(openName(), "d.pdf");
    EXPECT_FALSE(screen.findChild<QWidget*>(QStringLiteral("queueBar"))->isVisible());
    EXPECT_TRUE(model().redactions().empty());
    EXPECT_EQ(alertText(), QString());
    dragOnCanvas();  // the new canvas takes marks itself
    EXPECT_EQ(model().redactions().size(), 1u);
}

// The languages chosen for recognition are the person's: listed from what is installed, kept
// across windows, and back to automatic when none is ticked. The searchable copy is kept too.
TEST_F(WorkspaceTest, RecognitionLanguagesAndTheSearchableCopyAreRemembered) {
    EXPECT_FALSE(model().searchableCopy()) << "off until chosen";
    services.desktop->preferences[kRecognitionLanguagesPreference] = QStringLiteral("eng");
    services.desktop->preferences[kSearchableCopyPreference] = QStringLiteral("true");
    WorkspaceScreen second{services.shared};
    EXPECT_EQ(second.model().recognitionLanguages(), QStringLiteral("eng"));
    EXPECT_TRUE(second.model().searchableCopy());

    testing::writeFile(dir.file("a.pdf"), testing::buildPdf(testing::textPages({"one"})));
    second.openFiles({QString::fromStdString(dir.file("a.pdf").string())});
    QToolButton* button = second.findChild<QToolButton*>(QStringLiteral("recognitionLanguages"));
    ASSERT_TRUE(button);
    QMenu* menu = button->menu();
    emit menu->aboutToShow();
    const auto action = [&](const QString& text) -> QAction* {
        for (QAction* a : menu->actions())
            if (a->text() == text) return a;
        return nullptr;
    };
    ASSERT_TRUE(action(QStringLiteral("English")));
    EXPECT_TRUE(action(QStringLiteral("English"))->isChecked());
    EXPECT_FALSE(action(QStringLiteral("Automatic"))->isChecked());
    EXPECT_EQ(menu->actions().size(), static_cast<qsizetype>(installedRecognitionLanguages().size() + 2));
    action(QStringLiteral("English"))->trigger();  // unticked: nothing chosen is automatic
    EXPECT_EQ(second.model().recognitionLanguages(), QString());
    EXPECT_EQ(services.desktop->preferences[kRecognitionLanguagesPreference], QString());

    auto* searchable = second.findChild<QCheckBox*>(QStringLiteral("searchableCopy"));
    ASSERT_TRUE(searchable);
    EXPECT_TRUE(searchable->isChecked());
    searchable->click();
    EXPECT_FALSE(second.model().searchableCopy());
    EXPECT_EQ(services.desktop->preferences[kSearchableCopyPreference], QStringLiteral("false"));
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

    // After an export, a new region keeps the output and does not hold the queue.
    dragOnCanvas();
    services.desktop->answer = QString::fromStdString(dir.file("b-redacted.pdf").string());
    QTest::mouseClick(editing()->exportButton(), Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !model().isBusy() && model().outputURL(); }));
    QTest::mouseClick(editing()->inspector()->revealButton(), Qt::LeftButton);
    EXPECT_EQ(services.desktop->revealed, QStringList{*model().outputURL()});
    dragOnCanvas();
    openNext();
    EXPECT_EQ(alertText(), QString());
    EXPECT_EQ(openName(), "c.pdf");
}

// The guide popover is a popup of the window under its chip wherever the window goes; the
// chips answer the keyboard.
TEST_F(WorkspaceTest, GuidePopoverIsAPopupAnchoredUnderItsChipAndChipsAnswerTheKeyboard) {
    QApplication::setActiveWindow(&screen);
    screen.openFiles({pdf("a.pdf")});
    settle();
    auto* strip = screen.findChild<QuickGuideStrip*>();
    const auto popover = [&] { return strip->popover() && strip->popover()->isVisible() ? strip->popover() : nullptr; };
    const auto offset = [&] {  // from the chip's bottom centre to the popover's top centre
        const GuideChip* c = strip->chip(popover()->item());
        return popover()->mapToGlobal(QPoint(popover()->width() / 2, 0)) -
               c->mapToGlobal(QPoint(c->width() / 2, c->height()));
    };
    strip->chip(GuideItem::findText)->click();
    ASSERT_TRUE(popover());
    EXPECT_EQ(popover()->windowType(), Qt::Popup);
    EXPECT_EQ(popover()->windowHandle()->transientParent(), screen.windowHandle());
    const QPoint anchored = offset();
    EXPECT_LE(anchored.manhattanLength(), 4);
    screen.move(screen.pos() + QPoint(37, 21));
    EXPECT_TRUE(QTest::qWaitFor([&] { return offset() == anchored; }, 1000)) << "moved";
    screen.resize(1120, 760);
    EXPECT_TRUE(QTest::qWaitFor([&] { return offset() == anchored; }, 1000)) << "resized";

    // A press on a chip opens its popover, also the open one's; a press anywhere else closes it.
    for (const auto& [pressed, open] :
         {std::pair(GuideItem::ocr, true), std::pair(GuideItem::ocr, true), std::pair(GuideItem::manual, false)}) {
        const QPoint at =
            open ? strip->chip(pressed)->mapToGlobal(QPoint(5, 5)) : strip->mapToGlobal(QPoint(strip->width() - 5, 5));
        QTest::mouseClick(popover(), Qt::LeftButton, {}, popover()->mapFromGlobal(at));
        EXPECT_EQ(strip->selectedItem(), open ? std::optional(pressed) : std::nullopt);
    }

    // Tab reaches the chips; arrows move between them and stop at the ends; Return or Space
    // open, Escape closes.
    const Qt::Key keys[] = {Qt::Key_Left, Qt::Key_Right,  Qt::Key_Down,   Qt::Key_Right, Qt::Key_Right,
                            Qt::Key_Up,   Qt::Key_Return, Qt::Key_Escape, Qt::Key_Space};
    QStringList seen;
    settle();
    QApplication::setActiveWindow(&screen);
    for (int press = 0; press < 40 && !strip->chip(GuideItem::manual)->hasFocus(); ++press)
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : &screen, Qt::Key_Tab);
    ASSERT_TRUE(strip->chip(GuideItem::manual)->hasFocus()) << QApplication::focusWidget();
    for (const Qt::Key key : keys) {
        QTest::keyClick(popover() ? static_cast<QWidget*>(popover()) : QApplication::focusWidget(), key);
        settle();
        const auto* chip = qobject_cast<GuideChip*>(QApplication::focusWidget());
        seen << (chip ? rawValue(chip->item()) : "?") + (popover() ? "+" + rawValue(popover()->item()) : "");
    }
    EXPECT_EQ(seen.join(' '), "manual findText ocr export export ocr ocr+ocr ocr ocr+ocr");
}

using testing::ModelProbe;

// The editing layout over a model whose task-only fields a test can set.
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

TEST_F(LayoutTest, ToolbarAndStatusBarFollowThePendingCountBusyAndProgress) {
    InspectorPanel* inspector = layout->inspector();
    model->setStatusText(QStringLiteral("OCR 2 of 3"));
    const struct {
        int regions;
        bool busy;
        std::optional<double> progress;
        int value;  // -1: no status bar; 0: indeterminate
    } cases[] = {{0, false, {}, -1}, {1, false, {}, -1}, {2, true, {}, 0}, {0, true, 0.0, 0}, {1, false, 2.0 / 3, 667}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.regions << (c.busy ? " busy " : " ") << c.progress.value_or(-1));
        model->setRedactions({});
        for (int i = 0; i < c.regions; ++i)
            addRegion(0, 100 + 50 * i);
        model->setIsBusy(c.busy);
        model->setProgress(c.progress);
        const QLabel* pending = layout->pendingLabel();
        EXPECT_EQ(pending->text(), QStringLiteral("%1 Pending").arg(c.regions));
        EXPECT_EQ(pending->palette().color(QPalette::WindowText),
                  c.regions ? theme::systemRed(layout->palette()) : theme::secondaryLabelColor(layout->palette()));
        EXPECT_EQ(layout->undoButton()->isEnabled(), c.regions > 0);
        EXPECT_EQ(layout->clearButton()->isEnabled(), c.regions > 0);
        EXPECT_EQ(layout->exportButton()->isEnabled(), c.regions > 0 && !c.busy);
        EXPECT_EQ(inspector->ocrSearchButton()->isEnabled(), !c.busy);
        EXPECT_EQ(inspector->findTextButton()->isEnabled(), !c.busy) << "a search would end the work in flight";
        EXPECT_TRUE(layout->openButton()->isEnabled() && inspector->closeDocumentButton()->isEnabled());
        EXPECT_EQ(inspector->pendingList()->rows()->rowCount(), c.regions);
        ASSERT_EQ(layout->statusBar()->isVisible(), c.value >= 0);
        EXPECT_EQ(layout->progressBar()->maximum(), c.progress ? 1000 : 0);
        EXPECT_EQ(layout->progressBar()->value(), c.progress ? c.value : layout->progressBar()->value());
        EXPECT_EQ(layout->statusLabel()->text(), "OCR 2 of 3");
    }
    QTest::mouseClick(layout->cancelButton(), Qt::LeftButton);
    EXPECT_FALSE(layout->statusBar()->isVisible());
    QTest::mouseClick(layout->openButton(), Qt::LeftButton);
    EXPECT_EQ(openRequests, 1);
}

TEST_F(LayoutTest, HitsBecomePendingRowsOnceAndEachRowRemovesExactlyItsRegion) {
    InspectorPanel* inspector = layout->inspector();
    EXPECT_FALSE(inspector->resultsSection()->isVisible());
    EXPECT_TRUE(inspector->emptyPendingHint()->isVisible());
    model->setSearchText(QStringLiteral("Jane"));  // the search field and label option keep in step with the model
    EXPECT_EQ(inspector->searchField()->text(), "Jane");
    QTest::mouseClick(inspector->labelToggle(), Qt::LeftButton);
    EXPECT_TRUE(model->labelRedactions());
    addRegion(0, 100);
    model->setSearchResults({hit(2, PageRect{72, 700, 80, 14}, "Jane Roe"), hit(2, PageRect{73, 701, 80, 14}, "Jane"),
                             hit(4, PageRect{72, 300, 80, 14}, "b")});
    EXPECT_TRUE(inspector->resultsSection()->isVisible());
    EXPECT_EQ(inspector->matchCountLabel()->text(), "3 matches");
    ResultListView* results = inspector->resultList();
    ASSERT_EQ(results->rows()->rowCount(), 3);
    for (int press = 0; press < 2; ++press) {  // pressed twice, added once
        QTest::mouseClick(results->viewport(), Qt::LeftButton, {}, results->partRect(0).center());
        settle();
    }
    EXPECT_EQ(layout->canvas()->currentPageIndex(), 2);
    for (const auto key : {Qt::Key_Home, Qt::Key_End})  // Home first: nothing is current yet
        QTest::keyClick(results, key);
    QTest::keyClick(results, Qt::Key_Space);  // as a click on the last hit
    EXPECT_EQ(model->selectedPageIndex(), 4);
    QTest::mouseClick(inspector->redactAllButton(), Qt::LeftButton);  // skips the near duplicate
    EXPECT_EQ(results->rows()->rowCount(), 3);
    settle();
    PendingListView* list = inspector->pendingList();
    const PendingListModel& rows = *list->rows();
    ASSERT_EQ(rows.rowCount(), 3);
    EXPECT_FALSE(inspector->emptyPendingHint()->isVisible());
    const auto text = [&](int row, int role) { return rows.index(row).data(role).toString(); };
    EXPECT_EQ(text(0, PendingListModel::DetailRole), "Manual");
    EXPECT_EQ(text(1, PendingListModel::DetailRole), "Jane Roe");
    EXPECT_EQ(text(1, Qt::DisplayRole), "Page 3");

    const Uuid middle = model->redactions()[1].id;
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->partRect(1).center());
    ASSERT_EQ(model->redactions().size(), 2u);
    for (const auto& region : model->redactions())
        EXPECT_NE(region.id, middle);
    ASSERT_EQ(rows.rowCount(), 2);
    EXPECT_EQ(rows.at(1).id, model->redactions()[1].id);

    // Delete removes the row the keyboard chose and selects the one that took its place.
    for (int i = 0; i < 3; ++i)
        addRegion(5, 10 + 50 * i);
    list->setFocus();
    const struct { int chosen, selectedAfter; } presses[] = {{1, 1}, {3, 2}, {0, 0}};
    for (const auto& p : presses) {
        QTest::keyClick(list, Qt::Key_Home);
        for (int i = 0; i < p.chosen; ++i)
            QTest::keyClick(list, Qt::Key_Down);
        const Uuid chosen = rows.at(p.chosen).id;
        const int before = rows.rowCount();
        QTest::keyClick(list, Qt::Key_Delete);
        ASSERT_EQ(rows.rowCount(), before - 1);
        EXPECT_TRUE(std::none_of(model->redactions().begin(), model->redactions().end(),
                                 [&](const auto& r) { return r.id == chosen; }));
        EXPECT_EQ(list->selectionModel()->selectedRows(), QModelIndexList{rows.index(p.selectedAfter)});
    }
    // Rows added at the end keep the choice; the inspector scrolls to the row the keyboard reaches.
    for (int i = 0; i < 60; ++i)
        addRegion(4, 10 + i);
    EXPECT_EQ(list->currentIndex().row(), 0);
    settle();  // the inspector lays out the taller list
    QTest::keyClick(list, Qt::Key_End);
    const QRect last = list->visualRect(list->currentIndex());
    EXPECT_EQ(list->currentIndex().row(), rows.rowCount() - 1);
    EXPECT_TRUE(inspector->viewport()->rect().contains(list->viewport()->mapTo(inspector->viewport(), last.center())));
}

// What does not fit ends in "…" and shows whole in a tooltip.
TEST_F(LayoutTest, LongNamesAndHitsAreCutWithAnEllipsisAndShownWholeInATooltip) {
    const auto tooltipOver = [](QWidget* widget, QPoint at) {
        QHelpEvent help(QEvent::ToolTip, at, widget->mapToGlobal(at));
        QApplication::sendEvent(widget, &help);
        return QToolTip::text();
    };
    const std::string name = "Quarterly board minutes " + std::string(150, '-') + " signed.pdf";
    testing::writeFile(dir.file(name), testing::buildPdf(testing::textPages({"x"})));
    model->open(QString::fromStdString(dir.file(name).string()));
    layout->resize(1120, 800);
    settle();
    const QString shown = layout->fileNameLabel()->displayedText();
    EXPECT_TRUE(shown.startsWith("Quarterly") && shown.endsWith("signed.pdf") && shown.contains(QChar(0x2026)));
    EXPECT_EQ(tooltipOver(layout->fileNameLabel(), {4, 4}), QString::fromStdString(name));

    // Kept whole; wrapped onto two lines at most and cut on the second; one word wider than the
    // row is one line, cut too.
    const std::string sentence = "Jane Roe of 1427 Larkspur Lane, Springfield, holds account 0211 4478 9031 5562. ";
    const std::tuple<std::string, int, bool> hits[] = {
        {"Jane Roe", 1, false}, {sentence + sentence + sentence, 2, true}, {std::string(200, 'x'), 1, true}};
    std::vector<RedactionSearchResult> found;
    for (const auto& h : hits)
        found.push_back(hit(0, PageRect{72, 700, 80, 14}, std::get<0>(h)));
    model->setSearchResults(found);
    settle();
    ResultListView* results = layout->inspector()->resultList();
    for (int row = 0; row < 3; ++row) {
        const auto& [text, lineCount, cut] = hits[row];
        const QStringList lines = results->shownText(row).split(QChar(u'\n'));
        EXPECT_EQ(lines.size(), lineCount) << row;
        EXPECT_EQ(lines.last().endsWith(QChar(0x2026)), cut) << row;
        const QString tip = tooltipOver(results->viewport(), results->partRect(row).center());
        EXPECT_EQ(tip == QString::fromStdString(text), cut) << row;
    }
}

TEST_F(LayoutTest, ThumbnailsCountBadgesFollowTheReadPageAndChoosePagesByMouseKeyboardAndNumber) {
    PageSidebar* sidebar = layout->sidebar();
    PageCanvas* canvas = layout->canvas();
    PageIndicator* indicator = layout->pageIndicator();
    // The list opens at its top, page 1's picture whole.
    EXPECT_EQ(sidebar->verticalScrollBar()->value(), 0);
    EXPECT_TRUE(sidebar->viewport()->rect().contains(sidebar->thumbnailRect(0).toRect()));
    for (double x : {50.0, 150.0, 250.0})
        addRegion(1, x);
    EXPECT_EQ(sidebar->badgeCount(1), 3);
    EXPECT_EQ(sidebar->badgeCount(0), 0);
    const auto reading = [&](qint64 page) {
        EXPECT_EQ(canvas->currentPageIndex(), page);
        EXPECT_EQ(sidebar->readingPage(), page);
        EXPECT_TRUE(sidebar->viewport()->rect().contains(sidebar->rowRect(page)));
        EXPECT_EQ(indicator->text(), QStringLiteral("Page %1 of 6").arg(page + 1));
    };

    // Row 5 is further down; bring it into view the way a person would, by scrolling.
    sidebar->verticalScrollBar()->setValue(sidebar->verticalScrollBar()->maximum());
    const QRect row = sidebar->rowRect(4);
    ASSERT_TRUE(sidebar->viewport()->rect().contains(row.center()));
    QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, Qt::NoModifier, row.center());
    EXPECT_EQ(model->selectedPageIndex(), 4);
    EXPECT_TRUE(sidebar->isHighlighted(4));
    EXPECT_FALSE(sidebar->isHighlighted(1));
    reading(4);

    // Scrolling the canvas back to the top brings the first row back into the list's view, and
    // the one highlight follows the page read once the page chosen is out of view.
    canvas->verticalScrollBar()->setValue(0);
    reading(0);
    EXPECT_TRUE(sidebar->isHighlighted(0));
    EXPECT_FALSE(sidebar->isHighlighted(4));
    sidebar->setFocus();
    for (const auto key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Up, Qt::Key_Down, Qt::Key_Down, Qt::Key_Return})
        QTest::keyClick(sidebar, key);
    EXPECT_EQ(model->selectedPageIndex(), 3);
    reading(3);
    QTest::keyClick(sidebar, Qt::Key_Home);
    QTest::keyClick(sidebar, Qt::Key_Space);
    reading(0);

    // The page number field: out-of-range and non-numbers put the page back.
    for (const char* typed : {"9", "0", "x", "2"}) {
        indicator->editPage();
        QTest::keyClicks(indicator->field(), typed);
        QTest::keyClick(indicator->field(), Qt::Key_Return);
    }
    reading(1);
    EXPECT_EQ(indicator->field()->text(), "2");

    // The zoom beside it, whole percent, fitted or chosen.
    EXPECT_EQ(indicator->zoomText(), QString::number(std::lround(canvas->zoom() * 100)) + "%");
    for (const auto& [zoom, text] : {std::pair(1.25, "125%"), std::pair(0.333, "33%"), std::pair(8.0, "800%")}) {
        canvas->setZoom(zoom);
        EXPECT_EQ(indicator->zoomText(), text);
    }
}

// The thumbnails as a list of pages for screen readers: each row named with its pending count,
// selected with the highlight and focused with the keyboard's row.
TEST_F(LayoutTest, ThumbnailRowsAreAccessibleListItemsWithTheirCounts) {
    PageSidebar* sidebar = layout->sidebar();
    addRegion(1, 50);
    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(sidebar);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->role(), QAccessible::List);
    ASSERT_EQ(list->childCount(), 6);
    QAccessibleInterface* second = list->child(1);
    EXPECT_EQ(second->role(), QAccessible::ListItem);
    EXPECT_EQ(second->text(QAccessible::Name), "Page 2, 1 pending");
    EXPECT_EQ(list->child(0)->text(QAccessible::Name), "Page 1");
    EXPECT_EQ(list->indexOfChild(second), 1);
    EXPECT_EQ(second->parent(), list);
    EXPECT_EQ(sidebar->rowAt(sidebar->viewport()->mapFromGlobal(second->rect().center())), 1);
    addRegion(1, 250);
    EXPECT_EQ(second->text(QAccessible::Name), "Page 2, 2 pending");

    model->setSelectedPageIndex(2);
    for (int row = 0; row < 6; ++row)
        EXPECT_EQ(list->child(row)->state().selected, row == 2) << row;
    EXPECT_FALSE(list->child(2)->state().focused) << "not while the list lacks focus";
    sidebar->setFocus();
    QTest::keyClick(sidebar, Qt::Key_Down);
    EXPECT_TRUE(list->child(3)->state().focused);
    EXPECT_FALSE(list->child(2)->state().focused);
    EXPECT_EQ(list->focusChild(), list->child(3));
    EXPECT_TRUE(list->child(2)->state().selected) << "moving is not choosing";
}

// A document opened takes the keyboard to its pages, so the page keys work at once.
TEST_F(WorkspaceTest, ThePageKeysWorkAsSoonAsADocumentShows) {
    QApplication::setActiveWindow(&screen);
    screen.openFiles({pdf("a.pdf")});
    settle();
    PageCanvas* canvas = editing()->canvas();
    ASSERT_TRUE(QTest::qWaitFor([&] { return canvas->hasFocus(); }, 1000));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_End);
    EXPECT_EQ(canvas->currentPageIndex(), 2);
}

// Opening never waits on the inspection: it starts once the first page is on screen, not at
// the open and not only when the fallback runs out.
TEST_F(WorkspaceTest, TheInspectionStartsOnceTheFirstPageIsOnScreen) {
    std::atomic<int> calls{0};
    EngineCalls engine = testing::instantExportEngine();
    engine.inspect = [&](const auto&...) {
        ++calls;
        return std::vector<InspectionFinding>{};
    };
    testing::TestServices own{std::nullopt, engine};

    auto model = RedactionViewModel::create(own.shared);
    model->setInspectionWaitsForFirstPage(true);
    model->open(pdf("a.pdf"));
    QTest::qWait(100);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(model->inspection().state, DocumentInspection::State::notStarted);
    model->firstPageShown();
    model->firstPageShown();
    ASSERT_TRUE(QTest::qWaitFor([&] { return model->inspection().state == DocumentInspection::State::done; }, 5000));
    EXPECT_EQ(calls, 1);

    WorkspaceScreen shown{own.shared};
    shown.resize(1200, 800);
    shown.show();
    QElapsedTimer sinceOpen;
    sinceOpen.start();
    shown.openFiles({pdf("b.pdf")});
    bool firstPage = false;
    QObject::connect(shown.findChild<PageCanvas*>(), &PageCanvas::firstPageShown, [&] { firstPage = true; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return calls == 2; }, 5000));
    EXPECT_TRUE(firstPage);
    EXPECT_LT(sinceOpen.elapsed(), 1500) << "started by the page, not the fallback";
}

// The model announces a new region before the page it selects: the view must not visit the
// previously selected page in between, nor move at all when the page is already in view.
TEST_F(LayoutTest, EditingThePageInViewNeverMovesTheView) {
    QScrollBar* scroll = layout->canvas()->verticalScrollBar();
    layout->canvas()->goToPage(3);
    scroll->setValue(scroll->value() + 200);  // reading the lower part of page 4, page 1 selected
    int moves = 0;
    QObject::connect(scroll, &QScrollBar::valueChanged, [&] { ++moves; });
    const PageRect low{300, 60, 80, 20};
    const struct {
        const char* what;
        std::function<void()> act;
        int moves;
    } steps[] =
        {
            {"drawing low on the page", [&] { model->addManual(3, low); }, 0},
            {"Redact All of hits on it",
             [&] {
        model->setSearchResults({hit(3, {72, 500, 80, 14}, "a"), hit(3, {72, 400, 80, 14}, "a")});
        model->addAllSearchResults();
             },
             0},
            {"Undo", [&] { model->undoLast(); }, 0},
            {"removing a region", [&] { model->remove(model->redactions().front()); }, 0},
            {"Redact All ending on a page out of view",
             [&] {
        model->setSearchResults({hit(3, {72, 300, 80, 14}, "b"), hit(5, {72, 300, 80, 14}, "b")});
        model->addAllSearchResults();
             },
             1},
      };
    for (const auto& step : steps) {
        moves = 0;
        step.act();
        EXPECT_EQ(moves, step.moves) << step.what;
    }
    EXPECT_EQ(layout->canvas()->currentPageIndex(), 5);
}

// A box in the page-space corner that each rotation turns to the top left of the thumbnail.
TEST(PageSidebar, ThumbnailsDrawPendingBoxesWhereThePageShowsThem) {
    const struct {
        PageRect media;
        int rotate;
        PageRect box;
    } pages[] = {{{0, 0, 612, 792}, 0, {0, 692, 150, 100}},
                 {{0, 0, 612, 792}, 90, {0, 0, 100, 150}},
                 {{-70, 500, 400, 300}, 180, {230, 500, 100, 75}},
                 {{100, -50, 300, 500}, 270, {300, 350, 100, 100}}};
    testing::DocumentPlan plan;
    for (const auto& p : pages)
        plan.pages.push_back({.mediaBox = p.media, .rotate = p.rotate});
    testing::TempDir dir;
    testing::writeFile(dir.file("turned.pdf"), testing::buildPdf(plan));
    auto owned = std::make_shared<testing::ModelProbe>();  // opening starts work the model must outlive
    testing::ModelProbe& model = *owned;
    model.open(QString::fromStdString(dir.file("turned.pdf").string()));
    PageSidebar sidebar(model);
    sidebar.resize(190, 900);
    sidebar.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&sidebar));
    for (std::size_t i = 0; i < std::size(pages); ++i)
        model.addManual(static_cast<qint64>(i), pages[i].box);
    for (std::size_t i = 0; i < std::size(pages); ++i) {
        const auto page = static_cast<qint64>(i);
        sidebar.verticalScrollBar()->setValue(sidebar.verticalScrollBar()->value() + sidebar.rowRect(page).top());
        const QImage shot = sidebar.viewport()->grab().toImage();
        const QRectF thumb = sidebar.thumbnailRect(page);
        const auto gray = [&](double fx, double fy) {
            return qGray(shot.pixel((thumb.topLeft() + QPointF(thumb.width() * fx, thumb.height() * fy)).toPoint()));
        };
        EXPECT_LT(gray(0.08, 0.08), 40) << "rotation " << pages[i].rotate;
        EXPECT_GT(gray(0.6, 0.6), 200) << "rotation " << pages[i].rotate;
        EXPECT_GT(gray(0.9, 0.1), 200) << "rotation " << pages[i].rotate;
    }
}

// Canvas and thumbnails draw through one service per document, which goes with its document.
TEST_F(LayoutTest, CanvasAndThumbnailsShareOneRenderServiceThatGoesWithItsDocument) {
    const auto shared = [&] {
        settle();
        EXPECT_EQ(layout->sidebar()->renderService(), layout->canvas()->renderService());
        return std::weak_ptr<PageRenderService>(layout->canvas()->renderService());
    };
    const auto first = shared();
    const double scales[] = {layout->canvas()->devicePixelsPerPoint(), layout->sidebar()->thumbnailPixelsPerPoint(0)};
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return first.lock()->has(0, scales[0]) && first.lock()->has(0, scales[1]); }, 9000));
    model->open(QString::fromStdString(dir.file("doc.pdf").string()));  // opened again: another document
    const auto second = shared();
    EXPECT_TRUE(first.expired() && !second.expired());
    model->clearDocument();
    EXPECT_TRUE(second.expired());
}

TEST_F(LayoutTest, VerdictPanelShowsTheOutcomeAndTheRevealButtonUntilTheRegionsChange) {
    QWidget* panel = layout->inspector()->verificationPanel();
    const auto label = [&](const char* name) { return panel->findChild<QLabel*>(QString::fromUtf8(name)); };
    for (const bool passed : {true, false}) {
        SCOPED_TRACE(passed ? "passed" : "needs review");
        addRegion(0, 100);
        EXPECT_FALSE(panel->isVisible());
        model->setOutputURL(passed ? std::nullopt : std::optional(QStringLiteral("/tmp/out.pdf")));
        model->setVerification(ExportVerification(
            3, passed ? std::vector<std::string>{} : std::vector<std::string>{"555-0100", "Jane Roe"}));
        ASSERT_TRUE(panel->isVisible());
        const QPalette& colours = label("verdictTitle")->palette();
        EXPECT_EQ(label("verdictTitle")->text(), passed ? "Verification Passed" : "Needs Review");
        EXPECT_EQ(colours.color(QPalette::WindowText),
                  passed ? theme::systemGreen(colours) : theme::systemOrange(colours));
        EXPECT_EQ(label("checkedPages")->text(), "3 pages checked.");
        EXPECT_EQ(label("suspiciousMatches")->isVisible() ? label("suspiciousMatches")->text() : QString(),
                  passed ? QString() : "Possible sensitive text still detected: 555-0100, Jane Roe");
        EXPECT_FALSE(label("unreadableTerms")->isVisible());
        EXPECT_EQ(layout->inspector()->revealButton()->isVisible(), !passed);
        QTest::mouseClick(layout->clearButton(), Qt::LeftButton);
        EXPECT_FALSE(panel->isVisible());
    }
    // A term no loaded recogniser can read is named as such, and has no place to show.
    addRegion(0, 100);
    model->setVerification(ExportVerification::fromFindings(
        2, {{"Zhang", std::nullopt, std::nullopt, RedactionSource::ocr, FindingReason::unreadableLetters}}));
    EXPECT_EQ(label("verdictTitle")->text(), "Needs Review");
    ASSERT_TRUE(label("unreadableTerms")->isVisible());
    EXPECT_TRUE(label("unreadableTerms")->text().contains(QStringLiteral("cannot read the letters of: Zhang")));
    EXPECT_FALSE(layout->inspector()->findingList()->isVisible());
    EXPECT_FALSE(layout->inspector()->redactRemainingButton()->isVisible());
}

// Outlines show where hits and findings are before anything is redacted, are never black,
// follow the row chosen, and go with the list they came from.
TEST_F(LayoutTest, HitsAndFindingsAreOutlinedUntilTheirListGoes) {
    PageCanvas* canvas = layout->canvas();
    const auto kinds = [&] {
        std::vector<std::pair<PageOutline::Kind, bool>> shown;
        for (const PageOutline& outline : canvas->outlines())
            shown.emplace_back(outline.kind, outline.emphasised);
        return shown;
    };
    using K = PageOutline::Kind;
    const PageRect place{72, 600, 120, 40};
    model->setSearchResults({hit(0, place, "Smith"), hit(3, {72, 300, 60, 14}, "Smith")});
    EXPECT_EQ(kinds(), (std::vector{std::pair{K::searchHit, false}, std::pair{K::searchHit, false}}));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return !canvas->renderService()->image(0, canvas->devicePixelsPerPoint()).isNull(); }, 10000));
    canvas->viewport()->repaint();
    const QImage shot = canvas->viewport()->grab().toImage();
    const QRect drawn = canvas->pageRectToViewport(0, place).toAlignedRect();
    int tinted = 0, black = 0;
    for (int y = drawn.top(); y <= drawn.bottom(); ++y) {
        for (int x = drawn.left(); x <= drawn.right(); ++x) {
            const QColor c = shot.pixelColor(x, y);
            tinted += c.green() > c.red() + 8;
            black += qGray(c.rgb()) < 40;
        }
    }
    EXPECT_GT(tinted, drawn.width() * drawn.height() / 2) << "a light tint over the page";
    EXPECT_EQ(black, 0);

    ResultListView* results = layout->inspector()->resultList();
    QTest::mouseClick(results->viewport(), Qt::LeftButton, {}, results->partRect(1).center());
    EXPECT_EQ(kinds(), (std::vector{std::pair{K::searchHit, false}, std::pair{K::searchHit, true}}));
    EXPECT_TRUE(QRectF(canvas->viewport()->rect()).contains(canvas->pageRectToViewport(3, {72, 300, 60, 14})));
    model->setSearchResults({});
    EXPECT_TRUE(canvas->outlines().empty());
    EXPECT_FALSE(model->highlight());

    model->setVerification(
        ExportVerification::fromFindings(6, {{"Jane Roe", 4, place, RedactionSource::ocr},
                                             {"555-0100", 1, PageRect{300, 500, 80, 14}, RedactionSource::ocr}}));
    FindingListView* findings = layout->inspector()->findingList();
    ASSERT_EQ(findings->rows()->rowCount(), 2);
    EXPECT_EQ(findings->shownText(0), QString::fromUtf8("Page 5 \u00b7 Jane Roe"));
    EXPECT_EQ(kinds(), (std::vector{std::pair{K::finding, false}, std::pair{K::finding, false}}));
    QTest::mouseClick(findings->viewport(), Qt::LeftButton, {}, findings->partRect(0).center());
    EXPECT_EQ(kinds(), (std::vector{std::pair{K::finding, true}, std::pair{K::finding, false}}));
    EXPECT_EQ(canvas->currentPageIndex(), 4);

    QTest::mouseClick(layout->inspector()->redactRemainingButton(), Qt::LeftButton);
    ASSERT_EQ(model->redactions().size(), 3u) << "the hit chosen, then both findings";
    EXPECT_EQ(model->redactions()[1].rect, place);
    EXPECT_FALSE(layout->inspector()->verificationPanel()->isVisible());
    EXPECT_TRUE(canvas->outlines().empty());
}

// Under the name, how the inspection stands; what it found is a link to a list by page. Its
// covered rows redact their place, choosing a row shows its place, and every place is outlined
// and its page marked until the findings go.
TEST_F(LayoutTest, TheInspectionIsSummedUpUnderTheNameAndListedByPage) {
    using State = DocumentInspection::State;
    QLabel* status = layout->inspectionLabel();
    QPushButton* link = layout->inspectionLink();
    const struct {
        DocumentInspection inspection;
        QString said;
    } quiet[] = {
        {{State::notStarted, {}, {}}, QString()},
        {{State::running, {}, {}}, QString::fromUtf8("Inspecting\u2026")},
        {{State::done, {}, {}}, QStringLiteral("Nothing hidden found")},
        {{State::failed, {}, "This PDF could not be inspected."}, QStringLiteral("Could not check for hidden content")},
    };
    for (const auto& q : quiet) {
        model->setInspection(q.inspection);
        EXPECT_EQ(status->isVisible() ? status->text() : QString(), q.said);
        EXPECT_FALSE(link->isVisible());
    }
    EXPECT_EQ(status->toolTip(), QStringLiteral("This PDF could not be inspected."));

    const PageRect covered{72, 600, 120, 14};
    const PageRect comment{20, 20, 30, 30};
    const PageRect underBox{300, 400, 80, 12};
    const std::vector<InspectionFinding> found{
        {InspectionKind::metadata, -1, std::nullopt, 3, std::nullopt, {}},
        {InspectionKind::coveredText, 1, covered, 12, HidingCause::image, {}},
        {InspectionKind::comment, 1, comment, 1, std::nullopt, {}},
        {InspectionKind::failedRedaction, 3, underBox, 9, HidingCause::box, {}},
    };
    model->setInspection({State::done, found, {}});
    EXPECT_FALSE(status->isVisible());
    ASSERT_TRUE(link->isVisible());
    const QString summary = QString::fromStdString(inspectionSummary(found));
    EXPECT_EQ(link->text(), summary);
    EXPECT_TRUE(link->accessibleName().endsWith(summary));
    std::vector<InspectionFinding> everyKind;  // a summary far longer than the toolbar has room for
    for (int kind = 0; kind <= static_cast<int>(InspectionKind::pageNotInspected); ++kind)
        everyKind.push_back({static_cast<InspectionKind>(kind), 0, std::nullopt, 2, std::nullopt, {}});
    model->setInspection({State::done, everyKind, {}});
    QApplication::processEvents();
    EXPECT_LT(link->width(), link->sizeHint().width()) << "cut";
    EXPECT_EQ(layout->width(), 1320) << "not widening the window";
    model->setInspection({State::done, found, {}});

    InspectorPanel* inspector = layout->inspector();
    HiddenContentListView* list = inspector->hiddenContentList();
    EXPECT_FALSE(inspector->hiddenContentSection()->isVisible());
    QApplication::setActiveWindow(layout.get());
    link->setFocus();
    QTest::keyClick(link, Qt::Key_Space);
    ASSERT_TRUE(inspector->hiddenContentSection()->isVisible());
    EXPECT_TRUE(QTest::qWaitFor([&] { return list->hasFocus(); }, 1000));
    const auto note = inspector->hiddenContentSection()->findChildren<QLabel*>();
    EXPECT_EQ(std::count_if(
                  note.begin(), note.end(),
                  [](const QLabel* label) {
        return label->isVisible() &&
               label->text() == "The secure copy leaves all of this out: it is made only from the pages' pixels.";
                  }),
              1);
    const auto said = [](const InspectionFinding& finding) { return QString::fromStdString(describe(finding)); };
    QStringList rows;
    std::vector<bool> redactable;
    for (int row = 0; row < list->rows()->rowCount(); ++row) {
        rows << list->rows()->index(row).data().toString();
        redactable.push_back(list->hasPart(row));
    }
    EXPECT_EQ(rows, (QStringList{"Document", said(found[0]), "Page 2", said(found[1]), said(found[2]), "Page 4",
                                 said(found[3])}));
    EXPECT_EQ(redactable, (std::vector<bool>{false, false, false, true, false, false, true}));
    EXPECT_TRUE(inspector->redactAllCoveredButton()->isVisible());

    PageCanvas* canvas = layout->canvas();
    const auto hiddenOutlines = [&] {
        std::vector<std::pair<PageRect, bool>> shown;
        for (const PageOutline& outline : canvas->outlines()) {
            if (outline.kind == PageOutline::Kind::hiddenContent) shown.emplace_back(outline.rect, outline.emphasised);
        }
        return shown;
    };
    using Outlines = std::vector<std::pair<PageRect, bool>>;
    EXPECT_EQ(hiddenOutlines(), (Outlines{{covered, false}, {comment, false}, {underBox, false}}));
    PageSidebar* sidebar = layout->sidebar();
    EXPECT_EQ((std::vector{sidebar->hidesContent(0), sidebar->hidesContent(1), sidebar->hidesContent(3)}),
              (std::vector{false, true, true}));
    EXPECT_EQ(QAccessible::queryAccessibleInterface(sidebar)->child(1)->text(QAccessible::Name),
              "Page 2, hides content");

    // Choosing a row shows its place; Return redacts covered text only; so does its button.
    const auto choose = [&](int row) { list->setCurrentIndex(list->rows()->index(row)); };
    choose(4);
    EXPECT_EQ(model->highlight(), (PageHighlight{1, comment, PageHighlight::Origin::inspection}));
    EXPECT_EQ(hiddenOutlines(), (Outlines{{covered, false}, {comment, true}, {underBox, false}}));
    QTest::keyClick(list, Qt::Key_Return);
    EXPECT_TRUE(model->redactions().empty());
    choose(3);
    QTest::keyClick(list, Qt::Key_Return);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->partRect(6).center());
    ASSERT_EQ(model->redactions().size(), 2u);
    EXPECT_EQ(model->redactions()[0].rect, covered);
    EXPECT_EQ(model->redactions()[1].rect, underBox);
    EXPECT_EQ(model->selectedPageIndex(), 3);
    QTest::mouseClick(inspector->redactAllCoveredButton(), Qt::LeftButton);
    EXPECT_EQ(model->redactions().size(), 2u) << "both are pending already";

    model->setInspection({});
    EXPECT_FALSE(inspector->hiddenContentSection()->isVisible());
    EXPECT_FALSE(link->isVisible());
    EXPECT_TRUE(hiddenOutlines().empty());
    EXPECT_FALSE(sidebar->hidesContent(1));
    EXPECT_FALSE(model->highlight());
}

}  // namespace
}  // namespace norvane
