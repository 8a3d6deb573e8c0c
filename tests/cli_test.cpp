#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>
#include <sys/wait.h>

namespace norvane {
namespace {

struct RunResult {
    int exitCode = -1;
    bool signalled = false;
    std::string out;
    std::string err;
};

RunResult runCli(const std::string& arguments, const testing::TempDir& dir) {
    const auto errPath = dir.file("stderr.txt").string();
    const std::string command = std::string(NORVANE_REDACT_EXE) + " " + arguments + " 2>'" + errPath + "'";
    RunResult result;
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> buffer{};
    std::size_t n;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) {
        result.out.append(buffer.data(), n);
    }
    const int status = pclose(pipe);
    result.signalled = WIFSIGNALED(status);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const auto err = testing::readFile(errPath);
    result.err.assign(err.begin(), err.end());
    return result;
}

std::string quoted(const std::filesystem::path& p) { return "'" + p.string() + "'"; }

TEST(CliInfo, DescribesPagesAsJson) {
    testing::TempDir dir;
    testing::DocumentSpec spec;
    spec.pages.resize(3);
    spec.pages[1].mediaBox = {-100, 50, 400, 300};
    spec.pages[2].rotate = 270;
    const auto path = dir.file("doc.pdf");
    testing::writeFile(path, testing::buildPdf(spec));

    const auto run = runCli("info " + quoted(path), dir);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["pageCount"], 3);
    EXPECT_EQ(json["encrypted"], false);
    ASSERT_EQ(json["pages"].size(), 3u);
    EXPECT_EQ(json["pages"][1]["index"], 1);
    EXPECT_EQ(json["pages"][1]["mediaBox"], nlohmann::json({-100.0, 50.0, 400.0, 300.0}));
    EXPECT_EQ(json["pages"][0]["mediaBox"], nlohmann::json({0.0, 0.0, 612.0, 792.0}));
    EXPECT_EQ(json["pages"][2]["rotate"], 270);
}

struct RefusedFile {
    const char* name;
    std::vector<unsigned char> bytes;
    const char* message;
};

void PrintTo(const RefusedFile& c, std::ostream* os) { *os << c.name; }

class CliInfoRefusal : public ::testing::TestWithParam<RefusedFile> {};

TEST_P(CliInfoRefusal, PrintsTheFixedMessageAndExitsOne) {
    testing::TempDir dir;
    const auto path = dir.file("in.pdf");
    testing::writeFile(path, GetParam().bytes);
    const auto run = runCli("info " + quoted(path), dir);
    EXPECT_FALSE(run.signalled);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, std::string(GetParam().message) + "\n");
    EXPECT_TRUE(run.out.empty());
}

testing::DocumentSpec locked(std::optional<std::string> user) {
    auto spec = testing::textPages({"x"});
    spec.ownerPassword = "owner";
    spec.userPassword = std::move(user);
    return spec;
}

INSTANTIATE_TEST_SUITE_P(
    Cli, CliInfoRefusal,
    ::testing::Values(RefusedFile{"ownerOnly", testing::buildPdf(locked(std::nullopt)),
                                  "This PDF is encrypted or password-protected. Unlock it before redacting."},
                      RefusedFile{"userPassword", testing::buildPdf(locked("u")),
                                  "This PDF is encrypted or password-protected. Unlock it before redacting."},
                      RefusedFile{"zeroPages", testing::buildPdf(testing::DocumentSpec{}),
                                  "The PDF contains no readable pages."},
                      RefusedFile{"notPdf", {'G', 'I', 'F', '8', '9', 'a'}, "The selected PDF could not be opened."}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(CliInfo, UsageErrorsExitTwo) {
    testing::TempDir dir;
    EXPECT_EQ(runCli("", dir).exitCode, 2);
    EXPECT_EQ(runCli("info", dir).exitCode, 2);
    EXPECT_EQ(runCli("frobnicate x.pdf", dir).exitCode, 2);
    EXPECT_EQ(runCli("info " + quoted(dir.file("missing.pdf")), dir).exitCode, 1);
}

}  // namespace
}  // namespace norvane
