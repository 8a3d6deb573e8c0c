#include "app/theme.h"

#include <QApplication>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QIconEngine>
#include <QImage>
#include <QPainter>
#include <QScreen>
#include <QSvgRenderer>

#include <array>
#include <optional>
#include <utility>

namespace norvane::theme {

namespace {

struct TextStyleSpec {
    TextStyle style;
    double pixelSize;
    QFont::Weight weight;
};

// The desktop text styles at the sizes the layout was drawn for.
constexpr std::array<TextStyleSpec, 10> kTextStyles{{
    {TextStyle::LargeTitle, 26, QFont::Normal},
    {TextStyle::Title, 22, QFont::Normal},
    {TextStyle::Title2, 17, QFont::Normal},
    {TextStyle::Title3, 15, QFont::Normal},
    {TextStyle::Headline, 13, QFont::Bold},
    {TextStyle::Subheadline, 11, QFont::Normal},
    {TextStyle::Body, 13, QFont::Normal},
    {TextStyle::Callout, 12, QFont::Normal},
    {TextStyle::Caption, 10, QFont::Normal},
    {TextStyle::Caption2, 10, QFont::Normal},
}};

const TextStyleSpec& specFor(TextStyle style) {
    for (const auto& spec : kTextStyles) {
        if (spec.style == style) return spec;
    }
    return kTextStyles[6];
}

// Symbol names used by the screens, mapped to the vendored icon files.
struct SymbolEntry {
    const char* symbol;
    const char* file;
};

constexpr std::array<SymbolEntry, 28> kSymbols{{
    {"rectangle.and.pencil.and.ellipsis", "square-pen"},
    {"lock.shield.fill", "shield-lock"},
    {"checkmark.shield.fill", "shield-check"},
    {"exclamationmark.triangle.fill", "triangle-alert"},
    {"text.magnifyingglass", "text-search"},
    {"questionmark.circle", "circle-help"},
    {"clock.arrow.circlepath", "history"},
    {"xmark.circle.fill", "circle-x"},
    {"xmark.circle", "circle-x"},
    {"tray.full.fill", "inbox"},
    {"square.and.arrow.down", "download"},
    {"rectangle.fill", "rectangle-horizontal"},
    {"lock.fill", "lock"},
    {"lightbulb.fill", "lightbulb"},
    {"doc.on.doc", "copy"},
    {"doc.badge.plus", "file-plus"},
    {"cursorarrow.click.2", "mouse-pointer-click"},
    {"checkmark.circle.fill", "circle-check"},
    {"arrow.uturn.backward", "undo-2"},
    {"folder", "folder"},
    {"viewfinder", "scan"},
    {"magnifyingglass", "search"},
    {"eye", "eye"},
    {"cpu", "cpu"},
    // Spare spellings some screens use for the same pictures.
    {"shield.lock", "shield-lock"},
    {"doc.plus", "file-plus"},
    {"arrow.uturn.left", "undo-2"},
    {"exclamationmark.triangle", "triangle-alert"},
}};

QByteArray symbolSource(const QString& name) {
    static QHash<QString, QByteArray> cache;
    if (auto it = cache.constFind(name); it != cache.constEnd()) return *it;
    QByteArray source;
    for (const auto& entry : kSymbols) {
        if (name == QLatin1String(entry.symbol)) {
            QFile file(QStringLiteral(":/norvane/icons/%1.svg").arg(QLatin1String(entry.file)));
            if (file.open(QIODevice::ReadOnly)) source = file.readAll();
            break;
        }
    }
    cache.insert(name, source);
    return source;
}

QImage renderSymbol(const QByteArray& source, QSize size, const QColor& color) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    if (source.isEmpty() || size.isEmpty()) return image;
    QSvgRenderer renderer(source);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const int side = qMin(size.width(), size.height());
    const QRectF target((size.width() - side) / 2.0, (size.height() - side) / 2.0, side, side);
    renderer.render(&painter, target);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    return image;
}

// Renders the vector on demand at whatever size is asked for, in the tint or, without one,
// in the application palette's text colour of the moment.
class SymbolIconEngine final : public QIconEngine {
public:
    SymbolIconEngine(QByteArray source, std::optional<QColor> tint) : source_(std::move(source)), tint_(std::move(tint)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        const QSize pixels = (QSizeF(rect.size()) * ratio).toSize();
        QImage image = renderSymbol(source_, pixels, colorFor(mode, state));
        image.setDevicePixelRatio(ratio);
        painter->drawImage(rect, image);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return QPixmap::fromImage(renderSymbol(source_, size, colorFor(mode, state)));
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override {
        QPixmap result = pixmap((QSizeF(size) * scale).toSize(), mode, state);
        result.setDevicePixelRatio(scale);
        return result;
    }

    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override { return size; }
    QIconEngine* clone() const override { return new SymbolIconEngine(source_, tint_); }
    QString key() const override { return QStringLiteral("norvane-symbol"); }
    bool isNull() override { return source_.isEmpty(); }

private:
    QColor colorFor(QIcon::Mode mode, QIcon::State) const {
        const QPalette palette = QGuiApplication::palette();
        if (mode == QIcon::Disabled) {
            QColor base = tint_.value_or(palette.color(QPalette::WindowText));
            return withAlpha(base, 0.35);
        }
        if (tint_) return *tint_;
        if (mode == QIcon::Selected) return palette.color(QPalette::HighlightedText);
        return palette.color(QPalette::WindowText);
    }

    QByteArray source_;
    std::optional<QColor> tint_;
};

double logicalDpi() {
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const double dpi = screen->logicalDotsPerInch();
        if (dpi > 1.0) return dpi;
    }
    return 96.0;
}

// Whole texts first, then phrases inside texts.
struct Replacement {
    const char* from;
    const char* to;
};

constexpr std::array<Replacement, 4> kWholeTexts{{
    {"Developer ID Signed", "No Telemetry"},
    {"Apple Notarized", "Works Offline"},
    {"Universal App \u2014 Intel + Apple Silicon", "Native Desktop App"},
    {"Runs natively on both Intel and Apple Silicon Macs.", "Runs natively on this computer; no browser or cloud."},
}};

constexpr std::array<Replacement, 3> kPhrases{{
    {"this Mac", "this computer"},
    {"your Mac", "your computer"},
    {"Finder", "File Manager"},
}};

}  // namespace

