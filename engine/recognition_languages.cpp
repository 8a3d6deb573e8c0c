#include "engine/recognition_languages.h"

#include "engine/ocr_service.h"

#include <unicode/locid.h>

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

namespace norvane {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 20> kNames{{
    {"eng", "English"},
    {"deu", "German"},
    {"fra", "French"},
    {"spa", "Spanish"},
    {"ita", "Italian"},
    {"por", "Portuguese"},
    {"nld", "Dutch"},
    {"pol", "Polish"},
    {"ces", "Czech"},
    {"swe", "Swedish"},
    {"rus", "Russian"},
    {"ukr", "Ukrainian"},
    {"ell", "Greek"},
    {"tur", "Turkish"},
    {"chi_sim", "Chinese (Simplified)"},
    {"chi_tra", "Chinese (Traditional)"},
    {"heb", "Hebrew"},
    {"ara", "Arabic"},
    {"jpn", "Japanese"},
    {"kor", "Korean"},
}};

std::vector<std::string> splitLanguages(std::string_view languages) {
    std::vector<std::string> models;
    std::size_t start = 0;
    while (start <= languages.size()) {
        const std::size_t plus = std::min(languages.find('+', start), languages.size());
        if (plus > start) {
            models.emplace_back(languages.substr(start, plus - start));
        }
        start = plus + 1;
    }
    return models;
}

}  // namespace

std::vector<std::string> installedRecognitionLanguages() {
    std::vector<std::string> models;
    const std::filesystem::path folder = tessdataDirectory();
    std::error_code error;
    if (folder.empty()) {
        return models;
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const auto& path = entry.path();
        if (path.extension() == ".traineddata" && path.stem() != "osd" && path.stem() != "equ") {
            models.push_back(path.stem().string());
        }
    }
    std::sort(models.begin(), models.end());
    return models;
}

std::string recognitionLanguageName(std::string_view model) {
    for (const auto& [code, name] : kNames) {
        if (code == model) {
            return std::string(name);
        }
    }
    return std::string(model);
}

std::string recognitionLanguagePackage(std::string_view model) {
    std::string package = "tesseract-ocr-";
    for (const char c : model) {
        package += c == '_' ? '-' : c;
    }
    return package;
}

std::string resolvedRecognitionLanguages(const RecognitionOptions& options, const std::vector<std::string>&) {
    if (options.languages.empty()) {
        return recognitionLanguages(icu::Locale::getDefault().getName(), tessdataDirectory());
    }
    const auto installed = installedRecognitionLanguages();
    for (const std::string& model : splitLanguages(options.languages)) {
        if (std::find(installed.begin(), installed.end(), model) == installed.end()) {
            throw OcrError("The recognition language \"" + model + "\" is not installed. Install the package " +
                           recognitionLanguagePackage(model) + ".");
        }
    }
    return options.languages;
}

}  // namespace norvane
