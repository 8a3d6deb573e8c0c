#pragma once
// Brand and semantic colours shared by every screen. Semantic colours come from the palette
// handed in (normally the widget's own), so a dark palette changes them and nothing else.

#include <QColor>
#include <QPalette>

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

// Semantic colours read from the palette.
bool isDark(const QPalette& palette);
QColor labelColor(const QPalette& palette);           // primary text
QColor secondaryLabelColor(const QPalette& palette);  // dimmed text
QColor windowBackground(const QPalette& palette);
QColor controlBackground(const QPalette& palette);  // cards and grouped surfaces
QColor separatorColor(const QPalette& palette);
QColor linkColor(const QPalette& palette);

QColor withAlpha(QColor color, double alpha);

// A dark palette for screenshots and for desktops that do not supply one.
QPalette darkPalette();
QPalette lightPalette();

}  // namespace norvane::theme
