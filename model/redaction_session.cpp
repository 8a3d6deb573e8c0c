#include "model/redaction_session.h"

#include "engine/even_width.h"
#include "engine/search_keys.h"
#include "model/verification_terms.h"

#include <algorithm>
#include <exception>
#include <new>
#include <unordered_map>

namespace norvane {
namespace {

// What the person is told about a failure that ended a task: the engine's own fixed message,
// the recogniser's words, or `fallback` for anything without words of its own.
std::string describeFailure(const std::exception_ptr& failure, const std::string& fallback) {
    try {
        std::rethrow_exception(failure);
    } catch (const RedactionError& error) {
        if (const auto why = error.pageFailure()) {
            return error.errorDescription() + " " + describe(*why);
        }
        return error.errorDescription();
    } catch (const std::bad_alloc&) {
        return fallback;
    } catch (const std::exception& error) {
        return error.what();  // the recogniser's or the system's own words
    } catch (...) {
        return fallback;
    }
}

template <typename Error>
bool isA(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const Error&) {
        return true;
    } catch (...) {
        return false;
    }
}

bool isCancellation(const std::exception_ptr& failure) {
    return isA<CancellationError>(failure);
}

double fractionDone(std::int64_t page, std::int64_t pageCount) {
    return pageCount >= 1 ? static_cast<double>(page) / static_cast<double>(pageCount) : 0.0;
}

std::string pageOfCount(const std::string& prefix, std::int64_t page, std::int64_t pageCount) {
    return prefix + std::to_string(page) + " of " + std::to_string(pageCount);
}

const std::string kSearchFailed = "The search could not be completed.";
const std::string kInspectionFailed = "This PDF could not be inspected.";

// Appends the recogniser's hits to the text layer's, less those that read again what a text hit
// already holds: the same text (by recognition key) at the same place. Each text hit stands for
// one reading only, so a second occurrence the text layer missed beside it is kept.
void appendNewOcrHits(SearchResultList& hits, SearchResultList ocrHits) {
    struct TextHit {
        std::size_t index;
        std::string key;
        bool matched = false;
    };
    std::unordered_map<std::int64_t, std::vector<TextHit>> byPage;
    for (std::size_t i = 0; i < hits.size(); ++i) {
        byPage[hits[i].pageIndex].push_back({i, recognitionKey(hits[i].text)});
    }
    for (RedactionSearchResult& ocr : ocrHits) {
        const std::string key = recognitionKey(ocr.text);
        bool repeated = false;
        for (TextHit& text : byPage[ocr.pageIndex]) {
            if (!text.matched && text.key == key && isSamePlace(hits[text.index].rect, ocr.rect)) {
                text.matched = repeated = true;
                break;
            }
        }
        if (!repeated) {
            hits.push_back(std::move(ocr));
        }
    }
}

}  // namespace

std::string unreadPagesMessage(const std::vector<UnreadPage>& pages) {
    constexpr std::size_t kNamed = 5;
    std::string message;
    for (std::size_t i = 0; i < std::min(pages.size(), kNamed); ++i) {
        message += (message.empty() ? "" : "\n") + std::string("Page ") + std::to_string(pages[i].pageIndex + 1) +
                   " could not be searched. " + describe(pages[i].failure);
    }
    if (pages.size() > kNamed) {
        message += "\n" + std::to_string(pages.size() - kNamed) + " more pages could not be searched.";
    }
    return message;
}

RedactionSession::RedactionSession(EngineCalls engine, SessionHost& host) : engine_(std::move(engine)), host_(host) {}

// ---- fields ----

