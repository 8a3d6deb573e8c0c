#include "cli/commands.h"

#include <exception>

namespace norvane::cli {
namespace {

constexpr const char* kUsage =
    "usage: norvane-redact info   IN.pdf\n"
    "       norvane-redact find   IN.pdf TEXT [--ocr]\n"
    "       norvane-redact export IN.pdf -o OUT.pdf [--find TEXT]... [--ocr TEXT]...\n"
    "                             [--region PAGE:X,Y,W,H]... [--label] [--no-verify] [--record-history]\n"
    "       norvane-redact export IN.pdf... --out-dir DIR [--force] [-j N] [--find TEXT]... [--ocr TEXT]...\n"
    "       norvane-redact verify OUT.pdf [--term TEXT]...\n"
    "       norvane-redact inspect IN.pdf... [--show-text]\n"
    "Pages are zero-based; rectangles are in PDF points of the page's media box, y up.\n";

}  // namespace

Services commandLineServices() {
    return Services{std::make_shared<RecentRedactionStore>(RecentRedactionStore::defaultStoragePath()), nullptr, {}};
}

int run(const std::vector<std::string>& args, const Console& console, const Services& services) {
    if (args.empty() || args[0] == "-h" || args[0] == "--help") {
        console.err << kUsage;
        return args.empty() ? kExitUsage : kExitOk;
    }
    const std::string& command = args[0];
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    try {
        if (command == "info") {
            return runInfo(rest, console, services);
        }
        if (command == "find") {
            return runFind(rest, console, services);
        }
        if (command == "export") {
            return runExport(rest, console, services);
        }
        if (command == "verify") {
            return runVerify(rest, console, services);
        }
        if (command == "inspect") {
            return runInspect(rest, console, services);
        }
        console.err << "norvane-redact: unknown command '" << command << "'\n" << kUsage;
        return kExitUsage;
    } catch (const std::exception& error) {
        console.err << error.what() << '\n';
        return kExitFailure;
    }
}

}  // namespace norvane::cli
