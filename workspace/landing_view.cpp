#include "workspace/landing_view.h"

#include "ui/accessibility.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"
#include "workspace/editing_layout.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLinearGradient>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QUrl>
#include <QVBoxLayout>

namespace norvane {
namespace {

using theme::TextStyle;

QFont rounded(double pixelSize, QFont::Weight weight) {
    QFont font = theme::systemFont(pixelSize, weight);
    // Prefer a rounded face where the desktop has one; the fallback is the system face.
    font.setFamilies({QStringLiteral("Nunito"), QStringLiteral("Varela Round"), font.family()});
    return font;
}

// White cards over the light gradient; on a dark palette white would glare, so a faint veil.
QColor cardFill(const QPalette& palette, double lightAlpha) {
    return theme::isDark(palette) ? theme::darkCardVeil() : theme::withAlpha(Qt::white, lightAlpha);
}

// Dimmed text on the cards, which sit on the page's faint teal wash.
theme::ColorFn onBackdrop() {
    return [](const QPalette& palette) {
        return theme::readableText(theme::secondaryLabelColor(palette), palette, theme::teal(), 0.08);
    };
}

QColor brandText(const QPalette& palette) {
    return theme::isDark(palette) ? QColor(0xD6, 0xE6, 0xF0) : theme::navy();
}

QWidget* trustCard(const QString& symbol, const QString& title, const QString& text, QWidget* parent) {
    auto* card = new theme::RoundedPanel(
        16, [](const QPalette& p) { return theme::controlBackground(p); }, parent);
    card->setMinimumHeight(100);
    card->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* row = new QHBoxLayout(card);
    row->setContentsMargins(16, 16, 16, 16);
    row->setSpacing(12);
    row->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    row->addWidget(new theme::SymbolView(symbol, 22, theme::fixed(theme::teal()), card), 0, Qt::AlignTop);
    auto* column = new QVBoxLayout();
    column->setSpacing(5);
    column->addWidget(new theme::ThemedLabel(title, theme::font(TextStyle::Headline), theme::primaryText(), card));
    auto* body = new theme::ThemedLabel(theme::platformText(text), theme::font(TextStyle::Subheadline),
                                        theme::secondaryText(), card);
    body->setWordWrap(true);
    column->addWidget(body);
    column->addStretch(1);
    row->addLayout(column, 1);
    return card;
}

}  // namespace

QStringList pdfPathsOnly(const QStringList& paths) {
    QStringList kept;
    for (const QString& path : paths) {
        if (QFileInfo(path).suffix().toLower() == QLatin1String("pdf")) {
            kept << path;
        }
    }
    return kept;
}

// ---- drop card ----

DropCard::DropCard(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("dropCard"));
    setAcceptDrops(true);
}

void DropCard::setTargeted(bool targeted) {
    targeted_ = targeted;
    update();
}

void DropCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double width = targeted_ ? 2.0 : 1.0;
    const QRectF area = QRectF(rect()).adjusted(width / 2, width / 2, -width / 2, -width / 2);
    painter.setBrush(cardFill(palette(), 0.78));
    painter.setPen(QPen(targeted_ ? theme::teal() : theme::withAlpha(theme::teal(), 0.16), width));
    painter.drawRoundedRect(area, 28, 28);
}

void DropCard::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) {
        setTargeted(true);
        event->acceptProposedAction();
    } else {
        event->ignore();
    }
}

void DropCard::dragLeaveEvent(QDragLeaveEvent* event) {
    setTargeted(false);
    QWidget::dragLeaveEvent(event);
}

void DropCard::dropEvent(QDropEvent* event) {
    setTargeted(false);
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls()) {
        if (url.isLocalFile()) {
            paths << url.toLocalFile();
        }
    }
    const QStringList pdfs = pdfPathsOnly(paths);
    if (pdfs.isEmpty()) {
        event->ignore();  // refused without a word
        return;
    }
    event->acceptProposedAction();
    emit pdfsDropped(pdfs);
}

// ---- landing ----