void RedactionSession::setDocument(SharedPdfDocument document) {
    setHighlight(std::nullopt);
    document_ = std::move(document);
    announce(SessionField::document);
}
void RedactionSession::setSourcePath(std::optional<std::filesystem::path> path) {
    sourcePath_ = std::move(path);
    announce(SessionField::sourcePath);
}
void RedactionSession::setRedactions(RegionList redactions) {
    redactions_ = std::move(redactions);
    announce(SessionField::redactions);
}
void RedactionSession::setSearchResults(SearchResultList results) {
    if (highlight_ && highlight_->origin == PageHighlight::Origin::searchResult) {
        setHighlight(std::nullopt);
    }
    searchResults_ = std::move(results);
    announce(SessionField::searchResults);
}
void RedactionSession::setSelectedPageIndex(std::int64_t index) {
    selectedPageIndex_ = index;
    announce(SessionField::selectedPageIndex);
}
void RedactionSession::setSearchText(std::string text) {
    searchText_ = std::move(text);
    announce(SessionField::searchText);
}
void RedactionSession::setStatusText(std::string text) {
    statusText_ = std::move(text);
    announce(SessionField::statusText);
}
void RedactionSession::setProgress(std::optional<double> progress) {
    progress_ = progress;
    announce(SessionField::progress);
}
void RedactionSession::setErrorMessage(std::optional<std::string> message) {
    errorMessage_ = std::move(message);
    announce(SessionField::errorMessage);
}
void RedactionSession::setOutputPath(std::optional<std::filesystem::path> path) {
    outputPath_ = std::move(path);
    announce(SessionField::outputPath);
}
void RedactionSession::setVerification(std::optional<ExportVerification> verification) {
    if (highlight_ && highlight_->origin == PageHighlight::Origin::finding) {
        setHighlight(std::nullopt);
    }
    verification_ = std::move(verification);
    announce(SessionField::verification);
}
void RedactionSession::setIsBusy(bool busy) {
    isBusy_ = busy;
    announce(SessionField::isBusy);
}
void RedactionSession::setLabelRedactions(bool label) {
    labelRedactions_ = label;
    announce(SessionField::labelRedactions);
}
void RedactionSession::setEvenWidthBoxes(bool even) {
    evenWidthBoxes_ = even;
    announce(SessionField::evenWidthBoxes);
}
void RedactionSession::setSearchableCopy(bool searchable) {
    searchableCopy_ = searchable;
    announce(SessionField::searchableCopy);
}
void RedactionSession::setHighlight(const std::optional<PageHighlight>& highlight) {
    // Only real changes: the canvas scrolls on each.
    if (highlight_ != highlight) {
        highlight_ = highlight;
        announce(SessionField::highlight);
    }
}
void RedactionSession::setRecognitionLanguages(std::string languages) {
    recognitionLanguages_ = std::move(languages);
    announce(SessionField::recognitionLanguages);
}
void RedactionSession::setInspection(DocumentInspection inspection) {
    // A scene set by hand: the inspection in flight would overwrite it.
    if (inspecting_) {
        inspecting_->requestCancel();
        inspecting_.reset();
    }
    assignInspection(std::move(inspection));
}
void RedactionSession::assignInspection(DocumentInspection inspection) {
    if (highlight_ && highlight_->origin == PageHighlight::Origin::inspection) {
        setHighlight(std::nullopt);
    }
    inspection_ = std::move(inspection);
    announce(SessionField::inspection);
}

// ---- derived ----

VerificationRequest RedactionSession::verificationRequest(const RegionList& regions) const {
    return VerificationRequest{verificationTerms(regions, searchedTerms_), searchedPatterns_,
                               RecognitionOptions{recognitionLanguages_}};
}

bool RedactionSession::hasUnexportedRedactions() const {
    return std::any_of(redactions_.begin(), redactions_.end(), [this](const RedactionRegion& region) {
        return std::none_of(lastExportRegions_.begin(), lastExportRegions_.end(),
                            [&region](const RedactionRegion& exported) { return exported.id == region.id; });
    });
}

RegionList RedactionSession::exportedRedactions() const {
    return evenWidthBoxes_ && document_ ? evenWidthRegions(*document_, redactions_) : redactions_;
}

SearchResultList RedactionSession::remainingFindings() const {
    SearchResultList found;
    if (!document_ || !verification_) {
        return found;
    }
    for (const VerificationFinding& finding : verification_->findings()) {
        if (!finding.pageIndex || !finding.rect || *finding.pageIndex < 0 ||
            *finding.pageIndex >= document_->pageCount()) {
            continue;  // nowhere to point: the verdict lists the term itself
        }
        const PageRect media = document_->page(*finding.pageIndex).mediaBox.standardized();
        PageRect rect = finding.rect->standardized();
        rect.x += media.x;
        rect.y += media.y;
        found.push_back({Uuid::random(), *finding.pageIndex, rect, finding.term, finding.source});
    }
    return found;
}

