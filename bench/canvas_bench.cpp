// Page canvas benchmark over a long document, canvas and thumbnails sharing one render
// service as in the app: how soon the first page shows, whether painting ever waits, and
// what scrolling through every page costs in time and memory (cache and process RSS).
// pdftoppm draws the same pages at the same sizes in the same run as the peer.
//
//   norvane-canvas-bench [--pages N] [--pdftoppm PATH]

#include "canvas/page_canvas.h"
#include "model/redaction_view_model.h"
#include "tests/support/pdf_factory.h"
#include "workspace/page_sidebar.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTimer>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

extern char** environ;

using namespace norvane;

namespace {

struct Cost {
    double wallMs = 0;
    double cpuMs = 0;
    double maxRssMb = 0;  // the peer's only
};

double nowMs(clockid_t clock) {
    timespec t{};
    clock_gettime(clock, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

// Wall and CPU time (all threads of this process) between start() and stop().
struct Stopwatch {
    double wall0 = nowMs(CLOCK_MONOTONIC);
    double cpu0 = nowMs(CLOCK_PROCESS_CPUTIME_ID);
    Cost stop() const { return {nowMs(CLOCK_MONOTONIC) - wall0, nowMs(CLOCK_PROCESS_CPUTIME_ID) - cpu0, 0}; }
};

// A field of a /proc status file (VmRSS, VmHWM), MB; 0 when it cannot be read.
double statusMb(const std::string& file, const std::string& field) {
    std::ifstream status(file);
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field + ":", 0) == 0) return std::stod(line.substr(field.size() + 1)) / 1024.0;
    }
    return 0;
}

// Runs the peer with its output thrown away; nothing when it cannot run or fails. Its peak
// RSS is polled: the rusage of a spawned child also counts its parent's pages before exec.
std::optional<Cost> runPeer(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    const double wall0 = nowMs(CLOCK_MONOTONIC);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return std::nullopt;
    const std::string status = "/proc/" + std::to_string(pid) + "/status";
    double peakMb = 0;
    int exit = 0;
    rusage usage{};
    for (;;) {
        const pid_t done = wait4(pid, &exit, WNOHANG, &usage);
        if (done == pid) break;
        if (done < 0) return std::nullopt;
        peakMb = std::max(peakMb, statusMb(status, "VmHWM"));
        usleep(2000);
    }
    if (!WIFEXITED(exit) || WEXITSTATUS(exit) != 0) return std::nullopt;
    const auto ms = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
    };
    return Cost{nowMs(CLOCK_MONOTONIC) - wall0, ms(usage.ru_utime) + ms(usage.ru_stime), peakMb};
}

double mb(std::size_t bytes) {
    return static_cast<double>(bytes) / 1048576.0;
}

void printCost(const char* what, const Cost& ours) {
    std::printf("%-34s wall %8.1f ms  cpu %8.1f ms\n", what, ours.wallMs, ours.cpuMs);
}

void printPeer(const Cost& ours, const std::optional<Cost>& peer) {
    if (!peer) {
        std::printf("  pdftoppm, same pages and widths:  not available\n");
        return;
    }
    std::printf("  pdftoppm, same pages and widths  wall %8.1f ms  cpu %8.1f ms  (ours/peer: wall %.2f, cpu %.2f)\n",
                peer->wallMs, peer->cpuMs, ours.wallMs / peer->wallMs, ours.cpuMs / peer->cpuMs);
}

