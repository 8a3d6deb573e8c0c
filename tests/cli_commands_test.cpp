// The command-line tool through cli::run, and through the built executable for what only a
// process shows: where its output goes and which history file it writes.

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "cli/export_file.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/pdf_inspect.h"
#include "tests/support/scan_factory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/wait.h>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

namespace norvane {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
    bool said(const std::string& text) const { return err.find(text) != std::string::npos; }
};

// Two Letter pages; "John Smith" sits on the second.
std::vector<unsigned char> samplePdf() {
    return testing::buildPdf(
        {.pages = {{.texts = {{"Cover page"}}},
                   {.texts = {{"Dear John Smith, welcome.", 72, 600}, {"Regards, Smith", 72, 400}}}}});
}

class CliCommands : public ::testing::Test {
protected:
    void SetUp() override { testing::writeFile(dir_.file("in.pdf"), samplePdf()); }

    // IN and OUT stand for in.pdf and out.pdf in the test's folder, DIR for the folder.
    Outcome cli(std::vector<std::string> args) const {
        for (auto& arg : args) {
            if (arg == "IN" || arg == "OUT") arg = arg == "IN" ? "DIR/in.pdf" : "DIR/out.pdf";
            if (arg.starts_with("DIR")) arg = dir_.path().string() + arg.substr(3);
        }
        std::ostringstream out;
        std::ostringstream err;
        const int exitCode = cli::run(args, cli::Console{out, err}, services_);
        return {exitCode, out.str(), err.str()};
    }
    // Through the shell, so `arguments` come quoted; stdout is left in out.json.
    int executable(const std::string& arguments, const std::string& environment = "") const {
        const auto redirect = " >" + quoted(dir_.file("out.json")) + " 2>/dev/null";
        const int status = std::system((environment + " " NORVANE_REDACT_EXE " " + arguments + redirect).c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    Json printed() const { return Json::parse(testing::readFile(dir_.file("out.json"))); }
    static std::string quoted(const fs::path& path) { return "'" + path.string() + "'"; }

    testing::TempDir dir_;
    Services services_{std::make_shared<RecentRedactionStore>(std::nullopt), nullptr, {}};
};

// Only OCR (find --ocr) sees the name on a scan: the text search finds nothing, yet the copy
// is checked for the term and needs review, and so does verifying it again.
TEST_F(CliCommands, TermsOnlyOcrSeesAreStillVerified) {
    testing::ScanPage scan;
    scan.source.texts = {testing::TextRun{"Beneficiary: Margaret Oyelaran", 72, 700, 14}};
    testing::writeFile(dir_.file("in.pdf"), testing::buildScannedPdf({scan}));

    EXPECT_EQ(Json::parse(cli({"find", "IN", "Oyelaran", "--ocr"}).out)["results"].at(0)["source"], "OCR");
    const auto run = cli({"export", "IN", "-o", "OUT", "--find", "Oyelaran", "--region", "0:10,10,50,50"});
    EXPECT_EQ(run.exitCode, 3) << run.err;
    EXPECT_TRUE(run.said("--find term 1 found no matches")) << run.err;
    EXPECT_FALSE(run.said("Oyelaran")) << "search terms are never echoed";
    EXPECT_EQ(Json::parse(run.out)["verification"]["suspiciousMatches"], Json::array({"Oyelaran"}));

    const auto verify = cli({"verify", "OUT", "--term", "Oyelaran", "--term", "Nobody"});
    EXPECT_EQ(verify.exitCode, 3) << verify.err;
    auto result = Json::parse(verify.out);
    // Where it was read: the place a reviewer goes to, and what Redact Remaining would cover.
    ASSERT_EQ(result["findings"].size(), 1u);
    Json finding = result["findings"][0];
    const auto r = finding["rect"].get<std::vector<double>>();
    EXPECT_PRED2(testing::contains, (PageRect{r.at(0), r.at(1), r.at(2), r.at(3)}),
                 testing::glyphBox(scan.source.texts[0], "Oyelaran"));
    EXPECT_LT(r.at(2), 120) << "the word, not the line";
    finding.erase("rect");
    EXPECT_EQ(finding, Json({{"term", "Oyelaran"}, {"pageIndex", 0}, {"source", "OCR"}, {"reason", "read"}}));
    result.erase("findings");
    EXPECT_EQ(result, Json({{"passed", false}, {"checkedPages", 1}, {"suspiciousMatches", Json::array({"Oyelaran"})}}));
    EXPECT_TRUE(verify.said("Verifying page 1 of 1\n")) << verify.err;
}

// The hit find prints feeds the export: the workspace's duplicate rule across --find hits;
// drawn regions are kept as given and still block search hits with the same geometry.
TEST_F(CliCommands, FindPrintsHitsAndExportCountsRegionsAsTheWorkspaceWould) {
    const auto find = cli({"find", "IN", "  john smith "});
    ASSERT_EQ(find.exitCode, 0) << find.err;
    auto hits = Json::parse(find.out)["results"];
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_TRUE(Uuid::parse(hits[0]["id"].get<std::string>()).has_value());
    const auto r = hits[0]["rect"].get<std::vector<double>>();  // x, y, width, height
    hits[0].erase("id");
    hits[0].erase("rect");
    EXPECT_EQ(hits[0], Json({{"pageIndex", 1}, {"text", "John Smith"}, {"source", "Text"}}));
    EXPECT_EQ(Json::parse(cli({"find", "IN", "Jones"}).out),
              Json({{"results", Json::array()}, {"unreadPages", Json::array()}}));

    std::ostringstream nearJohnSmith;  // a point off the hit
    nearJohnSmith.precision(17);
    nearJohnSmith << "1:" << r.at(0) + 1 << ',' << r.at(1) - 1 << ',' << r.at(2) + 2 << ',' << r.at(3);
    const std::pair<std::vector<std::string>, int> cases[] = {
        {{"--find", "Smith", "--find", "smith"}, 2},
        {{"--find", "John Smith", "--find", "Smith"}, 3},
        {{"--region", "0:10,10,50,50", "--region", "0:10,10,50,50"}, 2},
        {{"--region", nearJohnSmith.str(), "--find", "John Smith"}, 1},
    };
    for (const auto& [actions, regions] : cases) {
        std::vector<std::string> args{"export", "IN", "-o", "OUT", "--no-verify"};
        args.insert(args.end(), actions.begin(), actions.end());
        const auto run = cli(args);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const auto result = Json::parse(run.out);
        EXPECT_EQ(result["redactionCount"], regions) << actions[1] << ' ' << actions[3];
        EXPECT_TRUE(result["verification"].is_null());
    }
}

// Finding and exporting open the file without inspecting it: the workspace inspects, they do not.
TEST_F(CliCommands, FindAndExportDoNotInspect) {
    int inspected = 0;
    services_.engine.inspect = [&](const auto&...) {
        ++inspected;
        return std::vector<InspectionFinding>{};
    };
    EXPECT_EQ(cli({"find", "IN", "Smith"}).exitCode, 0);
    EXPECT_EQ(cli({"export", "IN", "-o", "OUT", "--find", "Smith", "--no-verify"}).exitCode, 0);
    EXPECT_EQ(inspected, 0);
}

// Through the built executable: results go to stdout, and a verified export asked to be
// recorded lands in the app's own history file.
TEST_F(CliCommands, ExecutablePrintsResultsAndRecordsVerifiedExportsNewestFirst) {
    const auto input = dir_.file("Zeugnis Müller.pdf");
    auto document = testing::textPages({"Employee John Smith", "second page"});
    document.pages[1].mediaBox = {-100, 50, 400, 300};
    document.pages[1].rotate = 270;
    testing::writeFile(input, testing::buildPdf(document));
    ASSERT_EQ(executable("info " + quoted(input)), 0);
    EXPECT_EQ(printed(), Json::parse(R"({"pageCount": 2, "encrypted": false, "pages": [
        {"index": 0, "mediaBox": [0, 0, 612, 792], "rotate": 0},
        {"index": 1, "mediaBox": [-100, 50, 400, 300], "rotate": 270}]})"));

    const auto exportTo = [&](const char* output, const std::string& options) {
        const auto command = "export " + quoted(input) + " -o " + quoted(dir_.file(output)) + " --find Smith ";
        return executable(command + options, "XDG_DATA_HOME=" + quoted(dir_.file("data")));
    };
    EXPECT_EQ(exportTo("plain.pdf", ""), 0);
    EXPECT_EQ(exportTo("unchecked.pdf", "--no-verify --record-history"), 2);
    EXPECT_FALSE(fs::exists(dir_.file("data")));

    EXPECT_EQ(exportTo("a.pdf", "--label --record-history"), 0);
    EXPECT_EQ(printed(), Json({{"output", dir_.file("a.pdf").string()},
                               {"pageCount", 2},
                               {"redactionCount", 1},
                               {"unreadPages", Json::array()},
                               {"verification",
                                {{"passed", true},
                                 {"checkedPages", 2},
                                 {"suspiciousMatches", Json::array()},
                                 {"findings", Json::array()}}}}));
    EXPECT_EQ(exportTo("b.pdf", "--region 0:0,0,10,10 --record-history"), 0);
    const auto records =
        RecentRedactionStore(QString::fromStdString(dir_.file("data/Norvane/Veilmark/recent-redactions.json").string()))
            .records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].outputPath.toStdString(), dir_.file("b.pdf").string());
    EXPECT_EQ(records[0].redactionCount, 2);
    EXPECT_EQ(records[1],
              (RecentRedactionRecord{records[1].id, records[1].exportedAt, QString::fromUtf8("Zeugnis Müller.pdf"),
                                     QString::fromStdString(dir_.file("a.pdf").string()), 2, 1, true}));
}

