#include "tests/support/pdf_factory.h"

#include "engine/mupdf_session.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace norvane::testing {
namespace {

// UTF-8 to single bytes (Latin-1 agrees with WinAnsi for the letters the tests use).
std::string toLatin1(const std::string& utf8) {
    std::string out;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        auto c = static_cast<unsigned char>(utf8[i]);
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if ((c & 0xE0) == 0xC0 && i + 1 < utf8.size()) {
            const unsigned code = ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(utf8[i + 1]) & 0x3Fu);
            if (code > 0xFF) {
                throw std::invalid_argument("text not representable in WinAnsi");
            }
            out.push_back(static_cast<char>(code));
            ++i;
        } else {
            throw std::invalid_argument("text not representable in WinAnsi");
        }
    }
    return out;
}

std::string pdfString(const std::string& utf8) {
    std::string out = "(";
    for (char c : toLatin1(utf8)) {
        if (c == '(' || c == ')' || c == '\\') {
            out.push_back('\\');
        }
        out.push_back(c);
    }
    out.push_back(')');
    return out;
}

std::string number(double v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.4f", v);
    return buffer;
}

// Font resource names: one per distinct base-14 font used in the document.
std::string fontKey(const std::map<std::string, std::string>& keys, const std::string& font) { return keys.at(font); }

}  // namespace

DocumentSpec textPages(const std::vector<std::string>& lines) {
    DocumentSpec spec;
    for (const auto& line : lines) {
        PageSpec page;
        page.texts.push_back(TextRun{line});
        spec.pages.push_back(page);
    }
    return spec;
}

