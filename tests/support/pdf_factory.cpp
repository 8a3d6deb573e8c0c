#include "tests/support/pdf_factory.h"

#include "engine/mupdf_session.h"
#include "tests/support/mupdf_held.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

// The file is written as text, object by object, the way MuPDF itself would save it; MuPDF
// only measures the fonts, encrypts and appends revisions.

namespace norvane {

void PrintTo(const PageRect& rect, std::ostream* os) {
    *os << "(" << rect.x << ", " << rect.y << ", " << rect.width << " x " << rect.height << ")";
}

}  // namespace norvane

namespace norvane::testing {
namespace {

// UTF-8 to single bytes (Latin-1 agrees with WinAnsi for the letters the tests use).
std::string toLatin1(const std::string& utf8) {
    std::string out;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        const unsigned code = c < 0x80 ? c
                              : (c & 0xE0) == 0xC0 && i + 1 < utf8.size()
                                  ? ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3Fu)
                                  : 0x100;
        if (code > 0xFF) {
            throw std::invalid_argument("text not representable in WinAnsi");
        }
        out.push_back(static_cast<char>(code));
    }
    return out;
}

std::string str(const std::string& utf8) {
    std::string out = "(";
    for (char c : toLatin1(utf8)) {
        out += c == '(' || c == ')' || c == '\\' ? std::string{'\\', c} : std::string{c};
    }
    return out + ")";
}

std::string num(double v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.4f", v);
    return buffer;
}

std::string rect(const PageRect& r) {
    return "[" + num(r.x) + " " + num(r.y) + " " + num(r.x + r.width) + " " + num(r.y + r.height) + "]";
}

std::string ref(std::size_t number) {
    return std::to_string(number) + " 0 R";
}

std::string stream(const std::string& dict, const std::string& data) {
    return "<<" + dict + " /Length " + std::to_string(data.size()) + ">>\nstream\n" + data + "\nendstream";
}

// Deterministic picture content: smooth shading with a little grain, like a photograph.
std::string pictureSamples(const ImageSpec& spec) {
    if (!spec.samples.empty()) {
        return std::string(spec.samples.begin(), spec.samples.end());
    }
    const int n = spec.gray ? 1 : 3;
    std::string samples;
    unsigned state = spec.seed * 2654435761u + 1;
    for (int y = 0; y < spec.height; ++y) {
        for (int x = 0; x < spec.width; ++x) {
            const double u = static_cast<double>(x) / spec.width;
            const double v = static_cast<double>(y) / spec.height;
            for (int c = 0; c < n; ++c) {
                state = state * 1664525u + 1013904223u;
                const double grain = static_cast<double>((state >> 24) % 17) - 8.0;
                const double base = 128 + 90 * std::sin(6.0 * u + 2.0 * c + spec.seed) * std::cos(5.0 * v - c);
                samples.push_back(static_cast<char>(std::clamp(base + grain, 0.0, 255.0)));
            }
        }
    }
    return samples;
}

}  // namespace

std::vector<unsigned char> rawPdf(const std::vector<std::string>& objects, const std::string& trailerExtra) {
    std::string out = "%PDF-1.7\n%\xB5\xB6\n";
    std::string xref = "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (std::size_t i = 0; i < objects.size(); ++i) {
        char line[32];
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", out.size());
        xref += line;
        out += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    out += xref + "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R" + trailerExtra +
           " >>\nstartxref\n" + std::to_string(out.size()) + "\n%%EOF\n";
    return bytesOf(out);
}

