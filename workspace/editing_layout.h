#pragma once
// The face of the workspace while a document is open: toolbar, thumbnails, page canvas,
// inspector, and the status bar while something runs. It keeps no state of its own.

#include "model/redaction_view_model.h"

#include <QWidget>

#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;

namespace norvane {

class InspectorPanel;
class PageCanvas;
class PageIndicator;
class PageSidebar;

namespace theme {
class ElidedLabel;
class ThemedLabel;
class SymbolView;
}  // namespace theme

class EditingLayout : public QWidget {
    Q_OBJECT
public:
    // `openPdf` shows the screen's file picker.
    EditingLayout(RedactionViewModel& model, std::function<void()> openPdf, QWidget* parent = nullptr);

    QPushButton* openButton() const { return open_; }
    QPushButton* undoButton() const { return undo_; }
    QPushButton* clearButton() const { return clear_; }
    QPushButton* exportButton() const { return export_; }
    theme::ElidedLabel* fileNameLabel() const;
    // Under the name: how the inspection of the source stands, as words, or as a link to what
    // it found.
    QLabel* inspectionLabel() const;
    QPushButton* inspectionLink() const { return inspectionLink_; }
    QLabel* pendingLabel() const;
    PageSidebar* sidebar() const { return sidebar_; }
    PageCanvas* canvas() const { return canvas_; }
    PageIndicator* pageIndicator() const { return pageIndicator_; }
    InspectorPanel* inspector() const { return inspector_; }
    QWidget* statusBar() const { return statusBar_; }
    QProgressBar* progressBar() const { return progress_; }
    QLabel* statusLabel() const;
    QPushButton* cancelButton() const { return cancel_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildToolbar();
    QWidget* buildStatusBar();
    void syncToolbar();
    void syncStatusBar();
    void syncCanvas();
    void syncInspection();

    RedactionViewModel& model_;
    std::function<void()> openPdf_;
    QPushButton* open_ = nullptr;
    QPushButton* undo_ = nullptr;
    QPushButton* clear_ = nullptr;
    QPushButton* export_ = nullptr;
    theme::ElidedLabel* fileName_ = nullptr;
    theme::ThemedLabel* inspectionLabel_ = nullptr;
    QPushButton* inspectionLink_ = nullptr;
    PageIndicator* pageIndicator_ = nullptr;
    theme::SymbolView* pendingSymbol_ = nullptr;
    theme::ThemedLabel* pending_ = nullptr;
    PageSidebar* sidebar_ = nullptr;
    PageCanvas* makeCanvas();
    PageCanvas* canvas_ = nullptr;
    bool focusCanvasWhenShown_ = false;
    InspectorPanel* inspector_ = nullptr;
    QWidget* statusBar_ = nullptr;
    QProgressBar* progress_ = nullptr;
    theme::ThemedLabel* status_ = nullptr;
    QPushButton* cancel_ = nullptr;
};

// The brand's filled button ("bordered prominent"), tinted with `tint`.
void styleProminentButton(QPushButton* button, const QColor& tint);

}  // namespace norvane
