#include "tests/support/pdf_factory.h"

#include "engine/mupdf_session.h"
#include "tests/support/mupdf_write.h"

#include <algorithm>
#include <cmath>
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

fz_rect toFzRect(const PageRect& r) {
    return fz_make_rect(static_cast<float>(r.x), static_cast<float>(r.y), static_cast<float>(r.x + r.width),
                        static_cast<float>(r.y + r.height));
}

// Deterministic picture content: smooth shading with a little grain, like a photograph.
std::vector<unsigned char> pictureSamples(const ImageSpec& spec) {
    const int n = spec.gray ? 1 : 3;
    std::vector<unsigned char> samples(static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.height) *
                                       static_cast<std::size_t>(n));
    unsigned state = spec.seed * 2654435761u + 1;
    std::size_t at = 0;
    for (int y = 0; y < spec.height; ++y) {
        for (int x = 0; x < spec.width; ++x) {
            const double u = static_cast<double>(x) / spec.width;
            const double v = static_cast<double>(y) / spec.height;
            for (int c = 0; c < n; ++c) {
                state = state * 1664525u + 1013904223u;
                const double grain = static_cast<double>((state >> 24) % 17) - 8.0;
                const double base = 128 + 90 * std::sin(6.0 * u + 2.0 * c + spec.seed) * std::cos(5.0 * v - c);
                samples[at++] = static_cast<unsigned char>(std::clamp(base + grain, 0.0, 255.0));
            }
        }
    }
    return samples;
}

pdf_obj* addPicture(fz_context* ctx, pdf_document* doc, const ImageSpec& spec) {
    const std::vector<unsigned char> samples = pictureSamples(spec);
    const unsigned char* data = samples.data();
    const int w = spec.width;
    const int h = spec.height;
    const bool gray = spec.gray;
    pdf_obj* ref = nullptr;
    mu::muCall(ctx, [&] {
        fz_pixmap* pix = nullptr;
        fz_image* image = nullptr;
        fz_var(pix);
        fz_var(image);
        fz_try(ctx) {
            pix = fz_new_pixmap(ctx, gray ? fz_device_gray(ctx) : fz_device_rgb(ctx), w, h, nullptr, 0);
            const int rowBytes = w * (gray ? 1 : 3);
            for (int y = 0; y < h; ++y) {
                std::memcpy(fz_pixmap_samples(ctx, pix) + static_cast<std::ptrdiff_t>(y) * fz_pixmap_stride(ctx, pix),
                            data + static_cast<std::ptrdiff_t>(y) * rowBytes, static_cast<std::size_t>(rowBytes));
            }
            image = fz_new_image_from_pixmap(ctx, pix, nullptr);
            ref = pdf_add_image(ctx, doc, image);
        }
        fz_always(ctx) {
            fz_drop_image(ctx, image);
            fz_drop_pixmap(ctx, pix);
        }
        fz_catch(ctx) { fz_rethrow(ctx); }
    });
    return ref;
}

