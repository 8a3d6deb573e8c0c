#pragma once
// The icon set, drawn from the vendored vector files at whatever size is asked for.

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

namespace norvane::theme {

// Icons by symbol name (see the table in symbols.cpp). Unknown names give a null icon.
// The untinted form follows the palette's text colour when painted (dimmed when disabled).
QIcon symbolIcon(const QString& name);
QIcon symbolIcon(const QString& name, const QColor& tint);
QPixmap symbolPixmap(const QString& name, int pixelSize, const QColor& tint, qreal devicePixelRatio = 1.0);
bool hasSymbol(const QString& name);

}  // namespace norvane::theme
