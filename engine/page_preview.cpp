#include "engine/page_preview.h"

#include "engine/mupdf_session.h"
#include "engine/page_raster.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>

namespace norvane {

double boundedPreviewScale(const PdfPageInfo& page, double pixelsPerPoint, bool tiled) {
    if (!(pixelsPerPoint > 0) || !std::isfinite(pixelsPerPoint)) {
        return 1.0;
    }
    const double area = page.mediaBox.width * page.mediaBox.height;
    if (!(area > 0)) {
        return pixelsPerPoint;
    }
    const double pixels = area * pixelsPerPoint * pixelsPerPoint;
    const auto limit = static_cast<double>(tiled ? kMaxTiledPagePixels : kMaxPreviewPixels);
    if (pixels <= limit) {
        return pixelsPerPoint;
    }
    return std::sqrt(limit / area) * 0.999;
}

// MuPDF reads `abort` without synchronisation while it draws; our side goes through atomic_ref.
struct PreviewAbort::Cookie {
    fz_cookie cookie{};
};

PreviewAbort::PreviewAbort() : cookie_(std::make_unique<Cookie>()) {}
PreviewAbort::~PreviewAbort() = default;

void PreviewAbort::abort() {
    std::atomic_ref<int>(cookie_->cookie.abort).store(1);
}

bool PreviewAbort::aborted() const {
    return std::atomic_ref<int>(cookie_->cookie.abort).load() != 0;
}

PagePreviewRenderer::PagePreviewRenderer(SharedPdfDocument document)
    : document_(std::move(document)), session_(std::make_unique<mu::Session>(document_)) {}

PagePreviewRenderer::~PagePreviewRenderer() = default;

std::optional<PreviewImage> PagePreviewRenderer::render(std::int64_t pageIndex, double pixelsPerPoint,
                                                        std::optional<PreviewTile> tile, PreviewAbort* abort) const {
    if (!document_ || pageIndex < 0 || pageIndex >= document_->pageCount()) {
        return std::nullopt;
    }
    const double scale = boundedPreviewScale(document_->page(pageIndex), pixelsPerPoint, tile.has_value());
    try {
        RenderResult image = renderImage(*session_, {.pageIndex = pageIndex,
                                                     .dpi = scale * 72.0,
                                                     .orientation = RenderOrientation::displayed,
                                                     .cookie = abort ? &abort->cookie_->cookie : nullptr,
                                                     .window = tile});
        if (!image || image->width <= 0 || image->height <= 0 || (abort && abort->aborted())) {
            return std::nullopt;
        }
        PreviewImage preview;
        preview.width = image->width;
        preview.height = image->height;
        if (image->components == 3) {
            preview.rgb = std::move(image->samples);
        } else if (image->components == 1) {
            preview.rgb.resize(image->samples.size() * 3);
            for (std::size_t i = 0; i < image->samples.size(); ++i) {
                std::fill_n(preview.rgb.begin() + static_cast<std::ptrdiff_t>(i * 3), 3, image->samples[i]);
            }
        } else {
            return std::nullopt;
        }
        const auto expected = static_cast<std::size_t>(preview.width) * static_cast<std::size_t>(preview.height) * 3;
        if (preview.rgb.size() != expected) {
            return std::nullopt;
        }
        return preview;
    } catch (const std::exception&) {
        // A page that will not render is shown as its placeholder; the reason stays private.
        return std::nullopt;
    }
}

}  // namespace norvane
