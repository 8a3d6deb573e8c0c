#include "model/recent_redaction_store.h"
#include "tests/support/pdf_factory.h"

#include <QByteArray>
#include <QFile>

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

RunResult runCli(const std::string& arguments, const testing::TempDir& dir, const std::string& environment = "") {
    const auto errPath = dir.file("stderr.txt").string();
    const std::string command =
        environment + " " + std::string(NORVANE_REDACT_EXE) + " " + arguments + " 2>'" + errPath + "'";
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

QByteArray readAll(const std::filesystem::path& path) {
    QFile file(QString::fromStdString(path.string()));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(CliHistory, RecordHistoryWritesTheAppsHistoryFileNewestFirst) {
    testing::TempDir dir;
    const auto input = dir.file("Zeugnis Müller.pdf");
    testing::writeFile(input, testing::buildPdf(testing::textPages({"Employee John Smith", "second page"})));
    const std::string env = "XDG_DATA_HOME='" + dir.file("data").string() + "'";
    const auto history = dir.file("data") / "Norvane" / "Veilmark" / "recent-redactions.json";

    const auto first = runCli("export " + quoted(input) + " -o " + quoted(dir.file("a.pdf")) +
                                  " --find Smith --record-history",
                              dir, env);
    ASSERT_EQ(first.exitCode, 0) << first.err;
    const auto second = runCli("export " + quoted(input) + " -o " + quoted(dir.file("b.pdf")) +
                                   " --region 0:0,0,10,10 --find Smith --record-history",
                               dir, env);
    ASSERT_EQ(second.exitCode, 0) << second.err;

    const QByteArray bytes = readAll(history);
    const auto records = RecentRedactionStore::decode(bytes);
    ASSERT_TRUE(records);
    ASSERT_EQ(records->size(), 2u);
    EXPECT_EQ((*records)[0].outputPath.toStdString(), dir.file("b.pdf").string());
    EXPECT_EQ((*records)[0].redactionCount, 2);
    EXPECT_EQ((*records)[1].outputPath.toStdString(), dir.file("a.pdf").string());
    EXPECT_EQ((*records)[1].sourceName, QString::fromUtf8("Zeugnis Müller.pdf"));
    EXPECT_EQ((*records)[1].pageCount, 2);
    EXPECT_TRUE((*records)[1].verificationPassed);
    EXPECT_EQ(RecentRedactionStore::encode(*records), bytes) << "written in the store's own layout";
    EXPECT_TRUE(bytes.contains("\\/")) << "slashes escaped as the app writes them";

    // A damaged file is replaced whole at the next export.
    testing::writeFile(history, {'[', '{', '"', 'i'});
    const auto third = runCli("export " + quoted(input) + " -o " + quoted(dir.file("c.pdf")) +
                                  " --find Smith --record-history",
                              dir, env);
    ASSERT_EQ(third.exitCode, 0) << third.err;
    const auto replaced = RecentRedactionStore::decode(readAll(history));
    ASSERT_TRUE(replaced);
    ASSERT_EQ(replaced->size(), 1u);
    EXPECT_EQ((*replaced)[0].outputPath.toStdString(), dir.file("c.pdf").string());
}

TEST(CliHistory, WithoutTheFlagOrWithoutVerificationNothingIsRecorded) {
    testing::TempDir dir;
    const auto input = dir.file("in.pdf");
    testing::writeFile(input, testing::buildPdf(testing::textPages({"John Smith"})));
    const std::string env = "XDG_DATA_HOME='" + dir.file("data").string() + "'";
    EXPECT_EQ(runCli("export " + quoted(input) + " -o " + quoted(dir.file("a.pdf")) + " --find Smith", dir, env).exitCode, 0);
    EXPECT_EQ(runCli("export " + quoted(input) + " -o " + quoted(dir.file("b.pdf")) +
                         " --find Smith --no-verify --record-history",
                     dir, env)
                  .exitCode,
              2);
    EXPECT_FALSE(std::filesystem::exists(dir.file("data")));
}

}  // namespace
}  // namespace norvane
