#include "bench/bench_support.h"
#include "engine/mupdf_session.h"
#include "engine/page_raster.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <stdexcept>

namespace norvane::bench {
namespace fs = std::filesystem;

namespace {

double seconds(const timeval& tv) {
    return static_cast<double>(tv.tv_sec) + static_cast<double>(tv.tv_usec) * 1e-6;
}

}  // namespace

Timing fastest(const Timing& a, const Timing& b) {
    return {std::min(a.wall, b.wall), std::min(a.cpu, b.cpu)};
}

double processCpu() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

Timing timeCommand(const std::vector<std::string>& argv, const fs::path& output) {
    std::vector<char*> args;
    for (const std::string& arg : argv) {
        args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);
    const std::string target = output.empty() ? "/dev/null" : output.string();
    std::fflush(stdout);
    const auto wall0 = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid == 0) {
        const int out = open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int null = open("/dev/null", O_WRONLY);
        if (out < 0 || null < 0 || dup2(out, 1) < 0 || dup2(null, 2) < 0) {
            _exit(126);
        }
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the command failed: " + argv.front());
    }
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - wall0).count(),
            seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

fs::path writePageImages(const SharedPdfDocument& document, double dpi, const fs::path& folder,
                         const std::vector<std::int64_t>& pages) {
    std::vector<std::int64_t> wanted = pages;
    if (wanted.empty()) {
        for (std::int64_t i = 0; i < document->pageCount(); ++i) {
            wanted.push_back(i);
        }
    }
    fs::create_directories(folder);
    const fs::path list = folder / "pages.txt";
    std::ofstream listing(list);
    mu::Session session(document);
    fz_context* ctx = session.ctx();
    for (const std::int64_t i : wanted) {
        const auto image =
            renderImage(session, {.pageIndex = i, .dpi = dpi, .orientation = RenderOrientation::displayed});
        if (!image) {
            continue;
        }
        const fs::path png = folder / ("page-" + std::to_string(i + 1) + ".png");
        const std::string name = png.string();
        const PageImage& img = *image;
        const int resolution = static_cast<int>(dpi);
        mu::muCall(ctx, [&] {
            fz_pixmap* pix = fz_new_pixmap(ctx, fz_device_gray(ctx), img.width, img.height, nullptr, 0);
            fz_try(ctx) {
                fz_set_pixmap_resolution(ctx, pix, resolution, resolution);
                unsigned char* out = fz_pixmap_samples(ctx, pix);
                const std::size_t count = static_cast<std::size_t>(img.width) * static_cast<std::size_t>(img.height);
                const auto n = static_cast<std::size_t>(img.components);
                for (std::size_t p = 0; p < count; ++p) {
                    const unsigned char* s = img.samples.data() + p * n;
                    out[p] = static_cast<unsigned char>((77u * s[0] + 150u * s[1] + 29u * s[2]) >> 8);
                }
                fz_save_pixmap_as_png(ctx, pix, name.c_str());
            }
            fz_always(ctx) {
                fz_drop_pixmap(ctx, pix);
            }
            fz_catch(ctx) {
                fz_rethrow(ctx);
            }
        });
        listing << name << '\n';
    }
    return list;
}

}  // namespace norvane::bench
