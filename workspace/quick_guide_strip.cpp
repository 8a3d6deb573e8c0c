#include "workspace/quick_guide_strip.h"

#include "ui/accessibility.h"
#include "ui/symbols.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QEnterEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QWindow>

namespace norvane {
namespace {

struct GuideText {
    GuideItem item;
    const char* raw;
    const char* chipLabel;
    const char* symbol;
    const char* title;
    const char* text;
};

constexpr std::array<GuideText, 4> kGuide{{
    {GuideItem::manual, "manual", "Drag = Manual", "rectangle.and.pencil.and.ellipsis", "Manual Redaction",
     "Press and hold the mouse, drag across the complete sensitive area, then release. Use manual redaction for "
     "signatures, handwriting, images and irregular content."},
    {GuideItem::findText, "findText", "Find Text = Selectable PDF", "text.magnifyingglass", "Find Text",
     "Searches the PDF's real text layer. Use Find Text when text in the source PDF is normally selectable or "
     "searchable."},
    {GuideItem::ocr, "ocr", "OCR = Scanned PDF", "viewfinder", "OCR Search",
     "Reads visible text from scanned or image-only PDF pages locally on your Mac. Try OCR Search when Find Text "
     "returns no result."},
    {GuideItem::secureExport, "export", "Export = New Secure Copy", "checkmark.shield.fill", "Secure Export",
     "Creates a new flattened PDF with pending redactions permanently incorporated. Norvane does not overwrite your "
     "original PDF."},
}};

const GuideText& textFor(GuideItem item) {
    return kGuide[static_cast<std::size_t>(item)];
}

QColor colorFor(GuideItem item, const QPalette& palette) {
    switch (item) {
        case GuideItem::manual:
            return theme::systemOrange(palette);
        case GuideItem::findText:
            return theme::systemBlue(palette);
        case GuideItem::ocr:
            return theme::systemPurple(palette);
        case GuideItem::secureExport:
            return theme::systemGreen(palette);
    }
    return theme::systemBlue(palette);
}

constexpr int kChipPadH = 10;
constexpr int kChipPadV = 6;
constexpr int kChipIcon = 14;
constexpr int kChipIconGap = 5;
constexpr int kArrow = 8;  // height of the popover's arrow

}  // namespace

QString rawValue(GuideItem item) {
    return QString::fromLatin1(textFor(item).raw);
}

std::optional<GuideItem> guideItemFromRawValue(const QString& raw) {
    for (const auto& entry : kGuide) {
        if (raw == QLatin1String(entry.raw)) {
            return entry.item;
        }
    }
    return std::nullopt;
}

// ---- chip ----

GuideChip::GuideChip(QuickGuideStrip* strip, GuideItem item) : QAbstractButton(strip), strip_(strip), item_(item) {
    setText(QString::fromUtf8(textFor(item).chipLabel));
    setToolTip(QStringLiteral("Click for ") + QString::fromUtf8(textFor(item).title) + QStringLiteral(" help"));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    setFont(theme::font(theme::TextStyle::Subheadline, QFont::DemiBold));
    connect(this, &QAbstractButton::clicked, this, [this] { strip_->chipClicked(item_); });
}

QSize GuideChip::sizeHint() const {
    // Sized for the semibold face so hovering never changes the layout.
    const QFontMetrics metrics(theme::font(theme::TextStyle::Subheadline, QFont::DemiBold));
    const int width = kChipPadH * 2 + kChipIcon + kChipIconGap + metrics.horizontalAdvance(text()) + 2;
    const int height = kChipPadV * 2 + std::max(metrics.height(), kChipIcon);
    return {width, height};
}

void GuideChip::paintEvent(QPaintEvent*) {
    const bool hovered = strip_->hoveredItem() == item_;
    const QColor color = colorFor(item_, palette());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF capsule = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const double radius = capsule.height() / 2;
    painter.setBrush(theme::withAlpha(color, hovered ? 0.18 : 0.09));
    painter.setPen(hovered ? QPen(theme::withAlpha(color, 0.36), 1.0) : Qt::NoPen);
    painter.drawRoundedRect(capsule, radius, radius);
    if (hasFocus()) {
        // The keyboard's place: a ring in the focus colour, unlike the hover outline.
        const QRectF ring = QRectF(rect()).adjusted(1, 1, -1, -1);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2.0));
        painter.drawRoundedRect(ring, ring.height() / 2, ring.height() / 2);
    }

    const QPixmap icon =
        theme::symbolPixmap(QString::fromLatin1(textFor(item_).symbol), kChipIcon, color, devicePixelRatioF());
    const int iconY = (height() - kChipIcon) / 2;
    painter.drawPixmap(QRect(kChipPadH, iconY, kChipIcon, kChipIcon), icon);

    painter.setFont(theme::font(theme::TextStyle::Subheadline, hovered ? QFont::DemiBold : QFont::Medium));
    painter.setPen(color);
    const QRect textRect(kChipPadH + kChipIcon + kChipIconGap, 0,
                         width() - kChipPadH * 2 - kChipIcon - kChipIconGap + 2, height());
    painter.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, text());
}

