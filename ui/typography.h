#pragma once
// Text styles and the wording that differs between desktop platforms.

#include <QFont>
#include <QString>

namespace norvane::theme {

// Text styles in proportion to the desktop's text size (the application font), which is the
// body style; a larger desktop font makes every style larger by the same factor.
enum class TextStyle { LargeTitle, Title, Title2, Title3, Headline, Subheadline, Body, Callout, Caption, Caption2 };

QFont font(TextStyle style);
QFont font(TextStyle style, QFont::Weight weight);
// A plain system font of `layoutPixels` as the layout was drawn, with 13-pixel body text; it
// scales with the desktop's text size like the styles do.
QFont systemFont(double layoutPixels, QFont::Weight weight = QFont::Normal);

// User-visible text adjusted to this platform ("this Mac" and friends elsewhere). Texts
// without such phrases come back unchanged.
QString platformText(const QString& text);

}  // namespace norvane::theme
