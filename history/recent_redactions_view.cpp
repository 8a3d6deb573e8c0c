#include "history/recent_redactions_view.h"

#include "ui/accessibility.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"
#include "ui/window_system.h"

#include <QHBoxLayout>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollArea>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace norvane {

namespace {

using namespace theme;

QString withoutWeekday(QString format) {
    static const QRegularExpression weekday(QStringLiteral("d{4}[,.\u060C]?\\s*|[,\u060C]?\\s*d{4}"));
    format.remove(weekday);
    return format.trimmed();
}

QString withoutSeconds(QString format) {
    static const QRegularExpression seconds(QStringLiteral("[:.]?s{1,2}(\\.z+)?"));
    static const QRegularExpression zone(QStringLiteral("\\s*t+"));
    format.remove(seconds);
    format.remove(zone);
    return format.trimmed();
}

}  // namespace

QString formatExportDate(const QDateTime& exportedAt, const QLocale& locale) {
    QString date = withoutWeekday(locale.dateFormat(QLocale::LongFormat));
    // Full month names become abbreviated ones; numeric months stay as the locale has them.
    date.replace(QRegularExpression(QStringLiteral("M{4}")), QStringLiteral("MMM"));
    const QString time = withoutSeconds(locale.timeFormat(QLocale::ShortFormat));
    return locale.toString(exportedAt.toLocalTime(), date + QLatin1Char(' ') + time);
}

QString exportCountsText(qint64 pageCount, qint64 redactionCount) {
    return QStringLiteral("%1 pages \u00B7 %2 redactions").arg(pageCount).arg(redactionCount);
}

RecentRedactionsView::RecentRedactionsView(RecentRedactionStore& store, std::shared_ptr<DesktopServices> desktop,
                                           QWidget* parent)
    : QWidget(parent), store_(store), desktop_(std::move(desktop)), confirmClear_(&RecentRedactionsView::askToClear) {
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(28, 28, 28, 28);
    stack->setSpacing(18);

    auto* header = new QHBoxLayout;
    auto* titles = new QVBoxLayout;
    titles->setSpacing(4);
    auto* title = new ThemedLabel(QStringLiteral("Recent Redactions"), theme::font(TextStyle::LargeTitle, QFont::Bold));
    accessibility::markHeading(title);
    titles->addWidget(title);
    titles->addWidget(new ThemedLabel(platformText(QStringLiteral("Local export history stored only on this Mac.")),
                                      theme::font(TextStyle::Body), secondaryText()));
    header->addLayout(titles);
    header->addStretch(1);
    auto* localOnly = new QWidget;
    auto* localRow = new QHBoxLayout(localOnly);
    localRow->setContentsMargins(0, 0, 0, 0);
    localRow->setSpacing(5);
    const ColorFn green = [](const QPalette& p) { return systemGreen(p); };
    localRow->addWidget(new SymbolView(QStringLiteral("lock.shield.fill"), 15, green));
    localRow->addWidget(new ThemedLabel(QStringLiteral("Local Only"), theme::font(TextStyle::Body), green));
    header->addWidget(localOnly, 0, Qt::AlignVCenter);
    header->addSpacing(8);
    clearButton_ = new QPushButton(QStringLiteral("Clear History"));
    connect(clearButton_, &QPushButton::clicked, this, &RecentRedactionsView::requestClear);
    header->addWidget(clearButton_, 0, Qt::AlignVCenter);
    stack->addLayout(header);

    content_ = new QStackedWidget;
    stack->addWidget(content_, 1);

    placeholder_ = new QWidget;
    auto* placeholderStack = new QVBoxLayout(placeholder_);
    placeholderStack->setSpacing(8);
    placeholderStack->addStretch(1);
    placeholderStack->addWidget(
        new SymbolView(QStringLiteral("rectangle.and.pencil.and.ellipsis"), 44, secondaryText()), 0, Qt::AlignHCenter);
    placeholderStack->addSpacing(4);
    auto* emptyTitle =
        new ThemedLabel(QStringLiteral("No Recent Redactions"), theme::font(TextStyle::Title2, QFont::Bold));
    auto* emptyText = new ThemedLabel(QStringLiteral("Completed redacted exports will appear here. Norvane stores only "
                                                     "local summary metadata."),
                                      theme::font(TextStyle::Body), secondaryText());
    for (auto* label : {emptyTitle, emptyText}) {
        label->setAlignment(Qt::AlignHCenter);
        label->setWordWrap(true);
        placeholderStack->addWidget(label);
    }
    placeholderStack->addStretch(1);
    content_->addWidget(placeholder_);

    auto* scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->viewport()->setAutoFillBackground(false);
    listHolder_ = new QWidget;
    list_ = new QVBoxLayout(listHolder_);
    list_->setContentsMargins(0, 0, 8, 0);
    list_->setSpacing(12);
    scroll->setWidget(listHolder_);
    content_->addWidget(scroll);

    connect(&store_, &RecentRedactionStore::recordsChanged, this, &RecentRedactionsView::rebuild);
    rebuild();
}

