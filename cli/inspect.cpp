#include "cli/arguments.h"
#include "cli/cli_support.h"
#include "cli/manual.h"
#include "engine/inspection.h"

#include <filesystem>
#include <limits>

namespace norvane::cli {
namespace {

Json findingJson(const InspectionFinding& finding, bool withText) {
    Json json{{"kind", rawValue(finding.kind)}, {"pageIndex", finding.pageIndex}};
    json["rect"] = finding.rect ? toJson(*finding.rect) : Json();
    json["count"] = finding.count;
    if (finding.cause) {
        json["cause"] = rawValue(*finding.cause);
    }
    if (withText && !finding.text.empty()) {
        json["text"] = finding.text;
    }
    return json;
}

}  // namespace

int runInspect(const std::vector<std::string>& args, const Console& console, const Services&) {
    const CommandRules rules{manual::kInspectUsage,
                             {{"--show-text", "", false, true}, {"--ocr-lang", "", true, true}},
                             1,
                             std::numeric_limits<std::size_t>::max() - 1};
    const auto parsed = parseArguments(rules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    const auto languages = recognitionArgument(*parsed, console.err);
    if (!languages) {
        return kExitFailure;
    }
    InspectionOptions options;
    options.withText = parsed->has("--show-text");
    options.recognition.languages = *languages;
    const bool batch = parsed->positionals.size() > 1;

    Json printed = Json::array();
    int worst = kExitOk;
    for (const std::string& input : parsed->positionals) {
        Json findings = Json::array();
        const SharedPdfDocument document = openOrReport(input, console.err);
        if (document) {
            try {
                for (const auto& finding :
                     inspectDocument(document, options, progressPrinter(console, "Inspecting page "))) {
                    findings.push_back(findingJson(finding, options.withText));
                }
            } catch (const std::exception& error) {
                printError(console.err, error, std::nullopt);
                findings = nullptr;
            }
        }
        if (!document || findings.is_null()) {
            worst = kExitFailure;
            if (!batch) {
                return kExitFailure;
            }
            std::error_code error;
            printed.push_back({{"input", std::filesystem::absolute(input, error).lexically_normal().string()},
                               {"error", "The PDF could not be inspected."}});
            continue;
        }
        if (!findings.empty() && worst == kExitOk) {
            worst = kExitHidden;
        }
        if (!batch) {
            console.out << findings.dump(2) << '\n';
            return worst;
        }
        std::error_code error;
        printed.push_back({{"input", std::filesystem::absolute(input, error).lexically_normal().string()},
                           {"findings", std::move(findings)}});
    }
    console.out << printed.dump(2) << '\n';
    return worst;
}

}  // namespace norvane::cli
