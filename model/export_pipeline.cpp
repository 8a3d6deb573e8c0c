#include "model/export_pipeline.h"

#include "engine/even_width.h"
#include "engine/output_guard.h"

#include <QFile>

namespace norvane {

std::optional<QString> exportTargetRefusal(const std::filesystem::path& source, const std::filesystem::path& output) {
    if (!wouldOverwriteSource(source, output)) {
        return std::nullopt;
    }
    return QString::fromUtf8(kOverwriteRefusal.data(), static_cast<qsizetype>(kOverwriteRefusal.size()));
}

std::optional<ExportOutcome> runSecureExport(const ExportRequest& request, const Services& services,
                                             const ExportListener& listener, std::stop_token stop) {
    const auto tell = [&](const std::function<void()>& apply) { listener.onState(apply); };
    const auto pages = [&](const QString& prefix) {
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

    tell([&] { listener.stepStarted(QStringLiteral("Creating secure redacted PDF\u2026")); });
    step(ExportStep::writing, [&] {
        services.engine.exportSecurePDF(
            request.document,
            request.evenWidth && request.document ? evenWidthRegions(*request.document, request.regions)
                                                  : request.regions,
            request.output, request.labelRedactions, pages(QStringLiteral("Exporting page ")), stop);
    });

    ExportOutcome outcome;
    if (!request.verify) {
        return outcome;
    }
    bool goOn = false;
    tell([&] {
        goOn = !listener.goOn || listener.goOn();
        if (goOn) {
            listener.stepStarted(QStringLiteral("Verifying redacted output\u2026"));
        }
    });
    if (!goOn) {
        return std::nullopt;
    }
    step(ExportStep::verifying, [&] {
        outcome.verification = services.engine.verifyOutput(request.output, request.verification,
                                                            pages(QStringLiteral("Verifying page ")), stop);
    });

    if (request.recordHistory && services.history) {
        std::error_code ignored;
        const auto output = std::filesystem::absolute(request.output, ignored).lexically_normal();
        tell([&] {
            services.history->add(QFile::decodeName(request.source.filename().string().c_str()),
                                  QFile::decodeName(output.string().c_str()), request.document->pageCount(),
                                  static_cast<qint64>(request.regions.size()), outcome.verification->passed());
        });
    }
    return outcome;
}

QString verificationStatus(const ExportVerification& verification) {
    return verification.passed() ? QStringLiteral("Verification Passed") : QStringLiteral("Needs Review");
}

}  // namespace norvane
