#include "ui/announcer.h"

#include "ui/accessibility.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace norvane {
namespace {

class AnnouncerAccessible : public QAccessibleWidget {
public:
    explicit AnnouncerAccessible(QWidget* widget) : QAccessibleWidget(widget, QAccessible::AlertMessage) {}
    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Name) return static_cast<Announcer*>(widget())->lastAnnouncement();
        return QAccessibleWidget::text(t);
    }
    QAccessible::State state() const override {
        QAccessible::State s = QAccessibleWidget::state();
        s.focusable = false;
        s.invisible = false;  // a 1-pixel object still counts as shown, so readers take its events
        return s;
    }
};

QAccessibleInterface* announcerFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("norvane::Announcer") && object && object->isWidgetType()) {
        return new AnnouncerAccessible(static_cast<QWidget*>(object));
    }
    return nullptr;
}

}  // namespace

Announcer::Announcer(QWidget* window) : QWidget(window) {
    static const bool installed = (QAccessible::installFactory(announcerFactory), true);
    (void)installed;
    setObjectName(QStringLiteral("announcer"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    setGeometry(0, 0, 1, 1);
    show();
    lower();
    accessibility::forgetReading(this);
}

Announcer* Announcer::of(QWidget* widget) {
    QWidget* window = widget ? widget->window() : nullptr;
    if (!window) return nullptr;
    if (auto* existing = window->findChild<Announcer*>(QString(), Qt::FindDirectChildrenOnly)) return existing;
    return new Announcer(window);
}

void Announcer::announce(QWidget* from, const QString& text) {
    if (Announcer* announcer = of(from)) announcer->say(text);
}

void Announcer::say(const QString& text) {
    if (text.isEmpty()) return;
    last_ = text;
    // Readers speak an alert when it shows and when its name changes; send both, so the same
    // words twice in a row are still said.
    QAccessibleEvent named(this, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&named);
    QAccessibleEvent shown(this, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&shown);
}

}  // namespace norvane
