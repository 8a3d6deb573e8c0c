#include "engine/ocr_service.h"

#include "engine/redaction_engine.h"

#include <leptonica/allheaders.h>
#include <tesseract/baseapi.h>
#include <tesseract/ocrclass.h>
#include <tesseract/resultiterator.h>
#include <unicode/locid.h>

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <system_error>
#include <utility>

namespace norvane {
namespace {

// The recogniser's chatter goes to a process-wide debug file and Leptonica prints to
// stderr; neither may ever show document content, so both are silenced once, before any
// model is loaded.
void silenceRecogniser() {
    static std::once_flag once;
    std::call_once(once, [] {
        setMsgSeverity(L_SEVERITY_NONE);
        tesseract::TessBaseAPI probe;
        probe.SetVariable("debug_file", "/dev/null");
    });
}

constexpr std::array<const char*, 4> kModelFolders = {
    "/usr/share/tesseract-ocr/5/tessdata",
    "/usr/share/tesseract-ocr/4.00/tessdata",
    "/usr/share/tessdata",
    "/usr/local/share/tessdata",
};

bool hasModel(const std::filesystem::path& folder, std::string_view language) {
    std::error_code error;
    return std::filesystem::is_regular_file(folder / (std::string(language) + ".traineddata"), error);
}

// The model for a locale, in the names the language packs use.
std::string modelForLocale(std::string_view localeName) {
    const icu::Locale locale(std::string(localeName).c_str());
    std::string language = locale.getISO3Language();
    const std::string_view country = locale.getCountry();
    const std::string_view script = locale.getScript();
    if (language == "zho") {
        const bool traditional = script == "Hant" || country == "TW" || country == "HK" || country == "MO";
        return traditional ? "chi_tra" : "chi_sim";
    }
    if (language == "nob" || language == "nno") {
        return "nor";
    }
    return language;
}

NormalizedBox normalized(int left, int top, int right, int bottom, int width, int height) {
    const double w = width;
    const double h = height;
    return NormalizedBox{left / w, (h - bottom) / h, (right - left) / w, (bottom - top) / h};
}

NormalizedBox unite(const NormalizedBox& a, const NormalizedBox& b) {
    const double minX = std::min(a.x, b.x);
    const double minY = std::min(a.y, b.y);
    const double maxX = std::max(a.x + a.width, b.x + b.width);
    const double maxY = std::max(a.y + a.height, b.y + b.height);
    return NormalizedBox{minX, minY, maxX - minX, maxY - minY};
}

// Luminance, one byte a pixel: what the recogniser works on anyway, at a quarter of the
// memory of its own colour copy.
std::vector<std::uint8_t> greyPixels(const PageImage& image) {
    const auto count = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
    if (image.components == 1) {
        return std::vector<std::uint8_t>(image.samples.begin(),
                                         image.samples.begin() + static_cast<std::ptrdiff_t>(count));
    }
    const auto components = static_cast<std::size_t>(image.components);
    std::vector<std::uint8_t> grey(count);
    const std::uint8_t* in = image.samples.data();
    for (std::size_t i = 0; i < count; ++i, in += components) {
        const unsigned value = 77u * in[0] + 150u * in[1] + 29u * in[2];
        grey[i] = static_cast<std::uint8_t>(value >> 8);
    }
    return grey;
}

// Ink of any colour and either polarity as black on white, so that one threshold keeps it all:
// each pixel's distance from the commonest level around it (the paper, or the box under
// white-on-dark text), with anything clearly off it made dark. A global threshold set by black
// text drops light grey or yellow ink and reads a dark box as one blot.
constexpr int kBins = 16;
constexpr int kNoise = 16;  // paper grain and scanner noise stay white
constexpr int kGain = 4;    // 80 levels off the paper is full black: #AAAAAA on white is
constexpr std::size_t kMaxCells = 1 << 18;

struct LevelBins {
    std::array<std::uint32_t, kBins> count{};
    std::array<std::uint32_t, kBins> sum{};

