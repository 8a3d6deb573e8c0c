// Page canvas benchmark: how soon a 500-page document shows its first page, whether
// scrolling ever waits for rendering, and how many thumbnails a long document renders.
// The first page is compared with pdftoppm rendering the same page at the same size, in
// the same run.
//
//   norvane-canvas-bench [--pages N] [--pdftoppm PATH]

#include "canvas/page_canvas.h"
#include "model/redaction_view_model.h"
#include "tests/support/pdf_factory.h"
#include "workspace/page_sidebar.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QScrollBar>
#include <QSignalSpy>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using namespace norvane;

namespace {

double ms(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    int pages = 500;
    QString pdftoppm = QStringLiteral("pdftoppm");
    const QStringList args = QApplication::arguments();
    for (qsizetype i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == QLatin1String("--pages")) pages = args[i + 1].toInt();
        if (args[i] == QLatin1String("--pdftoppm")) pdftoppm = args[i + 1];
    }

    testing::TempDir dir;
    std::vector<std::string> lines;
    for (int i = 0; i < pages; ++i)
        lines.push_back("Confidential page " + std::to_string(i + 1) + " of the long report");
    const auto path = dir.file("long.pdf");
    testing::writeFile(path, testing::buildPdf(testing::textPages(lines)));

    // Open as the app does, then show the canvas and wait for page 1's pixels.
    QElapsedTimer total;
    total.start();
    auto model = RedactionViewModel::create(
        std::make_shared<const Services>(Services{std::make_shared<RecentRedactionStore>(std::nullopt), nullptr, {}}));
    model->open(QString::fromStdString(path.string()));
    const double openMs = ms(total);
    if (!model->document()) {
        std::fprintf(stderr, "could not open the generated document\n");
        return 1;
    }
    PageCanvas canvas(model->document());
    canvas.resize(900, 800);
    canvas.show();
    QSignalSpy ready(&canvas.renderQueue(), &PageRenderQueue::pageReady);
    canvas.synchronize(model->document(), {}, 0);
    while (canvas.renderQueue().image(0).isNull() && !canvas.renderQueue().hasFailed(0) && ms(total) < 10000) {
        ready.wait(5);
    }
    const double firstPageMs = ms(total);
    const QImage first = canvas.renderQueue().image(0);

    // Scroll through the document in steps, painting each frame at once: a frame never waits.
    std::vector<double> frames;
    QScrollBar* bar = canvas.verticalScrollBar();
    const int steps = 300;
    for (int i = 1; i <= steps; ++i) {
        bar->setValue(bar->maximum() * i / steps);
        QElapsedTimer frame;
        frame.start();
        canvas.viewport()->repaint();
        frames.push_back(ms(frame));
        QCoreApplication::processEvents();
    }
    std::sort(frames.begin(), frames.end());
    double sum = 0;
    for (double f : frames)
        sum += f;

    // Thumbnails: only the rows in view are rendered.
    PageSidebar sidebar(*model);
    sidebar.resize(190, 800);
    sidebar.show();
    QSignalSpy thumbs(&sidebar.renderQueue(), &PageRenderQueue::pageReady);
    QElapsedTimer settle;
    settle.start();
    while (ms(settle) < 1500)
        thumbs.wait(50);
    int rendered = 0;
    for (qint64 i = 0; i < model->document()->pageCount(); ++i) {
        rendered += sidebar.renderQueue().image(i).isNull() ? 0 : 1;
    }

    // Peer: pdftoppm drawing the same first page at the same pixel width.
    QElapsedTimer peer;
    peer.start();
    QProcess process;
    process.start(pdftoppm, {QStringLiteral("-f"), QStringLiteral("1"), QStringLiteral("-l"), QStringLiteral("1"),
                             QStringLiteral("-scale-to-x"), QString::number(first.width()),
                             QStringLiteral("-scale-to-y"), QStringLiteral("-1"), QStringLiteral("-png"),
                             QString::fromStdString(path.string()), QString::fromStdString(dir.file("peer").string())});
    const bool peerRan = process.waitForFinished(60000) && process.exitCode() == 0;
    const double peerMs = ms(peer);

    std::printf("document: %d text pages, canvas 900 x 800\n", pages);
    std::printf("open (read + page facts):        %8.1f ms\n", openMs);
    std::printf("first page on screen:            %8.1f ms  (%d x %d px)%s\n", firstPageMs, first.width(),
                first.height(), first.isNull() ? "  [no image: rendering unavailable]" : "");
    if (peerRan) {
        std::printf("pdftoppm, same page and width:   %8.1f ms  (ratio ours/peer %.2f)\n", peerMs,
                    firstPageMs / peerMs);
    } else {
        std::printf("pdftoppm, same page and width:   not available\n");
    }
    std::printf("scroll frames (%d): mean %.2f ms, median %.2f ms, worst %.2f ms\n", steps, sum / steps,
                frames[frames.size() / 2], frames.back());
    std::printf("thumbnails rendered for %d pages: %d (rows in view only)\n", pages, rendered);
    std::printf("canvas cache: %.1f MB\n", static_cast<double>(canvas.renderQueue().cachedBytes()) / 1048576.0);
    return first.isNull() ? 1 : 0;
}
