#pragma once

#include "model/services.h"

#include <ostream>
#include <string>
#include <vector>

namespace norvane::cli {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNeedsReview = 3;
constexpr int kExitHidden = 4;  // inspect: the file hides something

// Where a command reports progress: a redrawn bar when stderr is a terminal, plain lines
// otherwise.
struct Console {
    std::ostream& out;  // results (JSON)
    std::ostream& err;  // messages and progress
    bool errIsTerminal = false;
};

// Each command takes its arguments (without the command name) and returns the exit code.
int runInfo(const std::vector<std::string>& args, const Console& console, const Services& services);
int runFind(const std::vector<std::string>& args, const Console& console, const Services& services);
int runExport(const std::vector<std::string>& args, const Console& console, const Services& services);
int runVerify(const std::vector<std::string>& args, const Console& console, const Services& services);
int runInspect(const std::vector<std::string>& args, const Console& console, const Services& services);

// The whole command line after the program name.
int run(const std::vector<std::string>& args, const Console& console, const Services& services);

// What a real run is handed: the engine and the user's history.
Services commandLineServices();

}  // namespace norvane::cli
