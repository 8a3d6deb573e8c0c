#include "app/how_to_view.h"

#include "ui/accessibility.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLinearGradient>
#include <QPainter>
#include <QScrollArea>
#include <QVBoxLayout>

namespace norvane {

namespace {

using namespace theme;

// Brand colours used as text stay readable on dark surfaces; fills keep the exact colour.
ColorFn brandText(const QColor& color) {
    return [color](const QPalette& palette) {
        QColor shade = color;
        if (isDark(palette)) {
            QColor lifted = color.toHsl();
            lifted.setHslF(lifted.hslHueF(), lifted.hslSaturationF(), qMax(lifted.lightnessF(), 0.72f));
            shade = lifted.toRgb();
        }
        // Also where it sits on its own tint, as in the badges.
        return readableText(shade, palette, color, 0.1);
    };
}

// Secondary text inside a box tinted with `tint`.
ColorFn secondaryOn(const QColor& tint, double alpha) {
    return [tint, alpha](const QPalette& palette) {
        return readableText(secondaryLabelColor(palette), palette, tint, alpha);
    };
}

ThemedLabel* heading(const QString& text) {
    auto* label = new ThemedLabel(text, theme::font(TextStyle::Title2, QFont::DemiBold));
    accessibility::markHeading(label);
    return label;
}

ThemedLabel* wrapped(const QString& text, const QFont& font, ColorFn color = primaryText()) {
    auto* label = new ThemedLabel(text, font, std::move(color));
    label->setWordWrap(true);
    return label;
}

QWidget* capsule(const QString& symbol, const QString& text, const QFont& font, const QColor& color,
                 const QMargins& padding) {
    auto* badge = new RoundedPanel(-1, fixed(color, 0.1));
    auto* row = new QHBoxLayout(badge);
    row->setContentsMargins(padding);
    row->setSpacing(5);
    if (!symbol.isEmpty()) {
        row->addWidget(new SymbolView(symbol, QFontMetrics(font).height(), brandText(color)), 0, Qt::AlignVCenter);
    }
    row->addWidget(new ThemedLabel(text, font, brandText(color)), 0, Qt::AlignVCenter);
    badge->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    return badge;
}

// A navy disc with the step number in white, ringed so that it stands out on a dark card.
class StepNumber : public QWidget {
public:
    explicit StepNumber(QString number) : number_(std::move(number)) { setFixedSize(26, 26); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(outlineOn(navy(), 1.0, controlBackground(palette())), 1.5));
        painter.setBrush(navy());
        painter.drawEllipse(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75));
        painter.setPen(Qt::white);
        painter.setFont(theme::font(TextStyle::Caption, QFont::Bold));
        painter.drawText(rect(), Qt::AlignCenter, number_);
    }

private:
    QString number_;
};

}  // namespace

