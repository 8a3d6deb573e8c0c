#include "engine/page_raster.h"

#include "engine/redaction_label.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>

namespace norvane {
namespace {

constexpr const char* kLabelText = kRedactionLabelText.data();

// Pixel edges closer than this to a whole number count as that number, so a box whose edge
// lands on a pixel boundary does not spill into the neighbour through rounding noise.
constexpr double kEdgeSlack = 1e-6;
constexpr double kIntMax = std::numeric_limits<int>::max();

fz_matrix toFz(const Affine& m) {
    return fz_make_matrix(static_cast<float>(m.a), static_cast<float>(m.b), static_cast<float>(m.c),
                          static_cast<float>(m.d), static_cast<float>(m.e), static_cast<float>(m.f));
}

struct Point {
    double x;
    double y;
};

Point apply(const Affine& m, double x, double y) {
    return {m.a * x + m.c * y + m.e, m.b * x + m.d * y + m.f};
}

struct Geometry {
    int width = 0;
    int height = 0;
    Affine pageToPixel;
};

// Maps page space onto the bitmap, turned clockwise by `rotation` for the displayed
// orientation.
std::optional<Geometry> geometryFor(const PageRect& mediaBox, double dpi, int rotation,
                                    std::int64_t maxPixels = kMaxRenderPixels) {
    const std::optional<RasterSize> size = rasterSize(mediaBox, dpi, maxPixels);
    if (!size) {
        return std::nullopt;
    }
    const PageRect box = mediaBox.standardized();
    const double scale = dpi / 72.0;
    const double w = size->width;
    const double h = size->height;

    // Media box, y flipped, origin at its top left.
    const Affine upright{scale, 0, 0, -scale, -box.x * scale, (box.y + box.height) * scale};
    Geometry g;
    g.width = size->width;
    g.height = size->height;
    const Affine& u = upright;
    switch (rotation) {
        case 90:  // (x, y) -> (h - y, x)
            g.pageToPixel = {-u.b, u.a, -u.d, u.c, h - u.f, u.e};
            std::swap(g.width, g.height);
            break;
        case 180:  // (x, y) -> (w - x, h - y)
            g.pageToPixel = {-u.a, -u.b, -u.c, -u.d, w - u.e, h - u.f};
            break;
        case 270:  // (x, y) -> (y, w - x)
            g.pageToPixel = {u.b, -u.a, u.d, -u.c, u.f, w - u.e};
            std::swap(g.width, g.height);
            break;
        default:
            g.pageToPixel = upright;
            break;
    }
    return g;
}

// Fills the pixels a box touches, rounding outwards: a partly covered edge pixel is black too.
// Returns false for a box that cannot be placed (not a number), so the caller refuses the page
// rather than silently leaving content uncovered.
bool fillBox(PageImage& image, const PageRect& rect) {
    const PageRect r = rect.standardized();
    if (std::isnan(r.x) || std::isnan(r.y) || std::isnan(r.width) || std::isnan(r.height)) {
        return false;
    }
    const Point p0 = apply(image.pageToPixel, r.x, r.y);
    const Point p1 = apply(image.pageToPixel, r.x + r.width, r.y + r.height);
    if (std::isnan(p0.x) || std::isnan(p0.y) || std::isnan(p1.x) || std::isnan(p1.y)) {
        return false;
    }
    const auto clampTo = [](double v, int limit) {
        return static_cast<int>(std::clamp(v, 0.0, static_cast<double>(limit)));
    };
    const int x0 = clampTo(std::floor(std::min(p0.x, p1.x) + kEdgeSlack), image.width);
    const int x1 = clampTo(std::ceil(std::max(p0.x, p1.x) - kEdgeSlack), image.width);
    const int y0 = clampTo(std::floor(std::min(p0.y, p1.y) + kEdgeSlack), image.height);
    const int y1 = clampTo(std::ceil(std::max(p0.y, p1.y) - kEdgeSlack), image.height);
    if (x0 >= x1 || y0 >= y1) {
        return true;
    }
    const auto stride = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.components);
    const auto span = static_cast<std::size_t>(x1 - x0) * static_cast<std::size_t>(image.components);
    for (int y = y0; y < y1; ++y) {
        std::uint8_t* row = image.samples.data() + static_cast<std::size_t>(y) * stride +
                            static_cast<std::size_t>(x0) * static_cast<std::size_t>(image.components);
        std::fill_n(row, span, std::uint8_t{0});
    }
    return true;
}

// Text and vector pages of the export are drawn once, at full anti-aliasing, on a transparent
// band; the ink's coverage of the white page is then rounded to ninths, so edges get the 10
// grey levels a 3x3 oversampling would give (far better compression, same look at 180 dpi)
// for a ninth of the drawing. Solid ink and shadings keep their exact colours. A page whose
// partial coverage is not only edges keeps the direct rendering: images (photos and scans keep
// their full tonal resolution), translucent ink or soft masks (rounding would shift their
// tones), blend modes (their look depends on the white backdrop).
constexpr int kCoverageSteps = 9;
constexpr int kBandRows = 256;

struct DirectProbe {
    fz_device super;
    bool direct;
};

void markDirect(fz_device* device, bool yes = true) {
    reinterpret_cast<DirectProbe*>(device)->direct |= yes;
}

void installProbe(DirectProbe& probe) {
    fz_device& d = probe.super;
    d.fill_path = [](fz_context*, fz_device* dev, const fz_path*, int, fz_matrix, fz_colorspace*, const float*,
                     float alpha, fz_color_params) { markDirect(dev, alpha < 1); };
    d.stroke_path = [](fz_context*, fz_device* dev, const fz_path*, const fz_stroke_state*, fz_matrix, fz_colorspace*,
                       const float*, float alpha, fz_color_params) { markDirect(dev, alpha < 1); };
    d.fill_text = [](fz_context*, fz_device* dev, const fz_text*, fz_matrix, fz_colorspace*, const float*, float alpha,
                     fz_color_params) { markDirect(dev, alpha < 1); };
    d.stroke_text = [](fz_context*, fz_device* dev, const fz_text*, const fz_stroke_state*, fz_matrix, fz_colorspace*,
                       const float*, float alpha, fz_color_params) { markDirect(dev, alpha < 1); };
    d.fill_shade = [](fz_context*, fz_device* dev, fz_shade*, fz_matrix, float alpha, fz_color_params) {
        markDirect(dev, alpha < 1);
    };
    d.fill_image = [](fz_context*, fz_device* dev, fz_image*, fz_matrix, float, fz_color_params) { markDirect(dev); };
    d.fill_image_mask = [](fz_context*, fz_device* dev, fz_image*, fz_matrix, fz_colorspace*, const float*, float,
                           fz_color_params) { markDirect(dev); };
    d.clip_image_mask = [](fz_context*, fz_device* dev, fz_image*, fz_matrix, fz_rect) { markDirect(dev); };
    d.begin_mask = [](fz_context*, fz_device* dev, fz_rect, int, fz_colorspace*, const float*, fz_color_params) {
        markDirect(dev);
    };
    d.begin_group = [](fz_context*, fz_device* dev, fz_rect, fz_colorspace*, int, int, int blendmode, float alpha) {
        markDirect(dev, blendmode != FZ_BLEND_NORMAL || alpha < 1);
    };
    probe.direct = false;
}

// Coverage 0..255 rounded to the nearest ninth, in the same 0..255 scale.
constexpr std::array<std::uint8_t, 256> kCoverageLevel = [] {
    std::array<std::uint8_t, 256> level{};
    for (int a = 0; a < 256; ++a) {
        const int step = (a * kCoverageSteps + 127) / 255;
        level[static_cast<std::size_t>(a)] =
            static_cast<std::uint8_t>((step * 255 + kCoverageSteps / 2) / kCoverageSteps);
    }
    return level;
}();

// Puts a premultiplied RGBA band over white with its coverage rounded (colour kept).
void composeBand(const unsigned char* src, std::ptrdiff_t srcStride, unsigned char* out, int w, int rows) {
    for (int y = 0; y < rows; ++y) {
        const unsigned char* s = src + y * srcStride;
        unsigned char* o = out + static_cast<std::ptrdiff_t>(y) * w * 3;
        for (int x = 0; x < w; ++x, s += 4, o += 3) {
            const unsigned a = s[3];
            if (a == 255) {
                o[0] = s[0];
                o[1] = s[1];
                o[2] = s[2];
            } else if (a != 0) {
                const unsigned q = kCoverageLevel[a];
                for (int c = 0; c < 3; ++c) {
                    const unsigned ink = std::min(q, (s[c] * q + a / 2) / a);
                    o[c] = static_cast<unsigned char>(ink + 255 - q);
                }
            }  // nothing drawn: the output is already white
        }
    }
}

// Draws the page into `samples` (w x h RGB, already white) through `ctm`. With `compactEdges`
// a page that allows it is drawn in bands, so memory stays near one output bitmap.
// Without it the page is drawn straight from its content, which `cookie` can stop early.
void drawPage(fz_context* ctx, fz_page* page, fz_matrix ctm, unsigned char* samples, int w, int h, bool compactEdges,
              fz_cookie* cookie) {
    fz_display_list* list = nullptr;
    fz_pixmap* band = nullptr;
    fz_device* device = nullptr;
    bool compact = compactEdges;
    fz_var(list);
    fz_var(band);
    fz_var(device);
    mu::muCall(ctx, [&] {
        fz_try(ctx) {
            if (compact) {
                list = fz_new_display_list_from_page(ctx, page);
                DirectProbe* probe = fz_new_derived_device(ctx, DirectProbe);
                device = &probe->super;
                installProbe(*probe);
                fz_run_display_list(ctx, list, device, ctm, fz_infinite_rect, nullptr);
                fz_close_device(ctx, device);
                compact = !probe->direct;
                fz_drop_device(ctx, device);
                device = nullptr;
            }
            if (!compact) {
                band = fz_new_pixmap_with_data(ctx, fz_device_rgb(ctx), w, h, nullptr, 0, w * 3, samples);
                device = fz_new_draw_device(ctx, fz_identity, band);
                if (list) {
                    fz_run_display_list(ctx, list, device, ctm, fz_infinite_rect, nullptr);
                } else {
                    fz_run_page(ctx, page, device, ctm, cookie);
                }
                fz_close_device(ctx, device);
            } else {
                for (int y0 = 0; y0 < h; y0 += kBandRows) {
                    const int rows = std::min(kBandRows, h - y0);
                    const fz_irect box = fz_make_irect(0, y0, w, y0 + rows);
                    band = fz_new_pixmap_with_bbox(ctx, fz_device_rgb(ctx), box, nullptr, 1);
                    fz_clear_pixmap(ctx, band);
                    device = fz_new_draw_device(ctx, fz_identity, band);
                    fz_run_display_list(ctx, list, device, ctm, fz_rect_from_irect(box), nullptr);
                    fz_close_device(ctx, device);
                    fz_drop_device(ctx, device);
                    device = nullptr;
                    composeBand(fz_pixmap_samples(ctx, band), fz_pixmap_stride(ctx, band),
                                samples + static_cast<std::ptrdiff_t>(y0) * w * 3, w, rows);
                    fz_drop_pixmap(ctx, band);
                    band = nullptr;
                }
            }
        }
        fz_always(ctx) {
            fz_drop_device(ctx, device);
            fz_drop_pixmap(ctx, band);
            fz_drop_display_list(ctx, list);
        }
        fz_catch(ctx) {
            fz_rethrow(ctx);
        }
    });
}

struct LabelFont {
    fz_font* font = nullptr;
    float width = 0;      // advance of the label at size 1
    float ascender = 0;   // at size 1
    float descender = 0;  // at size 1, negative below the baseline
};

void loadLabelFont(fz_context* ctx, LabelFont& label) {
    mu::muCall(ctx, [&] {
        label.font = fz_new_base14_font(ctx, "Helvetica-Bold");
        float advance = 0;
        for (const char* c = kLabelText; *c; ++c) {
            advance += fz_advance_glyph(ctx, label.font, fz_encode_character(ctx, label.font, *c), 0);
        }
        label.width = advance;
        label.ascender = fz_font_ascender(ctx, label.font);
        label.descender = fz_font_descender(ctx, label.font);
    });
}

// Draws the label centred in the box, turned with the page's /Rotate so that it reads upright
// wherever the page is shown upright. The size rule looks at the box as the reader sees it.
void drawLabel(fz_context* ctx, fz_device* device, const LabelFont& label, const PageRect& rect, int rotation,
               const fz_matrix& ctm) {
    const PageRect r = rect.standardized();
    const bool quarterTurn = rotation == 90 || rotation == 270;
    const double seenWidth = quarterTurn ? r.height : r.width;
    const double seenHeight = quarterTurn ? r.width : r.height;
    const std::optional<double> fitted = redactionLabelSize(seenWidth, seenHeight);
    if (!fitted) {
        return;
    }
    const double size = *fitted;
    const double w = label.width * size;
    const double h = (label.ascender - label.descender) * size;
    // Baseline start relative to the centre, in the label's own upright frame.
    const double localX = -w * 0.5;
    const double localY = -h * 0.5 - label.descender * size;
    const double radians = rotation * std::numbers::pi / 180.0;
    const double cosR = std::cos(radians);
    const double sinR = std::sin(radians);
    const double originX = r.x + r.width * 0.5 + localX * cosR - localY * sinR;
    const double originY = r.y + r.height * 0.5 + localX * sinR + localY * cosR;
    const fz_matrix trm = fz_make_matrix(static_cast<float>(size * cosR), static_cast<float>(size * sinR),
                                         static_cast<float>(-size * sinR), static_cast<float>(size * cosR),
                                         static_cast<float>(originX), static_cast<float>(originY));
    static const float white[3] = {1, 1, 1};
    fz_text* text = nullptr;
    fz_var(text);
    mu::muCall(ctx, [&] {
        fz_try(ctx) {
            text = fz_new_text(ctx);
            fz_show_string(ctx, text, label.font, trm, kLabelText, 0, 0, FZ_BIDI_LTR, FZ_LANG_UNSET);
            fz_fill_text(ctx, device, text, ctm, fz_device_rgb(ctx), white, 1, fz_default_color_params);
        }
        fz_always(ctx) {
            fz_drop_text(ctx, text);
        }
        fz_catch(ctx) {
            fz_rethrow(ctx);
        }
    });
}

// Everything MuPDF holds during one render, released on every path.
struct RenderResources {
    fz_context* ctx;
    fz_page* page = nullptr;
    fz_pixmap* pixmap = nullptr;
    fz_device* device = nullptr;
    LabelFont label;

