#include "workspace/inspector_panel.h"

#include "engine/recognition_languages.h"
#include "ui/heading_label.h"
#include "ui/symbols.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QApplication>
#include <QCheckBox>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QStyleOptionButton>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace norvane {
namespace {

using theme::TextStyle;

QString qs(const std::string& text) {
    return QString::fromStdString(text);
}

theme::SeparatorLine* divider(QWidget* parent) {
    return new theme::SeparatorLine(parent);
}

theme::ThemedLabel* wrapping(const QString& text, TextStyle style, theme::ColorFn color, QWidget* parent) {
    auto* label = new theme::ThemedLabel(text, theme::font(style), std::move(color), parent);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    label->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::MinimumExpanding);
    return label;
}

// The verdict takes the keyboard focus when it arrives, so it shows where the focus is.
class VerdictHeadline : public theme::HeadingLabel {
public:
    using HeadingLabel::HeadingLabel;

protected:
    void paintEvent(QPaintEvent* event) override {
        HeadingLabel::paintEvent(event);
        if (!hasFocus()) return;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 4, 4);
    }
};

}  // namespace

// ---- inspector ----

InspectorPanel::InspectorPanel(RedactionViewModel& model, QWidget* parent) : QScrollArea(parent), model_(model) {
    setObjectName(QStringLiteral("inspector"));
    setAccessibleName(QStringLiteral("Find & Redact"));
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);

    auto* content = new QWidget(this);
    content->setAutoFillBackground(true);
    content->setBackgroundRole(QPalette::Window);
    auto* stack = new QVBoxLayout(content);
    stack->setContentsMargins(14, 14, 14, 14);
    stack->setSpacing(18);

    stack->addWidget(buildHiddenContent(content));

    // 1–3: search
    stack->addWidget(new theme::HeadingLabel(
        QStringLiteral("Find & Redact"), theme::font(TextStyle::Title3, QFont::Bold), theme::primaryText(), content));
    searchField_ = new QLineEdit(content);
    searchField_->setObjectName(QStringLiteral("searchField"));
    searchField_->setPlaceholderText(QStringLiteral("Text to find"));
    searchField_->setAccessibleName(QStringLiteral("Text to find"));
    searchField_->setClearButtonEnabled(false);
    patterns_ = new QToolButton(content);
    patterns_->setObjectName(QStringLiteral("patterns"));
    patterns_->setText(QStringLiteral("Patterns"));
    patterns_->setToolTip(QStringLiteral("Find e-mail addresses, phone numbers, IBANs and other personal data"));
    patterns_->setPopupMode(QToolButton::InstantPopup);
    auto* presetMenu = new QMenu(patterns_);
    for (const PatternPresetInfo& preset : patternPresets()) {
        const QString title = QString::fromUtf8(preset.title.data(), static_cast<qsizetype>(preset.title.size()));
        connect(presetMenu->addAction(title), &QAction::triggered, this,
                [this, which = preset.preset] { model_.findPattern(which, includeOcr_->isChecked()); });
    }
    patterns_->setMenu(presetMenu);
    auto* searchRow = new QHBoxLayout();
    searchRow->addWidget(searchField_, 1);
    searchRow->addWidget(patterns_);
    stack->addLayout(searchRow);
    connect(searchField_, &QLineEdit::textEdited, this, [this](const QString& text) { model_.setSearchText(text); });

    auto* buttons = new QHBoxLayout();
    findText_ = new QPushButton(QStringLiteral("Find Text"), content);
    ocrSearch_ = new QPushButton(QStringLiteral("OCR Search"), content);
    for (auto* b : {findText_, ocrSearch_}) {
        b->setAutoDefault(false);
        b->setDefault(false);
    }
    includeOcr_ = new QCheckBox(QStringLiteral("Include OCR"), content);
    includeOcr_->setObjectName(QStringLiteral("includeOcr"));
    includeOcr_->setToolTip(QStringLiteral("Patterns also search the text OCR reads from the pages"));
    buttons->addWidget(findText_);
    buttons->addWidget(ocrSearch_);
    buttons->addStretch(1);
    stack->addLayout(buttons);
    languages_ = new QToolButton(content);
    languages_->setObjectName(QStringLiteral("recognitionLanguages"));
    languages_->setText(QStringLiteral("Recognition Languages"));
    languages_->setPopupMode(QToolButton::InstantPopup);
    languages_->setMenu(new QMenu(languages_));
    connect(languages_->menu(), &QMenu::aboutToShow, this, &InspectorPanel::fillLanguageMenu);
    // Under the Patterns button: it decides what a preset reads, not what the buttons do.
    auto* patternOptions = new QHBoxLayout();
    patternOptions->addStretch(1);
    patternOptions->addWidget(includeOcr_);
    stack->addLayout(patternOptions);
    stack->addWidget(languages_, 0, Qt::AlignLeft);
    connect(findText_, &QPushButton::clicked, this, [this] { model_.findNativeText(); });
    connect(ocrSearch_, &QPushButton::clicked, this, [this] { model_.findWithOCR(); });

    // 4: results
    resultsSection_ = new QWidget(content);
    resultsSection_->setObjectName(QStringLiteral("searchResults"));
    auto* results = new QVBoxLayout(resultsSection_);
    results->setContentsMargins(0, 0, 0, 0);
    results->setSpacing(18);
    auto* header = new QHBoxLayout();
    matchCount_ =
        new theme::ThemedLabel(QString(), theme::font(TextStyle::Caption), theme::secondaryText(), resultsSection_);
    matchCount_->setObjectName(QStringLiteral("matchCount"));
    redactAll_ = new QPushButton(QStringLiteral("Redact All"), resultsSection_);
    redactAll_->setAutoDefault(false);
    header->addWidget(matchCount_);
    header->addStretch(1);
    header->addWidget(redactAll_);
    results->addLayout(header);
    resultList_ = new ResultListView(model_, resultsSection_);
    results->addWidget(resultList_);
    // Both lists end with their last row's gap, so what follows them comes without spacing.
    const auto followedByDivider = [&](QWidget* list) {
        auto* pair = new QVBoxLayout();
        pair->setSpacing(0);
        pair->addWidget(list);
        pair->addWidget(divider(content));
        stack->addLayout(pair);
    };
    followedByDivider(resultsSection_);
    connect(redactAll_, &QPushButton::clicked, this, [this] { model_.addAllSearchResults(); });
    connect(resultList_, &RowListView::partClicked, this, [this](int row) {
        const RedactionSearchResult hit = resultList_->rows()->at(row);  // the list may be replaced by what follows
        model_.setSelectedPageIndex(hit.pageIndex);
        model_.addSearchResult(hit);
        model_.setHighlight(PageHighlight{hit.pageIndex, hit.rect, PageHighlight::Origin::searchResult});
    });

    // 5–7: pending regions
    stack->addWidget(new theme::HeadingLabel(QStringLiteral("Pending Redactions"), theme::font(TextStyle::Headline),
                                             theme::primaryText(), content));
    emptyHint_ = wrapping(QStringLiteral("Drag over sensitive content in the PDF, or search for text."),
                          TextStyle::Subheadline, theme::secondaryText(), content);
    emptyHint_->setObjectName(QStringLiteral("emptyPendingHint"));
    stack->addWidget(emptyHint_);
    pendingList_ = new PendingListView(model_, content);
    followedByDivider(pendingList_);

    // 8–10: label option
    labelToggle_ = new QCheckBox(QStringLiteral("Add REDACTED label"), content);
    stack->addWidget(labelToggle_);
    connect(labelToggle_, &QCheckBox::toggled, this, [this](bool on) {
        if (model_.labelRedactions() != on) model_.setLabelRedactions(on);
    });
    evenWidthToggle_ = new QCheckBox(QStringLiteral("Even-width boxes"), content);
    evenWidthToggle_->setObjectName(QStringLiteral("evenWidthBoxes"));
    evenWidthToggle_->setToolTip(
        QStringLiteral("Search hits export as boxes in steps of equal width, so a box does "
                       "not give away the length of the word it hides"));
    stack->addWidget(evenWidthToggle_);
    connect(evenWidthToggle_, &QCheckBox::toggled, this, [this](bool on) {
        if (model_.evenWidthBoxes() != on) model_.setEvenWidthBoxes(on);
    });
    searchableToggle_ = new QCheckBox(QStringLiteral("Searchable copy"), content);
    searchableToggle_->setObjectName(QStringLiteral("searchableCopy"));
    searchableToggle_->setToolTip(
        QStringLiteral("Adds invisible text read by OCR from the exported pages themselves, so the copy can be "
                       "searched and copied from; redacted text is not in the pages, so it is not in the text"));
    stack->addWidget(searchableToggle_);
    connect(searchableToggle_, &QCheckBox::toggled, this, [this](bool on) {
        if (model_.searchableCopy() != on) model_.setSearchableCopy(on);
    });
    stack->addWidget(
        wrapping(QStringLiteral("Secure export rebuilds PDF pages from rendered pixels so the original text "
                                "layer is not copied into the output."),
                 TextStyle::Subheadline, theme::secondaryText(), content));

    // 11: verification
    verificationPanel_ = new QWidget(content);
    verificationPanel_->setObjectName(QStringLiteral("verificationPanel"));
    auto* verification = new QVBoxLayout(verificationPanel_);
    verification->setContentsMargins(0, 0, 0, 0);
    verification->setSpacing(18);
    verification->addWidget(divider(verificationPanel_));
    auto* verdict = new QHBoxLayout();
    verdict->setSpacing(6);
    verdictSymbol_ =
        new theme::SymbolView(QStringLiteral("checkmark.shield.fill"), 16, theme::primaryText(), verificationPanel_);
    verdictTitle_ =
        new VerdictHeadline(QString(), theme::font(TextStyle::Headline), theme::primaryText(), verificationPanel_);
    verdictTitle_->setObjectName(QStringLiteral("verdictTitle"));
    verdictTitle_->setFocusPolicy(Qt::TabFocus);
    verdictTitle_->setContentsMargins(4, 2, 4, 2);
    verdict->addWidget(verdictSymbol_);
    verdict->addWidget(verdictTitle_, 1);
    verification->addLayout(verdict);
    checkedPages_ =
        new theme::ThemedLabel(QString(), theme::font(TextStyle::Caption), theme::primaryText(), verificationPanel_);
    checkedPages_->setObjectName(QStringLiteral("checkedPages"));
    verification->addWidget(checkedPages_);
    suspicious_ = wrapping(QString(), TextStyle::Caption, theme::systemOrange, verificationPanel_);
    suspicious_->setObjectName(QStringLiteral("suspiciousMatches"));
    verification->addWidget(suspicious_);
    unreadable_ = wrapping(QString(), TextStyle::Caption, theme::systemOrange, verificationPanel_);
    unreadable_->setObjectName(QStringLiteral("unreadableTerms"));
    verification->addWidget(unreadable_);
    findingList_ = new FindingListView(verificationPanel_);
    verification->addWidget(findingList_);
    connect(findingList_, &RowListView::partClicked, this, [this](int row) {
        const RedactionSearchResult place = findingList_->rows()->at(row);
        model_.setSelectedPageIndex(place.pageIndex);
        model_.setHighlight(PageHighlight{place.pageIndex, place.rect, PageHighlight::Origin::finding});
    });
    connect(findingList_, &FindingListView::partEntered, this, [this](int row) {
        const RedactionSearchResult place = findingList_->rows()->at(row);  // the list goes with the verdict
        model_.setSelectedPageIndex(place.pageIndex);
        model_.addSearchResult(place);
    });
    moreFindings_ = wrapping(QString(), TextStyle::Caption, theme::secondaryText(), verificationPanel_);
    verification->addWidget(moreFindings_);
    redactRemaining_ = new QPushButton(QStringLiteral("Redact Remaining"), verificationPanel_);
    redactRemaining_->setObjectName(QStringLiteral("redactRemaining"));
    redactRemaining_->setAutoDefault(false);
    verification->addWidget(redactRemaining_, 0, Qt::AlignLeft);
    connect(redactRemaining_, &QPushButton::clicked, this, [this] {
        model_.redactRemaining();
        // What comes next is a new export; the button that was pressed is gone.
        if (afterRemaining_) afterRemaining_->setFocus(Qt::OtherFocusReason);
    });
    reveal_ = new QPushButton(theme::platformText(QStringLiteral("Reveal Output in Finder")), verificationPanel_);
    reveal_->setAutoDefault(false);
    verification->addWidget(reveal_, 0, Qt::AlignLeft);
    stack->addWidget(verificationPanel_);
    connect(reveal_, &QPushButton::clicked, this, [this] { model_.revealOutput(); });

    // 12–13
    stack->addWidget(divider(content));
    closeDocument_ = new QPushButton(QStringLiteral("Close Document"), content);
    closeDocument_->setAutoDefault(false);
    stack->addWidget(closeDocument_, 0, Qt::AlignLeft);
    connect(closeDocument_, &QPushButton::clicked, this, [this] { model_.clearDocument(); });
    // Qt hands the focus of a control that hides or turns off to the next in the chain, which
    // after the verdict is "Close Document": one Space would then drop the work.
    focusGuard_ = connect(qApp, &QApplication::focusChanged, this, [this](QWidget* old, QWidget* now) {
        if (now != closeDocument_ || !old || (old->isVisible() && old->isEnabled())) return;
        QWidget* target = afterRemaining_ && afterRemaining_->isEnabled() ? afterRemaining_.data() : searchField_;
        target->setFocus(Qt::OtherFocusReason);
    });
    stack->addStretch(1);
    setWidget(content);

    connect(&model_, &RedactionViewModel::searchTextChanged, this, &InspectorPanel::syncSearchText);
    connect(&model_, &RedactionViewModel::isBusyChanged, this, &InspectorPanel::syncBusy);
    connect(&model_, &RedactionViewModel::searchResultsChanged, this, &InspectorPanel::syncResults);
    connect(&model_, &RedactionViewModel::redactionsChanged, this, &InspectorPanel::syncPending);
    connect(&model_, &RedactionViewModel::labelRedactionsChanged, this, &InspectorPanel::syncLabelToggle);
    connect(&model_, &RedactionViewModel::evenWidthBoxesChanged, this, &InspectorPanel::syncLabelToggle);
    connect(&model_, &RedactionViewModel::searchableCopyChanged, this, &InspectorPanel::syncLabelToggle);
    connect(&model_, &RedactionViewModel::verificationChanged, this, &InspectorPanel::syncVerification);
    connect(&model_, &RedactionViewModel::verificationChanged, this, &InspectorPanel::presentVerdict);
    connect(&model_, &RedactionViewModel::outputURLChanged, this, &InspectorPanel::syncVerification);
    connect(&model_, &RedactionViewModel::recognitionLanguagesChanged, this, &InspectorPanel::syncLanguages);
    connect(&model_, &RedactionViewModel::inspectionChanged, this, &InspectorPanel::syncInspection);
    syncInspection();
    syncSearchText();
    syncLanguages();
    syncBusy();
    syncResults();
    syncPending();
    syncLabelToggle();
    syncVerification();
}

