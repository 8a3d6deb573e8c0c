#pragma once

#include <QtGlobal>

#include <algorithm>
#include <numeric>
#include <span>
#include <vector>

namespace norvane {

// Items grouped by page once per change, so that a paint visits only the pages it shows.
template <class T>
class PageBuckets {
public:
    // Keeps take(item) for each item on a page in [0, pageCount), in list order within a page;
    // take is called once per item kept, in list order, so it may number them.
    template <class Item, class Take>
    void assign(const std::vector<Item>& list, qint64 pageCount, Take take) {
        const auto within = [&](const Item& item) { return item.pageIndex >= 0 && item.pageIndex < pageCount; };
        starts_.assign(static_cast<std::size_t>(std::max<qint64>(pageCount, 0)) + 1, 0);
        for (const Item& item : list) {
            if (within(item)) {
                ++starts_[static_cast<std::size_t>(item.pageIndex) + 1];
            }
        }
        std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
        std::vector<std::size_t> next(starts_.begin(), starts_.end() - 1);
        items_.resize(starts_.back());
        for (const Item& item : list) {
            if (within(item)) {
                items_[next[static_cast<std::size_t>(item.pageIndex)]++] = take(item);
            }
        }
    }
    std::span<const T> on(qint64 pageIndex) const {
        if (pageIndex < 0 || static_cast<std::size_t>(pageIndex) + 1 >= starts_.size()) {
            return {};
        }
        const auto p = static_cast<std::size_t>(pageIndex);
        return std::span<const T>(items_).subspan(starts_[p], starts_[p + 1] - starts_[p]);
    }

private:
    std::vector<T> items_;
    std::vector<std::size_t> starts_;  // page p holds items_[starts_[p], starts_[p + 1])
};

}  // namespace norvane