    explicit RenderResources(fz_context* c) : ctx(c) {}
    ~RenderResources() {
        fz_drop_device(ctx, device);
        fz_drop_pixmap(ctx, pixmap);
        fz_drop_page(ctx, page);
        fz_drop_font(ctx, label.font);
    }
    RenderResources(const RenderResources&) = delete;
    RenderResources& operator=(const RenderResources&) = delete;
};

}  // namespace

std::optional<RasterSize> rasterSize(const PageRect& mediaBox, double dpi, std::int64_t maxPixels) {
    const PageRect box = mediaBox.standardized();
    if (!(box.width > 0) || !(box.height > 0) || !std::isfinite(dpi) || !(dpi > 0)) {
        return std::nullopt;
    }
    // Multiply before dividing and forgive rounding noise, so 792 pt at 150 dpi is 1650
    // pixels and not 1651.
    const auto pixels = [dpi](double points) {
        const double exact = points * dpi / 72.0;
        return std::isfinite(exact) ? std::max(1.0, std::ceil(exact - exact * 1e-12)) : exact;
    };
    const double w = pixels(box.width);
    const double h = pixels(box.height);
    if (!std::isfinite(w) || !std::isfinite(h) || w > kIntMax || h > kIntMax ||
        w * h > static_cast<double>(maxPixels)) {
        return std::nullopt;
    }
    return RasterSize{static_cast<int>(w), static_cast<int>(h)};
}

