// Every input the fuzzer ever crashed on, and the hostile files kept beside them, go through
// the same exercise again on each test run.

#include "fuzz/exercise.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace norvane {
namespace {

TEST(FuzzReplay, EngineSurvivesEveryKeptInput) {
    int replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(NORVANE_SOURCE_DIR "/tests/fuzz-crashes")) {
        if (entry.is_regular_file() && entry.path().filename().string().front() != '.') {
            SCOPED_TRACE(entry.path().filename().string());
            const auto bytes = testing::readFile(entry.path());
            fuzz::exerciseEngine(bytes.data(), bytes.size());
            ++replayed;
        }
    }
    EXPECT_GT(replayed, 0);
}

}  // namespace
}  // namespace norvane
