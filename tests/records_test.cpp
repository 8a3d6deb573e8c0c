#include "records/redaction_records.h"

#include <gtest/gtest.h>

#include <set>

namespace norvane {
namespace {

struct RawCase {
    const char* raw;
    std::optional<RedactionSource> expected;
};

void PrintTo(const RawCase& c, std::ostream* os) { *os << '"' << c.raw << '"'; }

class SourceFromRaw : public ::testing::TestWithParam<RawCase> {};

TEST_P(SourceFromRaw, IsExactAndCaseSensitive) {
    EXPECT_EQ(redactionSourceFromRawValue(GetParam().raw), GetParam().expected) << GetParam().raw;
}

INSTANTIATE_TEST_SUITE_P(Records, SourceFromRaw,
                         ::testing::Values(RawCase{"Manual", RedactionSource::manual},
                                           RawCase{"Text", RedactionSource::textSearch},
                                           RawCase{"OCR", RedactionSource::ocr}, RawCase{"ocr", std::nullopt},
                                           RawCase{"Ocr", std::nullopt}, RawCase{"text", std::nullopt},
                                           RawCase{"textSearch", std::nullopt}, RawCase{"manual", std::nullopt},
                                           RawCase{"", std::nullopt}, RawCase{"OCR ", std::nullopt}));

TEST(Records, RawValuesRoundTrip) {
    for (auto s : {RedactionSource::manual, RedactionSource::textSearch, RedactionSource::ocr}) {
        EXPECT_EQ(redactionSourceFromRawValue(rawValue(s)), s);
    }
    EXPECT_EQ(rawValue(RedactionSource::textSearch), "Text");
}

struct MessageCase {
    RedactionError error;
    const char* message;
};

TEST(Records, ErrorMessagesAreFixed) {
    const MessageCase cases[] = {
        {RedactionError::cannotRenderPage(0), "Page 1 could not be securely rendered."},
        {RedactionError::cannotRenderPage(11), "Page 12 could not be securely rendered."},
        {RedactionError::cannotRenderPage(999), "Page 1000 could not be securely rendered."},
        {RedactionError::cannotRenderPage(1234567), "Page 1234568 could not be securely rendered."},
        {RedactionError::cannotOpenPDF(), "The selected PDF could not be opened."},
        {RedactionError::encryptedPDF(), "This PDF is encrypted or password-protected. Unlock it before redacting."},
        {RedactionError::noPages(), "The PDF contains no readable pages."},
        {RedactionError::noRedactions(), "Add at least one redaction before exporting."},
        {RedactionError::exportFailed(), "The secure redacted PDF could not be created."},
        {RedactionError::outputVerificationFailed(), "The exported PDF was created but verification could not complete."},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.error.errorDescription(), c.message);
        EXPECT_STREQ(c.error.what(), c.message);
    }
    EXPECT_EQ(RedactionError::cannotRenderPage(11).pageIndex(), 11);
}

TEST(Records, VerificationPassesExactlyWithoutFindings) {
    EXPECT_TRUE(ExportVerification(3, {}).passed());
    EXPECT_FALSE(ExportVerification(3, {"Smith"}).passed());
    EXPECT_FALSE(ExportVerification(0, {""}).passed());
}

TEST(Records, UuidsAreRandomUpperCaseAndParse) {
    std::set<std::string> seen;
    for (int i = 0; i < 200; ++i) {
        const auto text = Uuid::random().toString();
        ASSERT_EQ(text.size(), 36u);
        EXPECT_EQ(text[14], '4') << "version 4";
        for (char c : text) {
            EXPECT_FALSE(c >= 'a' && c <= 'z') << text;
        }
        seen.insert(text);
        EXPECT_EQ(Uuid::parse(text)->toString(), text);
    }
    EXPECT_EQ(seen.size(), 200u);
    EXPECT_FALSE(Uuid::parse("not-a-uuid"));
    EXPECT_FALSE(Uuid::parse(""));
}

TEST(Records, StandardizedRectHasMinimumOriginAndPositiveSize) {
    const PageRect r{100, 200, -30, -40};
    EXPECT_EQ(r.standardized(), (PageRect{70, 160, 30, 40}));
    EXPECT_EQ((PageRect{1, 2, 3, 4}).standardized(), (PageRect{1, 2, 3, 4}));
    EXPECT_EQ((PageRect{0, 0, 10, 10}).united(PageRect{20, -5, 5, 5}), (PageRect{0, -5, 25, 15}));
}

struct DuplicateCase {
    PageRect candidate;
    std::int64_t page;
    bool duplicate;
};

void PrintTo(const DuplicateCase& c, std::ostream* os) {
    *os << "page " << c.page << " [" << c.candidate.x << ", " << c.candidate.y << ", " << c.candidate.width << ", "
        << c.candidate.height << "]";
}

class DuplicateRule : public ::testing::TestWithParam<DuplicateCase> {};

TEST_P(DuplicateRule, ComparesPageAndGeometryWithinThreeUnits) {
    const RedactionRegion existing{Uuid::random(), 2, PageRect{100, 100, 50, 20}, RedactionSource::manual, std::nullopt};
    EXPECT_EQ(isDuplicateGeometry(existing, GetParam().page, GetParam().candidate), GetParam().duplicate);
}

INSTANTIATE_TEST_SUITE_P(
    Records, DuplicateRule,
    ::testing::Values(DuplicateCase{{100, 100, 50, 20}, 2, true}, DuplicateCase{{103, 97, 53, 17}, 2, true},
                      DuplicateCase{{103.01, 100, 50, 20}, 2, false}, DuplicateCase{{100, 100, 50, 23.01}, 2, false},
                      DuplicateCase{{100, 96.99, 50, 20}, 2, false}, DuplicateCase{{100, 100, 50, 20}, 3, false},
                      // A reversed rectangle is compared after standardising.
                      DuplicateCase{{150, 120, -50, -20}, 2, true}));

TEST(Records, AppendSearchResultKeepsFirstOfNearDuplicates) {
    std::vector<RedactionRegion> regions;
    const RedactionSearchResult hit{Uuid::random(), 0, PageRect{10, 10, -5, 5}, "Smith", RedactionSource::ocr};
    EXPECT_TRUE(appendSearchResult(regions, hit));
    EXPECT_FALSE(appendSearchResult(regions, hit));
    ASSERT_EQ(regions.size(), 1u);
    EXPECT_NE(regions[0].id, hit.id) << "a region gets its own identity";
    EXPECT_EQ(regions[0].rect, (PageRect{5, 10, 5, 5}));
    EXPECT_EQ(regions[0].source, RedactionSource::ocr);
    EXPECT_EQ(regions[0].matchedText, "Smith");
}

}  // namespace
}  // namespace norvane
