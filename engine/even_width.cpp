#include "engine/even_width.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

namespace norvane {
namespace {

// A box as the line sees it: `along` the text, `across` it.
struct LineBox {
    double along, alongLength, across, acrossLength;
    double centre() const { return across + acrossLength / 2; }
};

// `start` and `length` moved (and shortened if need be) to lie within [lo, hi].
void keepInside(double& start, double& length, double lo, double hi) {
    length = std::min(length, hi - lo);
    start = std::clamp(start, lo, hi - length);
}

}  // namespace

std::vector<RedactionRegion> evenWidthRegions(const PdfDocument& document, std::vector<RedactionRegion> regions) {
    std::map<std::int64_t, std::vector<std::size_t>> hitsByPage;
    for (std::size_t i = 0; i < regions.size(); ++i) {
        const RedactionRegion& region = regions[i];
        if (region.source != RedactionSource::manual && region.pageIndex >= 0 &&
            region.pageIndex < document.pageCount()) {
            hitsByPage[region.pageIndex].push_back(i);
        }
    }
    for (const auto& [pageIndex, hits] : hitsByPage) {
        const PdfPageInfo& page = document.page(pageIndex);
        const bool turned = page.rotation == 90 || page.rotation == 270;
        std::vector<LineBox> boxes;
        for (const std::size_t i : hits) {
            const PageRect r = regions[i].rect.standardized();
            boxes.push_back(turned ? LineBox{r.y, r.height, r.x, r.width} : LineBox{r.x, r.width, r.y, r.height});
        }
        const PageRect& media = page.mediaBox;
        const double alongLo = turned ? media.minY() : media.minX();
        const double alongHi = turned ? media.maxY() : media.maxX();
        const double acrossLo = turned ? media.minX() : media.minY();
        const double acrossHi = turned ? media.maxX() : media.maxY();
        if (!(alongHi > alongLo) || !(acrossHi > acrossLo)) {
            continue;
        }

        // Lines: boxes sorted across the page, one line while a box's centre lies within the
        // line's first box.
        std::vector<std::size_t> order(boxes.size());
        std::iota(order.begin(), order.end(), 0);
        std::sort(order.begin(), order.end(),
                  [&](std::size_t a, std::size_t b) { return boxes[a].centre() < boxes[b].centre(); });
        for (std::size_t first = 0; first < order.size();) {
            const LineBox& lead = boxes[order[first]];
            std::size_t end = first + 1;
            while (end < order.size() && boxes[order[end]].centre() <= lead.across + lead.acrossLength) {
                ++end;
            }
            double height = 0;
            for (std::size_t k = first; k < end; ++k) {
                height = std::max(height, boxes[order[k]].acrossLength);
            }
            const double step = 3 * height;
            for (std::size_t k = first; k < end; ++k) {
                LineBox& box = boxes[order[k]];
                const double centreAcross = box.centre();
                box.acrossLength = height;
                box.across = centreAcross - height / 2;
                const double centreAlong = box.along + box.alongLength / 2;
                if (step > 0) {
                    // The tolerance keeps a width that is a whole number of steps from rounding up.
                    box.alongLength = std::max(1.0, std::ceil(box.alongLength / step - 1e-9)) * step;
                }
                box.along = centreAlong - box.alongLength / 2;
                keepInside(box.along, box.alongLength, alongLo, alongHi);
                keepInside(box.across, box.acrossLength, acrossLo, acrossHi);
            }
            first = end;
        }

        for (std::size_t k = 0; k < hits.size(); ++k) {
            const LineBox& b = boxes[k];
            regions[hits[k]].rect = turned ? PageRect{b.across, b.along, b.acrossLength, b.alongLength}
                                           : PageRect{b.along, b.across, b.alongLength, b.acrossLength};
        }
    }
    return regions;
}

}  // namespace norvane
