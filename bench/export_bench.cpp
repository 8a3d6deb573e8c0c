// Export benchmark: our secure export (no verification) against Ghostscript's pdfimage24
// device at the same resolution and anti-aliasing, measured in the same run: wall and CPU
// time (ours in this process, every thread; Ghostscript as a child), output size, and
// legibility: the `tesseract` command reads a few pages of each output, rendered alike at the
// output's resolution, and we count the words of Ghostscript's output missing from ours.
// Then the searchable copy: our export with its text layer against `ocrmypdf --force-ocr`, with
// how many of the source's words pdftotext finds in each output.
// Documents: a generated text document, a page carrying a photograph-like picture, and the
// PDF given with --input (e.g. a real manual).
//
//   norvane-export-bench [--gs PATH] [--runs N] [--pages N] [--input FILE] [--ocr-pages N] [--keep DIR]
//                        [--ocrmypdf PATH] [--searchable-runs N]

#include "bench/bench_support.h"
#include "engine/mupdf_session.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/pdf_inspect.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

using namespace norvane;
using namespace norvane::bench;
namespace fs = std::filesystem;

namespace {

constexpr double kDpi = 180;

const char* const kWords[] = {"agreement", "the",       "party",    "shall",   "within",  "days",    "of",
                              "receipt",   "notice",    "payment",  "account", "holder",  "records", "and",
                              "confirmed", "meeting",   "schedule", "office",  "witness", "under",   "terms",
                              "for",       "statement", "balance",  "invoice", "period",  "to",      "a"};

std::string line(unsigned& seed, std::size_t maxChars) {
    std::string text;
    while (true) {
        seed = seed * 1103515245u + 12345u;
        const char* word = kWords[(seed >> 16) % (sizeof kWords / sizeof *kWords)];
        if (text.size() + std::strlen(word) + 1 > maxChars) {
            return text;
        }
        text += (text.empty() ? "" : " ") + std::string(word);
    }
}

testing::DocumentPlan textDocument(int pages) {
    testing::DocumentPlan plan;
    unsigned seed = 7;
    for (int p = 0; p < pages; ++p) {
        testing::PageSpec page;
        page.texts.push_back(
            {"Section " + std::to_string(p + 1) + ": Terms of the agreement", 72, 740, 14, "Helvetica-Bold"});
        for (int i = 0; i < 44; ++i) {
            page.texts.push_back({line(seed, 88), 72, 712 - 14.5 * i, 10.5});
        }
        plan.pages.push_back(page);
    }
    return plan;
}

testing::DocumentPlan photoDocument() {
    testing::DocumentPlan plan;
    testing::PageSpec page;
    page.images.push_back({{36, 150, 540, 600}, 1350, 1500, false, 3});
    page.texts.push_back({"Figure 1: site photograph taken on 12 May", 72, 120, 11});
    plan.pages.push_back(page);
    return plan;
}

// The stored page images must equal what the renderer drew, pixel for pixel.
bool lossless(const SharedPdfDocument& document, const fs::path& output, const std::vector<RedactionRegion>& regions) {
    const auto pdf = testing::inspectPdf(testing::readFile(output));
    mu::Session session(document);
    for (std::size_t i = 0; i < pdf.pages.size(); ++i) {
        std::vector<RedactionRegion> boxes;
        for (const auto& r : regions) {
            if (r.pageIndex == static_cast<std::int64_t>(i)) {
                boxes.push_back(r);
            }
        }
        const auto rendered = renderImage(
            session, {.pageIndex = static_cast<std::int64_t>(i), .dpi = kDpi, .boxes = boxes, .compactEdges = true});
        const auto& stored = pdf.pages[i];
        if (!rendered || rendered->width != stored.width || rendered->height != stored.height) {
            return false;
        }
        const auto n = static_cast<std::size_t>(stored.components);
        for (std::size_t px = 0; px < static_cast<std::size_t>(stored.width) * static_cast<std::size_t>(stored.height);
             ++px) {
            for (std::size_t c = 0; c < 3; ++c) {
                if (rendered->samples[px * 3 + c] != stored.pixels[px * n + (n == 1 ? 0 : c)]) {
                    return false;
                }
            }
        }
    }
    return true;
}

// Words the `tesseract` command reads on `pages` of `pdf`, rendered at the output's resolution.
std::vector<std::string> wordsOf(const fs::path& pdf, const std::vector<std::int64_t>& pages, const fs::path& folder) {
    const fs::path list = writePageImages(PdfDocument::open(pdf), kDpi, folder, pages);
    const fs::path text = folder / "words.txt";
    timeCommand({"tesseract", list.string(), "stdout"}, text);
    std::ifstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

// How many of `wanted` (counted with repeats) do not occur in `got`.
std::size_t missingWords(const std::vector<std::string>& wanted, const std::vector<std::string>& got) {
    std::map<std::string, int> left;
    for (const auto& word : got) {
        ++left[word];
    }
    std::size_t missing = 0;
    for (const auto& word : wanted) {
        if (left[word]-- <= 0) {
            ++missing;
        }
    }
    return missing;
}

// `count` pages spread over the document, first page included.
std::vector<std::int64_t> samplePages(std::int64_t pageCount, int count) {
    std::vector<std::int64_t> pages;
    for (int i = 0; i < count && i < pageCount; ++i) {
        pages.push_back(pageCount * i / std::min<std::int64_t>(count, pageCount));
    }
    return pages;
}

struct Legibility {
    std::vector<std::int64_t> pages;
    std::size_t ours = 0;
    std::size_t theirs = 0;
    std::size_t missing = 0;  // Ghostscript's words not in ours
    std::size_t extra = 0;    // ours not in Ghostscript's: the command misreads either way
};

// The words pdftotext extracts: whitespace-separated, and the runs of letters and digits, which do
// not depend on how an extractor spaces punctuation ("asn1_node" or "asn1 node").
struct Words {
    std::map<std::string, int> words;
    std::map<std::string, int> runs;
};

Words extractedWords(const fs::path& pdf, const fs::path& folder) {
    const fs::path text = folder / (pdf.stem().string() + ".txt");
    timeCommand({"pdftotext", "-q", "-enc", "UTF-8", pdf.string(), text.string()});
    std::ifstream in(text);
    Words found;
    for (std::string word; in >> word;) {
        std::string run;
        bool hasRun = false;
        for (std::size_t i = 0; i <= word.size(); ++i) {
            const auto c = i < word.size() ? static_cast<unsigned char>(word[i]) : ' ';
            if (c >= 0x80 || std::isalnum(c)) {
                run += static_cast<char>(c);
            } else if (!run.empty()) {
                ++found.runs[run];
                run.clear();
                hasRun = true;
            }
        }
        if (hasRun) {
            ++found.words[word];
        }
    }
    return found;
}

// Share of `wanted` (counted with repeats) that `got` holds.
double coverage(const std::map<std::string, int>& wanted, const std::map<std::string, int>& got) {
    long total = 0;
    long held = 0;
    for (const auto& [word, count] : wanted) {
        total += count;
        const auto found = got.find(word);
        held += found == got.end() ? 0 : std::min(count, found->second);
    }
    return total ? static_cast<double>(held) / static_cast<double>(total) : 1.0;
}

struct SearchableResult {
    Timing ours = kNotRun;  // the export with its text layer
    Timing theirs = kNotRun;
    std::uintmax_t oursBytes = 0;
    std::uintmax_t theirsBytes = 0;
    double oursWords = 0, oursRuns = 0;      // the source's words pdftotext finds in our copy
    double theirsWords = 0, theirsRuns = 0;  // and in ocrmypdf's
};

SearchableResult measureSearchable(const std::string& name, const fs::path& input, const fs::path& dir,
                                   const std::string& ocrmypdf, int runs) {
    const auto document = PdfDocument::open(input);
    const std::vector<RedactionRegion> regions{
        RedactionRegion{Uuid::random(), 0, PageRect{4, 4, 24, 12}, RedactionSource::manual, {}}};
    const fs::path ours = dir / (name + "-searchable.pdf");
    const fs::path theirs = dir / (name + "-ocrmypdf.pdf");
    const ExportOptions options{.searchable = true, .recognition = {"eng"}};
    SearchableResult r;
    for (int i = 0; i < runs; ++i) {
        r.ours =
            fastest(r.ours, timeOurs([&] { RedactionEngine::exportSecurePDF(document, regions, ours, options, {}); }));
        if (!ocrmypdf.empty()) {
            r.theirs = fastest(r.theirs, timeCommand({ocrmypdf, "--force-ocr", "-q", input.string(), theirs.string()}));
        }
    }
    const Words source = extractedWords(input, dir);
    const Words oursWords = extractedWords(ours, dir);
    r.oursBytes = fs::file_size(ours);
    r.oursWords = coverage(source.words, oursWords.words);
    r.oursRuns = coverage(source.runs, oursWords.runs);
    if (!ocrmypdf.empty()) {
        const Words theirsWords = extractedWords(theirs, dir);
        r.theirsBytes = fs::file_size(theirs);
        r.theirsWords = coverage(source.words, theirsWords.words);
        r.theirsRuns = coverage(source.runs, theirsWords.runs);
    }
    return r;
}

struct Result {
    Timing ours = kNotRun;
    Timing theirs = kNotRun;
    std::uintmax_t oursBytes = 0;
    std::uintmax_t theirsBytes = 0;
    bool lossless = false;
    std::optional<Legibility> legibility;
};

Result measure(const std::string& name, const fs::path& input, const fs::path& dir, const std::string& gs, int runs,
               int ocrPages) {
    const auto document = PdfDocument::open(input);
    // In the bottom margin, so that both outputs show the same words.
    const std::vector<RedactionRegion> regions{
        RedactionRegion{Uuid::random(), 0, PageRect{4, 4, 24, 12}, RedactionSource::manual, {}}};

    Result r;
    const fs::path ours = dir / (name + "-norvane.pdf");
    const fs::path theirs = dir / (name + "-gs.pdf");
    const std::vector<std::string> command{gs,
                                           "-q",
                                           "-dNOPAUSE",
                                           "-dBATCH",
                                           "-dSAFER",
                                           "-sDEVICE=pdfimage24",
                                           "-r180",
                                           "-dTextAlphaBits=4",
                                           "-dGraphicsAlphaBits=4",
                                           "-sOutputFile=" + theirs.string(),
                                           input.string()};
    for (int i = 0; i < runs; ++i) {
        r.ours = fastest(r.ours, timeOurs([&] { RedactionEngine::exportSecurePDF(document, regions, ours, {}, {}); }));
        r.theirs = fastest(r.theirs, timeCommand(command));
    }
    r.oursBytes = fs::file_size(ours);
    r.theirsBytes = fs::file_size(theirs);
    r.lossless = lossless(document, ours, regions);
    if (ocrPages > 0) {
        Legibility l;
        l.pages = samplePages(document->pageCount(), ocrPages);
        const auto oursWords = wordsOf(ours, l.pages, dir / (name + "-norvane-ocr"));
        const auto theirsWords = wordsOf(theirs, l.pages, dir / (name + "-gs-ocr"));
        l.ours = oursWords.size();
        l.theirs = theirsWords.size();
        l.missing = missingWords(theirsWords, oursWords);
        l.extra = missingWords(oursWords, theirsWords);
        r.legibility = l;
    }
    return r;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("OMP_THREAD_LIMIT", "1", 1);  // read by the tesseract command
    std::string gs = "gs";
    int runs = 3;
    int pages = 40;
    int ocrPages = 3;
    std::string keep;
    std::string input;
    std::string ocrmypdf;
    int searchableRuns = 1;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        if (flag == "--gs") {
            gs = argv[i + 1];
        } else if (flag == "--runs") {
            runs = std::max(1, std::atoi(argv[i + 1]));
        } else if (flag == "--pages") {
            pages = std::max(1, std::atoi(argv[i + 1]));
        } else if (flag == "--ocr-pages") {
            ocrPages = std::max(0, std::atoi(argv[i + 1]));
        } else if (flag == "--input") {
            input = argv[i + 1];
        } else if (flag == "--keep") {
            keep = argv[i + 1];
        } else if (flag == "--ocrmypdf") {
            ocrmypdf = argv[i + 1];
        } else if (flag == "--searchable-runs") {
            searchableRuns = std::max(1, std::atoi(argv[i + 1]));
        }
    }
    testing::TempDir temp;
    const fs::path dir = keep.empty() ? temp.path() : fs::path(keep);
    fs::create_directories(dir);

    std::vector<std::pair<std::string, fs::path>> docs;
    for (const auto& [name, plan] : {std::pair{"text-" + std::to_string(pages) + "p", textDocument(pages)},
                                     std::pair{std::string("photo-1p"), photoDocument()}}) {
        docs.emplace_back(name, dir / (name + ".pdf"));
        testing::writeFile(docs.back().second, testing::buildPdf(plan));
    }
    if (!input.empty()) {
        docs.emplace_back(fs::path(input).stem().string(), input);
    }

    std::printf(
        "export at 180 dpi, best of %d runs; peer: Ghostscript pdfimage24, TextAlphaBits=4 GraphicsAlphaBits=4\n"
        "cpu = user + system seconds (ours: every thread of this process; Ghostscript: the child)\n",
        runs);
    std::printf("%-18s %7s %7s %6s %8s %8s %6s %8s %8s %6s %8s\n", "document", "ours s", "gs s", "wall", "ours cpu",
                "gs cpu", "cpu", "ours MB", "gs MB", "size", "lossless");
    bool ok = true;
    std::vector<std::pair<std::string, Legibility>> legibility;
    std::map<std::string, double> plainWall;
    try {
        for (const auto& [name, path] : docs) {
            const Result r = measure(name, path, dir, gs, runs, ocrPages);
            plainWall[name] = r.ours.wall;
            std::printf(
                "%-18s %7.3f %7.3f %5.2fx %8.3f %8.3f %5.2fx %8.2f %8.2f %5.2fx %8s\n", name.c_str(), r.ours.wall,
                r.theirs.wall, r.ours.wall / r.theirs.wall, r.ours.cpu, r.theirs.cpu, r.ours.cpu / r.theirs.cpu,
                static_cast<double>(r.oursBytes) / 1e6, static_cast<double>(r.theirsBytes) / 1e6,
                static_cast<double>(r.oursBytes) / static_cast<double>(r.theirsBytes), r.lossless ? "yes" : "NO");
            std::fflush(stdout);
            ok = ok && r.lossless;
            if (r.legibility) {
                legibility.emplace_back(name, *r.legibility);
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "norvane-export-bench: %s\n", error.what());
        return 1;
    }
    if (!legibility.empty()) {
        std::printf("\nlegibility: the tesseract command on the same pages of both outputs, rendered at 180 dpi\n");
        std::printf("%-18s %-16s %10s %10s %17s %17s\n", "document", "pages", "ours words", "gs words",
                    "gs's not in ours", "ours not in gs's");
        for (const auto& [name, l] : legibility) {
            std::string list;
            for (const auto page : l.pages) {
                list += (list.empty() ? "" : ",") + std::to_string(page + 1);
            }
            std::printf("%-18s %-16s %10zu %10zu %17zu %17zu\n", name.c_str(), list.c_str(), l.ours, l.theirs,
                        l.missing, l.extra);
        }
    }
    std::printf("\ntargets on a real text manual: wall <= 0.30x, cpu <= 0.60x, size <= 0.80x, no words missing\n");

    std::printf(
        "\nsearchable copy: ours with --searchable (eng) against %s, best of %d; the image-only wall from above\n"
        "words: the source's words pdftotext finds in the copy (whitespace-separated / runs of letters and digits)\n",
        ocrmypdf.empty() ? "nothing (no ocrmypdf)" : "ocrmypdf --force-ocr", searchableRuns);
    std::printf("%-18s %8s %8s %8s %7s %8s %8s %15s %15s\n", "document", "plain s", "search s", "ocrmy s", "wall",
                "ours MB", "ocrmy MB", "ours words %", "ocrmy words %");
    try {
        for (const auto& [name, path] : docs) {
            const SearchableResult r = measureSearchable(name, path, dir, ocrmypdf, searchableRuns);
            const bool peer = !ocrmypdf.empty();
            std::printf("%-18s %8.2f %8.2f %8.2f %6.2fx %8.2f %8.2f %7.1f / %5.1f %7.1f / %5.1f\n", name.c_str(),
                        plainWall[name], r.ours.wall, peer ? r.theirs.wall : 0.0,
                        peer ? r.ours.wall / r.theirs.wall : 0.0, static_cast<double>(r.oursBytes) / 1e6,
                        static_cast<double>(r.theirsBytes) / 1e6, 100 * r.oursWords, 100 * r.oursRuns,
                        100 * r.theirsWords, 100 * r.theirsRuns);
            std::fflush(stdout);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "norvane-export-bench: %s\n", error.what());
        return 1;
    }
    std::printf("\ntarget on a real text manual: --searchable wall <= 0.60x ocrmypdf's\n");
    return ok ? 0 : 1;
}
