#include "engine/drawing_record.h"
#include "engine/inspection_parts.h"
#include "engine/line_joins.h"
#include "engine/page_raster.h"
#include "engine/page_reading.h"
#include "engine/search_keys.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <tuple>

namespace norvane {
namespace {

// Low enough to cost no more than one plain rendering of the page, high enough that a glyph of
// 4 points covers whole pixels. Huge pages are drawn coarser, not refused.
constexpr double kDpi = 72;
constexpr std::int64_t kMaxPixels = 16'000'000;
// A glyph shows when some pixel of its box differs this much with and without the text.
constexpr int kShowsThreshold = 24;
constexpr double kTinyPoints = 1;
// Of the words of an invisible layer over a scan, this share read the same by the recogniser
// makes it a recognised text layer rather than hidden text.
constexpr double kOcrLayerShare = 0.5;
constexpr double kOcrDpi = 150;
// A patch this even is one flat colour; a ground this dark under hidden text is a box.
constexpr int kFlatSpread = 12;
constexpr int kDarkGround = 160;

// Everything MuPDF holds while one page is inspected, dropped on every way out.
struct PageResources {
    fz_context* ctx;
    fz_page* page = nullptr;
    fz_display_list* list = nullptr;
    fz_device* device = nullptr;
    fz_device* relay = nullptr;
    fz_pixmap* shown = nullptr;
    fz_pixmap* textless = nullptr;
    fz_pixmap* layered = nullptr;

