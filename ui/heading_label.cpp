#include "ui/heading_label.h"

#include "ui/accessibility.h"

namespace norvane::theme {

HeadingLabel::HeadingLabel(const QString& text, const QFont& font, ColorFn color, QWidget* parent)
    : ThemedLabel(text, font, std::move(color), parent) {
    accessibility::markHeading(this);
}

}  // namespace norvane::theme
