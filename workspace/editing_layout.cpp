#include "workspace/editing_layout.h"

#include "canvas/page_canvas.h"
#include "ui/symbols.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"
#include "workspace/hidden_content_list.h"
#include "workspace/inspector_panel.h"
#include "workspace/page_indicator.h"
#include "workspace/page_sidebar.h"

#include <QApplication>
#include <QEvent>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QHelpEvent>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QToolTip>
#include <QVBoxLayout>

namespace norvane {
namespace {

using theme::TextStyle;

QPushButton* toolbarButton(const QString& title, const QString& symbol, QWidget* parent) {
    auto* button = new QPushButton(theme::symbolIcon(symbol), title, parent);
    button->setAutoDefault(false);
    button->setIconSize(QSize(15, 15));
    return button;
}

}  // namespace

namespace {

void applyProminentStyle(QPushButton* button, const QColor& tint) {
    const QPalette surroundings = button->parentWidget() ? button->parentWidget()->palette() : QApplication::palette();
    const theme::ProminentColors colors = theme::prominentColors(surroundings, tint);
    button->setStyleSheet(
        QStringLiteral("QPushButton { background-color: %1; color: %2; border: 1px solid %3; border-radius: 6px;"
                       " padding: 4px 13px; }"
                       "QPushButton:pressed { background-color: %4; }"
                       "QPushButton:disabled { background-color: %5; color: %6; border-color: %7; }")
            .arg(colors.fill.name(), colors.text.name(), colors.border.name(), colors.fill.darker(125).name(),
                 colors.disabledFill.name(), colors.disabledText.name(), colors.disabledBorder.name()));
    const QString symbol = button->property("symbol").toString();
    const double ratio = button->devicePixelRatioF();
    QIcon icon(theme::symbolPixmap(symbol, 15, colors.text, ratio));
    icon.addPixmap(theme::symbolPixmap(symbol, 15, colors.disabledText, ratio), QIcon::Disabled);
    button->setIcon(icon);
}

// Restyles its button when the desktop switches between light and dark.
class ProminentRestyler : public QObject {
public:
    ProminentRestyler(QPushButton* button, QColor tint) : QObject(button), button_(button), tint_(std::move(tint)) {
        button->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == button_ && event->type() == QEvent::ApplicationPaletteChange) {
            applyProminentStyle(button_, tint_);
        }
        return false;
    }

private:
    QPushButton* button_;
    QColor tint_;
};

// A line of link-coloured words that is a button: cut with "…" where it does not fit (the whole
// text stays its name and becomes its tooltip), ringed while it has the keyboard.
class SummaryLink : public QPushButton {
public:
    explicit SummaryLink(QWidget* parent) : QPushButton(parent) {
        setFlat(true);
        setAutoDefault(false);
        setCursor(Qt::PointingHandCursor);
        setFont(theme::font(theme::TextStyle::Caption));
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }
    QSize sizeHint() const override {
        return {fontMetrics().horizontalAdvance(text()) + 2 * kPad, fontMetrics().height() + 2};
    }
    QSize minimumSizeHint() const override {
        return {fontMetrics().horizontalAdvance(QStringLiteral("W\u2026")) + 2 * kPad, sizeHint().height()};
    }

protected:
    QString shown() const { return fontMetrics().elidedText(text(), Qt::ElideRight, width() - 2 * kPad); }
    bool event(QEvent* event) override {
        if (event->type() == QEvent::ToolTip) {
            const auto* help = static_cast<QHelpEvent*>(event);
            if (shown() != text()) {
                QToolTip::showText(help->globalPos(), text(), this);
            } else {
                QToolTip::hideText();
            }
            return true;
        }
        if (event->type() == QEvent::Enter || event->type() == QEvent::Leave) {
            update();  // the underline follows the pointer
        }
        return QPushButton::event(event);
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        QFont font = painter.font();
        font.setUnderline(underMouse());
        painter.setFont(font);
        painter.setPen(theme::readableText(theme::linkColor(palette()), palette()));
        painter.drawText(rect().adjusted(kPad, 0, -kPad, 0), Qt::AlignLeft | Qt::AlignVCenter, shown());
        if (hasFocus()) {
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
            painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 3, 3);
        }
    }

private:
    static constexpr int kPad = 2;
};

