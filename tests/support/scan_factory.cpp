#include "tests/support/scan_factory.h"

#include "engine/mupdf_session.h"
#include "tests/support/mupdf_held.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace norvane::testing {
namespace {

// Anticlockwise turn, as seen, from the upright source to the stored pixels.
int storedTurn(const ScanPage& page) {
    return ((page.rotate - page.turn) % 360 + 360) % 360;
}

// The source page as a scan, turned by storedTurn.
ImageSpec scan(const ScanPage& page) {
    PageSpec upright = page.source;
    upright.rotate = 0;
    upright.texts.clear();
    const std::vector<unsigned char> bytes = buildPdf({.pages = {upright}});
    mu::Context context;
    fz_context* ctx = context.get();
    const OpenedPdf doc(ctx, bytes);
    Held<fz_page, fz_drop_page> p(ctx);
    Held<fz_pixmap, fz_drop_pixmap> pix(ctx);
    Held<fz_device, fz_drop_device> device(ctx);
    Held<fz_font, fz_drop_font> font(ctx);
    Held<fz_text, fz_drop_text> text(ctx);
    const auto scale = static_cast<float>(page.dpi / 72.0);
    // Device space runs down, so a positive angle turns clockwise.
    const fz_matrix turn = fz_concat(fz_scale(scale, scale), fz_rotate(static_cast<float>(-storedTurn(page))));
    fz_colorspace* space = page.colour ? fz_device_rgb(ctx) : fz_device_gray(ctx);
    mu::muCall(ctx, [&] {
        p.ptr = fz_load_page(ctx, &doc.ptr->super, 0);
        const fz_irect box = fz_round_rect(fz_transform_rect(fz_bound_page(ctx, p.ptr), turn));
        pix.ptr = fz_new_pixmap_with_bbox(ctx, space, box, nullptr, 0);
        fz_clear_pixmap_with_value(ctx, pix.ptr, 255);
        device.ptr = fz_new_draw_device(ctx, turn, pix.ptr);
        fz_run_page(ctx, p.ptr, device.ptr, fz_identity, nullptr);
        fz_matrix pageCtm;
        pdf_page_transform(ctx, pdf_page_from_fz_page(ctx, p.ptr), nullptr, &pageCtm);
        for (const TextRun& run : page.source.texts) {
            fz_drop_font(ctx, font.ptr);
            font.ptr = nullptr;
            font.ptr = fz_new_base14_font(ctx, run.font.c_str());
            fz_drop_text(ctx, text.ptr);
            text.ptr = nullptr;
            text.ptr = fz_new_text(ctx);
            const auto size = static_cast<float>(run.size);
            // Letters the base-14 font lacks (Han, Hebrew) come from MuPDF's fallback fonts.
            fz_matrix trm = fz_make_matrix(size, 0, 0, size, static_cast<float>(run.x), static_cast<float>(run.y));
            for (const char* c = run.text.c_str(); *c;) {
                int unicode = 0;
                c += fz_chartorune(&unicode, c);
                fz_font* used = nullptr;
                const int glyph = fz_encode_character_with_fallback(ctx, font.ptr, unicode, 0, FZ_LANG_UNSET, &used);
                fz_show_glyph(ctx, text.ptr, used, trm, glyph, unicode, 0, 0, FZ_BIDI_LTR, FZ_LANG_UNSET);
                trm.e += fz_advance_glyph(ctx, used, glyph, 0) * size;
            }
            const float rgb[3] = {static_cast<float>(run.colour[0]), static_cast<float>(run.colour[1]),
                                  static_cast<float>(run.colour[2])};
            fz_fill_text(ctx, device.ptr, text.ptr, pageCtm, fz_device_rgb(ctx), rgb, 1, fz_default_color_params);
        }
        fz_close_device(ctx, device.ptr);
    });
    ImageSpec image{{}, fz_pixmap_width(ctx, pix.ptr), fz_pixmap_height(ctx, pix.ptr), !page.colour};
    const int rowBytes = image.width * fz_pixmap_components(ctx, pix.ptr);
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* row = fz_pixmap_samples(ctx, pix.ptr) + y * fz_pixmap_stride(ctx, pix.ptr);
        image.samples.insert(image.samples.end(), row, row + rowBytes);
    }
    return image;
}

}  // namespace

std::vector<unsigned char> buildScannedPdf(const std::vector<ScanPage>& pages) {
    DocumentPlan plan;
    for (const auto& page : pages) {
        const PageRect box = page.source.mediaBox.standardized();
        const bool quarter = storedTurn(page) % 180 == 90;
        PageSpec scanned{.mediaBox = {box.x, box.y, quarter ? box.height : box.width, quarter ? box.width : box.height},
                         .rotate = page.rotate,
                         .images = {scan(page)}};
        scanned.images[0].placement = scanned.mediaBox;
        scanned.filledBlackRects = page.boxesOver;
        for (TextRun run : page.textLayer) {
            run.renderMode = page.layerUnderPixels ? 0 : 3;
            scanned.texts.push_back(run);
        }
        if (page.layerUnderPixels) {
            const PageRect& at = scanned.mediaBox;
            scanned.extraContent = "q " + std::to_string(at.width) + " 0 0 " + std::to_string(at.height) + " " +
                                   std::to_string(at.x) + " " + std::to_string(at.y) + " cm /Im1 Do Q\n";
        }
        plan.pages.push_back(scanned);
    }
    return buildPdf(plan);
}

PageRect scannedRect(const ScanPage& page, const PageRect& sourceRect) {
    const PageRect box = page.source.mediaBox.standardized();
    const PageRect r = sourceRect.standardized();
    // Corners relative to the source media box, turned as the pixels were.
    const double w = box.width;
    const double h = box.height;
    const int turn = storedTurn(page);
    auto map = [&](double x, double y) {
        return turn == 90    ? std::pair{h - y, x}
               : turn == 180 ? std::pair{w - x, h - y}
               : turn == 270 ? std::pair{y, w - x}
                             : std::pair{x, y};
    };
    const auto [x0, y0] = map(r.x - box.x, r.y - box.y);
    const auto [x1, y1] = map(r.x + r.width - box.x, r.y + r.height - box.y);
    return PageRect{box.x + std::min(x0, x1), box.y + std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0)};
}

}  // namespace norvane::testing
