#include "cli/arguments.h"
#include "cli/cli_support.h"
#include "cli/manual.h"

namespace norvane::cli {

int runInfo(const std::vector<std::string>& args, const Console& console, const Services&) {
    const CommandRules rules{manual::kInfoUsage, {}, 1};
    const auto parsed = parseArguments(rules, args, console.err);
    if (!parsed) {
        return kExitUsage;
    }
    const SharedPdfDocument document = openOrReport(parsed->positionals[0], console.err);
    if (!document) {
        return kExitFailure;
    }
    Json pages = Json::array();
    for (std::int64_t i = 0; i < document->pageCount(); ++i) {
        const auto& page = document->page(i);
        pages.push_back({{"index", i}, {"mediaBox", toJson(page.mediaBox)}, {"rotate", page.rotation}});
    }
    const Json info{{"pageCount", document->pageCount()}, {"encrypted", document->isEncrypted()}, {"pages", pages}};
    console.out << info.dump(2) << '\n';
    return kExitOk;
}

}  // namespace norvane::cli
