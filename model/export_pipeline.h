#pragma once
// A secure export from start to end, the same for the app and the command line: refuse a
// target that is the source, write the copy, check it, record it. Plain C++.

#include "model/engine_calls.h"
#include "records/redaction_records.h"

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
    bool searchable = false;  // an invisible text layer read from the copy's own pixels
};

// Runs `apply` where the caller's state lives and returns once it has run; false when that
// is no longer possible (the app quitting).
using StateHop = std::function<bool(const std::function<void()>& apply)>;

// What a finished, verified export leaves in the history.
struct ExportRecord {
    std::string sourceName;        // the source's file name
    std::filesystem::path output;  // absolute
    std::int64_t pageCount = 0;
    std::int64_t redactionCount = 0;
    bool verificationPassed = false;
};

// How the caller follows the export. Every call arrives through `onState`.
struct ExportListener {
    StateHop onState = [](const std::function<void()>& apply) {
        apply();
        return true;
    };
    std::function<void(const std::string& status)> stepStarted;
    std::function<void(const std::string& prefix, std::int64_t page, std::int64_t pageCount)> pageDone;
    // Asked between writing and checking; false ends the export quietly (the copy stays).
    std::function<bool()> goOn;
    // A verified export; nothing is recorded without it.
    std::function<void(const ExportRecord&)> record;
};

enum class ExportStep { writing, verifying };

// Thrown by runSecureExport: the step that failed and its own error (a CancellationError
// when stopped).
struct ExportStepFailure {
    ExportStep step;
    std::exception_ptr cause;
};

// The message when `output` would replace `source`; nothing when the target is allowed.
std::optional<std::string> exportTargetRefusal(const std::filesystem::path& source,
                                               const std::filesystem::path& output);

// The result when the export ran to its end: the check (nothing with `verify` off). Nothing
// when `goOn` ended it between the steps.
struct ExportOutcome {
    std::optional<ExportVerification> verification;
};
std::optional<ExportOutcome> runSecureExport(const ExportRequest& request, const EngineCalls& engine,
                                             const ExportListener& listener, std::stop_token stop = {});

// The status a finished export leaves behind.
std::string verificationStatus(const ExportVerification& verification);

}  // namespace norvane