RenderResult renderImage(const mu::Session& session, const RenderRequest& request) {
    const PdfDocument& document = *session.document();
    const std::int64_t pageIndex = request.pageIndex;
    if (pageIndex < 0 || pageIndex >= document.pageCount() || !std::isfinite(request.dpi) || !(request.dpi > 0)) {
        return PageFailure::unrenderable;
    }
    const PdfPageInfo& info = document.page(pageIndex);
    const auto& window = request.window;
    const int shownRotation = request.orientation == RenderOrientation::displayed ? info.rotation : 0;
    std::optional<Geometry> geometry =
        geometryFor(info.mediaBox, request.dpi, shownRotation,
                    window ? std::numeric_limits<std::int64_t>::max() : kMaxRenderPixels);
    if (!geometry) {
        return PageFailure::tooLarge;
    }
    if (window) {
        const int x0 = std::max(window->x, 0);
        const int y0 = std::max(window->y, 0);
        const auto x1 = std::min<std::int64_t>(std::int64_t{window->x} + window->width, geometry->width);
        const auto y1 = std::min<std::int64_t>(std::int64_t{window->y} + window->height, geometry->height);
        if (x1 <= x0 || y1 <= y0) {
            return PageFailure::unrenderable;
        }
        if ((x1 - x0) * (y1 - y0) > kMaxRenderPixels) {
            return PageFailure::tooLarge;
        }
        geometry->width = static_cast<int>(x1 - x0);
        geometry->height = static_cast<int>(y1 - y0);
        geometry->pageToPixel.e -= x0;
        geometry->pageToPixel.f -= y0;
    }

    fz_cookie* cookie = request.cookie;
    const auto stopped = [cookie] { return cookie && std::atomic_ref<int>(cookie->abort).load() != 0; };
    // MuPDF refusing the page itself means its objects are broken; failing later, while
    // drawing, is a failure to draw.
    bool loaded = false;
    try {
        PageImage image;
        image.width = geometry->width;
        image.height = geometry->height;
        image.components = 3;
        image.pageToPixel = geometry->pageToPixel;
        const auto stride = static_cast<std::size_t>(image.width) * 3;
        image.samples.assign(stride * static_cast<std::size_t>(image.height), std::uint8_t{255});

        fz_context* ctx = session.ctx();
        RenderResources res(ctx);
        const int index = static_cast<int>(pageIndex);
        const fz_matrix pageToPixel = toFz(image.pageToPixel);
        unsigned char* samples = image.samples.data();
        const int w = image.width;
        const int h = image.height;
        fz_matrix ctm = fz_identity;
        mu::muCall(ctx, [&] {
            pdf_page* page = pdf_load_page(ctx, session.pdf(), index);
            res.page = &page->super;
            fz_rect unused;
            fz_matrix pageCtm;
            pdf_page_transform(ctx, page, &unused, &pageCtm);
            // MuPDF runs pages in its own (cropped, rotated, y-down) space; undo that first so the
            // whole media box lands on the bitmap, not just the crop box.
            ctm = fz_concat(fz_invert_matrix(pageCtm), pageToPixel);
        });
        loaded = true;
        drawPage(ctx, res.page, ctm, samples, w, h, request.compactEdges, cookie);
        if (stopped()) {
            return RenderResult::stopped();
        }
        mu::muCall(ctx, [&] {
            res.pixmap = fz_new_pixmap_with_data(ctx, fz_device_rgb(ctx), w, h, nullptr, 0, w * 3, samples);
            res.device = fz_new_draw_device(ctx, fz_identity, res.pixmap);
        });

        if (request.labelRedactions && !request.boxes.empty()) {
            loadLabelFont(ctx, res.label);
        }
        // Box then label, in list order, so a later box covers an earlier label.
        for (const RedactionRegion& region : request.boxes) {
            if (!fillBox(image, region.rect)) {
                return PageFailure::unrenderable;
            }
            if (request.labelRedactions) {
                drawLabel(ctx, res.device, res.label, region.rect, info.rotation, pageToPixel);
            }
        }
        mu::muCall(ctx, [&] { fz_close_device(ctx, res.device); });
        return image;
    } catch (const mu::MuPdfOutOfMemory&) {
        return stopped() ? RenderResult::stopped() : PageFailure::outOfMemory;
    } catch (const mu::MuPdfError&) {
        return stopped() ? RenderResult::stopped() : loaded ? PageFailure::unrenderable : PageFailure::unparsable;
    } catch (const std::bad_alloc&) {
        return PageFailure::outOfMemory;
    } catch (const std::length_error&) {
        return PageFailure::outOfMemory;
    }
}

}  // namespace norvane
