#include "fuzz/exercise.h"

#include "engine/even_width.h"
#include "engine/inspection.h"
#include "engine/mupdf_session.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"
#include "engine/secure_export.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace norvane::fuzz {
namespace {

// Enough pages to reach every code path, few enough to keep each run fast.
constexpr std::int64_t kMaxPages = 8;
constexpr double kLowDpi = 12;

void require(bool promise) {
    if (!promise) {
        __builtin_trap();
    }
}

bool finite(const PageRect& r) {
    return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) && std::isfinite(r.height);
}

}  // namespace

void exerciseEngine(const std::uint8_t* data, std::size_t size) {
    SharedPdfDocument document;
    try {
        document = PdfDocument::fromBytes(std::vector<unsigned char>(data, data + size));
    } catch (const RedactionError& error) {
        require(error.kind() == RedactionError::Kind::cannotOpenPDF);
        return;
    }
    const std::int64_t pageCount = document->pageCount();
    if (document->isEncrypted() || pageCount < 1 || pageCount > kMaxPages) {
        return;
    }

    std::vector<RedactionRegion> regions;
    for (std::int64_t i = 0; i < pageCount; ++i) {
        const PdfPageInfo& info = document->page(i);
        require(info.rotation == 0 || info.rotation == 90 || info.rotation == 180 || info.rotation == 270);
        require(info.mediaBox.width >= 0 && info.mediaBox.height >= 0);
        const PageRect box = info.mediaBox;
        regions.push_back(RedactionRegion{
            Uuid::random(), i, PageRect{box.x + box.width / 4, box.y + box.height / 4, box.width / 2, box.height / 2},
            RedactionSource::manual, std::nullopt});
    }

    for (const char* query : {"e", "the", "a b"}) {
        for (const RedactionSearchResult& hit : RedactionEngine::nativeTextMatches(document, query).results) {
            require(hit.pageIndex >= 0 && hit.pageIndex < pageCount);
            require(finite(hit.rect) && hit.rect.width > 1.0 && hit.rect.height > 1.0);
            regions.push_back(
                RedactionRegion{Uuid::random(), hit.pageIndex, hit.rect, RedactionSource::textSearch, hit.text});
        }
    }

    for (const PatternPresetInfo& preset : patternPresets()) {
        try {
            for (const RedactionSearchResult& hit :
                 RedactionEngine::nativePatternMatches(document, preset.preset).results) {
                require(hit.pageIndex >= 0 && hit.pageIndex < pageCount && !hit.text.empty());
                require(finite(hit.rect) && hit.rect.width > 1.0 && hit.rect.height > 1.0);
                regions.push_back(
                    RedactionRegion{Uuid::random(), hit.pageIndex, hit.rect, RedactionSource::textSearch, hit.text});
            }
        } catch (const MatcherUnavailable&) {
            // A text layer that runs the expression out of time: the app reports it.
        }
    }
    // Hostile boxes through the even-width geometry must stay numbers.
    regions = evenWidthRegions(*document, std::move(regions));
    require(std::all_of(regions.begin(), regions.end(), [](const RedactionRegion& r) { return finite(r.rect); }));

    try {
        const mu::Session session(document);
        for (std::int64_t i = 0; i < pageCount; ++i) {
            for (const auto orientation : {RenderOrientation::mediaBox, RenderOrientation::displayed}) {
                const auto image = renderImage(session, {.pageIndex = i,
                                                         .dpi = kLowDpi,
                                                         .boxes = {regions[static_cast<std::size_t>(i)]},
                                                         .labelRedactions = true,
                                                         .orientation = orientation});
                require(image ? image->samples.size() ==
                                    static_cast<std::size_t>(image->width) * static_cast<std::size_t>(image->height) * 3
                              : image.failure().has_value());
            }
        }
    } catch (const mu::MuPdfError&) {
        // The bytes opened once already; a second session failing is MuPDF's memory running out.
    }

    for (const InspectionFinding& finding : inspectDocument(document, {}, {})) {
        require(finding.pageIndex >= -1 && finding.pageIndex < pageCount && finding.count >= 1);
        require(!finding.rect || (finite(*finding.rect) && finding.rect->width >= 0 && finding.rect->height >= 0));
        require(finding.text.empty());
    }

    try {
        const std::vector<std::uint8_t> copy = exportSecurePdfToMemory(document, regions, true, kLowDpi);
        const SharedPdfDocument reopened = PdfDocument::fromBytes(std::vector<unsigned char>(copy.begin(), copy.end()));
        require(reopened->pageCount() == pageCount && !reopened->isEncrypted());
    } catch (const RedactionError& error) {
        require(error.kind() == RedactionError::Kind::cannotRenderPage ||
                error.kind() == RedactionError::Kind::exportFailed);
    }
}

}  // namespace norvane::fuzz