    void add(const LevelBins& other) {
        for (std::size_t k = 0; k < kBins; ++k) {
            count[k] += other.count[k];
            sum[k] += other.sum[k];
        }
    }
};

// Sums each entry with its `reach` neighbours along every line of `cells`, in place.
void sumAlong(std::vector<LevelBins>& cells, std::size_t length, std::size_t stride, std::size_t lines,
              std::size_t lineStep, std::size_t reach) {
    std::vector<LevelBins> line(length);
    for (std::size_t l = 0; l < lines; ++l) {
        for (std::size_t i = 0; i < length; ++i) {
            line[i] = cells[l * lineStep + i * stride];
        }
        for (std::size_t i = 0; i < length; ++i) {
            LevelBins total;
            for (std::size_t j = i > reach ? i - reach : 0; j <= std::min(i + reach, length - 1); ++j) {
                total.add(line[j]);
            }
            cells[l * lineStep + i * stride] = total;
        }
    }
}

std::vector<std::uint8_t> inkOnWhite(const PageImage& image, double dpi) {
    std::vector<std::uint8_t> grey = greyPixels(image);
    const auto w = static_cast<std::size_t>(image.width);
    const auto h = static_cast<std::size_t>(image.height);
    // Cells of 8 pixels, larger on huge pages so the statistics stay bounded; the neighbourhood
    // is about a quarter inch, wider than any stroke of body text.
    std::size_t cell = 8;
    while (((w + cell - 1) / cell) * ((h + cell - 1) / cell) > kMaxCells) {
        cell *= 2;
    }
    const std::size_t cw = (w + cell - 1) / cell;
    const std::size_t ch = (h + cell - 1) / cell;
    const auto reach =
        static_cast<std::size_t>(std::max(1.0, std::round((dpi / 4 / static_cast<double>(cell) - 1) / 2)));

    std::vector<LevelBins> cells(cw * ch);
    for (std::size_t y = 0; y < h; ++y) {
        const std::uint8_t* row = grey.data() + y * w;
        LevelBins* line = cells.data() + (y / cell) * cw;
        for (std::size_t x = 0; x < w; ++x) {
            LevelBins& bins = line[x / cell];
            const std::size_t k = row[x] / (256 / kBins);
            ++bins.count[k];
            bins.sum[k] += row[x];
        }
    }
    sumAlong(cells, cw, 1, ch, cw, reach);
    sumAlong(cells, ch, cw, cw, 1, reach);

    std::vector<std::uint8_t> background(cw * ch);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const auto& count = cells[i].count;
        const auto k = static_cast<std::size_t>(std::max_element(count.begin(), count.end()) - count.begin());
        background[i] = static_cast<std::uint8_t>(cells[i].sum[k] / std::max<std::uint32_t>(count[k], 1));
    }
    std::vector<LevelBins>().swap(cells);

    std::array<std::uint8_t, 256> tone{};
    for (int off = 0; off < 256; ++off) {
        tone[static_cast<std::size_t>(off)] =
            static_cast<std::uint8_t>(off <= kNoise ? 255 : std::max(0, 255 - (off - kNoise) * kGain));
    }
    for (std::size_t y = 0; y < h; ++y) {
        std::uint8_t* row = grey.data() + y * w;
        const std::uint8_t* around = background.data() + (y / cell) * cw;
        for (std::size_t x = 0; x < w; ++x) {
            row[x] = tone[static_cast<std::size_t>(std::abs(int{row[x]} - int{around[x / cell]}))];
        }
    }
    return grey;
}

void checkUsable(const PageImage& image) {
    const auto expected = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height) *
                          static_cast<std::size_t>(image.components);
    if (image.width <= 0 || image.height <= 0 || (image.components != 1 && image.components < 3) ||
        image.samples.size() < expected) {
        throw OcrError("Text recognition was given an unusable page image.");
    }
}

// The model or models `languages`, quiet; nothing when they cannot be loaded.
std::unique_ptr<tesseract::TessBaseAPI> loadModel(const std::filesystem::path& folder, const std::string& languages,
                                                  tesseract::OcrEngineMode mode) {
    auto api = std::make_unique<tesseract::TessBaseAPI>();
    const std::vector<std::string> names = {"debug_file"};
    const std::vector<std::string> values = {"/dev/null"};
    // Loading sets the recogniser's process-wide parameters; workers starting together must
    // take turns.
    static std::mutex loading;
    const std::lock_guard lock(loading);
    if (folder.empty() || api->Init(folder.c_str(), languages.c_str(), mode, nullptr, 0, &names, &values, false) != 0) {
        return nullptr;
    }
    return api;
}

