#include "app/app_icon.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace norvane {

namespace {

constexpr int kSide = 512;

// Shapes are given with the origin at the lower left; the image's origin is the upper left.
QRectF flipped(double x, double y, double width, double height) {
    return {x, kSide - y - height, width, height};
}

void fillRounded(QPainter& painter, const QRectF& box, double radius, const QBrush& brush) {
    QPainterPath path;
    path.addRoundedRect(box, radius, radius);
    painter.fillPath(path, brush);
}

}  // namespace

QImage RedactionDockIconFactory::makeIcon() {
    QImage image(kSide, kSide, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);

    const QRectF background = flipped(34, 34, 444, 444);
    // -45 degrees: from the upper-left corner down to the lower-right one.
    QLinearGradient gradient(background.topLeft(), background.bottomRight());
    gradient.setColorAt(0.0, QColor::fromRgbF(0.44f, 0.08f, 0.72f));
    gradient.setColorAt(1.0, QColor::fromRgbF(0.88f, 0.12f, 0.34f));
    fillRounded(painter, background, 105, gradient);

    fillRounded(painter, flipped(128, 88, 256, 336), 28, Qt::white);
    fillRounded(painter, flipped(166, 218, 180, 50), 12, Qt::black);
    fillRounded(painter, flipped(166, 142, 136, 42), 10, Qt::black);
    return image;
}

}  // namespace norvane
