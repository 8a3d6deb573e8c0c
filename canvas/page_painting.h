#pragma once
// How the canvas looks: pages (whole pictures, or tiles over a stand-in), pending boxes solid
// black with the export's label when asked for, outlines of hits, findings and hidden content,
// and the red rectangle of a drag or of a box placed with the keyboard.

#include <QRectF>

class QPainter;

namespace norvane {

class PageCanvas;

void paintCanvas(const PageCanvas& canvas, QPainter& painter);

// The white label the export sets in a box, centred and upright: `box` in view pixels,
// `pixelsPerPoint` view pixels per page point.
void drawRedactionLabel(QPainter& painter, const QRectF& box, double pixelsPerPoint);

}  // namespace norvane
