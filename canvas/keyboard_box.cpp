#include "canvas/keyboard_box.h"

#include <QKeyCombination>

#include <algorithm>

namespace norvane {

KeyboardBox::KeyboardBox(qint64 pageIndex, QSizeF pageSize) : page_(pageIndex), pageSize_(pageSize) {
    const auto side = [](double part, double whole) { return std::min(std::max(part, kMinSide), whole); };
    const QSizeF size(side(pageSize.width() / 4, pageSize.width()), side(pageSize.height() / 16, pageSize.height()));
    rect_ = QRectF(QPointF(pageSize.width() - size.width(), pageSize.height() - size.height()) / 2, size);
}

bool KeyboardBox::step(QKeyCombination key) {
    double dx = 0;
    double dy = 0;
    switch (key.key()) {
        case Qt::Key_Left:
            dx = -1;
            break;
        case Qt::Key_Right:
            dx = 1;
            break;
        case Qt::Key_Up:
            dy = -1;
            break;
        case Qt::Key_Down:
            dy = 1;
            break;
        default:
            return false;
    }
    const Qt::KeyboardModifiers modifiers = key.keyboardModifiers();
    const double by = modifiers.testFlag(Qt::ShiftModifier) ? kLargeStep : kStep;
    // Never beyond the page, whatever the step.
    if (modifiers.testFlag(Qt::ControlModifier)) {
        const double wide = std::clamp(rect_.width() + dx * by, std::min(kMinSide, pageSize_.width()),
                                       pageSize_.width() - rect_.left());
        const double high = std::clamp(rect_.height() + dy * by, std::min(kMinSide, pageSize_.height()),
                                       pageSize_.height() - rect_.top());
        rect_.setSize(QSizeF(wide, high));
    } else {
        const double x = std::clamp(rect_.left() + dx * by, 0.0, pageSize_.width() - rect_.width());
        const double y = std::clamp(rect_.top() + dy * by, 0.0, pageSize_.height() - rect_.height());
        rect_.moveTopLeft(QPointF(x, y));
    }
    return true;
}

}  // namespace norvane
