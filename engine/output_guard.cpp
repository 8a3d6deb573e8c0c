#include "engine/output_guard.h"

#include <sys/stat.h>

#include <system_error>

namespace norvane {
namespace {

std::filesystem::path standardized(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return (error ? path : absolute).lexically_normal();
}

}  // namespace

bool wouldOverwriteSource(const std::filesystem::path& source, const std::filesystem::path& output) {
    if (standardized(source) == standardized(output)) {
        return true;
    }
    std::error_code sourceError;
    std::error_code outputError;
    const std::filesystem::path realSource = std::filesystem::weakly_canonical(source, sourceError);
    const std::filesystem::path realOutput = std::filesystem::weakly_canonical(output, outputError);
    if (!sourceError && !outputError && realSource == realOutput) {
        return true;
    }
    // stat() follows links, so a link to the source and a second name of it both match.
    struct stat sourceInfo {};
    struct stat outputInfo {};
    if (::stat(source.c_str(), &sourceInfo) != 0 || ::stat(output.c_str(), &outputInfo) != 0) {
        return false;  // one of them does not exist, so writing one cannot replace the other
    }
    return sourceInfo.st_dev == outputInfo.st_dev && sourceInfo.st_ino == outputInfo.st_ino;
}

}  // namespace norvane
