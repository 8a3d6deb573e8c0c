// The Recent Redactions screen over a throwaway store: its two forms, the cards, clearing
// with and without confirmation, live updates, and the date wording.

#include "ui/themed_widgets.h"
#include "model/recent_redaction_store.h"
#include "history/recent_redactions_view.h"
#include "tests/support/pdf_factory.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

namespace norvane {
namespace {

class HistoryViewTest : public ::testing::Test {
protected:
    QString storePath() const { return QString::fromStdString(temp.file("history/recent-redactions.json").string()); }

    static QString textOf(QWidget* card, const char* name) {
        if (auto* label = card->findChild<QLabel*>(QString::fromUtf8(name))) return label->text();
        return {};
    }

    static QString badgeOf(QWidget* card) {
        auto* badge = card->findChild<theme::SymbolView*>(QStringLiteral("verificationBadge"));
        return badge ? badge->symbol() : QString();
    }

    testing::TempDir temp;
    RecentRedactionStore store{storePath()};
};

TEST_F(HistoryViewTest, EmptyHistoryShowsThePlaceholderAndDisablesClear) {
    RecentRedactionsView view(store);
    EXPECT_TRUE(view.showsPlaceholder());
    EXPECT_FALSE(view.clearButton()->isEnabled());
    EXPECT_TRUE(view.cards().isEmpty());
    bool placeholderTitle = false;
    for (auto* label : view.findChildren<QLabel*>()) {
        if (label->text() == QStringLiteral("No Recent Redactions")) placeholderTitle = label->isVisibleTo(&view);
    }
    EXPECT_TRUE(placeholderTitle);
}

TEST_F(HistoryViewTest, CardsListRecordsNewestFirstWithTheirFacts) {
    store.add(QStringLiteral("first.pdf"), QStringLiteral("/out/first-redacted.pdf"), 1, 1, true);
    store.add(QStringLiteral("Überweisung Ärztin.pdf"), QStringLiteral("/out/second-redacted.pdf"), 12, 0, false);
    store.add(QStringLiteral("third.pdf"), QStringLiteral("/out/third-redacted.pdf"), 3, 250, true);
    RecentRedactionsView view(store);
    ASSERT_FALSE(view.showsPlaceholder());
    EXPECT_TRUE(view.clearButton()->isEnabled());

    const struct {
        const char* source;
        const char* counts;
        const char* badge;
    } expected[] = {{"third.pdf", "3 pages \u00B7 250 redactions", "checkmark.shield.fill"},
                    {"Überweisung Ärztin.pdf", "12 pages \u00B7 0 redactions", "exclamationmark.triangle.fill"},
                    {"first.pdf", "1 pages \u00B7 1 redactions", "checkmark.shield.fill"}};
    const auto cards = view.cards();
    ASSERT_EQ(cards.size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(textOf(cards[i], "sourceName"), QString::fromUtf8(expected[i].source));
        EXPECT_EQ(textOf(cards[i], "counts"), QString::fromUtf8(expected[i].counts));
        EXPECT_EQ(badgeOf(cards[i]), QString::fromUtf8(expected[i].badge));
        EXPECT_FALSE(textOf(cards[i], "date").isEmpty());
    }
}

TEST_F(HistoryViewTest, SourceNamesAreShownVerbatim) {
    // Text that a rich-text label would swallow or reinterpret.
    store.add(QStringLiteral("<b>bold</b> &amp; co.pdf"), QStringLiteral("/out/x.pdf"), 1, 1, true);
    RecentRedactionsView view(store);
    ASSERT_EQ(view.cards().size(), 1);
    auto* label = view.cards().first()->findChild<QLabel*>(QStringLiteral("sourceName"));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->text(), QStringLiteral("<b>bold</b> &amp; co.pdf"));
    EXPECT_EQ(label->textFormat(), Qt::PlainText);
}

TEST_F(HistoryViewTest, LongPathsKeepTheirBeginningAndEnd) {
    const QString path = QStringLiteral("/home/someone/Documents/") + QString(40, QLatin1Char('x')).repeated(6) +
                         QStringLiteral("/final-report-redacted.pdf");
    store.add(QStringLiteral("final-report.pdf"), path, 2, 2, true);
    RecentRedactionsView view(store);
    view.resize(900, 600);
    view.show();
    QApplication::processEvents();
    auto* label = view.cards().first()->findChild<theme::MiddleElidedLabel*>(QStringLiteral("outputPath"));
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->fullText(), path);
    const QString shown = label->displayedText();
    EXPECT_LT(shown.size(), path.size());
    EXPECT_TRUE(shown.startsWith(QStringLiteral("/home/"))) << shown.toStdString();
    EXPECT_TRUE(shown.endsWith(QStringLiteral("-redacted.pdf"))) << shown.toStdString();
    EXPECT_TRUE(shown.contains(QChar(0x2026))) << shown.toStdString();
}

