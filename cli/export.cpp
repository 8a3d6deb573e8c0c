#include "cli/arguments.h"
#include "cli/cli_support.h"
#include "cli/export_file.h"
#include "model/verification_terms.h"

#include <charconv>
#include <limits>
#include <thread>

namespace norvane::cli {
namespace {

const CommandRules kExportRules{
    "usage: norvane-redact export IN.pdf -o OUT.pdf [--find TEXT]... [--ocr TEXT]...\n"
    "                             [--pattern NAME]... [--ocr-pattern NAME]... [--region PAGE:X,Y,W,H]...\n"
    "                             [--label] [--even-width] [--no-verify] [--record-history]\n"
    "       norvane-redact export IN.pdf... --out-dir DIR [--force] [-j N] [the options above but -o, --region]\n",
    {{"--output", "-o", true, true},
     {"--out-dir", "", true, true},
     {"--force", "", false, false},
     {"--jobs", "-j", true, true},
     {"--find", "", true, false},
     {"--ocr", "", true, false},
     {"--pattern", "", true, false},
     {"--ocr-pattern", "", true, false},
     {"--region", "", true, false},
     {"--label", "", false, false},
     {"--even-width", "", false, false},
     {"--no-verify", "", false, false},
     {"--record-history", "", false, false}},
    1,
    std::numeric_limits<std::size_t>::max() - 1};

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
        } else if (option != "--output" && option != "--out-dir" && option != "--jobs") {
            std::vector<RedactionSearchResult> results;
            const bool pattern = option.ends_with("pattern");
            if (option == "--find") {
                results = services.engine.nativeTextMatches(document, value, {}).results;
            } else if (option == "--ocr") {
                results = services.engine.ocrMatches(document, value, {}, progressPrinter(console, "OCR "), {}).results;
            } else if (option == "--pattern") {
                results = services.engine.nativePatternMatches(document, *patternPresetNamed(value), {}).results;
            } else if (option == "--ocr-pattern") {
                results = services.engine
                              .ocrPatternMatches(document, *patternPresetNamed(value), {},
                                                 progressPrinter(console, "OCR "), {})
                              .results;
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

// One file, from its searches to its verdict.
FileExport exportFile(const ParsedArguments& parsed, const std::vector<RegionArgument>& drawn, ExportRequest request,
                      const Console& console, const Services& services, const StateHop& onState) {
    if (const auto refusal = exportTargetRefusal(request.source, request.output)) {
        console.err << refusal->toStdString() << '\n';
        return {};
    }
    request.document = openOrReport(request.source, console.err);
    if (!request.document) {
        return {};
    }

    for (const auto& region : drawn) {
        if (region.pageIndex >= request.document->pageCount()) {
            printUsageError(console.err, kExportRules,
                            "--region page " + std::to_string(region.pageIndex) + " does not exist (pages are 0 to " +
                                std::to_string(request.document->pageCount() - 1) + ")");
            return {kExitUsage, nullptr};
        }
    }

    // Every term asked for is verified, found or not: a spelling the search missed but the
    // page still shows must end in "Needs Review", not in a pass.
    std::vector<std::string> askedTerms;
    try {
        request.regions = collectRegions(parsed, drawn, request.document, console, services, askedTerms);
    } catch (const std::exception& error) {
        printError(console.err, error, RedactionError::exportFailed());
        return {};
    }
    if (request.regions.empty()) {
        console.err << RedactionError::noRedactions().errorDescription() << '\n';
        return {};
    }
    request.verification.terms = verificationTerms(request.regions, askedTerms);

    std::optional<ExportOutcome> outcome;
    ExportListener listener;
    listener.onState = onState;
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
        return {};
    }

    const auto& verification = outcome->verification;
    std::error_code ignored;
    Json result{{"output", std::filesystem::absolute(request.output, ignored).lexically_normal().string()},
                {"pageCount", request.document->pageCount()},
                {"redactionCount", static_cast<std::int64_t>(request.regions.size())},
                {"verification", verification ? toJson(*verification) : Json(nullptr)}};
    return {!verification || verification->passed() ? kExitOk : kExitNeedsReview, std::move(result)};
}

// -j N: files at once, by default one per core.
std::optional<unsigned> jobCount(const ParsedArguments& parsed, std::ostream& err) {
    const auto given = parsed.values("--jobs");
    if (given.empty()) {
        return std::max(1u, std::thread::hardware_concurrency());
    }
    unsigned jobs = 0;
    const std::string& text = given[0];
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), jobs);
    if (failure != std::errc() || end != text.data() + text.size() || jobs < 1 || jobs > 64) {
        printUsageError(err, kExportRules, "-j needs a number of files at once from 1 to 64");
        return std::nullopt;
    }
    return jobs;
}

}  // namespace

int runExport(const std::vector<std::string>& args, const Console& console, const Services& services) {
    const auto parsed = parseArguments(kExportRules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    const auto outputs = parsed->values("--output");
    const auto outDirs = parsed->values("--out-dir");
    const bool batch = !outDirs.empty();
    if (outputs.empty() == outDirs.empty() || (batch ? outDirs[0].empty() : outputs[0].empty())) {
        printUsageError(console.err, kExportRules,
                        outputs.empty() && outDirs.empty() ? "" : "give either -o OUT.pdf or --out-dir DIR");
        return kExitUsage;
    }
    const char* misfit = nullptr;
    if (!batch && parsed->positionals.size() > 1) {
        misfit = "-o writes one copy; --out-dir DIR takes several inputs";
    } else if (!batch && (parsed->has("--force") || parsed->has("--jobs"))) {
        misfit = "--force and -j go with --out-dir";
    } else if (batch && parsed->has("--region")) {
        misfit = "--region belongs to one document; use -o";
    }
    if (misfit) {
        printUsageError(console.err, kExportRules, misfit);
        return kExitUsage;
    }
    ExportRequest request;
    request.labelRedactions = parsed->has("--label");
    request.evenWidth = parsed->has("--even-width");
    request.verify = !parsed->has("--no-verify");
    request.recordHistory = parsed->has("--record-history");
    const auto drawn = regionArguments(*parsed, console.err);
    const auto jobs = jobCount(*parsed, console.err);
    if (!drawn || !jobs || !patternArguments(*parsed, "--pattern", kExportRules, console.err) ||
        !patternArguments(*parsed, "--ocr-pattern", kExportRules, console.err)) {
        return kExitUsage;
    }
    if (request.recordHistory && !request.verify) {
        printUsageError(console.err, kExportRules, "--record-history records verified exports; drop --no-verify");
        return kExitUsage;
    }

    const ExportOne exportOne = [&](const std::filesystem::path& source, const std::filesystem::path& output,
                                    const Console& fileConsole, const StateHop& onState) {
        ExportRequest file = request;
        file.source = source;
        file.output = output;
        return exportFile(*parsed, *drawn, std::move(file), fileConsole, services, onState);
    };
    if (batch) {
        const std::vector<std::filesystem::path> inputs(parsed->positionals.begin(), parsed->positionals.end());
        return runBatch(inputs, BatchOptions{outDirs[0], parsed->has("--force"), *jobs}, console, exportOne);
    }
    const FileExport done = exportOne(parsed->positionals[0], outputs[0], console, ExportListener{}.onState);
    if (!done.result.is_null()) {
        console.out << done.result.dump(2) << '\n';
    }
    return done.exitCode;
}

}  // namespace norvane::cli
