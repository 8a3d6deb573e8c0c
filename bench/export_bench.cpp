// Export benchmark: our secure export (no verification) against Ghostscript's pdfimage24
// device at the same resolution and anti-aliasing, measured in the same run, on a 40-page text
// document and on a page carrying a photograph-like picture.
//
//   norvane-export-bench [--gs PATH] [--runs N] [--pages N] [--keep DIR]

#include "engine/mupdf_session.h"
#include "engine/page_raster.h"
#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/pdf_inspect.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace norvane;
namespace fs = std::filesystem;

namespace {

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

double seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

std::string shellQuoted(const fs::path& path) {
    std::string out = "'";
    for (char c : path.string()) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out + "'";
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
        const auto rendered =
            renderImage(session, static_cast<std::int64_t>(i), 180, boxes, false, RenderOrientation::mediaBox, true);
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

struct Result {
    double ours = 1e9;
    double theirs = 1e9;
    std::uintmax_t oursBytes = 0;
    std::uintmax_t theirsBytes = 0;
    bool lossless = false;
};

Result measure(const std::string& name, const testing::DocumentPlan& plan, const fs::path& dir, const std::string& gs,
               int runs) {
    const fs::path input = dir / (name + ".pdf");
    testing::writeFile(input, testing::buildPdf(plan));
    const auto document = PdfDocument::open(input);
    std::vector<RedactionRegion> regions;
    RedactionRegion box;
    box.pageIndex = 0;
    box.rect = {72, 700, 200, 20};
    regions.push_back(box);

    Result r;
    const fs::path ours = dir / (name + "-norvane.pdf");
    const fs::path theirs = dir / (name + "-gs.pdf");
    const std::string command = shellQuoted(gs) +
                                " -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=pdfimage24 -r180 -dTextAlphaBits=4"
                                " -dGraphicsAlphaBits=4 -sOutputFile=" +
                                shellQuoted(theirs) + " " + shellQuoted(input);
    for (int i = 0; i < runs; ++i) {
        auto start = std::chrono::steady_clock::now();
        RedactionEngine::exportSecurePDF(document, regions, ours, false, {});
        r.ours = std::min(r.ours, seconds(start));

        start = std::chrono::steady_clock::now();
        if (std::system(command.c_str()) != 0) {
            std::fprintf(stderr, "Ghostscript failed: %s\n", command.c_str());
            std::exit(1);
        }
        r.theirs = std::min(r.theirs, seconds(start));
    }
    r.oursBytes = fs::file_size(ours);
    r.theirsBytes = fs::file_size(theirs);
    r.lossless = lossless(document, ours, regions);
    return r;
}

}  // namespace

int main(int argc, char** argv) {
    std::string gs = "gs";
    int runs = 3;
    int pages = 40;
    std::string keep;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        if (flag == "--gs") {
            gs = argv[i + 1];
        } else if (flag == "--runs") {
            runs = std::max(1, std::atoi(argv[i + 1]));
        } else if (flag == "--pages") {
            pages = std::max(1, std::atoi(argv[i + 1]));
        } else if (flag == "--keep") {
            keep = argv[i + 1];
        }
    }
    testing::TempDir temp;
    const fs::path dir = keep.empty() ? temp.path() : fs::path(keep);
    fs::create_directories(dir);

    std::printf(
        "export at 180 dpi, best of %d runs; peer: Ghostscript pdfimage24, TextAlphaBits=4 GraphicsAlphaBits=4\n",
        runs);
    std::printf("%-14s %9s %9s %7s %10s %10s %7s %9s\n", "document", "ours s", "gs s", "time", "ours MB", "gs MB",
                "size", "lossless");
    bool ok = true;
    const std::pair<std::string, testing::DocumentPlan> docs[] = {
        {"text-" + std::to_string(pages) + "p", textDocument(pages)}, {"photo-1p", photoDocument()}};
    for (const auto& [name, plan] : docs) {
        const Result r = measure(name, plan, dir, gs, runs);
        const double timeRatio = r.ours / r.theirs;
        const double sizeRatio = static_cast<double>(r.oursBytes) / static_cast<double>(r.theirsBytes);
        std::printf("%-14s %9.3f %9.3f %6.2fx %10.2f %10.2f %6.2fx %9s\n", name.c_str(), r.ours, r.theirs, timeRatio,
                    static_cast<double>(r.oursBytes) / 1e6, static_cast<double>(r.theirsBytes) / 1e6, sizeRatio,
                    r.lossless ? "yes" : "NO");
        ok = ok && r.lossless;
    }
    std::printf("targets: time <= 0.50x, size <= 1.00x, lossless\n");
    return ok ? 0 : 1;
}
