#include "cli/arguments.h"
#include "cli/cli_support.h"
#include "cli/manual.h"

namespace norvane::cli {

int runVerify(const std::vector<std::string>& args, const Console& console, const Services& services) {
    const CommandRules rules{
        manual::kVerifyUsage,
        {{"--term", "", true, false}, {"--pattern", "", true, false}, {"--ocr-lang", "", true, true}},
        1};
    const auto parsed = parseArguments(rules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    const auto presets = patternArguments(*parsed, "--pattern", rules, console.err);
    if (!presets) {
        return kExitUsage;
    }
    const auto languages = recognitionArgument(*parsed, console.err);
    if (!languages) {
        return kExitFailure;
    }
    ExportVerification verification;
    try {
        verification =
            services.engine.verifyOutput(parsed->positionals[0], {parsed->values("--term"), *presets, {*languages}},
                                         progressPrinter(console, "Verifying page "), {});
    } catch (const std::exception& error) {
        printError(console.err, error, RedactionError::outputVerificationFailed());
        return kExitFailure;
    }
    console.out << toJson(verification).dump(2) << '\n';
    return verification.passed() ? kExitOk : kExitNeedsReview;
}

}  // namespace norvane::cli
