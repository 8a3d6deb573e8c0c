#pragma once
// The "Recent Redactions" screen: one card per finished export, newest first, a Reveal button
// per card and a confirmed "Clear History". It never opens, reads or deletes a PDF.

#include "model/desktop_services.h"
#include "model/recent_redaction_store.h"

#include <QDateTime>
#include <QLocale>
#include <QWidget>

#include <functional>
#include <memory>

class QMessageBox;
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
    // Asks whether to clear; true clears. Replaceable so tests need no modal dialog.
    using ConfirmClear = std::function<bool(QWidget* parent)>;

    // `desktop` shows an export in the file manager; may be null.
    RecentRedactionsView(RecentRedactionStore& store, std::shared_ptr<DesktopServices> desktop,
                         QWidget* parent = nullptr);

    void setConfirmClear(ConfirmClear confirm) { confirmClear_ = std::move(confirm); }

    bool confirmingClear() const { return confirmingClear_; }
    bool showsPlaceholder() const;
    QPushButton* clearButton() const { return clearButton_; }
    // The cards in display order (tests read their texts).
    QList<QWidget*> cards() const;

    // The standard confirmation: title, one destructive action, the message, and Cancel.
    static bool askToClear(QWidget* parent);
    // That confirmation, not yet shown; "Clear History" has the destructive role.
    static QMessageBox* clearConfirmation(QWidget* parent);

public slots:
    void requestClear();

private:
    void rebuild();
    QWidget* makeCard(const RecentRedactionRecord& record);

    RecentRedactionStore& store_;
    std::shared_ptr<DesktopServices> desktop_;
    ConfirmClear confirmClear_;
    bool confirmingClear_ = false;
    QPushButton* clearButton_ = nullptr;
    QStackedWidget* content_ = nullptr;
    QWidget* placeholder_ = nullptr;
    QWidget* listHolder_ = nullptr;
    QVBoxLayout* list_ = nullptr;
};

}  // namespace norvane
