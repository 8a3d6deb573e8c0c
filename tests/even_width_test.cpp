#include "engine/even_width.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

namespace norvane {
namespace {

struct EvenCase {
    const char* name;
    PageRect mediaBox;
    int rotate;
    std::vector<RedactionRegion> regions;
    std::vector<PageRect> expected;
};

RedactionRegion hit(PageRect rect, RedactionSource source = RedactionSource::textSearch) {
    return RedactionRegion{Uuid::random(), 0, rect, source, std::string("x")};
}

TEST(EvenWidth, HitBoxesGrowInStepsOfThreeHeightsInsideTheirPage) {
    const PageRect letter{0, 0, 612, 792};
    const EvenCase cases[] = {
        {"short and long names on lines of equal height",
         letter,
         0,
         {hit({100, 700, 20, 18}), hit({100, 600, 50, 18}, RedactionSource::ocr)},
         {{83, 700, 54, 18}, {98, 600, 54, 18}}},
        {"a whole number of steps stays", letter, 0, {hit({10, 10, 108, 18})}, {{10, 10, 108, 18}}},
        {"one line takes its tallest height",
         letter,
         0,
         {hit({100, 500, 30, 18}), hit({300, 497, 30, 24})},
         {{79, 497, 72, 24}, {279, 497, 72, 24}}},
        {"kept inside the right edge", letter, 0, {hit({595, 100, 15, 18})}, {{558, 100, 54, 18}}},
        {"wider than the page", letter, 0, {hit({-5, 100, 630, 20})}, {{0, 100, 612, 20}}},
        {"offset media box", {100, 100, 300, 300}, 0, {hit({385, 380, 10, 20})}, {{340, 380, 60, 20}}},
        {"drawn boxes stay as drawn", letter, 0, {hit({5, 5, 10, 10}, RedactionSource::manual)}, {{5, 5, 10, 10}}},
        {"a quarter-turned page widens along y", letter, 90, {hit({200, 300, 18, 30})}, {{200, 288, 18, 54}}},
    };
    for (const auto& c : cases) {
        const auto document = testing::documentOf({testing::PageSpec{c.mediaBox, std::nullopt, c.rotate}});
        const auto out = evenWidthRegions(*document, c.regions);
        ASSERT_EQ(out.size(), c.expected.size()) << c.name;
        for (std::size_t i = 0; i < out.size(); ++i) {
            EXPECT_EQ(out[i].id, c.regions[i].id) << c.name;
            const PageRect& got = out[i].rect;
            const PageRect& want = c.expected[i];
            EXPECT_NEAR(got.x, want.x, 1e-9) << c.name;
            EXPECT_NEAR(got.y, want.y, 1e-9) << c.name;
            EXPECT_NEAR(got.width, want.width, 1e-9) << c.name;
            EXPECT_NEAR(got.height, want.height, 1e-9) << c.name;
        }
    }
}

}  // namespace
}  // namespace norvane