// Width in points of the black run through (x, y) of a page exported at 180 dpi from a
// Letter page.
double blackWidthAt(const testing::InspectedPage& page, double x, double y) {
    const double scale = 180.0 / 72.0;
    const auto row = static_cast<int>((792 - y) * scale);
    const auto black = [&](int column) {
        const auto at =
            (static_cast<std::size_t>(row) * static_cast<std::size_t>(page.width) + static_cast<std::size_t>(column)) *
            static_cast<std::size_t>(page.components);
        return column >= 0 && column < page.width && page.pixels[at] == 0 && page.pixels[at + 1] == 0;
    };
    int left = static_cast<int>(x * scale);
    int right = left;
    while (black(left - 1))
        --left;
    while (black(right + 1))
        ++right;
    return black(left) ? (right - left + 1) / scale : 0.0;
}

// Patterns find personal data by kind; even-width boxes make a short name and a longer one
// export as boxes of one width, in whole steps, black all through.
TEST_F(CliCommands, PatternsFindByKindAndEvenWidthHidesHowLongANameIs) {
    const std::vector<testing::TextRun> lines{{"Ann wrote to jane.doe@example.com", 72, 700},
                                              {"Peter replied", 72, 600},
                                              {"Paid: 4111 1111 1111 1111", 72, 500}};
    testing::writeFile(dir_.file("in.pdf"), testing::buildPdf({.pages = {{.texts = lines}}}));
    std::vector<std::string> emails;
    const Json found = Json::parse(cli({"find", "IN", "--pattern", "email"}).out);
    for (const auto& hit : found["results"]) {
        emails.push_back(hit["text"]);
    }
    EXPECT_EQ(emails, std::vector<std::string>{"jane.doe@example.com"});
    const auto unknown = cli({"find", "IN", "--pattern", "passport"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.said("the patterns are email, phone, iban, card, ssn, date, ipv4, ipv6, url")) << unknown.err;

    const auto run =
        cli({"export", "IN", "-o", "OUT", "--find", "Ann", "--find", "Peter", "--pattern", "card", "--even-width"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(Json::parse(run.out)["redactionCount"], 3);
    const auto page = testing::inspectPdf(testing::readFile(dir_.file("out.pdf"))).pages.at(0);
    const double ann = blackWidthAt(page, lines[0].x + 5, lines[0].y + 3);
    const double peter = blackWidthAt(page, lines[1].x + 5, lines[1].y + 3);
    EXPECT_GT(ann, 3 * 12);
    EXPECT_NEAR(ann, peter, 1.0) << "a box of its own width would tell the names apart";
}

const std::string kOverwrite = "Norvane will not overwrite the original PDF. Choose a different output name.";
const std::string kEncrypted = "This PDF is encrypted or password-protected. Unlock it before redacting.";
const std::string kNotCreated = "The secure redacted PDF could not be created.";
const std::string kNotVerified = "The exported PDF was created but verification could not complete.";
const std::string kNothingToDo = "Add at least one redaction before exporting.";

struct FailureCase {
    friend void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<std::string> args;
    int exitCode;
    std::string message = {};  // the last line of stderr; usage errors are left unchecked
};

class CliFailures : public CliCommands, public ::testing::WithParamInterface<FailureCase> {};

std::map<std::string, std::vector<unsigned char>> contents(const fs::path& dir) {
    std::map<std::string, std::vector<unsigned char>> files;
    for (const auto& entry : fs::recursive_directory_iterator(dir)) {
        files[entry.path().string()] =
            entry.is_regular_file() ? testing::readFile(entry.path()) : std::vector<unsigned char>{};
    }
    return files;
}

TEST_P(CliFailures, ExitWithoutWritingAnything) {
    const auto input = dir_.file("in.pdf");
    // Only an owner password guards it, so it opens without one and must still be refused.
    testing::writeFile(dir_.file("locked.pdf"),
                       testing::buildPdf({.pages = testing::textPages({"x"}).pages, .ownerPassword = "owner"}));
    // Other names of the input, for the overwrite refusals.
    fs::create_symlink(input, dir_.file("link.pdf"));
    fs::create_hard_link(input, dir_.file("hard.pdf"));
    fs::create_directory_symlink(dir_.path(), dir_.file("alias"));
    const auto before = contents(dir_.path());
    const auto run = cli(GetParam().args);
    EXPECT_EQ(run.exitCode, GetParam().exitCode) << run.err;
    EXPECT_EQ(run.out, "");
    if (!GetParam().message.empty()) {
        EXPECT_TRUE(("\n" + run.err).ends_with("\n" + GetParam().message + "\n")) << run.err;
    }
    EXPECT_EQ(contents(dir_.path()), before);
}

INSTANTIATE_TEST_SUITE_P(
    Cli, CliFailures,
    ::testing::ValuesIn(std::vector<FailureCase>{
        {"unknownCommand", {"redact", "IN"}, 2},
        {"noInput", {"export", "-o", "OUT", "--find", "Smith"}, 2},
        {"optionWithoutValue", {"verify", "IN", "--term"}, 2},
        {"noOutput", {"export", "IN", "--find", "Smith"}, 2},
        {"unknownOption", {"export", "IN", "-o", "OUT", "--bogus"}, 2},
        {"regionTooFewNumbers", {"export", "IN", "-o", "OUT", "--region", "0:1,2,30"}, 2},
        {"regionNotFinite", {"export", "IN", "-o", "OUT", "--region", "0:nan,2,30,40"}, 2},
        {"regionTooSmall", {"export", "IN", "-o", "OUT", "--region", "0:1,2,1.5,40"}, 2},
        {"regionPastLastPage", {"export", "IN", "-o", "OUT", "--region", "2:1,2,30,40"}, 2},
        {"nothingFound", {"export", "IN", "-o", "OUT", "--find", "Jones"}, 1, kNothingToDo},
        {"unknownPattern", {"export", "IN", "-o", "OUT", "--ocr-pattern", "Email"}, 2},
        {"textAndPattern", {"find", "IN", "Smith", "--pattern", "email"}, 2},
        {"neitherTextNorPattern", {"find", "IN", "--ocr"}, 2},
        {"missingFile", {"find", "DIR/none.pdf", "Smith"}, 1, "The selected PDF could not be opened."},
        {"ownerPassword", {"export", "DIR/locked.pdf", "-o", "OUT", "--find", "x"}, 1, kEncrypted},
        {"unwritableOutput", {"export", "IN", "-o", "DIR/no/out.pdf", "--find", "Smith"}, 1, kNotCreated},
        {"verifyMissingFile", {"verify", "DIR/none.pdf", "--term", "x"}, 1, kNotVerified},
        {"overwriteSamePath", {"export", "IN", "-o", "IN", "--find", "Smith"}, 1, kOverwrite},
        {"overwriteDotDot", {"export", "IN", "-o", "DIR/missing/../in.pdf", "--find", "Smith"}, 1, kOverwrite},
        {"overwriteSymlink", {"export", "IN", "-o", "DIR/link.pdf", "--find", "Smith"}, 1, kOverwrite},
        {"overwriteLinkedFolder", {"export", "IN", "-o", "DIR/alias/in.pdf", "--find", "Smith"}, 1, kOverwrite},
        {"overwriteHardLink", {"export", "IN", "-o", "DIR/hard.pdf", "--find", "Smith"}, 1, kOverwrite},
        {"twoInputsOneOutput", {"export", "IN", "IN", "-o", "OUT", "--find", "Smith"}, 2},
        {"outputAndFolder", {"export", "IN", "-o", "OUT", "--out-dir", "DIR/o", "--find", "Smith"}, 2},
        {"regionInABatch", {"export", "IN", "--out-dir", "DIR/o", "--region", "0:1,2,30,40"}, 2},
        {"forceWithoutFolder", {"export", "IN", "-o", "OUT", "--force", "--find", "Smith"}, 2},
        {"noJobs", {"export", "IN", "--out-dir", "DIR/o", "-j", "0", "--find", "Smith"}, 2},
        {"languageNotInstalled",
         {"find", "IN", "Smith", "--ocr", "--ocr-lang", "eng+xx_test"},
         1,
         "The recognition language \"xx_test\" is not installed. Install the package tesseract-ocr-xx-test."},
    }),
    [](const auto& p) { return std::string(p.param.name); });

// A page the search could not read is named on stderr and in the JSON, and "found nothing" then
// needs a person's review; the export still checks the copy for the term.
TEST_F(CliCommands, PagesASearchCouldNotReadAreReported) {
    services_.engine.nativeTextMatches = [](const auto&...) {
        return SearchOutcome{{}, {{1, PageFailure::unparsable}}};
    };
    const auto find = cli({"find", "IN", "Smith"});
    EXPECT_EQ(find.exitCode, 3) << find.err;
    EXPECT_TRUE(find.said("Page 2 could not be searched. Its content could not be parsed.")) << find.err;
    const Json unread = Json::array({{{"pageIndex", 1}, {"reason", "unparsable"}}});
    EXPECT_EQ(Json::parse(find.out)["unreadPages"], unread);

    const auto run = cli({"export", "IN", "-o", "OUT", "--find", "Smith", "--region", "0:10,10,50,50"});
    EXPECT_EQ(run.exitCode, 3) << "the copy still shows Smith: " << run.err;
    const Json result = Json::parse(run.out);
    EXPECT_EQ(result["unreadPages"], unread);
    EXPECT_EQ(result["verification"]["suspiciousMatches"], Json::array({"Smith"}));
}

// Whatever order the files finish in, the array follows the inputs and the exit code is the
// worst outcome: a failure over "Needs Review" over success.
// On a terminal the bar ends its line once: when the last page is read, or when the work ends
// before it (a last page skipped, a stop), so the next message is not written onto the bar.
TEST(CliProgress, TheTerminalBarEndsItsLineExactlyOnce) {
    const std::vector<std::vector<int>> runs = {{1, 2, 3}, {1, 2}, {}};
    for (const auto& pages : runs) {
        std::ostringstream out, err;
        const cli::Console console{out, err, true};
        {
            const PageProgress progress = cli::progressPrinter(console, "Page ");
            for (int page : pages)
                progress(page, 3);
        }
        const std::string said = err.str();
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), pages.empty() ? 0 : 1) << pages.size();
        EXPECT_TRUE(pages.empty() || said.back() == '\n') << pages.size();
    }
}

TEST(CliBatch, ReportsInInputOrderAndExitsWithTheWorstOutcome) {
    const std::pair<std::vector<int>, int> cases[] = {{{0, 0}, 0},    {{0, 3, 0}, 3}, {{3, 1}, 1},
                                                      {{1, 3, 0}, 1}, {{2, 0}, 1},    {{0, 0, 0, 3}, 3}};
    testing::TempDir dir;
    for (const auto& [codes, worst] : cases) {
        std::vector<fs::path> inputs;
        for (std::size_t i = 0; i < codes.size(); ++i) {
            inputs.push_back(dir.file("in" + std::to_string(i) + ".pdf"));
        }
        const cli::ExportOne fake =
            [&](const fs::path& source, const fs::path& output, const cli::Console& console, const StateHop&) {
            const auto i = static_cast<std::size_t>(source.stem().string().back() - '0');
            std::this_thread::sleep_for(std::chrono::milliseconds(10 * (codes.size() - i)));  // last done first
            if (codes[i] == cli::kExitOk || codes[i] == cli::kExitNeedsReview) {
                return cli::FileExport{codes[i], {{"output", output.string()}}};
            }
            console.err << "progress\nwhy " << i << '\n';
            return cli::FileExport{codes[i], nullptr};
        };
        std::ostringstream out;
        std::ostringstream err;
        EXPECT_EQ(cli::runBatch(inputs, {dir.file("out"), true, 3}, cli::Console{out, err}, fake), worst);
        const Json printed = Json::parse(out.str());
        ASSERT_EQ(printed.size(), codes.size());
        for (std::size_t i = 0; i < codes.size(); ++i) {
            EXPECT_EQ(printed[i]["input"], inputs[i].string());
            if (codes[i] == cli::kExitOk || codes[i] == cli::kExitNeedsReview) {
                EXPECT_EQ(printed[i]["output"], dir.file("out/in" + std::to_string(i) + "-redacted.pdf").string());
            } else {
                EXPECT_EQ(printed[i]["error"], "why " + std::to_string(i));
                EXPECT_NE(err.str().find("in" + std::to_string(i) + ".pdf: why"), std::string::npos) << err.str();
            }
        }
    }
}

// inspect: 0 for a clean file, 4 when something is hidden, 1 when it cannot say; the hidden
// words appear only with --show-text, and several files give one entry each, in order.
TEST_F(CliCommands, InspectSaysWhatIsHiddenWithoutSayingIt) {
    const testing::TextRun line{"Payee Jane Roe", 72, 700, 12};
    testing::writeFile(
        dir_.file("boxed.pdf"),
        testing::buildPdf({.pages = {{.texts = {line}, .filledBlackRects = {testing::glyphBox(line, "Roe")}}}}));

    const auto clean = cli({"inspect", "IN"});
    EXPECT_EQ(clean.exitCode, 0) << clean.err;
    EXPECT_EQ(Json::parse(clean.out), Json::array());

    const auto boxed = cli({"inspect", "DIR/boxed.pdf"});
    EXPECT_EQ(boxed.exitCode, 4) << boxed.err;
    const Json finding = Json::parse(boxed.out).at(0);
    EXPECT_EQ(finding["kind"], "failedRedaction");
    EXPECT_EQ(finding["pageIndex"], 0);
    EXPECT_EQ(finding["count"], 3);
    EXPECT_EQ(finding["rect"].size(), 4u);
    EXPECT_EQ(boxed.out.find("Roe"), std::string::npos);
    EXPECT_EQ(Json::parse(cli({"inspect", "DIR/boxed.pdf", "--show-text"}).out).at(0)["text"], "Roe");

    const auto batch = cli({"inspect", "IN", "DIR/missing.pdf", "DIR/boxed.pdf"});
    EXPECT_EQ(batch.exitCode, 1);
    const Json entries = Json::parse(batch.out);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0]["findings"], Json::array());
    EXPECT_TRUE(entries[1].contains("error"));
    EXPECT_EQ(entries[2]["findings"].size(), 1u);
    EXPECT_EQ(cli({"inspect", "IN", "DIR/boxed.pdf"}).exitCode, 4);
    EXPECT_EQ(cli({"inspect", "DIR/missing.pdf"}).exitCode, 1);
}

