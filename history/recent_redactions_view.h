#pragma once
// The "Recent Redactions" screen: one card per finished export, newest first, a Reveal button
// per card and a confirmed "Clear History". It never opens, reads or deletes a PDF.

#include "model/recent_redaction_store.h"

#include <QDateTime>
#include <QLocale>
#include <QWidget>

#include <functional>

class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace norvane {

// Year, abbreviated month, day, hour and minute in the locale's order; no seconds, weekday
// or time zone. Shown in local time.
QString formatExportDate(const QDateTime& exportedAt, const QLocale& locale = QLocale());
// "3 pages · 5 redactions" — the same wording for every count.
QString exportCountsText(qint64 pageCount, qint64 redactionCount);

class RecentRedactionsView : public QWidget {
    Q_OBJECT
public:
    using Reveal = std::function<void(const QString& path)>;
    // Asks whether to clear; true clears. Replaceable so tests need no modal dialog.
    using ConfirmClear = std::function<bool(QWidget* parent)>;

    explicit RecentRedactionsView(RecentRedactionStore& store, QWidget* parent = nullptr);

    void setReveal(Reveal reveal) { reveal_ = std::move(reveal); }
    void setConfirmClear(ConfirmClear confirm) { confirmClear_ = std::move(confirm); }

    bool confirmingClear() const { return confirmingClear_; }
    bool showsPlaceholder() const;
    QPushButton* clearButton() const { return clearButton_; }
    // The cards in display order (tests read their texts).
    QList<QWidget*> cards() const;

    // The standard confirmation: title, one destructive action, the message, and Cancel.
    static bool askToClear(QWidget* parent);

public slots:
    void requestClear();

private:
    void rebuild();
    QWidget* makeCard(const RecentRedactionRecord& record);

    RecentRedactionStore& store_;
    Reveal reveal_;
    ConfirmClear confirmClear_;
    bool confirmingClear_ = false;
    QPushButton* clearButton_ = nullptr;
    QStackedWidget* content_ = nullptr;
    QWidget* placeholder_ = nullptr;
    QWidget* listHolder_ = nullptr;
    QVBoxLayout* list_ = nullptr;
};

}  // namespace norvane
