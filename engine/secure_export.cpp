// The secure copy: every page becomes one lossless image of itself with the boxes burnt in,
// and the file is written from scratch around those images, so nothing of the source's
// structure (text, fonts, annotations, forms, outlines, metadata, revisions) can travel.

#include "engine/secure_export.h"
#include "engine/page_loop.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"

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

// Where the PDF's bytes go: a temporary file for a real export, memory for the fuzzer.
class ByteSink {
public:
    virtual ~ByteSink() = default;
    virtual void write(const void* data, std::size_t size) = 0;
    void write(const std::string& text) { write(text.data(), text.size()); }
    std::uint64_t offset() const { return offset_; }

protected:
    std::uint64_t offset_ = 0;
};

class MemorySink : public ByteSink {
public:
    explicit MemorySink(std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}
    void write(const void* data, std::size_t size) override {
        const auto* p = static_cast<const std::uint8_t*>(data);
        bytes_.insert(bytes_.end(), p, p + size);
        offset_ += size;
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

    using ByteSink::write;
    void write(const void* data, std::size_t size) override {
        if (size && std::fwrite(data, 1, size, file_) != size) {
            throw WriteFailed();
        }
        offset_ += size;
    }

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

private:
    std::filesystem::path target_;
    std::filesystem::path path_;
    std::FILE* file_ = nullptr;
    bool committed_ = false;
};

// PDF numbers never use exponents; four decimals are finer than any media box needs.
std::string pdfNumber(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.4f", value);
    std::string text = buffer;
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') {
        text.pop_back();
    }
    return text == "-0" ? "0" : text;
}

// Writes the image-only PDF as the pages arrive: catalog first, then per page its image,
// its one-line content stream and the page itself, then the page tree, Info and one xref.
// Page i uses objects 4 + 3i (image), 5 + 3i (content), 6 + 3i (page).
class ImagePdfWriter {
public:
    ImagePdfWriter(ByteSink& out, std::int64_t pageCount) : out_(out), pageCount_(pageCount) {
        offsets_.assign(static_cast<std::size_t>(3 + 3 * pageCount) + 1, 0);
        out_.write("%PDF-1.7\n%\xE2\xE3\xCF\xD3\n");
        beginObject(1);
        out_.write("<< /Type /Catalog /Pages 2 0 R >>\nendobj\n");
    }

    void addPage(std::int64_t index, const PdfPageInfo& info, const EncodedPage& page) {
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
        out_.write("<< /Length " + std::to_string(drawing.size()) + " >>\nstream\n" + drawing + "endstream\nendobj\n");

        beginObject(pageObject);
        std::string dict = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + width + " " + height + "]";
        if (info.rotation != 0) {
            dict += " /Rotate " + std::to_string(info.rotation);
        }
        dict += " /Resources << /XObject << /Im0 " + std::to_string(image) + " 0 R >> >> /Contents " +
                std::to_string(content) + " 0 R >>\nendobj\n";
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
    std::vector<std::uint64_t> offsets_;
};

// --- page pipeline -------------------------------------------------------------------------

using RegionsByPage = std::map<std::int64_t, std::vector<RedactionRegion>>;

// What one export worker keeps from page to page.
struct ExportWorker {
    std::optional<mu::Session> session;
    std::optional<Deflater> deflater;
};

// Renders every page and streams the image-only PDF into `out`.
void writeSecurePdf(const SharedPdfDocument& document, const std::vector<RedactionRegion>& redactions,
                    bool labelRedactions, double dpi, int workers, ByteSink& out, const PageProgress& progress,
                    const std::stop_token& stop) {
    RegionsByPage byPage;
    for (const RedactionRegion& region : redactions) {
        byPage[region.pageIndex].push_back(region);
    }
    const std::int64_t pageCount = document->pageCount();
    ImagePdfWriter writer(out, pageCount);
    static const std::vector<RedactionRegion> none;
    // Workers render and encode; this thread writes, in page order. Encoded pages are large, so
    // no more wait than there are workers.
    const int pageWorkers =
        workers > 0 ? static_cast<int>(std::min<std::int64_t>(workers, pageCount)) : pageWorkerCount(pageCount);
    forEachPageInParallel<ExportWorker>(
        pageCount, pageWorkers, pageWorkers, progress, stop,
        [&](ExportWorker& worker, std::int64_t page, std::stop_token) -> EncodedPage {
            // A page missing from the copy means there is no copy.
            PageFailure failure = PageFailure::unrenderable;
            try {
                if (!worker.session) {
                    worker.session.emplace(document);
                    worker.deflater.emplace();
                }
                const auto found = byPage.find(page);
                RenderResult image =
                    renderImage(*worker.session, {.pageIndex = page,
                                                  .dpi = dpi,
                                                  .boxes = found == byPage.end() ? none : found->second,
                                                  .labelRedactions = labelRedactions,
                                                  .compactEdges = true});
                if (image) {
                    return encode(std::move(*image), *worker.deflater);
                }
                failure = image.failure().value_or(PageFailure::unrenderable);
            } catch (const std::exception&) {
                failure = mu::pageFailureOf(std::current_exception());
            }
            throw RedactionError::cannotRenderPage(page, failure);
        },
        [&](std::int64_t page, const EncodedPage& encoded) { writer.addPage(page, document->page(page), encoded); });
    writer.finish();
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

void RedactionEngine::exportSecurePDF(const SharedPdfDocument& document, const std::vector<RedactionRegion>& redactions,
                                      const std::filesystem::path& outputPath, bool labelRedactions,
                                      const PageProgress& progress, std::stop_token stop) {
    checkExportable(document, redactions);
    try {
        TemporaryOutput out(outputPath);
        writeSecurePdf(document, redactions, labelRedactions, kExportDpi, 0, out, progress, stop);
        out.commit();
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
        writeSecurePdf(document, redactions, labelRedactions, dpi, workers, out, {}, {});
    } catch (const WriteFailed&) {
        throw RedactionError::exportFailed();
    } catch (const std::bad_alloc&) {
        throw RedactionError::exportFailed();
    }
    return bytes;
}

}  // namespace norvane
