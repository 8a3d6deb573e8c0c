#include "cli/cli_support.h"

namespace norvane::cli {

int runFind(const std::vector<std::string>& args, const Console& console) {
    std::vector<std::string> positional;
    bool ocr = false;
    bool optionsEnded = false;
    for (const auto& arg : args) {
        if (!optionsEnded && arg == "--") {
            optionsEnded = true;
        } else if (!optionsEnded && arg == "--ocr") {
            ocr = true;
        } else if (!optionsEnded && arg.size() > 2 && arg.starts_with("--")) {
            console.err << "norvane-redact: unknown option '" << arg << "'\n";
            return kExitUsage;
        } else {
            positional.push_back(arg);
        }
    }
    if (positional.size() != 2) {
        console.err << "usage: norvane-redact find IN.pdf TEXT [--ocr]\n";
        return kExitUsage;
    }
    const SharedPdfDocument document = openOrReport(positional[0], console.err);
    if (!document) {
        return kExitFailure;
    }
    std::vector<RedactionSearchResult> results;
    if (ocr) {
        try {
            results = RedactionEngine::ocrMatches(document, positional[1], progressPrinter(console, "OCR "));
        } catch (const RedactionError& error) {
            console.err << error.errorDescription() << '\n';
            return kExitFailure;
        } catch (const OcrError& error) {
            console.err << error.what() << '\n';
            return kExitFailure;
        }
    } else {
        results = RedactionEngine::nativeTextMatches(document, positional[1]);
    }
    Json json = Json::array();
    for (const auto& result : results) {
        json.push_back(toJson(result));
    }
    console.out << json.dump(2) << '\n';
    return kExitOk;
}

}  // namespace norvane::cli
