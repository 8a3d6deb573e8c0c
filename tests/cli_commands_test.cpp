#include "cli/cli_support.h"
#include "cli/commands.h"
#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/scan_factory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cctype>
#include <sstream>

namespace norvane {
namespace {

namespace fs = std::filesystem;

struct Run {
    int exitCode = -1;
    std::string out;
    std::string err;
};

Run runCli(const std::vector<std::string>& args, bool terminal = false) {
    std::ostringstream out;
    std::ostringstream err;
    Run run;
    run.exitCode = cli::run(args, cli::Console{out, err, terminal});
    run.out = out.str();
    run.err = err.str();
    return run;
}

// Two Letter pages; "John Smith" sits on the second at a known place.
testing::DocumentSpec sampleSpec() {
    testing::DocumentSpec spec;
    testing::PageSpec first;
    first.texts.push_back(testing::TextRun{"Cover page", 72, 720, 12});
    testing::PageSpec second;
    second.texts.push_back(testing::TextRun{"Dear John Smith, welcome.", 72, 600, 12});
    second.texts.push_back(testing::TextRun{"Regards, Smith", 72, 400, 12});
    spec.pages = {first, second};
    return spec;
}

class CliCommands : public ::testing::Test {
protected:
    void SetUp() override { testing::writeFile(input_, testing::buildPdf(sampleSpec())); }

    std::string in() const { return input_.string(); }
    std::string path(const std::string& name) const { return dir_.file(name).string(); }

