// The secure copy: every page becomes one lossless image of itself with the boxes burnt in,
// and the file is written from scratch around those images, so nothing of the source's
// structure (text, fonts, annotations, forms, outlines, metadata, revisions) can travel. A
// searchable copy adds the words recognised on those very images, as invisible text.

#include "engine/secure_export.h"
#include "engine/page_loop.h"
#include "engine/page_raster.h"
#include "engine/recognition_languages.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"
#include "engine/searchable_layer.h"

#include <libdeflate.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#if defined(__unix__) || defined(__APPLE__)
#include <unistd.h>
#endif

namespace norvane {
namespace {

constexpr double kExportDpi = 180.0;
constexpr int kDeflateLevel = 6;
// What a searchable export keeps of its reading for verification: a dense page has some 4,000
// recognised characters at about 50 bytes each. Past this, verification reads the pixels again.
constexpr std::size_t kMaxKeptSymbols = 4'000'000;

// --- page encoding -------------------------------------------------------------------------

struct EncodedPage {
    int width = 0;
    int height = 0;
    bool gray = false;
    std::vector<std::uint8_t> zlib;  // the image samples, zlib format (PDF's FlateDecode)
};

class Deflater {
public:
    Deflater() : compressor_(libdeflate_alloc_compressor(kDeflateLevel)) {
        if (!compressor_) {
            throw std::bad_alloc();
        }
    }
    ~Deflater() { libdeflate_free_compressor(compressor_); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    std::vector<std::uint8_t> compress(const std::uint8_t* data, std::size_t size) {
        std::vector<std::uint8_t> out(libdeflate_zlib_compress_bound(compressor_, size));
        const std::size_t written = libdeflate_zlib_compress(compressor_, data, size, out.data(), out.size());
        if (written == 0) {
            throw std::bad_alloc();  // cannot happen with a bound-sized buffer
        }
        out.resize(written);
        out.shrink_to_fit();
        return out;
    }

private:
    libdeflate_compressor* compressor_;
};

// Pages of black text on white are grey everywhere; storing one sample per pixel instead of
// three is lossless and a third of the work for the compressor.
bool isGray(const PageImage& image) {
    const std::uint8_t* p = image.samples.data();
    const std::uint8_t* end = p + image.samples.size();
    for (; p != end; p += 3) {
        if (p[0] != p[1] || p[1] != p[2]) {
            return false;
        }
    }
    return true;
}

EncodedPage encode(PageImage image, Deflater& deflater) {
    EncodedPage page;
    page.width = image.width;
    page.height = image.height;
    page.gray = image.components == 3 && isGray(image);
    if (page.gray) {
        const std::size_t pixels = image.samples.size() / 3;
        for (std::size_t i = 0; i < pixels; ++i) {
            image.samples[i] = image.samples[i * 3];
        }
        image.samples.resize(pixels);
    }
    page.zlib = deflater.compress(image.samples.data(), image.samples.size());
    return page;
}

// --- output file ---------------------------------------------------------------------------

class WriteFailed {};

// Where the PDF's bytes go: a temporary file for a real export, memory for the fuzzer. With a
// digest, every byte also goes through it.
class ByteSink {
public:
    virtual ~ByteSink() = default;
    void write(const void* data, std::size_t size) {
        put(data, size);
        if (digest_) {
            digest_->add(data, size);
        }
        offset_ += size;
    }
    void write(const std::string& text) { write(text.data(), text.size()); }
    std::uint64_t offset() const { return offset_; }
    void keepDigest() { digest_.emplace(); }
    std::optional<Digest> digest() { return digest_ ? std::optional(digest_->finish()) : std::nullopt; }

protected:
    virtual void put(const void* data, std::size_t size) = 0;

private:
    std::uint64_t offset_ = 0;
    std::optional<Sha256> digest_;
};

class MemorySink : public ByteSink {
public:
    explicit MemorySink(std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}

protected:
    void put(const void* data, std::size_t size) override {
        const auto* p = static_cast<const std::uint8_t*>(data);
        bytes_.insert(bytes_.end(), p, p + size);
    }

private:
    std::vector<std::uint8_t>& bytes_;
};

// A hidden temporary file beside the target; removed unless committed by renaming it over
// the target, so a failed or cancelled export leaves nothing behind.
class TemporaryOutput : public ByteSink {
public:
    explicit TemporaryOutput(const std::filesystem::path& target) : target_(target) {
        const std::filesystem::path folder =
            target.parent_path().empty() ? std::filesystem::path(".") : target.parent_path();
        for (int attempt = 0; attempt < 8 && !file_; ++attempt) {
            // Not derived from the target's name, which may already be as long as a name can be.
            path_ = folder / (".norvane-" + Uuid::random().toString() + ".tmp");
            file_ = std::fopen(path_.c_str(), "wbx");
        }
        if (!file_) {
            throw WriteFailed();
        }
        std::setvbuf(file_, nullptr, _IOFBF, std::size_t{1} << 20);
    }
    ~TemporaryOutput() {
        if (file_) {
            std::fclose(file_);
        }
        if (!committed_) {
            std::error_code ignored;
            std::filesystem::remove(path_, ignored);
        }
    }
    TemporaryOutput(const TemporaryOutput&) = delete;
    TemporaryOutput& operator=(const TemporaryOutput&) = delete;

