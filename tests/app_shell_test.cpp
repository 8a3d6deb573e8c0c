// The application shell: launch-time window polling and the quit rule (over scripted window
// lists), sidebar navigation, window menus and their shortcuts, and the About panel.

#include "app/about_panel.h"
#include "app/app_delegate.h"
#include "app/main_window.h"
#include "app/root_view.h"
#include "canvas/page_canvas.h"
#include "history/recent_redactions_view.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"
#include "ui/announcer.h"
#include "ui/qt_desktop_services.h"
#include "ui/symbols.h"
#include "workspace/inspector_panel.h"
#include "workspace/workspace_screen.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QWindow>

#include <gtest/gtest.h>

#include <functional>

namespace norvane {
namespace {

// Windows, one letter each, appear at scripted times: 'm' a main window, 's' a sheet, 'p' an
// untitled panel, 'k' one that cannot become key. Work queued with runLater runs as time passes.
class FakeWindowSystem : public WindowSystem {
public:
    std::vector<std::pair<int, char>> arrivals;  // (ms after launch, window), in time order
    int nowMs = 0;
    mutable int searches = 0;
    std::vector<int> fronted;
    std::optional<bool> quitOnLastWindowClosed;
    std::function<void()> retry;  // the delegate keeps one retry pending at most
    int retryAt = 0;

    int windowCount() const override {
        ++searches;
        return static_cast<int>(
            std::count_if(arrivals.begin(), arrivals.end(), [this](const auto& a) { return a.first <= nowMs; }));
    }
    bool canBecomeKey(int index) const override { return kind(index) != 'k'; }
    bool isSheet(int index) const override { return kind(index) == 's'; }
    bool isTitled(int index) const override { return kind(index) != 'p'; }
    void makeRegularApplication() override {}
    void setApplicationIcon(const QImage&) override {}
    void activateIgnoringOtherApps() override {}
    void makeKeyAndOrderFront(int index) override { fronted.push_back(index); }
    void setQuitOnLastWindowClosed(bool quit) override { quitOnLastWindowClosed = quit; }
    void runLater(std::chrono::milliseconds delay, std::function<void()> work) override {
        retryAt = nowMs + static_cast<int>(delay.count());
        retry = std::move(work);
    }
    void runAll() {
        while (retry) {
            nowMs = retryAt;
            std::exchange(retry, nullptr)();
        }
    }

private:
    char kind(int index) const { return arrivals.at(static_cast<size_t>(index)).second; }
};

TEST(DelegatePolling, FrontsTheFirstQualifyingWindowOrGivesUpAfterAttemptTwenty) {
    const struct {
        const char* name;
        std::vector<std::pair<int, char>> arrivals;
        int searches;
        std::optional<int> front;
        bool delegateGone = false;  // destroyed right after launching: its pending retry does nothing
    } cases[] = {
        {"skipsUnsuitable", {{0, 's'}, {0, 'p'}, {0, 'k'}, {0, 'm'}, {0, 'm'}}, 1, 3},
        {"createdJustBeforeLastAttempt", {{0, 's'}, {2000, 'm'}}, 21, 1},
        {"createdTooLate", {{2001, 'm'}}, 21, std::nullopt},
        {"delegateGone", {{50, 'm'}}, 1, std::nullopt, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeWindowSystem system;
        system.arrivals = c.arrivals;
        auto delegate = std::make_unique<RedactionAppDelegate>(system);
        EXPECT_EQ(system.quitOnLastWindowClosed, false);
        delegate->applicationDidFinishLaunching();
        if (c.delegateGone) delegate.reset();
        system.runAll();
        EXPECT_EQ(system.searches, c.searches);
        EXPECT_EQ(system.fronted, c.front ? std::vector<int>{*c.front} : std::vector<int>{});
        EXPECT_EQ(system.quitOnLastWindowClosed, c.front.has_value());
        EXPECT_TRUE(!delegate || delegate->applicationShouldTerminateAfterLastWindowClosed() == c.front.has_value());
    }
}

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing::writeFile(temp.file("agreement.pdf"), testing::buildPdf(testing::textPages({"Alpha", "Beta"})));
    }

