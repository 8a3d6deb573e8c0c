#pragma once
// Page images for every view of one open document: one worker thread with one MuPDF session
// and one cache held to a memory budget. Each view says which pages it wants now, replacing
// its earlier wish, so fast scrolling never builds a backlog; the canvas is served before the
// thumbnails, a render nobody wants any more is stopped, and painting never waits.

#include "engine/pdf_document.h"

#include <QImage>
#include <QObject>
#include <QRect>

#include <array>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace norvane {

class PreviewAbort;

class PageRenderService : public QObject {
    Q_OBJECT

public:
    // The views, most urgent first.
    enum class Viewer { canvas, thumbnails };
    struct Wish {
        std::int64_t pageIndex = 0;
        double pixelsPerPoint = 1.0;  // device pixels per point
        QRect tile;                   // device pixels of the whole picture; null for all of it
    };
    // Draws one page, or one tile of it, on the worker: a null image for a page that cannot be
    // drawn. It should give up soon once `abort` is set; what it returns then is thrown away.
    using Draw =
        std::function<QImage(std::int64_t pageIndex, double pixelsPerPoint, const QRect& tile, PreviewAbort& abort)>;

    // About five full-width canvas pages on a high-density screen, or twenty on a plain one,
    // with thumbnails; what the views want now is kept even beyond it.
    static constexpr std::size_t kDefaultBudget = std::size_t{80} << 20;

    // Without `draw`, pages are drawn by MuPDF.
    explicit PageRenderService(SharedPdfDocument document, std::size_t budgetBytes = kDefaultBudget, Draw draw = {});
    // Stops the page being drawn and waits for the worker to notice.
    ~PageRenderService() override;

    const SharedPdfDocument& document() const { return document_; }

    // What `viewer` wants now, most wanted first. Pages cached at that resolution, pages that
    // failed before and pages that do not exist are skipped.
    void want(Viewer viewer, std::vector<Wish> wishes);

    // The whole page at the cached resolution nearest the one asked for (null when none);
    // marks it recently used.
    QImage image(std::int64_t pageIndex, double pixelsPerPoint);
    // A tile drawn at exactly this resolution (null when none); marks it recently used.
    QImage tile(std::int64_t pageIndex, double pixelsPerPoint, const QRect& tile);
    // Cached at exactly this resolution: the whole page, or the tile.
    bool has(std::int64_t pageIndex, double pixelsPerPoint, const QRect& tile = {});
    bool hasFailed(std::int64_t pageIndex) const { return failed_.contains(pageIndex); }
    // A page is being drawn (the worker takes the next one as soon as it is done).
    bool isBusy() const { return busy_.has_value(); }
    std::size_t cachedBytes() const { return cachedBytes_; }
    std::size_t peakCachedBytes() const { return peakBytes_; }

signals:
    // A page was drawn, or failed to be.
    void pageReady(qint64 pageIndex);

private:
    struct Entry {
        Wish wish;
        QImage image;
    };
    using Entries = std::list<Entry>;
    struct Busy {
        Wish wish;
        std::shared_ptr<PreviewAbort> abort;
    };
    struct Worker;

    bool isWanted(const Wish& wish) const;
    std::optional<Entries::iterator> find(std::int64_t pageIndex, double pixelsPerPoint);
    std::optional<Entries::iterator> findExact(const Wish& wish);
    void dispatch();
    void run();
    void finish(QImage image);
    void evict(std::size_t room);
    void remove(Entries::iterator entry);

    SharedPdfDocument document_;
    std::size_t budget_;
    std::size_t cachedBytes_ = 0;
    std::size_t peakBytes_ = 0;
    Entries recency_;  // most recently used first
    std::unordered_map<std::int64_t, std::vector<Entries::iterator>> byPage_;
    std::unordered_set<std::int64_t> failed_;
    std::array<std::vector<Wish>, 2> wishes_;  // by Viewer
    std::optional<Busy> busy_;
    Draw draw_;  // moved to the worker when it starts
    std::unique_ptr<Worker> worker_;
};

// Makes `view` hold `next` instead of `held`, with `onReady` called for `next`'s pages; false
// when it held `next` already.
template <class OnReady>
bool holdRenders(std::shared_ptr<PageRenderService>& held, std::shared_ptr<PageRenderService> next, QObject* view,
                 OnReady onReady) {
    if (next == held) {
        return false;
    }
    if (held) {
        held->disconnect(view);  // another view may keep it alive
    }
    held = std::move(next);
    if (held) {
        QObject::connect(held.get(), &PageRenderService::pageReady, view, std::move(onReady));
    }
    return true;
}

// `current` when it already serves `document`, otherwise a new service (none without a
// document).
std::shared_ptr<PageRenderService> renderServiceFor(std::shared_ptr<PageRenderService> current,
                                                    const SharedPdfDocument& document);

}  // namespace norvane