void GuideChip::enterEvent(QEnterEvent* event) {
    QAbstractButton::enterEvent(event);
    strip_->pointerEntered(item_);
}

void GuideChip::leaveEvent(QEvent* event) {
    QAbstractButton::leaveEvent(event);
    strip_->pointerLeft(item_);
}

void GuideChip::keyPressEvent(QKeyEvent* event) {
    int step = 0;
    switch (event->key()) {
        case Qt::Key_Left:
        case Qt::Key_Up:
            step = -1;
            break;
        case Qt::Key_Right:
        case Qt::Key_Down:
            step = 1;
            break;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            click();
            return;
        default:
            QAbstractButton::keyPressEvent(event);  // Space presses and clicks as on any button
            return;
    }
    const int next = static_cast<int>(item_) + (layoutDirection() == Qt::RightToLeft ? -step : step);
    if (next >= 0 && next < static_cast<int>(kGuide.size())) {
        strip_->chip(static_cast<GuideItem>(next))->setFocus(Qt::TabFocusReason);
    }
}

// ---- popover ----

GuidePopover::GuidePopover(GuideItem item, QuickGuideStrip* strip)
    : QFrame(strip, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint), strip_(strip), item_(item) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_DeleteOnClose);
    const GuideText& text = textFor(item);
    const QColor color = colorFor(item, palette());

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(18, 18 + kArrow, 18, 18);
    row->setSpacing(12);
    row->setAlignment(Qt::AlignTop);
    auto* symbol = new theme::SymbolView(QString::fromLatin1(text.symbol), 22, theme::fixed(color), this);
    row->addWidget(symbol, 0, Qt::AlignTop);
    auto* column = new QVBoxLayout();
    column->setSpacing(7);
    auto* title = new theme::ThemedLabel(theme::platformText(QString::fromUtf8(text.title)),
                                         theme::font(theme::TextStyle::Headline), theme::primaryText(), this);
    title->setObjectName(QStringLiteral("popoverTitle"));
    auto* body = new theme::ThemedLabel(theme::platformText(QString::fromUtf8(text.text)),
                                        theme::font(theme::TextStyle::Body), theme::secondaryText(), this);
    body->setObjectName(QStringLiteral("popoverText"));
    body->setWordWrap(true);
    column->addWidget(title);
    column->addWidget(body);
    row->addLayout(column, 1);
    setFixedWidth(360);
    adjustSize();
    setFixedHeight(heightForWidth(360) > 0 ? heightForWidth(360) : sizeHint().height());
}

void GuidePopover::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF body = QRectF(rect()).adjusted(0.5, kArrow + 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(body, 10, 10);
    QPainterPath arrow;
    const double mid = width() / 2.0;
    arrow.moveTo(mid - kArrow, body.top() + 1);
    arrow.lineTo(mid, 0.5);
    arrow.lineTo(mid + kArrow, body.top() + 1);
    arrow.closeSubpath();
    path = path.united(arrow);
    painter.setBrush(theme::windowBackground(palette()));
    painter.setPen(QPen(theme::separatorColor(palette()), 1.0));
    painter.drawPath(path);
}

void GuidePopover::hideEvent(QHideEvent* event) {
    QFrame::hideEvent(event);
    emit dismissed(item_);
}

void GuidePopover::mousePressEvent(QMouseEvent* event) {
    const auto chip =
        rect().contains(event->position().toPoint()) ? std::nullopt : strip_->chipAt(event->globalPosition().toPoint());
    if (!chip) {
        QFrame::mousePressEvent(event);  // a popup closes on a press outside itself
        return;
    }
    // A press on a chip opens that chip's popover here, the same on every platform, instead
    // of relying on the press being replayed to the chip after this popup closes.
    setAttribute(Qt::WA_NoMouseReplay);
    event->accept();
    QuickGuideStrip* strip = strip_;
    close();
    strip->chipClicked(*chip);
}

