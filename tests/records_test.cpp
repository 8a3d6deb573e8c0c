#include "records/redaction_records.h"

#include <gtest/gtest.h>

#include <set>

namespace norvane {
namespace {

TEST(Records, SourceRawValuesRoundTripAndParseExactly) {
    for (auto source : {RedactionSource::manual, RedactionSource::textSearch, RedactionSource::ocr}) {
        EXPECT_EQ(redactionSourceFromRawValue(rawValue(source)), source);
    }
    EXPECT_EQ(rawValue(RedactionSource::textSearch), "Text");
    for (const char* raw : {"ocr", "Ocr", "text", "textSearch", "manual", "", "OCR "}) {
        EXPECT_EQ(redactionSourceFromRawValue(raw), std::nullopt) << '"' << raw << '"';
    }
}

TEST(Records, PageErrorsNameThePageOneBased) {
    EXPECT_STREQ(RedactionError::cannotRenderPage(11).what(), "Page 12 could not be securely rendered.");
    EXPECT_EQ(RedactionError::cannotRenderPage(11).pageIndex(), 11);
    EXPECT_FALSE(ExportVerification(0, {""}).passed()) << "any finding fails";
}

TEST(Records, UuidsAreRandomUpperCaseVersion4AndParse) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const auto text = Uuid::random().toString();
        ASSERT_EQ(text.size(), 36u);
        EXPECT_EQ(text[14], '4');
        EXPECT_EQ(text.find_first_of("abcdefghijklmnopqrstuvwxyz"), std::string::npos) << text;
        EXPECT_EQ(Uuid::parse(text)->toString(), text);
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 100u);
    EXPECT_FALSE(Uuid::parse("not-a-uuid"));
    EXPECT_FALSE(Uuid::parse(""));
}

TEST(Records, RectanglesStandardiseAndUnite) {
    EXPECT_EQ((PageRect{100, 200, -30, -40}).standardized(), (PageRect{70, 160, 30, 40}));
    EXPECT_EQ((PageRect{0, 0, 10, 10}).united(PageRect{20, -5, 5, 5}), (PageRect{0, -5, 25, 15}));
}

TEST(Records, DuplicatesShareThePageAndLieWithinThreeUnits) {
    const RedactionRegion existing{Uuid::random(), 2, PageRect{100, 100, 50, 20}, RedactionSource::manual, {}};
    const std::tuple<PageRect, std::int64_t, bool> cases[] = {
        {{103, 97, 53, 17}, 2, true},      {{150, 120, -50, -20}, 2, true},  {{103.01, 100, 50, 20}, 2, false},
        {{100, 100, 50, 23.01}, 2, false}, {{100, 96.99, 50, 20}, 2, false}, {{100, 100, 50, 20}, 3, false},
    };
    for (const auto& [rect, page, duplicate] : cases) {
        EXPECT_EQ(isDuplicateGeometry(existing, page, rect), duplicate) << rect.x << " " << rect.y << " " << page;
    }
}

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