// ---- document and regions ----

void RedactionSession::forgetDocumentWork() {
    latest_.reset();
    setInspection({});
    unreadPages_.clear();
    lastSearch_ = SearchEnd::none;
    searchedTerms_.clear();
    searchedPatterns_.clear();
    lastExportRegions_.clear();
}

void RedactionSession::open(const std::filesystem::path& path) {
    cancel();
    latest_.reset();  // whatever it was doing belongs to the document it was doing it for
    setErrorMessage(std::nullopt);
    setOutputPath(std::nullopt);
    setVerification(std::nullopt);

    SharedPdfDocument opened;
    try {
        opened = engine_.openDocument(path);
    } catch (const RedactionError& error) {
        setErrorMessage(error.errorDescription());
        return;
    } catch (...) {
        setErrorMessage(RedactionError::cannotOpenPDF().errorDescription());
        return;
    }
    forgetDocumentWork();
    const auto pageCount = opened->pageCount();
    setDocument(std::move(opened));
    setSourcePath(path);
    setRedactions({});
    setSearchResults({});
    setSelectedPageIndex(0);
    setStatusText(std::to_string(pageCount) + " pages loaded");
}

void RedactionSession::clearDocument() {
    cancel();
    forgetDocumentWork();
    setDocument(nullptr);
    setSourcePath(std::nullopt);
    setRedactions({});
    setSearchResults({});
    setSelectedPageIndex(0);
    setOutputPath(std::nullopt);
    setVerification(std::nullopt);
    setErrorMessage(std::nullopt);
    setStatusText("Ready");
}

void RedactionSession::cancel() {
    if (task_) {
        task_->requestCancel();
    }
    task_.reset();
    setIsBusy(false);
    setProgress(std::nullopt);
}

std::shared_ptr<BackgroundTask> RedactionSession::beginTask() {
    task_ = std::make_shared<BackgroundTask>();
    latest_ = task_;
    return task_;
}

void RedactionSession::addManual(std::int64_t pageIndex, const PageRect& rect) {
    const PageRect area = rect.standardized();
    if (area.width < 2.0 || area.height < 2.0) {
        return;
    }
    auto regions = redactions_;
    regions.push_back(RedactionRegion{Uuid::random(), pageIndex, area, RedactionSource::manual, std::nullopt});
    setRedactions(std::move(regions));
    setSelectedPageIndex(pageIndex);
    setVerification(std::nullopt);
}

void RedactionSession::remove(const RedactionRegion& region) {
    auto regions = redactions_;
    std::erase_if(regions, [&](const RedactionRegion& r) { return r.id == region.id; });
    setRedactions(std::move(regions));
    setVerification(std::nullopt);
}

void RedactionSession::undoLast() {
    if (redactions_.empty()) {
        return;
    }
    auto regions = redactions_;
    regions.pop_back();
    setRedactions(std::move(regions));
    setVerification(std::nullopt);
}

void RedactionSession::addSearchResult(const RedactionSearchResult& result) {
    auto regions = redactions_;
    if (appendSearchResult(regions, result)) {
        setRedactions(std::move(regions));
    }
    setSelectedPageIndex(result.pageIndex);
    setVerification(std::nullopt);
}

void RedactionSession::addAllSearchResults() {
    // One change for the batch, ending as adding the hits one by one would: the last hit's
    // page selected and the verdict gone, even when every hit was a duplicate.
    if (!searchResults_.empty()) {
        const std::int64_t lastPage = searchResults_.back().pageIndex;
        auto regions = redactions_;
        if (appendSearchResults(regions, searchResults_) > 0) {
            setRedactions(std::move(regions));
        }
        setSelectedPageIndex(lastPage);
        setVerification(std::nullopt);
    }
    setStatusText(std::to_string(redactions_.size()) + " pending redactions");
}

