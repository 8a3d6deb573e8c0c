// The document model's search and export commands.

#include "model/export_pipeline.h"
#include "model/redaction_view_model.h"
#include "model/task_runner.h"
#include "model/verification_terms.h"

#include <QFile>
#include <QFileInfo>

#include <exception>

namespace norvane {

namespace {

// What the user is shown for a failure that ended a task.
QString describeFailure(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const RedactionError& error) {
        return QString::fromStdString(error.errorDescription());
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    } catch (...) {
        return QStringLiteral("An unexpected error occurred.");
    }
}

bool isCancellation(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const CancellationError&) {
        return true;
    } catch (...) {
        return false;
    }
}

double fractionDone(std::int64_t page, std::int64_t pageCount) {
    return pageCount >= 1 ? static_cast<double>(page) / static_cast<double>(pageCount) : 0.0;
}

QString pageOfCount(const QString& prefix, std::int64_t page, std::int64_t pageCount) {
    return prefix + QString::number(page) + QStringLiteral(" of ") + QString::number(pageCount);
}

// "Report.final.pdf" → "Report.final-redacted.pdf": only the last extension goes.
QString proposedOutputName(const QString& sourcePath) {
    const QString name = QFileInfo(sourcePath).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const QString stem = dot > 0 ? name.left(dot) : name;
    return stem + QStringLiteral("-redacted.pdf");
}

std::filesystem::path nativePath(const QString& path) {
    return std::filesystem::path(QFile::encodeName(path).toStdString());
}

}  // namespace

void RedactionViewModel::findNativeText() {
    if (!document_) {
        return;
    }
    SearchResultList results;
    try {
        results = services_->engine.nativeTextMatches(document_, searchText_.toStdString(), {}).results;
    } catch (...) {
        // The text search has no failure of its own; running out of memory is still reported.
        setErrorMessage(describeFailure(std::current_exception()));
        return;
    }
    const auto count = results.size();
    setSearchResults(std::move(results));
    setStatusText(QString::number(count) + QStringLiteral(" text matches"));
}

void RedactionViewModel::findWithOCR() {
    if (!document_) {
        return;
    }
    runOcrSearch({}, QString(),
                 [calls = services_->engine, document = document_, query = searchText_.toStdString()](
                     const PageProgress& progress, std::stop_token stop) {
        return calls.ocrMatches(document, query, {}, progress, stop).results;
    });
}

void RedactionViewModel::findPattern(PatternPreset preset, bool includeOcr) {
    if (!document_) {
        return;
    }
    SearchResultList results;
    try {
        results = services_->engine.nativePatternMatches(document_, preset, {}).results;
    } catch (...) {
        setErrorMessage(describeFailure(std::current_exception()));
        return;
    }
    const QString textCount = QString::number(results.size()) + QStringLiteral(" text matches");
    if (!includeOcr) {
        setSearchResults(std::move(results));
        setStatusText(textCount);
        return;
    }
    runOcrSearch(
        std::move(results), textCount + QStringLiteral(" \u00B7 "),
        [calls = services_->engine, document = document_, preset](const PageProgress& progress, std::stop_token stop) {
        return calls.ocrPatternMatches(document, preset, {}, progress, stop).results;
        });
}

