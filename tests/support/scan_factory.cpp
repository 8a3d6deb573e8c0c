#include "tests/support/scan_factory.h"

#include "engine/mupdf_session.h"
#include "tests/support/mupdf_write.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace norvane::testing {
namespace {

// The source page as a grey scan, turned counter-clockwise by `rotate` to undo the clockwise
// turn /Rotate applies on display.
ImageSpec scan(const ScanPage& page) {
    DocumentPlan spec;
    spec.pages = {page.source};
    spec.pages[0].rotate = 0;
    const std::vector<unsigned char> bytes = buildPdf(spec);
    mu::Context context;
    fz_context* ctx = context.get();
    const OpenedPdf doc(ctx, bytes);
    Held<fz_page, fz_drop_page> p(ctx);
    Held<fz_pixmap, fz_drop_pixmap> pix(ctx);
    const auto scale = static_cast<float>(page.dpi / 72.0);
    mu::muCall(ctx, [&] {
        p.ptr = fz_load_page(ctx, &doc.ptr->super, 0);
        pix.ptr = fz_new_pixmap_from_page(ctx, p.ptr, fz_scale(scale, scale), fz_device_gray(ctx), 0);
    });
    const int w = fz_pixmap_width(ctx, pix.ptr);
    const int h = fz_pixmap_height(ctx, pix.ptr);
    const auto stride = static_cast<std::size_t>(fz_pixmap_stride(ctx, pix.ptr));
    const unsigned char* shown = fz_pixmap_samples(ctx, pix.ptr);
    const bool quarter = page.rotate == 90 || page.rotate == 270;
    ImageSpec image{{}, quarter ? h : w, quarter ? w : h, true};
    for (int sy = 0; sy < image.height; ++sy) {
        for (int sx = 0; sx < image.width; ++sx) {
            const auto [dx, dy] = page.rotate == 90    ? std::pair{w - 1 - sy, sx}
                                  : page.rotate == 180 ? std::pair{w - 1 - sx, h - 1 - sy}
                                  : page.rotate == 270 ? std::pair{sy, h - 1 - sx}
                                                       : std::pair{sx, sy};
            image.samples.push_back(shown[static_cast<std::size_t>(dy) * stride + static_cast<std::size_t>(dx)]);
        }
    }
    return image;
}

}  // namespace

std::vector<unsigned char> buildScannedPdf(const std::vector<ScanPage>& pages) {
    DocumentPlan spec;
    for (const auto& page : pages) {
        const PageRect box = page.source.mediaBox.standardized();
        const bool quarter = page.rotate == 90 || page.rotate == 270;
        PageSpec scanned{.mediaBox = {box.x, box.y, quarter ? box.height : box.width, quarter ? box.width : box.height},
                         .rotate = page.rotate,
                         .images = {scan(page)}};
        scanned.images[0].placement = scanned.mediaBox;
        spec.pages.push_back(scanned);
    }
    return buildPdf(spec);
}

std::vector<ScanPage> scannedLines(const std::vector<std::string>& lines) {
    std::vector<ScanPage> pages;
    for (const auto& page : textPages(lines).pages) {
        pages.push_back(ScanPage{page});
    }
    return pages;
}

PageRect scannedRect(const ScanPage& page, const PageRect& sourceRect) {
    const PageRect box = page.source.mediaBox.standardized();
    const PageRect r = sourceRect.standardized();
    // Corners relative to the source media box, mapped with the page's clockwise turn undone.
    const double w = box.width;
    const double h = box.height;
    auto map = [&](double x, double y) -> std::pair<double, double> {
        switch (page.rotate) {
            case 90:
                return {h - y, x};
            case 180:
                return {w - x, h - y};
            case 270:
                return {y, w - x};
            default:
                return {x, y};
        }
    };
    const auto [x0, y0] = map(r.x - box.x, r.y - box.y);
    const auto [x1, y1] = map(r.x + r.width - box.x, r.y + r.height - box.y);
    return PageRect{box.x + std::min(x0, x1), box.y + std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0)};
}

}  // namespace norvane::testing
