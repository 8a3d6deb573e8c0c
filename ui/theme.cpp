#include "ui/theme.h"

namespace norvane::theme {

QColor navy() {
    return QColor::fromRgbF(0.055f, 0.145f, 0.205f);
}
QColor teal() {
    return QColor::fromRgbF(0.055f, 0.48f, 0.47f);
}
QColor purple() {
    return QColor::fromRgbF(0.45f, 0.20f, 0.72f);
}
QColor orange() {
    return QColor::fromRgbF(0.86f, 0.36f, 0.16f);
}

QColor systemGreen(const QPalette& palette) {
    return isDark(palette) ? QColor(48, 209, 88) : QColor(40, 167, 69);
}
QColor systemOrange(const QPalette& palette) {
    return isDark(palette) ? QColor(255, 159, 10) : QColor(230, 126, 0);
}
QColor systemRed(const QPalette& palette) {
    return isDark(palette) ? QColor(255, 69, 58) : QColor(255, 59, 48);
}
QColor systemBlue(const QPalette& palette) {
    return isDark(palette) ? QColor(10, 132, 255) : QColor(0, 122, 255);
}
QColor systemPurple(const QPalette& palette) {
    return isDark(palette) ? QColor(191, 90, 242) : QColor(175, 82, 222);
}

bool isDark(const QPalette& palette) {
    return palette.color(QPalette::Window).lightnessF() < 0.5;
}

QColor labelColor(const QPalette& palette) {
    return palette.color(QPalette::WindowText);
}

QColor secondaryLabelColor(const QPalette& palette) {
    // Opaque, so it stays legible on any surface it is drawn over.
    const QColor text = palette.color(QPalette::WindowText);
    const QColor back = palette.color(QPalette::Window);
    const float mix = isDark(palette) ? 0.58f : 0.52f;
    return QColor::fromRgbF(back.redF() + (text.redF() - back.redF()) * mix,
                            back.greenF() + (text.greenF() - back.greenF()) * mix,
                            back.blueF() + (text.blueF() - back.blueF()) * mix);
}

QColor windowBackground(const QPalette& palette) {
    return palette.color(QPalette::Window);
}
QColor controlBackground(const QPalette& palette) {
    return palette.color(QPalette::Base);
}
QColor separatorColor(const QPalette& palette) {
    return withAlpha(palette.color(QPalette::WindowText), 0.12);
}
QColor linkColor(const QPalette& palette) {
    return palette.color(QPalette::Link);
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

QPalette darkPalette() {
    QPalette p;
    const QColor window(50, 50, 52);
    const QColor base(30, 30, 32);
    const QColor text(236, 236, 238);
    const QColor dimmed(128, 128, 132);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, QColor(40, 40, 42));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(72, 72, 76));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::white);
    p.setColor(QPalette::Highlight, QColor(10, 96, 210));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(65, 156, 255));
    p.setColor(QPalette::LinkVisited, QColor(160, 120, 255));
    p.setColor(QPalette::ToolTipBase, QColor(60, 60, 64));
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, dimmed);
    p.setColor(QPalette::Light, QColor(90, 90, 94));
    p.setColor(QPalette::Midlight, QColor(70, 70, 74));
    p.setColor(QPalette::Mid, QColor(44, 44, 46));
    p.setColor(QPalette::Dark, QColor(22, 22, 24));
    p.setColor(QPalette::Shadow, Qt::black);
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        p.setColor(QPalette::Disabled, role, dimmed);
    }
    return p;
}

QPalette lightPalette() {
    QPalette p;
    const QColor text(28, 28, 30);
    const QColor dimmed(150, 150, 154);
    p.setColor(QPalette::Window, QColor(236, 236, 238));
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, Qt::white);
    p.setColor(QPalette::AlternateBase, QColor(245, 245, 247));
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, QColor(250, 250, 252));
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::white);
    p.setColor(QPalette::Highlight, QColor(0, 100, 220));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(0, 104, 218));
    p.setColor(QPalette::LinkVisited, QColor(100, 60, 200));
    p.setColor(QPalette::ToolTipBase, QColor(255, 255, 240));
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, dimmed);
    p.setColor(QPalette::Light, Qt::white);
    p.setColor(QPalette::Midlight, QColor(232, 232, 234));
    p.setColor(QPalette::Mid, QColor(190, 190, 194));
    p.setColor(QPalette::Dark, QColor(160, 160, 164));
    p.setColor(QPalette::Shadow, QColor(0, 0, 0, 80));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        p.setColor(QPalette::Disabled, role, dimmed);
    }
    return p;
}

}  // namespace norvane::theme
