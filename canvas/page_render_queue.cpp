#include "canvas/page_render_queue.h"

#include "engine/page_preview.h"

#include <QMetaObject>
#include <QPointer>

#include <cmath>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>

namespace norvane {
namespace {

bool sameScale(double a, double b) {
    return std::abs(a - b) <= 1e-6 * std::max(a, b);
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

}  // namespace

struct PageRenderQueue::Worker {
    std::mutex mutex;
    std::condition_variable wake;
    SharedPdfDocument document;
    std::deque<Wish> wishes;
    std::optional<Wish> inFlight;
    bool stop = false;
    std::thread thread;

    void run(PageRenderQueue* owner) {
        std::unique_ptr<PagePreviewRenderer> renderer;
        for (;;) {
            Wish wish;
            SharedPdfDocument doc;
            {
                std::unique_lock lock(mutex);
                wake.wait(lock, [&] { return stop || !wishes.empty() || (renderer && !document); });
                if (stop) {
                    return;
                }
                if (wishes.empty()) {
                    renderer.reset();  // the document was closed: let its memory go
                    continue;
                }
                wish = wishes.front();
                wishes.pop_front();
                doc = document;
                inFlight = wish;
            }
            QImage image;
            if (doc) {
                if (!renderer || renderer->document() != doc) {
                    renderer.reset();
                    try {
                        renderer = std::make_unique<PagePreviewRenderer>(doc);
                    } catch (const std::exception&) {
                        renderer.reset();
                    }
                }
                if (renderer) {
                    if (auto preview = renderer->render(wish.pageIndex, wish.pixelsPerPoint)) {
                        image = toImage(*preview);
                    }
                }
            }
            {
                std::lock_guard lock(mutex);
                inFlight.reset();
            }
            // Queued to the owner's thread; dropped by Qt if the owner is gone by then.
            QMetaObject::invokeMethod(
                owner,
                [owner, doc, wish, image = std::move(image)]() mutable {
                owner->deliver(doc, wish.pageIndex, wish.pixelsPerPoint, std::move(image));
                },
                Qt::QueuedConnection);
        }
    }
};

PageRenderQueue::PageRenderQueue(std::size_t cacheBytes, QObject* parent)
    : QObject(parent), cacheLimit_(cacheBytes), worker_(std::make_unique<Worker>()) {
    worker_->thread = std::thread([this] { worker_->run(this); });
}

PageRenderQueue::~PageRenderQueue() {
    {
        std::lock_guard lock(worker_->mutex);
        worker_->stop = true;
        worker_->wishes.clear();
    }
    worker_->wake.notify_all();
    // The worker never waits for this thread, so joining here cannot deadlock; at most it
    // finishes the one page it is drawing.
    worker_->thread.join();
}

void PageRenderQueue::setDocument(SharedPdfDocument document) {
    if (document == document_) {
        return;
    }
    document_ = std::move(document);
    cache_.clear();
    recency_.clear();
    failed_.clear();
    protected_.clear();
    cachedBytes_ = 0;
    {
        std::lock_guard lock(worker_->mutex);
        worker_->document = document_;
        worker_->wishes.clear();
    }
    worker_->wake.notify_all();
}

void PageRenderQueue::want(const std::vector<Wish>& wishes) {
    protected_.clear();
    std::deque<Wish> queue;
    const std::int64_t pageCount = document_ ? document_->pageCount() : 0;
    for (const Wish& wish : wishes) {
        if (wish.pageIndex < 0 || wish.pageIndex >= pageCount) {
            continue;
        }
        protected_.insert(wish.pageIndex, true);
        if (failed_.contains(wish.pageIndex)) {
            continue;
        }
        const auto cached = cache_.constFind(wish.pageIndex);
        if (cached != cache_.constEnd() && sameScale(cached->pixelsPerPoint, wish.pixelsPerPoint)) {
            continue;
        }
        queue.push_back(wish);
    }
    {
        std::lock_guard lock(worker_->mutex);
        if (worker_->inFlight) {
            const Wish& busy = *worker_->inFlight;
            std::erase_if(queue, [&](const Wish& w) {
                return w.pageIndex == busy.pageIndex && sameScale(w.pixelsPerPoint, busy.pixelsPerPoint);
            });
        }
        worker_->wishes = std::move(queue);
    }
    worker_->wake.notify_all();
}

QImage PageRenderQueue::image(std::int64_t pageIndex) {
    auto found = cache_.find(pageIndex);
    if (found == cache_.end()) {
        return {};
    }
    touch(*found, pageIndex);
    return found->image;
}

bool PageRenderQueue::hasFailed(std::int64_t pageIndex) const {
    return failed_.contains(pageIndex);
}

void PageRenderQueue::deliver(const SharedPdfDocument& document, std::int64_t pageIndex, double pixelsPerPoint,
                              QImage image) {
    if (document != document_ || !document_) {
        return;  // rendered for a document this view no longer shows
    }
    if (image.isNull()) {
        failed_.insert(pageIndex, true);
        emit pageReady(pageIndex);
        return;
    }
    auto found = cache_.find(pageIndex);
    if (found != cache_.end()) {
        cachedBytes_ -= static_cast<std::size_t>(found->image.sizeInBytes());
        recency_.erase(found->use);
        cache_.erase(found);
    }
    recency_.push_front(pageIndex);
    cachedBytes_ += static_cast<std::size_t>(image.sizeInBytes());
    cache_.insert(pageIndex, Entry{std::move(image), pixelsPerPoint, recency_.begin()});
    evict();
    emit pageReady(pageIndex);
}

void PageRenderQueue::touch(Entry& entry, std::int64_t pageIndex) {
    recency_.erase(entry.use);
    recency_.push_front(pageIndex);
    entry.use = recency_.begin();
}

void PageRenderQueue::evict() {
    auto it = recency_.end();
    while (cachedBytes_ > cacheLimit_ && it != recency_.begin()) {
        --it;
        const std::int64_t page = *it;
        if (protected_.contains(page)) {
            continue;
        }
        auto found = cache_.find(page);
        cachedBytes_ -= static_cast<std::size_t>(found->image.sizeInBytes());
        cache_.erase(found);
        it = recency_.erase(it);
    }
}

}  // namespace norvane
