#pragma once
// The pieces of the inspection, private to the engine: what the whole file holds, and what one
// page hides.

#include "engine/inspection.h"
#include "engine/mupdf_session.h"
#include "engine/ocr_service.h"

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace norvane {

// Where an action leads: nothing worth a finding, a script, or outside the document.
enum class ActionReach { none, javascript, outside };

// The strongest reach of an action dictionary and the actions chained after it.
ActionReach reachOf(fz_context* ctx, pdf_obj* action);
// The same over an additional-actions (/AA) dictionary.
ActionReach reachOfAdditional(fz_context* ctx, pdf_obj* additional);

struct DocumentFacts {
    std::vector<int> hiddenLayers;  // layers off in the default configuration
};

// Findings about the file as a whole (pageIndex -1), appended to `out`. Throws mu::MuPdfError.
DocumentFacts inspectFile(const mu::Session& session, bool withText, std::vector<InspectionFinding>& out);

struct PageInspectionSetup {
    bool withText = false;
    std::vector<int> hiddenLayers;
    std::string languages;  // for reading scans under invisible text; empty: the default
};

// What one page hides, its findings in drawing order of their kinds. Never throws for the
// page's own faults: a page that cannot be inspected is a pageNotInspected finding.
// `ocr` is started on first use. Throws CancellationError.
std::vector<InspectionFinding> inspectPage(const mu::Session& session, std::int64_t pageIndex,
                                           const PageInspectionSetup& setup, std::optional<OcrService>& ocr,
                                           std::stop_token stop);

// A PDF text string as UTF-8, empty for anything else.
std::string textOf(fz_context* ctx, pdf_obj* object);

}  // namespace norvane
