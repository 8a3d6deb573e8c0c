// The Recent Redactions screen over a throwaway store: its two forms, the cards, clearing
// with and without confirmation, live updates, and the date wording.

#include "history/recent_redactions_view.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"
#include "ui/themed_widgets.h"

#include <QApplication>
#include <QFile>
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

// No file, an empty list, damaged JSON, an incomplete record, or no file path at all; the
// screen then follows the store.
TEST_F(HistoryViewTest, AnEmptyOrDamagedHistoryShowsThePlaceholderUntilAnExportIsRecorded) {
    std::filesystem::create_directories(temp.file("history"));
    for (const std::string contents : {"", "[]", "{[,", R"([{"id": "x", "pageCount": 1}])"}) {
        if (!contents.empty()) testing::writeFile(path.toStdString(), {contents.begin(), contents.end()});
        for (const bool withPath : {true, false}) {
            RecentRedactionStore store(withPath ? std::optional(path) : std::nullopt);
            RecentRedactionsView view(store, desktop);
            EXPECT_TRUE(view.showsPlaceholder()) << contents;
            EXPECT_FALSE(view.clearButton()->isEnabled());
            EXPECT_FALSE(view.confirmingClear());

            store.add(QStringLiteral("older.pdf"), QStringLiteral("/out/older.pdf"), 1, 1, true);
            store.add(QStringLiteral("newer.pdf"), QStringLiteral("/out/newer.pdf"), 1, 1, false);
            ASSERT_EQ(view.cards().size(), 2);
            EXPECT_EQ(textOf(view.cards().first(), "sourceName"), QStringLiteral("newer.pdf"));
            EXPECT_TRUE(view.clearButton()->isEnabled());
            store.clear();
            EXPECT_TRUE(view.showsPlaceholder());
            EXPECT_FALSE(view.clearButton()->isEnabled());
        }
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

    const struct {
        const char* source;
        const char* counts;
        const char* badge;
    } expected[] = {
        {"final-report.pdf", "1200 pages \u00B7 35000 redactions", "checkmark.shield.fill"},
        {"<b>Überweisung</b> &amp; co.pdf", "12 pages \u00B7 0 redactions", "exclamationmark.triangle.fill"}};
    const auto cards = view.cards();
    ASSERT_EQ(cards.size(), 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(textOf(cards[i], "sourceName"), QString::fromUtf8(expected[i].source));
        EXPECT_EQ(cards[i]->findChild<QLabel*>(QStringLiteral("sourceName"))->textFormat(), Qt::PlainText);
        EXPECT_EQ(textOf(cards[i], "counts"), QString::fromUtf8(expected[i].counts));
        EXPECT_EQ(cards[i]->findChild<theme::SymbolView*>(QStringLiteral("verificationBadge"))->symbol(),
                  QString::fromUtf8(expected[i].badge));
        EXPECT_FALSE(textOf(cards[i], "date").isEmpty());
    }

    // A long path keeps its beginning and its end.
    auto* label = cards[0]->findChild<theme::MiddleElidedLabel*>(QStringLiteral("outputPath"));
    EXPECT_EQ(label->fullText(), longPath);
    const QString shown = label->displayedText();
    EXPECT_TRUE(shown.startsWith(longPath.left(5)) && shown.endsWith(QStringLiteral("-redacted.pdf")) &&
                shown.contains(QChar(0x2026)))
        << shown.toStdString();

    // The file never existed: its path is handed over all the same.
    cards[0]->findChild<QPushButton*>(QStringLiteral("reveal"))->click();
    EXPECT_EQ(desktop->revealed, QStringList{longPath});
}

TEST_F(HistoryViewTest, OnlyAConfirmedClearEmptiesTheHistoryAndNeverTouchesAPdf) {
    RecentRedactionStore store(path);
    const std::filesystem::path pdf = temp.file("kept.pdf");
    testing::writeFile(pdf, testing::buildPdf(testing::textPages({"kept"})));
    store.add(QStringLiteral("kept.pdf"), QString::fromStdString(pdf.string()), 1, 1, true);
    RecentRedactionsView view(store, desktop);
    for (const bool confirm : {false, true}) {
        bool flagWhileAsking = false;
        view.setConfirmClear([&](QWidget*) {
            flagWhileAsking = view.confirmingClear();
            return confirm;
        });
        view.clearButton()->click();
        EXPECT_TRUE(flagWhileAsking);
        EXPECT_FALSE(view.confirmingClear());
        EXPECT_EQ(store.records().size(), confirm ? 0u : 1u);
        EXPECT_EQ(view.showsPlaceholder(), confirm);
    }
    EXPECT_TRUE(std::filesystem::exists(pdf));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll().trimmed(), QByteArray("[]"));
}

TEST(HistoryWording, DatesShowYearMonthDayHourMinuteOnly) {
    // Monday 16 November 2026, 08:06:29 local time.
    const QDateTime when(QDate(2026, 11, 16), QTime(8, 6, 29));
    for (const char* name : {"en_US", "en_GB", "de_DE", "fr_FR", "ja_JP", "ar_EG"}) {
        QLocale locale{QString::fromLatin1(name)};
        locale.setNumberOptions(QLocale::OmitGroupSeparator);
        const QString text = formatExportDate(when, locale);
        SCOPED_TRACE(std::string(name) + ": " + text.toStdString());
        EXPECT_TRUE(text.contains(locale.toString(2026)) || text.contains(QStringLiteral("2026")));
        EXPECT_FALSE(text.contains(locale.toString(29)));  // no seconds
        EXPECT_FALSE(text.contains(locale.dayName(1, QLocale::LongFormat)));
        EXPECT_FALSE(text.front().isPunct() || text.back().isPunct());
        if (locale.dateFormat(QLocale::LongFormat).contains(QStringLiteral("MMM"))) {
            EXPECT_TRUE(text.contains(locale.monthName(11, QLocale::ShortFormat)));
        }
        EXPECT_TRUE(text.contains(locale.toString(6).rightJustified(2, locale.zeroDigit().at(0))) ||
                    text.contains(QStringLiteral("06")));
    }
}

}  // namespace
}  // namespace norvane
