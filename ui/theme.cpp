#include "ui/theme.h"

#include <algorithm>
#include <cmath>

namespace norvane::theme {

namespace {

double linearChannel(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

// Where a colour is as far (by contrast) from black as from white.
constexpr double kMidLuminance = 0.18;

}  // namespace

QColor navy() {
    return QColor::fromRgbF(0.055f, 0.145f, 0.205f);
}
QColor teal() {
    return QColor::fromRgbF(0.055f, 0.48f, 0.47f);
}
QColor purple() {
    return QColor::fromRgbF(0.45f, 0.20f, 0.72f);
}
QColor orange() {
    return QColor::fromRgbF(0.86f, 0.36f, 0.16f);
}

namespace {

// Accents are mostly words and symbols: each is darkened (light) or lightened (dark) just enough
// to read on the window, on cards and on its own faint tint, keeping its hue.
QColor accent(const QPalette& palette, const QColor& light, const QColor& dark) {
    const bool darkLook = palette.color(QPalette::Window).lightnessF() < 0.5;
    const QColor window = palette.color(QPalette::Window);
    QColor chosen = darkLook ? dark : light;
    // The tint follows the colour, so settle the two together.
    for (int round = 0; round < 3; ++round) {
        chosen = readableOn(chosen, {window, palette.color(QPalette::Base), over(withAlpha(chosen, 0.18), window)},
                            textContrast + 0.1);
    }
    return chosen;
}

}  // namespace

QColor systemGreen(const QPalette& palette) {
    return accent(palette, QColor(40, 167, 69), QColor(48, 209, 88));
}
QColor systemOrange(const QPalette& palette) {
    return accent(palette, QColor(230, 126, 0), QColor(255, 159, 10));
}
QColor systemRed(const QPalette& palette) {
    return accent(palette, QColor(255, 59, 48), QColor(255, 69, 58));
}
QColor systemBlue(const QPalette& palette) {
    return accent(palette, QColor(0, 122, 255), QColor(10, 132, 255));
}
QColor systemPurple(const QPalette& palette) {
    return accent(palette, QColor(175, 82, 222), QColor(191, 90, 242));
}

QColor hiddenContent(const QPalette& palette) {
    return accent(palette, QColor(191, 26, 154), QColor(240, 98, 206));
}
QColor hiddenContentOnPage() {
    return QColor(191, 26, 154);
}

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightnessF() < 0.5;
}

QColor labelColor(const QPalette& palette) {
    return palette.color(QPalette::WindowText);
}

QColor secondaryLabelColor(const QPalette& palette) {
    // Opaque, so it stays legible on any surface it is drawn over.
    const QColor text = palette.color(QPalette::WindowText);
    const QColor back = palette.color(QPalette::Window);
    const float mix = isDark(palette) ? 0.58f : 0.52f;
    const QColor dimmed = QColor::fromRgbF(back.redF() + (text.redF() - back.redF()) * mix,
                                           back.greenF() + (text.greenF() - back.greenF()) * mix,
                                           back.blueF() + (text.blueF() - back.blueF()) * mix);
    // Also on the faint veil of dark cards.
    const QColor veiled = isDark(palette) ? over(darkCardVeil(), back) : back;
    return readableOn(dimmed, {back, palette.color(QPalette::Base), veiled}, textContrast);
}

QColor windowBackground(const QPalette& palette) {
    return palette.color(QPalette::Window);
}
QColor controlBackground(const QPalette& palette) {
    return palette.color(QPalette::Base);
}
QColor separatorColor(const QPalette& palette) {
    return withAlpha(palette.color(QPalette::WindowText), 0.12);
}
QColor linkColor(const QPalette& palette) {
    return palette.color(QPalette::Link);
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

double relativeLuminance(const QColor& color) {
    const QColor rgb = color.toRgb();
    return 0.2126 * linearChannel(rgb.redF()) + 0.7152 * linearChannel(rgb.greenF()) +
           0.0722 * linearChannel(rgb.blueF());
}

double contrastRatio(const QColor& a, const QColor& b) {
    const double la = relativeLuminance(a);
    const double lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor over(const QColor& color, const QColor& surface) {
    const double a = color.alphaF();
    const QColor c = color.toRgb();
    const QColor s = surface.toRgb();
    return QColor::fromRgbF(static_cast<float>(s.redF() + (c.redF() - s.redF()) * a),
                            static_cast<float>(s.greenF() + (c.greenF() - s.greenF()) * a),
                            static_cast<float>(s.blueF() + (c.blueF() - s.blueF()) * a));
}

QColor readableOn(const QColor& color, std::initializer_list<QColor> surfaces, double ratio) {
    const QColor first = *surfaces.begin();
    const auto passes = [&](const QColor& candidate) {
        return std::all_of(surfaces.begin(), surfaces.end(),
                           [&](const QColor& surface) { return contrastRatio(candidate, surface) >= ratio; });
    };
    // Opacity first: it keeps the colour that was chosen.
    double alpha = color.alphaF();
    QColor candidate = over(color, first);
    while (!passes(candidate) && alpha < 1.0) {
        alpha = std::min(1.0, alpha + 0.02);
        candidate = over(withAlpha(color, alpha), first);
    }
    // Then lightness, away from the surfaces, keeping hue and saturation.
    const bool darkSurfaces = relativeLuminance(first) < kMidLuminance;
    const QColor hsl = candidate.toHsl();
    double lightness = hsl.lightnessF();
    while (!passes(candidate) && lightness > 0.0 && lightness < 1.0) {
        lightness = std::clamp(lightness + (darkSurfaces ? 0.01 : -0.01), 0.0, 1.0);
        candidate = QColor::fromHslF(hsl.hslHueF(), hsl.hslSaturationF(), static_cast<float>(lightness)).toRgb();
    }
    return candidate;
}

QColor readableText(const QColor& color, const QPalette& palette, const QColor& tint, double tintAlpha) {
    const QColor window = palette.color(QPalette::Window);
    const QColor base = palette.color(QPalette::Base);
    const QColor veiled = isDark(palette) ? over(darkCardVeil(), window) : window;
    if (!tint.isValid() || tintAlpha <= 0.0) return readableOn(color, {window, base, veiled}, textContrast + 0.05);
    const QColor wash = withAlpha(tint, tintAlpha);
    return readableOn(color, {window, base, veiled, over(wash, window), over(wash, base), over(wash, veiled)},
                      textContrast + 0.05);
}

QColor outlineOn(const QColor& brand, double alpha, const QColor& surface) {
    return readableOn(withAlpha(brand, alpha), {surface}, controlContrast);
}

QColor dividerColor(const QPalette& palette) {
    return readableOn(withAlpha(palette.color(QPalette::WindowText), 0.12), {palette.color(QPalette::Window)},
                      controlContrast);
}

QColor controlOutline(const QPalette& palette) {
    return readableOn(withAlpha(palette.color(QPalette::WindowText), 0.3),
                      {palette.color(QPalette::Window), palette.color(QPalette::Base)}, controlContrast);
}

QColor darkCardVeil() {
    return {255, 255, 255, 22};
}

ProminentColors prominentColors(const QPalette& palette, const QColor& tint) {
    const QColor window = palette.color(QPalette::Window);
    const QColor text = palette.color(QPalette::WindowText);
    const QColor card = isDark(palette) ? over(darkCardVeil(), window) : window;
    ProminentColors colors;
    colors.fill = tint;
    colors.border = readableOn(tint, {window, palette.color(QPalette::Base), card}, controlContrast);
    colors.text = Qt::white;
    if (contrastRatio(tint, card) < controlContrast) {
        // A dark brand fill on a dark card disappears: the fill is lifted in its own hue until it
        // stands out, and the title turns dark when white no longer reads on it.
        colors.fill = colors.border;
        if (contrastRatio(colors.text, colors.fill) < textContrast) {
            colors.text = readableOn(tint, {colors.fill}, textContrast);
        }
    }
    colors.disabledFill = over(withAlpha(text, 0.06), window);
    colors.disabledBorder = over(withAlpha(text, 0.2), window);
    colors.disabledText = over(withAlpha(text, 0.45), window);
    return colors;
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
    p.setColor(QPalette::PlaceholderText, readableOn(dimmed, {p.color(QPalette::Base)}, textContrast + 0.05));
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
    p.setColor(QPalette::PlaceholderText, readableOn(dimmed, {p.color(QPalette::Base)}, textContrast + 0.05));
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