// ---- strip ----

QuickGuideStrip::QuickGuideStrip(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("quickGuideStrip"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(14, 8, 14, 8);
    row->setSpacing(9);

    auto* heading = new QWidget(this);
    auto* headingRow = new QHBoxLayout(heading);
    headingRow->setContentsMargins(0, 0, 0, 0);
    headingRow->setSpacing(5);
    headingRow->addWidget(new theme::SymbolView(QStringLiteral("lightbulb.fill"), 13, theme::secondaryText(), heading));
    auto* title = new theme::ThemedLabel(QStringLiteral("Quick Guide"),
                                         theme::font(theme::TextStyle::Subheadline, QFont::DemiBold),
                                         theme::secondaryText(), heading);
    accessibility::markHeading(title);
    headingRow->addWidget(title);
    row->addWidget(heading);

    for (const auto& entry : kGuide) {
        auto* chipButton = new GuideChip(this, entry.item);
        chips_[static_cast<std::size_t>(entry.item)] = chipButton;
        row->addWidget(chipButton);
    }
    row->addStretch(1);
}

QuickGuideStrip::~QuickGuideStrip() {
    if (popover_) {
        popover_->disconnect(this);
        delete popover_;
    }
}

GuideChip* QuickGuideStrip::chip(GuideItem item) const {
    return chips_[static_cast<std::size_t>(item)];
}

std::optional<GuideItem> QuickGuideStrip::chipAt(const QPoint& global) const {
    for (auto* c : chips_) {
        if (c->isVisible() && c->rect().contains(c->mapFromGlobal(global))) return c->item();
    }
    return std::nullopt;
}

void QuickGuideStrip::pointerEntered(GuideItem item) {
    hoveredItem_ = item;
    for (auto* c : chips_)
        c->update();
}

void QuickGuideStrip::pointerLeft(GuideItem item) {
    // A late leave report from the previous chip must not undo the next chip's enter.
    if (hoveredItem_ == item) {
        hoveredItem_.reset();
    }
    for (auto* c : chips_)
        c->update();
}

void QuickGuideStrip::chipClicked(GuideItem item) {
    selectedItem_ = item;  // not a toggle: clicking the open chip keeps its popover
    showPopover();
}

void QuickGuideStrip::popoverDismissed(GuideItem item) {
    if (selectedItem_ == item) {
        selectedItem_.reset();
    }
    window()->removeEventFilter(this);
}

bool QuickGuideStrip::eventFilter(QObject* watched, QEvent* event) {
    if (popover_ && popover_->isVisible() && watched == window()) {
        if (event->type() == QEvent::Move || event->type() == QEvent::Resize) {
            anchorPopover();
        } else if (event->type() == QEvent::Hide) {
            popover_->close();
        }
    }
    return QWidget::eventFilter(watched, event);
}

void QuickGuideStrip::showPopover() {
    if (popover_ && popover_->isVisible() && selectedItem_ == popover_->item()) {
        return;
    }
    if (popover_) {
        popover_->close();  // reports its own dismissal; selectedItem_ already names the new one
    }
    if (!selectedItem_) {
        return;
    }
    auto* shown = new GuidePopover(*selectedItem_, this);
    connect(shown, &GuidePopover::dismissed, this, &QuickGuideStrip::popoverDismissed);
    popover_ = shown;
    // Wayland places a popup only relative to the window it belongs to.
    if (QWindow* parentWindow = window()->windowHandle()) {
        shown->winId();
        shown->windowHandle()->setTransientParent(parentWindow);
    }
    anchorPopover();
    shown->show();
    window()->installEventFilter(this);
}

void QuickGuideStrip::anchorPopover() {
    const GuideChip* anchor = chip(popover_->item());
    const QPoint below = anchor->mapToGlobal(QPoint(anchor->width() / 2, anchor->height()));
    popover_->move(below.x() - popover_->width() / 2, below.y() + 2);
}

void QuickGuideStrip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    // The translucent bar material: the window colour, slightly see-through, and a rule below.
    painter.fillRect(rect(), theme::withAlpha(theme::windowBackground(palette()), 0.92));
    painter.fillRect(QRect(0, height() - 1, width(), 1), theme::separatorColor(palette()));
}

}  // namespace norvane