// --searchable gives the copy the text its own pages show, in a batch too, and never a redacted
// word; without it the copy has no text at all.
TEST_F(CliCommands, SearchableCopiesCarryTheTextTheirPagesShow) {
    testing::writeFile(dir_.file("second.pdf"), samplePdf());
    const auto single = cli({"export", "IN", "-o", "OUT", "--find", "Smith", "--searchable"});
    ASSERT_EQ(single.exitCode, 0) << single.err;
    const auto batch =
        cli({"export", "IN", "DIR/second.pdf", "--out-dir", "DIR/batch", "--find", "Smith", "--searchable", "-j", "2"});
    ASSERT_EQ(batch.exitCode, 0) << batch.err;
    for (const char* copy : {"out.pdf", "batch/in-redacted.pdf", "batch/second-redacted.pdf"}) {
        const std::string text = testing::pdftotext(dir_.file(copy));
        EXPECT_NE(text.find("Cover page"), std::string::npos) << copy << '\n' << text;
        EXPECT_EQ(text.find("Smith"), std::string::npos) << copy << '\n' << text;
    }
    ASSERT_EQ(cli({"export", "IN", "-o", "DIR/plain.pdf", "--find", "Smith"}).exitCode, 0);
    EXPECT_EQ(testing::inspectPdf(testing::readFile(dir_.file("plain.pdf"))).textCharacters, 0);
}

