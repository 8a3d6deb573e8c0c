#include "cli/arguments.h"
#include "cli/cli_support.h"

namespace norvane::cli {

int runVerify(const std::vector<std::string>& args, const Console& console, const Services& services) {
    const CommandRules rules{
        "usage: norvane-redact verify OUT.pdf [--term TEXT]...\n", {{"--term", "", true, false}}, 1};
    const auto parsed = parseArguments(rules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    ExportVerification verification;
    try {
        verification = services.engine.verifyOutput(parsed->positionals[0], {parsed->values("--term"), {}, {}},
                                                    progressPrinter(console, "Verifying page "), {});
    } catch (const std::exception& error) {
        printError(console.err, error, RedactionError::outputVerificationFailed());
        return kExitFailure;
    }
    console.out << toJson(verification).dump(2) << '\n';
    return verification.passed() ? kExitOk : kExitNeedsReview;
}

}  // namespace norvane::cli