QFont font(TextStyle style) {
    const auto& spec = specFor(style);
    return systemFont(spec.pixelSize, spec.weight);
}

QFont font(TextStyle style, QFont::Weight weight) {
    return systemFont(specFor(style).pixelSize, weight);
}

QFont systemFont(double pixelSize, QFont::Weight weight) {
    QFont result = QApplication::font();
    // Point sizes keep fractional pixel sizes that setPixelSize would round away.
    result.setPointSizeF(pixelSize * 72.0 / logicalDpi());
    result.setWeight(weight);
    return result;
}

QColor navy() { return QColor::fromRgbF(0.055f, 0.145f, 0.205f); }
QColor teal() { return QColor::fromRgbF(0.055f, 0.48f, 0.47f); }
QColor purple() { return QColor::fromRgbF(0.45f, 0.20f, 0.72f); }
QColor orange() { return QColor::fromRgbF(0.86f, 0.36f, 0.16f); }

QColor systemGreen(const QPalette& palette) { return isDark(palette) ? QColor(48, 209, 88) : QColor(40, 167, 69); }
QColor systemOrange(const QPalette& palette) { return isDark(palette) ? QColor(255, 159, 10) : QColor(230, 126, 0); }
QColor systemRed(const QPalette& palette) { return isDark(palette) ? QColor(255, 69, 58) : QColor(255, 59, 48); }
QColor systemBlue(const QPalette& palette) { return isDark(palette) ? QColor(10, 132, 255) : QColor(0, 122, 255); }
QColor systemPurple(const QPalette& palette) { return isDark(palette) ? QColor(191, 90, 242) : QColor(175, 82, 222); }

bool isDark(const QPalette& palette) { return palette.color(QPalette::Window).lightnessF() < 0.5; }

QColor labelColor(const QPalette& palette) { return palette.color(QPalette::WindowText); }

