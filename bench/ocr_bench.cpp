// Times our OCR search (220 dpi) and output verification (150 dpi) per page against the
// pipeline a user would script, in the same run: pdftoppm renders the pages at the same
// resolution, then the `tesseract` command reads them one by one (OMP_THREAD_LIMIT=1).
//
//   norvane-ocr-bench IN.pdf WORKDIR QUERY [RUNS]
//
// We use every core (at most 4 workers); the pipeline runs one page at a time. Each side runs RUNS times (default 2),
// alternating, and its fastest run counts, so a burst of load from elsewhere does not decide the ratio. Wall and CPU
// seconds are reported; on a shared machine the CPU figures are the steadier ones.

#include "bench/bench_support.h"
#include "engine/redaction_engine.h"
#include "records/redaction_records.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace norvane;
using namespace norvane::bench;
namespace fs = std::filesystem;

// The pipeline anyone would script: pdftoppm renders every page, then the tesseract command
// reads each page image in turn.
Timing timePipeline(const fs::path& pdf, double dpi, const fs::path& folder) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    Timing total = timeCommand(
        {"pdftoppm", "-r", std::to_string(static_cast<int>(dpi)), pdf.string(), (folder / "page").string()});
    std::vector<fs::path> images;
    for (const auto& entry : fs::directory_iterator(folder)) {
        images.push_back(entry.path());
    }
    std::sort(images.begin(), images.end());
    for (const auto& image : images) {
        const Timing page = timeCommand({"tesseract", image.string(), "stdout"});
        total.wall += page.wall;
        total.cpu += page.cpu;
    }
    return total;
}

void report(const char* what, const Timing& ours, const Timing& command, std::int64_t pages) {
    const double n = static_cast<double>(pages);
    std::printf(
        "%-24s ours %6.3f s/page (cpu %6.3f)   pdftoppm + tesseract %6.3f s/page (cpu %6.3f)   ratio %.2f (cpu %.2f)\n",
        what, ours.wall / n, ours.cpu / n, command.wall / n, command.cpu / n, ours.wall / command.wall,
        ours.cpu / command.cpu);
}

}  // namespace

int main(int argc, char** argv) {
    setenv("OMP_THREAD_LIMIT", "1", 0);
    if (argc != 4 && argc != 5) {
        std::cerr << "usage: norvane-ocr-bench IN.pdf WORKDIR QUERY [RUNS]\n";
        return 2;
    }
    const int runs = argc == 5 ? std::max(1, std::atoi(argv[4])) : 2;
    try {
        const fs::path input = argv[1];
        const fs::path work = argv[2];
        const std::string query = argv[3];
        const SharedPdfDocument document = PdfDocument::open(input);
        const std::int64_t pages = document->pageCount();
        std::printf("%s: %lld pages\n", input.filename().c_str(), static_cast<long long>(pages));

        // OCR search at 220 dpi.
        std::vector<RedactionSearchResult> hits;
        Timing searchOurs = kNotRun;
        Timing searchCommand = kNotRun;
        for (int run = 0; run < runs; ++run) {
            searchOurs = fastest(
                searchOurs, timeOurs([&] { hits = RedactionEngine::ocrMatches(document, query, {}, {}).results; }));
            searchCommand = fastest(searchCommand, timePipeline(input, 220, work / "search-220"));
        }
        std::printf("OCR search for \"%s\": %zu matches\n", query.c_str(), hits.size());
        report("OCR search, 220 dpi", searchOurs, searchCommand, pages);

        // A secure copy with those hits boxed and labelled, then its verification at 150 dpi.
        std::vector<RedactionRegion> regions;
        for (const auto& hit : hits) {
            regions.push_back(RedactionRegion{Uuid::random(), hit.pageIndex, hit.rect, hit.source, hit.text});
        }
        if (regions.empty()) {
            regions.push_back(
                RedactionRegion{Uuid::random(), 0, PageRect{72, 72, 100, 20}, RedactionSource::manual, {}});
        }
        const fs::path secure = work / "secure-copy.pdf";
        const Timing exportTime =
            timeOurs([&] { RedactionEngine::exportSecurePDF(document, regions, secure, true, {}); });
        std::printf("secure copy written in %.2f s\n", exportTime.wall);

        ExportVerification verification;
        Timing verifyOurs = kNotRun;
        Timing verifyCommand = kNotRun;
        for (int run = 0; run < runs; ++run) {
            verifyOurs = fastest(verifyOurs, timeOurs([&] {
                                     verification = RedactionEngine::verifyOutput(secure, {{query}, {}, {}}, {});
                                 }));
            verifyCommand = fastest(verifyCommand, timePipeline(secure, 150, work / "verify-150"));
        }
        std::printf("verification: %s, %lld pages checked\n", verification.passed() ? "passed" : "needs review",
                    static_cast<long long>(verification.checkedPages()));
        report("verification, 150 dpi", verifyOurs, verifyCommand, pages);
        std::printf("targets: OCR search ratio <= 0.50; verification <= 0.45 s/page\n");
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "norvane-ocr-bench: " << error.what() << '\n';
        return 1;
    }
}
