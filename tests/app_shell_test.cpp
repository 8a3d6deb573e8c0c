// The application shell: launch-time window polling and the quit rule (over scripted window
// lists), sidebar navigation, window menus and their shortcuts, and the About panel.

#include "app/about_panel.h"
#include "app/app_delegate.h"
#include "app/how_to_view.h"
#include "app/main_window.h"
#include "app/root_view.h"
#include "history/recent_redactions_view.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"
#include "ui/symbols.h"
#include "workspace/workspace_screen.h"

#include <QAction>
#include <QApplication>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>

namespace norvane {
namespace {

// ---- Launch polling and the quit rule ----

struct FakeWindow {
    bool canBecomeKey = true;
    bool isSheet = false;
    bool isTitled = true;
};

// Windows appear at scripted times; work queued with runLater runs as time passes.
class FakeWindowSystem : public WindowSystem {
public:
    std::vector<std::pair<int, FakeWindow>> arrivals;  // (ms after launch, window)
    int nowMs = 0;
    mutable int searches = 0;
    std::vector<int> fronted;
    std::optional<bool> quitOnLastWindowClosed;
    QImage icon;
    std::deque<std::pair<int, std::function<void()>>> pending;

    int windowCount() const override {
        ++searches;
        return static_cast<int>(visible().size());
    }
    bool canBecomeKey(int index) const override { return visible().at(static_cast<size_t>(index)).canBecomeKey; }
    bool isSheet(int index) const override { return visible().at(static_cast<size_t>(index)).isSheet; }
    bool isTitled(int index) const override { return visible().at(static_cast<size_t>(index)).isTitled; }
    void makeRegularApplication() override {}
    void setApplicationIcon(const QImage& image) override { icon = image; }
    void activateIgnoringOtherApps() override {}
    void makeKeyAndOrderFront(int index) override { fronted.push_back(index); }
    void setQuitOnLastWindowClosed(bool quit) override { quitOnLastWindowClosed = quit; }
    void runLater(std::chrono::milliseconds delay, std::function<void()> work) override {
        pending.emplace_back(nowMs + static_cast<int>(delay.count()), std::move(work));
    }

    void runAll() {
        while (!pending.empty()) {
            auto [at, work] = std::move(pending.front());
            pending.pop_front();
            nowMs = at;
            work();
        }
    }

private:
    std::vector<FakeWindow> visible() const {
        std::vector<FakeWindow> result;
        for (const auto& [at, window] : arrivals) {
            if (at <= nowMs) result.push_back(window);
        }
        return result;
    }
};

struct PollingCase {
    friend void PrintTo(const PollingCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<std::pair<int, FakeWindow>> arrivals;
    int expectedSearches;
    std::optional<int> expectedFront;
};

class DelegatePolling : public ::testing::TestWithParam<PollingCase> {};

TEST_P(DelegatePolling, FrontsTheFirstQualifyingWindowOrGivesUpAfterAttemptTwenty) {
    const PollingCase& c = GetParam();
    FakeWindowSystem system;
    system.arrivals = c.arrivals;
    RedactionAppDelegate delegate(system);
    EXPECT_EQ(system.quitOnLastWindowClosed, false);

    delegate.applicationDidFinishLaunching();
    system.runAll();

    EXPECT_EQ(system.icon.size(), QSize(512, 512));
    EXPECT_EQ(system.searches, c.expectedSearches);
    EXPECT_EQ(system.fronted, c.expectedFront ? std::vector<int>{*c.expectedFront} : std::vector<int>{});
    EXPECT_EQ(delegate.applicationShouldTerminateAfterLastWindowClosed(), c.expectedFront.has_value());
    EXPECT_EQ(system.quitOnLastWindowClosed, c.expectedFront.has_value());
    if (!c.expectedFront) {
        EXPECT_EQ(system.nowMs, 2000);  // the last attempt, about two seconds after launch
    }
}

const FakeWindow kMain{};
const FakeWindow kSheet{true, true, true};
const FakeWindow kUntitledPanel{true, false, false};
const FakeWindow kNotKey{false, false, true};

INSTANTIATE_TEST_SUITE_P(
    Launch, DelegatePolling,
    ::testing::Values(PollingCase{"PresentAtLaunch", {{0, kMain}}, 1, 0},
                      PollingCase{"CreatedAfter350ms", {{350, kMain}}, 5, 0},
                      PollingCase{"CreatedJustBeforeLastAttempt", {{2000, kMain}}, 21, 0},
                      PollingCase{"CreatedTooLate", {{2001, kMain}}, 21, std::nullopt},
                      PollingCase{
                          "OnlyUnsuitableWindows", {{0, kSheet}, {0, kUntitledPanel}, {0, kNotKey}}, 21, std::nullopt},
                      PollingCase{"SkipsUnsuitableBeforeMain", {{0, kSheet}, {0, kNotKey}, {0, kMain}}, 1, 2},
                      PollingCase{"EarlierOfTwoMainWindows", {{0, kUntitledPanel}, {0, kMain}, {0, kMain}}, 1, 1}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

TEST(DelegateLifetime, PendingRetryAfterTheDelegateIsGoneDoesNothing) {
    FakeWindowSystem system;
    auto delegate = std::make_unique<RedactionAppDelegate>(system);
    delegate->applicationDidFinishLaunching();
    ASSERT_EQ(system.pending.size(), 1u);
    delegate.reset();
    system.arrivals.push_back({0, kMain});
    const int searchesBefore = system.searches;
    system.runAll();
    EXPECT_EQ(system.searches, searchesBefore);
    EXPECT_TRUE(system.fronted.empty());
}

// ---- Windows, navigation and menus ----

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing::writeFile(temp.file("agreement.pdf"), testing::buildPdf(testing::textPages({"Alpha", "Beta"})));
    }

    static bool hasDocument(const MainWindow& window) {
        WorkspaceScreen* workspace = window.rootView()->workspace();
        return workspace && workspace->model().document() != nullptr;
    }

    testing::TempDir temp;
    testing::TestServices services{temp.file("history.json")};
    QString pdfPath = QString::fromStdString(temp.file("agreement.pdf").string());
};

TEST_F(ShellTest, SelectingASectionReplacesTheScreenWithAFreshOne) {
    RootView root(services.shared);
    EXPECT_EQ(root.selection(), RedactionSidebarItem::redaction);
    QListWidget* sidebar = root.sidebar();
    int selectable = 0;
    for (int i = 0; i < sidebar->count(); ++i) {
        if (sidebar->item(i)->flags() & Qt::ItemIsSelectable) ++selectable;
    }
    EXPECT_EQ(selectable, 3);  // the brand block and the section headers are not rows
    ASSERT_EQ(sidebar->selectedItems().size(), 1);
    EXPECT_EQ(sidebar->selectedItems().first()->text(), QStringLiteral("Redaction"));

    root.workspace()->openFiles({pdfPath});
    ASSERT_TRUE(QTest::qWaitFor([&] { return root.workspace()->model().document() != nullptr; }));
    QPointer<QWidget> oldWorkspace = root.detail();
    for (const auto& [item, screen] : {std::pair(RedactionSidebarItem::recent, "norvane::RecentRedactionsView"),
                                       std::pair(RedactionSidebarItem::howTo, "norvane::EnhancedRedactionHowToView"),
                                       std::pair(RedactionSidebarItem::redaction, "norvane::WorkspaceScreen")}) {
        QPointer<QWidget> before = root.detail();
        root.setSelection(item);
        EXPECT_TRUE(before.isNull()) << screen;
        EXPECT_TRUE(root.detail()->inherits(screen));
        EXPECT_TRUE(theme::hasSymbol(sidebarSymbol(item))) << screen;
    }
    EXPECT_TRUE(oldWorkspace.isNull());
    EXPECT_EQ(root.workspace()->model().document(), nullptr);

    // Clicking a row selects its section; no selection at all shows the workspace.
    sidebar->setCurrentItem(sidebar->findItems(QStringLiteral("How to Use"), Qt::MatchExactly).first());
    EXPECT_EQ(root.selection(), RedactionSidebarItem::howTo);
    sidebar->clearSelection();
    EXPECT_EQ(root.selection(), std::nullopt);
    QPointer<WorkspaceScreen> shown = root.workspace();
    ASSERT_FALSE(shown.isNull());
    root.setSelection(RedactionSidebarItem::redaction);
    EXPECT_EQ(root.workspace(), shown.data()) << "the workspace already shown stays";
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
        EXPECT_TRUE(window.openAction()->isEnabled()) << when;
    };
    expectState(false, false, false, "landing");