    static bool hasDocument(const MainWindow& window) {
        WorkspaceScreen* workspace = window.rootView()->workspace();
        return workspace && workspace->model().document() != nullptr;
    }

    // A main window showing the sample with one pending region.
    static void addPendingRegion(MainWindow& window, const QString& pdf) {
        window.openFiles({pdf});
        ASSERT_TRUE(QTest::qWaitFor([&] { return hasDocument(window); }));
        window.rootView()->workspace()->model().addManual(0, PageRect{72, 700, 100, 20});
    }

    testing::TempDir temp;
    testing::TestServices services{temp.file("history.json"), testing::instantExportEngine()};
    QString pdfPath = QString::fromStdString(temp.file("agreement.pdf").string());
};

TEST_F(ShellTest, SelectingASectionReplacesTheScreenWithAFreshOne) {
    RootView root(services.shared);
    QListWidget* sidebar = root.sidebar();
    ASSERT_EQ(sidebar->selectedItems().size(), 1);
    EXPECT_EQ(sidebar->selectedItems().first()->text(), QStringLiteral("Redaction"));
    root.workspace()->openFiles({pdfPath});
    ASSERT_TRUE(QTest::qWaitFor([&] { return root.workspace()->model().document() != nullptr; }));
    for (const auto& [item, screen] : {std::pair(RedactionSidebarItem::recent, "norvane::RecentRedactionsView"),
                                       std::pair(RedactionSidebarItem::howTo, "norvane::EnhancedRedactionHowToView"),
                                       std::pair(RedactionSidebarItem::redaction, "norvane::WorkspaceScreen")}) {
        QPointer<QWidget> before = root.detail();
        root.setSelection(item);
        EXPECT_TRUE(before.isNull()) << screen;
        EXPECT_TRUE(root.detail()->inherits(screen));
        EXPECT_TRUE(theme::hasSymbol(sidebarSymbol(item))) << screen;
    }
    EXPECT_EQ(root.workspace()->model().document(), nullptr);

    // Clicking a row selects its section; no selection at all shows the workspace, which then stays.
    sidebar->setCurrentItem(sidebar->findItems(QStringLiteral("How to Use"), Qt::MatchExactly).first());
    EXPECT_EQ(root.selection(), RedactionSidebarItem::howTo);
    sidebar->clearSelection();
    QPointer<WorkspaceScreen> shown = root.workspace();
    ASSERT_FALSE(shown.isNull());
    root.setSelection(RedactionSidebarItem::redaction);
    EXPECT_EQ(root.workspace(), shown.data());
}

// Tab reaches the sidebar, at the section shown; there the arrows move the keyboard's place
// and only Return, Enter or Space open the section there.
TEST_F(ShellTest, TabReachesTheSidebarWhoseArrowsMoveAndWhoseReturnOrSpaceOpensASection) {
    MainWindow window(services.shared);
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QListWidget* sidebar = window.rootView()->sidebar();
    for (int press = 0; press < 40 && !sidebar->hasFocus(); ++press)
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : &window, Qt::Key_Tab);
    ASSERT_TRUE(sidebar->hasFocus());
    const Qt::Key keys[] = {Qt::Key_Up,   Qt::Key_Down, Qt::Key_End,   Qt::Key_Down, Qt::Key_R,    Qt::Key_Return,
                            Qt::Key_Home, Qt::Key_Down, Qt::Key_Space, Qt::Key_Up,   Qt::Key_Enter};
    QStringList seen;  // the keyboard's place, then the section shown
    for (const Qt::Key key : keys) {
        QTest::keyClick(sidebar, key);
        seen << sidebar->currentItem()->text() + " > " + rawValue(*window.rootView()->selection());
    }
    EXPECT_EQ(seen.join(", "),
              "Redaction > Redaction, Recent Redactions > Redaction, How to Use > Redaction, How to Use > Redaction, "
              "How to Use > Redaction, How to Use > How to Use, Redaction > How to Use, Recent Redactions > How to "
              "Use, Recent Redactions > Recent Redactions, Redaction > Recent Redactions, Redaction > Redaction");
}

