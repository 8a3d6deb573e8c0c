#pragma once
// What the benchmarks share: timing our code and a command in the same run, and page images
// for the `tesseract` command.

#include "engine/pdf_document.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace norvane::bench {

struct Timing {
    double wall = 0;  // seconds
    double cpu = 0;   // user + system seconds, every thread
};

constexpr Timing kNotRun{1e300, 1e300};

// Each figure's best, so a burst of load from elsewhere does not decide a ratio.
Timing fastest(const Timing& a, const Timing& b);

double processCpu();

template <class F>
Timing timeOurs(F&& body) {
    const auto wall0 = std::chrono::steady_clock::now();
    const double cpu0 = processCpu();
    body();
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count(), processCpu() - cpu0};
}

// Runs `argv` (no shell) with its standard output into `output` (discarded when empty) and
// its errors discarded; wall and the child's CPU time. Throws when it does not exit with 0.
Timing timeCommand(const std::vector<std::string>& argv, const std::filesystem::path& output = {});

// Writes the pages (all when `pages` is empty), rendered as our recognition sees them
// (displayed orientation, grey), as PNG files plus the list the `tesseract` command reads.
// Returns the list's path.
std::filesystem::path writePageImages(const SharedPdfDocument& document, double dpi,
                                      const std::filesystem::path& folder, const std::vector<std::int64_t>& pages = {});

}  // namespace norvane::bench
