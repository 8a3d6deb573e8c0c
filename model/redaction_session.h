#pragma once
// The redaction workflow of one workspace, the same for the app and the command line: the open
// document, the pending regions, everything searched (found or not), the one task in flight and
// the outcome of every search, export and verification. Plain C++. The policy lives here: what
// is verified, what an unread page means, which task may still change the state. A front end
// observes the session through its host and only shows and asks.

#include "engine/inspection.h"
#include "model/background_task.h"
#include "model/engine_calls.h"
#include "model/export_pipeline.h"
#include "records/redaction_records.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace norvane {

using RegionList = std::vector<RedactionRegion>;
using SearchResultList = std::vector<RedactionSearchResult>;

// A place on a source page the canvas outlines and brings into view: a search hit, where
// verification still read a term, or what the source hides.
struct PageHighlight {
    enum class Origin { searchResult, finding, inspection };
    std::int64_t pageIndex = 0;
    PageRect rect;
    Origin origin = Origin::searchResult;

    friend bool operator==(const PageHighlight&, const PageHighlight&) = default;
};

// The fields a front end shows; each assignment is announced with its field, also when the
// value is unchanged.
enum class SessionField {
    document,
    sourcePath,
    redactions,
    searchResults,
    selectedPageIndex,
    searchText,
    statusText,
    progress,
    errorMessage,
    outputPath,
    verification,
    isBusy,
    labelRedactions,
    evenWidthBoxes,
    searchableCopy,
    highlight,
    recognitionLanguages,
    inspection,
};

// What the open document hides, as far as its inspection has got. It runs beside the session's
// tasks, never as one of them: it neither makes the session busy nor is ended by a search.
struct DocumentInspection {
    enum class State { notStarted, running, done, failed };
    State state = State::notStarted;
    std::vector<InspectionFinding> findings;
    std::string failure;  // failed: what the person is told
};

// What the session needs of its front end.
class SessionHost {
public:
    virtual ~SessionHost() = default;
    // A field was assigned; called on the session's thread.
    virtual void changed(SessionField field) = 0;
    // Runs `work` for `task`: the app on a worker thread, the command line at once. Every state
    // change the work makes goes through the hop it is given, which runs it on the session's
    // thread and returns once it has run (false when it no longer can: the app quitting). The
    // host keeps the session alive until the work has ended.
    virtual void run(const std::shared_ptr<BackgroundTask>& task, std::function<void(const StateHop&)> work) = 0;
    // A verified export, for the history.
    virtual void recordExport(const ExportRecord& record) = 0;
    // The work's progress as a log would show it: a step starting (`page` 0), or page `page` of
    // `pageCount` done. The fields say the same; this is for front ends that print lines.
    virtual void progressed(const std::string& status, std::int64_t page, std::int64_t pageCount) {
        (void)status, (void)page, (void)pageCount;
    }
};

// How the last search ended.
enum class SearchEnd {
    none,  // no search yet in this document
    running,
    read,            // it read what it could: its results, and the pages it could not read
    unreadableTerm,  // refused before reading: no loaded recogniser knows some letters of the term
    failed,          // an error ended it (in the error message)
    cancelled,
};

class RedactionSession {
public:
    RedactionSession(EngineCalls engine, SessionHost& host);
    RedactionSession(const RedactionSession&) = delete;
    RedactionSession& operator=(const RedactionSession&) = delete;

    const SharedPdfDocument& document() const { return document_; }
    const std::optional<std::filesystem::path>& sourcePath() const { return sourcePath_; }
    const RegionList& redactions() const { return redactions_; }
    const SearchResultList& searchResults() const { return searchResults_; }
    std::int64_t selectedPageIndex() const { return selectedPageIndex_; }
    const std::string& searchText() const { return searchText_; }
    const std::string& statusText() const { return statusText_; }
    const std::optional<double>& progress() const { return progress_; }
    const std::optional<std::string>& errorMessage() const { return errorMessage_; }
    const std::optional<std::filesystem::path>& outputPath() const { return outputPath_; }
    const std::optional<ExportVerification>& verification() const { return verification_; }
    bool isBusy() const { return isBusy_; }
    bool labelRedactions() const { return labelRedactions_; }
    bool evenWidthBoxes() const { return evenWidthBoxes_; }
    // The copy gets an invisible text layer, recognised from its own page images.
    bool searchableCopy() const { return searchableCopy_; }
    const std::optional<PageHighlight>& highlight() const { return highlight_; }
    // The recogniser's language names, e.g. "deu+eng"; empty: chosen for each search.
    const std::string& recognitionLanguages() const { return recognitionLanguages_; }
    // The pages the last search could not read.
    const std::vector<UnreadPage>& unreadPages() const { return unreadPages_; }
    SearchEnd lastSearch() const { return lastSearch_; }
    // Every term and pattern searched in this document, found or not, in the order first asked.
    const std::vector<std::string>& searchedTerms() const { return searchedTerms_; }
    const std::vector<PatternPreset>& searchedPatterns() const { return searchedPatterns_; }
    const std::shared_ptr<BackgroundTask>& task() const { return task_; }
    const DocumentInspection& inspection() const { return inspection_; }

    // What an export of `regions` is checked for: every term searched in the document (found or
    // not), every matched string of the regions, every pattern used, read with the session's
    // recognition languages.
    VerificationRequest verificationRequest(const RegionList& regions) const;
    // True while some pending region is not in the last export that completed: closing now
    // would lose work that no file holds.
    bool hasUnexportedRedactions() const;
    // The boxes as the export will draw them: widened when evenWidthBoxes is on.
    RegionList exportedRedactions() const;
    // The verification's findings that have a place, in the source's page space: the copy's
    // pages are the source's media boxes moved to the origin, same size and rotation.
    SearchResultList remainingFindings() const;

