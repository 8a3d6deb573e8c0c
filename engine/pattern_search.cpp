#include "engine/mupdf_session.h"
#include "engine/page_text.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"

namespace norvane {

SearchOutcome RedactionEngine::nativePatternMatches(const SharedPdfDocument& document, PatternPreset preset,
                                                    std::stop_token stop) {
    SearchOutcome outcome;
    auto& results = outcome.results;
    if (!document) {
        return outcome;
    }
    const auto pageCount = static_cast<int>(std::min<std::int64_t>(document->pageCount(), INT32_MAX));
    std::optional<mu::Session> session;
    try {
        session.emplace(document);
    } catch (...) {
        const PageFailure failure = mu::pageFailureOf(std::current_exception());
        for (int page = 0; page < pageCount; ++page) {
            outcome.unreadPages.push_back({page, failure});
        }
        return outcome;
    }
    for (int pageIndex = 0; pageIndex < pageCount; ++pageIndex) {
        if (stop.stop_requested()) {
            throw CancellationError();
        }
        TextLayer layer;
        try {
            layer = readTextLayer(*session, pageIndex);
        } catch (...) {
            outcome.unreadPages.push_back({pageIndex, mu::pageFailureOf(std::current_exception())});
            continue;
        }
        const auto find = [preset](const std::string& text) { return findPatternMatches(preset, text); };
        layer.forEachMatch(find, [&](const std::string& text, const std::vector<PageRect>& covers) {
            for (const PageRect& cover : covers) {
                // No search returns a box too small to cover anything.
                if (cover.width > 1.0 && cover.height > 1.0) {
                    results.push_back(
                        RedactionSearchResult{Uuid::random(), pageIndex, cover, text, RedactionSource::textSearch});
                }
            }
        });
    }
    return outcome;
}

}  // namespace norvane