TEST_F(ShellTest, WorkspaceCommandsAreEnabledOnlyWhenTheyCanRunAndAnswerTheirShortcuts) {
    MainWindow window(services.shared);
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    const auto expectState = [&](bool exportOn, bool undoOn, bool findOn, const char* when) {
        EXPECT_EQ(window.exportAction()->isEnabled(), exportOn) << when;
        EXPECT_EQ(window.undoAction()->isEnabled(), undoOn) << when;
        EXPECT_EQ(window.findAction()->isEnabled(), findOn) << when;
        for (QAction* view : {window.zoomInAction(), window.zoomOutAction(), window.actualSizeAction(),
                              window.fitWidthAction(), window.fitPageAction(), window.goToPageAction()})
            EXPECT_EQ(view->isEnabled(), findOn) << when << " " << view->text().toStdString();
        EXPECT_TRUE(window.openAction()->isEnabled()) << when;
    };
    expectState(false, false, false, "landing");

    window.openFiles({pdfPath});
    ASSERT_TRUE(QTest::qWaitFor([&] { return hasDocument(window); }));
    expectState(false, false, true, "document open, nothing pending");
    RedactionViewModel& model = window.rootView()->workspace()->model();
    QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier);
    QLineEdit* search = window.findChild<InspectorPanel*>()->searchField();
    EXPECT_TRUE(search->hasFocus());
    QTest::keyClicks(search, "Alpha");
    EXPECT_EQ(model.searchText(), "Alpha");

    // The view commands answer their shortcuts wherever the focus is.
    PageCanvas* canvas = window.rootView()->workspace()->canvas();
    const struct {
        QKeySequence keys;
        PageCanvas::ZoomMode mode;
        double zoom;  // 0: fitted
    } zooms[] = {{QKeySequence(Qt::CTRL | Qt::Key_0), PageCanvas::ZoomMode::free, 1.0},
                 {QKeySequence::ZoomIn, PageCanvas::ZoomMode::free, 1.25},
                 {QKeySequence::ZoomOut, PageCanvas::ZoomMode::free, 1.0}};
    for (const auto& z : zooms) {
        QTest::keySequence(&window, z.keys);
        EXPECT_EQ(canvas->zoomMode(), z.mode) << z.keys.toString().toStdString();
        EXPECT_DOUBLE_EQ(canvas->zoom(), z.zoom) << z.keys.toString().toStdString();
    }
    window.fitPageAction()->trigger();
    EXPECT_EQ(canvas->zoomMode(), PageCanvas::ZoomMode::fitPage);
    QTest::keySequence(&window, QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_G));
    QTest::keyClicks(QApplication::focusWidget(), "2\r");
    EXPECT_EQ(canvas->currentPageIndex(), 1);
    window.fitWidthAction()->trigger();

    model.addManual(0, PageRect{72, 700, 100, 20});
    expectState(true, true, true, "one region pending");

    QTest::keyClick(&window, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(model.redactions().empty());
    expectState(false, false, true, "after undo");
    QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);  // disabled: no dialog, no error
    EXPECT_TRUE(services.desktop->asked.empty());
    EXPECT_FALSE(model.errorMessage());

    window.rootView()->setSelection(RedactionSidebarItem::recent);
    expectState(false, false, false, "history shown");

    // Each window keeps its own section and document; opening files returns to the workspace.
    MainWindow second(services.shared);
    EXPECT_EQ(second.rootView()->selection(), RedactionSidebarItem::redaction);
    window.openFiles({pdfPath});
    EXPECT_EQ(window.rootView()->selection(), RedactionSidebarItem::redaction);
    EXPECT_TRUE(QTest::qWaitFor([&] { return hasDocument(window); }));
    EXPECT_FALSE(hasDocument(second));
}

