#include "engine/redaction_engine.h"
#include "tests/support/scan_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stop_token>
#include <utility>

namespace norvane {
namespace {

using namespace norvane::testing;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Progress = std::vector<std::pair<std::int64_t, std::int64_t>>;

ExportVerification verify(const std::filesystem::path& path, const std::vector<std::string>& terms, Progress* progress = nullptr,
                          std::stop_token stop = {}) {
    return RedactionEngine::verifyOutput(
        path, terms,
        [progress](std::int64_t page, std::int64_t count) {
            if (progress) {
                progress->emplace_back(page, count);
            }
        },
        stop);
}

RedactionRegion region(std::int64_t page, const PageRect& rect) {
    return RedactionRegion{Uuid::random(), page, rect, RedactionSource::textSearch, std::string("x")};
}

// A source whose sensitive name sits on page 1 of 2, exported with the name boxed.
class SecureCopy : public ::testing::Test {
protected:
    void exportCopy(bool labels) {
        DocumentSpec spec;
        spec.pages.resize(2);
        spec.pages[0].texts = {name_, TextRun{"Quarterly figures attached", 72, 650, 12}};
        spec.pages[1].texts = {TextRun{"Nothing sensitive here", 72, 720, 12}};
        const auto source = PdfDocument::fromBytes(buildPdf(spec));
        PageRect box = glyphBox(name_, "Harrington");
        box = PageRect{box.x - 6, box.y - 6, std::max(box.width + 12, 90.0), box.height + 12};
        RedactionEngine::exportSecurePDF(source, {region(0, box)}, output_, labels, {});
    }