// A batch never writes a copy twice, over an existing file without --force, or over any input.
TEST_F(CliCommands, BatchRefusesTargetsItMustNotWrite) {
    fs::create_directories(dir_.file("sub"));
    testing::writeFile(dir_.file("sub/in.pdf"), samplePdf());
    const auto errors = [](const Outcome& run) {
        std::vector<std::string> found;
        for (const auto& entry : Json::parse(run.out)) {
            found.push_back((entry.contains("error") ? entry["error"] : entry["output"]).get<std::string>());
        }
        return found;
    };
    const std::string copy = dir_.file("out/in-redacted.pdf").string();
    auto run = cli({"export", "IN", "DIR/sub/in.pdf", "DIR/none.pdf", "--out-dir", "DIR/out", "--find", "Smith",
                    "--no-verify", "-j", "2"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(errors(run),
              (std::vector<std::string>{copy, "norvane-redact: " + copy + " is the copy of an earlier input already",
                                        "The selected PDF could not be opened."}));
    const auto written = testing::readFile(copy);

    run = cli({"export", "IN", "--out-dir", "DIR/out", "--find", "Smith", "--no-verify"});
    EXPECT_EQ(errors(run), (std::vector<std::string>{"norvane-redact: " + copy + " exists; --force replaces it"}));
    // With --force the existing copy goes, but never a copy that is itself an input.
    run = cli({"export", "IN", "DIR/out/in-redacted.pdf", "--out-dir", "DIR/out", "--force", "--find", "Smith",
               "--no-verify"});
    EXPECT_EQ(errors(run), (std::vector<std::string>{kOverwrite, kNothingToDo}));
    EXPECT_EQ(testing::readFile(copy), written);
    EXPECT_EQ(cli({"export", "IN", "--out-dir", "DIR/out", "--force", "--find", "Smith"}).exitCode, 0);
}

// The README's recipe for many machines, run on this one with two jobs.
TEST_F(CliCommands, ReadmeBatchRecipeRunsLocally) {
    std::ifstream readme(NORVANE_SOURCE_DIR "/README.md");
    std::stringstream text;
    text << readme.rdbuf();
    const std::string all = text.str();
    const auto block = all.find("```sh\n", all.find("<!-- batch-recipe -->"));
    ASSERT_NE(block, std::string::npos);
    std::string recipe = all.substr(block + 6, all.find("```", block + 6) - block - 6);
    const auto hosts = recipe.find("--sshlogin ") + 11;
    recipe.replace(hosts, recipe.find(' ', hosts) - hosts, "2/:");

    const auto archive = dir_.file("archive");
    fs::create_directories(archive / "2024/q1");
    const auto letter = testing::buildPdf(testing::textPages({"Dear Jane Doe, thank you."}));
    testing::writeFile(archive / "2024/q1/letter one.pdf", letter);
    testing::writeFile(archive / "memo.pdf", letter);
    testing::writeFile(archive / "broken.pdf", std::vector<unsigned char>{'%', 'P', 'D', 'F'});
    const auto bin = fs::path(NORVANE_REDACT_EXE).parent_path();
    const auto command = "cd " + quoted(archive) + " && export PATH=" + quoted(bin) + ":$PATH && (" + recipe + ") 2>" +
                         quoted(dir_.file("err.txt"));
    const int status = std::system(command.c_str());
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 1) << "one file failed\n" << command;
    EXPECT_TRUE(fs::exists(archive / "2024/q1/letter one-redacted.pdf"));
    EXPECT_TRUE(fs::exists(archive / "memo-redacted.pdf"));
    std::ifstream results(archive / "results.json");
    std::map<std::string, bool> passed;
    while (results >> std::ws && results.peek() != EOF) {
        Json array;
        results >> array;
        for (const auto& entry : array) {
            passed[fs::path(entry["input"].get<std::string>()).filename()] =
                entry.contains("verification") && entry["verification"]["passed"] == true;
        }
    }
    EXPECT_EQ(passed,
              (std::map<std::string, bool>{{"letter one.pdf", true}, {"memo.pdf", true}, {"broken.pdf", false}}));
}

}  // namespace
}  // namespace norvane
