#include "cli/arguments.h"
#include "cli/cli_support.h"

namespace norvane::cli {

int runFind(const std::vector<std::string>& args, const Console& console, const Services& services) {
    const CommandRules rules{"usage: norvane-redact find IN.pdf TEXT [--ocr]\n", {{"--ocr", "", false, false}}, 2};
    const auto parsed = parseArguments(rules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    const SharedPdfDocument document = openOrReport(parsed->positionals[0], console.err);
    if (!document) {
        return kExitFailure;
    }
    const std::string& text = parsed->positionals[1];
    std::vector<RedactionSearchResult> results;
    try {
        results = parsed->has("--ocr")
                      ? services.engine.ocrMatches(document, text, progressPrinter(console, "OCR "), {})
                      : RedactionEngine::nativeTextMatches(document, text);
    } catch (const std::exception& error) {
        printError(console.err, error, std::nullopt);
        return kExitFailure;
    }
    Json json = Json::array();
    for (const auto& result : results) {
        json.push_back(toJson(result));
    }
    console.out << json.dump(2) << '\n';
    return kExitOk;
}

}  // namespace norvane::cli
