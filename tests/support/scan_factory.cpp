#include "tests/support/scan_factory.h"

#include "engine/mupdf_session.h"
#include "tests/support/mupdf_held.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace norvane::testing {
namespace {

// The source page as a grey scan, turned counter-clockwise by `rotate` to undo the clockwise
// turn /Rotate applies on display.
ImageSpec scan(const ScanPage& page) {
    PageSpec upright = page.source;
    upright.rotate = 0;
    const std::vector<unsigned char> bytes = buildPdf({.pages = {upright}});
    mu::Context context;
    fz_context* ctx = context.get();
    const OpenedPdf doc(ctx, bytes);
    Held<fz_page, fz_drop_page> p(ctx);
    Held<fz_pixmap, fz_drop_pixmap> pix(ctx);
    const auto scale = static_cast<float>(page.dpi / 72.0);
    // Device space runs down, so a positive angle turns clockwise.
    const fz_matrix turn = fz_concat(fz_scale(scale, scale), fz_rotate(static_cast<float>(-page.rotate)));
    mu::muCall(ctx, [&] {
        p.ptr = fz_load_page(ctx, &doc.ptr->super, 0);
        pix.ptr = fz_new_pixmap_from_page(ctx, p.ptr, turn, fz_device_gray(ctx), 0);
    });
    ImageSpec image{{}, fz_pixmap_width(ctx, pix.ptr), fz_pixmap_height(ctx, pix.ptr), true};
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* row = fz_pixmap_samples(ctx, pix.ptr) + y * fz_pixmap_stride(ctx, pix.ptr);
        image.samples.insert(image.samples.end(), row, row + image.width);
    }
    return image;
}

}  // namespace

std::vector<unsigned char> buildScannedPdf(const std::vector<ScanPage>& pages) {
    DocumentPlan plan;
    for (const auto& page : pages) {
        const PageRect box = page.source.mediaBox.standardized();
        const bool quarter = page.rotate == 90 || page.rotate == 270;
        PageSpec scanned{.mediaBox = {box.x, box.y, quarter ? box.height : box.width, quarter ? box.width : box.height},
                         .rotate = page.rotate,
                         .images = {scan(page)}};
        scanned.images[0].placement = scanned.mediaBox;
        plan.pages.push_back(scanned);
    }
    return buildPdf(plan);
}

PageRect scannedRect(const ScanPage& page, const PageRect& sourceRect) {
    const PageRect box = page.source.mediaBox.standardized();
    const PageRect r = sourceRect.standardized();
    // Corners relative to the source media box, mapped with the page's clockwise turn undone.
    const double w = box.width;
    const double h = box.height;
    auto map = [&](double x, double y) {
        return page.rotate == 90    ? std::pair{h - y, x}
               : page.rotate == 180 ? std::pair{w - x, h - y}
               : page.rotate == 270 ? std::pair{y, w - x}
                                    : std::pair{x, y};
    };
    const auto [x0, y0] = map(r.x - box.x, r.y - box.y);
    const auto [x1, y1] = map(r.x + r.width - box.x, r.y + r.height - box.y);
    return PageRect{box.x + std::min(x0, x1), box.y + std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0)};
}

}  // namespace norvane::testing
