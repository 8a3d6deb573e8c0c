#include "cli/arguments.h"
#include "cli/cli_support.h"
#include "cli/command_host.h"
#include "cli/export_file.h"
#include "cli/manual.h"

#include <charconv>
#include <limits>
#include <thread>

namespace norvane::cli {
namespace {

const CommandRules kExportRules{manual::kExportUsage,
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
                                 {"--searchable", "", false, false},
                                 {"--no-verify", "", false, false},
                                 {"--record-history", "", false, false},
                                 {"--ocr-lang", "", true, true}},
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

// The searches, drawn regions and switches the command line asks for, in command-line order, so
// the session sees them as it would see the same actions in the app.
struct FileOptions {
    const ParsedArguments& parsed;
    const std::vector<RegionArgument>& drawn;
    std::string recognitionLanguages;
    bool label = false;
    bool evenWidth = false;
    bool searchable = false;
    bool verify = true;
    bool recordHistory = false;
};

// Runs one search option; false when it failed (its message printed).
bool runSearchOption(RedactionSession& session, const std::string& option, const std::string& value,
                     std::size_t termNumber, const Console& console, std::vector<UnreadPage>& unread) {
    if (option == "--find" || option == "--ocr") {
        session.setSearchText(value);
        option == "--find" ? session.findNativeText() : session.findWithOCR();
    } else {
        session.findPattern(*patternPresetNamed(value), option == "--ocr-pattern");
    }
    if (!reportSearch(session, console, unread)) {
        return false;
    }
    if (session.searchResults().empty()) {
        if (option.ends_with("pattern")) {
            console.err << "norvane-redact: " << option << ' ' << value << " found no matches\n";
        } else {
            // By position, not by text: search terms are never echoed.
            console.err << "norvane-redact: " << option << " term " << termNumber
                        << " found no matches; the copy is still checked for it\n";
        }
    }
    session.addAllSearchResults();
    return true;
}

// One file, from its searches to its verdict.
FileExport exportFile(const FileOptions& options, const std::filesystem::path& source,
                      const std::filesystem::path& output, const Console& console, const Services& services,
                      const StateHop& onState) {
    if (const auto refusal = exportTargetRefusal(source, output)) {
        console.err << *refusal << '\n';
        return {};
    }
    CommandHost host(console, onState, options.recordHistory ? services.history : nullptr);
    RedactionSession session(services.engine, host);
    session.setRecognitionLanguages(options.recognitionLanguages);
    session.setLabelRedactions(options.label);
    session.setEvenWidthBoxes(options.evenWidth);
    session.setSearchableCopy(options.searchable);
    session.open(source);
    if (!session.document()) {
        console.err << session.errorMessage().value_or(RedactionError::cannotOpenPDF().errorDescription()) << '\n';
        return {};
    }
    const std::int64_t pageCount = session.document()->pageCount();
    for (const auto& region : options.drawn) {
        if (region.pageIndex >= pageCount) {
            printUsageError(console.err, kExportRules,
                            "--region page " + std::to_string(region.pageIndex) + " does not exist (pages are 0 to " +
                                std::to_string(pageCount - 1) + ")");
            return {kExitUsage, nullptr};
        }
    }

    std::vector<UnreadPage> unread;
    std::size_t drawnNumber = 0;
    std::size_t termNumber = 0;
    for (const auto& [option, value] : options.parsed.options) {
        if (option == "--region") {
            const RegionArgument& region = options.drawn[drawnNumber++];
            session.addManual(region.pageIndex, region.rect);
        } else if (option == "--find" || option == "--ocr" || option == "--pattern" || option == "--ocr-pattern") {
            termNumber += option.ends_with("pattern") ? 0 : 1;
            if (!runSearchOption(session, option, value, termNumber, console, unread)) {
                return {};
            }
        }
    }
    if (!session.readyToExport()) {
        console.err << session.errorMessage().value_or(RedactionError::noRedactions().errorDescription()) << '\n';
        return {};
    }
    session.exportSecureCopy(output, options.verify);
    if (session.errorMessage() || !session.outputPath()) {
        console.err << session.errorMessage().value_or(RedactionError::exportFailed().errorDescription()) << '\n';
        return {};
    }

    const auto& verification = session.verification();
    std::error_code ignored;
    Json result{{"output", std::filesystem::absolute(output, ignored).lexically_normal().string()},
                {"pageCount", pageCount},
                {"redactionCount", static_cast<std::int64_t>(session.redactions().size())},
                {"verification", verification ? toJson(*verification) : Json(nullptr)},
                {"unreadPages", toJson(unread)}};
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
    const auto drawn = regionArguments(*parsed, console.err);
    const auto jobs = jobCount(*parsed, console.err);
    if (!drawn || !jobs || !patternArguments(*parsed, "--pattern", kExportRules, console.err) ||
        !patternArguments(*parsed, "--ocr-pattern", kExportRules, console.err)) {
        return kExitUsage;
    }
    FileOptions options{*parsed, *drawn, {}};
    options.label = parsed->has("--label");
    options.evenWidth = parsed->has("--even-width");
    options.searchable = parsed->has("--searchable");
    options.verify = !parsed->has("--no-verify");
    options.recordHistory = parsed->has("--record-history");
    if (options.recordHistory && !options.verify) {
        printUsageError(console.err, kExportRules, "--record-history records verified exports; drop --no-verify");
        return kExitUsage;
    }
    const auto languages = recognitionArgument(*parsed, console.err);
    if (!languages) {
        return kExitFailure;
    }
    options.recognitionLanguages = *languages;

    const ExportOne exportOne = [&](const std::filesystem::path& source, const std::filesystem::path& output,
                                    const Console& fileConsole, const StateHop& onState) {
        return exportFile(options, source, output, fileConsole, services, onState);
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