std::vector<unsigned char> buildPdf(const DocumentPlan& plan) {
    std::vector<std::string> objects{"", ""};  // 1: catalog, 2: page tree, filled in last
    const auto add = [&](std::string body) {
        objects.push_back(std::move(body));
        return objects.size();
    };
    std::map<std::string, std::string> fontKeys;  // base-14 name -> resource name, by first use
    std::string fonts;
    const auto fontKey = [&](const std::string& font) {
        if (!fontKeys.count(font)) {
            fontKeys[font] = "F" + std::to_string(fontKeys.size() + 1);
            fonts += " /" + fontKeys[font] + " " +
                     ref(add("<< /Type /Font /Subtype /Type1 /BaseFont /" + font + " /Encoding /WinAnsiEncoding >>"));
        }
        return fontKeys[font];
    };
    for (const auto& page : plan.pages) {
        for (const auto& run : page.texts) {
            fontKey(run.font);
        }
    }
    // For annotation and field appearances; unused when there are none.
    const std::string helv =
        ref(add("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
    std::vector<std::size_t> pageNumbers;
    std::string fields;
    for (const auto& page : plan.pages) {
        const std::size_t number = add("");
        pageNumbers.push_back(number);
        std::string content;
        std::string images;
        for (std::size_t k = 0; k < page.images.size(); ++k) {
            const ImageSpec& image = page.images[k];
            const std::string name = "Im" + std::to_string(k + 1);
            images += " /" + name + " " +
                      ref(add(stream(" /Type /XObject /Subtype /Image /Width " + std::to_string(image.width) +
                                         " /Height " + std::to_string(image.height) +
                                         " /BitsPerComponent 8 /ColorSpace /Device" + (image.gray ? "Gray" : "RGB"),
                                     pictureSamples(image))));
            const PageRect& at = image.placement;
            content += "q " + num(at.width) + " 0 0 " + num(at.height) + " " + num(at.x) + " " + num(at.y) + " cm /" +
                       name + " Do Q\n";
        }
        for (const auto& run : page.texts) {
            const auto& [r, g, b] = run.colour;
            const std::string ink = r || g || b ? num(r) + " " + num(g) + " " + num(b) + " rg " : "";
            const std::string mode = run.renderMode ? std::to_string(run.renderMode) + " Tr " : "";
            content += "BT " + ink + mode + "/" + fontKey(run.font) + " " + num(run.size) + " Tf " + num(run.x) + " " +
                       num(run.y) + " Td " + str(run.text) + " Tj ET\n";
        }
        for (const auto& r : page.filledBlackRects) {
            content +=
                "q 0 0 0 rg " + num(r.x) + " " + num(r.y) + " " + num(r.width) + " " + num(r.height) + " re f Q\n";
        }
        content += page.extraContent;

        std::string annots;
        for (const auto& a : page.annotations) {
            const bool shown = a.kind == AnnotationSpec::Kind::freeText;
            const std::string look =
                shown ? "BT 0 g /Helv 12 Tf 2 " + num(a.rect.height - 12) + " Td " + str(a.contents) + " Tj ET"
                      : "1 1 0 rg 0.5 0.5 " + num(a.rect.width - 1) + " " + num(a.rect.height - 1) + " re f";
            const std::size_t appearance =
                add(stream(" /Type /XObject /Subtype /Form /BBox [0 0 " + num(a.rect.width) + " " + num(a.rect.height) +
                               "] /Resources << /Font << /Helv " + helv + " >> >>",
                           look));
            annots +=
                " " + ref(add("<< /Type /Annot /Subtype /" + std::string(shown ? "FreeText" : "Text") + " /Rect " +
                              rect(a.rect) + " /DA (/Helv 12 Tf 0 g) /F " + (shown ? "4" : "28") + " /Contents " +
                              str(a.contents) + " /AP << /N " + ref(appearance) + " >> /P " + ref(number) + " >>"));
        }
        for (const auto& f : page.fields) {
            const std::string widget =
                ref(add("<< /Type /Annot /Subtype /Widget /FT /Tx /T " + str(f.name) + " /V " + str(f.value) +
                        " /DA (/Helv 12 Tf 0 g) /F 4 /Rect " + rect(f.rect) + " /P " + ref(number) + " >>"));
            annots += " " + widget;
            fields += " " + widget;
        }
        for (const auto& raw : page.rawAnnotations) {
            annots += " " + ref(add(raw));
        }
        objects[number - 1] = "<< /Type /Page /Parent 2 0 R /MediaBox " + rect(page.mediaBox) +
                              (page.cropBox ? " /CropBox " + rect(*page.cropBox) : "") + " /Rotate " +
                              std::to_string(page.rotate) + " /Resources << /Font <<" + fonts + " >>" +
                              (images.empty() ? "" : " /XObject <<" + images + " >>") + page.extraResources +
                              " >> /Contents " + ref(add(stream("", content))) +
                              (annots.empty() ? "" : " /Annots [" + annots + " ]") + " >>";
    }

    std::string catalog = "<< /Type /Catalog /Pages 2 0 R";
    if (!fields.empty()) {
        // No field appearances: MuPDF makes them on loading, as a form-filling viewer would.
        catalog += " /AcroForm << /Fields [" + fields + " ] /DA (/Helv 0 Tf 0 g) /DR << /Font << /Helv " + helv +
                   " >> >> /NeedAppearances true >>";
    }
    if (plan.xmpMetadata) {
        catalog += " /Metadata " + ref(add(stream(" /Type /Metadata /Subtype /XML", *plan.xmpMetadata)));
    }
    if (!plan.attachments.empty()) {
        catalog += " /Names << /EmbeddedFiles << /Names [";
        for (const auto& [name, contents] : plan.attachments) {
            const std::size_t data = add(stream(" /Type /EmbeddedFile /Subtype /text#2Fplain", contents));
            catalog += " " + str(name) + " " +
                       ref(add("<< /Type /Filespec /F " + str(name) + " /UF " + str(name) + " /EF << /F " + ref(data) +
                               " >> >>"));
        }
        catalog += " ] >> >>";
    }
    if (!plan.outlineTitles.empty()) {
        const std::size_t outlines = add("");
        const std::size_t first = outlines + 1;
        const std::size_t last = outlines + plan.outlineTitles.size();
        for (std::size_t item = first; item <= last; ++item) {
            add("<< /Title " + str(plan.outlineTitles[item - first]) + " /Parent " + ref(outlines) + " /Dest [" +
                ref(pageNumbers.at(0)) + " /Fit]" + (item > first ? " /Prev " + ref(item - 1) : "") +
                (item < last ? " /Next " + ref(item + 1) : "") + " >>");
        }
        objects[outlines - 1] = "<< /Type /Outlines /Count " + std::to_string(plan.outlineTitles.size()) + " /First " +
                                ref(first) + " /Last " + ref(last) + " >>";
        catalog += " /Outlines " + ref(outlines);
    }
    std::string trailer;
    if (!plan.info.empty()) {
        std::string info = "<<";
        for (const auto& [key, value] : plan.info) {
            info += " /" + key + " " + str(value);
        }
        trailer = " /Info " + ref(add(info + " >>"));
    }
    objects[0] = catalog + plan.extraCatalog + " >>";
    std::string kids;
    for (const std::size_t number : pageNumbers) {
        kids += " " + ref(number);
    }
    objects[1] = "<< /Type /Pages /Count " + std::to_string(pageNumbers.size()) + " /Kids [" + kids + " ] >>";
    std::vector<unsigned char> bytes = rawPdf(objects, trailer);
    if (!plan.ownerPassword && !plan.userPassword) {
        return bytes;
    }

    mu::Context context;
    fz_context* ctx = context.get();
    pdf_write_options options = pdf_default_write_options;
    options.do_encrypt = PDF_ENCRYPT_AES_128;
    options.permissions = -1 & ~4;  // printing not allowed, so owner-only files are meaningful
    std::snprintf(options.opwd_utf8, sizeof options.opwd_utf8, "%s", plan.ownerPassword.value_or("").c_str());
    std::snprintf(options.upwd_utf8, sizeof options.upwd_utf8, "%s", plan.userPassword.value_or("").c_str());
    const OpenedPdf doc(ctx, bytes);
    Held<fz_buffer, fz_drop_buffer> buffer(ctx);
    Held<fz_output, fz_drop_output> out(ctx);
    mu::muCall(ctx, [&] {
        buffer.ptr = fz_new_buffer(ctx, 65536);
        out.ptr = fz_new_output_with_buffer(ctx, buffer.ptr);
        pdf_write_document(ctx, doc.ptr, out.ptr, &options);
        fz_close_output(ctx, out.ptr);
    });
    unsigned char* data = nullptr;
    const std::size_t length = fz_buffer_storage(ctx, buffer.ptr, &data);
    return {data, data + length};
}

SharedPdfDocument documentOf(const std::vector<PageSpec>& pages) {
    return PdfDocument::fromBytes(buildPdf({.pages = pages}));
}

std::vector<unsigned char> pdfWithInvisibles(const std::vector<std::string>& lines) {
    const std::string cmap =
        "/CIDInit /ProcSet findresource begin 12 dict begin begincmap /CMapName /Invisibles def /CMapType 2 def\n"
        "1 begincodespacerange <00> <FF> endcodespacerange\n1 beginbfrange <20> <7E> <0020> endbfrange\n"
        "4 beginbfchar <80> <200B> <81> <00AD> <82> <FEFF> <83> <2060> endbfchar\n"
        "endcmap CMapName currentdict /CMap defineresource pop end end";
    std::string content;
    double y = 740;
    for (const auto& line : lines) {
        std::string text;
        for (char c : line) {
            text += c == '(' || c == ')' || c == '\\' ? std::string{'\\', c} : std::string{c};
        }
        content += "BT /F1 12 Tf 72 " + num(y -= 20) + " Td (" + text + ") Tj ET\n";
    }
    return rawPdf({
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [4 0 R] /Count 1 >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding << /BaseEncoding /WinAnsiEncoding "
        "/Differences [128 /space /space /space /space] >> /ToUnicode 5 0 R >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 3 0 R >> >> "
        "/Contents 6 0 R >>",
        stream("", cmap),
        stream("", content),
    });
}

DocumentPlan textPages(const std::vector<std::string>& lines) {
    DocumentPlan plan;
    for (const auto& line : lines) {
        plan.pages.push_back(PageSpec{.texts = {TextRun{line}}});
    }
    return plan;
}

std::vector<unsigned char> withRevision(const std::vector<unsigned char>& bytes, int pageIndex,
                                        const std::string& content) {
    TempDir dir;
    const std::string path = dir.file("revised.pdf").string();
    writeFile(path, bytes);
    mu::Context context;
    fz_context* ctx = context.get();
    Held<pdf_document, pdf_drop_document> doc(ctx);
    Held<fz_buffer, fz_drop_buffer> buffer(ctx);
    mu::muCall(ctx, [&] {
        doc.ptr = pdf_open_document(ctx, path.c_str());
        buffer.ptr =
            fz_new_buffer_from_copied_data(ctx, reinterpret_cast<const unsigned char*>(content.data()), content.size());
        pdf_obj* page = pdf_lookup_page_obj(ctx, doc.ptr, pageIndex);
        pdf_dict_put_drop(ctx, page, PDF_NAME(Contents), pdf_add_stream(ctx, doc.ptr, buffer.ptr, nullptr, 0));
        pdf_write_options options = pdf_default_write_options;
        options.do_incremental = 1;
        pdf_save_document(ctx, doc.ptr, path.c_str(), &options);
    });
    return readFile(path);
}

double textWidth(const std::string& text, double size, const std::string& font) {
    mu::Context context;
    fz_context* ctx = context.get();
    float width = 0;
    Held<fz_font, fz_drop_font> f(ctx);
    mu::muCall(ctx, [&] {
        f.ptr = fz_new_base14_font(ctx, font.c_str());
        for (const char* c = text.c_str(); *c;) {
            int unicode = 0;
            c += fz_chartorune(&unicode, c);
            fz_font* used = nullptr;
            const int glyph = fz_encode_character_with_fallback(ctx, f.ptr, unicode, 0, FZ_LANG_UNSET, &used);
            width += fz_advance_glyph(ctx, used, glyph, 0);
        }
    });
    return static_cast<double>(width) * size;
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
    return outer.minX() <= inner.minX() && outer.minY() <= inner.minY() && outer.maxX() >= inner.maxX() &&
           outer.maxY() >= inner.maxY();
}

RedactionRegion region(std::int64_t pageIndex, PageRect rect) {
    return RedactionRegion{Uuid::random(), pageIndex, rect, RedactionSource::manual, std::nullopt};
}

std::function<void(std::int64_t, std::int64_t)> recordInto(Progress& progress) {
    return [&progress](std::int64_t page, std::int64_t count) { progress.emplace_back(page, count); };
}

std::vector<unsigned char> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
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