void addAnnotations(fz_context* ctx, pdf_document* doc, int pageIndex, const PageSpec& page) {
    for (const auto& spec : page.annotations) {
        const fz_rect rect = toFzRect(spec.rect);
        const char* contents = spec.contents.c_str();
        const bool freeText = spec.kind == AnnotationSpec::Kind::freeText;
        mu::muCall(ctx, [&] {
            pdf_page* p = nullptr;
            pdf_annot* annot = nullptr;
            fz_var(p);
            fz_var(annot);
            fz_try(ctx) {
                p = pdf_load_page(ctx, doc, pageIndex);
                annot = pdf_create_annot(ctx, p, freeText ? PDF_ANNOT_FREE_TEXT : PDF_ANNOT_TEXT);
                // MuPDF takes annotation rectangles in its own (y-down) page space.
                fz_matrix pageCtm;
                pdf_page_transform(ctx, p, nullptr, &pageCtm);
                pdf_set_annot_rect(ctx, annot, fz_transform_rect(rect, pageCtm));
                pdf_set_annot_contents(ctx, annot, contents);
                if (freeText) {
                    const float black[1] = {0};
                    pdf_set_annot_default_appearance(ctx, annot, "Helv", 12, 1, black);
                }
                pdf_update_annot(ctx, annot);
            }
            fz_always(ctx) {
                pdf_drop_annot(ctx, annot);
                fz_drop_page(ctx, p ? &p->super : nullptr);
            }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
    }
}

void addFields(fz_context* ctx, pdf_document* doc, int pageIndex, const PageSpec& page) {
    for (const auto& spec : page.fields) {
        const fz_rect rect = toFzRect(spec.rect);
        const std::string name = toLatin1(spec.name);
        const std::string value = toLatin1(spec.value);
        const char* n = name.c_str();
        const char* v = value.c_str();
        mu::muCall(ctx, [&] {
            pdf_obj* root = pdf_dict_get(ctx, pdf_trailer(ctx, doc), PDF_NAME(Root));
            pdf_obj* form = pdf_dict_get(ctx, root, PDF_NAME(AcroForm));
            if (!form) {
                form = pdf_dict_put_dict(ctx, root, PDF_NAME(AcroForm), 4);
                pdf_dict_put_array(ctx, form, PDF_NAME(Fields), 4);
                pdf_dict_put_text_string(ctx, form, PDF_NAME(DA), "/Helv 0 Tf 0 g");
                pdf_obj* fonts = pdf_dict_put_dict(ctx, pdf_dict_put_dict(ctx, form, PDF_NAME(DR), 1), PDF_NAME(Font), 1);
                pdf_obj* helv = pdf_add_new_dict(ctx, doc, 4);
                pdf_dict_put(ctx, helv, PDF_NAME(Type), PDF_NAME(Font));
                pdf_dict_put(ctx, helv, PDF_NAME(Subtype), PDF_NAME(Type1));
                pdf_dict_put_name(ctx, helv, PDF_NAME(BaseFont), "Helvetica");
                pdf_dict_put(ctx, helv, PDF_NAME(Encoding), PDF_NAME(WinAnsiEncoding));
                pdf_dict_puts_drop(ctx, fonts, "Helv", helv);
                pdf_dict_puts_drop(ctx, form, "NeedAppearances", PDF_TRUE);
            }
            pdf_obj* pageObj = pdf_lookup_page_obj(ctx, doc, pageIndex);
            pdf_obj* widget = pdf_add_new_dict(ctx, doc, 10);
            fz_try(ctx) {
                pdf_dict_put(ctx, widget, PDF_NAME(Type), PDF_NAME(Annot));
                pdf_dict_put(ctx, widget, PDF_NAME(Subtype), PDF_NAME(Widget));
                pdf_dict_put(ctx, widget, PDF_NAME(FT), PDF_NAME(Tx));
                pdf_dict_put_text_string(ctx, widget, PDF_NAME(T), n);
                pdf_dict_put_text_string(ctx, widget, PDF_NAME(V), v);
                pdf_dict_put_text_string(ctx, widget, PDF_NAME(DA), "/Helv 12 Tf 0 g");
                pdf_dict_put_int(ctx, widget, PDF_NAME(F), 4);
                pdf_dict_put_rect(ctx, widget, PDF_NAME(Rect), rect);
                pdf_dict_put(ctx, widget, PDF_NAME(P), pageObj);
                pdf_obj* annots = pdf_dict_get(ctx, pageObj, PDF_NAME(Annots));
                if (!annots) {
                    annots = pdf_dict_put_array(ctx, pageObj, PDF_NAME(Annots), 2);
                }
                pdf_array_push(ctx, annots, widget);
                pdf_array_push(ctx, pdf_dict_get(ctx, form, PDF_NAME(Fields)), widget);
            }
            fz_always(ctx) { pdf_drop_obj(ctx, widget); }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
        // Let MuPDF make the field's appearance, as a form-filling viewer would.
        mu::muCall(ctx, [&] {
            pdf_page* p = pdf_load_page(ctx, doc, pageIndex);
            fz_try(ctx) { pdf_update_page(ctx, p); }
            fz_always(ctx) { fz_drop_page(ctx, &p->super); }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
    }
}

void addDocumentExtras(fz_context* ctx, pdf_document* doc, const DocumentSpec& spec) {
    if (spec.xmpMetadata) {
        const std::string& xmp = *spec.xmpMetadata;
        const char* data = xmp.data();
        const std::size_t size = xmp.size();
        mu::muCall(ctx, [&] {
            pdf_obj* dict = pdf_new_dict(ctx, doc, 2);
            fz_buffer* buffer = nullptr;
            fz_var(buffer);
            fz_try(ctx) {
                pdf_dict_put(ctx, dict, PDF_NAME(Type), PDF_NAME(Metadata));
                pdf_dict_put(ctx, dict, PDF_NAME(Subtype), PDF_NAME(XML));
                buffer = fz_new_buffer_from_copied_data(ctx, reinterpret_cast<const unsigned char*>(data), size);
                pdf_obj* ref = pdf_add_stream(ctx, doc, buffer, dict, 0);
                pdf_dict_put_drop(ctx, pdf_dict_get(ctx, pdf_trailer(ctx, doc), PDF_NAME(Root)), PDF_NAME(Metadata), ref);
            }
            fz_always(ctx) {
                fz_drop_buffer(ctx, buffer);
                pdf_drop_obj(ctx, dict);
            }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
    }
    for (const auto& file : spec.attachments) {
        const char* name = file.name.c_str();
        const char* data = file.contents.data();
        const std::size_t size = file.contents.size();
        mu::muCall(ctx, [&] {
            fz_buffer* buffer = fz_new_buffer_from_copied_data(ctx, reinterpret_cast<const unsigned char*>(data), size);
            pdf_obj* filespec = nullptr;
            fz_var(filespec);
            fz_try(ctx) {
                filespec = pdf_add_embedded_file(ctx, doc, name, "text/plain", buffer, -1, -1, 0);
                pdf_obj* root = pdf_dict_get(ctx, pdf_trailer(ctx, doc), PDF_NAME(Root));
                pdf_obj* names = pdf_dict_get(ctx, root, PDF_NAME(Names));
                if (!names) {
                    names = pdf_dict_put_dict(ctx, root, PDF_NAME(Names), 1);
                }
                pdf_obj* files = pdf_dict_get(ctx, names, PDF_NAME(EmbeddedFiles));
                if (!files) {
                    files = pdf_dict_put_dict(ctx, names, PDF_NAME(EmbeddedFiles), 1);
                }
                pdf_obj* list = pdf_dict_get(ctx, files, PDF_NAME(Names));
                if (!list) {
                    list = pdf_dict_put_array(ctx, files, PDF_NAME(Names), 2);
                }
                pdf_array_push_text_string(ctx, list, name);
                pdf_array_push(ctx, list, filespec);
            }
            fz_always(ctx) {
                pdf_drop_obj(ctx, filespec);
                fz_drop_buffer(ctx, buffer);
            }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
    }
    if (!spec.outlineTitles.empty()) {
        const int count = static_cast<int>(spec.outlineTitles.size());
        std::vector<const char*> raw;
        for (const auto& t : spec.outlineTitles) {
            raw.push_back(t.c_str());
        }
        const char* const* titleList = raw.data();
        mu::muCall(ctx, [&] {
            pdf_obj* root = pdf_dict_get(ctx, pdf_trailer(ctx, doc), PDF_NAME(Root));
            pdf_obj* outlines = pdf_add_new_dict(ctx, doc, 4);
            pdf_dict_put_drop(ctx, root, PDF_NAME(Outlines), outlines);
            pdf_dict_put(ctx, outlines, PDF_NAME(Type), PDF_NAME(Outlines));
            pdf_dict_put_int(ctx, outlines, PDF_NAME(Count), count);
            pdf_obj* previous = nullptr;
            for (int i = 0; i < count; ++i) {
                pdf_obj* item = pdf_add_new_dict(ctx, doc, 4);
                pdf_dict_put_text_string(ctx, item, PDF_NAME(Title), titleList[i]);
                pdf_dict_put(ctx, item, PDF_NAME(Parent), outlines);
                pdf_obj* dest = pdf_dict_put_array(ctx, item, PDF_NAME(Dest), 2);
                pdf_array_push(ctx, dest, pdf_lookup_page_obj(ctx, doc, 0));
                pdf_array_push(ctx, dest, PDF_NAME(Fit));
                if (previous) {
                    pdf_dict_put(ctx, previous, PDF_NAME(Next), item);
                    pdf_dict_put(ctx, item, PDF_NAME(Prev), previous);
                    pdf_drop_obj(ctx, previous);
                } else {
                    pdf_dict_put(ctx, outlines, PDF_NAME(First), item);
                }
                previous = item;
            }
            pdf_dict_put(ctx, outlines, PDF_NAME(Last), previous);
            pdf_drop_obj(ctx, previous);
        });
    }
}

// Font resource names: one per distinct base-14 font used in the document.
std::string fontKey(const std::map<std::string, std::string>& keys, const std::string& font) { return keys.at(font); }

}  // namespace

SharedPdfDocument documentOf(const std::vector<PageSpec>& pages) {
    DocumentSpec spec;
    spec.pages = pages;
    return PdfDocument::fromBytes(buildPdf(spec));
}

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
            std::vector<pdf_obj*> pictures;
            for (std::size_t k = 0; k < page.images.size(); ++k) {
                const auto& image = page.images[k];
                pictures.push_back(addPicture(ctx, doc, image));
                content += "q " + number(image.placement.width) + " 0 0 " + number(image.placement.height) + " " +
                           number(image.placement.x) + " " + number(image.placement.y) + " cm /Im" +
                           std::to_string(k + 1) + " Do Q\n";
            }
            std::vector<std::string> pictureNames;
            for (std::size_t k = 0; k < pictures.size(); ++k) {
                pictureNames.push_back("Im" + std::to_string(k + 1));
            }
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
                    if (!pictures.empty()) {
                        pdf_obj* xobjects = pdf_dict_put_dict(ctx, resources, PDF_NAME(XObject), 2);
                        for (std::size_t k = 0; k < pictures.size(); ++k) {
                            pdf_dict_puts(ctx, xobjects, pictureNames[k].c_str(), pictures[k]);
                        }
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
                    for (pdf_obj* picture : pictures) {
                        pdf_drop_obj(ctx, picture);
                    }
                }
                fz_catch(ctx) { fz_rethrow(ctx); }
            });
        }

        for (std::size_t i = 0; i < spec.pages.size(); ++i) {
            addAnnotations(ctx, doc, static_cast<int>(i), spec.pages[i]);
            addFields(ctx, doc, static_cast<int>(i), spec.pages[i]);
        }
        addDocumentExtras(ctx, doc, spec);

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
        result = saveToBytes(ctx, doc, options);
    } catch (...) {
        pdf_drop_document(ctx, doc);
        throw;
    }
    pdf_drop_document(ctx, doc);
    return result;
}

std::vector<unsigned char> withRevision(const std::vector<unsigned char>& bytes, int pageIndex,
                                        const std::string& content) {
    TempDir dir;
    const std::string path = dir.file("revised.pdf").string();
    writeFile(path, bytes);
    mu::Context context;
    fz_context* ctx = context.get();
    const char* file = path.c_str();
    const char* data = content.data();
    const std::size_t size = content.size();
    pdf_document* doc = nullptr;
    mu::muCall(ctx, [&] { doc = pdf_open_document(ctx, file); });
    try {
        mu::muCall(ctx, [&] {
            fz_buffer* buffer = fz_new_buffer_from_copied_data(ctx, reinterpret_cast<const unsigned char*>(data), size);
            fz_try(ctx) {
                pdf_obj* page = pdf_lookup_page_obj(ctx, doc, pageIndex);
                pdf_dict_put_drop(ctx, page, PDF_NAME(Contents), pdf_add_stream(ctx, doc, buffer, nullptr, 0));
                pdf_write_options options = pdf_default_write_options;
                options.do_incremental = 1;
                pdf_save_document(ctx, doc, file, &options);
            }
            fz_always(ctx) { fz_drop_buffer(ctx, buffer); }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
    } catch (...) {
        pdf_drop_document(ctx, doc);
        throw;
    }
    pdf_drop_document(ctx, doc);
    return readFile(path);
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
