#include "ui/typography.h"

#include <QApplication>
#include <QGuiApplication>
#include <QScreen>

#include <array>

namespace norvane::theme {

namespace {

constexpr double kLayoutBodyPixels = 13;

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
    {TextStyle::Body, kLayoutBodyPixels, QFont::Normal},
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

double logicalDpi() {
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const double dpi = screen->logicalDotsPerInch();
        if (dpi > 1.0) return dpi;
    }
    return 96.0;
}

// The desktop's body text in points; a font given in pixels is converted.
double desktopBodyPoints() {
    const QFont desktop = QApplication::font();
    if (desktop.pointSizeF() > 0) return desktop.pointSizeF();
    if (desktop.pixelSize() > 0) return desktop.pixelSize() * 72.0 / logicalDpi();
    return kLayoutBodyPixels * 72.0 / 96.0;
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

QFont systemFont(double layoutPixels, QFont::Weight weight) {
    QFont result = QApplication::font();
    // Point sizes keep the fractions that pixel sizes would round away.
    result.setPointSizeF(layoutPixels / kLayoutBodyPixels * desktopBodyPoints());
    result.setWeight(weight);
    return result;
}

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

}  // namespace norvane::theme
