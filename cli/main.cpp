// norvane-redact: the command-line front end over the same engine and model rules as the app.

#include "cli/commands.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr const char* kUsage =
    "usage: norvane-redact info IN.pdf\n";

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty() || args[0] == "-h" || args[0] == "--help") {
        std::cerr << kUsage;
        return args.empty() ? norvane::cli::kExitUsage : norvane::cli::kExitOk;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    try {
        if (command == "info") {
            return norvane::cli::runInfo(args, std::cout, std::cerr);
        }
        std::cerr << "norvane-redact: unknown command '" << command << "'\n" << kUsage;
        return norvane::cli::kExitUsage;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return norvane::cli::kExitFailure;
    }
}