    explicit PageResources(fz_context* c) : ctx(c) {}
    ~PageResources() { release(); }
    void dropDevices() {
        fz_drop_device(ctx, relay);
        fz_drop_device(ctx, device);
        relay = nullptr;
        device = nullptr;
    }
    void release() {
        dropDevices();
        fz_drop_pixmap(ctx, layered);
        fz_drop_pixmap(ctx, textless);
        fz_drop_pixmap(ctx, shown);
        fz_drop_display_list(ctx, list);
        fz_drop_page(ctx, page);
        layered = textless = shown = nullptr;
        list = nullptr;
        page = nullptr;
    }
    PageResources(const PageResources&) = delete;
    PageResources& operator=(const PageResources&) = delete;
};

struct AnnotationFacts {
    enum pdf_annot_type type = PDF_ANNOT_UNKNOWN;
    bool widget = false;
    PageRect rect;  // page space
    fz_rect box{};  // device space
    bool dark = false;
    std::int64_t coveredGlyphs = 0;
};

PageRect pageRectOf(const fz_rect& r) {
    return PageRect{r.x0, r.y0, r.x1 - r.x0, r.y1 - r.y0}.standardized();
}

fz_point centreOf(const fz_rect& r) {
    return {(r.x0 + r.x1) / 2, (r.y0 + r.y1) / 2};
}

bool isBlank(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        char32_t c = 0;
        const auto byte = static_cast<unsigned char>(text[i]);
        const int length = byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
        c = length == 1 ? byte : byte & (0x3F >> (length - 1));
        for (int k = 1; k < length && i + k < text.size(); ++k) {
            c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        i += length;
        const bool space = c <= 0x20 || c == 0xA0 || (c >= 0x2000 && c <= 0x200B) || c == 0x3000 || c == 0xFFFD;
        if (!space && !isInvisible(c)) {
            return false;
        }
    }
    return true;
}

double luminance(fz_context* ctx, pdf_obj* colour) {
    const int n = pdf_array_len(ctx, colour);
    const auto at = [&](int i) { return static_cast<double>(pdf_array_get_real(ctx, colour, i)); };
    switch (n) {
        case 1:
            return at(0);
        case 3:
            return 0.3 * at(0) + 0.59 * at(1) + 0.11 * at(2);
        case 4:
            return 1 - std::min(1.0, 0.3 * at(0) + 0.59 * at(1) + 0.11 * at(2) + at(3));
        default:
            return 1;  // no colour: nothing filled
    }
}

// The largest channel difference between two pixmaps of the same bounds inside `box` (in their
// pixel space); nothing when the box lies off them. With `innerOnly` the outer ring of pixels
// is left out: there the glyph's edge blends with whatever edge lies beside it, and a box drawn
// flush over a glyph leaves a faint rim no reader can see.
std::optional<int> largestDifference(fz_context* ctx, fz_pixmap* a, fz_pixmap* b, const fz_rect& box, bool innerOnly) {
    const int px = fz_pixmap_x(ctx, a);
    const int py = fz_pixmap_y(ctx, a);
    const int w = fz_pixmap_width(ctx, a);
    const int h = fz_pixmap_height(ctx, a);
    int x0 = std::clamp(static_cast<int>(std::floor(box.x0)) - px, 0, w);
    int y0 = std::clamp(static_cast<int>(std::floor(box.y0)) - py, 0, h);
    int x1 = std::clamp(static_cast<int>(std::ceil(box.x1)) - px, 0, w);
    int y1 = std::clamp(static_cast<int>(std::ceil(box.y1)) - py, 0, h);
    if (x1 <= x0 || y1 <= y0) {
        return std::nullopt;
    }
    const auto inner = [](int& from, int& to) {
        if (to - from >= 3) {
            ++from;
            --to;
        }
    };
    if (innerOnly) {
        inner(x0, x1);
        inner(y0, y1);
    }
    const std::ptrdiff_t stride = fz_pixmap_stride(ctx, a);
    const unsigned char* pa = fz_pixmap_samples(ctx, a);
    const unsigned char* pb = fz_pixmap_samples(ctx, b);
    int largest = 0;
    for (int y = y0; y < y1; ++y) {
        const std::ptrdiff_t row = y * stride + std::ptrdiff_t{x0} * 3;
        for (std::ptrdiff_t i = row; i < row + std::ptrdiff_t{x1 - x0} * 3; ++i) {
            largest = std::max(largest, std::abs(int{pa[i]} - int{pb[i]}));
        }
    }
    return largest;
}

// The grey level of a patch when the whole box (its rim aside) is one flat colour.
std::optional<int> flatShade(fz_context* ctx, fz_pixmap* pixmap, const fz_rect& box) {
    const int px = fz_pixmap_x(ctx, pixmap);
    const int py = fz_pixmap_y(ctx, pixmap);
    // Whole pixels inside the box; for a glyph narrower than a pixel, the pixels it touches.
    const auto span = [](float from, float to, int origin, int size) {
        int a = std::clamp(static_cast<int>(std::ceil(from)) - origin, 0, size);
        int b = std::clamp(static_cast<int>(std::floor(to)) - origin, 0, size);
        if (b <= a) {
            a = std::clamp(static_cast<int>(std::floor(from)) - origin, 0, size);
            b = std::clamp(static_cast<int>(std::ceil(to)) - origin, 0, size);
        }
        return std::pair{a, b};
    };
    const auto [x0, x1] = span(box.x0, box.x1, px, fz_pixmap_width(ctx, pixmap));
    const auto [y0, y1] = span(box.y0, box.y1, py, fz_pixmap_height(ctx, pixmap));
    if (x1 <= x0 || y1 <= y0) {
        return std::nullopt;
    }
    const std::ptrdiff_t stride = fz_pixmap_stride(ctx, pixmap);
    const unsigned char* samples = fz_pixmap_samples(ctx, pixmap);
    int low = 255;
    int high = 0;
    long sum = 0;
    for (int y = y0; y < y1; ++y) {
        const std::ptrdiff_t row = y * stride + std::ptrdiff_t{x0} * 3;
        for (std::ptrdiff_t i = row; i < row + std::ptrdiff_t{x1 - x0} * 3; ++i) {
            low = std::min(low, int{samples[i]});
            high = std::max(high, int{samples[i]});
            sum += samples[i];
        }
    }
    if (high - low > kFlatSpread) {
        return std::nullopt;
    }
    return static_cast<int>(sum / (std::ptrdiff_t{x1 - x0} * (y1 - y0) * 3));
}

enum class Seen { notJudged, shown, hidden, unsure, offBitmap };

// MuPDF places small glyphs on a coarse sub-pixel grid, so their ink may stand up to half a
// pixel off the box their outline gives. Four times closer the grid is fine enough.
constexpr float kPlacementSlack = 0.5f;

Seen judge(fz_context* ctx, fz_pixmap* a, fz_pixmap* b, const fz_rect& glyph) {
    const fz_rect box = fz_expand_rect(glyph, kPlacementSlack);
    const std::optional<int> whole = largestDifference(ctx, a, b, box, false);
    if (!whole) {
        return Seen::offBitmap;
    }
    if (*whole < kShowsThreshold) {
        return Seen::hidden;
    }
    const std::optional<int> inner = largestDifference(ctx, a, b, glyph, true);
    return inner && *inner >= kShowsThreshold ? Seen::shown : Seen::unsure;
}

// A second look at glyphs whose ink showed only at the rim of their box, four times closer:
// thin strokes ('=', '"') show inside, a rim left by a box drawn flush over a glyph does not.
constexpr double kCloser = 4;
constexpr double kCloserPixels = 32'000'000;

void lookCloser(fz_context* ctx, fz_display_list* list, const std::vector<RecordedGlyph>& glyphs,
                std::vector<Seen>& seen) {
    fz_rect window = fz_empty_rect;
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        if (seen[i] == Seen::unsure) {
            window = fz_union_rect(window, glyphs[i].box);
        }
    }
    if (fz_is_empty_rect(window)) {
        return;
    }
    const double area = static_cast<double>(window.x1 - window.x0 + 2) * (window.y1 - window.y0 + 2);
    const double factor = std::min(kCloser, std::sqrt(kCloserPixels / area));
    if (factor < 2) {
        return;  // too much to look at closely: they stay unsure, and unsure is reported
    }
    const fz_matrix zoom = fz_scale(static_cast<float>(factor), static_cast<float>(factor));
    const fz_irect bounds = fz_round_rect(fz_transform_rect(fz_expand_rect(window, 1), zoom));
    PageResources look(ctx);
    mu::muCall(ctx, [&] {
        for (const bool withText : {true, false}) {
            fz_pixmap*& pixmap = withText ? look.shown : look.textless;
            pixmap = fz_new_pixmap_with_bbox(ctx, fz_device_rgb(ctx), bounds, nullptr, 0);
            fz_clear_pixmap_with_value(ctx, pixmap, 255);
            look.device = fz_new_draw_device(ctx, fz_identity, pixmap);
            fz_device* target = look.device;
            if (!withText) {
                look.relay = newTextlessDevice(ctx, look.device);
                target = look.relay;
            }
            fz_run_display_list(ctx, list, target, zoom, fz_rect_from_irect(bounds), nullptr);
            fz_close_device(ctx, target);
            fz_close_device(ctx, look.device);
            look.dropDevices();
        }
    });
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
        if (seen[i] == Seen::unsure) {
            const auto difference =
                largestDifference(ctx, look.shown, look.textless, fz_transform_rect(glyphs[i].box, zoom), true);
            seen[i] = difference && *difference >= kShowsThreshold ? Seen::shown : Seen::hidden;
        }
    }
}