std::vector<unsigned char> buildPdf(const DocumentSpec& spec) {
    mu::Context context;
    fz_context* ctx = context.get();
    pdf_document* doc = nullptr;
    mu::muCall(ctx, [&] { doc = pdf_create_document(ctx); });

    std::vector<unsigned char> result;
    try {
        std::map<std::string, std::string> keys;
        std::map<std::string, pdf_obj*> fontRefs;
        for (const auto& page : spec.pages) {
            for (const auto& run : page.texts) {
                if (!keys.count(run.font)) {
                    keys[run.font] = "F" + std::to_string(keys.size() + 1);
                }
            }
        }
        for (const auto& [name, key] : keys) {
            pdf_obj* ref = nullptr;
            const char* fontName = name.c_str();
            mu::muCall(ctx, [&] {
                fz_font* font = fz_new_base14_font(ctx, fontName);
                fz_try(ctx) { ref = pdf_add_simple_font(ctx, doc, font, PDF_SIMPLE_ENCODING_LATIN); }
                fz_always(ctx) { fz_drop_font(ctx, font); }
                fz_catch(ctx) { fz_rethrow(ctx); }
            });
            fontRefs[key] = ref;
        }

        for (const auto& page : spec.pages) {
            std::string content;
            for (const auto& run : page.texts) {
                content += "BT /" + fontKey(keys, run.font) + " " + number(run.size) + " Tf " + number(run.x) + " " +
                           number(run.y) + " Td " + pdfString(run.text) + " Tj ET\n";
            }
            for (const auto& r : page.filledBlackRects) {
                content += "q 0 0 0 rg " + number(r.x) + " " + number(r.y) + " " + number(r.width) + " " +
                           number(r.height) + " re f Q\n";
            }
            content += page.extraContent;

            const fz_rect media = fz_make_rect(static_cast<float>(page.mediaBox.x), static_cast<float>(page.mediaBox.y),
                                               static_cast<float>(page.mediaBox.x + page.mediaBox.width),
                                               static_cast<float>(page.mediaBox.y + page.mediaBox.height));
            const char* data = content.data();
            const std::size_t size = content.size();
            const int rotate = page.rotate;
            const bool hasCrop = page.cropBox.has_value();
            const fz_rect crop = hasCrop ? fz_make_rect(static_cast<float>(page.cropBox->x), static_cast<float>(page.cropBox->y),
                                                        static_cast<float>(page.cropBox->x + page.cropBox->width),
                                                        static_cast<float>(page.cropBox->y + page.cropBox->height))
                                         : fz_empty_rect;
            mu::muCall(ctx, [&] {
                pdf_obj* resources = pdf_new_dict(ctx, doc, 2);
                fz_buffer* contents = nullptr;
                fz_try(ctx) {
                    pdf_obj* fonts = pdf_dict_put_dict(ctx, resources, PDF_NAME(Font), 4);
                    for (auto& [key, ref] : fontRefs) {
                        pdf_dict_puts(ctx, fonts, key.c_str(), ref);
                    }
                    contents = fz_new_buffer_from_copied_data(ctx, reinterpret_cast<const unsigned char*>(data), size);
                    pdf_obj* pageObj = pdf_add_page(ctx, doc, media, rotate, resources, contents);
                    if (hasCrop) {
                        pdf_dict_put_rect(ctx, pageObj, PDF_NAME(CropBox), crop);
                    }
                    pdf_insert_page(ctx, doc, -1, pageObj);
                    pdf_drop_obj(ctx, pageObj);
                }
                fz_always(ctx) {
                    fz_drop_buffer(ctx, contents);
                    pdf_drop_obj(ctx, resources);
                }
                fz_catch(ctx) { fz_rethrow(ctx); }
            });
        }

        for (const auto& [key, value] : spec.info) {
            const char* k = key.c_str();
            const char* v = value.c_str();
            mu::muCall(ctx, [&] {
                pdf_obj* info = pdf_dict_get(ctx, pdf_trailer(ctx, doc), PDF_NAME(Info));
                if (!info) {
                    info = pdf_add_new_dict(ctx, doc, 4);
                    pdf_dict_put_drop(ctx, pdf_trailer(ctx, doc), PDF_NAME(Info), info);
                }
                pdf_dict_puts_drop(ctx, info, k, pdf_new_text_string(ctx, v));
            });
        }

        for (auto& [key, ref] : fontRefs) {
            pdf_drop_obj(ctx, ref);
        }
        fontRefs.clear();

        pdf_write_options options = pdf_default_write_options;
        if (spec.ownerPassword || spec.userPassword) {
            options.do_encrypt = PDF_ENCRYPT_AES_128;
            options.permissions = -1 & ~4;  // printing not allowed, so owner-only files are meaningful
            std::snprintf(options.opwd_utf8, sizeof options.opwd_utf8, "%s", spec.ownerPassword.value_or("").c_str());
            std::snprintf(options.upwd_utf8, sizeof options.upwd_utf8, "%s", spec.userPassword.value_or("").c_str());
        }
        fz_buffer* buffer = nullptr;
        mu::muCall(ctx, [&] {
            buffer = fz_new_buffer(ctx, 4096);
            fz_output* out = nullptr;
            fz_try(ctx) {
                out = fz_new_output_with_buffer(ctx, buffer);
                pdf_write_document(ctx, doc, out, &options);
                fz_close_output(ctx, out);
            }
            fz_always(ctx) { fz_drop_output(ctx, out); }
            fz_catch(ctx) {
                fz_drop_buffer(ctx, buffer);
                fz_rethrow(ctx);
            }
        });
        unsigned char* data = nullptr;
        const std::size_t length = fz_buffer_storage(ctx, buffer, &data);
        result.assign(data, data + length);
        fz_drop_buffer(ctx, buffer);
    } catch (...) {
        pdf_drop_document(ctx, doc);
        throw;
    }
    pdf_drop_document(ctx, doc);
    return result;
}

double textWidth(const std::string& text, double size, const std::string& font) {
    mu::Context context;
    fz_context* ctx = context.get();
    const std::string latin = toLatin1(text);
    const char* name = font.c_str();
    float width = 0;
    mu::muCall(ctx, [&] {
        fz_font* f = fz_new_base14_font(ctx, name);
        fz_try(ctx) {
            for (char c : latin) {
                // WinAnsi agrees with Unicode for the characters the tests use.
                const int gid = fz_encode_character(ctx, f, static_cast<unsigned char>(c));
                width += fz_advance_glyph(ctx, f, gid, 0);
            }
        }
        fz_always(ctx) { fz_drop_font(ctx, f); }
        fz_catch(ctx) { fz_rethrow(ctx); }
    });
    return static_cast<double>(width) * size;
}

void writeFile(const std::filesystem::path& path, const std::vector<unsigned char>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) {
        throw std::runtime_error("cannot write test file");
    }
}

std::vector<unsigned char> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "norvane-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot create temporary directory");
    }
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace norvane::testing
