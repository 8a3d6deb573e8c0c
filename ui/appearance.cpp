#include "ui/appearance.h"

#include "ui/theme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QPainter>
#include <QStyleHints>
#include <QStyleOption>

namespace norvane::theme {

namespace {

constexpr auto kPortalService = "org.freedesktop.portal.Desktop";
constexpr auto kPortalPath = "/org/freedesktop/portal/desktop";
constexpr auto kPortalSettings = "org.freedesktop.portal.Settings";
constexpr auto kAppearanceGroup = "org.freedesktop.appearance";
constexpr auto kColorSchemeKey = "color-scheme";

// The portal wraps the value in one or two variants, depending on its version.
std::optional<unsigned> portalNumber(QVariant value) {
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    bool ok = false;
    const unsigned number = value.toUInt(&ok);
    return ok ? std::optional<unsigned>(number) : std::nullopt;
}

std::optional<unsigned> readPortalColorScheme() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return std::nullopt;
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(kPortalService), QString::fromLatin1(kPortalPath),
                                       QString::fromLatin1(kPortalSettings), QStringLiteral("Read"));
    call << QString::fromLatin1(kAppearanceGroup) << QString::fromLatin1(kColorSchemeKey);
    // Short: a desktop without the portal must not hold up the first window.
    const QDBusMessage reply = bus.call(call, QDBus::Block, 300);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return std::nullopt;
    return portalNumber(reply.arguments().constFirst());
}

}  // namespace

ColorScheme schemeFromPortalValue(std::optional<unsigned> value) {
    if (value == 1u) return ColorScheme::dark;
    if (value == 2u) return ColorScheme::light;
    return ColorScheme::unknown;
}

QPalette paletteFor(ColorScheme scheme, const QPalette& desktop) {
    switch (scheme) {
        case ColorScheme::dark:
            return darkPalette();
        case ColorScheme::light:
            return lightPalette();
        case ColorScheme::unknown:
            break;
    }
    // A desktop's own hints are often too faint to read.
    QPalette own = desktop;
    for (auto group : {QPalette::Active, QPalette::Inactive}) {
        own.setColor(group, QPalette::PlaceholderText,
                     readableOn(desktop.color(group, QPalette::PlaceholderText), {desktop.color(group, QPalette::Base)},
                                textContrast + 0.05));
    }
    return own;
}

void ReadableStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                  const QWidget* widget) const {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    if (element != PE_IndicatorCheckBox || !(option->state & State_Enabled)) return;
    // Many styles outline the box in a shade of the window colour, which vanishes on dark ones.
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(controlOutline(option->palette), 1));
    painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
    painter->restore();
}

DesktopAppearance::DesktopAppearance(QObject* parent) : QObject(parent), desktopPalette_(QApplication::palette()) {
    // Wraps the style in use, so a style chosen with -style stays.
    QApplication::setStyle(new ReadableStyle(QApplication::style()->name()));
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    const auto fromHints = [] {
        switch (QGuiApplication::styleHints()->colorScheme()) {
            case Qt::ColorScheme::Dark:
                return ColorScheme::dark;
            case Qt::ColorScheme::Light:
                return ColorScheme::light;
            default:
                return ColorScheme::unknown;
        }
    };
    if (fromHints() != ColorScheme::unknown) {
        apply(fromHints());
        connect(QGuiApplication::styleHints(), &QStyleHints::colorSchemeChanged, this,
                [this, fromHints] { apply(fromHints()); });
        return;
    }
#endif
    apply(schemeFromPortalValue(readPortalColorScheme()));
    QDBusConnection::sessionBus().connect(QString::fromLatin1(kPortalService), QString::fromLatin1(kPortalPath),
                                          QString::fromLatin1(kPortalSettings), QStringLiteral("SettingChanged"), this,
                                          SLOT(portalSettingChanged(QString, QString, QDBusVariant)));
}

void DesktopAppearance::apply(ColorScheme scheme) {
    QApplication::setPalette(paletteFor(scheme, desktopPalette_));
}

void DesktopAppearance::portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value) {
    if (group == QLatin1String(kAppearanceGroup) && key == QLatin1String(kColorSchemeKey)) {
        apply(schemeFromPortalValue(portalNumber(value.variant())));
    }
}

}  // namespace norvane::theme
