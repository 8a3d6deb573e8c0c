#include "cli/cli_support.h"

#include "cli/command_host.h"
#include "engine/recognition_languages.h"

#include <memory>

#include <charconv>
#include <cmath>
#include <system_error>

namespace norvane::cli {

Json toJson(const PageRect& rect) {
    return Json::array({rect.x, rect.y, rect.width, rect.height});
}

Json toJson(const RedactionSearchResult& result) {
    return Json{{"id", result.id.toString()},
                {"pageIndex", result.pageIndex},
                {"rect", toJson(result.rect)},
                {"text", result.text},
                {"source", std::string(rawValue(result.source))}};
}

Json toJson(const ExportVerification& verification) {
    Json findings = Json::array();
    for (const VerificationFinding& finding : verification.findings()) {
        findings.push_back(Json{{"term", finding.term},
                                {"pageIndex", finding.pageIndex ? Json(*finding.pageIndex) : Json(nullptr)},
                                {"rect", finding.rect ? toJson(*finding.rect) : Json(nullptr)},
                                {"source", std::string(rawValue(finding.source))},
                                {"reason", std::string(rawValue(finding.reason))}});
    }
    return Json{{"passed", verification.passed()},
                {"checkedPages", verification.checkedPages()},
                {"suspiciousMatches", verification.suspiciousMatches()},
                {"findings", std::move(findings)}};
}

PageProgress progressPrinter(const Console& console, std::string prefix) {
    auto printer = std::make_shared<ProgressPrinter>(console);
    return [printer, prefix = std::move(prefix)](std::int64_t page, std::int64_t pageCount) {
        printer->page(prefix + std::to_string(page) + " of " + std::to_string(pageCount), page, pageCount);
    };
}

namespace {

bool parseNumber(std::string_view text, double& value) {
    if (text.empty()) {
        return false;
    }
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && std::isfinite(value);
}

}  // namespace

std::optional<RegionArgument> parseRegion(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    RegionArgument region;
    const std::string_view page = text.substr(0, colon);
    const auto pageResult = std::from_chars(page.data(), page.data() + page.size(), region.pageIndex);
    if (page.empty() || pageResult.ec != std::errc() || pageResult.ptr != page.data() + page.size() ||
        region.pageIndex < 0) {
        return std::nullopt;
    }
    double values[4];
    std::string_view rest = text.substr(colon + 1);
    for (int i = 0; i < 4; ++i) {
        const auto comma = rest.find(',');
        const bool last = i == 3;
        if (last != (comma == std::string_view::npos)) {
            return std::nullopt;
        }
        if (!parseNumber(last ? rest : rest.substr(0, comma), values[i])) {
            return std::nullopt;
        }
        rest = last ? std::string_view() : rest.substr(comma + 1);
    }
    region.rect = PageRect{values[0], values[1], values[2], values[3]}.standardized();
    if (region.rect.width < 2.0 || region.rect.height < 2.0) {
        return std::nullopt;
    }
    return region;
}

std::optional<std::string> recognitionArgument(const ParsedArguments& parsed, std::ostream& err) {
    const auto given = parsed.values("--ocr-lang");
    if (given.empty()) {
        return std::string();
    }
    try {
        return resolvedRecognitionLanguages(RecognitionOptions{given[0]}, {});
    } catch (const OcrError& error) {
        err << error.what() << '\n';
        return std::nullopt;
    }
}

SharedPdfDocument openOrReport(const std::filesystem::path& path, std::ostream& err) {
    try {
        return PdfDocument::openForRedaction(path);
    } catch (const RedactionError& error) {
        err << error.errorDescription() << '\n';
        return nullptr;
    }
}

void printError(std::ostream& err, const std::exception& error, const std::optional<RedactionError>& fallback) {
    if (const auto* redaction = dynamic_cast<const RedactionError*>(&error)) {
        err << redaction->errorDescription() << '\n';
    } else if (dynamic_cast<const OcrError*>(&error) || !fallback) {
        err << error.what() << '\n';
    } else {
        err << fallback->errorDescription() << '\n';
    }
}

std::optional<std::vector<PatternPreset>> patternArguments(const ParsedArguments& parsed, std::string_view option,
                                                           const CommandRules& rules, std::ostream& err) {
    std::vector<PatternPreset> presets;
    for (const auto& name : parsed.values(option)) {
        const auto preset = patternPresetNamed(name);
        if (!preset) {
            std::string known;
            for (const auto& info : patternPresets()) {
                known += (known.empty() ? "" : ", ") + std::string(info.name);
            }
            printUsageError(err, rules, "unknown pattern '" + name + "'; the patterns are " + known);
            return std::nullopt;
        }
        presets.push_back(*preset);
    }
    return presets;
}

}  // namespace norvane::cli
