#pragma once
// Light or dark as the desktop prefers it, followed while the app runs, and a style whose
// check boxes keep a visible outline on either.

#include <QDBusVariant>
#include <QObject>
#include <QPalette>
#include <QProxyStyle>

#include <optional>

namespace norvane::theme {

enum class ColorScheme { unknown, light, dark };

// The freedesktop portal's "color-scheme" value: 1 prefers dark, 2 prefers light, anything
// else states no preference.
ColorScheme schemeFromPortalValue(std::optional<unsigned> value);
// The palette for a scheme; with no preference the desktop's own palette stands.
QPalette paletteFor(ColorScheme scheme, const QPalette& desktop);

class ReadableStyle : public QProxyStyle {
    Q_OBJECT
public:
    using QProxyStyle::QProxyStyle;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget = nullptr) const override;
};

// Installs the readable style and the desktop's scheme, and keeps following the scheme.
class DesktopAppearance : public QObject {
    Q_OBJECT
public:
    explicit DesktopAppearance(QObject* parent = nullptr);
    void apply(ColorScheme scheme);

private slots:
    void portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    QPalette desktopPalette_;
};

}  // namespace norvane::theme
