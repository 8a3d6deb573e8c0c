#pragma once
// The right-hand pane of the editing layout: what the source hides (when asked for), search,
// its results, the pending regions, the label option, the verification verdict and "Close
// Document". Everything it shows is read
// from the model; every control calls the model or writes one of its fields.

#include "model/redaction_view_model.h"
#include "workspace/findings_list.h"
#include "workspace/hidden_content_list.h"
#include "workspace/pending_list.h"
#include "workspace/result_list.h"

#include <QHash>
#include <QPointer>
#include <QScrollArea>

#include <vector>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;
class QVBoxLayout;

namespace norvane {

namespace theme {
class ThemedLabel;
class SymbolView;
}  // namespace theme

class InspectorPanel : public QScrollArea {
    Q_OBJECT
public:
    explicit InspectorPanel(RedactionViewModel& model, QWidget* parent = nullptr);
    ~InspectorPanel() override;

    QLineEdit* searchField() const { return searchField_; }
    QPushButton* findTextButton() const { return findText_; }
    QPushButton* ocrSearchButton() const { return ocrSearch_; }
    QToolButton* patternsButton() const { return patterns_; }
    QCheckBox* includeOcrToggle() const { return includeOcr_; }
    QToolButton* languagesButton() const { return languages_; }
    QCheckBox* evenWidthToggle() const { return evenWidthToggle_; }
    QCheckBox* searchableToggle() const { return searchableToggle_; }
    QPushButton* redactAllButton() const { return redactAll_; }
    QCheckBox* labelToggle() const { return labelToggle_; }
    QPushButton* revealButton() const { return reveal_; }
    QPushButton* redactRemainingButton() const { return redactRemaining_; }
    FindingListView* findingList() const { return findingList_; }
    QPushButton* closeDocumentButton() const { return closeDocument_; }
    QWidget* resultsSection() const { return resultsSection_; }
    QWidget* verificationPanel() const { return verificationPanel_; }
    QLabel* matchCountLabel() const;
    QLabel* emptyPendingHint() const;
    ResultListView* resultList() const { return resultList_; }
    PendingListView* pendingList() const { return pendingList_; }
    QLabel* verdictHeadline() const;
    QWidget* hiddenContentSection() const { return hiddenSection_; }
    HiddenContentListView* hiddenContentList() const { return hiddenList_; }
    QPushButton* redactAllCoveredButton() const { return redactAllCovered_; }
    QPushButton* hideHiddenContentButton() const { return hideHidden_; }
    // Opens the list of what the source hides at the top of the pane and gives it the keyboard.
    void showHiddenContent();
    // Where the keyboard goes once "Redact Remaining" has added its boxes.
    void setFocusAfterRemaining(QWidget* target) { afterRemaining_ = target; }

private:
    void syncSearchText();
    void syncBusy();
    void syncResults();
    void syncPending();
    void syncLabelToggle();
    void syncVerification();
    void presentVerdict();
    void syncLanguages();
    void fillLanguageMenu();
    QWidget* buildHiddenContent(QWidget* content);
    void syncInspection();

    RedactionViewModel& model_;
    QWidget* hiddenSection_ = nullptr;
    HiddenContentListView* hiddenList_ = nullptr;
    QPushButton* redactAllCovered_ = nullptr;
    QPushButton* hideHidden_ = nullptr;
    QLineEdit* searchField_ = nullptr;
    QPushButton* findText_ = nullptr;
    QPushButton* ocrSearch_ = nullptr;
    QToolButton* patterns_ = nullptr;
    QCheckBox* includeOcr_ = nullptr;
    QToolButton* languages_ = nullptr;
    QWidget* resultsSection_ = nullptr;
    theme::ThemedLabel* matchCount_ = nullptr;
    QPushButton* redactAll_ = nullptr;
    ResultListView* resultList_ = nullptr;
    theme::ThemedLabel* emptyHint_ = nullptr;
    PendingListView* pendingList_ = nullptr;
    QCheckBox* labelToggle_ = nullptr;
    QCheckBox* evenWidthToggle_ = nullptr;
    QCheckBox* searchableToggle_ = nullptr;
    QWidget* verificationPanel_ = nullptr;
    theme::SymbolView* verdictSymbol_ = nullptr;
    theme::ThemedLabel* verdictTitle_ = nullptr;
    theme::ThemedLabel* checkedPages_ = nullptr;
    theme::ThemedLabel* suspicious_ = nullptr;
    theme::ThemedLabel* unreadable_ = nullptr;
    FindingListView* findingList_ = nullptr;
    theme::ThemedLabel* moreFindings_ = nullptr;
    QPushButton* redactRemaining_ = nullptr;
    QPushButton* reveal_ = nullptr;
    QPushButton* closeDocument_ = nullptr;
    QPointer<QWidget> afterRemaining_;
    QMetaObject::Connection focusGuard_;
};

}  // namespace norvane
