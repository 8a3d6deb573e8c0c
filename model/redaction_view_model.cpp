#include "model/redaction_view_model.h"

#include "engine/even_width.h"

#include <algorithm>

namespace norvane {

std::shared_ptr<RedactionViewModel> RedactionViewModel::create(SharedServices services) {
    return std::shared_ptr<RedactionViewModel>(new RedactionViewModel(std::move(services)));
}

RedactionViewModel::RedactionViewModel(SharedServices services) : services_(std::move(services)) {}

// Destruction cancels nothing: a running task owns a reference and so outlives this.
RedactionViewModel::~RedactionViewModel() = default;

#define NORVANE_ASSIGN(field, value, signal) \
    do {                                     \
        field = value;                       \
        emit signal();                       \
    } while (false)

void RedactionViewModel::setDocument(SharedPdfDocument document) {
    setHighlight(std::nullopt);
    NORVANE_ASSIGN(document_, std::move(document), documentChanged);
}
void RedactionViewModel::setSourceURL(const OptionalString& url) {
    NORVANE_ASSIGN(sourceURL_, url, sourceURLChanged);
}
void RedactionViewModel::setRedactions(RegionList redactions) {
    NORVANE_ASSIGN(redactions_, std::move(redactions), redactionsChanged);
}
void RedactionViewModel::setSearchResults(SearchResultList results) {
    if (highlight_ && highlight_->origin == PageHighlight::Origin::searchResult) {
        setHighlight(std::nullopt);
    }
    NORVANE_ASSIGN(searchResults_, std::move(results), searchResultsChanged);
}
void RedactionViewModel::setSelectedPageIndex(qint64 index) {
    NORVANE_ASSIGN(selectedPageIndex_, index, selectedPageIndexChanged);
}
void RedactionViewModel::setSearchText(const QString& text) {
    NORVANE_ASSIGN(searchText_, text, searchTextChanged);
}
void RedactionViewModel::setStatusText(const QString& text) {
    NORVANE_ASSIGN(statusText_, text, statusTextChanged);
}
void RedactionViewModel::setProgress(const OptionalDouble& progress) {
    NORVANE_ASSIGN(progress_, progress, progressChanged);
}
void RedactionViewModel::setErrorMessage(const OptionalString& message) {
    NORVANE_ASSIGN(errorMessage_, message, errorMessageChanged);
}
bool RedactionViewModel::hasUnexportedRedactions() const {
    return std::any_of(redactions_.begin(), redactions_.end(), [this](const RedactionRegion& region) {
        return std::none_of(lastExportRegions_.begin(), lastExportRegions_.end(),
                            [&region](const RedactionRegion& exported) { return exported.id == region.id; });
    });
}

void RedactionViewModel::setOutputURL(const OptionalString& url) {
    NORVANE_ASSIGN(outputURL_, url, outputURLChanged);
}
void RedactionViewModel::setVerification(const OptionalVerification& verification) {
    if (highlight_ && highlight_->origin == PageHighlight::Origin::finding) {
        setHighlight(std::nullopt);
    }
    NORVANE_ASSIGN(verification_, verification, verificationChanged);
}
void RedactionViewModel::setHighlight(const std::optional<PageHighlight>& highlight) {
    // Only real changes: the canvas scrolls on each.
    if (highlight_ != highlight) {
        highlight_ = highlight;
        emit highlightChanged();
    }
}
void RedactionViewModel::setIsBusy(bool busy) {
    NORVANE_ASSIGN(isBusy_, busy, isBusyChanged);
}
void RedactionViewModel::setLabelRedactions(bool label) {
    NORVANE_ASSIGN(labelRedactions_, label, labelRedactionsChanged);
}

void RedactionViewModel::setEvenWidthBoxes(bool even) {
    NORVANE_ASSIGN(evenWidthBoxes_, even, evenWidthBoxesChanged);
}

RegionList RedactionViewModel::exportedRedactions() const {
    return evenWidthBoxes_ && document_ ? evenWidthRegions(*document_, redactions_) : redactions_;
}

#undef NORVANE_ASSIGN

void RedactionViewModel::open(const QString& path) {
    cancel();
    setErrorMessage(std::nullopt);
    setOutputURL(std::nullopt);
    setVerification(std::nullopt);

    SharedPdfDocument opened;
    try {
        opened = PdfDocument::openForRedaction(path.toStdString());
    } catch (const RedactionError& error) {
        setErrorMessage(QString::fromStdString(error.errorDescription()));
        return;
    } catch (const std::exception&) {
        setErrorMessage(QString::fromStdString(RedactionError::cannotOpenPDF().errorDescription()));
        return;
    }

    const auto pageCount = opened->pageCount();
    setDocument(std::move(opened));
    setSourceURL(path);
    setRedactions({});
    setSearchResults({});
    setSelectedPageIndex(0);
    setStatusText(QString::number(pageCount) + QStringLiteral(" pages loaded"));
}

void RedactionViewModel::clearDocument() {
    cancel();
    setDocument(nullptr);
    setSourceURL(std::nullopt);
    setRedactions({});
    setSearchResults({});
    setSelectedPageIndex(0);
    setOutputURL(std::nullopt);
    setVerification(std::nullopt);
    setErrorMessage(std::nullopt);
    setStatusText(QStringLiteral("Ready"));
}

void RedactionViewModel::cancel() {
    if (task_) {
        task_->requestCancel();
    }
    task_.reset();
    setIsBusy(false);
    setProgress(std::nullopt);
}

std::shared_ptr<BackgroundTask> RedactionViewModel::beginTask() {
    task_ = std::make_shared<BackgroundTask>();
    return task_;
}

void RedactionViewModel::addManual(qint64 pageIndex, const PageRect& rect) {
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

void RedactionViewModel::remove(const RedactionRegion& region) {
    auto regions = redactions_;
    std::erase_if(regions, [&](const RedactionRegion& r) { return r.id == region.id; });
    setRedactions(std::move(regions));
    setVerification(std::nullopt);
}

void RedactionViewModel::undoLast() {
    if (redactions_.empty()) {
        return;
    }
    auto regions = redactions_;
    regions.pop_back();
    setRedactions(std::move(regions));
    setVerification(std::nullopt);
}

void RedactionViewModel::addSearchResult(const RedactionSearchResult& result) {
    auto regions = redactions_;
    if (appendSearchResult(regions, result)) {
        setRedactions(std::move(regions));
    }
    setSelectedPageIndex(result.pageIndex);
    setVerification(std::nullopt);
}

void RedactionViewModel::addAllSearchResults() {
    // One change for the batch, ending as adding the hits one by one would: the last hit's
    // page selected and the verdict gone, even when every hit was a duplicate.
    if (!searchResults_.empty()) {
        const qint64 lastPage = searchResults_.back().pageIndex;
        auto regions = redactions_;
        if (appendSearchResults(regions, searchResults_) > 0) {
            setRedactions(std::move(regions));
        }
        setSelectedPageIndex(lastPage);
        setVerification(std::nullopt);
    }
    setStatusText(QString::number(redactions_.size()) + QStringLiteral(" pending redactions"));
}

SearchResultList RedactionViewModel::remainingFindings() const {
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

void RedactionViewModel::redactRemaining() {
    const SearchResultList found = remainingFindings();
    if (found.empty()) {
        return;
    }
    auto regions = redactions_;
    appendSearchResults(regions, found);
    setRedactions(std::move(regions));
    setSelectedPageIndex(found.front().pageIndex);
    setVerification(std::nullopt);  // it spoke of the regions before these
    setStatusText(QString::number(redactions_.size()) + QStringLiteral(" pending redactions"));
}

}  // namespace norvane
