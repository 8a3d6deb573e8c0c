#pragma once
// The thin bar above the editing layout that says which redaction method suits which PDF:
// four chips that light up under the pointer and open a short explanation when clicked.

#include <QAbstractButton>
#include <QFrame>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <array>
#include <optional>

namespace norvane {

enum class GuideItem { manual, findText, ocr, secureExport };

QString rawValue(GuideItem item);
std::optional<GuideItem> guideItemFromRawValue(const QString& raw);

class QuickGuideStrip;

class GuideChip : public QAbstractButton {
    Q_OBJECT
public:
    GuideChip(QuickGuideStrip* strip, GuideItem item);
    GuideItem item() const { return item_; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    // Left and Right (Up and Down) move to the neighbouring chip; Return and Space click.
    void keyPressEvent(QKeyEvent* event) override;

private:
    QuickGuideStrip* strip_;
    GuideItem item_;
};

// The explanation under a chip: a popup of the strip's window, so it stays with the window
// and a press anywhere else, or Escape, dismisses it.
class GuidePopover : public QFrame {
    Q_OBJECT
public:
    GuidePopover(GuideItem item, QuickGuideStrip* strip);
    GuideItem item() const { return item_; }

signals:
    void dismissed(norvane::GuideItem item);

protected:
    void paintEvent(QPaintEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    QuickGuideStrip* strip_;
    GuideItem item_;
};

class QuickGuideStrip : public QWidget {
    Q_OBJECT
public:
    explicit QuickGuideStrip(QWidget* parent = nullptr);
    ~QuickGuideStrip() override;

    std::optional<GuideItem> selectedItem() const { return selectedItem_; }
    std::optional<GuideItem> hoveredItem() const { return hoveredItem_; }
    GuideChip* chip(GuideItem item) const;
    // The chip under a point of the screen, if any.
    std::optional<GuideItem> chipAt(const QPoint& global) const;
    // The open popover, if any.
    GuidePopover* popover() const { return popover_; }

    // What the chips report.
    void pointerEntered(GuideItem item);
    void pointerLeft(GuideItem item);
    void chipClicked(GuideItem item);

protected:
    void paintEvent(QPaintEvent* event) override;
    // While a popover is open it follows its chip as the window moves or resizes.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void popoverDismissed(GuideItem item);
    void showPopover();
    void anchorPopover();

    std::optional<GuideItem> selectedItem_;
    std::optional<GuideItem> hoveredItem_;
    std::array<GuideChip*, 4> chips_{};
    QPointer<GuidePopover> popover_;
};

}  // namespace norvane
