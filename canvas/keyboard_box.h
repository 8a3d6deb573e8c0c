#pragma once
// A box placed with the keyboard: it starts at the centre of a page, the arrow keys move it,
// with Ctrl they resize it, with Shift in large steps; it never leaves its page. Displayed
// points of its page (y down), so the arrows move it the way the page is seen.

#include <QRectF>
#include <QSizeF>
#include <QtGlobal>

class QKeyCombination;

namespace norvane {

class KeyboardBox {
public:
    static constexpr double kStep = 2;        // points
    static constexpr double kLargeStep = 24;  // with Shift
    static constexpr double kMinSide = 4;     // larger than the model's smallest region

    // A quarter of the page wide and a sixteenth high, at its centre.
    KeyboardBox(qint64 pageIndex, QSizeF pageSize);

    qint64 pageIndex() const { return page_; }
    QRectF rect() const { return rect_; }

    // Applies an arrow key; false for any other key.
    bool step(QKeyCombination key);

private:
    qint64 page_;
    QSizeF pageSize_;
    QRectF rect_;
};

}  // namespace norvane