// Below this the orientation model is guessing: around 7 on three lines of text, 15 to 20 on a
// full page.
constexpr float kSureOrientation = 5;

// A word the recogniser is this sure of is nearly always right; text read upside down or
// sideways gives few of them.
constexpr float kConfidentWord = 80;

// The word being read, counted into its line once it ends.
struct WordCount {
    std::size_t line = SIZE_MAX;
    bool confident = false;
    std::size_t letters = 0;

    void close(std::vector<OcrLine>& lines) {
        if (line < lines.size() && letters >= 3) {
            ++lines[line].words;
            lines[line].confidentWords += confident;
        }
        line = SIZE_MAX;
    }
};

bool cancelRequested(void* token, int) {
    return static_cast<const std::stop_token*>(token)->stop_requested();
}

std::string takeText(char* text) {
    std::string result = text ? text : "";
    delete[] text;
    return result;
}

}  // namespace

PageImage greyImage(PageImage image) {
    std::vector<std::uint8_t> grey = greyPixels(image);
    image.samples.swap(grey);
    image.components = 1;
    return image;
}

std::optional<NormalizedBox> OcrLine::boxForRange(std::size_t begin, std::size_t end) const {
    std::optional<NormalizedBox> covered;
    for (const auto& symbol : symbols) {
        if (symbol.begin < end && begin < symbol.end) {
            covered = covered ? unite(*covered, symbol.box) : symbol.box;
        }
    }
    return covered;
}

std::filesystem::path tessdataDirectory() {
    // The recogniser's own convention: where it is set, it names the one place to look.
    if (const char* prefix = std::getenv("TESSDATA_PREFIX"); prefix && *prefix) {
        return hasModel(prefix, "eng") ? std::filesystem::path(prefix) : std::filesystem::path();
    }
    for (const char* candidate : kModelFolders) {
        if (hasModel(candidate, "eng")) {
            return candidate;
        }
    }
    return {};
}

std::filesystem::path glyphlessFontFile() {
    std::vector<std::filesystem::path> folders{tessdataDirectory()};
    folders.insert(folders.end(), kModelFolders.begin(), kModelFolders.end());
    for (const auto& folder : folders) {
        std::error_code error;
        if (!folder.empty() && std::filesystem::is_regular_file(folder / "pdf.ttf", error)) {
            return folder / "pdf.ttf";
        }
    }
    return {};
}

std::string recognitionLanguages(std::string_view localeName, const std::filesystem::path& tessdata) {
    std::string languages = "eng";
    if (localeName.empty()) {
        return languages;
    }
    const std::string model = modelForLocale(localeName);
    if (!model.empty() && model != "eng" && hasModel(tessdata, model)) {
        languages += "+" + model;
    }
    return languages;
}

OcrService::OcrService() : OcrService(recognitionLanguages(icu::Locale::getDefault().getName(), tessdataDirectory())) {}

OcrService::OcrService(const std::string& languages, const ReadingFeatures& features)
    : languages_(languages), features_(features) {
    silenceRecogniser();
    const std::filesystem::path folder = tessdataDirectory();
    if (folder.empty()) {
        throw OcrError("Text recognition is not available: no language data is installed.");
    }
    api_ = loadModel(folder, languages_, tesseract::OEM_LSTM_ONLY);
    if (!api_) {
        throw OcrError("Text recognition could not load its language data (" + languages_ + ").");
    }
    api_->SetPageSegMode(tesseract::PSM_AUTO);
}

OcrService::~OcrService() {
    for (auto* api : {api_.get(), orientation_.get()}) {
        if (api) {
            api->End();
        }
    }
}