EnhancedRedactionHowToView::EnhancedRedactionHowToView(QWidget* parent) : QWidget(parent) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    scrollArea_ = new QScrollArea;
    scrollArea_->setFrameShape(QFrame::NoFrame);
    scrollArea_->setWidgetResizable(true);
    scrollArea_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    scrollArea_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollArea_->viewport()->setAutoFillBackground(false);
    scrollArea_->setStyleSheet(QStringLiteral("QScrollArea { background: transparent; }"));
    scrollArea_->setAccessibleName(QStringLiteral("How to Use"));
    outer->addWidget(scrollArea_);

    auto* holder = new QWidget;
    holder->setAutoFillBackground(false);
    auto* holderRow = new QHBoxLayout(holder);
    holderRow->setContentsMargins(0, 0, 0, 0);
    column_ = new QWidget;
    column_->setMaximumWidth(maximumContentWidth);
    holderRow->addWidget(column_, 1);
    holderRow->addStretch(0);
    scrollArea_->setWidget(holder);

    auto* stack = new QVBoxLayout(column_);
    stack->setContentsMargins(32, 32, 32, 32);
    stack->setSpacing(24);

    // Header.
    auto* header = new QHBoxLayout;
    header->setSpacing(18);
    auto* titles = new QVBoxLayout;
    titles->setSpacing(7);
    auto* title = wrapped(QStringLiteral("How to Use Norvane - Redaction Tool"),
                          theme::font(TextStyle::LargeTitle, QFont::Bold), brandText(navy()));
    accessibility::markHeading(title);
    titles->addWidget(title);
    titles->addWidget(wrapped(platformText(QStringLiteral("Redact sensitive information locally on your Mac, then "
                                                          "export a new flattened PDF for sharing.")),
                              theme::font(TextStyle::Title3), secondaryText()));
    header->addLayout(titles, 1);
    auto* localBadge = capsule(QStringLiteral("lock.shield.fill"), QStringLiteral("Local Processing"),
                               theme::font(TextStyle::Subheadline, QFont::DemiBold), teal(), QMargins(13, 8, 13, 8));
    localBadge->setToolTip(
        platformText(QStringLiteral("Your source PDF, OCR processing and exported PDF stay on this Mac.")));
    localBadge->setObjectName(QStringLiteral("localProcessingBadge"));
    header->addWidget(localBadge, 0, Qt::AlignTop);
    stack->addLayout(header);

    // Methods.
    auto* methods = new QVBoxLayout;
    methods->setSpacing(12);
    methods->addWidget(heading(QStringLiteral("Choose the right redaction method")));
    auto* cards = new QHBoxLayout;
    cards->setSpacing(12);
    cards->addWidget(
        methodCard(QStringLiteral("rectangle.and.pencil.and.ellipsis"), QStringLiteral("Manual"),
                   QStringLiteral("Any PDF"),
                   QStringLiteral("Drag directly across anything you want removed. Best for signatures, "
                                  "handwriting, images or irregular areas."),
                   orange(), QStringLiteral("Press and hold the mouse, drag across the sensitive area, then release.")),
        1, Qt::AlignTop);
    cards->addWidget(
        methodCard(
            QStringLiteral("text.magnifyingglass"), QStringLiteral("Find Text"), QStringLiteral("Selectable text"),
            QStringLiteral("Fastest option for normal PDFs created from Word, browsers or business "
                           "systems with a real text layer."),
            navy(), QStringLiteral("Use Find Text when you can normally select or search the words in the PDF.")),
        1, Qt::AlignTop);
    cards->addWidget(
        methodCard(QStringLiteral("viewfinder"), QStringLiteral("OCR Search"), QStringLiteral("Scans & images"),
                   platformText(QStringLiteral("Reads visible text from scanned or image-only PDF pages "
                                               "using local OCR on your Mac.")),
                   purple(),
                   QStringLiteral("Use OCR Search when Find Text returns no matches or the PDF is a scan/photo.")),
        1, Qt::AlignTop);
    methods->addLayout(cards);
    stack->addLayout(methods);

    // Workflow.
    auto* workflow = new RoundedPanel(18, [](const QPalette& p) { return controlBackground(p); });
    auto* steps = new QVBoxLayout(workflow);
    steps->setContentsMargins(20, 20, 20, 20);
    steps->setSpacing(13);
    steps->addWidget(heading(QStringLiteral("Recommended workflow")));
    const struct {
        const char* number;
        const char* title;
        const char* text;
    } kSteps[] = {
        {"1", "Open your PDF",
         "Choose Select PDF, Open PDF, or drag a PDF into the app. Your original file is not uploaded."},
        {"2", "Mark sensitive information",
         "Drag over an area manually, search native text with Find Text, or use OCR Search for scanned pages."},
        {"3", "Review every pending redaction",
         "Use page thumbnails and the Pending Redactions list. Remove a region, undo the latest one, or clear all "
         "pending redactions if needed."},
        {"4", "Optional: add a REDACTED label",
         "Enable Add REDACTED label if you want sufficiently large black redaction boxes to display a visible "
         "REDACTED marker."},
        {"5", "Export Secure Copy", "Norvane creates a new PDF. It never overwrites your original document."},
        {"6", "Verify before sharing",
         "Review the exported PDF visually. Search-derived terms are also checked against the new PDF's text and "
         "local OCR results."},
    };
    for (const auto& step : kSteps) {
        steps->addWidget(
            stepRow(QString::fromUtf8(step.number), QString::fromUtf8(step.title), QString::fromUtf8(step.text)));
    }
    stack->addWidget(workflow);

    // Secure export box.
    auto* secure = new RoundedPanel(18, fixed(teal(), 0.08));
    secure->setStroke(fixed(teal(), 0.22), 1.0);
    auto* secureRow = new QHBoxLayout(secure);
    secureRow->setContentsMargins(18, 18, 18, 18);
    secureRow->setSpacing(14);
    secureRow->addWidget(new SymbolView(QStringLiteral("checkmark.shield.fill"), 28, fixed(teal())), 0, Qt::AlignTop);
    auto* secureTexts = new QVBoxLayout;
    secureTexts->setSpacing(7);
    secureTexts->addWidget(
        wrapped(QStringLiteral("What \u201Csecure export\u201D means in version 1"), theme::font(TextStyle::Headline)));
    secureTexts->addWidget(
        wrapped(QStringLiteral("Exported pages are rebuilt from rendered pixels with the redaction "
                               "regions permanently incorporated. The original PDF text layer, hidden "
                               "objects and source metadata are not copied into the exported pages."),
                theme::font(TextStyle::Body), secondaryOn(teal(), 0.08)));
    secureTexts->addWidget(wrapped(QStringLiteral("This intentionally trades selectable text for a more conservative "
                                                  "redaction result."),
                                   theme::font(TextStyle::Subheadline, QFont::DemiBold), brandText(navy())));
    secureRow->addLayout(secureTexts, 1);
    stack->addWidget(secure);

    // Tips.
    auto* tips = new QVBoxLayout;
    tips->setSpacing(10);
    tips->addWidget(heading(QStringLiteral("Useful tips")));
    tips->addWidget(tip(QStringLiteral("cursorarrow.click.2"),
                        QStringLiteral("For manual redaction, drag slightly beyond the first and last sensitive "
                                       "character rather than drawing an extremely tight box.")));
    tips->addWidget(tip(QStringLiteral("magnifyingglass"),
                        QStringLiteral("Try Find Text first for ordinary PDFs. If it returns no results, switch to "
                                       "OCR Search.")));
    tips->addWidget(tip(QStringLiteral("eye"), QStringLiteral("Always visually inspect every page of the exported PDF "
                                                              "before sending it to someone else.")));
    tips->addWidget(tip(QStringLiteral("doc.on.doc"),
                        QStringLiteral("Norvane exports a new PDF. Keep the original separately if you may need the "
                                       "unredacted document later.")));
    stack->addLayout(tips);

    // What the workspace offers beyond the first steps, and the keys that drive it.
    auto* more = new QVBoxLayout;
    more->setSpacing(10);
    more->addWidget(heading(QStringLiteral("More tools")));
    const struct {
        const char* icon;
        const char* text;
    } kMore[] = {
        {"text.magnifyingglass",
         "Patterns finds e-mail addresses, phone numbers, IBANs and other personal data. Turn on Include OCR to "
         "look for them in the text OCR reads from the pages too."},
        {"viewfinder",
         "Recognition Languages chooses what OCR reads. Automatic reads English, your desktop's language and the "
         "languages of the terms you search."},
        {"rectangle.fill",
         "Even-width boxes exports search hits as boxes in equal steps of width, so a box does not give away how "
         "long the hidden word was."},
        {"doc.on.doc",
         "Searchable copy adds invisible text that OCR reads from the exported pages themselves, so the copy can "
         "be searched and copied from; what a box covers is not on the page, so it is not in the text."},
        {"checkmark.shield.fill",
         "After an export Norvane reads the copy again. Needs Review lists each place where a searched term can "
         "still be read; Redact Remaining adds boxes for all of them, then export again."},
        {"magnifyingglass",
         "Zoom with Ctrl and + or −, Ctrl+0 for actual size; the zoom percentage shows beside the page "
         "number."},
    };
    for (const auto& row : kMore) {
        more->addWidget(tip(QString::fromUtf8(row.icon), QString::fromUtf8(row.text)));
    }
    stack->addLayout(more);

    auto* keys = new QVBoxLayout;
    keys->setSpacing(10);
    keys->addWidget(heading(QStringLiteral("Keyboard")));
    const struct {
        const char* keys;
        const char* what;
    } kKeys[] = {
        {"Ctrl+O", "Open PDFs"},
        {"Ctrl+F", "Find: type the text, then Find Text or OCR Search"},
        {"Ctrl+E", "Export Secure Copy"},
        {"Ctrl+Z", "Undo the latest redaction"},
        {"Page Up, Page Down, Home, End", "Move through the pages"},
        {"Ctrl+Alt+G", "Go to a page"},
        {"B or Insert",
         "With the pages focused: a new box at the page's centre. Arrows move it, Ctrl with the arrows "
         "resizes it, Shift takes larger steps; Return adds it, Escape drops it"},
        {"Return", "On a search result or a finding: redact it (Space on a finding shows its place)"},
        {"Delete", "On a pending redaction: remove it"},
        {"Tab, Shift+Tab", "Move between the controls"},
    };
    auto* table = new QGridLayout;
    table->setHorizontalSpacing(16);
    table->setVerticalSpacing(6);
    for (int row = 0; row < static_cast<int>(std::size(kKeys)); ++row) {
        auto* combination = new ThemedLabel(QString::fromUtf8(kKeys[row].keys),
                                            theme::font(TextStyle::Subheadline, QFont::DemiBold), brandText(navy()));
        table->addWidget(combination, row, 0, Qt::AlignTop);
        table->addWidget(
            wrapped(QString::fromUtf8(kKeys[row].what), theme::font(TextStyle::Subheadline), secondaryText()), row, 1);
    }
    table->setColumnStretch(1, 1);
    keys->addLayout(table);
    stack->addLayout(keys);

    // Warning.
    auto* warning = new RoundedPanel(14, fixed(orange(), 0.08));
    auto* warningRow = new QHBoxLayout(warning);
    warningRow->setContentsMargins(15, 15, 15, 15);
    warningRow->setSpacing(12);
    warningRow->addWidget(new SymbolView(QStringLiteral("exclamationmark.triangle.fill"), 16, fixed(orange())), 0,
                          Qt::AlignTop);
    warningRow->addWidget(wrapped(QStringLiteral("Redaction is permanent in the exported copy. Confirm that you "
                                                 "selected the correct information before sharing the result."),
                                  theme::font(TextStyle::Subheadline), secondaryText()),
                          1);
    stack->addWidget(warning);
    stack->addStretch(1);
}

