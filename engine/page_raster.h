#pragma once
// Page rasterisation: the single place the engine turns a page into pixels. The export
// paints its boxes here; both OCR passes render through here without boxes.

#include "engine/mupdf_session.h"
#include "records/redaction_records.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace norvane {

// Affine map (x, y) -> (a·x + c·y + e, b·x + d·y + f), same layout as a PDF matrix.
struct Affine {
    double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;
};

struct PageImage {
    int width = 0;                      // pixels
    int height = 0;                     // pixels
    int components = 3;                 // samples per pixel: 3 = RGB, no alpha (the background is opaque white)
    std::vector<std::uint8_t> samples;  // rows top to bottom, width × components bytes each
    Affine pageToPixel;                 // page space (points, y up) -> pixel space (y down, origin top left)
};

enum class RenderOrientation {
    mediaBox,   // the media box as stored, ignoring /Rotate (what the export rasterises)
    displayed,  // the media box with /Rotate applied, as a reader sees the page (OCR)
};

// Renders the full media box of page `pageIndex` at `dpi` on white, then paints `boxes`
// (page space) opaque black in order, with white "REDACTED" labels when `labelRedactions`.
// Pixel size: max(1, ceil(points × dpi / 72)) each way, before rotation. Returns nothing
// for an empty media box, a bitmap over the pixel limit, or any rendering failure.
// `compactEdges` (the export): on pages without images or blend modes the ink's anti-aliased
// coverage is rounded to ninths, giving edges 10 grey levels, which compress much better.
// `cookie` lets another thread stop drawing early (not with `compactEdges`); the image is then
// incomplete and the caller must look at the cookie before using it.
// `window` (a zoomed view's tile) keeps only those pixels of the whole bitmap; the pixel limit
// then applies to the window, and a window outside the bitmap gives nothing.
struct PixelWindow {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};
std::optional<PageImage> renderImage(const mu::Session& session, std::int64_t pageIndex, double dpi,
                                     const std::vector<RedactionRegion>& boxes, bool labelRedactions,
                                     RenderOrientation orientation = RenderOrientation::mediaBox,
                                     bool compactEdges = false, fz_cookie* cookie = nullptr,
                                     std::optional<PixelWindow> window = std::nullopt);

// Largest bitmap we agree to allocate.
constexpr std::int64_t kMaxRenderPixels = 200'000'000;

struct RasterSize {
    int width = 0;
    int height = 0;
};

// The bitmap size renderImage uses for a media box (unrotated): nothing for an empty box,
// a resolution that is not a positive number, or more than kMaxRenderPixels pixels.
std::optional<RasterSize> rasterSize(const PageRect& mediaBox, double dpi, std::int64_t maxPixels = kMaxRenderPixels);

}  // namespace norvane
