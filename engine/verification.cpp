#include "engine/mupdf_session.h"
#include "engine/page_loop.h"
#include "engine/page_reading.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

#include <optional>
#include <set>

namespace norvane {
namespace {

constexpr double kVerificationDpi = 150;

// The page's text layer as plain text. A page that cannot be loaded or whose text cannot be
// read throws: nobody can say it is clean.
std::string pageText(const mu::Session& session, std::int64_t pageIndex) {
    fz_context* ctx = session.ctx();
    fz_document* doc = session.doc();
    const int index = static_cast<int>(pageIndex);
    mu::PageTextResources x(ctx);
    try {
        mu::muCall(ctx, [&] { x.page = fz_load_page(ctx, doc, index); });
        mu::muCall(ctx, [&] { x.text = fz_new_stext_page_from_page(ctx, x.page, nullptr); });
        mu::muCall(ctx, [&] { x.buffer = fz_new_buffer_from_stext_page(ctx, x.text); });
    } catch (const mu::MuPdfError&) {
        throw RedactionError::outputVerificationFailed();
    }
    unsigned char* data = nullptr;
    const std::size_t length = fz_buffer_storage(ctx, x.buffer, &data);
    return std::string(reinterpret_cast<const char*>(data), length);
}

void collectFound(const std::string& text, const std::vector<std::string>& terms, std::set<std::string>& found) {
    for (const auto& term : terms) {
        try {
            if (!found.contains(term) && findIgnoringCaseAndAccents(text, term)) {
                found.insert(term);
            }
        } catch (const MatcherUnavailable&) {
            throw RedactionError::outputVerificationFailed();
        }
    }
}

// Every reading's lines, one per line; readings apart so no term spans two of them.
std::string recognisedText(const std::vector<PageReading>& readings) {
    std::string recognised;
    for (const PageReading& reading : readings) {
        for (const OcrLine& line : reading.lines) {
            if (!recognised.empty()) {
                recognised += '\n';
            }
            recognised += line.text;
        }
    }
    return recognised;
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
    forEachPage(document->pageCount(), progress, stop, [&](std::int64_t pageIndex) {
        collectFound(pageText(*session, pageIndex), terms, found);
        if (terms.empty()) {
            return true;
        }
        std::optional<std::vector<PageReading>> readings;
        try {
            readings = readPage(*session, pageIndex, kVerificationDpi, 0.0f, ocr, stop);
        } catch (const OcrError&) {
            if (!ocr) {
                throw RedactionError::outputVerificationFailed();  // the recogniser did not start
            }
            throw;
        }
        if (!readings) {
            throw RedactionError::outputVerificationFailed();
        }
        collectFound(recognisedText(*readings), terms, found);
        return true;
    });
    return ExportVerification(document->pageCount(), std::vector<std::string>(found.begin(), found.end()));
}

}  // namespace norvane
