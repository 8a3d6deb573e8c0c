// The Recent Redactions screen over a throwaway store: its two forms, the cards, clearing
// with and without confirmation, live updates, and the date wording.

#include "history/recent_redactions_view.h"
#include "model/recent_redaction_store.h"
#include "tests/support/pdf_factory.h"
#include "ui/themed_widgets.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

namespace norvane {
namespace {

QString textOf(QWidget* card, const char* name) {
    auto* label = card->findChild<QLabel*>(QString::fromUtf8(name));
    return label ? label->text() : QString();
}

class HistoryViewTest : public ::testing::Test {
protected:
    QString storePath() const { return QString::fromStdString(temp.file("history/recent-redactions.json").string()); }

    testing::TempDir temp;
    RecentRedactionStore store{storePath()};
};

struct StoredFile {
    const char* name;
    const char* contents;  // null: no file at all
    bool withPath = true;
};

class EmptyHistory : public HistoryViewTest, public ::testing::WithParamInterface<StoredFile> {};

INSTANTIATE_TEST_SUITE_P(Files, EmptyHistory,
                         ::testing::Values(StoredFile{"NoFile", nullptr}, StoredFile{"NoPath", nullptr, false},
                                           StoredFile{"EmptyList", "[]"}, StoredFile{"NotJson", "{[,"},
                                           StoredFile{"IncompleteRecord", R"([{"id": "x", "pageCount": 1}])"}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST_P(EmptyHistory, ShowsThePlaceholderAndDisablesClear) {
    if (GetParam().contents) {
        std::filesystem::create_directories(temp.file("history"));
        const std::string text = GetParam().contents;
        testing::writeFile(storePath().toStdString(), {text.begin(), text.end()});
    }
    RecentRedactionStore loaded(GetParam().withPath ? std::optional(storePath()) : std::nullopt);
    RecentRedactionsView view(loaded);
    EXPECT_TRUE(view.showsPlaceholder());
    EXPECT_FALSE(view.clearButton()->isEnabled());
    EXPECT_TRUE(view.cards().isEmpty());
    EXPECT_FALSE(view.confirmingClear());
    bool placeholderTitle = false;
    for (auto* label : view.findChildren<QLabel*>()) {
        if (label->text() == QStringLiteral("No Recent Redactions")) placeholderTitle = label->isVisibleTo(&view);
    }
    EXPECT_TRUE(placeholderTitle);

    // The first export after a damaged file still shows up.
    loaded.add(QStringLiteral("a.pdf"), QStringLiteral("/out/a.pdf"), 1, 1, true);
    EXPECT_EQ(view.cards().size(), 1);
}

TEST_F(HistoryViewTest, CardsListRecordsNewestFirstWithTheirFactsVerbatim) {
    store.add(QStringLiteral("first.pdf"), QStringLiteral("/out/first-redacted.pdf"), 1, 1, true);
    // Text that a rich-text label would swallow or reinterpret.
    store.add(QStringLiteral("<b>Überweisung</b> &amp; co.pdf"), QStringLiteral("/out/second.pdf"), 12, 0, false);
    store.add(QStringLiteral("third.pdf"), QStringLiteral("/out/third-redacted.pdf"), 1200, 35000, true);
    RecentRedactionsView view(store);
    ASSERT_FALSE(view.showsPlaceholder());
    EXPECT_TRUE(view.clearButton()->isEnabled());

    const struct {
        const char* source;
        const char* counts;
        const char* badge;
    } expected[] = {
        {"third.pdf", "1200 pages \u00B7 35000 redactions", "checkmark.shield.fill"},
        {"<b>Überweisung</b> &amp; co.pdf", "12 pages \u00B7 0 redactions", "exclamationmark.triangle.fill"},
        {"first.pdf", "1 pages \u00B7 1 redactions", "checkmark.shield.fill"}};
    const auto cards = view.cards();
    ASSERT_EQ(cards.size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(textOf(cards[i], "sourceName"), QString::fromUtf8(expected[i].source));
        EXPECT_EQ(cards[i]->findChild<QLabel*>(QStringLiteral("sourceName"))->textFormat(), Qt::PlainText);
        EXPECT_EQ(textOf(cards[i], "counts"), QString::fromUtf8(expected[i].counts));
        auto* badge = cards[i]->findChild<theme::SymbolView*>(QStringLiteral("verificationBadge"));
        ASSERT_NE(badge, nullptr);
        EXPECT_EQ(badge->symbol(), QString::fromUtf8(expected[i].badge));
        EXPECT_FALSE(textOf(cards[i], "date").isEmpty());
    }
}

TEST_F(HistoryViewTest, LongPathsKeepTheirEndsAndRevealHandsOverThePathAsRecorded) {
    const QString path = QString::fromStdString(temp.file("gone").string()) + QLatin1Char('/') +
                         QString(40, QLatin1Char('x')).repeated(6) + QStringLiteral("/final-report-redacted.pdf");
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
    EXPECT_TRUE(shown.startsWith(path.left(5))) << shown.toStdString();
    EXPECT_TRUE(shown.endsWith(QStringLiteral("-redacted.pdf"))) << shown.toStdString();
    EXPECT_TRUE(shown.contains(QChar(0x2026))) << shown.toStdString();

    // The file never existed: the path is handed over all the same.
    QStringList revealed;
    view.setReveal([&](const QString& p) { revealed.append(p); });
    view.cards().first()->findChild<QPushButton*>(QStringLiteral("reveal"))->click();
    EXPECT_EQ(revealed, QStringList{path});
    EXPECT_EQ(store.records().size(), 1u);
}

class HistoryClearing : public HistoryViewTest, public ::testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(Choices, HistoryClearing, ::testing::Bool(),
                         [](const auto& param) { return param.param ? "Confirmed" : "Cancelled"; });

TEST_P(HistoryClearing, OnlyAConfirmedClearEmptiesTheHistory) {
    const bool confirm = GetParam();
    const std::filesystem::path pdf = temp.file("kept.pdf");
    testing::writeFile(pdf, testing::buildPdf(testing::textPages({"kept"})));
    store.add(QStringLiteral("kept.pdf"), QString::fromStdString(pdf.string()), 1, 1, true);
    RecentRedactionsView view(store);
    bool flagWhileAsking = false;
    int asked = 0;
    view.setConfirmClear([&](QWidget*) {
        ++asked;
        flagWhileAsking = view.confirmingClear();
        return confirm;
    });

    view.clearButton()->click();

    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(flagWhileAsking);
    EXPECT_FALSE(view.confirmingClear());
    EXPECT_TRUE(std::filesystem::exists(pdf));  // never touches a PDF
    EXPECT_EQ(store.records().size(), confirm ? 0u : 1u);
    EXPECT_EQ(view.showsPlaceholder(), confirm);
    EXPECT_EQ(view.clearButton()->isEnabled(), !confirm);
    if (confirm) {
        QFile file(storePath());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll().trimmed(), QByteArray("[]"));
    }
}

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