QWidget* InspectorPanel::buildHiddenContent(QWidget* content) {
    hiddenSection_ = new QWidget(content);
    hiddenSection_->setObjectName(QStringLiteral("hiddenContent"));
    hiddenSection_->setVisible(false);
    auto* column = new QVBoxLayout(hiddenSection_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(12);
    auto* header = new QHBoxLayout();
    header->addWidget(new theme::HeadingLabel(QStringLiteral("Hidden in This PDF"), theme::font(TextStyle::Headline),
                                              theme::primaryText(), hiddenSection_),
                      1);
    hideHidden_ = new QPushButton(QStringLiteral("Hide"), hiddenSection_);
    hideHidden_->setObjectName(QStringLiteral("hideHiddenContent"));
    hideHidden_->setAccessibleName(QStringLiteral("Hide Hidden Content"));
    hideHidden_->setAutoDefault(false);
    header->addWidget(hideHidden_);
    column->addLayout(header);
    column->addWidget(wrapping(QStringLiteral("The secure copy leaves all of this out: it is made only from the "
                                              "pages' pixels."),
                               TextStyle::Subheadline, theme::secondaryText(), hiddenSection_));
    redactAllCovered_ = new QPushButton(QStringLiteral("Redact All Covered Text"), hiddenSection_);
    redactAllCovered_->setObjectName(QStringLiteral("redactAllCoveredText"));
    redactAllCovered_->setAutoDefault(false);
    column->addWidget(redactAllCovered_, 0, Qt::AlignLeft);
    hiddenList_ = new HiddenContentListView(hiddenSection_);
    column->addWidget(hiddenList_);
    column->addWidget(divider(hiddenSection_));

    connect(hideHidden_, &QPushButton::clicked, this, [this] {
        hiddenSection_->setVisible(false);
        searchField_->setFocus(Qt::OtherFocusReason);
    });
    connect(redactAllCovered_, &QPushButton::clicked, this, [this] { model_.redactAllCoveredText(); });
    const auto finding = [this](int row) { return *hiddenList_->rows()->at(row).finding; };
    connect(hiddenList_, &HiddenContentListView::placeChosen, this, [this, finding](int row) {
        const InspectionFinding chosen = finding(row);
        model_.setSelectedPageIndex(chosen.pageIndex);
        model_.setHighlight(PageHighlight{chosen.pageIndex, *chosen.rect, PageHighlight::Origin::inspection});
    });
    connect(hiddenList_, &RowListView::partClicked, this, [this, finding](int row) {
        const InspectionFinding chosen = finding(row);
        model_.redactInspectionFinding(chosen);
        model_.setHighlight(PageHighlight{chosen.pageIndex, *chosen.rect, PageHighlight::Origin::inspection});
    });
    return hiddenSection_;
}

void InspectorPanel::showHiddenContent() {
    if (model_.inspection().findings.empty()) return;
    hiddenSection_->setVisible(true);
    // After the layout has placed the section.
    QTimer::singleShot(0, this, [this] {
        if (!hiddenSection_->isVisible()) return;
        ensureWidgetVisible(hiddenSection_, 0, 0);
        hiddenList_->setFocus(Qt::OtherFocusReason);
    });
}

void InspectorPanel::syncInspection() {
    const DocumentInspection& inspection = model_.inspection();
    hiddenList_->rows()->setFindings(inspection.findings);
    redactAllCovered_->setVisible(std::any_of(inspection.findings.begin(), inspection.findings.end(), &isRedactable));
    if (inspection.findings.empty()) {
        hiddenSection_->setVisible(false);
    }
}

QLabel* InspectorPanel::matchCountLabel() const {
    return matchCount_;
}
InspectorPanel::~InspectorPanel() {
    // The focus moves while the children go, after this part of the panel is gone.
    disconnect(focusGuard_);
}

QLabel* InspectorPanel::verdictHeadline() const {
    return verdictTitle_;
}
QLabel* InspectorPanel::emptyPendingHint() const {
    return emptyHint_;
}

void InspectorPanel::syncSearchText() {
    if (searchField_->text() != model_.searchText()) {
        searchField_->setText(model_.searchText());
    }
}

void InspectorPanel::syncBusy() {
    // Every search is a task, and starting one would end the work in flight.
    for (QWidget* control : std::initializer_list<QWidget*>{findText_, ocrSearch_, patterns_}) {
        control->setEnabled(!model_.isBusy());
    }
}

void InspectorPanel::syncLanguages() {
    const QString chosen = model_.recognitionLanguages();
    QStringList names;
    for (const QString& code : chosen.split(QLatin1Char('+'), Qt::SkipEmptyParts)) {
        names << qs(recognitionLanguageName(code.toStdString()));
    }
    languages_->setToolTip(QStringLiteral("Languages OCR reads: ") +
                           (names.isEmpty()
                                ? QStringLiteral("Automatic (English, the desktop's language and the languages of the "
                                                 "searched terms)")
                                : names.join(QStringLiteral(", "))));
}

void InspectorPanel::fillLanguageMenu() {
    QMenu* menu = languages_->menu();
    menu->clear();
    const QStringList chosen = model_.recognitionLanguages().split(QLatin1Char('+'), Qt::SkipEmptyParts);
    QAction* automatic = menu->addAction(QStringLiteral("Automatic"));
    automatic->setCheckable(true);
    automatic->setChecked(chosen.isEmpty());
    connect(automatic, &QAction::triggered, this, [this] { model_.setRecognitionLanguages({}); });
    menu->addSeparator();
    for (const std::string& installed : installedRecognitionLanguages()) {
        const QString code = qs(installed);
        QAction* language = menu->addAction(qs(recognitionLanguageName(installed)));
        language->setCheckable(true);
        language->setChecked(chosen.contains(code));
        connect(language, &QAction::triggered, this, [this, code](bool on) {
            QStringList now = model_.recognitionLanguages().split(QLatin1Char('+'), Qt::SkipEmptyParts);
            now.removeAll(code);
            if (on) {
                now << code;
            }
            model_.setRecognitionLanguages(now.join(QLatin1Char('+')));
        });
    }
}

void InspectorPanel::syncResults() {
    const auto& results = model_.searchResults();
    resultsSection_->setVisible(!results.empty());
    matchCount_->setText(QString::number(results.size()) + QStringLiteral(" matches"));
}

void InspectorPanel::syncPending() {
    // The list's own model has taken the change already: it was connected first.
    const bool empty = model_.redactions().empty();
    emptyHint_->setVisible(empty);
    pendingList_->setVisible(!empty);
}

void InspectorPanel::syncLabelToggle() {
    if (evenWidthToggle_->isChecked() != model_.evenWidthBoxes()) {
        evenWidthToggle_->setChecked(model_.evenWidthBoxes());
    }
    if (labelToggle_->isChecked() != model_.labelRedactions()) {
        labelToggle_->setChecked(model_.labelRedactions());
    }
    if (searchableToggle_->isChecked() != model_.searchableCopy()) {
        searchableToggle_->setChecked(model_.searchableCopy());
    }
}

void InspectorPanel::syncVerification() {
    const auto& result = model_.verification();
    verificationPanel_->setVisible(result.has_value());
    if (!result) {
        return;
    }
    const bool passed = result->passed();
    const theme::ColorFn color = passed ? theme::ColorFn(theme::systemGreen) : theme::ColorFn(theme::systemOrange);
    verdictSymbol_->setSymbol(
        passed ? QStringLiteral("checkmark.shield.fill") : QStringLiteral("exclamationmark.triangle.fill"), color);
    verdictTitle_->setText(passed ? QStringLiteral("Verification Passed") : QStringLiteral("Needs Review"));
    verdictTitle_->setColor(color);
    checkedPages_->setText(QString::number(result->checkedPages()) + QStringLiteral(" pages checked."));
    QStringList terms;
    for (const auto& term : result->suspiciousMatches())
        terms << qs(term);
    suspicious_->setVisible(!terms.isEmpty());
    suspicious_->setText(QStringLiteral("Possible sensitive text still detected: ") + terms.join(QStringLiteral(", ")));
    QStringList unreadable;
    for (const VerificationFinding& finding : result->findings()) {
        if (finding.reason == FindingReason::unreadableLetters && !unreadable.contains(qs(finding.term))) {
            unreadable << qs(finding.term);
        }
    }
    unreadable_->setVisible(!unreadable.isEmpty());
    unreadable_->setText(QStringLiteral("The recognition languages in use cannot read the letters of: ") +
                         unreadable.join(QStringLiteral(", ")) +
                         QStringLiteral(". Check these on the pages yourself, or choose a language that has them."));

    // Rows are for finding one's way; a very long list helps nobody.
    constexpr std::size_t kListed = 100;
    const SearchResultList found = model_.remainingFindings();
    findingList_->rows()->setFindings(
        SearchResultList(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(std::min(found.size(), kListed))));
    findingList_->setVisible(!found.empty());
    moreFindings_->setVisible(found.size() > kListed);
    moreFindings_->setText(QStringLiteral("Not listed: ") +
                           QString::number(found.size() - std::min(found.size(), kListed)) +
                           QStringLiteral(" more places"));
    redactRemaining_->setVisible(!found.empty());
    reveal_->setVisible(model_.outputURL().has_value());
}

void InspectorPanel::presentVerdict() {
    if (!model_.verification()) return;
    // After the layout has placed the panel, or the scroll would aim at its old place.
    QTimer::singleShot(0, this, [this] {
        if (!verificationPanel_->isVisible()) return;
        ensureWidgetVisible(verificationPanel_, 0, 0);
        ensureWidgetVisible(verdictTitle_, 0, 14);
        verdictTitle_->setFocus(Qt::OtherFocusReason);
    });
}

}  // namespace norvane