TEST_F(HistoryViewTest, RevealHandsOverThePathAsRecordedEvenIfTheFileIsGone) {
    const QString missing = QString::fromStdString(temp.file("gone/never-existed-redacted.pdf").string());
    store.add(QStringLiteral("gone.pdf"), missing, 1, 1, true);
    RecentRedactionsView view(store);
    QStringList revealed;
    view.setReveal([&](const QString& path) { revealed.append(path); });
    view.cards().first()->findChild<QPushButton*>(QStringLiteral("reveal"))->click();
    EXPECT_EQ(revealed, QStringList{missing});
    EXPECT_EQ(store.records().size(), 1u);
}

struct ClearCase {
    const char* name;
    bool confirm;
};

class HistoryClearing : public HistoryViewTest, public ::testing::WithParamInterface<ClearCase> {};

TEST_P(HistoryClearing, OnlyAConfirmedClearEmptiesTheHistory) {
    const std::filesystem::path pdf = temp.file("kept.pdf");
    testing::writeFile(pdf, testing::buildPdf(testing::textPages({"kept"})));
    store.add(QStringLiteral("kept.pdf"), QString::fromStdString(pdf.string()), 1, 1, true);
    RecentRedactionsView view(store);
    bool flagWhileAsking = false;
    int asked = 0;
    view.setConfirmClear([&](QWidget*) {
        ++asked;
        flagWhileAsking = view.confirmingClear();
        return GetParam().confirm;
    });

    view.clearButton()->click();

    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(flagWhileAsking);
    EXPECT_FALSE(view.confirmingClear());
    EXPECT_TRUE(std::filesystem::exists(pdf));  // never touches a PDF
    if (GetParam().confirm) {
        EXPECT_TRUE(store.records().empty());
        EXPECT_TRUE(view.showsPlaceholder());
        EXPECT_FALSE(view.clearButton()->isEnabled());
        QFile file(storePath());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll().trimmed(), QByteArray("[]"));
    } else {
        EXPECT_EQ(store.records().size(), 1u);
        EXPECT_EQ(view.cards().size(), 1);
        EXPECT_TRUE(view.clearButton()->isEnabled());
    }
}

INSTANTIATE_TEST_SUITE_P(Choices, HistoryClearing,
                         ::testing::Values(ClearCase{"Confirmed", true}, ClearCase{"Cancelled", false}),
                         [](const auto& paramInfo) { return std::string(paramInfo.param.name); });

TEST_F(HistoryViewTest, FollowsTheStoreWhileShown) {
    RecentRedactionsView view(store);
    view.show();
    ASSERT_TRUE(view.showsPlaceholder());

    store.add(QStringLiteral("older.pdf"), QStringLiteral("/out/older.pdf"), 1, 1, true);
    EXPECT_FALSE(view.showsPlaceholder());
    EXPECT_TRUE(view.clearButton()->isEnabled());

    store.add(QStringLiteral("newer.pdf"), QStringLiteral("/out/newer.pdf"), 1, 1, false);
    ASSERT_EQ(view.cards().size(), 2);
    EXPECT_EQ(textOf(view.cards().first(), "sourceName"), QStringLiteral("newer.pdf"));

    store.clear();
    EXPECT_TRUE(view.showsPlaceholder());
    EXPECT_FALSE(view.clearButton()->isEnabled());
}

TEST_F(HistoryViewTest, AFreshScreenStartsWithoutAPendingConfirmation) {
    store.add(QStringLiteral("a.pdf"), QStringLiteral("/out/a.pdf"), 1, 1, true);
    RecentRedactionsView view(store);
    EXPECT_FALSE(view.confirmingClear());
}

// ---- Wording -------------------------------------------------------------------------------

TEST(HistoryWording, CountsNeverChangeWithTheNumber) {
    const struct {
        qint64 pages, redactions;
        const char* text;
    } cases[] = {{1, 1, "1 pages \u00B7 1 redactions"},
                 {0, 0, "0 pages \u00B7 0 redactions"},
                 {1200, 35000, "1200 pages \u00B7 35000 redactions"}};
    for (const auto& c : cases) EXPECT_EQ(exportCountsText(c.pages, c.redactions), QString::fromUtf8(c.text));
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