// The toolbar's short vertical rule.
class ToolbarDivider : public QWidget {
public:
    explicit ToolbarDivider(QWidget* parent) : QWidget(parent) { setFixedSize(1, 20); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), theme::dividerColor(palette()));
    }
};

}  // namespace

void styleProminentButton(QPushButton* button, const QColor& tint) {
    applyProminentStyle(button, tint);
    new ProminentRestyler(button, tint);
}

EditingLayout::EditingLayout(RedactionViewModel& model, std::function<void()> openPdf, QWidget* parent)
    : QWidget(parent), model_(model), openPdf_(std::move(openPdf)) {
    setObjectName(QStringLiteral("editingLayout"));
    auto* stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(0);
    stack->addWidget(buildToolbar());
    stack->addWidget(new theme::SeparatorLine(this));

    // Both side panes have fixed widths, so only the canvas grows with the window.
    auto* panes = new QHBoxLayout();
    panes->setContentsMargins(0, 0, 0, 0);
    panes->setSpacing(0);
    sidebar_ = new PageSidebar(model_, this);
    sidebar_->setFixedWidth(190);
    canvas_ = makeCanvas();
    connect(sidebar_, &PageSidebar::pageChosen, this, [this](qint64 page) { canvas_->goToPage(page); });
    connect(pageIndicator_, &PageIndicator::pageRequested, this, [this](qint64 page) {
        canvas_->goToPage(page);
        canvas_->setFocus(Qt::OtherFocusReason);
    });
    inspector_ = new InspectorPanel(model_, this);
    inspector_->setFixedWidth(292);
    // Painted from the palette, so they follow a change of colour scheme.
    const auto rule = [this] { return new theme::SeparatorLine(this, Qt::Vertical); };
    panes->addWidget(sidebar_);
    panes->addWidget(rule());
    panes->addWidget(canvas_, 1);
    panes->addWidget(rule());
    panes->addWidget(inspector_);
    stack->addLayout(panes, 1);
    stack->addWidget(buildStatusBar());

    connect(&model_, &RedactionViewModel::redactionsChanged, this, &EditingLayout::syncToolbar);
    connect(&model_, &RedactionViewModel::isBusyChanged, this, &EditingLayout::syncToolbar);
    connect(&model_, &RedactionViewModel::sourceURLChanged, this, &EditingLayout::syncToolbar);
    connect(&model_, &RedactionViewModel::isBusyChanged, this, &EditingLayout::syncStatusBar);
    connect(&model_, &RedactionViewModel::progressChanged, this, &EditingLayout::syncStatusBar);
    connect(&model_, &RedactionViewModel::statusTextChanged, this, &EditingLayout::syncStatusBar);
    connect(&model_, &RedactionViewModel::documentChanged, this, &EditingLayout::syncCanvas);
    connect(&model_, &RedactionViewModel::redactionsChanged, this, &EditingLayout::syncCanvas);
    connect(&model_, &RedactionViewModel::evenWidthBoxesChanged, this, &EditingLayout::syncCanvas);
    connect(&model_, &RedactionViewModel::selectedPageIndexChanged, this, &EditingLayout::syncCanvas);
    connect(&model_, &RedactionViewModel::searchResultsChanged, this, &EditingLayout::syncCanvas);
    connect(&model_, &RedactionViewModel::verificationChanged, this, &EditingLayout::syncCanvas);
    connect(&model_, &RedactionViewModel::labelRedactionsChanged, this,
            [this] { canvas_->setLabelRedactions(model_.labelRedactions()); });
    connect(&model_, &RedactionViewModel::inspectionChanged, this, &EditingLayout::syncCanvas);
    connect(&model_, &RedactionViewModel::inspectionChanged, this, &EditingLayout::syncInspection);
    connect(inspectionLink_, &QPushButton::clicked, inspector_, &InspectorPanel::showHiddenContent);
    connect(&model_, &RedactionViewModel::highlightChanged, this, [this] {
        syncCanvas();
        if (const auto& highlight = model_.highlight()) {
            canvas_->revealRect(highlight->pageIndex, highlight->rect);
        }
    });
    syncToolbar();
    syncStatusBar();
    syncCanvas();
    syncInspection();
}