void RedactionSession::redactRemaining() {
    const SearchResultList found = remainingFindings();
    if (found.empty()) {
        return;
    }
    auto regions = redactions_;
    appendSearchResults(regions, found);
    setRedactions(std::move(regions));
    setSelectedPageIndex(found.front().pageIndex);
    setVerification(std::nullopt);  // it spoke of the regions before these
    setStatusText(std::to_string(redactions_.size()) + " pending redactions");
}

// ---- inspection ----

void RedactionSession::startInspection() {
    if (!document_ || inspection_.state != DocumentInspection::State::notStarted) {
        return;
    }
    // A task of its own, not the current one: searches and exports neither wait for it nor end it.
    auto task = std::make_shared<BackgroundTask>();
    inspecting_ = task;
    assignInspection({DocumentInspection::State::running, {}, {}});
    InspectionOptions options;
    options.recognition = RecognitionOptions{recognitionLanguages_};
    options.background = true;  // the first page on screen comes first
    host_.run(task, [this, task, document = document_, options](const StateHop& hop) {
        std::vector<InspectionFinding> findings;
        std::exception_ptr failure;
        try {
            findings = engine_.inspect(
                document, options, [](std::int64_t, std::int64_t) {}, task->stopToken());
        } catch (...) {
            failure = std::current_exception();
        }
        hop([&] {
            if (task != inspecting_) {
                return;  // an earlier document's, or this one was closed
            }
            inspecting_.reset();
            if (!failure) {
                assignInspection({DocumentInspection::State::done, std::move(findings), {}});
            } else if (isCancellation(failure)) {
                assignInspection({});
            } else {
                assignInspection({DocumentInspection::State::failed, {}, describeFailure(failure, kInspectionFailed)});
            }
        });
    });
}

void RedactionSession::addCoveredText(const std::vector<InspectionFinding>& findings) {
    auto regions = redactions_;
    std::optional<std::int64_t> lastPage;
    bool added = false;
    for (const InspectionFinding& finding : findings) {
        if (!isCoveredText(finding.kind) || !finding.rect || !document_ || finding.pageIndex < 0 ||
            finding.pageIndex >= document_->pageCount()) {
            continue;
        }
        const PageRect rect = finding.rect->standardized();
        lastPage = finding.pageIndex;
        const bool covered = std::any_of(regions.begin(), regions.end(), [&](const RedactionRegion& region) {
            return region.pageIndex == finding.pageIndex && isSamePlace(region.rect, rect);
        });
        if (!covered) {
            regions.push_back(
                RedactionRegion{Uuid::random(), finding.pageIndex, rect, RedactionSource::manual, std::nullopt});
            added = true;
        }
    }
    if (!lastPage) {
        return;
    }
    if (added) {
        setRedactions(std::move(regions));
    }
    setSelectedPageIndex(*lastPage);
    setVerification(std::nullopt);
}

void RedactionSession::redactInspectionFinding(const InspectionFinding& finding) {
    addCoveredText({finding});
}

void RedactionSession::redactAllCoveredText() {
    addCoveredText(inspection_.findings);
}

// ---- searches ----

void RedactionSession::rememberTerm(const std::string& term) {
    if (!trimmed(term).empty() &&
        std::find(searchedTerms_.begin(), searchedTerms_.end(), term) == searchedTerms_.end()) {
        searchedTerms_.push_back(term);
    }
}

void RedactionSession::rememberPattern(PatternPreset preset) {
    if (std::find(searchedPatterns_.begin(), searchedPatterns_.end(), preset) == searchedPatterns_.end()) {
        searchedPatterns_.push_back(preset);
    }
}

PageProgress RedactionSession::pageReports(const StateHop& hop, const std::shared_ptr<BackgroundTask>& task,
                                           std::string prefix) {
    return [this, &hop, task, prefix = std::move(prefix)](std::int64_t page, std::int64_t pageCount) {
        hop([&] {
            if (isLatest(task) && !task->isCancelled()) {
                setProgress(fractionDone(page, pageCount));
                setStatusText(pageOfCount(prefix, page, pageCount));
                host_.progressed(statusText_, page, pageCount);
            }
        });
    };
}

