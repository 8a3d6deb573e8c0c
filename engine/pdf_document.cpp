#include "engine/pdf_document.h"

#include "engine/mupdf_session.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace norvane {
namespace {

// A page tree can claim billions of pages in a few hundred bytes (shared subtrees); no
// real document comes near this, and walking such a tree would never end.
constexpr int kMaxPages = 100000;

// The whole file is held in memory for the document's lifetime.
constexpr std::uintmax_t kMaxFileSize = std::uintmax_t{4} << 30;

// Readers accept the header anywhere in the first kilobyte; anything else is not a PDF.
bool hasPdfHeader(const std::vector<unsigned char>& bytes) {
    static constexpr char kMagic[] = "%PDF-";
    const std::size_t window = std::min<std::size_t>(bytes.size(), 1024);
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(window);
    return std::search(bytes.begin(), end, kMagic, kMagic + 5) != end;
}

int snapRotation(int rotate) {
    // Same snapping as MuPDF's page transform, so what we report is what it draws.
    if (rotate < 0) {
        rotate = 360 - ((-rotate) % 360);
    }
    if (rotate >= 360) {
        rotate %= 360;
    }
    rotate = 90 * ((rotate + 45) / 90);
    return rotate >= 360 ? 0 : rotate;
}

struct PageFacts {
    fz_rect mediaBox;
    int rotate;
};

PageFacts readPage(fz_context* ctx, pdf_document* pdf, int index) {
    PageFacts facts{fz_empty_rect, 0};
    bool hasBox = false;
    mu::muCall(ctx, [&] {
        pdf_obj* page = pdf_lookup_page_obj(ctx, pdf, index);
        pdf_obj* box = pdf_dict_get_inheritable(ctx, page, PDF_NAME(MediaBox));
        hasBox = pdf_is_array(ctx, box);
        facts.mediaBox = pdf_to_rect(ctx, box);
        facts.rotate = pdf_to_int(ctx, pdf_dict_get_inheritable(ctx, page, PDF_NAME(Rotate)));
    });
    if (!hasBox) {
        // MuPDF draws a page without a media box as US Letter; report what it will draw.
        facts.mediaBox = fz_make_rect(0, 0, 612, 792);
    }
    // A box of no area is kept as it is: MuPDF would quietly draw Letter, which is not the
    // page the file describes, so rendering it is refused later instead.
    return facts;
}

}  // namespace

std::shared_ptr<const PdfDocument> PdfDocument::open(const std::filesystem::path& path) {
    std::vector<unsigned char> bytes;
    try {
        if (!std::filesystem::is_regular_file(path) || std::filesystem::file_size(path) > kMaxFileSize) {
            throw RedactionError::cannotOpenPDF();
        }
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            throw RedactionError::cannotOpenPDF();
        }
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (in.bad()) {
            throw RedactionError::cannotOpenPDF();
        }
    } catch (const RedactionError&) {
        throw;
    } catch (const std::exception&) {
        throw RedactionError::cannotOpenPDF();
    }
    return fromBytes(std::move(bytes));
}

std::shared_ptr<const PdfDocument> PdfDocument::fromBytes(std::vector<unsigned char> bytes) {
    if (!hasPdfHeader(bytes)) {
        throw RedactionError::cannotOpenPDF();
    }
    std::shared_ptr<PdfDocument> document(new PdfDocument());
    document->bytes_ = std::move(bytes);
    try {
        mu::Session session(document);
        fz_context* ctx = session.ctx();
        pdf_document* pdf = session.pdf();
        int count = 0;
        mu::muCall(ctx, [&] {
            document->encrypted_ = pdf_dict_get(ctx, pdf_trailer(ctx, pdf), PDF_NAME(Encrypt)) != nullptr;
            count = pdf_count_pages(ctx, pdf);
        });
        if (count < 0 || count > kMaxPages) {
            throw RedactionError::cannotOpenPDF();
        }
        document->pages_.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            const PageFacts facts = readPage(ctx, pdf, i);
            PdfPageInfo info;
            info.mediaBox = PageRect{facts.mediaBox.x0, facts.mediaBox.y0, facts.mediaBox.x1 - facts.mediaBox.x0,
                                     facts.mediaBox.y1 - facts.mediaBox.y0};
            info.rotation = snapRotation(facts.rotate);
            document->pages_.push_back(info);
        }
    } catch (const mu::MuPdfError&) {
        // An encrypted file whose page tree we cannot walk is still reported as encrypted.
        if (!document->encrypted_) {
            throw RedactionError::cannotOpenPDF();
        }
        document->pages_.clear();
    }
    return document;
}

std::shared_ptr<const PdfDocument> PdfDocument::openForRedaction(const std::filesystem::path& path) {
    auto document = open(path);
    if (document->isEncrypted()) {
        throw RedactionError::encryptedPDF();
    }
    if (document->pageCount() < 1) {
        throw RedactionError::noPages();
    }
    return document;
}

}  // namespace norvane