bool RecentRedactionsView::showsPlaceholder() const {
    return content_->currentWidget() == placeholder_;
}

QList<QWidget*> RecentRedactionsView::cards() const {
    QList<QWidget*> result;
    for (int index = 0; index < list_->count(); ++index) {
        if (QWidget* widget = list_->itemAt(index)->widget()) result.append(widget);
    }
    return result;
}

QMessageBox* RecentRedactionsView::clearConfirmation(QWidget* parent) {
    auto* box = new QMessageBox(parent);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(QString::fromLatin1(kWindowTitle));
    box->setText(QStringLiteral("Clear local redaction history?"));
    box->setInformativeText(
        QStringLiteral("This removes only Norvane's local history list. It does not delete any PDF."));
    box->addButton(QStringLiteral("Clear History"), QMessageBox::DestructiveRole);
    QPushButton* cancel = box->addButton(QMessageBox::Cancel);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    return box;
}

bool RecentRedactionsView::askToClear(QWidget* parent) {
    const std::unique_ptr<QMessageBox> box(clearConfirmation(parent));
    box->exec();
    return box->clickedButton() && box->buttonRole(box->clickedButton()) == QMessageBox::DestructiveRole;
}

void RecentRedactionsView::requestClear() {
    if (confirmingClear_) return;
    confirmingClear_ = true;
    const bool confirmed = confirmClear_ && confirmClear_(this);
    confirmingClear_ = false;
    if (confirmed) store_.clear();
}

void RecentRedactionsView::rebuild() {
    while (QLayoutItem* item = list_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    const auto& records = store_.records();
    clearButton_->setEnabled(!records.empty());
    if (records.empty()) {
        content_->setCurrentWidget(placeholder_);
        return;
    }
    for (const auto& record : records)
        list_->addWidget(makeCard(record));
    list_->addStretch(1);
    content_->setCurrentIndex(1);
}

QWidget* RecentRedactionsView::makeCard(const RecentRedactionRecord& record) {
    auto* card = new RoundedPanel(14, [](const QPalette& p) { return controlBackground(p); });
    card->setObjectName(record.id.toString(QUuid::WithoutBraces));
    auto* row = new QHBoxLayout(card);
    row->setContentsMargins(14, 14, 14, 14);
    row->setSpacing(14);

    const bool passed = record.verificationPassed;
    auto* badge = new SymbolView(
        passed ? QStringLiteral("checkmark.shield.fill") : QStringLiteral("exclamationmark.triangle.fill"), 22,
        passed ? ColorFn([](const QPalette& p) { return systemGreen(p); })
               : ColorFn([](const QPalette& p) { return systemOrange(p); }));
    badge->setObjectName(QStringLiteral("verificationBadge"));
    // The card says the verdict only with this symbol.
    badge->setAccessibleName(passed ? QStringLiteral("Verification Passed") : QStringLiteral("Needs Review"));
    row->addWidget(badge, 0, Qt::AlignVCenter);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(4);
    auto* name = new ElidedLabel(record.sourceName, theme::font(TextStyle::Headline), primaryText(), Qt::ElideMiddle);
    name->setObjectName(QStringLiteral("sourceName"));
    texts->addWidget(name);
    auto* pathLabel =
        new ElidedLabel(record.outputPath, theme::font(TextStyle::Caption), secondaryText(), Qt::ElideMiddle);
    pathLabel->setObjectName(QStringLiteral("outputPath"));
    texts->addWidget(pathLabel);
    auto* counts = new ThemedLabel(exportCountsText(record.pageCount, record.redactionCount),
                                   theme::font(TextStyle::Caption), secondaryText());
    counts->setObjectName(QStringLiteral("counts"));
    texts->addWidget(counts);
    row->addLayout(texts, 1);

    auto* date = new ThemedLabel(formatExportDate(record.exportedAt), theme::font(TextStyle::Caption), secondaryText());
    date->setObjectName(QStringLiteral("date"));
    row->addWidget(date, 0, Qt::AlignVCenter);

    auto* reveal = new QPushButton(QStringLiteral("Reveal"));
    reveal->setObjectName(QStringLiteral("reveal"));
    const QString path = record.outputPath;
    connect(reveal, &QPushButton::clicked, this, [this, path] {
        if (desktop_) desktop_->revealInFileManager(path);
    });
    row->addWidget(reveal, 0, Qt::AlignVCenter);
    return card;
}

}  // namespace norvane
