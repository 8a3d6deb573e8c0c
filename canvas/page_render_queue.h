#pragma once
// Renders page previews on a worker thread for one view and keeps a bounded cache of them.
// The view says which pages it wants now (replacing any earlier wish, so fast scrolling
// never builds a backlog) and is told when an image arrives; painting never waits.

#include "engine/pdf_document.h"

#include <QHash>
#include <QImage>
#include <QObject>

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

namespace norvane {

class PageRenderQueue : public QObject {
    Q_OBJECT

public:
    struct Wish {
        std::int64_t pageIndex = 0;
        double pixelsPerPoint = 1.0;  // device pixels per point
    };

    explicit PageRenderQueue(std::size_t cacheBytes, QObject* parent = nullptr);
    ~PageRenderQueue() override;

    // Switching documents drops every cached image and every outstanding wish.
    void setDocument(SharedPdfDocument document);
    const SharedPdfDocument& document() const { return document_; }

    // The pages to render, most wanted first. Pages already cached at that resolution, and
    // pages that failed before, are skipped.
    void want(const std::vector<Wish>& wishes);

    // The newest image of a page at any resolution (null when none); marks it recently used.
    QImage image(std::int64_t pageIndex);
    bool hasFailed(std::int64_t pageIndex) const;
    std::size_t cachedBytes() const { return cachedBytes_; }

signals:
    void pageReady(qint64 pageIndex);

private:
    struct Entry {
        QImage image;
        double pixelsPerPoint = 0;
        std::list<std::int64_t>::iterator use;
    };
    struct Worker;

    void deliver(const SharedPdfDocument& document, std::int64_t pageIndex, double pixelsPerPoint, QImage image);
    void touch(Entry& entry, std::int64_t pageIndex);
    void evict();

    SharedPdfDocument document_;
    std::size_t cacheLimit_;
    std::size_t cachedBytes_ = 0;
    QHash<std::int64_t, Entry> cache_;
    std::list<std::int64_t> recency_;  // most recently used first
    QHash<std::int64_t, bool> failed_;
    QHash<std::int64_t, bool> protected_;  // pages of the latest wish list: never evicted
    std::unique_ptr<Worker> worker_;
};

}  // namespace norvane
