#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace norvane::cli {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNeedsReview = 3;

// Each command takes its arguments (without the command name) and returns the exit code.
int runInfo(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace norvane::cli
