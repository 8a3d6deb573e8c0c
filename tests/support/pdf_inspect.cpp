#include "tests/support/pdf_inspect.h"

#include "engine/mupdf_session.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <set>

namespace norvane::testing {
namespace {

std::string bufferText(fz_context* ctx, fz_buffer* buffer) {
    unsigned char* data = nullptr;
    const std::size_t size = fz_buffer_storage(ctx, buffer, &data);
    return std::string(reinterpret_cast<const char*>(data), size);
}

std::vector<std::string> keysOf(fz_context* ctx, pdf_obj* dict) {
    std::vector<std::string> keys;
    int count = 0;
    mu::muCall(ctx, [&] { count = pdf_dict_len(ctx, dict); });
    for (int i = 0; i < count; ++i) {
        const char* name = nullptr;
        mu::muCall(ctx, [&] { name = pdf_to_name(ctx, pdf_dict_get_key(ctx, dict, i)); });
        keys.emplace_back(name ? name : "");
    }
    return keys;
}

// Every string and name inside an object (not following references), decoded to UTF-8, so
// text kept as UTF-16 or hex is found too.
void collectStrings(fz_context* ctx, pdf_obj* obj, std::string& out, int depth = 0) {
    if (depth > 32) {
        return;
    }
    bool isString = false, isName = false, isArray = false, isDict = false, indirect = false;
    int count = 0;
    mu::muCall(ctx, [&] {
        indirect = pdf_is_indirect(ctx, obj);
        isString = pdf_is_string(ctx, obj);
        isName = pdf_is_name(ctx, obj);
        isArray = pdf_is_array(ctx, obj);
        isDict = pdf_is_dict(ctx, obj);
        count = isArray ? pdf_array_len(ctx, obj) : isDict ? pdf_dict_len(ctx, obj) : 0;
    });
    if (indirect && depth > 0) {
        return;
    }
    if (isString) {
        const char* text = nullptr;
        mu::muCall(ctx, [&] { text = pdf_to_text_string(ctx, obj); });
        out += text ? text : "";
        out += '\n';
    } else if (isName) {
        const char* name = nullptr;
        mu::muCall(ctx, [&] { name = pdf_to_name(ctx, obj); });
        out += name ? name : "";
        out += '\n';
    }
    for (int i = 0; i < count; ++i) {
        pdf_obj* child = nullptr;
        mu::muCall(ctx, [&] { child = isArray ? pdf_array_get(ctx, obj, i) : pdf_dict_get_val(ctx, obj, i); });
        collectStrings(ctx, child, out, depth + 1);
    }
}

void decodeFirstImage(fz_context* ctx, pdf_document* doc, pdf_obj* xobjects, InspectedPage& page) {
    int count = 0;
    mu::muCall(ctx, [&] { count = pdf_dict_len(ctx, xobjects); });
    for (int i = 0; i < count; ++i) {
        pdf_obj* value = nullptr;
        bool image = false;
        mu::muCall(ctx, [&] {
            value = pdf_dict_get_val(ctx, xobjects, i);
            image = pdf_name_eq(ctx, pdf_dict_get(ctx, value, PDF_NAME(Subtype)), PDF_NAME(Image));
        });
        if (!image) {
            continue;
        }
        ++page.imageCount;
        if (page.imageCount > 1) {
            continue;
        }
        fz_image* decoded = nullptr;
        fz_pixmap* pix = nullptr;
        mu::muCall(ctx, [&] {
            fz_try(ctx) {
                decoded = pdf_load_image(ctx, doc, value);
                pix = fz_get_pixmap_from_image(ctx, decoded, nullptr, nullptr, nullptr, nullptr);
            }
            fz_always(ctx) { fz_drop_image(ctx, decoded); }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
        page.width = fz_pixmap_width(ctx, pix);
        page.height = fz_pixmap_height(ctx, pix);
        page.components = fz_pixmap_components(ctx, pix);
        const auto row = static_cast<std::size_t>(page.width) * static_cast<std::size_t>(page.components);
        page.pixels.resize(row * static_cast<std::size_t>(page.height));
        for (int y = 0; y < page.height; ++y) {
            std::memcpy(page.pixels.data() + row * static_cast<std::size_t>(y),
                        fz_pixmap_samples(ctx, pix) + static_cast<std::ptrdiff_t>(y) * fz_pixmap_stride(ctx, pix), row);
        }
        fz_drop_pixmap(ctx, pix);
    }
}

std::string utf16(const std::string& ascii, bool bigEndian) {
    std::string out;
    for (char c : ascii) {
        if (bigEndian) {
            out.push_back('\0');
            out.push_back(c);
        } else {
            out.push_back(c);
            out.push_back('\0');
        }
    }
    return out;
}

}  // namespace

InspectedPdf inspectPdf(const std::vector<unsigned char>& bytes, bool decodeImages) {
    InspectedPdf result;
    mu::Context context;
    fz_context* ctx = context.get();
    const unsigned char* data = bytes.data();
    const std::size_t size = bytes.size();
    pdf_document* doc = nullptr;
    mu::muCall(ctx, [&] {
        fz_stream* stream = fz_open_memory(ctx, data, size);
        fz_try(ctx) { doc = pdf_open_document_with_stream(ctx, stream); }
        fz_always(ctx) { fz_drop_stream(ctx, stream); }
        fz_catch(ctx) { fz_rethrow(ctx); }
    });
    struct DocGuard {
        fz_context* ctx;
        pdf_document* doc;
        ~DocGuard() { pdf_drop_document(ctx, doc); }
    } guard{ctx, doc};

    pdf_obj* trailer = nullptr;
    pdf_obj* root = nullptr;
    pdf_obj* info = nullptr;
    int objects = 0;
    int pageCount = 0;
    mu::muCall(ctx, [&] {
        trailer = pdf_trailer(ctx, doc);
        root = pdf_dict_get(ctx, trailer, PDF_NAME(Root));
        info = pdf_dict_get(ctx, trailer, PDF_NAME(Info));
        objects = pdf_xref_len(ctx, doc);
        pageCount = pdf_count_pages(ctx, doc);
        result.versions = pdf_count_versions(ctx, doc);
    });
    result.trailerKeys = keysOf(ctx, trailer);
    result.catalogKeys = keysOf(ctx, root);
    if (info) {
        for (const std::string& key : keysOf(ctx, info)) {
            const char* text = nullptr;
            const char* k = key.c_str();
            mu::muCall(ctx, [&] { text = pdf_to_text_string(ctx, pdf_dict_gets(ctx, info, k)); });
            result.info[key] = text ? text : "";
        }
    }

    for (int num = 1; num < objects; ++num) {
        std::string printed;
        fz_buffer* buffer = nullptr;
        fz_buffer* stream = nullptr;
        pdf_obj* obj = nullptr;
        try {
            mu::muCall(ctx, [&] {
                obj = pdf_load_object(ctx, doc, num);
                buffer = fz_new_buffer(ctx, 256);
                fz_output* out = fz_new_output_with_buffer(ctx, buffer);
                fz_try(ctx) {
                    pdf_print_obj(ctx, out, obj, 0, 0);
                    fz_close_output(ctx, out);
                }
                fz_always(ctx) { fz_drop_output(ctx, out); }
                fz_catch(ctx) { fz_rethrow(ctx); }
                if (pdf_is_stream(ctx, obj)) {
                    stream = pdf_load_stream_number(ctx, doc, num);
                }
            });
        } catch (const mu::MuPdfError&) {
            // A free or broken entry: nothing to read.
        }
        if (buffer) {
            result.everything += bufferText(ctx, buffer) + "\n";
            fz_drop_buffer(ctx, buffer);
        }
        if (obj) {
            collectStrings(ctx, obj, result.everything);
            pdf_drop_obj(ctx, obj);
        }
        if (stream) {
            result.everything += bufferText(ctx, stream) + "\n";
            fz_drop_buffer(ctx, stream);
        }
    }

    std::set<std::string> pageKeys;
    for (int i = 0; i < pageCount; ++i) {
        InspectedPage page;
        pdf_obj* pageObj = nullptr;
        pdf_obj* resources = nullptr;
        pdf_obj* xobjects = nullptr;
        fz_rect media{};
        fz_buffer* contents = nullptr;
        fz_buffer* text = nullptr;
        mu::muCall(ctx, [&] {
            pageObj = pdf_lookup_page_obj(ctx, doc, i);
            media = pdf_to_rect(ctx, pdf_dict_get_inheritable(ctx, pageObj, PDF_NAME(MediaBox)));
            page.rotate = pdf_to_int(ctx, pdf_dict_get_inheritable(ctx, pageObj, PDF_NAME(Rotate)));
            page.hasAnnotations = pdf_dict_get(ctx, pageObj, PDF_NAME(Annots)) != nullptr;
            resources = pdf_dict_get_inheritable(ctx, pageObj, PDF_NAME(Resources));
            xobjects = pdf_dict_get(ctx, resources, PDF_NAME(XObject));
            pdf_obj* contentsObj = pdf_dict_get(ctx, pageObj, PDF_NAME(Contents));
            if (pdf_is_stream(ctx, contentsObj)) {
                contents = pdf_load_stream(ctx, contentsObj);
            }
            fz_page* loaded = fz_load_page(ctx, &doc->super, i);
            fz_try(ctx) { text = fz_new_buffer_from_page(ctx, loaded, nullptr); }
            fz_always(ctx) { fz_drop_page(ctx, loaded); }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
        page.mediaBox = PageRect{media.x0, media.y0, media.x1 - media.x0, media.y1 - media.y0};
        for (const std::string& key : keysOf(ctx, pageObj)) {
            pageKeys.insert(key);
        }
        if (resources) {
            page.resourceKeys = keysOf(ctx, resources);
        }
        if (contents) {
            page.contents = bufferText(ctx, contents);
            fz_drop_buffer(ctx, contents);
        }
        if (text) {
            const std::string extracted = bufferText(ctx, text);
            fz_drop_buffer(ctx, text);
            result.textCharacters += static_cast<int>(std::count_if(
                extracted.begin(), extracted.end(), [](char c) { return !std::isspace(static_cast<unsigned char>(c)); }));
        }
        if (xobjects && decodeImages) {
            decodeFirstImage(ctx, doc, xobjects, page);
        } else if (xobjects) {
            page.imageCount = pdf_dict_len(ctx, xobjects);
        }
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
    int count = 0;
    for (int y = y0; y < y1; ++y) {
        for (int x = x0; x < x1; ++x) {
            const std::uint8_t* p = page.pixels.data() +
                                    (static_cast<std::size_t>(y) * static_cast<std::size_t>(page.width) +
                                     static_cast<std::size_t>(x)) * static_cast<std::size_t>(page.components);
            for (int c = 0; c < page.components; ++c) {
                if (p[c] != 0) {
                    ++count;
                    break;
                }
            }
        }
    }
    return count;
}

int blackPixels(const InspectedPage& page) {
    int count = 0;
    const auto n = static_cast<std::size_t>(page.components);
    for (std::size_t i = 0; i + n <= page.pixels.size(); i += n) {
        count += std::all_of(page.pixels.begin() + static_cast<std::ptrdiff_t>(i),
                             page.pixels.begin() + static_cast<std::ptrdiff_t>(i + n), [](std::uint8_t v) { return v == 0; })
                     ? 1
                     : 0;
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

}  // namespace norvane::testing
