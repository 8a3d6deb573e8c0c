#include "records/redaction_records.h"

#include <gtest/gtest.h>

namespace norvane {
namespace {

TEST(Records, PageErrorsNameThePageOneBased) {
    EXPECT_STREQ(RedactionError::cannotRenderPage(11).what(), "Page 12 could not be securely rendered.");
    EXPECT_EQ(RedactionError::cannotRenderPage(11).pageIndex(), 11);
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

}  // namespace
}  // namespace norvane
