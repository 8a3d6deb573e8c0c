#include "workspace/workspace_screen.h"

#include "canvas/page_canvas.h"
#include "model/export_pipeline.h"
#include "ui/announcer.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"
#include "ui/window_system.h"
#include "workspace/editing_layout.h"
#include "workspace/inspector_panel.h"
#include "workspace/landing_view.h"
#include "workspace/page_indicator.h"
#include "workspace/quick_guide_strip.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace norvane {

namespace {

QString queueText(qsizetype count) {
    return QString::number(count) + QStringLiteral(" PDF") + (count == 1 ? QString() : QStringLiteral("s")) +
           QStringLiteral(" queued");
}

// The bar under both faces while PDFs wait to be opened.
class QueueBar : public QWidget {
public:
    explicit QueueBar(QWidget* parent) : QWidget(parent) {
        setObjectName(QStringLiteral("queueBar"));
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(18, 10, 18, 10);
        row->setSpacing(12);
        row->addWidget(new theme::SymbolView(QStringLiteral("tray.full.fill"), 16, theme::primaryText(), this));
        label = new theme::ThemedLabel(QString(), theme::font(theme::TextStyle::Subheadline, QFont::DemiBold),
                                       theme::primaryText(), this);
        label->setObjectName(QStringLiteral("queueCount"));
        row->addWidget(label);
        row->addStretch(1);
        openNext = new QPushButton(QStringLiteral("Open Next PDF"), this);
        openNext->setObjectName(QStringLiteral("openNextPdf"));
        openNext->setAutoDefault(false);
        styleProminentButton(openNext, palette().color(QPalette::Highlight));
        row->addWidget(openNext);
    }

    theme::ThemedLabel* label = nullptr;
    QPushButton* openNext = nullptr;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), theme::withAlpha(theme::windowBackground(palette()), 0.92));
        painter.fillRect(QRect(0, 0, width(), 1), theme::separatorColor(palette()));
    }
};

}  // namespace

class WorkspaceScreenPrivate {
public:
    WorkspaceScreen* q = nullptr;
    std::shared_ptr<RedactionViewModel> model;
    QVBoxLayout* layout = nullptr;
    LandingView* landing = nullptr;
    QPointer<QuickGuideStrip> strip;
    QPointer<EditingLayout> editing;
    QueueBar* queueBar = nullptr;
    QStringList pdfQueue;
    QPointer<QMessageBox> alert;
    QPointer<QFileDialog> picker;
    bool verdictToSay = false;

    void showFace();
    void announceEnd();
    void syncQueueBar();
    void syncAlert();
    void presentImporter();
    void openImportedPDFs(const QStringList& paths);
    void openNextQueuedPDF();
};

void WorkspaceScreenPrivate::showFace() {
    const bool open = model->document() != nullptr;
    if (open && !editing) {
        strip = new QuickGuideStrip(q);
        editing = new EditingLayout(
            *model, [this] { presentImporter(); }, q);
        layout->insertWidget(0, strip);
        layout->insertWidget(1, editing, 1);
        editing->inspector()->setFocusAfterRemaining(editing->exportButton());
        landing->hide();
    } else if (!open && editing) {
        // Deferred: "Close Document" inside the layout is what brought us here.
        for (QWidget* gone : {static_cast<QWidget*>(editing), static_cast<QWidget*>(strip)}) {
            if (!gone) continue;
            gone->hide();
            layout->removeWidget(gone);
            gone->deleteLater();
        }
        editing = nullptr;
        strip = nullptr;
        landing->show();
    }
}

void WorkspaceScreenPrivate::announceEnd() {
    if (model->isBusy()) return;
    QString text = model->statusText();
    if (verdictToSay && model->verification()) {
        const auto& result = *model->verification();
        text = QString::fromStdString(verificationStatus(result)) + QStringLiteral(". ") +
               QString::number(result.checkedPages()) + QStringLiteral(" pages checked.");
    }
    verdictToSay = false;
    Announcer::announce(q, text);
}

void WorkspaceScreenPrivate::syncQueueBar() {
    queueBar->label->setText(queueText(pdfQueue.size()));
    queueBar->setVisible(!pdfQueue.isEmpty());
}

void WorkspaceScreenPrivate::syncAlert() {
    const auto& message = model->errorMessage();
    if (!message) {
        if (alert) {
            QMessageBox* box = alert;
            alert = nullptr;
            box->disconnect(q);
            box->close();
            box->deleteLater();
        }
        return;
    }
    if (!alert) {
        auto* box = new QMessageBox(q);
        box->setObjectName(QStringLiteral("workspaceAlert"));
        box->setIcon(QMessageBox::NoIcon);
        box->setWindowTitle(QString::fromLatin1(kWindowTitle));
        box->setText(QString::fromLatin1(kWindowTitle));
        box->setStandardButtons(QMessageBox::Ok);
        box->button(QMessageBox::Ok)->setText(QStringLiteral("OK"));
        // Both "OK" and any other way of dismissing it clear the message.
        QObject::connect(box, &QMessageBox::finished, q, [this, box] {
            if (alert == box) {
                alert = nullptr;
                box->deleteLater();
                model->setErrorMessage(std::nullopt);
            }
        });
        alert = box;
        box->setInformativeText(*message);
        box->open();
    } else {
        alert->setInformativeText(*message);
    }
}