LandingView::LandingView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("landing"));
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(34, 34, 34, 34);
    outer->setSpacing(22);
    outer->addStretch(1);

    // Header
    auto* header = new theme::ThemedLabel(QStringLiteral("Norvane"), rounded(26, QFont::Bold), brandText, this);
    accessibility::markHeading(header);
    outer->addWidget(header);

    // Drop card
    dropCard_ = new DropCard(this);
    auto* card = new QVBoxLayout(dropCard_);
    card->setContentsMargins(28, 28, 28, 28);
    card->setSpacing(18);
    auto* top = new QHBoxLayout();
    top->setAlignment(Qt::AlignTop);
    auto* texts = new QVBoxLayout();
    texts->setSpacing(9);
    auto* title =
        new theme::ThemedLabel(QStringLiteral("Private PDF Redaction"), rounded(38, QFont::Bold), brandText, dropCard_);
    accessibility::markHeading(title);
    texts->addWidget(title);
    auto* subtitle = new theme::ThemedLabel(
        theme::platformText(QStringLiteral("Remove sensitive information before the document ever leaves your Mac.")),
        theme::systemFont(18), onBackdrop(), dropCard_);
    subtitle->setWordWrap(true);
    texts->addWidget(subtitle);
    auto* features = new theme::ThemedLabel(
        QStringLiteral(
            "Manual redaction \u00B7 Text search \u00B7 Local OCR \u00B7 Secure flattened export \u00B7 Verification"),
        theme::font(TextStyle::Subheadline), onBackdrop(), dropCard_);
    features->setWordWrap(true);
    texts->addWidget(features);
    top->addLayout(texts, 1);

    auto* badge = new theme::RoundedPanel(
        -1, [](const QPalette& p) { return cardFill(p, 0.75); }, dropCard_);
    auto* badgeRow = new QHBoxLayout(badge);
    badgeRow->setContentsMargins(14, 8, 14, 8);
    badgeRow->setSpacing(6);
    badgeRow->addWidget(new theme::SymbolView(QStringLiteral("lock.shield.fill"), 14, brandText, badge));
    badgeRow->addWidget(new theme::ThemedLabel(QStringLiteral("Local Processing"),
                                               theme::font(TextStyle::Subheadline, QFont::DemiBold), brandText, badge));
    top->addWidget(badge, 0, Qt::AlignTop);
    card->addLayout(top);

    select_ = new QPushButton(QStringLiteral("Select PDFs"), dropCard_);
    select_->setObjectName(QStringLiteral("selectPdfs"));
    select_->setProperty("symbol", QStringLiteral("doc.badge.plus"));
    select_->setFont(theme::font(TextStyle::Headline));
    select_->setMinimumWidth(180 + 40);
    select_->setMinimumHeight(34);
    select_->setIconSize(QSize(16, 16));
    select_->setAutoDefault(false);
    styleProminentButton(select_, theme::navy());
    card->addWidget(select_, 0, Qt::AlignLeft);
    outer->addWidget(dropCard_);

    // Trust cards
    auto* cards = new QHBoxLayout();
    cards->setSpacing(14);
    cards->addWidget(trustCard(QStringLiteral("lock.shield.fill"), QStringLiteral("Never Uploaded"),
                               QStringLiteral("Your original PDF stays on this Mac."), this));
    cards->addWidget(trustCard(QStringLiteral("rectangle.and.pencil.and.ellipsis"), QStringLiteral("True Redaction"),
                               QStringLiteral("Exported pages are rebuilt instead of hiding text under a box."), this));
    cards->addWidget(trustCard(QStringLiteral("checkmark.shield.fill"), QStringLiteral("Verify Before Sharing"),
                               QStringLiteral("Norvane checks the exported copy again."), this));
    outer->addLayout(cards);
    outer->addStretch(1);

    connect(select_, &QPushButton::clicked, this, &LandingView::selectRequested);
    connect(dropCard_, &DropCard::pdfsDropped, this, &LandingView::pdfsDropped);
}

void LandingView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QLinearGradient gradient(rect().topLeft(), rect().bottomRight());
    gradient.setColorAt(0, theme::windowBackground(palette()));
    gradient.setColorAt(1, theme::withAlpha(theme::teal(), 0.06));
    painter.fillRect(rect(), theme::windowBackground(palette()));
    painter.fillRect(rect(), gradient);
}

}  // namespace norvane
