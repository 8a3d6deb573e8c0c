#pragma once
// A secure export from start to end, the same for the app and the command line: refuse a
// target that is the source, write the copy, check it for the terms, record it in the history.

#include "model/services.h"
#include "records/redaction_records.h"

#include <QString>

#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace norvane {

struct ExportRequest {
    SharedPdfDocument document;
    std::vector<RedactionRegion> regions;
    std::filesystem::path source;
    std::filesystem::path output;
    VerificationRequest verification;  // what the copy is checked for
    bool labelRedactions = false;
    bool evenWidth = false;  // hit boxes widened so they do not give away the length of what they hide
    bool verify = true;
    bool recordHistory = true;  // only exports whose check completed are recorded
};

// Runs `apply` where the caller's state lives and returns once it has run; false when that
// is no longer possible (the app quitting).
using StateHop = std::function<bool(const std::function<void()>& apply)>;

// How the caller follows the export. Every call arrives through `onState`.
struct ExportListener {
    StateHop onState = [](const std::function<void()>& apply) {
        apply();
        return true;
    };
    std::function<void(const QString& status)> stepStarted;
    std::function<void(const QString& prefix, std::int64_t page, std::int64_t pageCount)> pageDone;
    // Asked between writing and checking; false ends the export quietly (the copy stays).
    std::function<bool()> goOn;
};

enum class ExportStep { writing, verifying };

// Thrown by runSecureExport: the step that failed and its own error (a CancellationError
// when stopped).
struct ExportStepFailure {
    ExportStep step;
    std::exception_ptr cause;
};

// The message when `output` would replace `source`; nothing when the target is allowed.
std::optional<QString> exportTargetRefusal(const std::filesystem::path& source, const std::filesystem::path& output);

// The result when the export ran to its end: the check (nothing with `verify` off). Nothing
// when `goOn` ended it between the steps.
struct ExportOutcome {
    std::optional<ExportVerification> verification;
};
std::optional<ExportOutcome> runSecureExport(const ExportRequest& request, const Services& services,
                                             const ExportListener& listener, std::stop_token stop = {});

// The status a finished export leaves behind.
QString verificationStatus(const ExportVerification& verification);

}  // namespace norvane
