#include "model/redaction_view_model.h"

#include "model/task_runner.h"

#include <QFile>
#include <QFileInfo>

namespace norvane {
namespace {

std::filesystem::path nativePath(const QString& path) {
    return std::filesystem::path(QFile::encodeName(path).toStdString());
}

QString displayPath(const std::filesystem::path& path) {
    return QFile::decodeName(path.native().c_str());
}

OptionalString displayPath(const std::optional<std::filesystem::path>& path) {
    return path ? OptionalString(displayPath(*path)) : std::nullopt;
}

}  // namespace

std::shared_ptr<RedactionViewModel> RedactionViewModel::create(SharedServices services) {
    return std::shared_ptr<RedactionViewModel>(new RedactionViewModel(std::move(services)));
}

RedactionViewModel::RedactionViewModel(SharedServices services)
    : services_(std::move(services)), session_(services_->engine, *this) {}

// Destruction cancels nothing: a running task owns a reference and so outlives this.
RedactionViewModel::~RedactionViewModel() = default;

OptionalString RedactionViewModel::sourceURL() const {
    return displayPath(session_.sourcePath());
}

OptionalString RedactionViewModel::outputURL() const {
    return displayPath(session_.outputPath());
}

OptionalString RedactionViewModel::errorMessage() const {
    const auto& message = session_.errorMessage();
    return message ? OptionalString(QString::fromStdString(*message)) : std::nullopt;
}

void RedactionViewModel::setErrorMessage(const OptionalString& message) {
    session_.setErrorMessage(message ? std::optional(message->toStdString()) : std::nullopt);
}

void RedactionViewModel::setOutputURL(const OptionalString& url) {
    session_.setOutputPath(url ? std::optional(nativePath(*url)) : std::nullopt);
}

void RedactionViewModel::open(const QString& path) {
    const SharedPdfDocument before = session_.document();
    session_.open(nativePath(path));
    if (session_.document() && session_.document() != before && !inspectionWaits_) {
        session_.startInspection();
    }
}

void RedactionViewModel::firstPageShown() {
    session_.startInspection();  // does nothing once started, or without a document
}

void RedactionViewModel::changed(SessionField field) {
    switch (field) {
        case SessionField::document:
            emit documentChanged();
            break;
        case SessionField::sourcePath:
            emit sourceURLChanged();
            break;
        case SessionField::redactions:
            emit redactionsChanged();
            break;
        case SessionField::searchResults:
            emit searchResultsChanged();
            break;
        case SessionField::selectedPageIndex:
            emit selectedPageIndexChanged();
            break;
        case SessionField::searchText:
            emit searchTextChanged();
            break;
        case SessionField::statusText:
            emit statusTextChanged();
            break;
        case SessionField::progress:
            emit progressChanged();
            break;
        case SessionField::errorMessage:
            emit errorMessageChanged();
            break;
        case SessionField::outputPath:
            emit outputURLChanged();
            break;
        case SessionField::verification:
            emit verificationChanged();
            break;
        case SessionField::isBusy:
            emit isBusyChanged();
            break;
        case SessionField::labelRedactions:
            emit labelRedactionsChanged();
            break;
        case SessionField::evenWidthBoxes:
            emit evenWidthBoxesChanged();
            break;
        case SessionField::searchableCopy:
            emit searchableCopyChanged();
            break;
        case SessionField::highlight:
            emit highlightChanged();
            break;
        case SessionField::recognitionLanguages:
            emit recognitionLanguagesChanged();
            break;
        case SessionField::inspection:
            emit inspectionChanged();
            break;
    }
}

void RedactionViewModel::run(const std::shared_ptr<BackgroundTask>& task, std::function<void(const StateHop&)> work) {
    // The owner handed to the runner keeps this model, and so the session, alive until the
    // worker has ended.
    runBackgroundTask(shared_from_this(), task, [work = std::move(work)](const TaskHop& onMain) {
        work([&onMain](const std::function<void()>& apply) { return onMain(apply); });
    });
}

void RedactionViewModel::recordExport(const ExportRecord& record) {
    if (services_->history) {
        services_->history->add(QFile::decodeName(record.sourceName.c_str()), displayPath(record.output),
                                record.pageCount, record.redactionCount, record.verificationPassed);
    }
}

void RedactionViewModel::exportSecureCopy() {
    if (!session_.readyToExport() || !services_->desktop) {
        return;
    }
    const auto source = session_.sourcePath();
    const auto document = session_.document();
    const auto chosen = services_->desktop->chooseSaveLocation(QFile::decodeName(session_.proposedOutputName().c_str()),
                                                               QFileInfo(displayPath(*source)).absolutePath());
    // The dialog is modal but runs an event loop: re-check what it may have changed.
    if (!chosen || chosen->isEmpty() || session_.document() != document || session_.sourcePath() != source) {
        return;
    }
    session_.exportSecureCopy(nativePath(*chosen));
}

void RedactionViewModel::revealOutput() {
    if (const auto output = outputURL(); output && services_->desktop) {
        services_->desktop->revealInFileManager(*output);
    }
}

}  // namespace norvane
