#pragma once
// Small building blocks that keep their colours in step with the palette: a label whose
// colour is a function of the palette, a symbol image, and a rounded (or capsule) surface.

#include <QColor>
#include <QFont>
#include <QLabel>
#include <QPalette>
#include <QWidget>

#include <functional>

namespace norvane::theme {

using ColorFn = std::function<QColor(const QPalette&)>;

ColorFn primaryText();
ColorFn secondaryText();
ColorFn fixed(QColor color);
ColorFn fixed(QColor color, double alpha);

class ThemedLabel : public QLabel {
    Q_OBJECT
public:
    ThemedLabel(const QString& text, const QFont& font, ColorFn color = primaryText(), QWidget* parent = nullptr);
    void setColor(ColorFn color);

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyColor();
    ColorFn color_;
};

class SymbolView : public QLabel {
    Q_OBJECT
public:
    // A square symbol of `pixelSize`; an unknown name shows nothing but keeps its size. Without
    // an accessible name it is decoration, hidden from assistive technology.
    SymbolView(const QString& symbol, int pixelSize, ColorFn color = primaryText(), QWidget* parent = nullptr);
    void setSymbol(const QString& symbol, ColorFn color);
    const QString& symbol() const { return symbol_; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void render();
    QString symbol_;
    int pixelSize_;
    ColorFn color_;
};

// A rounded rectangle painted behind its children; radius < 0 draws a capsule.
class RoundedPanel : public QWidget {
    Q_OBJECT
public:
    RoundedPanel(double radius, ColorFn fill, QWidget* parent = nullptr);
    void setStroke(ColorFn stroke, double width = 1.0);
    void setFill(ColorFn fill);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double radius_;
    ColorFn fill_;
    ColorFn stroke_;
    double strokeWidth_ = 0;
};

// One line of text that ends, or is cut in the middle, with "…" where it does not fit; the
// whole text is its tooltip then. text() stays the whole text.
class ElidedLabel : public ThemedLabel {
    Q_OBJECT
public:
    ElidedLabel(const QString& text, const QFont& font, ColorFn color = primaryText(),
                Qt::TextElideMode mode = Qt::ElideRight, QWidget* parent = nullptr);
    QString displayedText() const;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    Qt::TextElideMode mode_;
};

// A one-pixel horizontal rule in the separator colour.
class SeparatorLine : public QWidget {
    Q_OBJECT
public:
    explicit SeparatorLine(QWidget* parent = nullptr, Qt::Orientation orientation = Qt::Horizontal);

protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace norvane::theme
