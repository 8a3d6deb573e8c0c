#include "engine/mupdf_session.h"
#include "engine/page_text.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

namespace norvane {

std::vector<RedactionSearchResult> RedactionEngine::nativePatternMatches(const SharedPdfDocument& document,
                                                                         PatternPreset preset) {
    std::vector<RedactionSearchResult> results;
    if (!document) {
        return results;
    }
    std::optional<mu::Session> session;
    try {
        session.emplace(document);
    } catch (const mu::MuPdfError&) {
        return results;  // as the typed search: a document MuPDF cannot read has no text
    }
    const auto pageCount = static_cast<int>(std::min<std::int64_t>(document->pageCount(), INT32_MAX));
    for (int pageIndex = 0; pageIndex < pageCount; ++pageIndex) {
        TextLayer layer;
        try {
            layer = readTextLayer(*session, pageIndex);
        } catch (const mu::MuPdfError&) {
            continue;
        }
        for (const auto& [begin, end] : findPatternMatches(preset, layer.text)) {
            const std::string text = layer.text.substr(begin, end - begin);
            for (const PageRect& part : layer.lineBoxes(begin, end)) {
                // No search returns a box too small to cover anything.
                if (part.width > 1.0 && part.height > 1.0) {
                    results.push_back(RedactionSearchResult{Uuid::random(), pageIndex, safetyExpanded(part), text,
                                                            RedactionSource::textSearch});
                }
            }
        }
    }
    return results;
}

}  // namespace norvane
