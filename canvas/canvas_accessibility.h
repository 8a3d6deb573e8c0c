#pragma once
// What a screen reader finds on the canvas. The canvas ("Pages") has one child per page
// ("Page 2 of 7"); a page has one child per pending region on it ("Redaction 3 of 7, page 2,
// manual"), the box being placed with the keyboard ("New box on page 2") and one per outlined
// search match, finding or hidden content ("Search match 1 of 4, page 2"), each where it is on
// screen.
// Child interfaces are made when a reader first asks for them, so a long document costs
// nothing until then; they are kept while what they stand for stays, and their coming and
// going is announced.

#include "records/redaction_records.h"

#include <QAccessible>
#include <QString>

#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace norvane {

class PageCanvas;

// How to work the canvas from the keyboard, as its accessible description says it.
QString canvasKeysDescription();

// Something drawn on a page, as a reader knows it.
struct MarkKey {
    enum class Kind { region, box, searchHit, finding, hiddenContent };
    Kind kind = Kind::region;
    Uuid region;        // regions
    qint64 number = 0;  // outlines: among their kind, from 1
    PageRect rect;      // outlines

    friend bool operator<(const MarkKey& a, const MarkKey& b) {
        const auto tie = [](const MarkKey& k) {
            return std::tie(k.kind, k.region, k.number, k.rect.x, k.rect.y, k.rect.width, k.rect.height);
        };
        return tie(a) < tie(b);
    }
    friend bool operator==(const MarkKey& a, const MarkKey& b) { return !(a < b) && !(b < a); }
};

class CanvasAccessibility {
public:
    explicit CanvasAccessibility(PageCanvas& canvas);
    // Deletes every child interface it made.
    ~CanvasAccessibility();
    CanvasAccessibility(const CanvasAccessibility&) = delete;
    CanvasAccessibility& operator=(const CanvasAccessibility&) = delete;

    PageCanvas& canvas() const { return canvas_; }

    QAccessibleInterface* page(qint64 index);
    int markCount(qint64 pageIndex) const;
    QAccessibleInterface* mark(qint64 pageIndex, int index);
    std::optional<MarkKey> markAt(qint64 pageIndex, int index) const;
    // Where a mark is among its page's children; none once it is gone.
    std::optional<int> indexOf(qint64 pageIndex, const MarkKey& key) const;

    // After the regions or outlines changed.
    void marksChanged();
    // After the keyboard's box came, moved or went.
    void boxChanged();

private:
    void announce(QAccessibleInterface* iface, QAccessible::Event event) const;

    PageCanvas& canvas_;
    std::map<qint64, QAccessible::Id> pages_;
    // Keyed by page too: the same key on another page is another object.
    std::map<std::pair<qint64, MarkKey>, QAccessible::Id> marks_;
    std::map<qint64, std::vector<MarkKey>> known_;  // what readers were told each page holds
};

}  // namespace norvane