void RedactionSession::runSearch(bool showsProgress, std::string cancelledStatus, SearchWork work,
                                 std::function<std::string(const SearchOutcome&)> status) {
    cancel();
    setIsBusy(true);
    setErrorMessage(std::nullopt);
    if (showsProgress) {
        setSearchResults({});
        setProgress(0.0);
    }
    unreadPages_.clear();
    lastSearch_ = SearchEnd::running;
    auto task = beginTask();
    host_.run(task, [this, task, work = std::move(work), status = std::move(status),
                     cancelledStatus = std::move(cancelledStatus)](const StateHop& hop) {
        SearchOutcome outcome;
        std::exception_ptr failure;
        try {
            outcome = work(hop, task);
        } catch (...) {
            failure = std::current_exception();
        }
        hop([&] {
            if (!isLatest(task)) {
                return;
            }
            if (failure) {
                if (isCancellation(failure)) {
                    lastSearch_ = SearchEnd::cancelled;
                    setStatusText(cancelledStatus);
                } else {
                    lastSearch_ = isA<UnreadableTermError>(failure) ? SearchEnd::unreadableTerm : SearchEnd::failed;
                    setErrorMessage(describeFailure(failure, kSearchFailed));
                }
            } else {
                if (task->isCancelled()) {
                    lastSearch_ = SearchEnd::cancelled;
                    return;  // cancel() already cleared busy and progress; the results are dropped
                }
                lastSearch_ = SearchEnd::read;
                unreadPages_ = std::move(outcome.unreadPages);
                const std::string shown = status(outcome);
                setSearchResults(std::move(outcome.results));
                setStatusText(shown);
                if (!unreadPages_.empty()) {
                    setErrorMessage(unreadPagesMessage(unreadPages_));
                }
            }
            setProgress(std::nullopt);
            setIsBusy(false);
        });
    });
}

void RedactionSession::findNativeText() {
    if (!document_) {
        return;
    }
    const std::string query = searchText_;
    rememberTerm(query);
    runSearch(
        false, "Search cancelled",
        [this, document = document_, query](const StateHop&, const std::shared_ptr<BackgroundTask>& task) {
        return engine_.nativeTextMatches(document, query, task->stopToken());
        },
        [](const SearchOutcome& found) { return std::to_string(found.results.size()) + " text matches"; });
}

void RedactionSession::findWithOCR() {
    if (!document_) {
        return;
    }
    const std::string query = searchText_;
    rememberTerm(query);
    const RecognitionOptions recognition{recognitionLanguages_};
    runSearch(
        true, "OCR cancelled",
        [this, document = document_, query, recognition](const StateHop& hop,
                                                         const std::shared_ptr<BackgroundTask>& task) {
        return engine_.ocrMatches(document, query, recognition, pageReports(hop, task, "OCR "), task->stopToken());
        },
        [](const SearchOutcome& found) { return std::to_string(found.results.size()) + " OCR matches"; });
}

void RedactionSession::findPattern(PatternPreset preset, bool includeOcr) {
    if (!document_) {
        return;
    }
    rememberPattern(preset);
    const RecognitionOptions recognition{recognitionLanguages_};
    // The text layer's hits are shown as soon as they are known; the recogniser's join them.
    auto textCount = std::make_shared<std::size_t>(0);
    runSearch(
        includeOcr, includeOcr ? "OCR cancelled" : "Search cancelled",
        [this, document = document_, preset, includeOcr, recognition, textCount](
            const StateHop& hop, const std::shared_ptr<BackgroundTask>& task) {
        SearchOutcome found = engine_.nativePatternMatches(document, preset, task->stopToken());
        *textCount = found.results.size();
        if (!includeOcr) {
            return found;
        }
        hop([&] {
            if (isLatest(task) && !task->isCancelled()) {
                setSearchResults(found.results);
                setStatusText(std::to_string(found.results.size()) + " text matches");
            }
        });
        SearchOutcome read =
            engine_.ocrPatternMatches(document, preset, recognition, pageReports(hop, task, "OCR "), task->stopToken());
        appendNewOcrHits(found.results, std::move(read.results));
        for (const UnreadPage& page : read.unreadPages) {
            if (std::find(found.unreadPages.begin(), found.unreadPages.end(), page) == found.unreadPages.end()) {
                found.unreadPages.push_back(page);
            }
        }
        return found;
        },
        [includeOcr, textCount](const SearchOutcome& found) {
        const std::string text = std::to_string(*textCount) + " text matches";
        return includeOcr ? text + " \u00B7 " + std::to_string(found.results.size() - *textCount) + " OCR matches"
                          : text;
    });
}

