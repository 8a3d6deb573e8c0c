#pragma once
// "Page 3 of 36" in the toolbar, its number a field: typing another number and Return goes
// there; anything else puts the page being read back. Beside it, the canvas's zoom ("125%").

#include <QWidget>

class QLineEdit;

namespace norvane {

namespace theme {
class ThemedLabel;
}

class PageIndicator : public QWidget {
    Q_OBJECT

public:
    explicit PageIndicator(QWidget* parent = nullptr);

    void setPage(qint64 pageIndex, qint64 pageCount);
    // Zoom relative to actual size.
    void setZoom(double zoom);
    QString zoomText() const;
    // As read aloud: "Page 3 of 36".
    QString text() const;
    QLineEdit* field() const { return field_; }
    // Ready for a page number: focused, all selected.
    void editPage();

signals:
    void pageRequested(qint64 pageIndex);

private:
    void submit();
    void restore();

    theme::ThemedLabel* before_ = nullptr;
    QLineEdit* field_ = nullptr;
    theme::ThemedLabel* after_ = nullptr;
    theme::ThemedLabel* zoom_ = nullptr;
    qint64 page_ = 0;
    qint64 count_ = 0;
};

}  // namespace norvane
