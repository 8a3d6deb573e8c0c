#include "cli/cli_support.h"

namespace norvane::cli {

int runVerify(const std::vector<std::string>& args, const Console& console) {
    std::vector<std::string> positional;
    std::vector<std::string> terms;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--term") {
            if (i + 1 == args.size()) {
                console.err << "norvane-redact: --term needs a value\n";
                return kExitUsage;
            }
            terms.push_back(args[++i]);
        } else if (args[i].starts_with("--")) {
            console.err << "norvane-redact: unknown option '" << args[i] << "'\n";
            return kExitUsage;
        } else {
            positional.push_back(args[i]);
        }
    }
    if (positional.size() != 1) {
        console.err << "usage: norvane-redact verify OUT.pdf [--term TEXT]...\n";
        return kExitUsage;
    }
    ExportVerification verification;
    try {
        verification = RedactionEngine::verifyOutput(positional[0], terms, progressPrinter(console, "Verifying page "));
    } catch (const std::exception& error) {
        printError(console.err, error, RedactionError::outputVerificationFailed());
        return kExitFailure;
    }
    console.out << toJson(verification).dump(2) << '\n';
    return verification.passed() ? kExitOk : kExitNeedsReview;
}

}  // namespace norvane::cli