// ---- export ----

bool RedactionSession::readyToExport() {
    if (!document_ || !sourcePath_) {
        return false;
    }
    if (redactions_.empty()) {
        setErrorMessage(RedactionError::noRedactions().errorDescription());
        return false;
    }
    return true;
}

std::string RedactionSession::proposedOutputName() const {
    const std::string name = sourcePath_ ? sourcePath_->filename().string() : std::string();
    const std::size_t dot = name.rfind('.');
    const std::string stem = dot != std::string::npos && dot > 0 ? name.substr(0, dot) : name;
    return stem + "-redacted.pdf";
}

void RedactionSession::exportSecureCopy(const std::filesystem::path& output, bool verify) {
    if (!readyToExport()) {
        return;
    }
    if (const auto refusal = exportTargetRefusal(*sourcePath_, output)) {
        setErrorMessage(refusal);
        return;
    }

    cancel();
    setIsBusy(true);
    setErrorMessage(std::nullopt);
    setVerification(std::nullopt);
    setProgress(0.0);

    ExportRequest request{
        document_,        redactions_,     *sourcePath_, output,         verificationRequest(redactions_),
        labelRedactions_, evenWidthBoxes_, verify,       searchableCopy_};
    auto task = beginTask();
    host_.run(task, [this, task, request = std::move(request)](const StateHop& hop) {
        ExportListener listener;
        listener.onState = hop;
        const auto shown = [this, &task] { return isLatest(task) && !task->isCancelled(); };
        listener.stepStarted = [this, shown](const std::string& status) {
            if (shown()) {
                setStatusText(status);
                host_.progressed(status, 0, 0);
            }
        };
        listener.pageDone = [this, shown](const std::string& prefix, std::int64_t page, std::int64_t pageCount) {
            if (shown()) {
                setProgress(fractionDone(page, pageCount));
                setStatusText(pageOfCount(prefix, page, pageCount));
                host_.progressed(statusText_, page, pageCount);
            }
        };
        // Cancelled between the steps: end silently; the written file stays, nothing is recorded.
        listener.goOn = [&task] { return !task->isCancelled(); };
        // A verification that returned is recorded, unless a newer operation has taken over.
        listener.record = [this, &task](const ExportRecord& record) {
            if (isLatest(task)) {
                host_.recordExport(record);
            }
        };

        std::optional<ExportOutcome> outcome;
        try {
            outcome = runSecureExport(request, engine_, listener, task->stopToken());
        } catch (const ExportStepFailure& failure) {
            hop([&] {
                if (!isLatest(task)) {
                    return;
                }
                if (isCancellation(failure.cause)) {
                    setStatusText("Export cancelled");
                } else {
                    setErrorMessage(describeFailure(
                        failure.cause, failure.step == ExportStep::writing
                                           ? RedactionError::exportFailed().errorDescription()
                                           : RedactionError::outputVerificationFailed().errorDescription()));
                    setStatusText("Export failed");
                }
                setProgress(std::nullopt);
                setIsBusy(false);
            });
            return;
        }
        if (!outcome) {
            return;
        }
        hop([&] {
            if (!isLatest(task)) {
                return;
            }
            lastExportRegions_ = request.regions;
            setOutputPath(request.output);
            setVerification(outcome->verification);
            setStatusText(outcome->verification ? verificationStatus(*outcome->verification) : "Export complete");
            setProgress(std::nullopt);
            setIsBusy(false);
        });
    });
}

}  // namespace norvane
