#include "engine/page_reading.h"

#include <algorithm>
#include <cmath>

namespace norvane {

namespace {

// The image turned clockwise by `degrees` (90, 180 or 270), its page mapping turned with it.
PageImage turned(const PageImage& image, int degrees) {
    const auto w = static_cast<std::size_t>(image.width);
    const auto h = static_cast<std::size_t>(image.height);
    const auto n = static_cast<std::size_t>(image.components);
    const bool quarter = degrees != 180;
    PageImage out;
    out.width = quarter ? image.height : image.width;
    out.height = quarter ? image.width : image.height;
    out.components = image.components;
    out.samples.resize(image.samples.size());
    const auto outWidth = static_cast<std::size_t>(out.width);
    for (std::size_t y = 0; y < h; ++y) {
        for (std::size_t x = 0; x < w; ++x) {
            const std::size_t u = degrees == 90 ? h - 1 - y : degrees == 180 ? w - 1 - x : y;
            const std::size_t v = degrees == 90 ? x : degrees == 180 ? h - 1 - y : w - 1 - x;
            std::copy_n(image.samples.data() + (y * w + x) * n, n, out.samples.data() + (v * outWidth + u) * n);
        }
    }
    // Pixel space turned the same way, after the page's own mapping.
    const double W = image.width;
    const double H = image.height;
    const Affine turn = degrees == 90    ? Affine{0, 1, -1, 0, H, 0}
                        : degrees == 180 ? Affine{-1, 0, 0, -1, W, H}
                                         : Affine{0, -1, 1, 0, 0, W};
    const Affine& m = image.pageToPixel;
    out.pageToPixel = {turn.a * m.a + turn.c * m.b,          turn.b * m.a + turn.d * m.b,
                       turn.a * m.c + turn.c * m.d,          turn.b * m.c + turn.d * m.d,
                       turn.a * m.e + turn.c * m.f + turn.e, turn.b * m.e + turn.d * m.f + turn.f};
    return out;
}

// Enough words read with confidence that the text stands upright in this reading.
bool readUpright(const PageReading& reading) {
    std::size_t words = 0;
    std::size_t confident = 0;
    for (const OcrLine& line : reading.lines) {
        if (line.upright) {
            words += line.words;
            confident += line.confidentWords;
        }
    }
    return confident >= 3 && confident * 2 >= words;
}

}  // namespace

PageReadings readPage(const mu::Session& session, std::int64_t pageIndex, double dpi, float minimumLineHeight,
                      std::optional<OcrService>& ocr, const std::string& languages, std::stop_token stop,
                      const ReadingFeatures& features) {
    const PdfDocument& document = *session.document();
    if (pageIndex < 0 || pageIndex >= document.pageCount()) {
        return PageFailure::unrenderable;
    }
    RenderResult shown =
        renderImage(session, {.pageIndex = pageIndex, .dpi = dpi, .orientation = RenderOrientation::displayed});
    if (!shown) {
        return shown.failure().value_or(PageFailure::unrenderable);
    }
    // Kept grey until every turn is read: the recogniser reads no more of it.
    PageImage displayed = greyImage(std::move(*shown));
    if (!ocr) {
        ocr.emplace(languages, features);
    }
    std::vector<PageReading> readings;
    std::vector<int> turnsRead;
    const auto read = [&](int turn) {
        PageImage image = turn == 0 ? std::move(displayed) : turned(readings.front().geometry, turn);
        PageReading reading;
        reading.lines = ocr->recognize(image, dpi, minimumLineHeight, stop);
        if (turn != 0) {
            std::vector<std::uint8_t>().swap(image.samples);
        }
        reading.geometry = std::move(image);
        readings.push_back(std::move(reading));
        turnsRead.push_back(turn);
    };
    read(0);
    // The page as stored: turned back by its /Rotate.
    if (const int rotation = document.page(pageIndex).rotation; rotation != 0) {
        read(360 - rotation);
    }
    // Text the page does not show upright, /Rotate or not (a sheet fed sideways): read the way the
    // orientation model says, or every way when it cannot tell, since a page nobody read
    // upright would pass unread.
    if (features.orientation && std::none_of(readings.begin(), readings.end(), readUpright)) {
        std::vector<int> turns = {90, 180, 270};
        if (const std::optional<int> textTurn = ocr->textTurn(readings.front().geometry, dpi)) {
            turns = {(360 - *textTurn) % 360};
        }
        for (const int turn : turns) {
            if (turn != 0 && std::find(turnsRead.begin(), turnsRead.end(), turn) == turnsRead.end()) {
                read(turn);
            }
        }
    }
    std::vector<std::uint8_t>().swap(readings.front().geometry.samples);
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
