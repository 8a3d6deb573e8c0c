#include "cli/arguments.h"
#include "cli/cli_support.h"
#include "cli/command_host.h"
#include "cli/manual.h"

namespace norvane::cli {

int runFind(const std::vector<std::string>& args, const Console& console, const Services& services) {
    const CommandRules rules{
        manual::kFindUsage,
        {{"--ocr", "", false, false}, {"--pattern", "", true, true}, {"--ocr-lang", "", true, true}},
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
    const auto languages = recognitionArgument(*parsed, console.err);
    if (!languages) {
        return kExitFailure;
    }
    CommandHost host(console, ExportListener{}.onState, nullptr);
    RedactionSession session(services.engine, host);
    session.setRecognitionLanguages(*languages);
    session.open(parsed->positionals[0]);
    if (!session.document()) {
        console.err << session.errorMessage().value_or(RedactionError::cannotOpenPDF().errorDescription()) << '\n';
        return kExitFailure;
    }
    const bool ocr = parsed->has("--ocr");
    if (!presets->empty()) {
        session.findPattern(presets->front(), ocr);
    } else {
        session.setSearchText(parsed->positionals[1]);
        ocr ? session.findWithOCR() : session.findNativeText();
    }
    std::vector<UnreadPage> unread;
    if (!reportSearch(session, console, unread)) {
        return kExitFailure;
    }
    Json results = Json::array();
    for (const auto& result : session.searchResults()) {
        results.push_back(toJson(result));
    }
    console.out << Json{{"results", std::move(results)}, {"unreadPages", toJson(unread)}}.dump(2) << '\n';
    // Pages nobody read make "found nothing there" unknown: the answer needs a person's review.
    return unread.empty() ? kExitOk : kExitNeedsReview;
}

}  // namespace norvane::cli
