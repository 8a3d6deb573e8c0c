#include "engine/recognition_languages.h"

#include "engine/ocr_service.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
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

// The model that reads a script, where one model stands for it; Latin has too many to name one.
constexpr std::array<std::pair<UScriptCode, std::string_view>, 24> kScriptModels{{
    {USCRIPT_HAN, "chi_sim"},   {USCRIPT_HEBREW, "heb"},   {USCRIPT_ARABIC, "ara"},     {USCRIPT_HANGUL, "kor"},
    {USCRIPT_HIRAGANA, "jpn"},  {USCRIPT_KATAKANA, "jpn"}, {USCRIPT_DEVANAGARI, "hin"}, {USCRIPT_THAI, "tha"},
    {USCRIPT_CYRILLIC, "rus"},  {USCRIPT_GREEK, "ell"},    {USCRIPT_BENGALI, "ben"},    {USCRIPT_TAMIL, "tam"},
    {USCRIPT_TELUGU, "tel"},    {USCRIPT_GUJARATI, "guj"}, {USCRIPT_GURMUKHI, "pan"},   {USCRIPT_KANNADA, "kan"},
    {USCRIPT_MALAYALAM, "mal"}, {USCRIPT_GEORGIAN, "kat"}, {USCRIPT_ARMENIAN, "hye"},   {USCRIPT_ETHIOPIC, "amh"},
    {USCRIPT_KHMER, "khm"},     {USCRIPT_LAO, "lao"},      {USCRIPT_MYANMAR, "mya"},    {USCRIPT_SINHALA, "sin"},
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

using Characters = std::set<UChar32>;

const icu::Normalizer2* nfc() {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
    return U_SUCCESS(status) ? normalizer : nullptr;
}

icu::UnicodeString normalized(const icu::UnicodeString& text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* normalizer = nfc();
    if (!normalizer) {
        return text;
    }
    icu::UnicodeString result = normalizer->normalize(text, status);
    return U_SUCCESS(status) ? result : text;
}

// A traineddata file is a count, a table of that many little-endian 64-bit component offsets
// (-1: absent), then the components. Component 21 is the LSTM recogniser's character set in
// its text form: a count line, then one line per character, the character first. Reading only
// that keeps learning a model's letters far below loading it.
constexpr std::int32_t kLstmUnicharset = 21;
constexpr std::int32_t kMaxComponents = 64;
constexpr std::int64_t kMaxUnicharsetBytes = 16 << 20;

std::int64_t littleEndian(const unsigned char* bytes, int size) {
    std::uint64_t value = 0;
    for (int i = size - 1; i >= 0; --i) {
        value = value << 8 | bytes[i];
    }
    // Sign-extend: an absent component is stored as -1.
    return size == 8 ? static_cast<std::int64_t>(value) : static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

Characters readModelCharacters(const std::filesystem::path& file, std::int64_t fileSize) {
    Characters characters;
    std::ifstream in(file, std::ios::binary);
    unsigned char header[4 + 8 * kMaxComponents];
    if (!in.read(reinterpret_cast<char*>(header), 4)) {
        return characters;
    }
    const std::int64_t count = littleEndian(header, 4);
    if (count <= kLstmUnicharset || count > kMaxComponents ||
        !in.read(reinterpret_cast<char*>(header + 4), count * 8)) {
        return characters;
    }
    std::vector<std::int64_t> offsets;
    for (std::int64_t i = 0; i < count; ++i) {
        offsets.push_back(littleEndian(header + 4 + 8 * i, 8));
    }
    const std::int64_t begin = offsets[kLstmUnicharset];
    std::int64_t end = fileSize;
    for (const std::int64_t offset : offsets) {
        if (offset > begin) {
            end = std::min(end, offset);
        }
    }
    if (begin <= 0 || end <= begin || end - begin > kMaxUnicharsetBytes) {
        return characters;
    }
    std::string text(static_cast<std::size_t>(end - begin), '\0');
    if (!in.seekg(begin) || !in.read(text.data(), static_cast<std::streamsize>(text.size()))) {
        return characters;
    }
    std::size_t at = text.find('\n');
    while (at != std::string::npos && at + 1 < text.size()) {
        const std::size_t next = text.find('\n', at + 1);
        const std::string line = text.substr(at + 1, (next == std::string::npos ? text.size() : next) - at - 1);
        at = next;
        const std::string unichar = line.substr(0, line.find(' '));
        // The recogniser's own entries: space, and the markers for joined and broken shapes.
        if (unichar.empty() || unichar == "NULL" || unichar == "Joined" || unichar.starts_with("|Broken|")) {
            continue;
        }
        const icu::UnicodeString shape = normalized(icu::UnicodeString::fromUTF8(unichar));
        for (std::int32_t i = 0; i < shape.length(); i = shape.moveIndex32(i, 1)) {
            characters.insert(shape.char32At(i));
        }
    }
    return characters;
}

// Each model's letters, read once per file as it stands on disk.
std::shared_ptr<const Characters> modelCharacters(const std::filesystem::path& folder, const std::string& model) {
    struct Cached {
        std::filesystem::file_time_type modified;
        std::uintmax_t size = 0;
        std::shared_ptr<const Characters> characters;
    };
    static std::mutex mutex;
    static std::map<std::filesystem::path, Cached> cache;

    const std::filesystem::path file = folder / (model + ".traineddata");
    std::error_code error;
    const auto modified = std::filesystem::last_write_time(file, error);
    const auto size = error ? 0 : std::filesystem::file_size(file, error);
    if (error) {
        return std::make_shared<const Characters>();
    }
    const std::lock_guard lock(mutex);
    Cached& cached = cache[file];
    if (!cached.characters || cached.modified != modified || cached.size != size) {
        cached = {modified, size,
                  std::make_shared<const Characters>(readModelCharacters(file, static_cast<std::int64_t>(size)))};
    }
    return cached.characters;
}

std::vector<std::shared_ptr<const Characters>> charactersOf(const std::vector<std::string>& models) {
    const std::filesystem::path folder = tessdataDirectory();
    std::vector<std::shared_ptr<const Characters>> sets;
    for (const std::string& model : models) {
        sets.push_back(modelCharacters(folder, model));
    }
    return sets;
}

// Matching ignores case, so either case of a letter will do.
bool knows(const Characters& characters, UChar32 c) {
    for (const UChar32 variant : {c, u_tolower(c), u_toupper(c), u_totitle(c), u_foldCase(c, U_FOLD_CASE_DEFAULT)}) {
        if (characters.contains(variant)) {
            return true;
        }
    }
    return false;
}

bool anyKnows(const std::vector<std::shared_ptr<const Characters>>& sets, UChar32 c) {
    return std::any_of(sets.begin(), sets.end(), [c](const auto& set) { return knows(*set, c); });
}

bool isAccent(UChar32 c) {
    return u_charType(c) == U_NON_SPACING_MARK && u_hasBinaryProperty(c, UCHAR_DIACRITIC);
}

// What a recogniser must read of a term: not white space, controls, zero-width characters or
// accents on their own, which neither matcher looks at.
std::vector<UChar32> characterOfInterest(const std::string& term) {
    std::vector<UChar32> result;
    const icu::UnicodeString text = normalized(icu::UnicodeString::fromUTF8(term));
    for (std::int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        if (u_isUWhiteSpace(c) || u_charType(c) == U_CONTROL_CHAR ||
            u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT) || isAccent(c) ||
            std::find(result.begin(), result.end(), c) != result.end()) {
            continue;
        }
        result.push_back(c);
    }
    return result;
}

// A letter whose accents are dropped reads as its base letters, which matching accepts.
bool readableWithoutAccents(const std::vector<std::shared_ptr<const Characters>>& sets, UChar32 c) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status)) {
        return false;
    }
    const icu::UnicodeString parts = nfd->normalize(icu::UnicodeString(c), status);
    bool any = false;
    for (std::int32_t i = 0; U_SUCCESS(status) && i < parts.length(); i = parts.moveIndex32(i, 1)) {
        const UChar32 part = parts.char32At(i);
        if (isAccent(part)) {
            continue;
        }
        if (part == c || !anyKnows(sets, part)) {
            return false;
        }
        any = true;
    }
    return any;
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