    void commit() {
        bool ok = std::fflush(file_) == 0 && !std::ferror(file_);
#if defined(__unix__) || defined(__APPLE__)
        ok = ok && ::fsync(fileno(file_)) == 0;
#endif
        ok = std::fclose(file_) == 0 && ok;
        file_ = nullptr;
        if (!ok) {
            throw WriteFailed();
        }
        std::error_code error;
        std::filesystem::rename(path_, target_, error);
        if (error) {
            throw WriteFailed();
        }
        committed_ = true;
    }

protected:
    void put(const void* data, std::size_t size) override {
        if (size && std::fwrite(data, 1, size, file_) != size) {
            throw WriteFailed();
        }
    }

private:
    std::filesystem::path target_;
    std::filesystem::path path_;
    std::FILE* file_ = nullptr;
    bool committed_ = false;
};

// The searchable copy's additions to the file: the language its text is in and the one font
// its pages' text layers share.
struct TextLayerOutput {
    std::string language;  // BCP 47; empty: not known
    LayerFont font;
    Deflater deflater;
};

// Writes the image-only PDF as the pages arrive: catalog first, then per page its image,
// its content stream and the page itself, then the page tree, Info, the text layer's font
// when there is one, and one xref. Page i uses objects 4 + 3i (image), 5 + 3i (content),
// 6 + 3i (page); the font takes the six after the last page.
class ImagePdfWriter {
public:
    ImagePdfWriter(ByteSink& out, std::int64_t pageCount, TextLayerOutput* layer)
        : out_(out), pageCount_(pageCount), layer_(layer) {
        offsets_.assign(static_cast<std::size_t>(3 + 3 * pageCount + (layer ? kFontObjects : 0)) + 1, 0);
        out_.write("%PDF-1.7\n%\xE2\xE3\xCF\xD3\n");
        beginObject(1);
        const std::string language = layer && !layer->language.empty() ? " /Lang (" + layer->language + ")" : "";
        out_.write("<< /Type /Catalog /Pages 2 0 R" + language + " >>\nendobj\n");
    }

