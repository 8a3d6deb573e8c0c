#include "cli/cli_support.h"
#include "engine/output_guard.h"
#include "history/recent_redaction_store.h"
#include "model/verification_terms.h"

#include <QString>

#include <variant>

namespace norvane::cli {
namespace {

// Regions are added in command-line order, so the duplicate rule sees them as the app
// would see the same actions.
struct FindAction {
    std::string text;
    bool ocr = false;
};
using Action = std::variant<FindAction, RegionArgument>;

struct ExportOptions {
    std::filesystem::path input;
    std::filesystem::path output;
    std::vector<Action> actions;
    bool label = false;
    bool verify = true;
    bool recordHistory = false;
};

constexpr const char* kExportUsage =
    "usage: norvane-redact export IN.pdf -o OUT.pdf [--find TEXT]... [--ocr TEXT]...\n"
    "                             [--region PAGE:X,Y,W,H]... [--label] [--no-verify] [--record-history]\n";

// Nothing (after printing why) on a usage error.
std::optional<ExportOptions> parseOptions(const std::vector<std::string>& args, std::ostream& err) {
    ExportOptions options;
    std::vector<std::string> positional;
    bool haveOutput = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const bool takesValue = arg == "-o" || arg == "--output" || arg == "--find" || arg == "--ocr" || arg == "--region";
        if (takesValue && i + 1 == args.size()) {
            err << "norvane-redact: " << arg << " needs a value\n" << kExportUsage;
            return std::nullopt;
        }
        if (arg == "-o" || arg == "--output") {
            if (haveOutput) {
                err << "norvane-redact: only one output file\n" << kExportUsage;
                return std::nullopt;
            }
            options.output = args[++i];
            haveOutput = true;
        } else if (arg == "--find" || arg == "--ocr") {
            options.actions.emplace_back(FindAction{args[++i], arg == "--ocr"});
        } else if (arg == "--region") {
            const auto region = parseRegion(args[++i]);
            if (!region) {
                err << "norvane-redact: --region needs PAGE:X,Y,W,H with a zero-based page and a rectangle at least "
                       "2 points wide and high\n";
                return std::nullopt;
            }
            options.actions.emplace_back(*region);
        } else if (arg == "--label") {
            options.label = true;
        } else if (arg == "--no-verify") {
            options.verify = false;
        } else if (arg == "--record-history") {
            options.recordHistory = true;
        } else if (arg.size() > 1 && arg.starts_with("-")) {
            err << "norvane-redact: unknown option '" << arg << "'\n" << kExportUsage;
            return std::nullopt;
        } else {
            positional.push_back(arg);
        }
    }
    if (options.recordHistory && !options.verify) {
        err << "norvane-redact: --record-history records verified exports; drop --no-verify\n" << kExportUsage;
        return std::nullopt;
    }
    if (positional.size() != 1 || !haveOutput || options.output.empty()) {
        err << kExportUsage;
        return std::nullopt;
    }
    options.input = positional[0];
    return options;
}

}  // namespace

int runExport(const std::vector<std::string>& args, const Console& console) {
    const auto options = parseOptions(args, console.err);
    if (!options) {
        return kExitUsage;
    }
    if (wouldOverwriteSource(options->input, options->output)) {
        console.err << kOverwriteRefusal << '\n';
        return kExitFailure;
    }
    const SharedPdfDocument document = openOrReport(options->input, console.err);
    if (!document) {
        return kExitFailure;
    }
    for (const auto& action : options->actions) {
        const auto* region = std::get_if<RegionArgument>(&action);
        if (region && region->pageIndex >= document->pageCount()) {
            console.err << "norvane-redact: --region page " << region->pageIndex << " does not exist (pages are 0 to "
                        << document->pageCount() - 1 << ")\n";
            return kExitUsage;
        }
    }

    std::vector<RedactionRegion> regions;
    // Every term asked for is verified, found or not: a spelling the search missed but the
    // page still shows must end in "Needs Review", not in a pass.
    std::vector<std::string> askedTerms;
    std::size_t findNumber = 0;
    try {
        for (const auto& action : options->actions) {
            if (const auto* region = std::get_if<RegionArgument>(&action)) {
                // Drawn regions are never duplicate-checked, as on the canvas.
                regions.push_back(
                    RedactionRegion{Uuid::random(), region->pageIndex, region->rect, RedactionSource::manual, std::nullopt});
                continue;
            }
            const auto& find = std::get<FindAction>(action);
            const auto results = find.ocr ? RedactionEngine::ocrMatches(document, find.text, progressPrinter(console, "OCR "))
                                          : RedactionEngine::nativeTextMatches(document, find.text);
            ++findNumber;
            if (results.empty()) {
                // By position, not by text: search terms are never echoed.
                console.err << "norvane-redact: " << (find.ocr ? "--ocr" : "--find") << " term " << findNumber
                            << " found no matches; the copy is still checked for it\n";
            }
            for (const auto& result : results) {
                appendSearchResult(regions, result);
            }
            askedTerms.push_back(find.text);
        }
    } catch (const std::exception& error) {
        printError(console.err, error, RedactionError::exportFailed());
        return kExitFailure;
    }
    if (regions.empty()) {
        console.err << RedactionError::noRedactions().errorDescription() << '\n';
        return kExitFailure;
    }

    try {
        console.err << "Creating secure redacted PDF\u2026\n";
        RedactionEngine::exportSecurePDF(document, regions, options->output, options->label,
                                         progressPrinter(console, "Exporting page "));
    } catch (const std::exception& error) {
        printError(console.err, error, RedactionError::exportFailed());
        return kExitFailure;
    }

    std::optional<ExportVerification> verification;
    if (options->verify) {
        try {
            console.err << "Verifying redacted output\u2026\n";
            verification = RedactionEngine::verifyOutput(options->output, verificationTerms(regions, askedTerms),
                                                         progressPrinter(console, "Verifying page "));
        } catch (const std::exception& error) {
            printError(console.err, error, RedactionError::outputVerificationFailed());
            return kExitFailure;
        }
    }

    std::error_code ignored;
    const std::string outputPath = std::filesystem::absolute(options->output, ignored).lexically_normal().string();
    if (options->recordHistory && verification) {
        // The same history the app shows; like the app, only exports whose check completed.
        RecentRedactionStore::shared().add(QString::fromStdString(options->input.filename().string()),
                                           QString::fromStdString(outputPath),
                                           document->pageCount(), static_cast<qint64>(regions.size()),
                                           verification->passed());
    }

    const Json result{{"output", outputPath},
                      {"pageCount", document->pageCount()},
                      {"redactionCount", static_cast<std::int64_t>(regions.size())},
                      {"verification", verification ? toJson(*verification) : Json(nullptr)}};
    console.out << result.dump(2) << '\n';
    return !verification || verification->passed() ? kExitOk : kExitNeedsReview;
}

}  // namespace norvane::cli
