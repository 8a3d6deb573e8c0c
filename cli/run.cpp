#include "cli/commands.h"
#include "cli/manual.h"

#include <exception>

namespace norvane::cli {

Services commandLineServices() {
    return Services{std::make_shared<RecentRedactionStore>(RecentRedactionStore::defaultStoragePath()), nullptr, {}};
}

int run(const std::vector<std::string>& args, const Console& console, const Services& services) {
    if (args.empty()) {
        console.err << manual::kUsage;
        return kExitUsage;
    }
    if (args[0] == "-h" || args[0] == "--help") {
        console.out << manual::kHelp;
        return kExitOk;
    }
    if (args[0] == "--version") {
        console.out << "norvane-redact " NORVANE_VERSION "\n";
        return kExitOk;
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
        console.err << "norvane-redact: unknown command '" << command << "'\n" << manual::kUsage;
        return kExitUsage;
    } catch (const std::exception& error) {
        console.err << error.what() << '\n';
        return kExitFailure;
    }
}

}  // namespace norvane::cli
