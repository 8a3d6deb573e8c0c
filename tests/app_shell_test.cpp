// The application shell: launch-time window polling and the quit rule (over scripted window
// lists), the drawn icon, sidebar navigation, window menus and the About panel.

#include "app/about_panel.h"
#include "app/app_delegate.h"
#include "app/app_icon.h"
#include "app/how_to_view.h"
#include "app/main_window.h"
#include "app/root_view.h"
#include "ui/symbols.h"
#include "ui/typography.h"
#include "model/recent_redaction_store.h"
#include "history/recent_redactions_view.h"
#include "tests/support/pdf_factory.h"
#include "workspace/workspace_screen.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QSet>
#include <QSplitter>
#include <QTimer>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>

namespace norvane {
namespace {

// ---- Launch polling and the quit rule ------------------------------------------------------

struct FakeWindow {
    bool canBecomeKey = true;
    bool isSheet = false;
    bool isTitled = true;
};

// Windows appear at scripted times; runLater queues closures the test runs as time passes.
class FakeWindowSystem : public WindowSystem {
public:
    struct Arrival {
        int atMs;
        FakeWindow window;
    };

    std::vector<Arrival> arrivals;
    int nowMs = 0;
    int searches = 0;
    std::vector<int> fronted;
    int activations = 0;
    std::optional<bool> quitOnLastWindowClosed;
    QImage icon;
    std::deque<std::pair<int, std::function<void()>>> pending;

    int windowCount() const override {
        ++const_cast<FakeWindowSystem*>(this)->searches;
        return static_cast<int>(visible().size());
    }
    bool canBecomeKey(int index) const override { return visible().at(static_cast<size_t>(index)).canBecomeKey; }
    bool isSheet(int index) const override { return visible().at(static_cast<size_t>(index)).isSheet; }
    bool isTitled(int index) const override { return visible().at(static_cast<size_t>(index)).isTitled; }
    void makeRegularApplication() override {}
    void setApplicationIcon(const QImage& image) override { icon = image; }
    void activateIgnoringOtherApps() override { ++activations; }
    void makeKeyAndOrderFront(int index) override { fronted.push_back(index); }
    void setQuitOnLastWindowClosed(bool quit) override { quitOnLastWindowClosed = quit; }
    void runLater(std::chrono::milliseconds delay, std::function<void()> work) override {
        pending.emplace_back(nowMs + static_cast<int>(delay.count()), std::move(work));
    }