std::optional<int> OcrService::textTurn(const PageImage& image, double dpi) {
    checkUsable(image);
    if (!orientation_ && !orientationUnavailable_) {
        // Only the legacy engine reads orientation.
        orientation_ = loadModel(tessdataDirectory(), "osd", tesseract::OEM_TESSERACT_ONLY);
        orientationUnavailable_ = !orientation_;
        if (orientation_) {
            orientation_->SetPageSegMode(tesseract::PSM_OSD_ONLY);
        }
    }
    if (!orientation_) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> grey = features_.lightInk ? inkOnWhite(image, dpi) : greyPixels(image);
    orientation_->SetImage(grey.data(), image.width, image.height, 1, image.width);
    orientation_->SetSourceResolution(static_cast<int>(std::lround(dpi)));
    int degrees = 0;
    float confidence = 0;
    const char* script = nullptr;
    float scriptConfidence = 0;
    const bool found = orientation_->DetectOrientationScript(&degrees, &confidence, &script, &scriptConfidence);
    orientation_->Clear();
    if (!found || !(confidence >= kSureOrientation) || degrees % 90 != 0) {
        return std::nullopt;
    }
    return (degrees % 360 + 360) % 360;
}

std::vector<OcrLine> OcrService::recognize(const PageImage& image, double dpi, float minimumLineHeight,
                                           std::stop_token stop) {
    checkUsable(image);
    std::vector<std::uint8_t> grey = features_.lightInk ? inkOnWhite(image, dpi) : greyPixels(image);
    api_->SetImage(grey.data(), image.width, image.height, 1, image.width);
    std::vector<std::uint8_t>().swap(grey);  // the recogniser keeps its own copy
    api_->SetSourceResolution(static_cast<int>(std::lround(dpi)));

    tesseract::ETEXT_DESC monitor;
    monitor.cancel = cancelRequested;
    monitor.cancel_this = &stop;
    const int status = api_->Recognize(&monitor);
    if (stop.stop_requested()) {
        api_->Clear();
        throw CancellationError();
    }
    if (status != 0) {
        api_->Clear();
        throw OcrError("Text recognition failed on this page.");
    }

    std::vector<OcrLine> lines;
    const float minimumHeight = minimumLineHeight * static_cast<float>(image.height);
    bool inLine = false;
    bool keepLine = false;
    std::size_t block = 0;
    WordCount word;
    std::unique_ptr<tesseract::ResultIterator> it(api_->GetIterator());
    if (it) {
        it->Begin();
        do {
            if (it->Empty(tesseract::RIL_SYMBOL)) {
                continue;
            }
            // Asking for a line's or block's start walks the whole line, so it is asked only at a
            // word's start, which both imply.
            const bool atWord = it->IsAtBeginningOf(tesseract::RIL_WORD);
            const bool atLine = atWord && it->IsAtBeginningOf(tesseract::RIL_TEXTLINE);
            if (inLine && atLine && it->IsAtBeginningOf(tesseract::RIL_BLOCK)) {
                ++block;
            }
            if (!inLine || atLine) {
                inLine = true;
                int left = 0, top = 0, right = 0, bottom = 0;
                it->BoundingBox(tesseract::RIL_TEXTLINE, &left, &top, &right, &bottom);
                keepLine = static_cast<float>(bottom - top) >= minimumHeight;
                if (keepLine) {
                    tesseract::Orientation orientation = tesseract::ORIENTATION_PAGE_UP;
                    tesseract::WritingDirection direction = tesseract::WRITING_DIRECTION_LEFT_TO_RIGHT;
                    tesseract::TextlineOrder order = tesseract::TEXTLINE_ORDER_TOP_TO_BOTTOM;
                    float deskew = 0;
                    it->Orientation(&orientation, &direction, &order, &deskew);
                    OcrLine line;
                    line.box = normalized(left, top, right, bottom, image.width, image.height);
                    line.upright = orientation == tesseract::ORIENTATION_PAGE_UP &&
                                   direction != tesseract::WRITING_DIRECTION_TOP_TO_BOTTOM;
                    line.block = block;
                    lines.push_back(std::move(line));
                }
            } else if (keepLine && atWord && !lines.back().text.empty()) {
                lines.back().text += ' ';
            }
            if (atWord) {
                word.close(lines);
                if (keepLine) {
                    word = {lines.size() - 1, it->Confidence(tesseract::RIL_WORD) >= kConfidentWord, 0};
                }
            }
            if (!keepLine) {
                continue;
            }
            std::string symbol = takeText(it->GetUTF8Text(tesseract::RIL_SYMBOL));
            if (symbol.empty()) {
                continue;
            }
            const auto first = static_cast<unsigned char>(symbol[0]);
            word.letters += first >= 0x80 || std::isalnum(first);
            OcrLine& line = lines.back();
            int left = 0, top = 0, right = 0, bottom = 0;
            OcrLine::Symbol entry;
            entry.begin = line.text.size();
            line.text += symbol;
            entry.end = line.text.size();
            if (it->BoundingBox(tesseract::RIL_SYMBOL, &left, &top, &right, &bottom)) {
                entry.box = normalized(left, top, right, bottom, image.width, image.height);
                line.symbols.push_back(entry);
            }
        } while (it->Next(tesseract::RIL_SYMBOL));
        word.close(lines);
    }
    it.reset();
    api_->Clear();

    std::erase_if(lines, [](const OcrLine& line) { return line.text.empty(); });
    for (auto& line : lines) {
        // Trailing word breaks with nothing after them.
        while (!line.text.empty() && line.text.back() == ' ') {
            line.text.pop_back();
        }
    }
    return lines;
}

