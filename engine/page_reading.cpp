#include "engine/page_reading.h"

#include <algorithm>
#include <cmath>

namespace norvane {

PageReadings readPage(const mu::Session& session, std::int64_t pageIndex, double dpi, float minimumLineHeight,
                      std::optional<OcrService>& ocr, const std::string& languages, std::stop_token stop) {
    const PdfDocument& document = *session.document();
    if (pageIndex < 0 || pageIndex >= document.pageCount()) {
        return PageFailure::unrenderable;
    }
    std::vector<RenderOrientation> orientations{RenderOrientation::displayed};
    if (document.page(pageIndex).rotation != 0) {
        orientations.push_back(RenderOrientation::mediaBox);
    }
    std::vector<PageReading> readings;
    for (const RenderOrientation orientation : orientations) {
        RenderResult image = renderImage(session, {.pageIndex = pageIndex, .dpi = dpi, .orientation = orientation});
        if (!image) {
            return image.failure().value_or(PageFailure::unrenderable);
        }
        if (!ocr) {
            ocr.emplace(languages);
        }
        PageReading reading;
        reading.lines = ocr->recognize(*image, dpi, minimumLineHeight, stop);
        std::vector<std::uint8_t>().swap(image->samples);
        reading.geometry = std::move(*image);
        readings.push_back(std::move(reading));
    }
    return readings;
}

std::optional<PageRect> coveringRect(const PageImage& image, const NormalizedBox& box) {
    const PageRect rect = imageBoxToPage(image, box);
    if (!(rect.width > 0) || !(rect.height > 0) || !std::isfinite(rect.x) || !std::isfinite(rect.y) ||
        !std::isfinite(rect.width) || !std::isfinite(rect.height)) {
        return std::nullopt;
    }
    return safetyExpanded(rect);
}

bool containsCentreOf(const PageRect& outer, const PageRect& inner) {
    const double x = inner.x + inner.width / 2;
    const double y = inner.y + inner.height / 2;
    return x >= outer.minX() && x <= outer.maxX() && y >= outer.minY() && y <= outer.maxY();
}

std::vector<RecognisedHit> recognisedHits(const std::vector<PageReading>& readings,
                                          const std::function<std::vector<ByteRange>(const std::string&)>& find) {
    std::vector<RecognisedHit> upright;
    std::vector<RecognisedHit> turned;
    for (const PageReading& reading : readings) {
        for (const OcrLine& line : reading.lines) {
            for (const auto& [begin, end] : find(line.text)) {
                const auto box = line.upright ? line.boxForRange(begin, end) : std::nullopt;
                auto rect = box ? coveringRect(reading.geometry, *box) : std::nullopt;
                if (!rect) {
                    rect = coveringRect(reading.geometry, line.box);
                }
                (line.upright ? upright : turned).push_back({rect, line.text.substr(begin, end - begin)});
            }
        }
    }
    for (RecognisedHit& hit : turned) {
        const bool placedElsewhere =
            hit.rect && std::any_of(upright.begin(), upright.end(), [&](const RecognisedHit& placed) {
                return placed.rect && containsCentreOf(*hit.rect, *placed.rect);
            });
        if (!placedElsewhere) {
            upright.push_back(std::move(hit));
        }
    }
    return upright;
}

}  // namespace norvane