    // `text`: the operators of the page's text layer, or empty.
    void addPage(std::int64_t index, const PdfPageInfo& info, const EncodedPage& page, const std::string& text) {
        const std::int64_t image = 4 + 3 * index;
        const std::int64_t content = image + 1;
        const std::int64_t pageObject = image + 2;
        const std::string width = pdfNumber(info.mediaBox.standardized().width);
        const std::string height = pdfNumber(info.mediaBox.standardized().height);

        beginObject(image);
        out_.write("<< /Type /XObject /Subtype /Image /Width " + std::to_string(page.width) + " /Height " +
                   std::to_string(page.height) + " /ColorSpace " + (page.gray ? "/DeviceGray" : "/DeviceRGB") +
                   " /BitsPerComponent 8 /Filter /FlateDecode /Length " + std::to_string(page.zlib.size()) +
                   " >>\nstream\n");
        out_.write(page.zlib.data(), page.zlib.size());
        out_.write("\nendstream\nendobj\n");

        const std::string drawing = "q " + width + " 0 0 " + height + " 0 0 cm /Im0 Do Q\n";
        beginObject(content);
        if (text.empty()) {
            out_.write("<< /Length " + std::to_string(drawing.size()) + " >>\nstream\n" + drawing +
                       "endstream\nendobj\n");
        } else {
            const std::string operators = drawing + text;
            const auto packed =
                layer_->deflater.compress(reinterpret_cast<const std::uint8_t*>(operators.data()), operators.size());
            writeStream("/Filter /FlateDecode", packed);
        }

        beginObject(pageObject);
        std::string dict = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + width + " " + height + "]";
        if (info.rotation != 0) {
            dict += " /Rotate " + std::to_string(info.rotation);
        }
        dict += " /Resources << /XObject << /Im0 " + std::to_string(image) + " 0 R >>";
        if (!text.empty()) {
            dict += " /Font << /F0 " + std::to_string(fontObject()) + " 0 R >>";
        }
        dict += " >> /Contents " + std::to_string(content) + " 0 R >>\nendobj\n";
        out_.write(dict);
    }

