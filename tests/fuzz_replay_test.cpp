// Every input the fuzzer ever crashed on, and the hostile files kept beside them, go through
// the same exercise again on each test run.

#include "fuzz/exercise.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace norvane {
namespace {

std::vector<std::filesystem::path> keptInputs() {
    std::vector<std::filesystem::path> inputs;
    for (const auto& entry : std::filesystem::directory_iterator(NORVANE_SOURCE_DIR "/tests/fuzz-crashes")) {
        if (entry.is_regular_file() && entry.path().filename().string().front() != '.') {
            inputs.push_back(entry.path());
        }
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

class FuzzReplay : public ::testing::TestWithParam<std::filesystem::path> {};

TEST_P(FuzzReplay, EngineSurvivesTheInput) {
    const auto bytes = testing::readFile(GetParam());
    fuzz::exerciseEngine(bytes.data(), bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Kept, FuzzReplay, ::testing::ValuesIn(keptInputs()), [](const auto& kept) {
    std::string name = kept.param.stem().string();
    for (char& c : name) {
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return name;
});

}  // namespace
}  // namespace norvane