std::string languageTag(std::string_view languages) {
    for (const std::string& model : splitLanguages(languages)) {
        // "chi_sim", "jpn_vert": the language, then what the model reads of it.
        const std::string base = model.substr(0, model.find('_'));
        const icu::Locale locale = icu::Locale::createCanonical(base.c_str());
        const std::string language = locale.getLanguage();
        if (language.empty() || *locale.getISO3Language() == '\0' ||
            !std::all_of(language.begin(), language.end(), [](char c) { return c >= 'a' && c <= 'z'; })) {
            continue;
        }
        return language + (model == "chi_sim" ? "-Hans" : model == "chi_tra" ? "-Hant" : "");
    }
    return {};
}

std::string recognitionLanguagePackage(std::string_view model) {
    std::string package = "tesseract-ocr-";
    for (const char c : model) {
        package += c == '_' ? '-' : c;
    }
    return package;
}

std::string resolvedRecognitionLanguages(const RecognitionOptions& options, const std::vector<std::string>& terms) {
    const auto installed = installedRecognitionLanguages();
    if (!options.languages.empty()) {
        for (const std::string& model : splitLanguages(options.languages)) {
            if (std::find(installed.begin(), installed.end(), model) == installed.end()) {
                throw OcrError("The recognition language \"" + model + "\" is not installed. Install the package " +
                               recognitionLanguagePackage(model) + ".");
            }
        }
        return options.languages;
    }
    const std::string base = recognitionLanguages(icu::Locale::getDefault().getName(), tessdataDirectory());
    const std::vector<std::string> chosen = splitLanguages(base);
    const auto chosenSets = charactersOf(chosen);
    std::vector<UChar32> missing;
    for (const std::string& term : terms) {
        for (const UChar32 c : characterOfInterest(term)) {
            if (!anyKnows(chosenSets, c) && std::find(missing.begin(), missing.end(), c) == missing.end()) {
                missing.push_back(c);
            }
        }
    }
    // Greedy: each round adds the model that reads most of what is still missing, so one model
    // serves a script or letter set that several would. They go first: the recogniser tries the
    // others on a word only when the first reads it badly, and English reads "Łukasz" as
    // "Lukasz" without doubt.
    std::string languages;
    std::vector<std::pair<std::string, std::shared_ptr<const Characters>>> candidates;
    if (!missing.empty()) {
        for (const std::string& model : installed) {
            if (std::find(chosen.begin(), chosen.end(), model) == chosen.end()) {
                candidates.emplace_back(model, modelCharacters(tessdataDirectory(), model));
            }
        }
    }
    while (!missing.empty()) {
        std::size_t bestCount = 0;
        std::size_t best = candidates.size();
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            const auto count = static_cast<std::size_t>(std::count_if(
                missing.begin(), missing.end(), [&](UChar32 c) { return knows(*candidates[i].second, c); }));
            if (count > bestCount) {
                bestCount = count;
                best = i;
            }
        }
        if (best == candidates.size()) {
            break;  // nothing installed reads the rest; unreadableLetters says so
        }
        const auto& [model, characters] = candidates[best];
        std::erase_if(missing, [&](UChar32 c) { return knows(*characters, c); });
        languages += model + "+";
        candidates.erase(candidates.begin() + static_cast<std::ptrdiff_t>(best));
    }
    return languages + base;
}

