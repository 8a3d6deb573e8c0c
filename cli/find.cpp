#include "cli/arguments.h"
#include "cli/cli_support.h"

namespace norvane::cli {

int runFind(const std::vector<std::string>& args, const Console& console, const Services& services) {
    const CommandRules rules{
        "usage: norvane-redact find IN.pdf TEXT [--ocr]\n"
        "       norvane-redact find IN.pdf --pattern NAME [--ocr]\n",
        {{"--ocr", "", false, false}, {"--pattern", "", true, true}},
        1,
        1};
    const auto parsed = parseArguments(rules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    const auto presets = patternArguments(*parsed, "--pattern", rules, console.err);
    if (!presets) {
        return kExitUsage;
    }
    // Either a text or a pattern, never both and never neither.
    if (presets->empty() == (parsed->positionals.size() == 1)) {
        printUsageError(console.err, rules, {});
        return kExitUsage;
    }
    const SharedPdfDocument document = openOrReport(parsed->positionals[0], console.err);
    if (!document) {
        return kExitFailure;
    }
    const bool ocr = parsed->has("--ocr");
    std::vector<RedactionSearchResult> results;
    try {
        if (!presets->empty()) {
            results = services.engine.nativePatternMatches(document, presets->front(), {}).results;
            if (ocr) {
                const auto read =
                    services.engine
                        .ocrPatternMatches(document, presets->front(), {}, progressPrinter(console, "OCR "), {})
                        .results;
                results.insert(results.end(), read.begin(), read.end());
            }
        } else {
            const std::string& text = parsed->positionals[1];
            results = ocr ? services.engine.ocrMatches(document, text, {}, progressPrinter(console, "OCR "), {}).results
                          : services.engine.nativeTextMatches(document, text, {}).results;
        }
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
