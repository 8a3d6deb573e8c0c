#include "app/about_panel.h"

#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

#ifndef NORVANE_WEBSITE_URL
#define NORVANE_WEBSITE_URL "https://norvane.example/"
#endif

namespace norvane {

namespace {

constexpr int kColumnWidth = 285;

QPointer<AboutPanel>& aboutPanelKeeper() {
    static QPointer<AboutPanel> panel;
    return panel;
}

QWidget* trustBadge(const QString& title) {
    using namespace theme;
    auto* badge = new RoundedPanel(10, [](const QPalette& p) { return withAlpha(systemGreen(p), 0.11); });
    badge->setStroke([](const QPalette& p) { return withAlpha(systemGreen(p), 0.28); }, 1.0);
    auto* row = new QHBoxLayout(badge);
    row->setContentsMargins(6, 6, 12, 8);
    row->setSpacing(7);
    row->addWidget(
        new SymbolView(QStringLiteral("checkmark.circle.fill"), 14, [](const QPalette& p) { return systemGreen(p); }),
        0, Qt::AlignVCenter);
    auto* label = new ThemedLabel(platformText(title), systemFont(12, QFont::DemiBold), [](const QPalette& p) {
        // The fixed deep green loses contrast on dark surfaces; lighten it there.
        const QColor green = isDark(p) ? QColor(110, 210, 140) : QColor::fromRgbF(0.05f, 0.45f, 0.18f);
        return readableText(green, p, systemGreen(p), 0.11);
    });
    row->addWidget(label, 0, Qt::AlignVCenter);
    row->addStretch(1);
    return badge;
}

// Desktop fonts run wider than the ones this panel was drawn for: narrow the face a little
// before giving up and eliding, so the sentence stays whole on one line.
void fitOnOneLine(QLabel* label, int width) {
    const QString text = label->text();
    QFont font = label->font();
    for (const int stretch : {100, 94, 88, 82}) {
        font.setStretch(stretch);
        if (QFontMetrics(font).horizontalAdvance(text) <= width) break;
    }
    label->setFont(font);
    label->setText(QFontMetrics(font).elidedText(text, Qt::ElideRight, width));
    label->setToolTip(text);
    label->setMaximumWidth(width);
}

QWidget* infoRow(const QString& symbol, const QString& title, const QString& subtitle) {
    using namespace theme;
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(5);
    layout->addWidget(new SymbolView(symbol, 15, secondaryText()), 0, Qt::AlignVCenter);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(2);
    auto* titleLabel = new ThemedLabel(platformText(title), systemFont(11.5, QFont::DemiBold));
    auto* subtitleLabel = new ThemedLabel(platformText(subtitle), systemFont(9.5), secondaryText());
    for (auto* label : {titleLabel, subtitleLabel}) {
        fitOnOneLine(label, 252);
        texts->addWidget(label);
    }
    layout->addLayout(texts);
    layout->addStretch(1);
    return row;
}

}  // namespace

QString websiteAddress() {
    return QStringLiteral(NORVANE_WEBSITE_URL);
}

std::optional<QUrl> websiteUrl(const QString& address) {
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) return std::nullopt;
    if (url.scheme() != QLatin1String("https") && url.scheme() != QLatin1String("http")) return std::nullopt;
    return url;
}

QString websiteLinkTitle(const QString& address) {
    QString shown = address;
    while (shown.endsWith(QLatin1Char('/')))
        shown.chop(1);
    return shown + QStringLiteral("  \u2197");
}

void openNorvaneWebsite(DesktopServices& desktop) {
    if (const auto url = websiteUrl(websiteAddress())) desktop.openUrl(*url);
}

AboutPanel* currentAboutPanel() {
    return aboutPanelKeeper().data();
}

void showNorvaneAbout(std::shared_ptr<DesktopServices> desktop) {
    auto* panel = new AboutPanel(std::move(desktop));
    aboutPanelKeeper() = panel;
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        panel->move(screen->availableGeometry().center() - panel->rect().center());
    }
    panel->show();
    panel->raise();
    panel->activateWindow();
    QTimer::singleShot(0, panel, [panel] {
        panel->exec();
        if (aboutPanelKeeper() == panel) aboutPanelKeeper() = nullptr;
        panel->deleteLater();
    });
}