    TempDir dir_;
    std::filesystem::path output_ = dir_.file("copy.pdf");
    TextRun name_{"Client Harrington", 72, 720, 12};
};

TEST_F(SecureCopy, PassesWhenEveryOccurrenceIsCoveredAndDropsBlankTerms) {
    exportCopy(false);
    Progress progress;
    const ExportVerification result = verify(output_, {"Harrington", "   ", "\n"}, &progress);
    EXPECT_TRUE(result.passed());
    EXPECT_TRUE(result.suspiciousMatches().empty());
    EXPECT_EQ(result.checkedPages(), 2);
    EXPECT_EQ(progress, (Progress{{1, 2}, {2, 2}}));
}

TEST_F(SecureCopy, RecognisedLabelsCountAsText) {
    exportCopy(true);
    const ExportVerification result = verify(output_, {"act", "Harrington", "figures"});
    // "act" is inside the burnt-in label; "figures" was never covered.
    EXPECT_THAT(result.suspiciousMatches(), ElementsAre("act", "figures"));
    EXPECT_FALSE(result.passed());
}

TEST_F(SecureCopy, WithoutTermsEveryPagePasses) {
    exportCopy(true);
    Progress progress;
    const ExportVerification result = verify(output_, {}, &progress);
    EXPECT_TRUE(result.passed());
    EXPECT_EQ(result.checkedPages(), 2);
    EXPECT_EQ(progress, (Progress{{1, 2}, {2, 2}}));
}

struct FindingsCase {
    const char* name;
    std::vector<std::string> lines;  // text-layer lines of the one page
    std::vector<std::string> terms;
    std::vector<std::string> expected;
};

void PrintTo(const FindingsCase& c, std::ostream* out) { *out << c.name; }

class TextLayerFindings : public ::testing::TestWithParam<FindingsCase> {};

TEST_P(TextLayerFindings, AreDistinctTrimmedAndInCodePointOrder) {
    const FindingsCase& c = GetParam();
    DocumentSpec spec;
    spec.pages.resize(1);
    double y = 720;
    for (const auto& line : c.lines) {
        if (line.starts_with('\x01')) {
            spec.pages[0].extraContent += "BT /F1 12 Tf 3 Tr 72 " + std::to_string(y) + " Td (" + line.substr(1) + ") Tj ET\n";
        } else {
            spec.pages[0].texts.push_back(TextRun{line, 72, y, 12});
        }
        y -= 40;
    }
    TempDir dir;
    writeFile(dir.file("plain.pdf"), buildPdf(spec));
    const ExportVerification result = verify(dir.file("plain.pdf"), c.terms);
    EXPECT_THAT(result.suspiciousMatches(), ElementsAreArray(c.expected));
    EXPECT_EQ(result.passed(), c.expected.empty());
    EXPECT_EQ(result.checkedPages(), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Terms, TextLayerFindings,
    ::testing::Values(
        FindingsCase{"Reported", {"Confidential memo for Mr Smith"}, {"Smith", "   "}, {"Smith"}},
        FindingsCase{"OneEntryPerTrimmedTerm", {"Confidential memo for Mr Smith"}, {" Smith ", "Smith", "smith\n"}, {"Smith", "smith"}},
        FindingsCase{"SortedByCodePoint", {"alpha and beta testing"}, {"beta", "alpha", "Alpha"}, {"Alpha", "alpha", "beta"}},
        FindingsCase{"AccentsIgnored", {"Attached: R\xc3\xa9sum\xc3\xa9 of the applicant"}, {"resume", "R\xc3\x89SUM\xc3\x89"},
                     {"R\xc3\x89SUM\xc3\x89", "resume"}},
        FindingsCase{"LiteralNotKeyMatch", {"Invoice No. 4711-A"}, {"4711a", "4711-a"}, {"4711-a"}},
        FindingsCase{"SplitAcrossLinesIsMissed", {"Payment to John", "Whitaker by cheque"}, {"John Whitaker"}, {}},
        FindingsCase{"AbsentTerm", {"Nothing to see"}, {"Harrington"}, {}},
        // Drawn invisibly: no recogniser sees it, the text layer still holds it.
        FindingsCase{"InvisibleText", {"Visible heading", "\x01Quarterly memo"}, {"Quarterly"}, {"Quarterly"}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Verification, ReadsScansInTheirDisplayedOrientation) {
    ScanPage page;
    page.rotate = 90;
    page.source.texts = {TextRun{"Beneficiary: Margaret Oyelaran", 72, 700, 12}};
    TempDir dir;
    writeFile(dir.file("scan.pdf"), buildScannedPdf({page}));
    const ExportVerification result = verify(dir.file("scan.pdf"), {"Oyelaran", "Whitaker"});
    EXPECT_THAT(result.suspiciousMatches(), ElementsAre("Oyelaran"));
}

class TurnedCopy : public ::testing::TestWithParam<int> {};

// A copy of a page turned after it was made shows its text sideways or upside down; a name
// left uncovered there must still be found.
TEST_P(TurnedCopy, UncoveredTermIsFound) {
    PageSpec page;
    page.rotate = GetParam();
    page.texts = {TextRun{"Beneficiary: Margaret Oyelaran", 72, 700, 14}};
    TempDir dir;
    RedactionEngine::exportSecurePDF(documentOf({page}), {region(0, {400, 100, 50, 50})}, dir.file("copy.pdf"), false, {});
    EXPECT_THAT(verify(dir.file("copy.pdf"), {"Oyelaran"}).suspiciousMatches(), ElementsAre("Oyelaran"));
}

INSTANTIATE_TEST_SUITE_P(Verification, TurnedCopy, ::testing::Values(90, 180, 270));

TEST(Verification, ARecogniserThatCannotStartFailsVerification) {
    TempDir dir;
    writeFile(dir.file("plain.pdf"), buildPdf(textPages({"Nothing sensitive"})));
    TempDir noModels;
    const char* before = std::getenv("TESSDATA_PREFIX");
    const std::string saved = before ? before : "";
    ::setenv("TESSDATA_PREFIX", noModels.path().c_str(), 1);
    const auto restore = [&] { before ? ::setenv("TESSDATA_PREFIX", saved.c_str(), 1) : ::unsetenv("TESSDATA_PREFIX"); };
    try {
        verify(dir.file("plain.pdf"), {"Harrington"});
        ADD_FAILURE() << "verification passed without reading the pixels";
    } catch (const RedactionError& error) {
        EXPECT_EQ(error.kind(), RedactionError::Kind::outputVerificationFailed);
    }
    EXPECT_TRUE(verify(dir.file("plain.pdf"), {}).passed()) << "no terms, nothing to recognise";
    restore();
}

TEST(Verification, CancellingBetweenPagesThrows) {
    TempDir dir;
    writeFile(dir.file("three.pdf"), buildPdf(textPages({"one", "two", "three"})));
    std::stop_source stop;
    Progress progress;
    EXPECT_THROW(RedactionEngine::verifyOutput(
                     dir.file("three.pdf"), {"term"},
                     [&](std::int64_t page, std::int64_t count) {
                         progress.emplace_back(page, count);
                         stop.request_stop();
                     },
                     stop.get_token()),
                 CancellationError);
    EXPECT_EQ(progress, (Progress{{1, 3}}));
}

struct UnreadableCase {
    const char* name;
    std::vector<unsigned char> bytes;  // written as the file, unless absent
    bool create = true;
};

void PrintTo(const UnreadableCase& c, std::ostream* out) { *out << c.name; }

class UnreadableOutput : public ::testing::TestWithParam<UnreadableCase> {};

TEST_P(UnreadableOutput, FailsVerification) {
    TempDir dir;
    std::filesystem::path path = dir.file("out.pdf");
    if (GetParam().create) {
        writeFile(path, GetParam().bytes);
    }
    try {
        verify(path, {"term"});
        FAIL() << "verification should not complete";
    } catch (const RedactionError& error) {
        EXPECT_EQ(error.kind(), RedactionError::Kind::outputVerificationFailed);
        EXPECT_EQ(error.errorDescription(), "The exported PDF was created but verification could not complete.");
    }
}

std::vector<unsigned char> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

std::vector<unsigned char> passwordProtected() {
    DocumentSpec spec = textPages({"Harrington"});
    spec.userPassword = "secret";
    return buildPdf(spec);
}

std::vector<unsigned char> pageOfNoArea() {
    DocumentSpec spec = textPages({"Harrington", "Harrington"});
    spec.pages[1].mediaBox = {0, 0, 0, 792};
    return buildPdf(spec);
}

INSTANTIATE_TEST_SUITE_P(Files, UnreadableOutput,
                         ::testing::Values(UnreadableCase{"Missing", {}, false}, UnreadableCase{"Empty", {}},
                                           UnreadableCase{"PlainText", bytesOf("Harrington, not a PDF\n")},
                                           UnreadableCase{"HeaderOnly", bytesOf("%PDF-1.7\n%%EOF\n")},
                                           UnreadableCase{"NeedsPassword", passwordProtected()},
                                           UnreadableCase{"PageOfNoArea", pageOfNoArea()},
                                           UnreadableCase{"PageThatCannotBeDrawn",
                                                          readFile(NORVANE_SOURCE_DIR
                                                                   "/tests/fuzz-crashes/image-too-large-to-decode.pdf")}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace norvane
