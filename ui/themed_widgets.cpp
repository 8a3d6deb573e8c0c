#include "ui/themed_widgets.h"

#include "ui/symbols.h"
#include "ui/theme.h"

#include <QAccessibleWidget>
#include <QEvent>
#include <QHelpEvent>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <QToolTip>

#include <utility>

namespace norvane::theme {

ColorFn primaryText() {
    return [](const QPalette& palette) { return labelColor(palette); };
}

ColorFn secondaryText() {
    return [](const QPalette& palette) { return secondaryLabelColor(palette); };
}

ColorFn fixed(QColor color) {
    return [color](const QPalette&) { return color; };
}

ColorFn fixed(QColor color, double alpha) {
    return fixed(withAlpha(color, alpha));
}

namespace {

bool isPaletteEvent(const QEvent* event) {
    return event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ParentChange;
}

// A symbol with a name is an image that says it; one without is decoration beside words that
// say it already, and a reader skips what is not showing.
class SymbolAccessible : public QAccessibleWidget {
public:
    explicit SymbolAccessible(QWidget* symbol) : QAccessibleWidget(symbol, QAccessible::Graphic) {}
    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.invisible = state.invisible || widget()->accessibleName().isEmpty();
        return state;
    }
};

QAccessibleInterface* symbolFactory(const QString& key, QObject* object) {
    if (key == QLatin1String(SymbolView::staticMetaObject.className()) && object->isWidgetType()) {
        return new SymbolAccessible(static_cast<QWidget*>(object));
    }
    return nullptr;
}

}  // namespace

ThemedLabel::ThemedLabel(const QString& text, const QFont& font, ColorFn color, QWidget* parent)
    : QLabel(text, parent), color_(std::move(color)) {
    setFont(font);
    setTextFormat(Qt::PlainText);
    applyColor();
}

void ThemedLabel::setColor(ColorFn color) {
    color_ = std::move(color);
    applyColor();
}

void ThemedLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (isPaletteEvent(event)) applyColor();
}

void ThemedLabel::applyColor() {
    const QPalette base = parentWidget() ? parentWidget()->palette() : QPalette();
    QPalette own = palette();
    own.setColor(QPalette::WindowText, color_(base));
    own.setColor(QPalette::Text, color_(base));
    setPalette(own);
}

SymbolView::SymbolView(const QString& symbol, int pixelSize, ColorFn color, QWidget* parent)
    : QLabel(parent), symbol_(symbol), pixelSize_(pixelSize), color_(std::move(color)) {
    static const bool installed = (QAccessible::installFactory(symbolFactory), true);
    Q_UNUSED(installed);
    setFixedSize(pixelSize, pixelSize);
    setAlignment(Qt::AlignCenter);
    render();
}

void SymbolView::setSymbol(const QString& symbol, ColorFn color) {
    symbol_ = symbol;
    color_ = std::move(color);
    render();
}

void SymbolView::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (isPaletteEvent(event)) render();
}

void SymbolView::render() {
    const QPalette base = parentWidget() ? parentWidget()->palette() : QPalette();
    setPixmap(symbolPixmap(symbol_, pixelSize_, color_(base), devicePixelRatioF()));
}

RoundedPanel::RoundedPanel(double radius, ColorFn fill, QWidget* parent)
    : QWidget(parent), radius_(radius), fill_(std::move(fill)) {}

void RoundedPanel::setStroke(ColorFn stroke, double width) {
    stroke_ = std::move(stroke);
    strokeWidth_ = width;
    update();
}

void RoundedPanel::setFill(ColorFn fill) {
    fill_ = std::move(fill);
    update();
}

void RoundedPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double inset = stroke_ ? strokeWidth_ / 2.0 : 0.0;
    const QRectF box = QRectF(rect()).adjusted(inset, inset, -inset, -inset);
    const double radius = radius_ < 0 ? box.height() / 2.0 : radius_;
    QPainterPath path;
    path.addRoundedRect(box, radius, radius);
    if (fill_) painter.fillPath(path, fill_(palette()));
    if (stroke_ && strokeWidth_ > 0) {
        painter.setPen(QPen(stroke_(palette()), strokeWidth_));
        painter.drawPath(path);
    }
}

ElidedLabel::ElidedLabel(const QString& text, const QFont& font, ColorFn color, Qt::TextElideMode mode, QWidget* parent)
    : ThemedLabel(text, font, std::move(color), parent), mode_(mode) {
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

QString ElidedLabel::displayedText() const {
    return fontMetrics().elidedText(text(), mode_, contentsRect().width());
}

QSize ElidedLabel::minimumSizeHint() const {
    return {fontMetrics().horizontalAdvance(QChar(0x2026)), ThemedLabel::minimumSizeHint().height()};
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty()) {
        if (displayedText() != text()) {
            QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), text(), this);
        } else {
            QToolTip::hideText();
        }
        return true;
    }
    return ThemedLabel::event(event);
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment()), palette(), isEnabled(),
                          displayedText(), foregroundRole());
}

SeparatorLine::SeparatorLine(QWidget* parent, Qt::Orientation orientation) : QWidget(parent) {
    if (orientation == Qt::Horizontal) {
        setFixedHeight(1);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    } else {
        setFixedWidth(1);
        setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
    }
}

void SeparatorLine::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), separatorColor(palette()));
}

}  // namespace norvane::theme