AboutPanel::AboutPanel(std::shared_ptr<DesktopServices> desktop, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      desktop_(std::move(desktop)) {
    using namespace theme;
    setWindowTitle(QString());
    setWindowModality(Qt::ApplicationModal);
    setFixedSize(panelWidth, panelHeight);

    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(12, 6, 12, 6);
    stack->setSpacing(1);
    stack->setSizeConstraint(QLayout::SetNoConstraint);

    auto* header = new QVBoxLayout;
    header->setSpacing(3);
    auto* iconView = new QLabel;
    iconView->setFixedSize(46, 46);
    const QIcon appIcon = QGuiApplication::windowIcon();
    if (!appIcon.isNull()) iconView->setPixmap(appIcon.pixmap(QSize(46, 46), devicePixelRatioF()));
    iconView->setScaledContents(true);
    header->addWidget(iconView, 0, Qt::AlignHCenter);
    auto* name = new ThemedLabel(QStringLiteral("Norvane Redaction"), systemFont(15, QFont::Bold));
    auto* version = new ThemedLabel(QStringLiteral("Version " NORVANE_VERSION), systemFont(11.5), secondaryText());
    for (auto* label : {name, version}) {
        label->setAlignment(Qt::AlignHCenter);
        label->setWordWrap(true);
        header->addWidget(label);
    }
    stack->addLayout(header);

    auto addSeparator = [stack] { stack->addWidget(new SeparatorLine); };

    addSeparator();
    auto* badges = new QWidget;
    badges->setFixedWidth(kColumnWidth);
    auto* badgeRow = new QHBoxLayout(badges);
    badgeRow->setContentsMargins(0, 0, 0, 0);
    badgeRow->setSpacing(5);
    badgeRow->addWidget(trustBadge(QStringLiteral("Developer ID Signed")), 1);
    badgeRow->addWidget(trustBadge(QStringLiteral("Apple Notarized")), 1);
    stack->addWidget(badges, 0, Qt::AlignHCenter);

    addSeparator();
    auto* info = new QWidget;
    info->setFixedWidth(kColumnWidth);
    auto* infoStack = new QVBoxLayout(info);
    infoStack->setContentsMargins(0, 5, 0, 7);
    infoStack->setSpacing(4);
    infoStack->addWidget(infoRow(QStringLiteral("cpu"), QStringLiteral("Universal App \u2014 Intel + Apple Silicon"),
                                 QStringLiteral("Runs natively on both Intel and Apple Silicon Macs.")));
    infoStack->addWidget(infoRow(QStringLiteral("lock.fill"), QStringLiteral("Local Processing"),
                                 QStringLiteral("Your files never leave this Mac.")));
    stack->addWidget(info, 0, Qt::AlignHCenter);

    addSeparator();
    linkButton_ = new QPushButton(websiteLinkTitle(websiteAddress()));
    linkButton_->setFlat(true);
    linkButton_->setAutoDefault(false);
    linkButton_->setCursor(Qt::PointingHandCursor);
    linkButton_->setFont(systemFont(11.5, QFont::Medium));
    linkButton_->setFocusPolicy(Qt::NoFocus);
    linkButton_->setStyleSheet(
        QStringLiteral("QPushButton { border: none; padding: 2px; color: %1; }").arg(linkColor(palette()).name()));
    connect(linkButton_, &QPushButton::clicked, this, [this] {
        if (desktop_) openNorvaneWebsite(*desktop_);
    });
    stack->addWidget(linkButton_, 0, Qt::AlignHCenter);

    closeButton_ = new QPushButton(QStringLiteral("Close"));
    closeButton_->setDefault(true);
    closeButton_->setFont(systemFont(11.5));
    connect(closeButton_, &QPushButton::clicked, this, &AboutPanel::closeAbout);
    stack->addWidget(closeButton_, 0, Qt::AlignHCenter);
    stack->addStretch(1);
}

void AboutPanel::closeAbout() {
    // done() ends the modal run when there is one and hides the panel either way.
    done(QDialog::Accepted);
}

void AboutPanel::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && windowHandle()) {
        windowHandle()->startSystemMove();
        event->accept();
        return;
    }
    QDialog::mousePressEvent(event);
}

}  // namespace norvane
