#pragma once
// The observable state of one redaction workspace for the Qt screens. Lives on the main thread;
// every assignment to a published field emits that field's change signal, even when the value
// is equal.

#include "model/redaction_session.h"
#include "model/services.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace norvane {

using OptionalString = std::optional<QString>;
using OptionalDouble = std::optional<double>;
using OptionalVerification = std::optional<ExportVerification>;

// The Qt face of a RedactionSession: each session field as a property with its change signal,
// each operation passed through. Background work runs on the task runner's workers and every
// change it makes reaches the session on this object's (the main) thread.
class RedactionViewModel : public QObject, public SessionHost, public std::enable_shared_from_this<RedactionViewModel> {
    Q_OBJECT
    Q_PROPERTY(norvane::SharedPdfDocument document READ document NOTIFY documentChanged)
    Q_PROPERTY(norvane::OptionalString sourceURL READ sourceURL NOTIFY sourceURLChanged)
    Q_PROPERTY(norvane::RegionList redactions READ redactions WRITE setRedactions NOTIFY redactionsChanged)
    Q_PROPERTY(norvane::SearchResultList searchResults READ searchResults NOTIFY searchResultsChanged)
    Q_PROPERTY(
        qint64 selectedPageIndex READ selectedPageIndex WRITE setSelectedPageIndex NOTIFY selectedPageIndexChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged)
    Q_PROPERTY(norvane::OptionalDouble progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(norvane::OptionalString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorMessageChanged)
    Q_PROPERTY(norvane::OptionalString outputURL READ outputURL NOTIFY outputURLChanged)
    Q_PROPERTY(
        norvane::OptionalVerification verification READ verification WRITE setVerification NOTIFY verificationChanged)
    Q_PROPERTY(bool isBusy READ isBusy NOTIFY isBusyChanged)
    Q_PROPERTY(bool labelRedactions READ labelRedactions WRITE setLabelRedactions NOTIFY labelRedactionsChanged)
    Q_PROPERTY(bool evenWidthBoxes READ evenWidthBoxes WRITE setEvenWidthBoxes NOTIFY evenWidthBoxesChanged)
    Q_PROPERTY(bool searchableCopy READ searchableCopy WRITE setSearchableCopy NOTIFY searchableCopyChanged)
    Q_PROPERTY(QString recognitionLanguages READ recognitionLanguages WRITE setRecognitionLanguages NOTIFY
                   recognitionLanguagesChanged)

public:
    // The model is shared: a running task holds it alive until the task has ended.
    static std::shared_ptr<RedactionViewModel> create(SharedServices services);
    ~RedactionViewModel() override;

    RedactionSession& session() { return session_; }
    const RedactionSession& session() const { return session_; }

    const SharedPdfDocument& document() const { return session_.document(); }
    OptionalString sourceURL() const;
    const RegionList& redactions() const { return session_.redactions(); }
    const SearchResultList& searchResults() const { return session_.searchResults(); }
    qint64 selectedPageIndex() const { return session_.selectedPageIndex(); }
    QString searchText() const { return QString::fromStdString(session_.searchText()); }
    QString statusText() const { return QString::fromStdString(session_.statusText()); }
    const OptionalDouble& progress() const { return session_.progress(); }
    OptionalString errorMessage() const;
    OptionalString outputURL() const;
    const OptionalVerification& verification() const { return session_.verification(); }
    bool isBusy() const { return session_.isBusy(); }
    const std::optional<PageHighlight>& highlight() const { return session_.highlight(); }
    bool labelRedactions() const { return session_.labelRedactions(); }
    bool evenWidthBoxes() const { return session_.evenWidthBoxes(); }
    bool searchableCopy() const { return session_.searchableCopy(); }
    QString recognitionLanguages() const { return QString::fromStdString(session_.recognitionLanguages()); }
    bool hasUnexportedRedactions() const { return session_.hasUnexportedRedactions(); }
    RegionList exportedRedactions() const { return session_.exportedRedactions(); }
    const std::shared_ptr<BackgroundTask>& task() const { return session_.task(); }
    const DocumentInspection& inspection() const { return session_.inspection(); }

    // Fields the UI writes directly.
    void setRedactions(RegionList redactions) { session_.setRedactions(std::move(redactions)); }
    void setSelectedPageIndex(qint64 index) { session_.setSelectedPageIndex(index); }
    void setSearchText(const QString& text) { session_.setSearchText(text.toStdString()); }
    void setErrorMessage(const OptionalString& message);
    void setVerification(const OptionalVerification& verification) { session_.setVerification(verification); }
    void setLabelRedactions(bool label) { session_.setLabelRedactions(label); }
    void setEvenWidthBoxes(bool even) { session_.setEvenWidthBoxes(even); }
    void setSearchableCopy(bool searchable) { session_.setSearchableCopy(searchable); }
    void setRecognitionLanguages(const QString& languages) {
        session_.setRecognitionLanguages(languages.toStdString());
    }

    // Opens the file and, when it is a new document, starts inspecting it.
    void open(const QString& path);
    // With a canvas, the inspection of a newly opened document waits until its first page is
    // on screen (firstPageShown), so it never slows that page.
    void setInspectionWaitsForFirstPage(bool wait) { inspectionWaits_ = wait; }
    void firstPageShown();
    void clearDocument() { session_.clearDocument(); }
    void cancel() { session_.cancel(); }
    void addManual(qint64 pageIndex, const PageRect& rect) { session_.addManual(pageIndex, rect); }
    void remove(const RedactionRegion& region) { session_.remove(region); }
    void undoLast() { session_.undoLast(); }
    void addSearchResult(const RedactionSearchResult& result) { session_.addSearchResult(result); }
    void addAllSearchResults() { session_.addAllSearchResults(); }

    // Search commands, each a background task.
    void findNativeText() { session_.findNativeText(); }
    void findWithOCR() { session_.findWithOCR(); }
    void findPattern(PatternPreset preset, bool includeOcr) { session_.findPattern(preset, includeOcr); }

    // Secure export: asks for a target, then the session writes, verifies and records it.
    void exportSecureCopy();
    void revealOutput();

    SearchResultList remainingFindings() const { return session_.remainingFindings(); }
    void redactRemaining() { session_.redactRemaining(); }
    void redactInspectionFinding(const InspectionFinding& finding) { session_.redactInspectionFinding(finding); }
    void redactAllCoveredText() { session_.redactAllCoveredText(); }
    void setHighlight(const std::optional<PageHighlight>& highlight) { session_.setHighlight(highlight); }

    std::shared_ptr<BackgroundTask> beginTask() { return session_.beginTask(); }

signals:
    void documentChanged();
    void sourceURLChanged();
    void redactionsChanged();
    void searchResultsChanged();
    void selectedPageIndexChanged();
    void searchTextChanged();
    void statusTextChanged();
    void progressChanged();
    void errorMessageChanged();
    void outputURLChanged();
    void verificationChanged();
    void isBusyChanged();
    void labelRedactionsChanged();
    void evenWidthBoxesChanged();
    void searchableCopyChanged();
    void highlightChanged();
    void recognitionLanguagesChanged();
    void inspectionChanged();

protected:
    explicit RedactionViewModel(SharedServices services);

    // Scene setters for tests and screenshots.
    void setSearchResults(SearchResultList results) { session_.setSearchResults(std::move(results)); }
    void setStatusText(const QString& text) { session_.setStatusText(text.toStdString()); }
    void setProgress(const OptionalDouble& progress) { session_.setProgress(progress); }
    void setOutputURL(const OptionalString& url);
    void setIsBusy(bool busy) { session_.setIsBusy(busy); }
    void setInspection(DocumentInspection inspection) { session_.setInspection(std::move(inspection)); }

private:
    void changed(SessionField field) override;
    void run(const std::shared_ptr<BackgroundTask>& task, std::function<void(const StateHop&)> work) override;
    void recordExport(const ExportRecord& record) override;

    SharedServices services_;
    RedactionSession session_;
    bool inspectionWaits_ = false;
};

}  // namespace norvane

Q_DECLARE_METATYPE(norvane::SharedPdfDocument)
Q_DECLARE_METATYPE(norvane::OptionalString)
Q_DECLARE_METATYPE(norvane::OptionalDouble)
Q_DECLARE_METATYPE(norvane::OptionalVerification)
Q_DECLARE_METATYPE(norvane::RegionList)
Q_DECLARE_METATYPE(norvane::SearchResultList)
