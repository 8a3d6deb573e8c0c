#include "engine/mupdf_session.h"
#include "engine/ocr_service.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

#include <optional>

namespace norvane {
namespace {

constexpr double kOcrSearchDpi = 220;
// Lines lower than this fraction of the page image are noise, not text worth a box.
constexpr float kMinimumTextHeight = 0.008f;

}  // namespace

std::vector<RedactionSearchResult> RedactionEngine::ocrMatches(const SharedPdfDocument& document, const std::string& query,
                                                               const PageProgress& progress, std::stop_token stop) {
    const std::string term = trimmed(query);
    if (term.empty()) {
        return {};
    }
    const std::string queryKey = normalizedSearchKey(term);
    if (queryKey.empty() || !document || document->pageCount() <= 0) {
        return {};
    }
    const std::int64_t pageCount = document->pageCount();

    std::optional<mu::Session> session;
    try {
        session.emplace(document);
    } catch (const mu::MuPdfError&) {
        // Saying "no matches" here would be a lie about pages nobody read.
        throw OcrError("The document could not be read for text recognition.");
    }

    std::optional<OcrService> ocr;  // loaded on the first page that renders
    std::vector<RedactionSearchResult> results;
    for (std::int64_t pageIndex = 0; pageIndex < pageCount; ++pageIndex) {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        std::optional<PageImage> image =
            renderImage(*session, pageIndex, kOcrSearchDpi, {}, false, RenderOrientation::displayed);
        if (!image) {
            continue;
        }
        if (!ocr) {
            ocr.emplace();
        }
        const std::vector<OcrLine> lines = ocr->recognize(*image, kOcrSearchDpi, kMinimumTextHeight, stop);
        for (const OcrLine& line : lines) {
            if (normalizedSearchKey(line.text).find(queryKey) == std::string::npos) {
                continue;
            }
            // The key decided that the line matches; the literal query, where recognition
            // spelled it the same way, narrows the box to those characters. Otherwise the
            // whole line goes.
            NormalizedBox box = line.box;
            if (const auto range = findIgnoringCaseAndAccents(line.text, term)) {
                if (const auto rangeBox = line.boxForRange(range->first, range->second)) {
                    box = *rangeBox;
                }
            }
            RedactionSearchResult result;
            result.id = Uuid::random();
            result.pageIndex = pageIndex;
            result.rect = safetyExpanded(imageBoxToPage(*image, box));
            result.text = term;
            result.source = RedactionSource::ocr;
            results.push_back(std::move(result));
        }
        image.reset();
        if (progress) {
            progress(pageIndex + 1, pageCount);
        }
    }
    return results;
}

}  // namespace norvane