// Runs the event loop until `done` holds or ten seconds pass, sleeping between events so
// that waiting costs no CPU.
template <class Done>
bool settle(Done done) {
    QElapsedTimer timer;
    timer.start();
    QTimer tick;  // wakes the loop now and then, so the time limit is seen
    tick.start(20);
    while (!done()) {
        if (timer.elapsed() > 10000) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    int pages = 500;
    std::string pdftoppm = "/usr/bin/pdftoppm";
    const QStringList args = QApplication::arguments();
    for (qsizetype i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == QLatin1String("--pages")) pages = args[i + 1].toInt();
        if (args[i] == QLatin1String("--pdftoppm")) pdftoppm = args[i + 1].toStdString();
    }

    testing::TempDir dir;
    std::vector<std::string> lines;
    for (int i = 0; i < pages; ++i)
        lines.push_back("Confidential page " + std::to_string(i + 1) + " of the long report");
    const std::string path = dir.file("long.pdf").string();
    testing::writeFile(path, testing::buildPdf(testing::textPages(lines)));

    // Open as the app does, then show canvas and thumbnails and wait for page 1's pixels.
    const Stopwatch opening;
    auto model = RedactionViewModel::create(
        std::make_shared<const Services>(Services{std::make_shared<RecentRedactionStore>(std::nullopt), nullptr, {}}));
    model->setInspectionWaitsForFirstPage(true);
    model->open(QString::fromStdString(path));
    const Cost open = opening.stop();
    if (!model->document()) {
        std::fprintf(stderr, "could not open the generated document\n");
        return 1;
    }
    const Stopwatch firstPage;
    PageCanvas canvas(model->document());
    QObject::connect(&canvas, &PageCanvas::firstPageShown, model.get(), [&model] { model->firstPageShown(); });
    canvas.resize(900, 800);
    PageSidebar sidebar(*model);
    sidebar.resize(190, 800);
    sidebar.setRenderService(canvas.renderService());
    canvas.show();
    sidebar.show();
    canvas.synchronize({}, 0);
    PageRenderService& renders = *canvas.renderService();
    const double canvasScale = canvas.devicePixelsPerPoint();
    settle([&] { return renders.has(0, canvasScale) || renders.hasFailed(0); });
    const Cost first = firstPage.stop();
    const double firstRssMb = statusMb("/proc/self/status", "VmRSS");
    const QImage firstImage = renders.image(0, canvasScale);
    const int thumbWidth = renders.image(0, sidebar.thumbnailPixelsPerPoint(0)).width();

    // Painting takes what is cached and never waits for a page.
    std::vector<double> frames;
    QScrollBar* bar = canvas.verticalScrollBar();
    const int steps = 300;
    for (int i = 1; i <= steps; ++i) {
        bar->setValue(bar->maximum() * i / steps);
        QElapsedTimer frame;
        frame.start();
        canvas.viewport()->repaint();
        frames.push_back(static_cast<double>(frame.nsecsElapsed()) / 1e6);
        QCoreApplication::processEvents();
    }
    std::sort(frames.begin(), frames.end());
    double sum = 0;
    for (double f : frames)
        sum += f;

    // Page by page through the whole document, both views, each stop waiting until the page
    // and its thumbnail are drawn: every page passes through the one cache.
    const Stopwatch scrolling;
    int unfinished = 0;
    for (qint64 i = 0; i < pages; ++i) {
        canvas.goToPage(i);
        sidebar.verticalScrollBar()->setValue(sidebar.verticalScrollBar()->value() + sidebar.rowRect(i).top());
        const double thumbScale = sidebar.thumbnailPixelsPerPoint(i);
        const bool drawn = settle([&] {
            return !renders.isBusy() &&
                   (renders.hasFailed(i) || (renders.has(i, canvasScale) && renders.has(i, thumbScale)));
        });
        unfinished += drawn ? 0 : 1;
    }
    const Cost scroll = scrolling.stop();

    // Zoomed to 400 % on page 1: until every part in view is drawn at the screen's resolution.
    canvas.goToPage(0);
    settle([&] { return !renders.isBusy(); });
    const Stopwatch zooming;
    canvas.setZoom(4.0);
    const bool sharp = settle([&] { return canvas.isSharp(0); });
    const Cost zoomed = zooming.stop();
    const double zoomDpi = canvas.devicePixelsPerPoint() * 72.0;

    // Peers: pdftoppm drawing the first page, then every page at both widths, into /dev/null.
    const auto peer = [&](int firstPageNo, int lastPageNo, int width) {
        return runPeer({pdftoppm, "-f", std::to_string(firstPageNo), "-l", std::to_string(lastPageNo), "-scale-to-x",
                        std::to_string(width), "-scale-to-y", "-1", path});
    };
    const std::optional<Cost> peerFirst = peer(1, 1, firstImage.width());
    std::optional<Cost> peerAll = peer(1, pages, firstImage.width());
    if (const auto thumbs = peer(1, pages, thumbWidth); peerAll && thumbs) {
        peerAll = Cost{peerAll->wallMs + thumbs->wallMs, peerAll->cpuMs + thumbs->cpuMs,
                       std::max(peerAll->maxRssMb, thumbs->maxRssMb)};
    } else {
        peerAll.reset();
    }

    std::printf("document: %d text pages, canvas 900 x 800 (page %d px wide), thumbnails %d px wide\n", pages,
                firstImage.width(), thumbWidth);
    printCost("open (read + page facts)", open);
    printCost("first page on screen", first);
    printPeer(first, peerFirst);
    std::printf("scroll frames (%d): mean %.2f ms, median %.2f ms, worst %.2f ms\n", steps, sum / steps,
                frames[frames.size() / 2], frames.back());
    printCost("every page and thumbnail drawn", scroll);
    printPeer(scroll, peerAll);
    if (unfinished > 0) std::printf("  (%d stops gave up waiting after 10 s)\n", unfinished);
    printCost(sharp ? "page 1 sharp at 400 % (tiles in view)" : "page 1 at 400 % (gave up after 10 s)", zoomed);
    if (const auto peerZoom = runPeer(
            {pdftoppm, "-f", "1", "-l", "1", "-r", std::to_string(static_cast<int>(std::lround(zoomDpi))), path})) {
        std::printf(
            "  pdftoppm, page 1 whole at %.0f dpi  wall %8.1f ms  cpu %8.1f ms  (ours/peer: wall %.2f, cpu %.2f)\n",
            zoomDpi, peerZoom->wallMs, peerZoom->cpuMs, zoomed.wallMs / peerZoom->wallMs,
            zoomed.cpuMs / peerZoom->cpuMs);
    }
    std::printf("render cache after scrolling and zooming: %.1f MB now, %.1f MB peak (budget %.0f MB)\n",
                mb(renders.cachedBytes()), mb(renders.peakCachedBytes()), mb(PageRenderService::kDefaultBudget));
    std::printf("process RSS after scrolling:  %.1f MB now, %.1f MB peak, %.1f MB at the first page",
                statusMb("/proc/self/status", "VmRSS"), statusMb("/proc/self/status", "VmHWM"), firstRssMb);
    if (peerAll) std::printf("  (pdftoppm peak %.1f MB)", peerAll->maxRssMb);
    std::printf("\n");
    return firstImage.isNull() ? 1 : 0;
}