// The bounds of every pixel that differs between two pixmaps of the same size.
std::optional<fz_rect> differingArea(fz_context* ctx, fz_pixmap* a, fz_pixmap* b) {
    const int w = fz_pixmap_width(ctx, a);
    const int h = fz_pixmap_height(ctx, a);
    const std::ptrdiff_t stride = fz_pixmap_stride(ctx, a);
    const unsigned char* pa = fz_pixmap_samples(ctx, a);
    const unsigned char* pb = fz_pixmap_samples(ctx, b);
    int x0 = w, y0 = h, x1 = -1, y1 = -1;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const std::ptrdiff_t i = y * stride + std::ptrdiff_t{x} * 3;
            if (std::abs(pa[i] - pb[i]) + std::abs(pa[i + 1] - pb[i + 1]) + std::abs(pa[i + 2] - pb[i + 2]) >=
                kShowsThreshold) {
                x0 = std::min(x0, x);
                y0 = std::min(y0, y);
                x1 = std::max(x1, x);
                y1 = std::max(y1, y);
            }
        }
    }
    if (x1 < 0) {
        return std::nullopt;
    }
    return fz_rect{static_cast<float>(x0), static_cast<float>(y0), static_cast<float>(x1 + 1),
                   static_cast<float>(y1 + 1)};
}

// Hidden glyphs gathered into findings: one per covering mark, one per text object otherwise.
class Gathering {
public:
    Gathering(fz_matrix pixelToPage, bool withText) : pixelToPage_(pixelToPage), withText_(withText) {}

    void add(InspectionKind kind, std::optional<HidingCause> cause, std::int64_t key, const RecordedGlyph& glyph) {
        auto& group = groups_[{kind, cause ? static_cast<int>(*cause) : -1, key}];
        if (group.count == 0) {
            group.box = glyph.box;
            group.lastRun = glyph.run;
        } else {
            group.box = fz_union_rect(group.box, glyph.box);
        }
        ++group.count;
        if (withText_) {
            // Spaces are not glyphs here: a gap wider than a thin space, or another text object,
            // starts a new word.
            const float gap = glyph.pen.x0 - group.lastPen.x1;
            const bool apart = group.lastRun != glyph.run || gap > 0.2 * glyph.size;
            if (apart && !group.text.empty()) {
                group.text += ' ';
            }
            group.text += glyph.text;
        }
        group.lastRun = glyph.run;
        group.lastPen = glyph.pen;
    }

