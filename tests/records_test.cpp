#include "records/redaction_records.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

namespace norvane {
namespace {

TEST(Records, PageErrorsNameThePageOneBased) {
    EXPECT_STREQ(RedactionError::cannotRenderPage(11).what(), "Page 12 could not be securely rendered.");
    EXPECT_EQ(RedactionError::cannotRenderPage(11).pageIndex(), 11);
}

TEST(Records, RandomIdsAreVersionFourWithTheStandardVariant) {
    for (int i = 0; i < 64; ++i) {
        const std::string text = Uuid::random().toString();
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
    }
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

// Random batches over coordinates that sit on the tolerance, one step past it, on and across
// the index's cell edges, far out, not finite, backwards and zero-sized, often repeated.
TEST(Records, BatchAppendKeepsExactlyWhatAppendingOneByOneKeeps) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    const double bases[] = {0, -0.0, 4, -4, 3.999, 8.0001, 100, -5e-324, 1e17, 3e19, -inf, std::nan("")};
    const double offsets[] = {0, 3, -3, 1.5, -1.5, 2.999, 6, -6};
    const double sizes[] = {0, 10, 13, -10, -13, 7, 1e17, inf};
    std::mt19937_64 random(7);
    const auto pick = [&](const auto& values) { return values[random() % std::size(values)]; };
    const auto near = [&](double v) {  // sometimes one step past an edge
        v += pick(offsets);
        return random() % 3 ? v : std::nextafter(v, random() % 2 ? inf : -inf);
    };
    const auto key = [](const RedactionRegion& r) {  // bit for bit, so NaN and -0 compare too
        const auto bits = [](double v) { return std::bit_cast<std::uint64_t>(v); };
        return std::tuple(r.pageIndex, bits(r.rect.x), bits(r.rect.y), bits(r.rect.width), bits(r.rect.height),
                          r.matchedText);
    };
    for (int batch = 0; batch < 300; ++batch) {
        std::vector<RedactionSearchResult> hits;
        for (int i = static_cast<int>(random() % 80); i > 0; --i) {
            RedactionSearchResult hit{Uuid::random(),
                                      static_cast<std::int64_t>(random() % 3),
                                      {pick(bases), pick(bases), pick(sizes), pick(sizes)},
                                      std::to_string(i),
                                      RedactionSource::textSearch};
            if (!hits.empty() && random() % 2) {
                hit = hits[random() % hits.size()];  // an earlier hit repeated, or moved a little
            }
            if (random() % 3) {
                hit.rect = {near(hit.rect.x), near(hit.rect.y), near(hit.rect.width), near(hit.rect.height)};
            }
            hits.push_back(hit);
        }
        const std::size_t split = hits.empty() ? 0 : random() % hits.size();
        std::vector<RedactionRegion> before;  // regions already pending, some not standardised
        for (std::size_t i = 0; i < split; ++i)
            before.push_back({Uuid::random(), hits[i].pageIndex, hits[i].rect, RedactionSource::manual, {}});
        std::vector<RedactionRegion> oneByOne = before, batched = before;
        for (const auto& hit : hits)
            appendSearchResult(oneByOne, hit);
        EXPECT_EQ(appendSearchResults(batched, hits), oneByOne.size() - before.size());
        ASSERT_EQ(batched.size(), oneByOne.size()) << "batch " << batch;
        for (std::size_t i = 0; i < batched.size(); ++i) {
            EXPECT_EQ(key(batched[i]), key(oneByOne[i])) << "batch " << batch << " region " << i;
            EXPECT_EQ(batched[i].id == oneByOne[i].id, i < before.size());
        }
    }
}

}  // namespace
}  // namespace norvane
