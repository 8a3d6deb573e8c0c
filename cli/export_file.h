#pragma once
// One file's secure export as the export command runs it, and the batch that runs it over many
// files at once. Private to the command line.

#include "cli/commands.h"
#include "model/export_pipeline.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <functional>
#include <vector>

namespace norvane::cli {

struct FileExport {
    int exitCode = kExitFailure;
    nlohmann::ordered_json result;  // null unless the copy was written
};

// Exports `source` to `output`; messages and progress go to `console.err`, every state change
// through `onState`.
using ExportOne = std::function<FileExport(const std::filesystem::path& source, const std::filesystem::path& output,
                                           const Console& console, const StateHop& onState)>;

struct BatchOptions {
    std::filesystem::path outDir;
    bool force = false;  // replace existing files (never an input)
    unsigned jobs = 1;   // files at once
};

// Every input into `outDir` as NAME-redacted.pdf; prints one JSON array and returns the worst
// exit code: a failure before "Needs Review" before success.
int runBatch(const std::vector<std::filesystem::path>& inputs, const BatchOptions& options, const Console& console,
             const ExportOne& exportOne);

}  // namespace norvane::cli