    window.openFiles({pdfPath});
    ASSERT_TRUE(QTest::qWaitFor([&] { return hasDocument(window); }));
    expectState(false, false, true, "document open, nothing pending");

    RedactionViewModel& model = window.rootView()->workspace()->model();
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
    window.exportAction()->trigger();  // disabled commands do nothing when triggered anyway
    window.undoAction()->trigger();
}

TEST_F(ShellTest, EachWindowHasItsOwnSectionAndOpeningFilesReturnsToTheWorkspace) {
    MainWindow first(services.shared);
    MainWindow second(services.shared);
    EXPECT_NE(first.rootView()->workspace(), second.rootView()->workspace());
    first.rootView()->setSelection(RedactionSidebarItem::howTo);
    EXPECT_EQ(second.rootView()->selection(), RedactionSidebarItem::redaction);

    first.openFiles({pdfPath});
    EXPECT_EQ(first.rootView()->selection(), RedactionSidebarItem::redaction);
    EXPECT_TRUE(QTest::qWaitFor([&] { return hasDocument(first); }));
    EXPECT_FALSE(hasDocument(second));
}

// ---- Help menu and About panel ----

TEST_F(ShellTest, TheSiteOpensThroughTheDesktopFromTheMenuAndThePanel) {
    MainWindow window(services.shared);
    EXPECT_EQ(window.aboutAction()->menuRole(), QAction::AboutRole);
    window.websiteAction()->trigger();

    AboutPanel panel(services.desktop);
    panel.show();
    EXPECT_EQ(panel.linkButton()->text(), websiteLinkTitle(websiteAddress()));
    panel.linkButton()->click();
    EXPECT_EQ(services.desktop->opened, (std::vector<QUrl>(2, QUrl(websiteAddress()))));
    EXPECT_TRUE(panel.isVisible());

    // Pictures of the panel have no desktop: the link does nothing.
    AboutPanel detached(nullptr);
    detached.linkButton()->click();
    EXPECT_EQ(services.desktop->opened.size(), 2u);
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

TEST(Website, OnlyUsableWebAddressesAreOpened) {
    const std::pair<const char*, bool> cases[] = {{"https://norvane.example/", true},
                                                  {"http://tools.example.org/", true},
                                                  {"", false},
                                                  {"not a url", false},
                                                  {"https://", false},
                                                  {"file:///etc/passwd", false},
                                                  {"javascript:alert(1)", false}};
    for (const auto& [address, usable] : cases) {
        EXPECT_EQ(websiteUrl(QString::fromUtf8(address)).has_value(), usable) << address;
    }
    for (const char* address : {"https://norvane.example/", "https://norvane.example"}) {
        EXPECT_EQ(websiteLinkTitle(QString::fromUtf8(address)), QStringLiteral("https://norvane.example  \u2197"));
    }
}

}  // namespace
}  // namespace norvane
