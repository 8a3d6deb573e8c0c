#pragma once
// Page rasterisation: the single place the engine turns a page into pixels. The export
// paints its boxes here; both OCR passes render through here without boxes.

#include "engine/mupdf_session.h"
#include "records/redaction_records.h"

#include <cstdint>
#include <optional>
#include <variant>
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

// Part of the whole bitmap: a zoomed view's tile.
struct PixelWindow {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// What to draw: the full media box of page `pageIndex` at `dpi` on white, then `boxes` (page
// space) opaque black in order, with white "REDACTED" labels when `labelRedactions`.
// Pixel size: max(1, ceil(points × dpi / 72)) each way, before rotation.
// `compactEdges` (the export): on pages without images or blend modes the ink's anti-aliased
// coverage is rounded to ninths, giving edges 10 grey levels, which compress much better.
// `cookie` lets another thread stop drawing early (not with `compactEdges`).
// `window` keeps only those pixels of the whole bitmap; the pixel limit then applies to the
// window, and a window outside the bitmap cannot be drawn.
struct RenderRequest {
    std::int64_t pageIndex = 0;
    double dpi = 72;
    std::vector<RedactionRegion> boxes{};
    bool labelRedactions = false;
    RenderOrientation orientation = RenderOrientation::mediaBox;
    bool compactEdges = false;
    fz_cookie* cookie = nullptr;
    std::optional<PixelWindow> window{};
};

// The drawn page, or why there is none: the page failed (`failure()`), or the cookie stopped
// the drawing (`cancelled()`), which is no fault of the page.
class RenderResult {
public:
    RenderResult(PageImage image) : outcome_(std::move(image)) {}
    RenderResult(PageFailure failure) : outcome_(failure) {}
    static RenderResult stopped() { return RenderResult(Stopped{}); }

    explicit operator bool() const { return std::holds_alternative<PageImage>(outcome_); }
    PageImage& operator*() { return std::get<PageImage>(outcome_); }
    const PageImage& operator*() const { return std::get<PageImage>(outcome_); }
    PageImage* operator->() { return &std::get<PageImage>(outcome_); }
    const PageImage* operator->() const { return &std::get<PageImage>(outcome_); }

    std::optional<PageFailure> failure() const {
        const auto* failure = std::get_if<PageFailure>(&outcome_);
        return failure ? std::optional(*failure) : std::nullopt;
    }
    bool cancelled() const { return std::holds_alternative<Stopped>(outcome_); }

private:
    struct Stopped {};
    explicit RenderResult(Stopped stopped) : outcome_(stopped) {}
    std::variant<PageImage, PageFailure, Stopped> outcome_;
};

// Failures: `tooLarge` for an empty media box or a bitmap over the pixel limit, `unparsable`
// when MuPDF cannot load the page, `outOfMemory`, and `unrenderable` for the rest (no such
// page, a box that is not a number, a window outside the bitmap, drawing failed).
RenderResult renderImage(const mu::Session& session, const RenderRequest& request);

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
