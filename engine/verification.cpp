#include "engine/mupdf_session.h"
#include "engine/ocr_service.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

#include <optional>
#include <set>

namespace norvane {
namespace {

constexpr double kVerificationDpi = 150;

// The page's text layer as plain text; nothing when the page cannot be loaded.
std::optional<std::string> pageText(const mu::Session& session, std::int64_t pageIndex) {
    fz_context* ctx = session.ctx();
    fz_document* doc = session.doc();
    const int index = static_cast<int>(pageIndex);
    fz_page* page = nullptr;
    try {
        mu::muCall(ctx, [&] { page = fz_load_page(ctx, doc, index); });
    } catch (const mu::MuPdfError&) {
        return std::nullopt;
    }
    fz_buffer* buffer = nullptr;
    try {
        mu::muCall(ctx, [&] {
            fz_stext_page* text = fz_new_stext_page_from_page(ctx, page, nullptr);
            fz_try(ctx) { buffer = fz_new_buffer_from_stext_page(ctx, text); }
            fz_always(ctx) { fz_drop_stext_page(ctx, text); }
            fz_catch(ctx) { fz_rethrow(ctx); }
        });
    } catch (const mu::MuPdfError&) {
        buffer = nullptr;  // a page whose text cannot be extracted has none to leak
    }
    std::string result;
    if (buffer) {
        unsigned char* data = nullptr;
        const std::size_t length = fz_buffer_storage(ctx, buffer, &data);
        result.assign(reinterpret_cast<const char*>(data), length);
        fz_drop_buffer(ctx, buffer);
    }
    fz_drop_page(ctx, page);
    return result;
}

void collectFound(const std::string& text, const std::vector<std::string>& terms, std::set<std::string>& found) {
    for (const auto& term : terms) {
        if (!found.contains(term) && findIgnoringCaseAndAccents(text, term)) {
            found.insert(term);
        }
    }
}

}  // namespace

ExportVerification RedactionEngine::verifyOutput(const std::filesystem::path& outputPath,
                                                 const std::vector<std::string>& sensitiveTerms,
                                                 const PageProgress& progress, std::stop_token stop) {
    SharedPdfDocument document;
    std::optional<mu::Session> session;
    try {
        document = PdfDocument::open(outputPath);
        session.emplace(document);
        bool locked = false;
        mu::muCall(session->ctx(), [&] { locked = fz_needs_password(session->ctx(), session->doc()) != 0; });
        if (locked) {
            // Pages we cannot read would pass unchecked.
            throw RedactionError::outputVerificationFailed();
        }
    } catch (const std::exception&) {
        throw RedactionError::outputVerificationFailed();
    }

    std::vector<std::string> terms;
    for (const auto& term : sensitiveTerms) {
        if (std::string t = trimmed(term); !t.empty()) {
            terms.push_back(std::move(t));
        }
    }

    std::set<std::string> found;  // byte order of UTF-8 is code-point order
    std::optional<OcrService> ocr;
    const std::int64_t pageCount = document->pageCount();
    for (std::int64_t pageIndex = 0; pageIndex < pageCount; ++pageIndex) {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        const std::optional<std::string> text = pageText(*session, pageIndex);
        if (!text) {
            continue;
        }
        collectFound(*text, terms, found);
        if (!terms.empty()) {
            if (std::optional<PageImage> image =
                    renderImage(*session, pageIndex, kVerificationDpi, {}, false, RenderOrientation::displayed)) {
                if (!ocr) {
                    ocr.emplace();
                }
                std::string recognised;
                for (const OcrLine& line : ocr->recognize(*image, kVerificationDpi, 0.0f, stop)) {
                    if (!recognised.empty()) {
                        recognised += '\n';
                    }
                    recognised += line.text;
                }
                image.reset();
                collectFound(recognised, terms, found);
            }
        }
        if (progress) {
            progress(pageIndex + 1, pageCount);
        }
    }
    return ExportVerification(document->pageCount(), std::vector<std::string>(found.begin(), found.end()));
}

}  // namespace norvane
