#include "canvas/page_column.h"

#include "canvas/page_geometry.h"
#include "engine/page_preview.h"

#include <algorithm>
#include <cmath>

namespace norvane {
namespace {

// Above this a page is drawn in tiles of what is in view, so zooming in stays sharp without
// pictures of whole enlarged pages; a small whole picture stands in while tiles are drawn.
constexpr double kWholePagePixels = 8e6;
constexpr int kTile = 1024;  // device pixels
constexpr double kStandInPixels = 2e6;

}  // namespace

PageColumn::PageColumn(std::vector<PdfPageInfo> pages) : pages_(std::move(pages)) {
    sizes_.reserve(pages_.size());
    for (const PdfPageInfo& page : pages_) {
        sizes_.push_back(displayedPageSize(page));
        widest_ = std::max(widest_, sizes_.back().width());
    }
}

QRectF PageColumn::pageRect(qint64 index) const {
    if (index < 0 || index >= static_cast<qint64>(rects_.size())) {
        return {};
    }
    return rects_[static_cast<std::size_t>(index)];
}

double PageColumn::fitScale(ZoomMode mode, QSizeF area, double barWidth, qint64 readPage, double current) const {
    if (mode == ZoomMode::free || pages_.empty()) {
        return current;
    }
    // Fitted to the width with no vertical bar, unless the pages are then too tall for the
    // view: then fitted beside the bar. Deciding from the contents alone keeps the bar from
    // coming and going as the scale changes.
    const auto fitted = [&](double wide) {
        const double available = wide - 2 * kMargin;
        if (mode == ZoomMode::fitPage) {
            const QSizeF page = displayedSize(std::clamp<qint64>(readPage, 0, pageCount() - 1));
            const double high = area.height() - 2 * kGap;
            if (!(page.width() > 0) || !(page.height() > 0) || available <= 0 || high <= 0) {
                return kMinScale;
            }
            return std::min(available / page.width(), high / page.height());
        }
        return widest_ > 0 && available > 0 ? available / widest_ : kMinScale;
    };
    const double alone = fitted(area.width());
    double tall = 2 * kMargin - kGap;
    for (const QSizeF& size : sizes_) {
        tall += size.height() * alone + kGap;
    }
    return tall <= area.height() ? alone : fitted(area.width() - barWidth);
}

void PageColumn::layOut(double scale, double viewWidth) {
    scale_ = std::clamp(scale, kMinScale, kMaxScale);
    rects_.clear();
    if (pages_.empty()) {
        content_ = {};
        return;
    }
    const double contentWidth = widest_ * scale_ + 2 * kMargin;
    const double columnWidth = std::max(contentWidth, viewWidth);
    double y = kMargin;
    rects_.reserve(sizes_.size());
    for (const QSizeF& points : sizes_) {
        const QSizeF size = points * scale_;
        rects_.emplace_back((columnWidth - size.width()) / 2.0, y, size.width(), size.height());
        y += size.height() + kGap;
    }
    content_ = QSizeF(contentWidth, y - kGap + kMargin);
}

std::optional<QPointF> PageColumn::relayout(double scale, double viewWidth, QPointF offset, QPointF anchor) {
    const auto held = anchorAt(offset + anchor);
    layOut(scale, viewWidth);
    if (!held || !hasPage(held->page) || rects_.empty()) {
        return std::nullopt;
    }
    return contentPoint(*held) - anchor;
}

std::optional<PageColumn::Anchor> PageColumn::anchorAt(QPointF content) const {
    const auto page = pageAt(content);
    if (!page) {
        return std::nullopt;
    }
    return Anchor{*page, (content - pageRect(*page).topLeft()) / scale_};
}

QPointF PageColumn::contentPoint(const Anchor& anchor) const {
    return pageRect(anchor.page).topLeft() + anchor.offset * scale_;
}

std::optional<qint64> PageColumn::pageAt(QPointF point) const {
    if (rects_.empty()) {
        return std::nullopt;
    }
    // Pages are stacked top to bottom: the first whose bottom edge lies below the point,
    // or the one above it, is the nearest.
    const auto below = std::lower_bound(rects_.begin(), rects_.end(), point.y(),
                                        [](const QRectF& r, double y) { return r.bottom() < y; });
    const auto distance = [&](const QRectF& r) {
        const double dx = std::max({r.left() - point.x(), 0.0, point.x() - r.right()});
        const double dy = std::max({r.top() - point.y(), 0.0, point.y() - r.bottom()});
        return std::hypot(dx, dy);
    };
    std::optional<std::size_t> best;
    double bestDistance = 0;
    for (auto it : {below, below == rects_.begin() ? rects_.end() : below - 1}) {
        if (it == rects_.end()) {
            continue;
        }
        const double d = distance(*it);
        if (!best || d < bestDistance) {
            best = static_cast<std::size_t>(it - rects_.begin());
            bestDistance = d;
        }
    }
    return best ? std::optional<qint64>(static_cast<qint64>(*best)) : std::nullopt;
}

std::optional<qint64> PageColumn::currentPage(double top) const {
    if (rects_.empty()) {
        return std::nullopt;
    }
    const auto it = std::lower_bound(rects_.begin(), rects_.end(), top + kGap,
                                     [](const QRectF& r, double y) { return r.bottom() <= y; });
    if (it == rects_.end()) {
        return static_cast<qint64>(rects_.size()) - 1;
    }
    return static_cast<qint64>(it - rects_.begin());
}

double PageColumn::topOf(qint64 index) const {
    return pageRect(index).top() - kGap / 2;
}

std::pair<qint64, qint64> PageColumn::pagesWithin(double top, double bottom) const {
    const auto first =
        std::lower_bound(rects_.begin(), rects_.end(), top, [](const QRectF& r, double y) { return r.bottom() < y; });
    const auto last =
        std::upper_bound(first, rects_.end(), bottom, [](double y, const QRectF& r) { return y < r.top(); });
    return {static_cast<qint64>(first - rects_.begin()), static_cast<qint64>(last - rects_.begin())};
}

QRectF PageColumn::displayedToContent(qint64 index, const QRectF& displayed) const {
    const QRectF page = pageRect(index);
    if (page.isNull()) {
        return {};
    }
    return {page.left() + displayed.left() * scale_, page.top() + displayed.top() * scale_, displayed.width() * scale_,
            displayed.height() * scale_};
}

QRectF PageColumn::contentToDisplayed(qint64 index, const QRectF& content) const {
    const QRectF page = pageRect(index);
    return {(content.left() - page.left()) / scale_, (content.top() - page.top()) / scale_, content.width() / scale_,
            content.height() / scale_};
}

QRectF PageColumn::toContent(qint64 index, const PageRect& rect) const {
    if (!hasPage(index)) {
        return {};
    }
    return displayedToContent(index, pageRectToDisplayed(page(index), rect));
}

PageRect PageColumn::toPage(qint64 index, const QRectF& content) const {
    if (!hasPage(index) || pageRect(index).isNull()) {
        return {};
    }
    return displayedRectToPage(page(index), contentToDisplayed(index, content));
}

PageColumn::Picture PageColumn::picture(qint64 index, const QRectF& view, double devicePixelRatio) const {
    Picture picture;
    picture.pixelsPerPoint = scale_ * devicePixelRatio;
    const QSizeF points = displayedSize(index);
    if (points.width() * points.height() * picture.pixelsPerPoint * picture.pixelsPerPoint <= kWholePagePixels) {
        return picture;
    }
    picture.tiled = true;
    picture.pixelsPerPoint = boundedPreviewScale(page(index), picture.pixelsPerPoint, true);
    const double wide = std::ceil(points.width() * picture.pixelsPerPoint);
    const double high = std::ceil(points.height() * picture.pixelsPerPoint);
    const QRectF onPage = pageRect(index);
    const QRectF seen = onPage & view;
    if (seen.isEmpty()) {
        return picture;
    }
    const double toDevice = picture.pixelsPerPoint / scale_;
    const auto first = [](double v) { return static_cast<int>(std::max(0.0, std::floor(v)) / kTile); };
    const auto last = [](double v, double limit) {
        return static_cast<int>(std::clamp(std::ceil(v), 1.0, limit) - 1) / kTile;
    };
    const QRectF local = seen.translated(-onPage.topLeft());
    const QRect whole(0, 0, static_cast<int>(wide), static_cast<int>(high));
    for (int ty = first(local.top() * toDevice); ty <= last(local.bottom() * toDevice, high); ++ty) {
        for (int tx = first(local.left() * toDevice); tx <= last(local.right() * toDevice, wide); ++tx) {
            picture.tiles.push_back(QRect(tx * kTile, ty * kTile, kTile, kTile) & whole);
        }
    }
    return picture;
}

std::vector<PageRenderService::Wish> PageColumn::wishes(const QRectF& view, double devicePixelRatio) const {
    std::vector<PageRenderService::Wish> wishes;
    std::vector<PageRenderService::Wish> standIns;
    const auto [first, end] = pagesWithin(view.top(), view.bottom());
    for (qint64 index = first; index < end; ++index) {
        const Picture shown = picture(index, view, devicePixelRatio);
        if (!shown.tiled) {
            wishes.push_back({index, shown.pixelsPerPoint, {}});
            continue;
        }
        for (const QRect& tile : shown.tiles) {
            wishes.push_back({index, shown.pixelsPerPoint, tile});
        }
        const QSizeF points = displayedSize(index);
        standIns.push_back({index, std::sqrt(kStandInPixels / (points.width() * points.height())), {}});
    }
    // One page either side, so ordinary scrolling finds its next page ready.
    for (const qint64 neighbour : {end, first - 1}) {
        if (first < end && hasPage(neighbour) && neighbour < static_cast<qint64>(rects_.size())) {
            if (const Picture shown = picture(neighbour, view, devicePixelRatio); !shown.tiled) {
                wishes.push_back({neighbour, shown.pixelsPerPoint, {}});
            }
        }
    }
    wishes.insert(wishes.end(), standIns.begin(), standIns.end());
    return wishes;
}

}  // namespace norvane
