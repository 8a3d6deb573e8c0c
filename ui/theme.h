#pragma once
// Brand and semantic colours shared by every screen. Semantic colours come from the palette
// handed in (normally the widget's own), so a dark palette changes them and nothing else.

#include <QColor>
#include <QPalette>

#include <initializer_list>

namespace norvane::theme {

// Brand colours: fixed, identical in light and dark palettes.
QColor navy();
QColor teal();
QColor purple();
QColor orange();

// System accent colours, slightly brighter on dark palettes.
QColor systemGreen(const QPalette& palette);
QColor systemOrange(const QPalette& palette);
QColor systemRed(const QPalette& palette);
QColor systemBlue(const QPalette& palette);
QColor systemPurple(const QPalette& palette);

// What a source hides: magenta, apart from the teal of hits, the orange of findings and the
// black of pending boxes. As text and marks on the palette's surfaces, and on a page, which is
// light in either look.
QColor hiddenContent(const QPalette& palette);
QColor hiddenContentOnPage();

// Semantic colours read from the palette.
bool isDark(const QPalette& palette);
QColor labelColor(const QPalette& palette);           // primary text
QColor secondaryLabelColor(const QPalette& palette);  // dimmed text
QColor windowBackground(const QPalette& palette);
QColor controlBackground(const QPalette& palette);  // cards and grouped surfaces
QColor separatorColor(const QPalette& palette);
QColor linkColor(const QPalette& palette);

QColor withAlpha(QColor color, double alpha);

// Legibility: text under 14 px needs 4.5:1 against what it sits on, controls and their
// outlines 3:1 (relative luminance as the web's accessibility guidelines define it).
constexpr double textContrast = 4.5;
constexpr double controlContrast = 3.0;
double relativeLuminance(const QColor& color);
double contrastRatio(const QColor& a, const QColor& b);
// `color` drawn over `surface`, as one opaque colour.
QColor over(const QColor& color, const QColor& surface);
// `color` (over the first surface) made just opaque enough, then just light or dark enough,
// to reach `ratio` against every surface; the surfaces must be all dark or all light.
QColor readableOn(const QColor& color, std::initializer_list<QColor> surfaces, double ratio);
// `color` as small text: readable on the window, on cards, and on `tint` at `tintAlpha` over
// either (a badge or box tinted in a brand colour); same hue.
QColor readableText(const QColor& color, const QPalette& palette, const QColor& tint = QColor(),
                    double tintAlpha = 0.0);
// A brand-coloured outline at `alpha` over `surface`, raised to control contrast.
QColor outlineOn(const QColor& brand, double alpha, const QColor& surface);

// The toolbar's vertical divider and the outline of unchecked check boxes.
QColor dividerColor(const QPalette& palette);
QColor controlOutline(const QPalette& palette);

// Cards on a dark window: a faint white veil, as white cards would glare.
QColor darkCardVeil();

// A filled ("prominent") button: the enabled look stands out from the window, the cards on it
// and the grouped surfaces; the disabled look is plainly weaker.
struct ProminentColors {
    QColor fill, border, text;
    QColor disabledFill, disabledBorder, disabledText;
};
ProminentColors prominentColors(const QPalette& palette, const QColor& tint);

// A dark palette for screenshots and for desktops that do not supply one.
QPalette darkPalette();
QPalette lightPalette();

}  // namespace norvane::theme