    void addTo(std::int64_t pageIndex, std::vector<InspectionFinding>& out) {
        std::vector<InspectionFinding> found;
        for (auto& [key, group] : groups_) {
            const auto& [kind, cause, unused] = key;
            InspectionFinding finding;
            finding.kind = kind;
            finding.pageIndex = pageIndex;
            // A point around the ink, so a region made from the finding covers its anti-aliased edge.
            finding.rect = pageRectOf(fz_expand_rect(fz_transform_rect(group.box, pixelToPage_), 1));
            finding.count = group.count;
            if (cause >= 0) {
                finding.cause = static_cast<HidingCause>(cause);
            }
            finding.text = std::move(group.text);
            found.push_back(std::move(finding));
        }
        mergeNeighbours(found);
        out.insert(out.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
    }

private:
    // Text objects are often single words: neighbours of one kind and cause on a line become one.
    static void mergeNeighbours(std::vector<InspectionFinding>& found) {
        constexpr std::size_t kMergeLimit = 4000;
        if (found.size() > kMergeLimit) {
            return;
        }
        const auto near = [](const PageRect& a, const PageRect& b) {
            const double gap = std::max(std::min(a.height, b.height) * 0.6, 1.0);
            const double overlap = std::min(a.maxY(), b.maxY()) - std::max(a.minY(), b.minY());
            return overlap > 0.5 * std::min(a.height, b.height) && a.minX() <= b.maxX() + gap &&
                   b.minX() <= a.maxX() + gap;
        };
        for (bool merged = true; merged;) {
            merged = false;
            for (std::size_t i = 0; i < found.size() && !merged; ++i) {
                for (std::size_t j = i + 1; j < found.size(); ++j) {
                    auto& a = found[i];
                    auto& b = found[j];
                    if (a.kind != b.kind || a.cause != b.cause || isCoveredText(a.kind) || !near(*a.rect, *b.rect)) {
                        continue;
                    }
                    a.rect = a.rect->united(*b.rect);
                    a.count += b.count;
                    if (!b.text.empty()) {
                        a.text += (a.text.empty() ? "" : " ") + b.text;
                    }
                    found.erase(found.begin() + static_cast<std::ptrdiff_t>(j));
                    merged = true;
                    break;
                }
            }
        }
    }

    struct Group {
        fz_rect box{};
        std::int64_t count = 0;
        std::string text;
        std::int64_t lastRun = -1;
        fz_rect lastPen{};
    };
    fz_matrix pixelToPage_;
    bool withText_;
    std::map<std::tuple<InspectionKind, int, std::int64_t>, Group> groups_;
};

// The topmost mark drawn after the glyph over its centre.
const RecordedMark* coverOf(const DrawingRecord& record, const RecordedGlyph& glyph) {
    const fz_point centre = centreOf(glyph.box);
    for (auto mark = record.marks.rbegin(); mark != record.marks.rend() && mark->order > glyph.order; ++mark) {
        if (fz_is_point_inside_rect(centre, mark->box)) {
            return &*mark;
        }
    }
    return nullptr;
}

HidingCause causeOf(MarkKind kind) {
    return kind == MarkKind::box     ? HidingCause::box
           : kind == MarkKind::image ? HidingCause::image
                                     : HidingCause::drawing;
}

// A scan: an image over at least half the page.
bool coversMostOf(const fz_rect& image, const fz_rect& page) {
    const fz_rect both = fz_intersect_rect(image, page);
    const auto area = [](const fz_rect& r) { return fz_is_empty_rect(r) ? 0.0 : double(r.x1 - r.x0) * (r.y1 - r.y0); };
    return area(both) >= 0.5 * area(page);
}

// The topmost mark drawn before the glyph under its centre.
const RecordedMark* underOf(const DrawingRecord& record, const RecordedGlyph& glyph) {
    const fz_point centre = centreOf(glyph.box);
    const RecordedMark* found = nullptr;
    for (const RecordedMark& mark : record.marks) {
        if (mark.order > glyph.order) {
            break;
        }
        if (fz_is_point_inside_rect(centre, mark.box)) {
            found = &mark;
        }
    }
    return found;
}

bool overScan(const DrawingRecord& record, const RecordedGlyph& glyph) {
    const fz_point centre = centreOf(glyph.box);
    return std::any_of(record.marks.begin(), record.marks.end(), [&](const RecordedMark& mark) {
        return mark.kind == MarkKind::image && mark.order < glyph.order && mark.annotation < 0 &&
               fz_is_point_inside_rect(centre, mark.box);
    });
}

// True when the recogniser reads most words of the invisible glyphs where they stand: a text
// layer made by recognition, not something hidden. Any failure to read says no.
bool readsAsScan(const mu::Session& session, std::int64_t pageIndex, const std::vector<const RecordedGlyph*>& glyphs,
                 fz_matrix pixelToPage, const std::string& languages, std::optional<OcrService>& ocr,
                 const std::stop_token& stop) {
    struct Word {
        PageRect rect;
        std::string key;
    };
    std::vector<Word> words;
    Word current;
    fz_rect box = fz_empty_rect;
    std::int64_t run = -1;
    const auto close = [&] {
        current.key = recognitionKey(current.key);
        if (current.key.size() >= 2) {
            current.rect = pageRectOf(fz_transform_rect(box, pixelToPage));
            words.push_back(current);
        }
        current = {};
        box = fz_empty_rect;
    };
    for (const RecordedGlyph* glyph : glyphs) {
        if (glyph->run != run || isBlank(glyph->text)) {
            close();
        }
        run = glyph->run;
        if (!isBlank(glyph->text)) {
            current.key += glyph->text;
            box = fz_union_rect(box, glyph->box);
        }
    }
    close();
    if (words.empty()) {
        return false;
    }
    try {
        RenderResult image =
            renderImage(session, {.pageIndex = pageIndex, .dpi = kOcrDpi, .orientation = RenderOrientation::displayed});
        if (!image) {
            return false;
        }
        if (!ocr) {
            ocr.emplace(languages.empty() ? OcrService().languages() : languages);
        }
        std::vector<Word> read;
        for (const OcrLine& line : ocr->recognize(*image, kOcrDpi, 0, stop)) {
            std::size_t begin = 0;
            while (begin < line.text.size()) {
                const std::size_t end = std::min(line.text.find(' ', begin), line.text.size());
                if (const auto rect = coveringRect(*image, line, begin, end)) {
                    read.push_back({*rect, recognitionKey(line.text.substr(begin, end - begin))});
                }
                begin = end + 1;
            }
        }
        const auto same = [](const std::string& a, const std::string& b) {
            return a == b || (a.size() >= 3 && b.find(a) != std::string::npos) ||
                   (b.size() >= 3 && a.find(b) != std::string::npos);
        };
        const auto matched = std::count_if(words.begin(), words.end(), [&](const Word& word) {
            return std::any_of(read.begin(), read.end(), [&](const Word& seen) {
                return same(word.key, seen.key) && containsCentreOf(seen.rect, word.rect);
            });
        });
        return static_cast<double>(matched) >= kOcrLayerShare * static_cast<double>(words.size());
    } catch (const CancellationError&) {
        throw;
    } catch (const std::exception&) {
        return false;
    }
}

struct PageGeometry {
    int width = 0;
    int height = 0;
    fz_matrix pageToPixel{};
};

std::optional<PageGeometry> geometryOf(const PdfPageInfo& info) {
    const PageRect box = info.mediaBox.standardized();
    double dpi = kDpi;
    std::optional<RasterSize> size = rasterSize(box, dpi, kMaxPixels);
    if (!size && box.width > 0 && box.height > 0) {
        dpi = kDpi * std::sqrt(static_cast<double>(kMaxPixels) / (box.width * box.height)) * 0.99;
        size = rasterSize(box, dpi, kMaxPixels);
    }
    if (!size) {
        return std::nullopt;
    }
    const double scale = dpi / 72.0;
    return PageGeometry{
        size->width, size->height,
        fz_make_matrix(static_cast<float>(scale), 0, 0, static_cast<float>(-scale), static_cast<float>(-box.x * scale),
                       static_cast<float>((box.y + box.height) * scale))};
}

fz_pixmap* whitePixmap(fz_context* ctx, const PageGeometry& g) {
    fz_pixmap* pixmap = fz_new_pixmap(ctx, fz_device_rgb(ctx), g.width, g.height, nullptr, 0);
    fz_clear_pixmap_with_value(ctx, pixmap, 255);
    return pixmap;
}

void addAnnotationFindings(fz_context* ctx, pdf_annot* annot, const AnnotationFacts& facts, std::int64_t pageIndex,
                           bool withText, std::vector<InspectionFinding>& out) {
    pdf_obj* obj = pdf_annot_obj(ctx, annot);
    const auto add = [&](InspectionKind kind, std::string text, std::int64_t count = 1) {
        InspectionFinding finding;
        finding.kind = kind;
        finding.pageIndex = pageIndex;
        if (!facts.rect.isEmpty()) {
            finding.rect = facts.rect;
        }
        finding.count = count;
        if (withText) {
            finding.text = std::move(text);
        }
        out.push_back(std::move(finding));
    };
    const char* raw = mu::muValue(ctx, [&] { return pdf_annot_contents(ctx, annot); });
    const std::string contents = raw ? raw : "";
    if (facts.widget) {
        const char* value = mu::muValue(ctx, [&] { return pdf_field_value(ctx, obj); });
        if (value && *value && std::string_view(value) != "Off") {
            add(InspectionKind::formValue, value);
        }
    } else {
        switch (facts.type) {
            case PDF_ANNOT_REDACT:
                add(InspectionKind::unappliedRedaction, contents);
                break;
            case PDF_ANNOT_FILE_ATTACHMENT: {
                pdf_obj* spec = pdf_dict_get(ctx, obj, PDF_NAME(FS));
                std::string name = textOf(ctx, pdf_dict_get(ctx, spec, PDF_NAME(UF)));
                add(InspectionKind::attachment,
                    name.empty() ? textOf(ctx, pdf_dict_get(ctx, spec, PDF_NAME(F))) : name);
                break;
            }
            default:
                if (facts.dark && facts.coveredGlyphs > 0) {
                    add(InspectionKind::darkAnnotation, {}, facts.coveredGlyphs);
                }
                break;
        }
        if (facts.type != PDF_ANNOT_LINK && facts.type != PDF_ANNOT_REDACT && !trimmed(contents).empty()) {
            add(InspectionKind::comment, contents);
        }
    }
    const ActionReach reach = std::max(reachOf(ctx, pdf_dict_get(ctx, obj, PDF_NAME(A))),
                                       reachOfAdditional(ctx, pdf_dict_get(ctx, obj, PDF_NAME(AA))));
    if (reach == ActionReach::javascript) {
        add(InspectionKind::javascript, {});
    } else if (reach == ActionReach::outside) {
        add(InspectionKind::action, {});
    }
}

std::vector<InspectionFinding> inspectLoadedPage(const mu::Session& session, std::int64_t pageIndex,
                                                 const PageInspectionSetup& setup, std::optional<OcrService>& ocr,
                                                 const std::stop_token& stop) {
    const PdfPageInfo& info = session.document()->page(pageIndex);
    const std::optional<PageGeometry> geometry = geometryOf(info);
    if (!geometry) {
        throw mu::MuPdfError("page has no area");
    }
    fz_context* ctx = session.ctx();
    PageResources res(ctx);
    RecordingTarget recording;
    std::vector<AnnotationFacts> annotations;
    std::vector<pdf_annot*> annotationHandles;
    fz_matrix ctm = fz_identity;
    fz_rect crop = fz_empty_rect;
    const fz_matrix pixelToPage = fz_invert_matrix(geometry->pageToPixel);
    std::vector<InspectionFinding> out;

    mu::muCall(ctx, [&] {
        pdf_page* page = pdf_load_page(ctx, session.pdf(), static_cast<int>(pageIndex));
        res.page = &page->super;
        fz_rect unused;
        fz_matrix pageCtm;
        pdf_page_transform(ctx, page, &unused, &pageCtm);
        ctm = fz_concat(fz_invert_matrix(pageCtm), geometry->pageToPixel);
        crop = fz_transform_rect(fz_bound_page(ctx, res.page), ctm);

        res.list = fz_new_display_list(ctx, fz_infinite_rect);
        res.device = fz_new_list_device(ctx, res.list);
        res.relay = newRecordingDevice(ctx, res.device, recording);
        pdf_run_page_contents(ctx, page, res.relay, ctm, nullptr);
        int index = 0;
        for (pdf_annot* annot = pdf_first_annot(ctx, page); annot; annot = pdf_next_annot(ctx, annot), ++index) {
            recording.annotation = index;
            pdf_run_annot(ctx, annot, res.relay, ctm, nullptr);
        }
        for (pdf_annot* widget = pdf_first_widget(ctx, page); widget; widget = pdf_next_widget(ctx, widget), ++index) {
            recording.annotation = index;
            pdf_run_annot(ctx, widget, res.relay, ctm, nullptr);
        }
        fz_close_device(ctx, res.relay);
        fz_close_device(ctx, res.device);
        res.dropDevices();
    });
    if (recording.outOfMemory) {
        throw std::bad_alloc();
    }

    // The annotations as they stand, widgets last, in the order they were recorded.
    mu::muCall(ctx, [&] {
        pdf_page* page = pdf_page_from_fz_page(ctx, res.page);
        const auto note = [&](pdf_annot* annot, bool widget) {
            pdf_obj* obj = pdf_annot_obj(ctx, annot);
            AnnotationFacts facts;
            facts.type = pdf_annot_type(ctx, annot);
            facts.widget = widget;
            fz_rect rect = pdf_dict_get_rect(ctx, obj, PDF_NAME(Rect));
            if (facts.type == PDF_ANNOT_REDACT && pdf_dict_get(ctx, obj, PDF_NAME(QuadPoints))) {
                pdf_obj* quads = pdf_dict_get(ctx, obj, PDF_NAME(QuadPoints));
                fz_rect united = fz_empty_rect;
                for (int i = 0; i + 1 < pdf_array_len(ctx, quads); i += 2) {
                    const fz_point p{pdf_array_get_real(ctx, quads, i), pdf_array_get_real(ctx, quads, i + 1)};
                    united = fz_include_point_in_rect(united, p);
                }
                if (!fz_is_empty_rect(united)) {
                    rect = united;
                }
            }
            facts.rect = pageRectOf(rect);
            facts.box = fz_transform_rect(rect, geometry->pageToPixel);
            if (facts.type == PDF_ANNOT_HIGHLIGHT) {
                facts.dark = luminance(ctx, pdf_dict_get(ctx, obj, PDF_NAME(C))) < 0.35;
            } else if (facts.type == PDF_ANNOT_SQUARE) {
                facts.dark = luminance(ctx, pdf_dict_get(ctx, obj, PDF_NAME(IC))) < 0.35;
            }
            annotations.push_back(facts);
            annotationHandles.push_back(annot);
        };
        for (pdf_annot* annot = pdf_first_annot(ctx, page); annot; annot = pdf_next_annot(ctx, annot)) {
            note(annot, false);
        }
        for (pdf_annot* widget = pdf_first_widget(ctx, page); widget; widget = pdf_next_widget(ctx, widget)) {
            note(widget, true);
        }
    });

    const DrawingRecord& record = recording.record;
    const bool anyToSee = std::any_of(record.glyphs.begin(), record.glyphs.end(), [](const RecordedGlyph& g) {
        return g.mode != GlyphMode::invisible && g.alpha > 0 && g.hasInk;
    });
    mu::muCall(ctx, [&] {
        if (!record.glyphs.empty() || !setup.hiddenLayers.empty()) {
            res.shown = whitePixmap(ctx, *geometry);
            res.device = fz_new_draw_device(ctx, fz_identity, res.shown);
            fz_run_display_list(ctx, res.list, res.device, fz_identity, fz_infinite_rect, nullptr);
            fz_close_device(ctx, res.device);
            res.dropDevices();
        }
        if (anyToSee) {
            res.textless = whitePixmap(ctx, *geometry);
            res.device = fz_new_draw_device(ctx, fz_identity, res.textless);
            res.relay = newTextlessDevice(ctx, res.device);
            fz_run_display_list(ctx, res.list, res.relay, fz_identity, fz_infinite_rect, nullptr);
            fz_close_device(ctx, res.relay);
            fz_close_device(ctx, res.device);
            res.dropDevices();
        }
    });

    // Content of layers that are off: the page drawn with them on, compared with the page as shown.
    if (!setup.hiddenLayers.empty()) {
        pdf_document* pdf = session.pdf();
        mu::muCall(ctx, [&] {
            res.layered = whitePixmap(ctx, *geometry);
            res.device = fz_new_draw_device(ctx, fz_identity, res.layered);
            fz_try(ctx) {
                for (int layer : setup.hiddenLayers) {
                    pdf_enable_layer(ctx, pdf, layer, 1);
                }
                fz_run_page(ctx, res.page, res.device, ctm, nullptr);
                fz_close_device(ctx, res.device);
            }
            fz_always(ctx) {
                for (int layer : setup.hiddenLayers) {
                    pdf_enable_layer(ctx, pdf, layer, 0);
                }
            }
            fz_catch(ctx) {
                fz_rethrow(ctx);
            }
            res.dropDevices();
        });
        if (const auto area = differingArea(ctx, res.shown, res.layered)) {
            out.push_back({InspectionKind::hiddenLayer,
                           pageIndex,
                           pageRectOf(fz_transform_rect(*area, pixelToPage)),
                           1,
                           std::nullopt,
                           {}});
        }
    }

    // Which glyph is hidden where: text off the crop box, too small, invisible by its drawing,
    // or else judged from the pixels.
    enum class Judged { blank, offPage, tiny, invisible, transparent, pixels };
    const auto judgedBy = [&](const RecordedGlyph& glyph) {
        if (isBlank(glyph.text)) {
            return Judged::blank;
        }
        if (!fz_is_point_inside_rect(centreOf(glyph.box), crop)) {
            return Judged::offPage;
        }
        if (glyph.size * fz_matrix_expansion(pixelToPage) < kTinyPoints) {
            return Judged::tiny;
        }
        if (glyph.mode == GlyphMode::invisible || !glyph.hasInk) {
            return Judged::invisible;
        }
        return glyph.alpha <= 0 ? Judged::transparent : Judged::pixels;
    };
    std::vector<Judged> judged(record.glyphs.size());
    std::vector<Seen> seen(record.glyphs.size(), Seen::notJudged);
    for (std::size_t i = 0; i < record.glyphs.size(); ++i) {
        judged[i] = judgedBy(record.glyphs[i]);
        if (judged[i] == Judged::pixels) {
            seen[i] = judge(ctx, res.shown, res.textless, record.glyphs[i].box);
        }
    }
    lookCloser(ctx, res.list, record.glyphs, seen);

    Gathering gathering(pixelToPage, setup.withText);
    std::vector<const RecordedGlyph*> invisible;
    std::vector<const RecordedGlyph*> underScan;
    for (std::size_t i = 0; i < record.glyphs.size(); ++i) {
        const RecordedGlyph& glyph = record.glyphs[i];
        if (judged[i] == Judged::blank) {
            continue;
        }
        for (AnnotationFacts& annotation : annotations) {
            if (annotation.dark && fz_is_point_inside_rect(centreOf(glyph.box), annotation.box)) {
                ++annotation.coveredGlyphs;
            }
        }
        if (judged[i] == Judged::offPage || seen[i] == Seen::offBitmap) {
            gathering.add(InspectionKind::textOutsidePage, std::nullopt, glyph.run, glyph);
            continue;
        }
        if (judged[i] == Judged::tiny) {
            gathering.add(InspectionKind::tinyText, std::nullopt, glyph.run, glyph);
            continue;
        }
        if (judged[i] == Judged::invisible) {
            invisible.push_back(&glyph);
            continue;
        }
        if (judged[i] == Judged::transparent) {
            gathering.add(InspectionKind::invisibleText, HidingCause::transparent, glyph.run, glyph);
            continue;
        }
        if (seen[i] == Seen::shown) {
            continue;
        }
        if (glyph.mode == GlyphMode::clip) {
            gathering.add(InspectionKind::invisibleText, HidingCause::renderMode, glyph.run, glyph);
            continue;
        }
        if (glyph.clipped) {
            gathering.add(InspectionKind::invisibleText, HidingCause::clipped, glyph.run, glyph);
            continue;
        }
        const RecordedMark* cover = coverOf(record, glyph);
        if (!cover) {
            // Dark text on a dark box drawn before it hides as well as a box drawn after.
            const RecordedMark* under = underOf(record, glyph);
            const std::optional<int> ground = flatShade(ctx, res.textless, glyph.box);
            if (under && under->annotation < 0 && ground && *ground < kDarkGround) {
                gathering.add(InspectionKind::failedRedaction, causeOf(under->kind), under - record.marks.data(),
                              glyph);
            } else {
                gathering.add(InspectionKind::coveredText, HidingCause::colour, glyph.run, glyph);
            }
            continue;
        }
        const auto coverKey = static_cast<std::int64_t>(cover - record.marks.data());
        if (cover->annotation >= 0 && static_cast<std::size_t>(cover->annotation) < annotations.size()) {
            const AnnotationFacts& annotation = annotations[static_cast<std::size_t>(cover->annotation)];
            // Said once, by the annotation's own finding.
            if (annotation.type == PDF_ANNOT_REDACT || annotation.dark) {
                continue;
            }
            // A stamp or a filled note over text hides it as a box would.
            const std::optional<int> shade = flatShade(ctx, res.shown, glyph.box);
            gathering.add(shade && *shade < kDarkGround ? InspectionKind::failedRedaction : InspectionKind::coveredText,
                          HidingCause::annotation, -1 - cover->annotation, glyph);
            continue;
        }
        // A flat dark patch over text is a failed redaction, whatever drew it (a filled shape, a
        // one-colour image, a thick stroke). A picture, a pattern or a light patch (a layout's
        // white background over a watermark) still covers text, but nobody meant it as one.
        const std::optional<int> shade = flatShade(ctx, res.shown, glyph.box);
        const bool redaction = shade && *shade < kDarkGround;
        if (!redaction && cover->kind == MarkKind::image && coversMostOf(cover->box, crop)) {
            underScan.push_back(&glyph);  // a recognised layer may lie under its scan too
            continue;
        }
        gathering.add(redaction ? InspectionKind::failedRedaction : InspectionKind::coveredText, causeOf(cover->kind),
                      coverKey, glyph);
    }

    std::vector<const RecordedGlyph*> scanned = underScan;
    std::copy_if(invisible.begin(), invisible.end(), std::back_inserter(scanned),
                 [&](const RecordedGlyph* glyph) { return overScan(record, *glyph); });
    const bool ocrLayer =
        !scanned.empty() && readsAsScan(session, pageIndex, scanned, pixelToPage, setup.languages, ocr, stop);
    for (const RecordedGlyph* glyph : underScan) {
        const RecordedMark* cover = coverOf(record, *glyph);
        gathering.add(ocrLayer ? InspectionKind::ocrLayer : InspectionKind::coveredText,
                      ocrLayer ? std::nullopt : std::optional(HidingCause::image),
                      ocrLayer || !cover ? -1 : cover - record.marks.data(), *glyph);
    }
    for (const RecordedGlyph* glyph : invisible) {
        // A recognised layer's words under a dark patch (a box drawn over the scan, or burnt
        // into it) are what someone meant to redact, and are still in the file.
        const std::optional<int> shade = flatShade(ctx, res.shown, glyph->box);
        if (shade && *shade < kDarkGround) {
            const RecordedMark* mark = coverOf(record, *glyph);
            mark = mark ? mark : underOf(record, *glyph);
            gathering.add(InspectionKind::failedRedaction, mark ? causeOf(mark->kind) : HidingCause::box,
                          mark ? mark - record.marks.data() : -1, *glyph);
        } else if (ocrLayer && overScan(record, *glyph)) {
            gathering.add(InspectionKind::ocrLayer, std::nullopt, -1, *glyph);
        } else {
            gathering.add(InspectionKind::invisibleText,
                          glyph->mode == GlyphMode::invisible ? HidingCause::renderMode : HidingCause::emptyGlyph,
                          glyph->run, *glyph);
        }
    }
    gathering.addTo(pageIndex, out);

    // Annotation text is copied out of MuPDF one call at a time (see inspectFile).
    for (std::size_t i = 0; i < annotations.size(); ++i) {
        addAnnotationFindings(ctx, annotationHandles[i], annotations[i], pageIndex, setup.withText, out);
    }
    pdf_obj* pageObject = pdf_page_from_fz_page(ctx, res.page)->obj;
    const ActionReach reach = reachOfAdditional(ctx, pdf_dict_get(ctx, pageObject, PDF_NAME(AA)));
    if (reach != ActionReach::none) {
        out.push_back({reach == ActionReach::javascript ? InspectionKind::javascript : InspectionKind::action,
                       pageIndex,
                       std::nullopt,
                       1,
                       std::nullopt,
                       {}});
    }
    return out;
}

}  // namespace

std::vector<InspectionFinding> inspectPage(const mu::Session& session, std::int64_t pageIndex,
                                           const PageInspectionSetup& setup, std::optional<OcrService>& ocr,
                                           std::stop_token stop) {
    try {
        return inspectLoadedPage(session, pageIndex, setup, ocr, stop);
    } catch (const CancellationError&) {
        throw;
    } catch (...) {
        InspectionFinding finding;
        finding.kind = InspectionKind::pageNotInspected;
        finding.pageIndex = pageIndex;
        return {finding};
    }
}

}  // namespace norvane
