#pragma once
// The secure copy built in memory, at any resolution: for the fuzzer, which needs the whole
// export path without the disk and at a resolution it can afford per input.

#include "engine/pdf_document.h"
#include "records/redaction_records.h"

#include <cstdint>
#include <vector>

namespace norvane {

// As RedactionEngine::exportSecurePDF, into memory at `dpi`, with `workers` rendering threads
// (0: one per core, at most four).
std::vector<std::uint8_t> exportSecurePdfToMemory(const SharedPdfDocument& document,
                                                  const std::vector<RedactionRegion>& redactions, bool labelRedactions,
                                                  double dpi, int workers = 0);

}  // namespace norvane