PageRect imageBoxToPage(const PageImage& image, const NormalizedBox& box) {
    const Affine& m = image.pageToPixel;
    const double det = m.a * m.d - m.b * m.c;
    if (det == 0 || !std::isfinite(det)) {
        return {};
    }
    const double w = image.width;
    const double h = image.height;
    const double left = box.x * w;
    const double right = (box.x + box.width) * w;
    const double top = (1.0 - box.y - box.height) * h;
    const double bottom = (1.0 - box.y) * h;

    double minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
    const std::array<std::array<double, 2>, 4> corners = {{{left, top}, {right, top}, {left, bottom}, {right, bottom}}};
    for (const auto& [u, v] : corners) {
        const double du = u - m.e;
        const double dv = v - m.f;
        const double x = (m.d * du - m.c * dv) / det;
        const double y = (m.a * dv - m.b * du) / det;
        minX = std::min(minX, x);
        minY = std::min(minY, y);
        maxX = std::max(maxX, x);
        maxY = std::max(maxY, y);
    }
    return PageRect{minX, minY, maxX - minX, maxY - minY};
}

}  // namespace norvane

// Debian's Tesseract steps its networks through OpenMP regions, several per time step, and
// libgomp ends even a team of one with a futex system call: a sixth of recognition's time. Each
// recognition worker already has a core of its own, so the regions Tesseract opens run here,
// on the calling thread; the linker exports these ahead of libgomp's (engine/CMakeLists.txt).
// Only the entry points Tesseract imports are replaced; nothing else in the process opens a
// team, so no region can start inside a real one. Sections that libgomp began (a build of
// Tesseract using another entry point) go on in libgomp rather than lose their work.
namespace {
struct SerialSections {
    unsigned next = 1;
    unsigned count = 0;
};
thread_local SerialSections* currentSections = nullptr;

template <typename Function>
Function* libgompEntry(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
}  // namespace

extern "C" {

void GOMP_parallel(void (*body)(void*), void* data, unsigned /*threads*/, unsigned /*flags*/) {
    body(data);
}

void GOMP_parallel_sections(void (*body)(void*), void* data, unsigned /*threads*/, unsigned count, unsigned /*flags*/) {
    SerialSections sections{1, count};
    SerialSections* const outer = std::exchange(currentSections, &sections);
    body(data);
    currentSections = outer;
}

unsigned GOMP_sections_next() {
    if (SerialSections* const sections = currentSections) {
        return sections->next <= sections->count ? sections->next++ : 0;
    }
    static auto* const next = libgompEntry<unsigned()>("GOMP_sections_next");
    return next ? next() : 0;
}

void GOMP_sections_end_nowait() {
    if (currentSections) {
        return;
    }
    static auto* const end = libgompEntry<void()>("GOMP_sections_end_nowait");
    if (end) {
        end();
    }
}

}  // extern "C"
