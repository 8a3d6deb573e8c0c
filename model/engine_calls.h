#pragma once
// The engine's long operations as the document model calls them. They are plain function
// objects so the model's task sequencing can be driven with scripted outcomes (failures,
// stalls) that a real document cannot produce on demand.

#include "engine/redaction_engine.h"

#include <functional>

namespace norvane {

struct EngineCalls {
    std::function<std::vector<RedactionSearchResult>(const SharedPdfDocument&, const std::string&, const PageProgress&,
                                                     std::stop_token)>
        ocrMatches = &RedactionEngine::ocrMatches;
    std::function<void(const SharedPdfDocument&, const std::vector<RedactionRegion>&, const std::filesystem::path&,
                       bool, const PageProgress&, std::stop_token)>
        exportSecurePDF = &RedactionEngine::exportSecurePDF;
    std::function<ExportVerification(const std::filesystem::path&, const std::vector<std::string>&, const PageProgress&,
                                     std::stop_token)>
        verifyOutput = &RedactionEngine::verifyOutput;
    std::function<std::vector<RedactionSearchResult>(const SharedPdfDocument&, PatternPreset, const PageProgress&,
                                                     std::stop_token)>
        ocrPatternMatches = &RedactionEngine::ocrPatternMatches;
};

}  // namespace norvane
