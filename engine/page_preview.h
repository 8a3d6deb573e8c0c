#pragma once
// On-screen page previews for the views: the page as a reader sees it (full media box,
// /Rotate applied), without boxes. MuPDF stays behind this header.

#include "engine/page_raster.h"
#include "engine/pdf_document.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace norvane {

namespace mu {
class Session;
}

struct PreviewImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;  // rows top to bottom, width × 3 bytes each
};

// Largest whole-page preview bitmap; a request above it is rendered coarser and scaled up on
// screen. Tiles (see PreviewTile) are bounded one by one, so their page may be far larger.
constexpr std::int64_t kMaxPreviewPixels = 24'000'000;
constexpr std::int64_t kMaxTiledPagePixels = 1'000'000'000;

// The resolution (pixels per point) actually used for a request on `page`.
double boundedPreviewScale(const PdfPageInfo& page, double pixelsPerPoint, bool tiled = false);

// Part of a page's preview: pixels [x, x + width) × [y, y + height) of the whole picture.
using PreviewTile = PixelWindow;

// Stops one render in progress from another thread (MuPDF's cookie, polled while it draws).
class PreviewAbort {
public:
    PreviewAbort();
    ~PreviewAbort();
    PreviewAbort(const PreviewAbort&) = delete;
    PreviewAbort& operator=(const PreviewAbort&) = delete;

    void abort();  // any thread; cannot be taken back
    bool aborted() const;

private:
    friend class PagePreviewRenderer;
    struct Cookie;
    std::unique_ptr<Cookie> cookie_;
};

// Renders pages of one document. Confined to the thread that created it.
class PagePreviewRenderer {
public:
    // Opens a session over the document; throws like mu::Session.
    explicit PagePreviewRenderer(SharedPdfDocument document);
    ~PagePreviewRenderer();
    PagePreviewRenderer(const PagePreviewRenderer&) = delete;
    PagePreviewRenderer& operator=(const PagePreviewRenderer&) = delete;

    const SharedPdfDocument& document() const { return document_; }

    // Nothing when the page cannot be rendered (bad index, broken content, no memory) or when
    // `abort` was used: then the render stopped early and its pixels are not the whole page.
    std::optional<PreviewImage> render(std::int64_t pageIndex, double pixelsPerPoint,
                                       std::optional<PreviewTile> tile = std::nullopt,
                                       PreviewAbort* abort = nullptr) const;

private:
    SharedPdfDocument document_;
    std::unique_ptr<mu::Session> session_;
};

}  // namespace norvane