QWidget* EnhancedRedactionHowToView::methodCard(const QString& icon, const QString& title, const QString& badge,
                                                const QString& text, const QColor& color, const QString& help) {
    auto* card = new RoundedPanel(16, [](const QPalette& p) { return controlBackground(p); });
    card->setStroke([color](const QPalette& p) { return outlineOn(color, 0.2, controlBackground(p)); }, 1.0);
    card->setMinimumHeight(155);
    card->setToolTip(help);
    card->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Minimum);
    auto* stack = new QVBoxLayout(card);
    stack->setContentsMargins(16, 16, 16, 16);
    stack->setSpacing(10);
    auto* top = new QHBoxLayout;
    top->addWidget(new SymbolView(icon, 23, brandText(color)), 0, Qt::AlignVCenter);
    top->addStretch(1);
    top->addWidget(
        capsule(QString(), badge, theme::font(TextStyle::Caption, QFont::DemiBold), color, QMargins(8, 4, 8, 4)), 0,
        Qt::AlignVCenter);
    stack->addLayout(top);
    stack->addWidget(wrapped(title, theme::font(TextStyle::Headline)));
    stack->addWidget(wrapped(text, theme::font(TextStyle::Subheadline), secondaryText()));
    stack->addStretch(1);
    return card;
}

