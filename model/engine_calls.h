#pragma once
// The engine as the document model calls it: one interface for every operation that reads the
// source or the copy. They are plain function objects so the model's task sequencing can be
// driven with scripted outcomes (failures, stalls) that a real document cannot produce on demand.

#include "engine/inspection.h"
#include "engine/redaction_engine.h"

#include <functional>

namespace norvane {

struct EngineCalls {
    // Opens a file for redaction; throws RedactionError with the refusal.
    std::function<SharedPdfDocument(const std::filesystem::path&)> openDocument = &PdfDocument::openForRedaction;
    std::function<SearchOutcome(const SharedPdfDocument&, const std::string&, std::stop_token)> nativeTextMatches =
        &RedactionEngine::nativeTextMatches;
    std::function<SearchOutcome(const SharedPdfDocument&, PatternPreset, std::stop_token)> nativePatternMatches =
        &RedactionEngine::nativePatternMatches;
    std::function<SearchOutcome(const SharedPdfDocument&, const std::string&, const RecognitionOptions&,
                                const PageProgress&, std::stop_token)>
        ocrMatches = &RedactionEngine::ocrMatches;
    std::function<SearchOutcome(const SharedPdfDocument&, PatternPreset, const RecognitionOptions&, const PageProgress&,
                                std::stop_token)>
        ocrPatternMatches = &RedactionEngine::ocrPatternMatches;
    std::function<SharedRecognisedCopy(const SharedPdfDocument&, const std::vector<RedactionRegion>&,
                                       const std::filesystem::path&, const ExportOptions&, const PageProgress&,
                                       std::stop_token)>
        exportSecurePDF = &RedactionEngine::exportSecurePDF;
    std::function<ExportVerification(const std::filesystem::path&, const VerificationRequest&, const PageProgress&,
                                     std::stop_token)>
        verifyOutput = &RedactionEngine::verifyOutput;
    std::function<std::vector<InspectionFinding>(const SharedPdfDocument&, const InspectionOptions&,
                                                 const PageProgress&, std::stop_token)>
        inspect = &inspectDocument;
};

}  // namespace norvane