theme::ElidedLabel* EditingLayout::fileNameLabel() const {
    return fileName_;
}
QLabel* EditingLayout::inspectionLabel() const {
    return inspectionLabel_;
}
QLabel* EditingLayout::pendingLabel() const {
    return pending_;
}
QLabel* EditingLayout::statusLabel() const {
    return status_;
}

QWidget* EditingLayout::buildToolbar() {
    auto* bar = new QWidget(this);
    bar->setObjectName(QStringLiteral("workspaceToolbar"));
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(16, 12, 16, 12);
    row->setSpacing(12);

    open_ = toolbarButton(QStringLiteral("Open PDF"), QStringLiteral("folder"), bar);
    undo_ = toolbarButton(QStringLiteral("Undo Redaction"), QStringLiteral("arrow.uturn.backward"), bar);
    clear_ = toolbarButton(QStringLiteral("Clear Redactions"), QStringLiteral("xmark.circle"), bar);
    row->addWidget(open_);
    row->addWidget(undo_);
    row->addWidget(clear_);

    row->addWidget(new ToolbarDivider(bar));

    // Cut in the middle, so a long name keeps its beginning and its extension.
    fileName_ = new theme::ElidedLabel(QString(), theme::font(TextStyle::Subheadline, QFont::DemiBold),
                                       theme::primaryText(), Qt::ElideMiddle, bar);
    fileName_->setObjectName(QStringLiteral("fileName"));
    fileName_->setMinimumWidth(40);
    inspectionLabel_ = new theme::ThemedLabel(QString(), theme::font(TextStyle::Caption), theme::secondaryText(), bar);
    inspectionLabel_->setObjectName(QStringLiteral("inspectionStatus"));
    inspectionLink_ = new SummaryLink(bar);
    inspectionLink_->setObjectName(QStringLiteral("inspectionSummary"));
    auto* nameColumn = new QVBoxLayout();
    nameColumn->setSpacing(1);
    nameColumn->addWidget(fileName_);
    nameColumn->addWidget(inspectionLabel_);
    nameColumn->addWidget(inspectionLink_, 0, Qt::AlignLeft);
    row->addLayout(nameColumn, 1);

    pageIndicator_ = new PageIndicator(bar);
    row->addWidget(pageIndicator_);
    row->addSpacing(8);

    pendingSymbol_ = new theme::SymbolView(QStringLiteral("rectangle.fill"), 14, theme::secondaryText(), bar);
    pending_ = new theme::ThemedLabel(QString(), theme::font(TextStyle::Body), theme::secondaryText(), bar);
    pending_->setObjectName(QStringLiteral("pendingCount"));
    auto* pendingBox = new QHBoxLayout();
    pendingBox->setSpacing(5);
    pendingBox->addWidget(pendingSymbol_);
    pendingBox->addWidget(pending_);
    row->addLayout(pendingBox);

    export_ = new QPushButton(QStringLiteral("Export Secure Copy"), bar);
    export_->setAutoDefault(false);
    export_->setProperty("symbol", QStringLiteral("square.and.arrow.down"));
    export_->setIconSize(QSize(15, 15));
    styleProminentButton(export_, theme::navy());
    row->addWidget(export_);

    connect(open_, &QPushButton::clicked, this, [this] {
        if (openPdf_) openPdf_();
    });
    connect(undo_, &QPushButton::clicked, this, [this] { model_.undoLast(); });
    connect(clear_, &QPushButton::clicked, this, [this] {
        model_.setRedactions({});
        model_.setVerification(std::nullopt);
    });
    connect(export_, &QPushButton::clicked, this, [this] { model_.exportSecureCopy(); });
    return bar;
}

