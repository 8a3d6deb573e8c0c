// The Recent Redactions screen over a throwaway store: its two forms, live updates, clearing
// with and without confirmation, the cards, and the date wording.

#include "history/recent_redactions_view.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"
#include "ui/themed_widgets.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

namespace norvane {
namespace {

QString textOf(QWidget* card, const char* name) {
    return card->findChild<QLabel*>(QString::fromUtf8(name))->text();
}

class HistoryViewTest : public ::testing::Test {
protected:
    testing::TempDir temp;
    std::shared_ptr<testing::ScriptedDesktop> desktop = std::make_shared<testing::ScriptedDesktop>();
    QString path = QString::fromStdString(temp.file("history/recent-redactions.json").string());
};

// No file, an empty list, damaged JSON, an incomplete record, or no file path at all: the
// placeholder, then the store followed live. Only a confirmed clear empties it, and no PDF goes.
TEST_F(HistoryViewTest, TheScreenFollowsTheStoreAndOnlyAConfirmedClearEmptiesIt) {
    std::filesystem::create_directories(temp.file("history"));
    const std::filesystem::path pdf = temp.file("kept.pdf");
    testing::writeFile(pdf, testing::buildPdf(testing::textPages({"kept"})));
    for (const std::string contents : {"", "[]", "{[,", R"([{"id": "x", "pageCount": 1}])", "no path"}) {
        SCOPED_TRACE(contents);
        if (!contents.empty()) testing::writeFile(path.toStdString(), {contents.begin(), contents.end()});
        RecentRedactionStore store(contents == "no path" ? std::nullopt : std::optional(path));
        RecentRedactionsView view(store, desktop);
        EXPECT_TRUE(view.showsPlaceholder());
        EXPECT_FALSE(view.clearButton()->isEnabled());
        store.add(QStringLiteral("older.pdf"), QString::fromStdString(pdf.string()), 1, 1, true);
        store.add(QStringLiteral("newer.pdf"), QString::fromStdString(pdf.string()), 1, 1, false);
        ASSERT_EQ(view.cards().size(), 2);
        EXPECT_EQ(textOf(view.cards().first(), "sourceName"), QStringLiteral("newer.pdf"));
        for (const bool confirm : {false, true}) {
            bool flagWhileAsking = false;
            view.setConfirmClear([&](QWidget*) {
                flagWhileAsking = view.confirmingClear();
                return confirm;
            });
            EXPECT_TRUE(view.clearButton()->isEnabled());
            view.clearButton()->click();
            EXPECT_TRUE(flagWhileAsking);
            EXPECT_FALSE(view.confirmingClear());
            EXPECT_EQ(view.showsPlaceholder(), confirm);
        }
        EXPECT_FALSE(view.clearButton()->isEnabled());
        EXPECT_TRUE(std::filesystem::exists(pdf));
    }
}

TEST_F(HistoryViewTest, CardsShowTheirFactsVerbatimAndRevealThePathAsRecorded) {
    RecentRedactionStore store(path);
    const QString longPath = QString::fromStdString(temp.file("gone").string()) + QLatin1Char('/') +
                             QString(240, QLatin1Char('x')) + QStringLiteral("/final-report-redacted.pdf");
    store.add(QStringLiteral("<b>Überweisung</b> &amp; co.pdf"), QStringLiteral("/out/second.pdf"), 12, 0, false);
    store.add(QStringLiteral("final-report.pdf"), longPath, 1200, 35000, true);
    RecentRedactionsView view(store, desktop);
    view.resize(900, 600);
    view.show();
    QApplication::processEvents();

    // Everything as recorded, newest first; a name is never read as markup.
    const auto facts = [](QWidget* card) {
        EXPECT_EQ(card->findChild<QLabel*>(QStringLiteral("sourceName"))->textFormat(), Qt::PlainText);
        return QStringList{textOf(card, "sourceName"), textOf(card, "counts"),
                           card->findChild<theme::SymbolView*>(QStringLiteral("verificationBadge"))->symbol()}
            .join(QStringLiteral(" | "));
    };
    const auto cards = view.cards();
    ASSERT_EQ(cards.size(), 2);
    EXPECT_EQ(facts(cards[0]), "final-report.pdf | 1200 pages \u00B7 35000 redactions | checkmark.shield.fill");
    EXPECT_EQ(facts(cards[1]),
              "<b>Überweisung</b> &amp; co.pdf | 12 pages \u00B7 0 redactions | exclamationmark.triangle.fill");

    // A long path keeps its beginning and its end; the file never existed, yet its path is revealed.
    const QString shown = cards[0]->findChild<theme::ElidedLabel*>(QStringLiteral("outputPath"))->displayedText();
    EXPECT_TRUE(shown.startsWith(longPath.left(5)) && shown.endsWith(QStringLiteral("-redacted.pdf")) &&
                shown.contains(QChar(0x2026)))
        << shown.toStdString();
    cards[0]->findChild<QPushButton*>(QStringLiteral("reveal"))->click();
    EXPECT_EQ(desktop->revealed, QStringList{longPath});
}

}  // namespace
}  // namespace norvane
