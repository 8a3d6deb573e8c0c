#include "tests/support/scan_factory.h"

#include "engine/mupdf_session.h"
#include "tests/support/mupdf_write.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace norvane::testing {
namespace {

struct Grey {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> samples;
};

Grey renderUpright(fz_context* ctx, const PageSpec& source, double dpi) {
    PageSpec upright = source;
    upright.rotate = 0;
    DocumentSpec spec;
    spec.pages.push_back(upright);
    const std::vector<unsigned char> bytes = buildPdf(spec);

    Grey grey;
    fz_pixmap* pix = nullptr;
    const auto scale = static_cast<float>(dpi / 72.0);
    mu::muCall(ctx, [&] {
        fz_stream* stream = fz_open_memory(ctx, bytes.data(), bytes.size());
        fz_document* doc = nullptr;
        fz_page* page = nullptr;
        fz_var(doc);
        fz_var(page);
        fz_try(ctx) {
            doc = fz_open_document_with_stream(ctx, "application/pdf", stream);
            page = fz_load_page(ctx, doc, 0);
            pix = fz_new_pixmap_from_page(ctx, page, fz_scale(scale, scale), fz_device_gray(ctx), 0);
        }
        fz_always(ctx) {
            fz_drop_page(ctx, page);
            fz_drop_document(ctx, doc);
            fz_drop_stream(ctx, stream);
        }
        fz_catch(ctx) { fz_rethrow(ctx); }
    });
    grey.width = fz_pixmap_width(ctx, pix);
    grey.height = fz_pixmap_height(ctx, pix);
    const auto stride = static_cast<std::size_t>(fz_pixmap_stride(ctx, pix));
    const unsigned char* samples = fz_pixmap_samples(ctx, pix);
    grey.samples.resize(static_cast<std::size_t>(grey.width) * static_cast<std::size_t>(grey.height));
    for (int y = 0; y < grey.height; ++y) {
        std::memcpy(grey.samples.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(grey.width),
                    samples + static_cast<std::size_t>(y) * stride, static_cast<std::size_t>(grey.width));
    }
    fz_drop_pixmap(ctx, pix);
    return grey;
}

// Turns the displayed pixels counter-clockwise by `rotate`, undoing the clockwise turn
// that /Rotate applies on display.
Grey storedPixels(const Grey& shown, int rotate) {
    if (rotate == 0) {
        return shown;
    }
    const bool quarter = rotate == 90 || rotate == 270;
    Grey stored;
    stored.width = quarter ? shown.height : shown.width;
    stored.height = quarter ? shown.width : shown.height;
    stored.samples.resize(shown.samples.size());
    for (int sy = 0; sy < stored.height; ++sy) {
        for (int sx = 0; sx < stored.width; ++sx) {
            int dx = 0;
            int dy = 0;
            switch (rotate) {
                case 90: dx = shown.width - 1 - sy; dy = sx; break;
                case 180: dx = shown.width - 1 - sx; dy = shown.height - 1 - sy; break;
                case 270: dx = sy; dy = shown.height - 1 - sx; break;
                default: throw std::invalid_argument("rotation must be a multiple of 90");
            }
            stored.samples[static_cast<std::size_t>(sy) * static_cast<std::size_t>(stored.width) + static_cast<std::size_t>(sx)] =
                shown.samples[static_cast<std::size_t>(dy) * static_cast<std::size_t>(shown.width) + static_cast<std::size_t>(dx)];
        }
    }
    return stored;
}

PageRect scannedMediaBox(const ScanPage& page) {
    const PageRect box = page.source.mediaBox.standardized();
    const bool quarter = page.rotate == 90 || page.rotate == 270;
    return PageRect{box.x, box.y, quarter ? box.height : box.width, quarter ? box.width : box.height};
}

std::string number(double v) { return std::to_string(v); }

}  // namespace