// Pictures of the panel have no desktop: their link does nothing.
TEST_F(ShellTest, OnlyTheSiteOpensThroughTheDesktopFromTheMenuAndThePanel) {
    MainWindow window(services.shared);
    window.websiteAction()->trigger();
    AboutPanel panel(services.desktop);
    EXPECT_EQ(panel.linkButton()->text(), websiteLinkTitle(websiteAddress()));
    panel.linkButton()->click();
    AboutPanel(nullptr).linkButton()->click();
    EXPECT_EQ(services.desktop->opened, (std::vector<QUrl>(2, QUrl(websiteAddress()))));

    // Only usable web addresses are opened.
    for (const char* address : {"https://norvane.example/", "http://tools.example.org/"}) {
        EXPECT_TRUE(websiteUrl(QString::fromUtf8(address))) << address;
    }
    for (const char* address : {"", "not a url", "https://", "file:///etc/passwd", "javascript:alert(1)"}) {
        EXPECT_FALSE(websiteUrl(QString::fromUtf8(address))) << address;
    }
    for (const char* address : {"https://norvane.example/", "https://norvane.example"})
        EXPECT_EQ(websiteLinkTitle(QString::fromUtf8(address)), QStringLiteral("https://norvane.example  \u2197"));
}

TEST_F(ShellTest, EveryWayOfClosingTheAboutPanelEndsItsModalRunAndReleasesIt) {
    const std::function<void(AboutPanel*)> closers[] = {[](AboutPanel* p) { QTest::keyClick(p, Qt::Key_Return); },
                                                        [](AboutPanel* p) { p->closeButton()->click(); },
                                                        [](AboutPanel* p) { p->close(); }};
    for (const auto& close : closers) {
        showNorvaneAbout(services.desktop);
        QPointer<AboutPanel> panel = currentAboutPanel();
        ASSERT_FALSE(panel.isNull());
        bool wasModal = false;
        // Runs inside the panel's modal loop.
        QTimer::singleShot(50, [&] {
            wasModal = QApplication::activeModalWidget() == panel.data();
            close(panel.data());
        });
        EXPECT_TRUE(QTest::qWaitFor([&] { return currentAboutPanel() == nullptr; }));
        EXPECT_TRUE(wasModal);
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
        EXPECT_TRUE(QTest::qWaitFor([&] { return panel.isNull(); }));
    }
}

// Qt adds a set display name to each title it hands X11 and Wayland; none is set, so what a
// window is given is what the title bar shows.
TEST_F(ShellTest, EveryWindowTitleReachesTheDesktopAsItIs) {
    configureApplication();
    QApplication::setApplicationName(QStringLiteral("probe"));
    EXPECT_EQ(QGuiApplication::applicationDisplayName(), QStringLiteral("probe"));  // follows: none set
    configureApplication();

    MainWindow window(services.shared);
    window.show();
    addPendingRegion(window, pdfPath);
    window.rootView()->workspace()->model().setErrorMessage(QStringLiteral("Something failed."));
    const auto modalTitle = [](const std::function<void()>& ask) {
        QString title;
        QTimer::singleShot(0, [&title] {
            title = QApplication::activeModalWidget()->windowHandle()->title();
            QApplication::activeModalWidget()->close();
        });
        ask();
        return title;
    };
    for (const QString& title :
         {window.windowHandle()->title(),
          window.findChild<QMessageBox*>(QStringLiteral("workspaceAlert"))->windowHandle()->title(),
          modalTitle([&] { RecentRedactionsView::askToClear(&window); }),
          modalTitle([&] { EXPECT_FALSE(MainWindow::askToDiscard(&window)); })}) {
        EXPECT_EQ(title, QStringLiteral("Norvane - Redaction Tool"));
    }
    AboutPanel about(nullptr);
    about.show();
    EXPECT_EQ(about.windowHandle()->title(), QString());  // the panel shows no title
}

