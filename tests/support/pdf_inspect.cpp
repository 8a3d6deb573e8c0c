#include "tests/support/pdf_inspect.h"

#include "engine/mupdf_session.h"
#include "tests/support/mupdf_held.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <set>
#include <stdexcept>

namespace norvane::testing {
namespace {

std::string textOf(fz_context* ctx, fz_buffer* buffer) {
    unsigned char* data = nullptr;
    const std::size_t size = buffer ? fz_buffer_storage(ctx, buffer, &data) : 0;
    return size ? std::string(reinterpret_cast<const char*>(data), size) : std::string();
}

std::vector<std::string> keysOf(fz_context* ctx, pdf_obj* dict) {
    std::vector<std::string> keys;
    for (int i = 0; i < pdf_dict_len(ctx, dict); ++i) {
        keys.emplace_back(pdf_to_name(ctx, pdf_dict_get_key(ctx, dict, i)));
    }
    return keys;
}

// Every string and name inside an object (not following references), decoded to UTF-8, so
// text kept as UTF-16 or hex is found too.
void collectStrings(fz_context* ctx, pdf_obj* obj, std::string& out, int depth = 0) {
    if (depth > 32 || (depth > 0 && pdf_is_indirect(ctx, obj))) {
        return;
    }
    if (pdf_is_string(ctx, obj)) {
        out += pdf_to_text_string(ctx, obj) + std::string("\n");
    } else if (pdf_is_name(ctx, obj)) {
        out += pdf_to_name(ctx, obj) + std::string("\n");
    }
    const bool array = pdf_is_array(ctx, obj);
    const int count = array ? pdf_array_len(ctx, obj) : pdf_dict_len(ctx, obj);
    for (int i = 0; i < count; ++i) {
        collectStrings(ctx, array ? pdf_array_get(ctx, obj, i) : pdf_dict_get_val(ctx, obj, i), out, depth + 1);
    }
}

void decodeFirstImage(fz_context* ctx, pdf_document* doc, pdf_obj* xobjects, InspectedPage& page) {
    for (int i = 0; i < pdf_dict_len(ctx, xobjects); ++i) {
        pdf_obj* value = pdf_dict_get_val(ctx, xobjects, i);
        if (!pdf_name_eq(ctx, pdf_dict_get(ctx, value, PDF_NAME(Subtype)), PDF_NAME(Image)) || ++page.imageCount > 1) {
            continue;
        }
        Held<fz_image, fz_drop_image> decoded(ctx);
        Held<fz_pixmap, fz_drop_pixmap> pix(ctx);
        mu::muCall(ctx, [&] {
            decoded.ptr = pdf_load_image(ctx, doc, value);
            pix.ptr = fz_get_pixmap_from_image(ctx, decoded.ptr, nullptr, nullptr, nullptr, nullptr);
        });
        page.width = fz_pixmap_width(ctx, pix.ptr);
        page.height = fz_pixmap_height(ctx, pix.ptr);
        page.components = fz_pixmap_components(ctx, pix.ptr);
        const auto row = static_cast<std::size_t>(page.width) * static_cast<std::size_t>(page.components);
        for (int y = 0; y < page.height; ++y) {
            const unsigned char* from = fz_pixmap_samples(ctx, pix.ptr) + y * fz_pixmap_stride(ctx, pix.ptr);
            page.pixels.insert(page.pixels.end(), from, from + row);
        }
    }
}

std::string utf16(const std::string& ascii, bool bigEndian) {
    std::string out;
    for (char c : ascii) {
        out += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    }
    return out;
}

}  // namespace

InspectedPdf inspectPdf(const std::vector<unsigned char>& bytes) {
    InspectedPdf result;
    mu::Context context;
    fz_context* ctx = context.get();
    const OpenedPdf opened(ctx, bytes);
    pdf_document* doc = opened.ptr;
    pdf_obj* trailer = pdf_trailer(ctx, doc);
    pdf_obj* info = pdf_dict_get(ctx, trailer, PDF_NAME(Info));
    int pageCount = 0;
    mu::muCall(ctx, [&] {
        pageCount = pdf_count_pages(ctx, doc);
        result.versions = pdf_count_versions(ctx, doc);
    });
    result.trailerKeys = keysOf(ctx, trailer);
    result.catalogKeys = keysOf(ctx, pdf_dict_get(ctx, trailer, PDF_NAME(Root)));
    for (const std::string& key : keysOf(ctx, info)) {
        result.info[key] = pdf_to_text_string(ctx, pdf_dict_gets(ctx, info, key.c_str()));
    }

    for (int num = 1; num < pdf_xref_len(ctx, doc); ++num) {
        Held<pdf_obj, pdf_drop_obj> obj(ctx);
        Held<fz_buffer, fz_drop_buffer> printed(ctx);
        Held<fz_output, fz_drop_output> out(ctx);
        Held<fz_buffer, fz_drop_buffer> stream(ctx);
        try {
            mu::muCall(ctx, [&] {
                obj.ptr = pdf_load_object(ctx, doc, num);
                printed.ptr = fz_new_buffer(ctx, 256);
                out.ptr = fz_new_output_with_buffer(ctx, printed.ptr);
                pdf_print_obj(ctx, out.ptr, obj.ptr, 0, 0);
                fz_close_output(ctx, out.ptr);
                if (pdf_is_stream(ctx, obj.ptr)) {
                    stream.ptr = pdf_load_stream_number(ctx, doc, num);
                }
            });
        } catch (const mu::MuPdfError&) {
            // A free or broken entry: nothing to read.
        }
        result.everything += textOf(ctx, printed.ptr) + "\n" + textOf(ctx, stream.ptr) + "\n";
        collectStrings(ctx, obj.ptr, result.everything);
    }

    std::set<std::string> pageKeys;
    for (int i = 0; i < pageCount; ++i) {
        InspectedPage page;
        pdf_obj* pageObj = nullptr;
        Held<fz_page, fz_drop_page> loaded(ctx);
        Held<fz_buffer, fz_drop_buffer> text(ctx);
        mu::muCall(ctx, [&] {
            pageObj = pdf_lookup_page_obj(ctx, doc, i);
            loaded.ptr = fz_load_page(ctx, &doc->super, i);
            text.ptr = fz_new_buffer_from_page(ctx, loaded.ptr, nullptr);
        });
        const fz_rect media = pdf_to_rect(ctx, pdf_dict_get_inheritable(ctx, pageObj, PDF_NAME(MediaBox)));
        page.mediaBox = PageRect{media.x0, media.y0, media.x1 - media.x0, media.y1 - media.y0};
        page.rotate = pdf_to_int(ctx, pdf_dict_get_inheritable(ctx, pageObj, PDF_NAME(Rotate)));
        pdf_obj* resources = pdf_dict_get_inheritable(ctx, pageObj, PDF_NAME(Resources));
        page.resourceKeys = keysOf(ctx, resources);
        for (const std::string& key : keysOf(ctx, pageObj)) {
            pageKeys.insert(key);
        }
        const std::string extracted = textOf(ctx, text.ptr);
        result.text += extracted + "\n";
        result.textCharacters += static_cast<int>(std::count_if(
            extracted.begin(), extracted.end(), [](char c) { return !std::isspace(static_cast<unsigned char>(c)); }));
        decodeFirstImage(ctx, doc, pdf_dict_get(ctx, resources, PDF_NAME(XObject)), page);
        result.pages.push_back(std::move(page));
    }
    result.pageKeys.assign(pageKeys.begin(), pageKeys.end());
    return result;
}

int nonBlackPixelsUnder(const InspectedPage& page, const PageRect& sourceMediaBox, const PageRect& box) {
    const PageRect media = sourceMediaBox.standardized();
    const PageRect r = box.standardized();
    const double sx = page.width / media.width;
    const double sy = page.height / media.height;
    const int x0 = std::max(0, static_cast<int>(std::ceil((r.x - media.x) * sx)));
    const int x1 = std::min(page.width, static_cast<int>(std::floor((r.x + r.width - media.x) * sx)));
    const int y0 = std::max(0, static_cast<int>(std::ceil((media.y + media.height - r.y - r.height) * sy)));
    const int y1 = std::min(page.height, static_cast<int>(std::floor((media.y + media.height - r.y) * sy)));
    const auto n = static_cast<std::size_t>(page.components);
    int count = 0;
    for (int y = y0; y < y1; ++y) {
        for (int x = x0; x < x1; ++x) {
            const auto at =
                page.pixels.begin() + static_cast<std::ptrdiff_t>((static_cast<std::size_t>(y * page.width + x)) * n);
            count += std::any_of(at, at + static_cast<std::ptrdiff_t>(n), [](std::uint8_t v) { return v != 0; });
        }
    }
    return count;
}

int blackPixels(const InspectedPage& page) {
    int count = 0;
    const auto n = static_cast<std::size_t>(page.components);
    for (std::size_t i = 0; i + n <= page.pixels.size(); i += n) {
        const auto at = page.pixels.begin() + static_cast<std::ptrdiff_t>(i);
        count += std::all_of(at, at + static_cast<std::ptrdiff_t>(n), [](std::uint8_t v) { return v == 0; });
    }
    return count;
}

bool holdsText(const std::string& haystack, const std::string& needle) {
    return haystack.find(needle) != std::string::npos || haystack.find(utf16(needle, true)) != std::string::npos ||
           haystack.find(utf16(needle, false)) != std::string::npos;
}

bool holdsText(const std::vector<unsigned char>& haystack, const std::string& needle) {
    return holdsText(std::string(haystack.begin(), haystack.end()), needle);
}

std::string pdftotext(const std::filesystem::path& pdf) {
    const std::string command = "pdftotext -q -enc UTF-8 '" + pdf.string() + "' -";
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) {
        throw std::runtime_error("pdftotext could not be started");
    }
    std::string text;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
        text.append(buffer, n);
    }
    if (pclose(pipe) != 0) {
        throw std::runtime_error("pdftotext failed on " + pdf.string());
    }
    return text;
}

}  // namespace norvane::testing
