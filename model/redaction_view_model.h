#pragma once
// The observable state of one redaction workspace: the open document, pending regions,
// search results and the user-visible status. Lives on the main thread; every assignment
// to a published field emits that field's change signal, even when the value is equal.

#include "engine/pdf_document.h"
#include "model/background_task.h"
#include "model/services.h"
#include "records/redaction_records.h"

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
using RegionList = std::vector<RedactionRegion>;
using SearchResultList = std::vector<RedactionSearchResult>;

// A place on a source page the canvas outlines and brings into view: a search hit, or where
// verification still read a term.
struct PageHighlight {
    enum class Origin { searchResult, finding };
    qint64 pageIndex = 0;
    PageRect rect;
    Origin origin = Origin::searchResult;

    friend bool operator==(const PageHighlight&, const PageHighlight&) = default;
};

class RedactionViewModel : public QObject, public std::enable_shared_from_this<RedactionViewModel> {
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

public:
    // The model is shared: a running task holds it alive until the task has ended.
    static std::shared_ptr<RedactionViewModel> create(SharedServices services);
    ~RedactionViewModel() override;

    const SharedPdfDocument& document() const { return document_; }
    const OptionalString& sourceURL() const { return sourceURL_; }
    const RegionList& redactions() const { return redactions_; }
    const SearchResultList& searchResults() const { return searchResults_; }
    qint64 selectedPageIndex() const { return selectedPageIndex_; }
    const QString& searchText() const { return searchText_; }
    const QString& statusText() const { return statusText_; }
    const OptionalDouble& progress() const { return progress_; }
    const OptionalString& errorMessage() const { return errorMessage_; }
    const OptionalString& outputURL() const { return outputURL_; }
    const OptionalVerification& verification() const { return verification_; }
    bool isBusy() const { return isBusy_; }
    const std::optional<PageHighlight>& highlight() const { return highlight_; }
    bool labelRedactions() const { return labelRedactions_; }
    bool evenWidthBoxes() const { return evenWidthBoxes_; }
    // True while some pending region is not in the last export that completed: closing now
    // would lose work that no file holds.
    bool hasUnexportedRedactions() const;
    // The boxes as the export will draw them: widened when evenWidthBoxes is on.
    RegionList exportedRedactions() const;
    const std::shared_ptr<BackgroundTask>& task() const { return task_; }

    // Fields the UI writes directly.
    void setRedactions(RegionList redactions);
    void setSelectedPageIndex(qint64 index);
    void setSearchText(const QString& text);
    void setErrorMessage(const OptionalString& message);
    void setVerification(const OptionalVerification& verification);
    void setLabelRedactions(bool label);
    void setEvenWidthBoxes(bool even);

    void open(const QString& path);
    void clearDocument();
    void cancel();
    void addManual(qint64 pageIndex, const PageRect& rect);
    void remove(const RedactionRegion& region);
    void undoLast();
    void addSearchResult(const RedactionSearchResult& result);
    void addAllSearchResults();

    // Search commands.
    void findNativeText();
    void findWithOCR();
    // The text layer's matches of a preset at once; with `includeOcr`, the recognised text's
    // too, as a background task like findWithOCR, added after them.
    void findPattern(PatternPreset preset, bool includeOcr);

    // Secure export and its output.
    void exportSecureCopy();
    void revealOutput();

    // The verification's findings in the source's page space: the copy's pages are the source's
    // media boxes moved to the origin, same size and rotation.
    SearchResultList remainingFindings() const;
    // Adds every finding as a pending region, so exporting again removes what was left.
    void redactRemaining();
    // Cleared when what it points into is replaced: the results, the verification, the document.
    void setHighlight(const std::optional<PageHighlight>& highlight);

    // Installs a fresh handle as the one task in flight; the background operations call
    // cancel() first, so the previous one never outlives this.
    std::shared_ptr<BackgroundTask> beginTask();

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
    void highlightChanged();

protected:
    explicit RedactionViewModel(SharedServices services);

    void setDocument(SharedPdfDocument document);
    void setSourceURL(const OptionalString& url);
    void setSearchResults(SearchResultList results);
    void setStatusText(const QString& text);
    void setProgress(const OptionalDouble& progress);
    void setOutputURL(const OptionalString& url);
    void setIsBusy(bool busy);

private:
    using OcrSearch = std::function<SearchResultList(const PageProgress&, std::stop_token)>;
    // Shows `found` with what `search` adds once it has read every page.
    void runOcrSearch(SearchResultList found, const QString& statusPrefix, OcrSearch search);

    SharedPdfDocument document_;
    OptionalString sourceURL_;
    RegionList redactions_;
    SearchResultList searchResults_;
    qint64 selectedPageIndex_ = 0;
    QString searchText_;
    QString statusText_ = QStringLiteral("Ready");
    OptionalDouble progress_;
    OptionalString errorMessage_;
    OptionalString outputURL_;
    OptionalVerification verification_;
    RegionList lastExportRegions_;
    bool isBusy_ = false;
    bool labelRedactions_ = false;
    bool evenWidthBoxes_ = false;
    std::optional<PageHighlight> highlight_;
    std::shared_ptr<BackgroundTask> task_;
    SharedServices services_;
};

}  // namespace norvane

Q_DECLARE_METATYPE(norvane::SharedPdfDocument)
Q_DECLARE_METATYPE(norvane::OptionalString)
Q_DECLARE_METATYPE(norvane::OptionalDouble)
Q_DECLARE_METATYPE(norvane::OptionalVerification)
Q_DECLARE_METATYPE(norvane::RegionList)
Q_DECLARE_METATYPE(norvane::SearchResultList)
