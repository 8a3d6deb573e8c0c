#include "ui/symbols.h"

#include "ui/theme.h"

#include <QApplication>
#include <QFile>
#include <QHash>
#include <QIconEngine>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <array>
#include <optional>
#include <utility>

namespace norvane::theme {

namespace {

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
    SymbolIconEngine(QByteArray source, std::optional<QColor> tint)
        : source_(std::move(source)), tint_(std::move(tint)) {}

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

}  // namespace

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

bool hasSymbol(const QString& name) {
    return !symbolSource(name).isEmpty();
}

}  // namespace norvane::theme