    // Fields a front end writes directly.
    void setRedactions(RegionList redactions);
    void setSelectedPageIndex(std::int64_t index);
    void setSearchText(std::string text);
    void setErrorMessage(std::optional<std::string> message);
    void setVerification(std::optional<ExportVerification> verification);
    void setLabelRedactions(bool label);
    void setEvenWidthBoxes(bool even);
    void setSearchableCopy(bool searchable);
    void setHighlight(const std::optional<PageHighlight>& highlight);
    void setRecognitionLanguages(std::string languages);

    void open(const std::filesystem::path& path);
    void clearDocument();
    // Stops the task in flight; its own ending still reports how it stopped, unless a newer
    // operation or another document has replaced it by then.
    void cancel();
    void addManual(std::int64_t pageIndex, const PageRect& rect);
    void remove(const RedactionRegion& region);
    void undoLast();
    void addSearchResult(const RedactionSearchResult& result);
    void addAllSearchResults();
    // Adds every finding as a pending region, so exporting again removes what was left.
    void redactRemaining();

    // Starts inspecting the open document once; a front end that shows what it hides asks for
    // it after opening. Its result is dropped when the document changes or closes first.
    void startInspection();
    // Adds the place of covered text (see isCoveredText) as a pending region, unless one is
    // already there; other findings have nothing to cover.
    void redactInspectionFinding(const InspectionFinding& finding);
    // Every covered text's place, each once.
    void redactAllCoveredText();

    // Searches, each a task of its own.
    void findNativeText();
    void findWithOCR();
    // The text layer's matches of a preset; with `includeOcr`, the recognised text's too.
    void findPattern(PatternPreset preset, bool includeOcr);

    // Whether an export can start (asking for a target first); with no pending region it says
    // why in the error message.
    bool readyToExport();
    // "contract.pdf" → "contract-redacted.pdf": only the last extension goes.
    std::string proposedOutputName() const;
    // Writes, verifies and records the copy at `output`, unless that is the source. Without
    // `verify` the copy is written only, and neither checked nor recorded.
    void exportSecureCopy(const std::filesystem::path& output, bool verify = true);

    // Scene setters for tests and screenshots: fields only the session's own operations write.
    void setSearchResults(SearchResultList results);
    void setStatusText(std::string text);
    void setProgress(std::optional<double> progress);
    void setIsBusy(bool busy);
    void setOutputPath(std::optional<std::filesystem::path> path);
    // Also drops the inspection in flight, whose end would overwrite the scene.
    void setInspection(DocumentInspection inspection);
    // Installs a fresh handle as the one task in flight.
    std::shared_ptr<BackgroundTask> beginTask();

private:
    using SearchWork = std::function<SearchOutcome(const StateHop& hop, const std::shared_ptr<BackgroundTask>& task)>;
    // Runs `work` as the one task; its ending shows the outcome with `status`.
    void runSearch(bool showsProgress, std::string cancelledStatus, SearchWork work,
                   std::function<std::string(const SearchOutcome&)> status);
    // A report of page `page` of `pageCount` from `task`, shown as `prefix` "N of M".
    PageProgress pageReports(const StateHop& hop, const std::shared_ptr<BackgroundTask>& task, std::string prefix);
    // Only the latest task may change the state: one that a newer operation replaced, or whose
    // document was closed, ends without a word.
    bool isLatest(const std::shared_ptr<BackgroundTask>& task) const { return task && task == latest_; }
    void forgetDocumentWork();
    // Appends the covered-text findings with a place on a page of the document, skipping those
    // a region already covers; one change, selecting the last one's page.
    void addCoveredText(const std::vector<InspectionFinding>& findings);
    void rememberTerm(const std::string& term);
    void rememberPattern(PatternPreset preset);

    void setDocument(SharedPdfDocument document);
    void setSourcePath(std::optional<std::filesystem::path> path);
    void assignInspection(DocumentInspection inspection);
    void announce(SessionField field) { host_.changed(field); }

    EngineCalls engine_;
    SessionHost& host_;

    SharedPdfDocument document_;
    std::optional<std::filesystem::path> sourcePath_;
    RegionList redactions_;
    SearchResultList searchResults_;
    std::int64_t selectedPageIndex_ = 0;
    std::string searchText_;
    std::string statusText_ = "Ready";
    std::optional<double> progress_;
    std::optional<std::string> errorMessage_;
    std::optional<std::filesystem::path> outputPath_;
    std::optional<ExportVerification> verification_;
    bool isBusy_ = false;
    bool labelRedactions_ = false;
    bool evenWidthBoxes_ = false;
    bool searchableCopy_ = false;
    std::optional<PageHighlight> highlight_;
    std::string recognitionLanguages_;

    std::vector<UnreadPage> unreadPages_;
    SearchEnd lastSearch_ = SearchEnd::none;
    std::vector<std::string> searchedTerms_;
    std::vector<PatternPreset> searchedPatterns_;
    RegionList lastExportRegions_;
    std::shared_ptr<BackgroundTask> task_;    // the task in flight; cleared by cancel()
    std::shared_ptr<BackgroundTask> latest_;  // the last task started for this document
    DocumentInspection inspection_;
    std::shared_ptr<BackgroundTask> inspecting_;  // this document's inspection; none once it changed
};

// What the person is told about pages a search could not read: "Page N could not be searched."
// and why, for each, a few at most.
std::string unreadPagesMessage(const std::vector<UnreadPage>& pages);

}  // namespace norvane
