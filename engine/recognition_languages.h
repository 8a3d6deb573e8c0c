#pragma once
// Which recognition models exist on this computer and which of them read a document.

#include "engine/redaction_engine.h"

#include <string>
#include <string_view>
#include <vector>

namespace norvane {

// The installed models a person can choose (the recogniser's names, e.g. "deu"), sorted;
// the orientation model is not a language and is left out.
std::vector<std::string> installedRecognitionLanguages();

// The language's name in English, e.g. "German" for "deu"; the model's name when unknown.
std::string recognitionLanguageName(std::string_view model);

// The Debian package that installs a model, e.g. "tesseract-ocr-chi-sim" for "chi_sim".
std::string recognitionLanguagePackage(std::string_view model);

// The models that read for `terms`: the chosen ones, or with none chosen English, the
// desktop's language, and every installed language that has letters of the terms. Throws
// OcrError naming the package to install when a chosen model is not installed.
std::string resolvedRecognitionLanguages(const RecognitionOptions& options, const std::vector<std::string>& terms);

}  // namespace norvane