TEST_F(ShellTest, ClosingAWindowAsksOnlyWhenNoExportHoldsItsRedactions) {
    const struct {
        const char* name;
        bool pending, exportFirst, addAfterExport, discard, asked;
    } cases[] = {
        {"nothing pending", false, false, false, false, false},
        {"pending, cancelled", true, false, false, false, true},
        {"pending, discarded", true, false, false, true, true},
        {"all in the last export", true, true, false, false, false},
        {"one added since the export", true, true, true, false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QPointer<MainWindow> window = MainWindow::openNewWindow(services.shared);
        int asked = 0;
        window->setDiscardQuestion([&](QWidget* parent) { return ++asked, parent == window && c.discard; });
        window->openFiles({pdfPath});
        ASSERT_TRUE(QTest::qWaitFor([&] { return hasDocument(*window); }));
        RedactionViewModel& model = window->rootView()->workspace()->model();
        if (c.pending) model.addManual(0, PageRect{72, 700, 100, 20});
        if (c.exportFirst) {
            services.desktop->answer = QString::fromStdString(temp.file("out.pdf").string());
            model.exportSecureCopy();
            ASSERT_TRUE(QTest::qWaitFor([&] { return !model.isBusy() && model.outputURL(); }));
        }
        if (c.addAfterExport) model.addManual(1, PageRect{72, 600, 80, 20});
        const size_t pending = model.redactions().size();
        QApplication::setActiveWindow(window);
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window.data(), Qt::Key_W, Qt::ControlModifier);
        EXPECT_EQ(asked, c.asked ? 1 : 0);
        const bool closes = !c.asked || c.discard;
        EXPECT_TRUE(QTest::qWaitFor([&] { return window.isNull() == closes; }));
        if (!closes) {
            EXPECT_EQ(model.redactions().size(), pending);  // the work is still there
            delete window.data();
        }
    }
}

TEST_F(ShellTest, LeavingTheWorkspaceWithUnexportedWorkAsksFirst) {
    const struct {
        const char* name;
        RedactionSidebarItem to;
        bool pending, discard, asked;
    } cases[] = {
        {"nothing pending", RedactionSidebarItem::recent, false, false, false},
        {"pending, cancelled", RedactionSidebarItem::recent, true, false, true},
        {"pending, cancelled on the guide", RedactionSidebarItem::howTo, true, false, true},
        {"pending, discarded", RedactionSidebarItem::howTo, true, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MainWindow window(services.shared);
        window.show();
        int asked = 0;
        window.setDiscardQuestion([&](QWidget* parent) { return ++asked, parent == &window && c.discard; });
        if (c.pending) {
            addPendingRegion(window, pdfPath);
        } else {
            window.openFiles({pdfPath});
            ASSERT_TRUE(QTest::qWaitFor([&] { return hasDocument(window); }));
        }
        // The way a person leaves: a click on the section's row.
        QListWidget* sidebar = window.rootView()->sidebar();
        QListWidgetItem* row = sidebar->findItems(sidebarTitle(c.to), Qt::MatchExactly).value(0);
        ASSERT_NE(row, nullptr);
        QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {}, sidebar->visualItemRect(row).center());
        EXPECT_EQ(asked, c.asked ? 1 : 0);
        const bool stays = c.asked && !c.discard;
        EXPECT_EQ(window.rootView()->workspace() != nullptr, stays);
        EXPECT_EQ(window.rootView()->selection(), stays ? RedactionSidebarItem::redaction : c.to);
        EXPECT_EQ(sidebar->currentItem()->text(), sidebarTitle(*window.rootView()->selection()));
        if (stays) {
            EXPECT_EQ(window.rootView()->workspace()->model().redactions().size(), 1u);
        }
    }
}

TEST_F(ShellTest, ARevealNoFileManagerCouldDoIsSaid) {
    for (const bool opens : {true, false}) {
        SCOPED_TRACE(opens ? "the folder opens" : "nothing opens it");
        QStringList opened, reported;
        QtDesktopServices desktop([&](const QUrl& url) { return opened << url.toLocalFile(), opens; },
                                  [&](const QString& path) { reported << path; });
        desktop.revealInFileManager(QStringLiteral("/tmp/out/copy-redacted.pdf"));
        // Through a file manager on the session bus, if one answers; otherwise the folder.
        if (!QTest::qWaitFor([&] { return !opened.isEmpty(); }, 7000)) continue;  // a file manager showed it
        EXPECT_EQ(opened, QStringList{QStringLiteral("/tmp/out")});
        EXPECT_EQ(reported, opens ? QStringList() : QStringList{QStringLiteral("/tmp/out/copy-redacted.pdf")});
    }
}