void WorkspaceScreenPrivate::presentImporter() {
    if (picker) {
        picker->raise();
        return;
    }
    auto* dialog = new QFileDialog(q);
    dialog->setObjectName(QStringLiteral("pdfPicker"));
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setNameFilter(QStringLiteral("PDF documents (*.pdf *.PDF)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    // Cancelling the picker changes nothing.
    QObject::connect(dialog, &QFileDialog::filesSelected, q,
                     [this](const QStringList& paths) { openImportedPDFs(paths); });
    picker = dialog;
    dialog->open();
}

void WorkspaceScreenPrivate::openImportedPDFs(const QStringList& paths) {
    const QStringList pdfs = pdfPathsOnly(paths);
    if (pdfs.isEmpty()) {
        model->setErrorMessage(QStringLiteral("Please choose a PDF file."));
        return;
    }
    // No pending-redactions guard here, unlike "Open Next PDF": choosing files is explicit.
    model->open(pdfs.first());
    pdfQueue = pdfs.mid(1);
    syncQueueBar();
}

void WorkspaceScreenPrivate::openNextQueuedPDF() {
    if (pdfQueue.isEmpty()) {
        return;
    }
    const QString next = pdfQueue.first();
    if (!model->redactions().empty() && !model->outputURL()) {
        model->setErrorMessage(
            QStringLiteral("This PDF still has pending redactions. Export the secure copy or clear the "
                           "pending redactions before opening the next queued PDF."));
        return;
    }
    pdfQueue.removeFirst();
    syncQueueBar();
    model->clearDocument();
    model->open(next);
}

WorkspaceScreen::WorkspaceScreen(SharedServices services, QWidget* parent)
    : QWidget(parent), d_(std::make_unique<WorkspaceScreenPrivate>()) {
    setObjectName(QStringLiteral("workspaceScreen"));
    d_->q = this;
    d_->model = RedactionViewModel::create(services);
    d_->model->setInspectionWaitsForFirstPage(true);

    d_->layout = new QVBoxLayout(this);
    d_->layout->setContentsMargins(0, 0, 0, 0);
    d_->layout->setSpacing(0);
    d_->landing = new LandingView(this);
    d_->layout->addWidget(d_->landing, 1);
    d_->queueBar = new QueueBar(this);
    d_->layout->addWidget(d_->queueBar);

    connect(d_->landing, &LandingView::selectRequested, this, [this] { d_->presentImporter(); });
    connect(d_->landing, &LandingView::pdfsDropped, this,
            [this](const QStringList& paths) { d_->openImportedPDFs(paths); });
    connect(d_->queueBar->openNext, &QPushButton::clicked, this, [this] { d_->openNextQueuedPDF(); });

    RedactionViewModel* model = d_->model.get();
    // The languages chosen for recognition and the searchable copy outlive the window.
    if (const auto& desktop = services->desktop) {
        model->setRecognitionLanguages(desktop->preference(kRecognitionLanguagesPreference));
        connect(model, &RedactionViewModel::recognitionLanguagesChanged, this, [model, desktop] {
            desktop->setPreference(kRecognitionLanguagesPreference, model->recognitionLanguages());
        });
        model->setSearchableCopy(desktop->preference(kSearchableCopyPreference) == QStringLiteral("true"));
        connect(model, &RedactionViewModel::searchableCopyChanged, this, [model, desktop] {
            desktop->setPreference(kSearchableCopyPreference,
                                   model->searchableCopy() ? QStringLiteral("true") : QStringLiteral("false"));
        });
    }
    connect(model, &RedactionViewModel::documentChanged, this, [this] { d_->showFace(); });
    connect(model, &RedactionViewModel::errorMessageChanged, this, [this] { d_->syncAlert(); });
    // What ends is said aloud: the status line's last words, or the verdict and its page count.
    connect(model, &RedactionViewModel::verificationChanged, this,
            [this] { d_->verdictToSay = d_->model->verification().has_value(); });
    connect(model, &RedactionViewModel::isBusyChanged, this, [this] { d_->announceEnd(); });
    for (auto signal : {&RedactionViewModel::documentChanged, &RedactionViewModel::redactionsChanged,
                        &RedactionViewModel::isBusyChanged}) {
        connect(model, signal, this, &WorkspaceScreen::commandStateChanged);
    }
    d_->showFace();
    d_->syncQueueBar();
}

WorkspaceScreen::~WorkspaceScreen() {
    // The model may outlive the screen (a running task holds it): stop talking to us.
    d_->model->disconnect(this);
    if (d_->alert) d_->alert->disconnect(this);
}

RedactionViewModel& WorkspaceScreen::model() {
    return *d_->model;
}

void WorkspaceScreen::openFiles(const QStringList& paths) {
    d_->openImportedPDFs(paths);
}

void WorkspaceScreen::focusSearchField() {
    if (d_->editing) {
        QLineEdit* field = d_->editing->inspector()->searchField();
        field->setFocus(Qt::ShortcutFocusReason);
        field->selectAll();
    }
}

PageCanvas* WorkspaceScreen::canvas() const {
    return d_->editing && d_->model->document() ? d_->editing->canvas() : nullptr;
}

void WorkspaceScreen::editPageNumber() {
    if (d_->editing) {
        d_->editing->pageIndicator()->editPage();
    }
}

bool WorkspaceScreen::canExport() const {
    const auto& m = *d_->model;
    return m.document() && !m.redactions().empty() && !m.isBusy();
}

void WorkspaceScreen::exportSecureCopy() {
    if (canExport()) d_->model->exportSecureCopy();
}

bool WorkspaceScreen::hasUnexportedRedactions() const {
    return d_->model->hasUnexportedRedactions();
}

bool WorkspaceScreen::canUndo() const {
    return d_->model->document() && !d_->model->redactions().empty();
}

void WorkspaceScreen::undoLast() {
    d_->model->undoLast();
}

}  // namespace norvane