QWidget* EnhancedRedactionHowToView::stepRow(const QString& number, const QString& title, const QString& text) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(13);
    layout->addWidget(new StepNumber(number), 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(3);
    texts->addWidget(wrapped(title, theme::font(TextStyle::Headline)));
    texts->addWidget(wrapped(text, theme::font(TextStyle::Subheadline), secondaryText()));
    layout->addLayout(texts, 1);
    return row;
}

QWidget* EnhancedRedactionHowToView::tip(const QString& icon, const QString& text) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(10);
    auto* iconBox = new QWidget;
    iconBox->setFixedWidth(20);
    auto* iconLayout = new QVBoxLayout(iconBox);
    iconLayout->setContentsMargins(0, 0, 0, 0);
    iconLayout->addWidget(new SymbolView(icon, 15, brandText(navy())), 0, Qt::AlignHCenter | Qt::AlignTop);
    layout->addWidget(iconBox, 0, Qt::AlignTop);
    layout->addWidget(wrapped(text, theme::font(TextStyle::Subheadline), secondaryText()), 1);
    return row;
}

void EnhancedRedactionHowToView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    QLinearGradient gradient(rect().topLeft(), rect().bottomRight());
    gradient.setColorAt(0.0, theme::windowBackground(palette()));
    // The tints sit over the window colour so the page stays opaque.
    const QColor window = theme::windowBackground(palette());
    auto over = [&window](const QColor& tint, double alpha) {
        const double a = alpha;
        return QColor::fromRgbF(static_cast<float>(window.redF() * (1 - a) + tint.redF() * a),
                                static_cast<float>(window.greenF() * (1 - a) + tint.greenF() * a),
                                static_cast<float>(window.blueF() * (1 - a) + tint.blueF() * a));
    };
    gradient.setColorAt(0.5, over(theme::teal(), 0.035));
    gradient.setColorAt(1.0, over(theme::purple(), 0.025));
    painter.fillRect(rect(), gradient);
}

}  // namespace norvane