void RedactionViewModel::runOcrSearch(SearchResultList found, const QString& statusPrefix, OcrSearch search) {
    cancel();
    setIsBusy(true);
    setErrorMessage(std::nullopt);
    setSearchResults({});
    setProgress(0.0);

    auto task = beginTask();
    // The owner handed to the runner keeps this model alive until the worker has ended.
    runBackgroundTask(
        shared_from_this(), task,
        [self = this, task, search = std::move(search), found = std::move(found), statusPrefix](const TaskHop& onMain) {
        const PageProgress progress = [&](std::int64_t page, std::int64_t pageCount) {
            onMain([&] {
                self->setProgress(fractionDone(page, pageCount));
                self->setStatusText(pageOfCount(QStringLiteral("OCR "), page, pageCount));
            });
        };

        std::vector<RedactionSearchResult> results;
        std::exception_ptr failure;
        try {
            results = search(progress, onMain.stopToken());
        } catch (...) {
            failure = std::current_exception();
        }

        // These endings apply even when a newer operation has replaced this task.
        onMain([&] {
            if (failure) {
                if (isCancellation(failure)) {
                    self->setStatusText(QStringLiteral("OCR cancelled"));
                } else {
                    self->setErrorMessage(describeFailure(failure));
                }
            } else {
                if (task->isCancelled()) {
                    return;  // cancel() already cleared busy and progress; the results are dropped
                }
                const auto count = results.size();
                SearchResultList all = found;
                all.insert(all.end(), std::make_move_iterator(results.begin()), std::make_move_iterator(results.end()));
                self->setSearchResults(std::move(all));
                self->setStatusText(statusPrefix + QString::number(count) + QStringLiteral(" OCR matches"));
            }
            self->setProgress(std::nullopt);
            self->setIsBusy(false);
        });
        });
}

void RedactionViewModel::exportSecureCopy() {
    if (!document_ || !sourceURL_) {
        return;
    }
    if (redactions_.empty()) {
        setErrorMessage(QString::fromStdString(RedactionError::noRedactions().errorDescription()));
        return;
    }
    if (!services_->desktop) {
        return;
    }

    const QString sourcePath = *sourceURL_;
    const auto chosen =
        services_->desktop->chooseSaveLocation(proposedOutputName(sourcePath), QFileInfo(sourcePath).absolutePath());
    // The dialog is modal but runs an event loop: re-check what it may have changed.
    if (!chosen || chosen->isEmpty() || !document_ || sourceURL_ != sourcePath) {
        return;
    }
    const QString outputPath = *chosen;
    if (const auto refusal = exportTargetRefusal(nativePath(sourcePath), nativePath(outputPath))) {
        setErrorMessage(refusal);
        return;
    }

    cancel();
    setIsBusy(true);
    setErrorMessage(std::nullopt);
    setVerification(std::nullopt);
    setProgress(0.0);

    ExportRequest request{document_, redactions_, nativePath(sourcePath), nativePath(outputPath), {}, labelRedactions_};
    request.evenWidth = evenWidthBoxes_;
    request.verification.terms = verificationTerms(request.regions);
    auto task = beginTask();
    runBackgroundTask(
        shared_from_this(), task,
        [self = this, task, services = services_, request = std::move(request), outputPath](const TaskHop& onMain) {
        ExportListener listener;
        listener.onState = [&onMain](const std::function<void()>& apply) { return onMain(apply); };
        listener.stepStarted = [self](const QString& status) { self->setStatusText(status); };
        listener.pageDone = [self](const QString& prefix, std::int64_t page, std::int64_t pageCount) {
            self->setProgress(fractionDone(page, pageCount));
            self->setStatusText(pageOfCount(prefix, page, pageCount));
        };
        // Cancelled between the steps: end silently; the written file stays, nothing is recorded.
        listener.goOn = [&task] { return !task->isCancelled(); };

        std::optional<ExportOutcome> outcome;
        try {
            outcome = runSecureExport(request, *services, listener, onMain.stopToken());
        } catch (const ExportStepFailure& failure) {
            // Applies even when a newer operation has replaced this task.
            onMain([&] {
                if (isCancellation(failure.cause)) {
                    self->setStatusText(QStringLiteral("Export cancelled"));
                } else {
                    self->setErrorMessage(describeFailure(failure.cause));
                    self->setStatusText(QStringLiteral("Export failed"));
                }
                self->setProgress(std::nullopt);
                self->setIsBusy(false);
            });
            return;
        }
        if (!outcome) {
            return;
        }
        onMain([&] {
            self->lastExportRegions_ = request.regions;
            self->setOutputURL(outputPath);
            self->setVerification(outcome->verification);
            self->setStatusText(verificationStatus(*outcome->verification));
            self->setProgress(std::nullopt);
            self->setIsBusy(false);
        });
        });
}

void RedactionViewModel::revealOutput() {
    if (outputURL_ && services_->desktop) {
        services_->desktop->revealInFileManager(*outputURL_);
    }
}

}  // namespace norvane
