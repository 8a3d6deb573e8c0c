#include "model/recent_redaction_store.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <cstdlib>

namespace norvane {
namespace {

struct RunResult {
    int exitCode;  // -1 when killed by a signal
    std::string out;
    std::string err;
};

// The built executable through the shell, so `arguments` come quoted.
RunResult runCli(const std::string& arguments, const testing::TempDir& dir, const std::string& environment = "") {
    const auto out = dir.file("stdout.txt").string();
    const auto err = dir.file("stderr.txt").string();
    const auto command = environment + " " NORVANE_REDACT_EXE " " + arguments + " >'" + out + "' 2>'" + err + "'";
    const int status = std::system(command.c_str());
    const auto text = [](const std::string& path) {
        const auto bytes = testing::readFile(path);
        return std::string(bytes.begin(), bytes.end());
    };
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text(out), text(err)};
}

std::string quoted(const std::filesystem::path& p) {
    return "'" + p.string() + "'";
}

TEST(CliExecutable, InfoPrintsPagesAsJsonAndUsageGoesToStderr) {
    testing::TempDir dir;
    testing::DocumentSpec document;
    document.pages.resize(3);
    document.pages[1].mediaBox = {-100, 50, 400, 300};
    document.pages[2].rotate = 270;
    testing::writeFile(dir.file("doc.pdf"), testing::buildPdf(document));

    const auto run = runCli("info " + quoted(dir.file("doc.pdf")), dir);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(nlohmann::json::parse(run.out), nlohmann::json::parse(R"({"pageCount": 3, "encrypted": false, "pages": [
        {"index": 0, "mediaBox": [0, 0, 612, 792], "rotate": 0},
        {"index": 1, "mediaBox": [-100, 50, 400, 300], "rotate": 0},
        {"index": 2, "mediaBox": [0, 0, 612, 792], "rotate": 270}]})"));

    const auto usage = runCli("", dir);
    EXPECT_EQ(usage.exitCode, 2);
    EXPECT_EQ(usage.out, "");
    EXPECT_TRUE(usage.err.starts_with("usage: norvane-redact")) << usage.err;
}

// Into the app's own history file, and only when asked for an export whose check ran.
TEST(CliExecutable, RecordHistoryAddsVerifiedExportsNewestFirst) {
    testing::TempDir dir;
    const auto input = dir.file("Zeugnis Müller.pdf");
    testing::writeFile(input, testing::buildPdf(testing::textPages({"Employee John Smith", "second page"})));
    const auto exportTo = [&](const char* output, const std::string& options) {
        const auto run =
            runCli("export " + quoted(input) + " -o " + quoted(dir.file(output)) + " --find Smith " + options, dir,
                   "XDG_DATA_HOME=" + quoted(dir.file("data")));
        return run.exitCode;
    };
    EXPECT_EQ(exportTo("plain.pdf", ""), 0);
    EXPECT_EQ(exportTo("unchecked.pdf", "--no-verify --record-history"), 2);
    EXPECT_FALSE(std::filesystem::exists(dir.file("data")));

    EXPECT_EQ(exportTo("a.pdf", "--record-history"), 0);
    EXPECT_EQ(exportTo("b.pdf", "--region 0:0,0,10,10 --record-history"), 0);
    const RecentRedactionStore store(
        QString::fromStdString((dir.file("data") / "Norvane/Veilmark/recent-redactions.json").string()));
    const auto& records = store.records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].outputPath.toStdString(), dir.file("b.pdf").string());
    EXPECT_EQ(records[0].redactionCount, 2);
    EXPECT_EQ(records[1].outputPath.toStdString(), dir.file("a.pdf").string());
    EXPECT_EQ(records[1].sourceName, QString::fromUtf8("Zeugnis Müller.pdf"));
    EXPECT_EQ(records[1].pageCount, 2);
    EXPECT_EQ(records[1].redactionCount, 1);
    EXPECT_TRUE(records[1].verificationPassed);
}

}  // namespace
}  // namespace norvane