std::vector<unsigned char> buildScannedPdf(const std::vector<ScanPage>& pages) {
    mu::Context context;
    fz_context* ctx = context.get();
    pdf_document* doc = nullptr;
    mu::muCall(ctx, [&] { doc = pdf_create_document(ctx); });
    std::vector<unsigned char> result;
    try {
        for (const auto& page : pages) {
            const Grey stored = storedPixels(renderUpright(ctx, page.source, page.dpi), page.rotate);
            const PageRect box = scannedMediaBox(page);
            const std::string content = "q " + number(box.width) + " 0 0 " + number(box.height) + " " + number(box.x) + " " +
                                        number(box.y) + " cm /Scan Do Q\n";
            const fz_rect media = fz_make_rect(static_cast<float>(box.x), static_cast<float>(box.y),
                                               static_cast<float>(box.x + box.width), static_cast<float>(box.y + box.height));
            const int rotate = page.rotate;
            mu::muCall(ctx, [&] {
                fz_pixmap* pix = fz_new_pixmap(ctx, fz_device_gray(ctx), stored.width, stored.height, nullptr, 0);
                fz_image* image = nullptr;
                pdf_obj* imageRef = nullptr;
                pdf_obj* resources = nullptr;
                fz_buffer* contents = nullptr;
                pdf_obj* pageObj = nullptr;
                fz_var(image);
                fz_var(imageRef);
                fz_var(resources);
                fz_var(contents);
                fz_var(pageObj);
                fz_try(ctx) {
                    std::memcpy(fz_pixmap_samples(ctx, pix), stored.samples.data(), stored.samples.size());
                    image = fz_new_image_from_pixmap(ctx, pix, nullptr);
                    imageRef = pdf_add_image(ctx, doc, image);
                    resources = pdf_new_dict(ctx, doc, 1);
                    pdf_dict_puts(ctx, pdf_dict_put_dict(ctx, resources, PDF_NAME(XObject), 1), "Scan", imageRef);
                    contents = fz_new_buffer_from_copied_data(ctx, reinterpret_cast<const unsigned char*>(content.data()),
                                                              content.size());
                    pageObj = pdf_add_page(ctx, doc, media, rotate, resources, contents);
                    pdf_insert_page(ctx, doc, -1, pageObj);
                }
                fz_always(ctx) {
                    pdf_drop_obj(ctx, pageObj);
                    fz_drop_buffer(ctx, contents);
                    pdf_drop_obj(ctx, resources);
                    pdf_drop_obj(ctx, imageRef);
                    fz_drop_image(ctx, image);
                    fz_drop_pixmap(ctx, pix);
                }
                fz_catch(ctx) { fz_rethrow(ctx); }
            });
        }
        pdf_write_options options = pdf_default_write_options;
        options.do_compress = 1;
        options.do_compress_images = 1;
        result = saveToBytes(ctx, doc, options);
    } catch (...) {
        pdf_drop_document(ctx, doc);
        throw;
    }
    pdf_drop_document(ctx, doc);
    return result;
}

std::vector<ScanPage> scannedLines(const std::vector<std::vector<std::string>>& pages) {
    std::vector<ScanPage> result;
    for (const auto& lines : pages) {
        ScanPage page;
        double y = 720;
        for (const auto& line : lines) {
            page.source.texts.push_back(TextRun{line, 72, y, 12});
            y -= 28;
        }
        result.push_back(page);
    }
    return result;
}

PageRect scannedRect(const ScanPage& page, const PageRect& sourceRect) {
    const PageRect box = page.source.mediaBox.standardized();
    const PageRect r = sourceRect.standardized();
    // Corners relative to the source media box, mapped with the page's clockwise turn undone.
    const double w = box.width;
    const double h = box.height;
    auto map = [&](double x, double y) -> std::pair<double, double> {
        switch (page.rotate) {
            case 90: return {h - y, x};
            case 180: return {w - x, h - y};
            case 270: return {y, w - x};
            default: return {x, y};
        }
    };
    const auto [x0, y0] = map(r.x - box.x, r.y - box.y);
    const auto [x1, y1] = map(r.x + r.width - box.x, r.y + r.height - box.y);
    return PageRect{box.x + std::min(x0, x1), box.y + std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0)};
}

PageRect glyphBox(const TextRun& run, std::size_t begin, std::size_t end) {
    const double start = textWidth(run.text.substr(0, begin), run.size, run.font);
    const double width = textWidth(run.text.substr(begin, end - begin), run.size, run.font);
    return PageRect{run.x + start, run.y - 0.21 * run.size, width, 0.93 * run.size};
}

PageRect glyphBox(const TextRun& run, const std::string& word) {
    const std::size_t at = run.text.find(word);
    if (at == std::string::npos) {
        throw std::invalid_argument("word not in run");
    }
    return glyphBox(run, at, at + word.size());
}

bool contains(const PageRect& outer, const PageRect& inner) {
    const PageRect o = outer.standardized();
    const PageRect i = inner.standardized();
    return o.minX() <= i.minX() && o.minY() <= i.minY() && o.maxX() >= i.maxX() && o.maxY() >= i.maxY();
}

}  // namespace norvane::testing