    // Runs queued work in time order until nothing is left.
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
        for (const auto& arrival : arrivals) {
            if (arrival.atMs <= nowMs) result.push_back(arrival.window);
        }
        return result;
    }
};

struct PollingCase {
    const char* name;
    std::vector<FakeWindowSystem::Arrival> arrivals;
    int expectedSearches;
    std::optional<int> expectedFront;
};

class DelegatePolling : public ::testing::TestWithParam<PollingCase> {};

TEST_P(DelegatePolling, FrontsTheFirstQualifyingWindowOrGivesUpAfterAttemptTwenty) {
    const PollingCase& c = GetParam();
    FakeWindowSystem system;
    system.arrivals = c.arrivals;
    RedactionAppDelegate delegate(system);
    EXPECT_EQ(system.quitOnLastWindowClosed, std::optional<bool>(false));

    delegate.applicationDidFinishLaunching();
    system.runAll();

    EXPECT_EQ(system.searches, c.expectedSearches);
    if (c.expectedFront) {
        EXPECT_EQ(system.fronted, std::vector<int>{*c.expectedFront});
        EXPECT_EQ(system.activations, 1);
        EXPECT_TRUE(delegate.applicationShouldTerminateAfterLastWindowClosed());
        EXPECT_EQ(system.quitOnLastWindowClosed, std::optional<bool>(true));
    } else {
        EXPECT_TRUE(system.fronted.empty());
        EXPECT_FALSE(delegate.applicationShouldTerminateAfterLastWindowClosed());
        EXPECT_EQ(system.quitOnLastWindowClosed, std::optional<bool>(false));
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
                      PollingCase{"NeverAnyWindow", {}, 21, std::nullopt},
                      PollingCase{"OnlyUnsuitableWindows", {{0, kSheet}, {0, kUntitledPanel}, {0, kNotKey}}, 21,
                                  std::nullopt},
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

TEST(DelegateLaunch, InstallsTheDrawnIcon) {
    FakeWindowSystem system;
    system.arrivals.push_back({0, kMain});
    RedactionAppDelegate delegate(system);
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(system.icon.size(), QSize(512, 512));
}

// ---- The icon --------------------------------------------------------------------------------

struct IconPixel {
    const char* what;
    int x;  // image coordinates, origin at the upper left
    int y;
    std::function<bool(QColor)> holds;
};

TEST(DockIcon, ShapesSitWhereTheyAreDrawn) {
    const QImage icon = RedactionDockIconFactory::makeIcon();
    ASSERT_EQ(icon.size(), QSize(512, 512));
    auto transparent = [](QColor c) { return c.alpha() == 0; };
    auto white = [](QColor c) { return c == QColor(Qt::white); };
    auto black = [](QColor c) { return c == QColor(Qt::black); };
    auto opaqueGradient = [](QColor c) { return c.alpha() == 255 && c.red() > 100 && c.green() < 60; };
    const IconPixel pixels[] = {
        {"outside the square", 10, 10, transparent},
        {"rounded-off corner", 40, 40, transparent},
        {"rounded-off far corner", 471, 471, transparent},
        {"square near its top edge", 256, 40, opaqueGradient},
        {"square beside the page", 60, 256, opaqueGradient},
        {"page above the bars", 256, 120, white},
        {"upper bar", 340, 260, black},
        {"gap between bars", 200, 310, white},
        {"lower bar", 170, 350, black},
        {"right of the shorter lower bar", 330, 350, white},
    };
    for (const auto& p : pixels) {
        EXPECT_TRUE(p.holds(icon.pixelColor(p.x, p.y))) << p.what << " at " << p.x << "," << p.y;
    }
    // Colour A at the upper left of the gradient, colour B towards the lower right.
    const QColor upperLeft = icon.pixelColor(80, 80);
    const QColor lowerRight = icon.pixelColor(440, 440);
    EXPECT_GT(upperLeft.blue(), lowerRight.blue());
    EXPECT_LT(upperLeft.red(), lowerRight.red());
}

// ---- Sidebar items ---------------------------------------------------------------------------

TEST(SidebarItems, RawValuesAreExactAndOrdered) {
    const struct {
        RedactionSidebarItem item;
        const char* raw;
        const char* header;
    } expected[] = {{RedactionSidebarItem::redaction, "Redaction", "TOOLS"},
                    {RedactionSidebarItem::recent, "Recent Redactions", "LIBRARY"},
                    {RedactionSidebarItem::howTo, "How to Use", "HELP"}};
    ASSERT_EQ(allSidebarItems().size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(allSidebarItems()[i], expected[i].item);
        EXPECT_EQ(rawValue(expected[i].item), QString::fromUtf8(expected[i].raw));
        EXPECT_EQ(sidebarTitle(expected[i].item), rawValue(expected[i].item));
        EXPECT_EQ(sidebarSectionHeader(expected[i].item), QString::fromUtf8(expected[i].header));
        EXPECT_TRUE(theme::hasSymbol(sidebarSymbol(expected[i].item)));
        EXPECT_EQ(sidebarItemFromRawValue(QString::fromUtf8(expected[i].raw)), expected[i].item);
    }
    for (const char* raw : {"how to use", "Redaction ", "", "recent", "HELP"}) {
        EXPECT_EQ(sidebarItemFromRawValue(QString::fromUtf8(raw)), std::nullopt) << raw;
    }
    QSet<RedactionSidebarItem> set(allSidebarItems().begin(), allSidebarItems().end());
    EXPECT_EQ(set.size(), 3);
    EXPECT_EQ(qHash(RedactionSidebarItem::howTo, 7), qHash(QStringLiteral("How to Use"), 7));
}

// ---- Root navigation -------------------------------------------------------------------------

class ShellTest : public ::testing::Test {
protected:
    void SetUp() override {
        setUrlOpener([this](const QUrl& url) { opened.push_back(url); });
        pdfPath = QString::fromStdString(temp.file("agreement.pdf").string());
        testing::writeFile(temp.file("agreement.pdf"), testing::buildPdf(testing::textPages({"Alpha", "Beta"})));
    }
    void TearDown() override { setUrlOpener([](const QUrl&) {}); }

    static void settle(int ms = 30) {
        QElapsedTimer timer;
        timer.start();
        do QApplication::processEvents(QEventLoop::AllEvents, 10);
        while (timer.elapsed() < ms);
    }

    static bool waitFor(const std::function<bool()>& condition, int ms = 5000) {
        QElapsedTimer timer;
        timer.start();
        while (!condition()) {
            if (timer.elapsed() > ms) return false;
            QApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        return true;
    }

    testing::TempDir temp;
    RecentRedactionStore store{QString::fromStdString(temp.file("history/recent-redactions.json").string())};
    QString pdfPath;
    std::vector<QUrl> opened;
};

TEST_F(ShellTest, StartsOnTheWorkspaceWithRedactionHighlighted) {
    RootView root(&store);
    EXPECT_EQ(root.selection(), RedactionSidebarItem::redaction);
    ASSERT_NE(root.workspace(), nullptr);
    const auto selected = root.sidebar()->selectedItems();
    ASSERT_EQ(selected.size(), 1);
    EXPECT_EQ(selected.first()->text(), QStringLiteral("Redaction"));
}

TEST_F(ShellTest, LeavingASectionDiscardsItsScreenAndReturningBuildsAFreshOne) {
    RootView root(&store);
    root.workspace()->openFiles({pdfPath});
    ASSERT_TRUE(waitFor([&] { return root.workspace()->model().document() != nullptr; }));
    QPointer<QWidget> oldWorkspace = root.detail();

    const struct {
        RedactionSidebarItem item;
        std::function<bool(QWidget*)> isExpected;
    } steps[] = {
        {RedactionSidebarItem::recent, [](QWidget* w) { return qobject_cast<RecentRedactionsView*>(w) != nullptr; }},
        {RedactionSidebarItem::howTo, [](QWidget* w) { return qobject_cast<EnhancedRedactionHowToView*>(w) != nullptr; }},
        {RedactionSidebarItem::redaction, [](QWidget* w) { return qobject_cast<WorkspaceScreen*>(w) != nullptr; }},
    };
    for (const auto& step : steps) {
        QPointer<QWidget> before = root.detail();
        root.setSelection(step.item);
        EXPECT_TRUE(before.isNull()) << rawValue(step.item).toStdString();
        EXPECT_TRUE(step.isExpected(root.detail())) << rawValue(step.item).toStdString();
    }
    EXPECT_TRUE(oldWorkspace.isNull());
    EXPECT_EQ(root.workspace()->model().document(), nullptr);
}

TEST_F(ShellTest, ClickingARowSelectsItsSectionAndNoSelectionShowsTheWorkspace) {
    RootView root(&store);
    QListWidget* sidebar = root.sidebar();
    for (int i = 0; i < sidebar->count(); ++i) {
        if (sidebar->item(i)->text() == QStringLiteral("How to Use")) sidebar->setCurrentRow(i);
    }
    EXPECT_EQ(root.selection(), RedactionSidebarItem::howTo);
    EXPECT_NE(qobject_cast<EnhancedRedactionHowToView*>(root.detail()), nullptr);

    sidebar->clearSelection();
    EXPECT_EQ(root.selection(), std::nullopt);
    ASSERT_NE(root.workspace(), nullptr);

    // Selecting the workspace's own row keeps the workspace already shown.
    QPointer<WorkspaceScreen> shown = root.workspace();
    root.setSelection(RedactionSidebarItem::redaction);
    EXPECT_EQ(root.workspace(), shown.data());
}

TEST_F(ShellTest, NonSelectableRowsCannotBeSelected) {
    RootView root(&store);
    QListWidget* sidebar = root.sidebar();
    int selectable = 0;
    for (int i = 0; i < sidebar->count(); ++i) {
        if (sidebar->item(i)->flags() & Qt::ItemIsSelectable) ++selectable;
    }
    EXPECT_EQ(selectable, 3);  // the brand block and the section headers are not rows
}

TEST_F(ShellTest, SidebarWidthStaysWithinItsLimits) {
    MainWindow window(&store);
    window.show();
    settle();
    QSplitter* splitter = window.rootView()->splitter();
    QWidget* sidebar = window.rootView()->sidebar();
    EXPECT_EQ(sidebar->width(), RootView::sidebarIdealWidth);
    const struct {
        int asked;
        int expected;
    } drags[] = {{100, 220}, {500, 280}, {250, 250}};
    for (const auto& drag : drags) {
        const int total = splitter->sizes().first() + splitter->sizes().last();
        splitter->setSizes({drag.asked, total - drag.asked});
        settle();
        EXPECT_EQ(sidebar->width(), drag.expected) << drag.asked;
    }
}

// ---- Main window and menus -------------------------------------------------------------------

TEST_F(ShellTest, WindowOpensAtItsDefaultSizeAndRefusesToShrinkBelowTheMinimum) {
    MainWindow window(&store);
    window.show();
    settle();
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Norvane - Redaction Tool"));
    EXPECT_EQ(window.size(), QSize(1320, 860));
    window.resize(800, 500);
    EXPECT_EQ(window.size(), QSize(1120, 740));
}

TEST_F(ShellTest, WorkspaceCommandsAreEnabledOnlyWhenTheyCanRun) {
    MainWindow window(&store);
    struct State {
        bool exportOn, undoOn, findOn;
    };
    auto expectState = [&](State s, const char* when) {
        EXPECT_EQ(window.exportAction()->isEnabled(), s.exportOn) << when;
        EXPECT_EQ(window.undoAction()->isEnabled(), s.undoOn) << when;
        EXPECT_EQ(window.findAction()->isEnabled(), s.findOn) << when;
        EXPECT_TRUE(window.openAction()->isEnabled()) << when;
    };
    expectState({false, false, false}, "landing");

    window.openFiles({pdfPath});
    ASSERT_TRUE(waitFor([&] { return window.rootView()->workspace()->model().document() != nullptr; }));
    expectState({false, false, true}, "document open, nothing pending");

    window.rootView()->workspace()->model().addManual(0, PageRect{72, 700, 100, 20});
    expectState({true, true, true}, "one region pending");

    window.undoAction()->trigger();
    EXPECT_TRUE(window.rootView()->workspace()->model().redactions().empty());
    expectState({false, false, true}, "after undo");

    window.rootView()->setSelection(RedactionSidebarItem::recent);
    expectState({false, false, false}, "history shown");
    window.exportAction()->trigger();  // disabled commands do nothing when triggered anyway
    window.undoAction()->trigger();
}

TEST_F(ShellTest, OpeningFilesFromAnotherSectionReturnsToTheWorkspace) {
    MainWindow window(&store);
    window.rootView()->setSelection(RedactionSidebarItem::howTo);
    window.openFiles({pdfPath});
    ASSERT_NE(window.rootView()->workspace(), nullptr);
    EXPECT_EQ(window.rootView()->selection(), RedactionSidebarItem::redaction);
    EXPECT_TRUE(waitFor([&] { return window.rootView()->workspace()->model().document() != nullptr; }));
}

TEST_F(ShellTest, EachWindowHasItsOwnSelectionAndWorkspace) {
    MainWindow first(&store);
    MainWindow second(&store);
    EXPECT_NE(first.rootView()->workspace(), second.rootView()->workspace());
    first.rootView()->setSelection(RedactionSidebarItem::recent);
    EXPECT_EQ(second.rootView()->selection(), RedactionSidebarItem::redaction);
    EXPECT_NE(second.rootView()->workspace(), nullptr);

    second.openFiles({pdfPath});
    first.rootView()->setSelection(RedactionSidebarItem::redaction);
    EXPECT_TRUE(waitFor([&] { return second.rootView()->workspace()->model().document() != nullptr; }));
    EXPECT_EQ(first.rootView()->workspace()->model().document(), nullptr);
}

TEST_F(ShellTest, HelpMenuHoldsTheTwoCommands) {
    MainWindow window(&store);
    EXPECT_EQ(window.aboutAction()->text(), QStringLiteral("About Norvane Redaction"));
    EXPECT_EQ(window.aboutAction()->menuRole(), QAction::AboutRole);
    EXPECT_EQ(window.websiteAction()->text(), QStringLiteral("Explore More Local Tools"));
    window.websiteAction()->trigger();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened.front(), QUrl(websiteAddress()));
}

// ---- About panel ---------------------------------------------------------------------------

TEST_F(ShellTest, AboutPanelHasAFixedSizeAndEqualBadges) {
    AboutPanel panel;
    panel.show();
    settle();
    EXPECT_EQ(panel.size(), QSize(340, 248));
    EXPECT_EQ(panel.minimumSize(), QSize(340, 248));
    EXPECT_EQ(panel.maximumSize(), QSize(340, 248));
    panel.resize(500, 400);
    EXPECT_EQ(panel.size(), QSize(340, 248));
    EXPECT_TRUE(panel.windowTitle().isEmpty());
    EXPECT_TRUE(panel.closeButton()->isDefault());
}

struct ClosePath {
    const char* name;
    std::function<void(AboutPanel*)> close;
};

class AboutClosing : public ShellTest, public ::testing::WithParamInterface<ClosePath> {};

TEST_P(AboutClosing, EndsTheModalRun) {
    showNorvaneAbout();
    QPointer<AboutPanel> panel = currentAboutPanel();
    ASSERT_FALSE(panel.isNull());
    bool wasModal = false;
    // Runs inside the panel's modal loop.
    QTimer::singleShot(50, [&] {
        wasModal = QApplication::activeModalWidget() == panel.data();
        GetParam().close(panel.data());
    });
    EXPECT_TRUE(waitFor([&] { return currentAboutPanel() == nullptr; }));
    EXPECT_TRUE(wasModal);
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_TRUE(waitFor([&] { return panel.isNull(); }));  // released once closed
}

INSTANTIATE_TEST_SUITE_P(
    Paths, AboutClosing,
    ::testing::Values(ClosePath{"ReturnKey",
                                [](AboutPanel* p) {
                                    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
                                    QApplication::sendEvent(p, &press);
                                }},
                      ClosePath{"CloseButton", [](AboutPanel* p) { p->closeButton()->click(); }},
                      ClosePath{"TitleBarClose", [](AboutPanel* p) { p->close(); }}),
    [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

TEST_F(ShellTest, AboutLinkOpensTheSiteAndLeavesThePanelOpen) {
    AboutPanel panel;
    panel.show();
    panel.linkButton()->click();
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened.front(), QUrl(websiteAddress()));
    EXPECT_TRUE(panel.isVisible());
    EXPECT_EQ(panel.linkButton()->text(), websiteLinkTitle(websiteAddress()));
}

TEST(Website, OnlyUsableWebAddressesAreOpened) {
    const struct {
        const char* address;
        bool usable;
    } cases[] = {{"https://norvane.example/", true},
                 {"http://tools.example.org/", true},
                 {"", false},
                 {"not a url", false},
                 {"https://", false},
                 {"file:///etc/passwd", false},
                 {"javascript:alert(1)", false}};
    for (const auto& c : cases) {
        EXPECT_EQ(websiteUrl(QString::fromUtf8(c.address)).has_value(), c.usable) << c.address;
    }
    EXPECT_EQ(websiteLinkTitle(QStringLiteral("https://norvane.example/")), QStringLiteral("https://norvane.example  \u2197"));
    EXPECT_EQ(websiteLinkTitle(QStringLiteral("https://norvane.example")), QStringLiteral("https://norvane.example  \u2197"));
}

// ---- Platform wording ----------------------------------------------------------------------

TEST(PlatformText, MacPhrasesBecomeNeutralWording) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        {"Local export history stored only on this Mac.", "Local export history stored only on this computer."},
        {"Reads visible text from scanned or image-only PDF pages using local OCR on your Mac.",
         "Reads visible text from scanned or image-only PDF pages using local OCR on your computer."},
        {"Reveal Output in Finder", "Reveal Output in File Manager"},
        {"Developer ID Signed", "No Telemetry"},
        {"Apple Notarized", "Works Offline"},
        {"Universal App \u2014 Intel + Apple Silicon", "Native Desktop App"},
        {"Runs natively on both Intel and Apple Silicon Macs.", "Runs natively on this computer; no browser or cloud."},
        {"Export Secure Copy", "Export Secure Copy"},
        {"Machine", "Machine"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(theme::platformText(QString::fromUtf8(c.in)), QString::fromUtf8(c.out)) << c.in;
    }
}

TEST(Symbols, EveryNamedSymbolResolvesAndUnknownNamesGiveNothing) {
    for (const char* name : {"rectangle.and.pencil.and.ellipsis", "lock.shield.fill", "checkmark.shield.fill",
                             "exclamationmark.triangle.fill", "text.magnifyingglass", "questionmark.circle",
                             "clock.arrow.circlepath", "xmark.circle.fill", "tray.full.fill", "square.and.arrow.down",
                             "rectangle.fill", "lock.fill", "lightbulb.fill", "doc.on.doc", "doc.badge.plus",
                             "cursorarrow.click.2", "checkmark.circle.fill", "arrow.uturn.backward", "folder",
                             "viewfinder", "magnifyingglass", "eye", "cpu"}) {
        EXPECT_FALSE(theme::symbolIcon(QString::fromUtf8(name)).isNull()) << name;
        const QImage image = theme::symbolPixmap(QString::fromUtf8(name), 24, Qt::red).toImage();
        bool inked = false;
        for (int y = 0; y < image.height() && !inked; ++y) {
            for (int x = 0; x < image.width() && !inked; ++x) inked = image.pixelColor(x, y).alpha() > 0;
        }
        EXPECT_TRUE(inked) << name;
    }
    EXPECT_TRUE(theme::symbolIcon(QStringLiteral("no.such.symbol")).isNull());
    EXPECT_TRUE(theme::symbolPixmap(QStringLiteral("no.such.symbol"), 24, Qt::red).isNull());
}

}  // namespace
}  // namespace norvane