QColor secondaryLabelColor(const QPalette& palette) {
    // Opaque, so it stays legible on any surface it is drawn over.
    const QColor text = palette.color(QPalette::WindowText);
    const QColor back = palette.color(QPalette::Window);
    const float mix = isDark(palette) ? 0.58f : 0.52f;
    return QColor::fromRgbF(back.redF() + (text.redF() - back.redF()) * mix,
                            back.greenF() + (text.greenF() - back.greenF()) * mix,
                            back.blueF() + (text.blueF() - back.blueF()) * mix);
}

QColor windowBackground(const QPalette& palette) { return palette.color(QPalette::Window); }
QColor controlBackground(const QPalette& palette) { return palette.color(QPalette::Base); }
QColor separatorColor(const QPalette& palette) { return withAlpha(palette.color(QPalette::WindowText), 0.12); }
QColor linkColor(const QPalette& palette) { return palette.color(QPalette::Link); }

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

QIcon symbolIcon(const QString& name) {
    QByteArray source = symbolSource(name);
    if (source.isEmpty()) return {};
    return QIcon(new SymbolIconEngine(std::move(source), std::nullopt));
}

QIcon symbolIcon(const QString& name, const QColor& tint) {
    QByteArray source = symbolSource(name);
    if (source.isEmpty()) return {};
    return QIcon(new SymbolIconEngine(std::move(source), tint));
}

QPixmap symbolPixmap(const QString& name, int pixelSize, const QColor& tint, qreal devicePixelRatio) {
    const QByteArray source = symbolSource(name);
    if (source.isEmpty() || pixelSize <= 0) return {};
    const int side = qRound(pixelSize * devicePixelRatio);
    QPixmap pixmap = QPixmap::fromImage(renderSymbol(source, QSize(side, side), tint));
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

bool hasSymbol(const QString& name) { return !symbolSource(name).isEmpty(); }

QString platformText(const QString& text) {
#ifdef Q_OS_MACOS
    return text;
#else
    for (const auto& entry : kWholeTexts) {
        if (text == QString::fromUtf8(entry.from)) return QString::fromUtf8(entry.to);
    }
    QString result = text;
    for (const auto& entry : kPhrases) {
        result.replace(QString::fromUtf8(entry.from), QString::fromUtf8(entry.to));
    }
    return result;
#endif
}

QPalette darkPalette() {
    QPalette p;
    const QColor window(50, 50, 52);
    const QColor base(30, 30, 32);
    const QColor text(236, 236, 238);
    const QColor dimmed(128, 128, 132);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, QColor(40, 40, 42));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(72, 72, 76));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::white);
    p.setColor(QPalette::Highlight, QColor(10, 96, 210));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(65, 156, 255));
    p.setColor(QPalette::LinkVisited, QColor(160, 120, 255));
    p.setColor(QPalette::ToolTipBase, QColor(60, 60, 64));
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, dimmed);
    p.setColor(QPalette::Light, QColor(90, 90, 94));
    p.setColor(QPalette::Midlight, QColor(70, 70, 74));
    p.setColor(QPalette::Mid, QColor(44, 44, 46));
    p.setColor(QPalette::Dark, QColor(22, 22, 24));
    p.setColor(QPalette::Shadow, Qt::black);
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        p.setColor(QPalette::Disabled, role, dimmed);
    }
    return p;
}

QPalette lightPalette() {
    QPalette p;
    const QColor text(28, 28, 30);
    const QColor dimmed(150, 150, 154);
    p.setColor(QPalette::Window, QColor(236, 236, 238));
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, Qt::white);
    p.setColor(QPalette::AlternateBase, QColor(245, 245, 247));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(250, 250, 252));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::white);
    p.setColor(QPalette::Highlight, QColor(0, 100, 220));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(0, 104, 218));
    p.setColor(QPalette::LinkVisited, QColor(100, 60, 200));
    p.setColor(QPalette::ToolTipBase, QColor(255, 255, 240));
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, dimmed);
    p.setColor(QPalette::Light, Qt::white);
    p.setColor(QPalette::Midlight, QColor(232, 232, 234));
    p.setColor(QPalette::Mid, QColor(190, 190, 194));
    p.setColor(QPalette::Dark, QColor(160, 160, 164));
    p.setColor(QPalette::Shadow, QColor(0, 0, 0, 80));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        p.setColor(QPalette::Disabled, role, dimmed);
    }
    return p;
}

}  // namespace norvane::theme
