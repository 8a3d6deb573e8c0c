#pragma once
// Text styles and the wording that differs between desktop platforms.

#include <QFont>
#include <QString>

namespace norvane::theme {

// Text styles, sized in device-independent pixels like the rest of the layout.
enum class TextStyle { LargeTitle, Title, Title2, Title3, Headline, Subheadline, Body, Callout, Caption, Caption2 };

QFont font(TextStyle style);
QFont font(TextStyle style, QFont::Weight weight);
// A plain system font at an explicit pixel size (fractions allowed) and weight.
QFont systemFont(double pixelSize, QFont::Weight weight = QFont::Normal);

// User-visible text adjusted to this platform ("this Mac" and friends elsewhere). Texts
// without such phrases come back unchanged.
QString platformText(const QString& text);

}  // namespace norvane::theme