    void finish() {
        beginObject(2);
        std::string kids;
        for (std::int64_t i = 0; i < pageCount_; ++i) {
            kids += (i ? " " : "") + std::to_string(6 + 3 * i) + " 0 R";
        }
        out_.write("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pageCount_) + " >>\nendobj\n");
        beginObject(3);
        out_.write("<< /Title (Redacted Document) /Creator (Norvane Redaction) /Producer (Norvane) >>\nendobj\n");
        if (layer_) {
            writeFont();
        }

        const std::uint64_t xref = out_.offset();
        std::string table = "xref\n0 " + std::to_string(offsets_.size()) + "\n0000000000 65535 f \n";
        for (std::size_t i = 1; i < offsets_.size(); ++i) {
            char entry[32];
            std::snprintf(entry, sizeof entry, "%010llu 00000 n \n", static_cast<unsigned long long>(offsets_[i]));
            table += entry;
        }
        out_.write(table);
        out_.write("trailer\n<< /Size " + std::to_string(offsets_.size()) + " /Root 1 0 R /Info 3 0 R >>\nstartxref\n" +
                   std::to_string(xref) + "\n%%EOF\n");
    }

private:
    static constexpr std::int64_t kFontObjects = 6;

    std::int64_t fontObject() const { return 4 + 3 * pageCount_; }

    // The Type0 font, its CID font, descriptor, font program, ToUnicode CMap and CID-to-glyph map.
    void writeFont() {
        const std::int64_t font = fontObject();
        const auto ref = [&](std::int64_t offset) { return std::to_string(font + offset) + " 0 R"; };
        beginObject(font);
        out_.write("<< /Type /Font /Subtype /Type0 /BaseFont /GlyphLessFont /Encoding /Identity-H /DescendantFonts [" +
                   ref(1) + "] /ToUnicode " + ref(4) + " >>\nendobj\n");
        beginObject(font + 1);
        out_.write(
            "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /GlyphLessFont /CIDSystemInfo << /Registry (Adobe) "
            "/Ordering (Identity) /Supplement 0 >> /FontDescriptor " +
            ref(2) + " /DW 500 /CIDToGIDMap " + ref(5) + " >>\nendobj\n");
        beginObject(font + 2);
        out_.write(
            "<< /Type /FontDescriptor /FontName /GlyphLessFont /Flags 5 /FontBBox [0 0 500 1000] /ItalicAngle 0 "
            "/Ascent 1000 /Descent 0 /CapHeight 1000 /StemV 80 /FontFile2 " +
            ref(3) + " >>\nendobj\n");
        const std::vector<std::uint8_t>& program = glyphlessFont();
        beginObject(font + 3);
        writeStream("/Length1 " + std::to_string(program.size()), program);
        const std::string cmap = layer_->font.toUnicode();
        beginObject(font + 4);
        writeStream("", std::vector<std::uint8_t>(cmap.begin(), cmap.end()));
        beginObject(font + 5);
        writeStream("", layer_->font.cidToGidMap());
    }

    void writeStream(const std::string& entries, const std::vector<std::uint8_t>& data) {
        out_.write("<< " + (entries.empty() ? "" : entries + " ") + "/Length " + std::to_string(data.size()) +
                   " >>\nstream\n");
        out_.write(data.data(), data.size());
        out_.write("\nendstream\nendobj\n");
    }

    void beginObject(std::int64_t number) {
        // The xref table has ten digits per offset.
        if (out_.offset() > 9'999'999'999ULL) {
            throw WriteFailed();
        }
        offsets_.at(static_cast<std::size_t>(number)) = out_.offset();
        out_.write(std::to_string(number) + " 0 obj\n");
    }

    ByteSink& out_;
    std::int64_t pageCount_;
    TextLayerOutput* layer_;
    std::vector<std::uint64_t> offsets_;
};

// --- page pipeline -------------------------------------------------------------------------

using RegionsByPage = std::map<std::int64_t, std::vector<RedactionRegion>>;

// What one export worker keeps from page to page.
struct ExportWorker {
    std::optional<mu::Session> session;
    std::optional<Deflater> deflater;
    std::optional<OcrService> ocr;
};

// A page ready to be written, and with a text layer, what was read on it.
struct ExportedPage {
    EncodedPage encoded;
    std::vector<PageReading> readings;
    std::vector<LayerWord> words;
};

// The page image as the copy's page space sees it: the copy's media box starts at the origin.
void moveToCopySpace(PageImage& image, const PageRect& mediaBox) {
    Affine& m = image.pageToPixel;
    const double x = mediaBox.minX();
    const double y = mediaBox.minY();
    m.e += m.a * x + m.c * y;
    m.f += m.b * x + m.d * y;
}

// The languages that read a searchable copy's pages, chosen as verification chooses them.
std::string layerLanguages(const ExportOptions& options) {
    std::vector<std::string> terms;
    for (const auto& term : options.terms) {
        if (std::string t = trimmed(term); !t.empty()) {
            terms.push_back(std::move(t));
        }
    }
    return resolvedRecognitionLanguages(options.recognition, terms);
}

// Renders every page and streams the PDF into `out`; with a text layer, returns what was read
// unless it was too much to keep.
SharedRecognisedCopy writeSecurePdf(const SharedPdfDocument& document, const std::vector<RedactionRegion>& redactions,
                                    const ExportOptions& options, double dpi, int workers, ByteSink& out,
                                    const PageProgress& progress, const std::stop_token& stop) {
    RegionsByPage byPage;
    for (const RedactionRegion& region : redactions) {
        byPage[region.pageIndex].push_back(region);
    }
    const std::int64_t pageCount = document->pageCount();
    std::optional<TextLayerOutput> layer;
    std::shared_ptr<RecognisedCopy> recognised;
    if (options.searchable) {
        recognised = std::make_shared<RecognisedCopy>();
        recognised->languages = layerLanguages(options);
        recognised->pages.resize(static_cast<std::size_t>(pageCount));
        glyphlessFont();  // missing, it fails the export before anything is written
        layer.emplace().language = languageTag(recognised->languages);
        out.keepDigest();
    }
    ImagePdfWriter writer(out, pageCount, layer ? &*layer : nullptr);
    std::size_t keptSymbols = 0;
    static const std::vector<RedactionRegion> none;
    // Workers render, encode and read; this thread writes, in page order. Encoded pages are
    // large, so no more wait than there are workers.
    const int pageWorkers =
        workers > 0 ? static_cast<int>(std::min<std::int64_t>(workers, pageCount)) : pageWorkerCount(pageCount);
    forEachPageInParallel<ExportWorker>(
        pageCount, pageWorkers, pageWorkers, progress, stop,
        [&](ExportWorker& worker, std::int64_t page, std::stop_token token) -> ExportedPage {
            // A page missing from the copy means there is no copy.
            PageFailure failure = PageFailure::unrenderable;
            std::optional<PageImage> image;
            try {
                if (!worker.session) {
                    worker.session.emplace(document);
                    worker.deflater.emplace();
                }
                const auto found = byPage.find(page);
                RenderResult rendered =
                    renderImage(*worker.session, {.pageIndex = page,
                                                  .dpi = dpi,
                                                  .boxes = found == byPage.end() ? none : found->second,
                                                  .labelRedactions = options.labelRedactions,
                                                  .compactEdges = true});
                if (rendered) {
                    image = std::move(*rendered);
                } else {
                    failure = rendered.failure().value_or(PageFailure::unrenderable);
                }
            } catch (const std::exception&) {
                failure = mu::pageFailureOf(std::current_exception());
            }
            if (!image) {
                throw RedactionError::cannotRenderPage(page, failure);
            }
            ExportedPage exported;
            if (!recognised) {
                exported.encoded = encode(std::move(*image), *worker.deflater);
                return exported;
            }
            // Read from the very pixels that are written: nothing the page image does not show
            // can reach the text layer.
            const PdfPageInfo& info = document->page(page);
            PageImage grey = greyImage(*image);
            moveToCopySpace(grey, info.mediaBox.standardized());
            exported.encoded = encode(std::move(*image), *worker.deflater);
            if (!worker.ocr) {
                worker.ocr.emplace(recognised->languages);
            }
            exported.readings =
                readPageImage(turnedImage(grey, info.rotation), info.rotation, dpi, 0.0f, *worker.ocr, token);
            exported.words = layerWords(exported.readings);
            return exported;
        },
        [&](std::int64_t page, ExportedPage exported) {
        writer.addPage(page, document->page(page), exported.encoded, layer ? layer->font.show(exported.words) : "");
        for (const PageReading& reading : exported.readings) {
            for (const OcrLine& line : reading.lines) {
                keptSymbols += line.symbols.size();
            }
        }
        if (recognised && keptSymbols <= kMaxKeptSymbols) {
            recognised->pages[static_cast<std::size_t>(page)] = std::move(exported.readings);
        } else if (recognised) {
            std::vector<std::vector<PageReading>>().swap(recognised->pages);
        }
        });
    writer.finish();
    if (!recognised || keptSymbols > kMaxKeptSymbols) {
        return nullptr;
    }
    recognised->fileDigest = out.digest().value();
    return recognised;
}

void checkExportable(const SharedPdfDocument& document, const std::vector<RedactionRegion>& redactions) {
    if (!document || document->pageCount() < 1) {
        throw RedactionError::noPages();
    }
    if (redactions.empty()) {
        throw RedactionError::noRedactions();
    }
}

}  // namespace

SharedRecognisedCopy RedactionEngine::exportSecurePDF(const SharedPdfDocument& document,
                                                      const std::vector<RedactionRegion>& redactions,
                                                      const std::filesystem::path& outputPath,
                                                      const ExportOptions& options, const PageProgress& progress,
                                                      std::stop_token stop) {
    checkExportable(document, redactions);
    try {
        TemporaryOutput out(outputPath);
        SharedRecognisedCopy recognised =
            writeSecurePdf(document, redactions, options, kExportDpi, 0, out, progress, stop);
        out.commit();
        return recognised;
    } catch (const WriteFailed&) {
        throw RedactionError::exportFailed();
    } catch (const std::bad_alloc&) {
        throw RedactionError::exportFailed();
    }
}

std::vector<std::uint8_t> exportSecurePdfToMemory(const SharedPdfDocument& document,
                                                  const std::vector<RedactionRegion>& redactions, bool labelRedactions,
                                                  double dpi, int workers) {
    checkExportable(document, redactions);
    std::vector<std::uint8_t> bytes;
    try {
        MemorySink out(bytes);
        writeSecurePdf(document, redactions, {.labelRedactions = labelRedactions}, dpi, workers, out, {}, {});
    } catch (const WriteFailed&) {
        throw RedactionError::exportFailed();
    } catch (const std::bad_alloc&) {
        throw RedactionError::exportFailed();
    }
    return bytes;
}

}  // namespace norvane