QWidget* EditingLayout::buildStatusBar() {
    statusBar_ = new QWidget(this);
    statusBar_->setObjectName(QStringLiteral("statusBar"));
    auto* column = new QVBoxLayout(statusBar_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(new theme::SeparatorLine(statusBar_));
    auto* row = new QHBoxLayout();
    row->setContentsMargins(18, 10, 18, 10);
    row->setSpacing(12);
    progress_ = new QProgressBar(statusBar_);
    progress_->setFixedWidth(180);
    progress_->setTextVisible(false);
    status_ = new theme::ThemedLabel(QString(), theme::font(TextStyle::Caption), theme::secondaryText(), statusBar_);
    status_->setObjectName(QStringLiteral("statusText"));
    cancel_ = new QPushButton(QStringLiteral("Cancel"), statusBar_);
    cancel_->setAutoDefault(false);
    row->addWidget(progress_);
    row->addWidget(status_);
    row->addStretch(1);
    row->addWidget(cancel_);
    column->addLayout(row);
    connect(cancel_, &QPushButton::clicked, this, [this] { model_.cancel(); });
    return statusBar_;
}

void EditingLayout::syncToolbar() {
    const qint64 count = static_cast<qint64>(model_.redactions().size());
    const bool empty = count == 0;
    undo_->setEnabled(!empty);
    clear_->setEnabled(!empty);
    export_->setEnabled(!empty && !model_.isBusy());
    fileName_->setText(model_.sourceURL() ? QFileInfo(*model_.sourceURL()).fileName() : QString());
    pending_->setText(QString::number(count) + QStringLiteral(" Pending"));
    const theme::ColorFn color = count > 0 ? theme::ColorFn(theme::systemRed) : theme::secondaryText();
    pending_->setColor(color);
    pendingSymbol_->setSymbol(QStringLiteral("rectangle.fill"), color);
}

void EditingLayout::syncInspection() {
    using State = DocumentInspection::State;
    const DocumentInspection& inspection = model_.inspection();
    const bool found = inspection.state == State::done && !inspection.findings.empty();
    QString words;
    switch (inspection.state) {
        case State::notStarted:
            break;
        case State::running:
            words = QStringLiteral("Inspecting\u2026");
            break;
        case State::done:
            words = QStringLiteral("Nothing hidden found");
            break;
        case State::failed:
            words = QStringLiteral("Could not check for hidden content");
            break;
    }
    inspectionLabel_->setText(words);
    inspectionLabel_->setToolTip(QString::fromStdString(inspection.failure));
    inspectionLabel_->setVisible(!words.isEmpty() && !found);
    const QString summary = QString::fromStdString(inspectionSummary(inspection.findings));
    inspectionLink_->setText(summary);
    inspectionLink_->setAccessibleName(QStringLiteral("Hidden in this PDF: ") + summary);
    inspectionLink_->setVisible(found);
    inspectionLink_->updateGeometry();
}

void EditingLayout::syncStatusBar() {
    const auto& fraction = model_.progress();
    statusBar_->setVisible(model_.isBusy() || fraction.has_value());
    if (fraction) {
        progress_->setRange(0, 1000);
        progress_->setValue(static_cast<int>(std::lround(std::clamp(*fraction, 0.0, 1.0) * 1000)));
    } else {
        progress_->setRange(0, 0);  // busy without a fraction
    }
    status_->setText(model_.statusText());
}

PageCanvas* EditingLayout::makeCanvas() {
    auto* canvas = new PageCanvas(model_.document(), this);
    canvas->setObjectName(QStringLiteral("pageCanvas"));
    canvas->setMinimumWidth(420);
    canvas->setLabelRedactions(model_.labelRedactions());
    canvas->setOnManualRedaction([this](qint64 pageIndex, const PageRect& rect) { model_.addManual(pageIndex, rect); });
    // The inspection starts once the first page is on screen, or soon anyway if none ever is
    // (a window never shown, a page that never arrives).
    connect(canvas, &PageCanvas::firstPageShown, this, [this] { model_.firstPageShown(); });
    QTimer::singleShot(2000, canvas, [this] { model_.firstPageShown(); });
    const auto showPage = [this, canvas](qint64 page) {
        sidebar_->setReadingPage(page);
        pageIndicator_->setPage(page, canvas->column().pageCount());
    };
    connect(canvas, &PageCanvas::currentPageChanged, this, [this, canvas, showPage](qint64 page) {
        showPage(page);
        // One page is highlighted in the thumbnails: the one chosen while it stays in view,
        // then the one being read.
        if (!canvas->pageInView(model_.selectedPageIndex())) {
            model_.setSelectedPageIndex(page);
        }
    });
    connect(canvas, &PageCanvas::zoomChanged, this, [this, canvas] { pageIndicator_->setZoom(canvas->zoom()); });
    showPage(canvas->currentPageIndex().value_or(0));
    pageIndicator_->setZoom(canvas->zoom());
    // One set of drawn pages per document, for the canvas and the thumbnails alike.
    sidebar_->setRenderService(canvas->renderService());
    // The page keys work as soon as the pages show.
    canvas->installEventFilter(this);
    focusCanvasWhenShown_ = model_.document() != nullptr;
    return canvas;
}

bool EditingLayout::eventFilter(QObject* watched, QEvent* event) {
    if (watched == canvas_ && event->type() == QEvent::Show && focusCanvasWhenShown_) {
        focusCanvasWhenShown_ = false;
        canvas_->setFocus(Qt::OtherFocusReason);
    }
    return QWidget::eventFilter(watched, event);
}

void EditingLayout::syncCanvas() {
    // Each document gets a canvas of its own; the old one goes at once, and its pages with it.
    if (canvas_->document() != model_.document()) {
        PageCanvas* fresh = makeCanvas();
        delete layout()->replaceWidget(canvas_, fresh, Qt::FindChildrenRecursively);
        delete canvas_;
        canvas_ = fresh;
    }
    canvas_->synchronize(model_.exportedRedactions(), model_.selectedPageIndex());

    const auto& highlight = model_.highlight();
    std::vector<PageOutline> outlines;
    const auto add = [&](const SearchResultList& places, PageOutline::Kind kind, PageHighlight::Origin origin) {
        for (const auto& place : places) {
            const bool emphasised = highlight && highlight->origin == origin &&
                                    highlight->pageIndex == place.pageIndex && highlight->rect == place.rect;
            outlines.push_back({place.pageIndex, place.rect, kind, emphasised});
        }
    };
    add(model_.searchResults(), PageOutline::Kind::searchHit, PageHighlight::Origin::searchResult);
    add(model_.remainingFindings(), PageOutline::Kind::finding, PageHighlight::Origin::finding);
    for (const InspectionFinding& finding : model_.inspection().findings) {
        if (!hasPlace(finding)) continue;
        const bool emphasised = highlight && highlight->origin == PageHighlight::Origin::inspection &&
                                highlight->pageIndex == finding.pageIndex && highlight->rect == *finding.rect;
        outlines.push_back({finding.pageIndex, *finding.rect, PageOutline::Kind::hiddenContent, emphasised});
    }
    canvas_->setOutlines(std::move(outlines));
}

}  // namespace norvane
