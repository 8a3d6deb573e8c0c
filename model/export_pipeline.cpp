#include "model/export_pipeline.h"

#include "engine/even_width.h"
#include "engine/output_guard.h"

namespace norvane {

std::optional<std::string> exportTargetRefusal(const std::filesystem::path& source,
                                               const std::filesystem::path& output) {
    if (!wouldOverwriteSource(source, output)) {
        return std::nullopt;
    }
    return std::string(kOverwriteRefusal);
}

std::optional<ExportOutcome> runSecureExport(const ExportRequest& request, const EngineCalls& engine,
                                             const ExportListener& listener, std::stop_token stop) {
    const auto tell = [&](const std::function<void()>& apply) { listener.onState(apply); };
    const auto pages = [&](const std::string& prefix) {
        return PageProgress([&, prefix](std::int64_t page, std::int64_t pageCount) {
            tell([&] { listener.pageDone(prefix, page, pageCount); });
        });
    };
    const auto step = [&](ExportStep which, const std::function<void()>& work) {
        try {
            work();
        } catch (...) {
            throw ExportStepFailure{which, std::current_exception()};
        }
    };

    tell([&] { listener.stepStarted("Creating secure redacted PDF\u2026"); });
    // A searchable copy is read with the languages verification reads it with, so that
    // verification can take the export's reading of the pixels instead of reading them again.
    const ExportOptions options{request.labelRedactions, request.searchable, request.verification.recognition,
                                request.verification.terms};
    VerificationRequest verification = request.verification;
    step(ExportStep::writing, [&] {
        verification.recognisedCopy = engine.exportSecurePDF(request.document,
                                                             request.evenWidth && request.document
                                                                 ? evenWidthRegions(*request.document, request.regions)
                                                                 : request.regions,
                                                             request.output, options, pages("Exporting page "), stop);
    });

    ExportOutcome outcome;
    if (!request.verify) {
        return outcome;
    }
    bool goOn = false;
    tell([&] {
        goOn = !listener.goOn || listener.goOn();
        if (goOn) {
            listener.stepStarted("Verifying redacted output\u2026");
        }
    });
    if (!goOn) {
        return std::nullopt;
    }
    step(ExportStep::verifying, [&] {
        outcome.verification = engine.verifyOutput(request.output, verification, pages("Verifying page "), stop);
    });

    if (listener.record) {
        std::error_code ignored;
        const ExportRecord record{request.source.filename().string(),
                                  std::filesystem::absolute(request.output, ignored).lexically_normal(),
                                  request.document ? request.document->pageCount() : 0,
                                  static_cast<std::int64_t>(request.regions.size()), outcome.verification->passed()};
        tell([&] { listener.record(record); });
    }
    return outcome;
}

std::string verificationStatus(const ExportVerification& verification) {
    return verification.passed() ? "Verification Passed" : "Needs Review";
}

}  // namespace norvane