    testing::TempDir dir_;
    fs::path input_ = dir_.file("in.pdf");
};

TEST_F(CliCommands, FindPrintsResultsAsJson) {
    const auto run = runCli({"find", in(), "  john smith "});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    ASSERT_EQ(json.size(), 1u);
    const auto& hit = json[0];
    EXPECT_TRUE(Uuid::parse(hit["id"].get<std::string>()).has_value());
    EXPECT_EQ(hit["pageIndex"], 1);
    EXPECT_EQ(hit["text"], "John Smith");
    EXPECT_EQ(hit["source"], "Text");
    ASSERT_EQ(hit["rect"].size(), 4u);
    // "Dear " is about 29 points wide at 12 points; the box sits on the 600 baseline.
    const double x = hit["rect"][0];
    const double y = hit["rect"][1];
    const double w = hit["rect"][2];
    const double h = hit["rect"][3];
    const double johnX = 72 + testing::textWidth("Dear ", 12);
    EXPECT_LT(x, johnX);
    EXPECT_GT(x + w, johnX + testing::textWidth("John Smith", 12));
    EXPECT_LT(y, 600 - 2.5);
    EXPECT_GT(y + h, 600 + 9);
}

// A term the text layer does not have but the page still shows (a scan) is said to have no
// matches, and verification still looks for it: the copy needs review.
TEST_F(CliCommands, ExportVerifiesAskedTermsThatFoundNothing) {
    testing::ScanPage scan;
    scan.source.texts = {testing::TextRun{"Beneficiary: Margaret Oyelaran", 72, 700, 14}};
    testing::writeFile(input_, testing::buildScannedPdf({scan}));
    const auto run = runCli({"export", in(), "-o", path("out.pdf"), "--find", "Oyelaran", "--region", "0:10,10,50,50"});
    EXPECT_EQ(run.exitCode, 3) << run.err;
    EXPECT_NE(run.err.find("--find term 1 found no matches"), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("Oyelaran"), std::string::npos) << "search terms are never echoed";
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["verification"]["suspiciousMatches"], nlohmann::json::array({"Oyelaran"}));
}

TEST_F(CliCommands, FindWithOcrReportsOcrResults) {
    const auto run = runCli({"find", in(), "welcome", "--ocr"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    ASSERT_EQ(json.size(), 1u);
    EXPECT_EQ(json[0]["pageIndex"], 1);
    EXPECT_EQ(json[0]["source"], "OCR");
    EXPECT_EQ(json[0]["text"], "welcome");
    EXPECT_NE(run.err.find("OCR 2 of 2\n"), std::string::npos) << run.err;
}

TEST_F(CliCommands, FindWithoutHitsPrintsAnEmptyArray) {
    const auto run = runCli({"find", in(), "Jones"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(nlohmann::json::parse(run.out), nlohmann::json::array());
}

TEST_F(CliCommands, ExportWritesAnImageOnlyCopy) {
    const auto out = path("out.pdf");
    const auto run = runCli({"export", in(), "-o", out, "--find", "John Smith", "--region", "0:72,700,100,40", "--label",
                             "--no-verify"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["output"], fs::path(out).lexically_normal().string());
    EXPECT_EQ(json["pageCount"], 2);
    EXPECT_EQ(json["redactionCount"], 2);
    EXPECT_TRUE(json["verification"].is_null());

    const auto written = PdfDocument::openForRedaction(out);
    EXPECT_EQ(written->pageCount(), 2);
    for (const char* word : {"Cover", "Dear", "Regards", "welcome"}) {
        EXPECT_TRUE(RedactionEngine::nativeTextMatches(written, word).empty()) << word;
    }
    EXPECT_NE(run.err.find("Exporting page 2 of 2\n"), std::string::npos) << run.err;
}

TEST_F(CliCommands, ExportVerifiesByDefault) {
    const auto out = path("checked.pdf");
    const auto run = runCli({"export", in(), "-o", out, "--find", "Smith"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["redactionCount"], 2);
    EXPECT_EQ(json["verification"]["passed"], true);
    EXPECT_EQ(json["verification"]["checkedPages"], 2);
    EXPECT_EQ(json["verification"]["suspiciousMatches"], nlohmann::json::array());
    EXPECT_NE(run.err.find("Verifying page 2 of 2\n"), std::string::npos) << run.err;
}

TEST_F(CliCommands, VerifyReportsTermsStillPresent) {
    const auto run = runCli({"verify", in(), "--term", "Smith", "--term", "Nobody"});
    EXPECT_EQ(run.exitCode, 3) << run.err;
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["passed"], false);
    EXPECT_EQ(json["checkedPages"], 2);
    EXPECT_EQ(json["suspiciousMatches"], nlohmann::json::array({"Smith"}));
}

TEST_F(CliCommands, ProgressDrawsABarOnATerminal) {
    const auto run = runCli({"export", in(), "-o", path("bar.pdf"), "--find", "Cover", "--no-verify"}, true);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.err.find("\r["), std::string::npos);
    EXPECT_NE(run.err.find("] Exporting page 2 of 2"), std::string::npos);
    EXPECT_EQ(run.err.back(), '\n');
}

// The duplicate rule of the workspace applies across --find hits; drawn regions are kept
// as given and still block search hits with the same geometry.
struct DuplicateCase {
    const char* name;
    std::vector<std::string> actions;
    int regions;
};

void PrintTo(const DuplicateCase& c, std::ostream* os) { *os << c.name; }

class CliExportDuplicates : public CliCommands, public ::testing::WithParamInterface<DuplicateCase> {};

TEST_P(CliExportDuplicates, CountsRegionsAsTheModelWould) {
    std::vector<std::string> args{"export", in(), "-o", path("dup.pdf"), "--no-verify"};
    args.insert(args.end(), GetParam().actions.begin(), GetParam().actions.end());
    const auto run = runCli(args);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(nlohmann::json::parse(run.out)["redactionCount"], GetParam().regions);
}

std::string johnSmithRegion() {
    // Where the search puts "John Smith", as a region argument.
    const auto document = PdfDocument::fromBytes(testing::buildPdf(sampleSpec()));
    const auto hit = RedactionEngine::nativeTextMatches(document, "John Smith").at(0).rect;
    std::ostringstream text;
    text.precision(17);
    text << hit.x + 1 << ',' << hit.y - 1 << ',' << hit.width + 2 << ',' << hit.height;
    return "1:" + text.str();
}

INSTANTIATE_TEST_SUITE_P(
    Cli, CliExportDuplicates,
    ::testing::Values(DuplicateCase{"sameTermTwice", {"--find", "Smith", "--find", "smith"}, 2},
                      DuplicateCase{"overlappingTerms", {"--find", "John Smith", "--find", "Smith"}, 3},
                      DuplicateCase{"regionTwice", {"--region", "0:10,10,50,50", "--region", "0:10,10,50,50"}, 2},
                      DuplicateCase{"hitAfterNearRegion", {"--region", johnSmithRegion(), "--find", "John Smith"}, 1},
                      DuplicateCase{"regionOnOtherPage", {"--region", "0:10,10,50,50", "--find", "Cover"}, 2}),
    [](const auto& p) { return std::string(p.param.name); });

// Every spelling of the input is refused before anything is opened or written.
class CliOverwriteGuard : public CliCommands, public ::testing::WithParamInterface<const char*> {};

TEST_P(CliOverwriteGuard, RefusesToWriteOverTheInput) {
    const std::string spelling = GetParam();
    fs::path output;
    if (spelling == "symlink") {
        output = dir_.file("link.pdf");
        fs::create_symlink(input_, output);
    } else if (spelling == "linkedfolder") {
        fs::create_directory_symlink(dir_.path(), dir_.file("alias"));
        output = dir_.file("alias") / input_.filename();
    } else if (spelling == "hardlink") {
        output = dir_.file("hard.pdf");
        fs::create_hard_link(input_, output);
    } else {
        output = dir_.path().string() + spelling;
    }
    const auto before = testing::readFile(input_);
    const auto run = runCli({"export", in(), "-o", output.string(), "--find", "Smith", "--no-verify"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "Norvane will not overwrite the original PDF. Choose a different output name.\n");
    EXPECT_TRUE(run.out.empty());
    EXPECT_EQ(testing::readFile(input_), before);
}

INSTANTIATE_TEST_SUITE_P(Cli, CliOverwriteGuard,
                         ::testing::Values("/in.pdf", "/./in.pdf", "/missing/../in.pdf", "//in.pdf", "symlink",
                                           "linkedfolder", "hardlink"),
                         [](const auto& p) {
                             std::string name;
                             for (char c : std::string(p.param)) {
                                 name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             }
                             return name;
                         });

struct FailureCase {
    const char* name;
    std::vector<std::string> args;  // "IN" and "OUT" stand for the input and a fresh output
    int exitCode;
    std::string message;  // last line of stderr, or empty to only check the exit code
};

void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.name; }

class CliFailures : public CliCommands, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(CliFailures, ExitWithoutWritingAnything) {
    std::vector<std::string> args = GetParam().args;
    for (auto& arg : args) {
        if (arg == "IN") {
            arg = in();
        } else if (arg == "OUT") {
            arg = path("out.pdf");
        } else if (arg == "NODIR") {
            arg = path("no/such/dir/out.pdf");
        }
    }
    const auto run = runCli(args);
    EXPECT_EQ(run.exitCode, GetParam().exitCode) << run.err;
    EXPECT_TRUE(run.out.empty()) << run.out;
    if (!GetParam().message.empty()) {
        // The fixed message is the last line; status lines may come before it.
        EXPECT_TRUE(run.err.ends_with("\n" + GetParam().message + "\n") || run.err == GetParam().message + "\n")
            << run.err;
    }
    std::vector<fs::path> left;
    for (const auto& entry : fs::recursive_directory_iterator(dir_.path())) {
        left.push_back(entry.path().filename());
    }
    EXPECT_EQ(left, std::vector<fs::path>{"in.pdf"});
}

INSTANTIATE_TEST_SUITE_P(
    Cli, CliFailures,
    ::testing::Values(
        FailureCase{"noCommandArgs", {"export"}, 2, ""},
        FailureCase{"noOutput", {"export", "IN", "--find", "Smith"}, 2, ""},
        FailureCase{"outputWithoutValue", {"export", "IN", "--find", "Smith", "-o"}, 2, ""},
        FailureCase{"noInput", {"export", "-o", "OUT", "--find", "Smith"}, 2, ""},
        FailureCase{"unknownOption", {"export", "IN", "-o", "OUT", "--bogus"}, 2, ""},
        FailureCase{"regionTooFewNumbers", {"export", "IN", "-o", "OUT", "--region", "0:1,2,30"}, 2, ""},
        FailureCase{"regionBadPage", {"export", "IN", "-o", "OUT", "--region", "x:1,2,30,40"}, 2, ""},
        FailureCase{"regionNotFinite", {"export", "IN", "-o", "OUT", "--region", "0:nan,2,30,40"}, 2, ""},
        FailureCase{"regionTooSmall", {"export", "IN", "-o", "OUT", "--region", "0:1,2,1.5,40"}, 2, ""},
        FailureCase{"regionPastLastPage", {"export", "IN", "-o", "OUT", "--region", "2:1,2,30,40"}, 2, ""},
        FailureCase{"findMissingText", {"find", "IN"}, 2, ""},
        FailureCase{"verifyTermWithoutValue", {"verify", "IN", "--term"}, 2, ""},
        FailureCase{"unknownCommand", {"redact", "IN"}, 2, ""},
        FailureCase{"nothingFound", {"export", "IN", "-o", "OUT", "--find", "Jones"}, 1,
                    "Add at least one redaction before exporting."},
        FailureCase{"blankFind", {"export", "IN", "-o", "OUT", "--find", "   "}, 1,
                    "Add at least one redaction before exporting."},
        FailureCase{"noActions", {"export", "IN", "-o", "OUT"}, 1, "Add at least one redaction before exporting."},
        FailureCase{"missingInput", {"find", "NODIR", "Smith"}, 1, "The selected PDF could not be opened."},
        FailureCase{"unwritableOutput", {"export", "IN", "-o", "NODIR", "--find", "Smith", "--no-verify"}, 1,
                    "The secure redacted PDF could not be created."},
        FailureCase{"verifyMissingFile", {"verify", "NODIR", "--term", "x"}, 1,
                    "The exported PDF was created but verification could not complete."}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_F(CliCommands, RefusesEncryptedInput) {
    auto spec = sampleSpec();
    spec.ownerPassword = "owner";
    testing::writeFile(input_, testing::buildPdf(spec));
    const auto run = runCli({"export", in(), "-o", path("out.pdf"), "--find", "Smith"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, "This PDF is encrypted or password-protected. Unlock it before redacting.\n");
    EXPECT_FALSE(fs::exists(path("out.pdf")));
}

}  // namespace
}  // namespace norvane
