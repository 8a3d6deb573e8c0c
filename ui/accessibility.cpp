#include "ui/accessibility.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QLabel>

namespace norvane::accessibility {
namespace {

constexpr char kHeading[] = "norvaneHeading";
constexpr char kDecorative[] = "norvaneDecorative";

class HeadingAccessible : public QAccessibleWidget {
public:
    explicit HeadingAccessible(QLabel* label) : QAccessibleWidget(label, QAccessible::Heading) {}
    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Name) {
            const QString own = widget()->accessibleName();
            return own.isEmpty() ? static_cast<QLabel*>(widget())->text() : own;
        }
        return QAccessibleWidget::text(t);
    }
};

class DecorativeAccessible : public QAccessibleWidget {
public:
    explicit DecorativeAccessible(QWidget* widget) : QAccessibleWidget(widget, QAccessible::Graphic) {}
    QAccessible::State state() const override {
        QAccessible::State s = QAccessibleWidget::state();
        // Readers skip what is not shown; a named symbol (a verdict, a state) is read.
        if (widget()->accessibleName().isEmpty()) s.invisible = true;
        return s;
    }
    QString text(QAccessible::Text t) const override {
        return t == QAccessible::Name ? widget()->accessibleName() : QAccessibleWidget::text(t);
    }
};

QAccessibleInterface* factory(const QString&, QObject* object) {
    if (!object || !object->isWidgetType()) return nullptr;
    auto* widget = static_cast<QWidget*>(object);
    if (widget->property(kHeading).toBool()) {
        if (auto* label = qobject_cast<QLabel*>(widget)) return new HeadingAccessible(label);
    }
    if (widget->property(kDecorative).toBool()) return new DecorativeAccessible(widget);
    return nullptr;
}

}  // namespace

void forgetReading(QWidget* widget) {
    if (QAccessibleInterface* made = QAccessible::queryAccessibleInterface(widget)) {
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(made));
    }
}

void install() {
    static const bool installed = (QAccessible::installFactory(factory), true);
    (void)installed;
}

void markHeading(QLabel* label) {
    install();
    label->setProperty(kHeading, true);
    forgetReading(label);
}

void markDecorative(QWidget* widget) {
    install();
    widget->setProperty(kDecorative, true);
    forgetReading(widget);
}

}  // namespace norvane::accessibility
