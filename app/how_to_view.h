#pragma once
// The static "How to Use" page: methods, workflow, what a secure export is, tips, warning.

#include <QColor>
#include <QWidget>

class QScrollArea;

namespace norvane {

class EnhancedRedactionHowToView : public QWidget {
    Q_OBJECT
public:
    static constexpr int maximumContentWidth = 980;

    explicit EnhancedRedactionHowToView(QWidget* parent = nullptr);

    QScrollArea* scrollArea() const { return scrollArea_; }
    QWidget* contentColumn() const { return column_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QWidget* methodCard(const QString& icon, const QString& title, const QString& badge, const QString& text,
                        const QColor& color, const QString& help);
    QWidget* stepRow(const QString& number, const QString& title, const QString& text);
    QWidget* tip(const QString& icon, const QString& text);

    QScrollArea* scrollArea_ = nullptr;
    QWidget* column_ = nullptr;
};

}  // namespace norvane
