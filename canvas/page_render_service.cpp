#include "canvas/page_render_service.h"

#include "engine/page_preview.h"

#include <QMetaObject>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

namespace norvane {
namespace {

constexpr double kMaxStandInRatio = 2.0;

bool sameScale(double a, double b) {
    return std::abs(a - b) <= 1e-6 * std::max(a, b);
}

bool same(const PageRenderService::Wish& a, const PageRenderService::Wish& b) {
    return a.pageIndex == b.pageIndex && sameScale(a.pixelsPerPoint, b.pixelsPerPoint) && a.tile == b.tile;
}

QImage toImage(const PreviewImage& preview) {
    QImage image(preview.width, preview.height, QImage::Format_RGB888);
    if (image.isNull()) {
        return {};
    }
    const auto rowBytes = static_cast<std::size_t>(preview.width) * 3;
    for (int y = 0; y < preview.height; ++y) {
        std::memcpy(image.scanLine(y), preview.rgb.data() + static_cast<std::size_t>(y) * rowBytes, rowBytes);
    }
    // Painting RGB32 needs no conversion per frame.
    return image.convertToFormat(QImage::Format_RGB32);
}

// The session is opened on the worker at its first page and closed when the worker ends.
PageRenderService::Draw drawWithMuPdf(SharedPdfDocument document) {
    return
        [document = std::move(document), renderer = std::shared_ptr<PagePreviewRenderer>()](
            std::int64_t pageIndex, double pixelsPerPoint, const QRect& tile, PreviewAbort& abort) mutable -> QImage {
            if (!renderer) {
                try {
                    renderer = std::make_shared<PagePreviewRenderer>(document);
                } catch (const std::exception&) {
                    return {};
                }
            }
            std::optional<PreviewTile> window;
            if (!tile.isNull()) {
                window = PreviewTile{tile.x(), tile.y(), tile.width(), tile.height()};
            }
            const auto preview = renderer->render(pageIndex, pixelsPerPoint, window, &abort);
            return preview ? toImage(*preview) : QImage();
        };
}

std::size_t bytesOf(const QImage& image) {
    return static_cast<std::size_t>(image.sizeInBytes());
}

}  // namespace

struct PageRenderService::Worker {
    std::mutex mutex;
    std::condition_variable wake;
    std::optional<Busy> job;  // handed over, not yet taken
    bool stop = false;
    std::thread thread;
};

PageRenderService::PageRenderService(SharedPdfDocument document, std::size_t budgetBytes, Draw draw)
    : document_(std::move(document)),
      budget_(budgetBytes),
      draw_(draw ? std::move(draw) : drawWithMuPdf(document_)),
      worker_(std::make_unique<Worker>()) {}

PageRenderService::~PageRenderService() {
    {
        std::lock_guard lock(worker_->mutex);
        worker_->stop = true;
    }
    if (busy_) {
        busy_->abort->abort();
    }
    worker_->wake.notify_all();
    // The worker never waits for this thread, so joining cannot deadlock; the page it may be
    // drawing was told to stop. Its last delivery dies with this object's posted events.
    if (worker_->thread.joinable()) {
        worker_->thread.join();
    }
}

void PageRenderService::want(Viewer viewer, std::vector<Wish> wishes) {
    const std::int64_t pageCount = document_ ? document_->pageCount() : 0;
    std::erase_if(wishes, [&](const Wish& w) { return w.pageIndex < 0 || w.pageIndex >= pageCount; });
    wishes_[static_cast<std::size_t>(viewer)] = std::move(wishes);
    if (busy_ && !isWanted(busy_->wish)) {
        busy_->abort->abort();
    }
    evict(0);
    dispatch();
}

bool PageRenderService::isWanted(const Wish& wish) const {
    return std::ranges::any_of(wishes_, [&](const std::vector<Wish>& list) {
        return std::ranges::any_of(list, [&](const Wish& w) { return same(w, wish); });
    });
}

std::optional<PageRenderService::Entries::iterator> PageRenderService::find(std::int64_t pageIndex,
                                                                            double pixelsPerPoint) {
    const auto page = byPage_.find(pageIndex);
    if (page == byPage_.end()) {
        return std::nullopt;
    }
    // Nearest by ratio, so a thumbnail stands in for a page still being drawn. A much sharper
    // image does not: shrinking it on every paint costs more than drawing the small one.
    std::optional<Entries::iterator> nearest;
    const auto distance = [&](Entries::iterator e) {
        return std::abs(std::log(e->wish.pixelsPerPoint / pixelsPerPoint));
    };
    for (const Entries::iterator e : page->second) {
        if (e->wish.tile.isNull() && (!nearest || distance(e) < distance(*nearest))) {
            nearest = e;
        }
    }
    if (!nearest || (*nearest)->wish.pixelsPerPoint > kMaxStandInRatio * pixelsPerPoint) {
        return std::nullopt;
    }
    return nearest;
}

std::optional<PageRenderService::Entries::iterator> PageRenderService::findExact(const Wish& wish) {
    const auto page = byPage_.find(wish.pageIndex);
    if (page != byPage_.end()) {
        for (const Entries::iterator e : page->second) {
            if (same(e->wish, wish)) {
                return e;
            }
        }
    }
    return std::nullopt;
}

QImage PageRenderService::image(std::int64_t pageIndex, double pixelsPerPoint) {
    const auto entry = find(pageIndex, pixelsPerPoint);
    if (!entry) {
        return {};
    }
    recency_.splice(recency_.begin(), recency_, *entry);
    return (*entry)->image;
}

QImage PageRenderService::tile(std::int64_t pageIndex, double pixelsPerPoint, const QRect& tile) {
    const auto entry = findExact({pageIndex, pixelsPerPoint, tile});
    if (!entry) {
        return {};
    }
    recency_.splice(recency_.begin(), recency_, *entry);
    return (*entry)->image;
}

bool PageRenderService::has(std::int64_t pageIndex, double pixelsPerPoint, const QRect& tile) {
    return findExact({pageIndex, pixelsPerPoint, tile}).has_value();
}

void PageRenderService::dispatch() {
    if (busy_) {
        return;
    }
    for (const std::vector<Wish>& list : wishes_) {
        for (const Wish& wish : list) {
            if (hasFailed(wish.pageIndex) || findExact(wish)) {
                continue;
            }
            busy_ = Busy{wish, std::make_shared<PreviewAbort>()};
            {
                std::lock_guard lock(worker_->mutex);
                worker_->job = busy_;
            }
            if (!worker_->thread.joinable()) {
                worker_->thread = std::thread([this] { run(); });
            }
            worker_->wake.notify_all();
            return;
        }
    }
}

void PageRenderService::run() {
    const Draw draw = std::move(draw_);  // its MuPDF session lives and dies on this thread
    for (;;) {
        Busy job;
        {
            std::unique_lock lock(worker_->mutex);
            worker_->wake.wait(lock, [&] { return worker_->stop || worker_->job; });
            if (worker_->stop) {
                return;
            }
            job = *std::exchange(worker_->job, std::nullopt);
        }
        QImage image;
        try {
            image = draw(job.wish.pageIndex, job.wish.pixelsPerPoint, job.wish.tile, *job.abort);
        } catch (const std::exception&) {
            image = QImage();
        }
        QMetaObject::invokeMethod(
            this, [this, image = std::move(image)]() mutable { finish(std::move(image)); }, Qt::QueuedConnection);
    }
}

void PageRenderService::finish(QImage image) {
    const Busy done = *std::exchange(busy_, std::nullopt);
    const std::int64_t page = done.wish.pageIndex;
    // A render told to stop may hold part of a page: neither shown nor counted as failed.
    const bool aborted = done.abort->aborted();
    if (!aborted && image.isNull()) {
        failed_.insert(page);
    } else if (!aborted) {
        if (const auto old = findExact(done.wish)) {
            remove(*old);
        }
        evict(bytesOf(image));
        recency_.push_front({done.wish, std::move(image)});
        byPage_[page].push_back(recency_.begin());
        cachedBytes_ += bytesOf(recency_.front().image);
        peakBytes_ = std::max(peakBytes_, cachedBytes_);
    }
    dispatch();
    if (!aborted) {
        emit pageReady(page);
    }
}

void PageRenderService::evict(std::size_t room) {
    auto it = recency_.end();
    while (cachedBytes_ + room > budget_ && it != recency_.begin()) {
        --it;
        if (!isWanted(it->wish)) {
            remove(it++);
        }
    }
}

void PageRenderService::remove(Entries::iterator entry) {
    const std::int64_t page = entry->wish.pageIndex;
    auto& list = byPage_[page];
    std::erase(list, entry);
    if (list.empty()) {
        byPage_.erase(page);
    }
    cachedBytes_ -= bytesOf(entry->image);
    recency_.erase(entry);
}

std::shared_ptr<PageRenderService> renderServiceFor(std::shared_ptr<PageRenderService> current,
                                                    const SharedPdfDocument& document) {
    if (!document) {
        return nullptr;
    }
    if (current && current->document() == document) {
        return current;
    }
    return std::make_shared<PageRenderService>(document);
}

}  // namespace norvane
