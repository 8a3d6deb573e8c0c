#include "cli/arguments.h"
#include "cli/cli_support.h"
#include "model/export_pipeline.h"
#include "model/verification_terms.h"

namespace norvane::cli {
namespace {

const CommandRules kExportRules{
    "usage: norvane-redact export IN.pdf -o OUT.pdf [--find TEXT]... [--ocr TEXT]...\n"
    "                             [--pattern NAME]... [--ocr-pattern NAME]... [--region PAGE:X,Y,W,H]...\n"
    "                             [--label] [--even-width] [--no-verify] [--record-history]\n",
    {{"--output", "-o", true, true},
     {"--find", "", true, false},
     {"--ocr", "", true, false},
     {"--pattern", "", true, false},
     {"--ocr-pattern", "", true, false},
     {"--region", "", true, false},
     {"--label", "", false, false},
     {"--even-width", "", false, false},
     {"--no-verify", "", false, false},
     {"--record-history", "", false, false}},
    1};

// Every --region, checked before anything is opened or searched. Nothing after printing why.
std::optional<std::vector<RegionArgument>> regionArguments(const ParsedArguments& parsed, std::ostream& err) {
    std::vector<RegionArgument> regions;
    for (const auto& text : parsed.values("--region")) {
        const auto region = parseRegion(text);
        if (!region) {
            printUsageError(err, kExportRules,
                            "--region needs PAGE:X,Y,W,H with a zero-based page and a rectangle at least 2 points wide "
                            "and high");
            return std::nullopt;
        }
        regions.push_back(*region);
    }
    return regions;
}

// Every redaction the command line asks for, in command-line order, so the duplicate rule
// sees them as the app would see the same actions. Throws what a search throws.
std::vector<RedactionRegion> collectRegions(const ParsedArguments& parsed, const std::vector<RegionArgument>& drawn,
                                            const SharedPdfDocument& document, const Console& console,
                                            const Services& services, std::vector<std::string>& askedTerms) {
    std::vector<RedactionRegion> regions;
    std::size_t drawnNumber = 0;
    std::size_t findNumber = 0;
    for (const auto& [option, value] : parsed.options) {
        if (option == "--region") {
            const RegionArgument& region = drawn[drawnNumber++];
            // Drawn regions are never duplicate-checked, as on the canvas.
            regions.push_back(
                RedactionRegion{Uuid::random(), region.pageIndex, region.rect, RedactionSource::manual, std::nullopt});
        } else if (option != "--output") {
            std::vector<RedactionSearchResult> results;
            const bool pattern = option.ends_with("pattern");
            if (option == "--find") {
                results = RedactionEngine::nativeTextMatches(document, value);
            } else if (option == "--ocr") {
                results = services.engine.ocrMatches(document, value, progressPrinter(console, "OCR "), {});
            } else if (option == "--pattern") {
                results = RedactionEngine::nativePatternMatches(document, *patternPresetNamed(value));
            } else if (option == "--ocr-pattern") {
                results = services.engine.ocrPatternMatches(document, *patternPresetNamed(value),
                                                            progressPrinter(console, "OCR "), {});
            } else {
                continue;  // a switch
            }
            findNumber += pattern ? 0 : 1;
            if (results.empty() && pattern) {
                console.err << "norvane-redact: " << option << ' ' << value << " found no matches\n";
            } else if (results.empty()) {
                // By position, not by text: search terms are never echoed.
                console.err << "norvane-redact: " << option << " term " << findNumber
                            << " found no matches; the copy is still checked for it\n";
            }
            appendSearchResults(regions, results);
            if (!pattern) {
                askedTerms.push_back(value);  // a pattern's matches are checked as the terms they found
            }
        }
    }
    return regions;
}

}  // namespace

int runExport(const std::vector<std::string>& args, const Console& console, const Services& services) {
    const auto parsed = parseArguments(kExportRules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    const auto outputs = parsed->values("--output");
    if (outputs.empty() || outputs[0].empty()) {
        printUsageError(console.err, kExportRules, {});
        return kExitUsage;
    }
    ExportRequest request;
    request.source = parsed->positionals[0];
    request.output = outputs[0];
    request.labelRedactions = parsed->has("--label");
    request.evenWidth = parsed->has("--even-width");
    request.verify = !parsed->has("--no-verify");
    request.recordHistory = parsed->has("--record-history");
    const auto drawn = regionArguments(*parsed, console.err);
    if (!drawn || !patternArguments(*parsed, "--pattern", kExportRules, console.err) ||
        !patternArguments(*parsed, "--ocr-pattern", kExportRules, console.err)) {
        return kExitUsage;
    }
    if (request.recordHistory && !request.verify) {
        printUsageError(console.err, kExportRules, "--record-history records verified exports; drop --no-verify");
        return kExitUsage;
    }
    if (const auto refusal = exportTargetRefusal(request.source, request.output)) {
        console.err << refusal->toStdString() << '\n';
        return kExitFailure;
    }
    request.document = openOrReport(request.source, console.err);
    if (!request.document) {
        return kExitFailure;
    }

    for (const auto& region : *drawn) {
        if (region.pageIndex >= request.document->pageCount()) {
            printUsageError(console.err, kExportRules,
                            "--region page " + std::to_string(region.pageIndex) + " does not exist (pages are 0 to " +
                                std::to_string(request.document->pageCount() - 1) + ")");
            return kExitUsage;
        }
    }

    // Every term asked for is verified, found or not: a spelling the search missed but the
    // page still shows must end in "Needs Review", not in a pass.
    std::vector<std::string> askedTerms;
    try {
        request.regions = collectRegions(*parsed, *drawn, request.document, console, services, askedTerms);
    } catch (const std::exception& error) {
        printError(console.err, error, RedactionError::exportFailed());
        return kExitFailure;
    }
    if (request.regions.empty()) {
        console.err << RedactionError::noRedactions().errorDescription() << '\n';
        return kExitFailure;
    }
    request.terms = verificationTerms(request.regions, askedTerms);

    std::optional<ExportOutcome> outcome;
    ExportListener listener;
    listener.stepStarted = [&](const QString& status) { console.err << status.toStdString() << '\n'; };
    PageProgress printer;
    QString printing;
    listener.pageDone = [&](const QString& prefix, std::int64_t page, std::int64_t pageCount) {
        if (prefix != printing) {
            printer = progressPrinter(console, prefix.toStdString());
            printing = prefix;
        }
        printer(page, pageCount);
    };
    try {
        outcome = runSecureExport(request, services, listener);
    } catch (const ExportStepFailure& failure) {
        try {
            std::rethrow_exception(failure.cause);
        } catch (const std::exception& error) {
            printError(console.err, error,
                       failure.step == ExportStep::writing ? RedactionError::exportFailed()
                                                           : RedactionError::outputVerificationFailed());
        } catch (...) {
            console.err << RedactionError::exportFailed().errorDescription() << '\n';
        }
        return kExitFailure;
    }

    const auto& verification = outcome->verification;
    std::error_code ignored;
    const Json result{{"output", std::filesystem::absolute(request.output, ignored).lexically_normal().string()},
                      {"pageCount", request.document->pageCount()},
                      {"redactionCount", static_cast<std::int64_t>(request.regions.size())},
                      {"verification", verification ? toJson(*verification) : Json(nullptr)}};
    console.out << result.dump(2) << '\n';
    return !verification || verification->passed() ? kExitOk : kExitNeedsReview;
}

}  // namespace norvane::cli
