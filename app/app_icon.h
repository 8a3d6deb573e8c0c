#pragma once
// The application icon, drawn in code at every launch; no icon resource is read.

#include <QImage>

namespace norvane {

struct RedactionDockIconFactory {
    // A fresh 512 × 512 image: gradient rounded square, white page, two black bars.
    static QImage makeIcon();
};

}  // namespace norvane
