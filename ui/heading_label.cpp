#include "ui/heading_label.h"

#include <QAccessibleWidget>

namespace norvane::theme {
namespace {

class HeadingAccessible : public QAccessibleWidget {
public:
    explicit HeadingAccessible(HeadingLabel* label) : QAccessibleWidget(label, QAccessible::Heading) {}

    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Name && widget()->accessibleName().isEmpty()) {
            return static_cast<const QLabel*>(widget())->text();
        }
        return QAccessibleWidget::text(t);
    }
};

QAccessibleInterface* headingFactory(const QString& key, QObject* object) {
    if (key == QLatin1String(HeadingLabel::staticMetaObject.className())) {
        if (auto* label = qobject_cast<HeadingLabel*>(object)) return new HeadingAccessible(label);
    }
    return nullptr;
}

}  // namespace

HeadingLabel::HeadingLabel(const QString& text, const QFont& font, ColorFn color, QWidget* parent)
    : ThemedLabel(text, font, std::move(color), parent) {
    static const bool installed = (QAccessible::installFactory(headingFactory), true);
    Q_UNUSED(installed);
}

}  // namespace norvane::theme