// After an export the verdict is where the keyboard is and is said aloud; what follows it on
// screen follows it for Tab; "Redact Remaining" hands the keyboard to the next export.
TEST_F(ShellTest, TheVerdictTakesTheFocusIsSaidAndRedactRemainingLeadsToExport) {
    EngineCalls engine = testing::instantExportEngine();
    engine.verifyOutput = [](const auto&, const auto&, const auto&, auto) {
        return ExportVerification::fromFindings(2, {{"Alpha", 0, PageRect{72, 700, 40, 12}, RedactionSource::ocr}});
    };
    testing::TestServices found(temp.file("found.json"), engine);
    found.desktop->answer = QString::fromStdString(temp.file("out.pdf").string());
    MainWindow window(found.shared);
    window.show();
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    addPendingRegion(window, pdfPath);
    RedactionViewModel& model = window.rootView()->workspace()->model();
    auto* inspector = window.findChild<InspectorPanel*>();
    model.exportSecureCopy();
    ASSERT_TRUE(QTest::qWaitFor([&] { return inspector->verdictHeadline()->hasFocus(); }));
    EXPECT_EQ(Announcer::of(&window)->lastAnnouncement(), QStringLiteral("Needs Review. 2 pages checked."));
    const QRect seen = inspector->viewport()->rect();
    const QWidget* headline = inspector->verdictHeadline();
    EXPECT_TRUE(seen.contains(QRect(headline->mapTo(inspector->viewport(), QPoint()), headline->size())));

    QStringList order;
    for (int press = 0; press < 3; ++press) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        order << QApplication::focusWidget()->accessibleName() + QApplication::focusWidget()->objectName();
    }
    const auto named = [](const QWidget* w) { return w->accessibleName() + w->objectName(); };
    EXPECT_EQ(order.join(QStringLiteral(" | ")), named(inspector->findingList()) + QStringLiteral(" | ") +
                                                     named(inspector->redactRemainingButton()) + QStringLiteral(" | ") +
                                                     named(inspector->revealButton()));
    QTest::keyClick(inspector->redactRemainingButton(), Qt::Key_Space);
    EXPECT_EQ(model.redactions().size(), 2u);
    const auto focusedText = [] {
        const auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
        return focused ? focused->text() : QString();
    };
    EXPECT_EQ(focusedText(), QStringLiteral("Export Secure Copy"));

    // A control that goes away under the keyboard never hands it to "Close Document".
    model.exportSecureCopy();
    ASSERT_TRUE(QTest::qWaitFor([&] { return inspector->verdictHeadline()->hasFocus(); }));
    inspector->redactRemainingButton()->setFocus();
    model.undoLast();
    EXPECT_FALSE(inspector->verificationPanel()->isVisible());
    EXPECT_EQ(focusedText(), QStringLiteral("Export Secure Copy"));
}

TEST_F(ShellTest, QuittingAsksInEachWindowAndStopsAtTheFirstCancel) {
    QPointer<MainWindow> windows[] = {MainWindow::openNewWindow(services.shared),
                                      MainWindow::openNewWindow(services.shared)};
    int asked = 0;
    bool discard = false;
    for (auto& window : windows) {
        window->setDiscardQuestion([&](QWidget*) { return ++asked, discard; });
        addPendingRegion(*window, pdfPath);
    }
    EXPECT_FALSE(MainWindow::closeAllForQuit());
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(windows[0]->isVisible() && windows[1]->isVisible());
    discard = true;
    EXPECT_TRUE(MainWindow::closeAllForQuit());
    EXPECT_EQ(asked, 3);
    EXPECT_TRUE(QTest::qWaitFor([&] { return windows[0].isNull() && windows[1].isNull(); }));
}

}  // namespace
}  // namespace norvane
