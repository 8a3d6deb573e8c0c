#pragma once
// The look shared by every screen: text styles, brand and semantic colours, the icon set and
// the wording that differs between desktop platforms. Semantic colours come from the palette
// handed in (normally the widget's own), so a dark palette changes them and nothing else.

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QPalette>
#include <QPixmap>
#include <QString>

namespace norvane::theme {

// Text styles, sized in device-independent pixels like the rest of the layout.
enum class TextStyle { LargeTitle, Title, Title2, Title3, Headline, Subheadline, Body, Callout, Caption, Caption2 };

QFont font(TextStyle style);
QFont font(TextStyle style, QFont::Weight weight);
// A plain system font at an explicit pixel size (fractions allowed) and weight.
QFont systemFont(double pixelSize, QFont::Weight weight = QFont::Normal);

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
QColor controlBackground(const QPalette& palette);    // cards and grouped surfaces
QColor separatorColor(const QPalette& palette);
QColor linkColor(const QPalette& palette);

QColor withAlpha(QColor color, double alpha);

// Icons by symbol name (see the table in theme.cpp). Unknown names give a null icon.
// The untinted form follows the palette's text colour when painted (dimmed when disabled).
QIcon symbolIcon(const QString& name);
QIcon symbolIcon(const QString& name, const QColor& tint);
QPixmap symbolPixmap(const QString& name, int pixelSize, const QColor& tint, qreal devicePixelRatio = 1.0);
bool hasSymbol(const QString& name);

// User-visible text adjusted to this platform ("this Mac" and friends elsewhere). Texts
// without such phrases come back unchanged.
QString platformText(const QString& text);

// A dark palette for screenshots and for desktops that do not supply one.
QPalette darkPalette();
QPalette lightPalette();

}  // namespace norvane::theme