std::vector<std::string> unreadableLetters(const std::string& term, const std::string& languages) {
    const auto sets = charactersOf(splitLanguages(languages));
    std::vector<std::string> letters;
    for (const UChar32 c : characterOfInterest(term)) {
        if (!anyKnows(sets, c) && !readableWithoutAccents(sets, c)) {
            std::string letter;
            icu::UnicodeString(c).toUTF8String(letter);
            letters.push_back(std::move(letter));
        }
    }
    return letters;
}

std::string unreadableLettersMessage(const std::vector<std::string>& letters) {
    bool kana = false;
    std::vector<std::string_view> models;
    for (const std::string& letter : letters) {
        UErrorCode status = U_ZERO_ERROR;
        const UChar32 c = icu::UnicodeString::fromUTF8(letter).char32At(0);
        const UScriptCode script = uscript_getScript(c, &status);
        kana |= script == USCRIPT_HIRAGANA || script == USCRIPT_KATAKANA;
        for (const auto& [code, model] : kScriptModels) {
            if (U_SUCCESS(status) && code == script && std::find(models.begin(), models.end(), model) == models.end()) {
                models.push_back(model);
            }
        }
    }
    if (kana) {
        // Japanese writes Han with its kana; its own model reads both.
        std::erase(models, std::string_view("chi_sim"));
    }
    std::string message = "The installed recognition languages cannot read some letters of this term.";
    if (models.empty()) {
        message += " Choose a recognition language that has them.";
    } else {
        std::string packages;
        for (const std::string_view model : models) {
            packages += (packages.empty() ? "" : ", ") + recognitionLanguagePackage(model);
        }
        message += " Install " + packages + " to read them.";
    }
    return message;
}

}  // namespace norvane
