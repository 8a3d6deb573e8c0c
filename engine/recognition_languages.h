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

// The BCP 47 tag of the first of `languages` ("eng+deu") that names a language: "en", "zh-Hant"
// for "chi_tra"; empty when none does.
std::string languageTag(std::string_view languages);

// The Debian package that installs a model, e.g. "tesseract-ocr-chi-sim" for "chi_sim".
std::string recognitionLanguagePackage(std::string_view model);

// The models that read for `terms`: the chosen ones, or with none chosen English, the
// desktop's language, and before them, for the letters of the terms those two lack, the fewest
// installed models that have them (ties go to the first by name), e.g. "pol+eng". Throws
// OcrError naming the package to install when a chosen model is not installed.
std::string resolvedRecognitionLanguages(const RecognitionOptions& options, const std::vector<std::string>& terms);

// The characters of `term` (NFC, each once, in order) that none of `languages` ("eng+pol")
// can read in either case, even without its accents, which matching ignores. White space,
// controls, zero-width characters and accents standing alone are never looked at. Nothing
// when every character can be read. Never show or log the result: it is document content.
std::vector<std::string> unreadableLetters(const std::string& term, const std::string& languages);

// A sentence saying that the recognition languages cannot read some letters of a term, and
// which packages would, where the letters' scripts tell. It names none of the letters.
std::string unreadableLettersMessage(const std::vector<std::string>& letters);

}  // namespace norvane
