#include "canvas/page_geometry.h"

namespace norvane {

QSizeF displayedPageSize(const PdfPageInfo& page) {
    const double w = page.mediaBox.width;
    const double h = page.mediaBox.height;
    return (page.rotation == 90 || page.rotation == 270) ? QSizeF(h, w) : QSizeF(w, h);
}

QTransform pageToDisplayed(const PdfPageInfo& page) {
    const PageRect box = page.mediaBox.standardized();
    const double w = box.width;
    const double h = box.height;
    // Unrotated view: u = x − minX, v = maxY − y. A clockwise quarter turn of a w × h
    // picture sends (u, v) to (h − v, u).
    const QTransform unrotated(1, 0, 0, -1, -box.minX(), box.maxY());
    QTransform turn;
    switch (page.rotation) {
        case 90:
            turn = QTransform(0, 1, -1, 0, h, 0);
            break;
        case 180:
            turn = QTransform(-1, 0, 0, -1, w, h);
            break;
        case 270:
            turn = QTransform(0, -1, 1, 0, 0, w);
            break;
        default:
            break;
    }
    return unrotated * turn;
}

PageRect displayedRectToPage(const PdfPageInfo& page, const QRectF& displayed) {
    bool invertible = false;
    const QTransform inverse = pageToDisplayed(page).inverted(&invertible);
    const QRectF mapped = inverse.mapRect(displayed.normalized());
    return PageRect{mapped.x(), mapped.y(), mapped.width(), mapped.height()}.standardized();
}

QRectF pageRectToDisplayed(const PdfPageInfo& page, const PageRect& rect) {
    const PageRect r = rect.standardized();
    return pageToDisplayed(page).mapRect(QRectF(r.x, r.y, r.width, r.height));
}

}  // namespace norvane
