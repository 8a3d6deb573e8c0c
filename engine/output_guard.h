#pragma once
// The one check that keeps an export from replacing the document it was made from, shared by
// the app and the command line.

#include <filesystem>
#include <string_view>

namespace norvane {

inline constexpr std::string_view kOverwriteRefusal =
    "Norvane will not overwrite the original PDF. Choose a different output name.";

// True when writing `output` could replace `source`: the same standardised path, the same
// path once links are resolved (a symlinked folder), or the same file by device and inode
// (a hard link, a link to the file).
bool wouldOverwriteSource(const std::filesystem::path& source, const std::filesystem::path& output);

}  // namespace norvane
