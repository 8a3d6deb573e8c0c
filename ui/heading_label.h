#pragma once
// A section title that assistive technology reads as a heading, so that a screen reader can
// move from one part of a screen to the next.

#include "ui/themed_widgets.h"

namespace norvane::theme {

class HeadingLabel : public ThemedLabel {
    Q_OBJECT
public:
    HeadingLabel(const QString& text, const QFont& font, ColorFn color = primaryText(), QWidget* parent = nullptr);
};

}  // namespace norvane::theme
