#pragma once
// The welcome face of the workspace while no document is open: brand header, the drop
// card with "Select PDFs", and three short assurance cards.

#include <QPushButton>
#include <QStringList>
#include <QWidget>

#include <functional>

namespace norvane {

// Keeps, in order, the paths whose extension (lower-cased) is "pdf".
QStringList pdfPathsOnly(const QStringList& paths);

// The card that accepts dropped PDF files; outlined more strongly while files hover over it.
class DropCard : public QWidget {
    Q_OBJECT
public:
    explicit DropCard(QWidget* parent = nullptr);
    bool isDropTargeted() const { return targeted_; }

signals:
    void pdfsDropped(const QStringList& paths);

protected:
    void paintEvent(QPaintEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void setTargeted(bool targeted);
    bool targeted_ = false;
};

class LandingView : public QWidget {
    Q_OBJECT
public:
    explicit LandingView(QWidget* parent = nullptr);
    DropCard* dropCard() const { return dropCard_; }
    QPushButton* selectButton() const { return select_; }

signals:
    void selectRequested();
    void pdfsDropped(const QStringList& paths);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    DropCard* dropCard_ = nullptr;
    QPushButton* select_ = nullptr;
};

}  // namespace norvane
