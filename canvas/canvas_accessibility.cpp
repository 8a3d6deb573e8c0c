#include "canvas/canvas_accessibility.h"

#include "canvas/page_canvas.h"

#include <QAccessibleWidget>
#include <QScrollBar>
#include <QWindow>

#include <algorithm>
#include <set>

namespace norvane {
namespace {

using Kind = MarkKey::Kind;

// More new marks on one page than this are announced as one change of its children.
constexpr std::size_t kAnnouncedOneByOne = 8;

QString sourcePhrase(RedactionSource source) {
    switch (source) {
        case RedactionSource::manual:
            return QStringLiteral("manual");
        case RedactionSource::textSearch:
            return QStringLiteral("from Find Text");
        case RedactionSource::ocr:
            return QStringLiteral("from OCR Search");
    }
    return {};
}

Kind markKind(PageOutline::Kind kind) {
    switch (kind) {
        case PageOutline::Kind::searchHit:
            break;
        case PageOutline::Kind::finding:
            return Kind::finding;
        case PageOutline::Kind::hiddenContent:
            return Kind::hiddenContent;
    }
    return Kind::searchHit;
}

QString pagePhrase(qint64 pageIndex) {
    return QStringLiteral("page ") + QString::number(pageIndex + 1);
}

// Viewport rectangle -> global screen coordinates.
QRect onScreen(const PageCanvas& canvas, const QRectF& inViewport) {
    return inViewport.translated(canvas.viewport()->mapToGlobal(QPointF(0, 0))).toAlignedRect();
}

// Shared by the pages and what is on them: no QObject of their own, valid while the canvas is.
class CanvasPartAccessible : public QAccessibleInterface {
public:
    CanvasPartAccessible(CanvasAccessibility& owner, qint64 pageIndex) : owner_(owner), page_(pageIndex) {}

    qint64 pageIndex() const { return page_; }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return canvas().window()->windowHandle(); }
    void setText(QAccessible::Text, const QString&) override {}

protected:
    PageCanvas& canvas() const { return owner_.canvas(); }
    QAccessible::State shownState(const QRectF& inViewport) const {
        QAccessible::State state;
        state.offscreen = !inViewport.intersects(QRectF(canvas().viewport()->rect()));
        return state;
    }

    CanvasAccessibility& owner_;
    qint64 page_;
};

class MarkAccessible : public CanvasPartAccessible {
public:
    MarkAccessible(CanvasAccessibility& owner, qint64 pageIndex, MarkKey key)
        : CanvasPartAccessible(owner, pageIndex), key_(std::move(key)) {}

    const MarkKey& key() const { return key_; }
    bool isValid() const override { return owner_.indexOf(page_, key_).has_value(); }
    QAccessibleInterface* parent() const override { return owner_.page(page_); }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessible::Role role() const override { return QAccessible::Graphic; }

    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Description && key_.kind == Kind::box) {
            return QStringLiteral(
                "Arrow keys move it, Ctrl with the arrow keys resizes it, Shift takes larger steps, Return adds it "
                "as a redaction, Escape drops it.");
        }
        return t == QAccessible::Name ? name() : QString();
    }

    QString name() const {
        const QString of = QStringLiteral(" of ");
        switch (key_.kind) {
            case Kind::region:
                for (const ShownRegion& region : canvas().regionsOn(page_)) {
                    if (region.id == key_.region) {
                        return QStringLiteral("Redaction ") + QString::number(region.number) + of +
                               QString::number(canvas().regionCount()) + QStringLiteral(", ") + pagePhrase(page_) +
                               QStringLiteral(", ") + sourcePhrase(region.source);
                    }
                }
                return {};
            case Kind::box:
                return QStringLiteral("New box on ") + pagePhrase(page_);
            case Kind::searchHit:
                return QStringLiteral("Search match ") + QString::number(key_.number) + of +
                       QString::number(canvas().outlineCount(PageOutline::Kind::searchHit)) + QStringLiteral(", ") +
                       pagePhrase(page_);
            case Kind::finding:
                return QStringLiteral("Finding ") + QString::number(key_.number) + of +
                       QString::number(canvas().outlineCount(PageOutline::Kind::finding)) + QStringLiteral(", ") +
                       pagePhrase(page_);
            case Kind::hiddenContent:
                return QStringLiteral("Hidden content ") + QString::number(key_.number) + of +
                       QString::number(canvas().outlineCount(PageOutline::Kind::hiddenContent)) + QStringLiteral(", ") +
                       pagePhrase(page_);
        }
        return {};
    }

    QRectF inViewport() const {
        switch (key_.kind) {
            case Kind::region:
                for (const ShownRegion& region : canvas().regionsOn(page_)) {
                    if (region.id == key_.region) {
                        return canvas().pageRectToViewport(page_, region.rect);
                    }
                }
                return {};
            case Kind::box:
                return canvas().keyboardBoxInViewport().value_or(QRectF());
            case Kind::searchHit:
            case Kind::finding:
            case Kind::hiddenContent:
                return canvas().pageRectToViewport(page_, key_.rect);
        }
        return {};
    }

    QRect rect() const override { return onScreen(canvas(), inViewport()); }

    QAccessible::State state() const override {
        QAccessible::State state = shownState(inViewport());
        if (key_.kind == Kind::box) {
            state.focusable = true;
            state.focused = canvas().hasFocus();
        }
        return state;
    }

    // The name readers were last told.
    QString told;

private:
    MarkKey key_;
};

class PageAccessible : public CanvasPartAccessible {
public:
    using CanvasPartAccessible::CanvasPartAccessible;

    bool isValid() const override { return page_ < canvas().column().pageCount(); }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(&canvas()); }
    QAccessibleInterface* child(int index) const override { return owner_.mark(page_, index); }
    int childCount() const override { return owner_.markCount(page_); }
    int indexOfChild(const QAccessibleInterface* child) const override {
        const auto* mark = dynamic_cast<const MarkAccessible*>(child);
        if (!mark || mark->pageIndex() != page_) {
            return -1;
        }
        return owner_.indexOf(page_, mark->key()).value_or(-1);
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        // The last drawn is on top.
        for (int i = childCount() - 1; i >= 0; --i) {
            if (QAccessibleInterface* mark = child(i); mark && mark->rect().contains(x, y)) {
                return mark;
            }
        }
        return nullptr;
    }
    QAccessible::Role role() const override { return QAccessible::Graphic; }
    QString text(QAccessible::Text t) const override {
        if (t != QAccessible::Name) {
            return {};
        }
        return QStringLiteral("Page ") + QString::number(page_ + 1) + QStringLiteral(" of ") +
               QString::number(canvas().column().pageCount());
    }
    QRect rect() const override { return onScreen(canvas(), canvas().pageRectInViewport(page_)); }
    QAccessible::State state() const override { return shownState(canvas().pageRectInViewport(page_)); }
};

class CanvasAccessible : public QAccessibleWidget {
public:
    explicit CanvasAccessible(PageCanvas* canvas) : QAccessibleWidget(canvas, QAccessible::Document) {}

    PageCanvas* canvas() const { return static_cast<PageCanvas*>(widget()); }
    int childCount() const override { return static_cast<int>(canvas()->column().pageCount()); }
    QAccessibleInterface* child(int index) const override { return canvas()->accessibility().page(index); }
    int indexOfChild(const QAccessibleInterface* child) const override {
        const auto* page = dynamic_cast<const PageAccessible*>(child);
        return page && page->isValid() ? static_cast<int>(page->pageIndex()) : -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        const QPoint local = canvas()->viewport()->mapFromGlobal(QPoint(x, y));
        const auto page = canvas()->pageAt(local);
        if (!page || !canvas()->pageRectInViewport(*page).contains(local)) {
            return nullptr;
        }
        return child(static_cast<int>(*page));
    }
    // The box being placed holds the keyboard's attention.
    QAccessibleInterface* focusChild() const override {
        if (const auto& box = canvas()->keyboardBox(); box && canvas()->hasFocus()) {
            CanvasAccessibility& parts = canvas()->accessibility();
            if (const auto index = parts.indexOf(box->pageIndex(), MarkKey{Kind::box, {}, 0, {}})) {
                return parts.mark(box->pageIndex(), *index);
            }
        }
        return QAccessibleWidget::focusChild();
    }
};

QAccessibleInterface* canvasFactory(const QString& className, QObject* object) {
    if (className == QLatin1String("norvane::PageCanvas") && object && object->isWidgetType()) {
        return new CanvasAccessible(static_cast<PageCanvas*>(object));
    }
    return nullptr;
}

// Before any widget exists, so that no reader meets a canvas as a plain scroll area.
[[maybe_unused]] const bool kFactoryInstalled = (QAccessible::installFactory(canvasFactory), true);

}  // namespace

QString canvasKeysDescription() {
    return QStringLiteral(
        "To mark an area with the keyboard, press B to place a box at the centre of the page, move it with the "
        "arrow keys, resize it with Ctrl and the arrow keys, hold Shift for larger steps, then press Return to add "
        "it as a redaction or Escape to drop it. Page Up and Page Down move a page at a time.");
}

CanvasAccessibility::CanvasAccessibility(PageCanvas& canvas) : canvas_(canvas) {}

CanvasAccessibility::~CanvasAccessibility() {
    for (const auto& [key, id] : marks_) {
        QAccessible::deleteAccessibleInterface(id);
    }
    for (const auto& [index, id] : pages_) {
        QAccessible::deleteAccessibleInterface(id);
    }
}

QAccessibleInterface* CanvasAccessibility::page(qint64 index) {
    if (index < 0 || index >= canvas_.column().pageCount()) {
        return nullptr;
    }
    if (const auto found = pages_.find(index); found != pages_.end()) {
        return QAccessible::accessibleInterface(found->second);
    }
    auto* iface = new PageAccessible(*this, index);
    pages_.emplace(index, QAccessible::registerAccessibleInterface(iface));
    // What a reader is told is on this page from now on.
    std::vector<MarkKey>& known = known_[index];
    known.clear();
    for (int i = 0, count = markCount(index); i < count; ++i) {
        known.push_back(*markAt(index, i));
    }
    return iface;
}

int CanvasAccessibility::markCount(qint64 pageIndex) const {
    const auto& box = canvas_.keyboardBox();
    return static_cast<int>(canvas_.regionsOn(pageIndex).size() + canvas_.outlinesOn(pageIndex).size()) +
           (box && box->pageIndex() == pageIndex ? 1 : 0);
}

std::optional<MarkKey> CanvasAccessibility::markAt(qint64 pageIndex, int index) const {
    if (index < 0) {
        return std::nullopt;
    }
    auto i = static_cast<std::size_t>(index);
    const auto regions = canvas_.regionsOn(pageIndex);
    if (i < regions.size()) {
        return MarkKey{Kind::region, regions[i].id, 0, {}};
    }
    i -= regions.size();
    if (const auto& box = canvas_.keyboardBox(); box && box->pageIndex() == pageIndex) {
        if (i == 0) {
            return MarkKey{Kind::box, {}, 0, {}};
        }
        --i;
    }
    const auto outlines = canvas_.outlinesOn(pageIndex);
    if (i < outlines.size()) {
        const ShownOutline& shown = outlines[i];
        const Kind kind = markKind(shown.outline.kind);
        return MarkKey{kind, {}, shown.number, shown.outline.rect};
    }
    return std::nullopt;
}

std::optional<int> CanvasAccessibility::indexOf(qint64 pageIndex, const MarkKey& key) const {
    const auto regions = canvas_.regionsOn(pageIndex);
    if (key.kind == Kind::region) {
        const auto found =
            std::find_if(regions.begin(), regions.end(), [&](const ShownRegion& r) { return r.id == key.region; });
        return found == regions.end() ? std::nullopt : std::optional<int>(static_cast<int>(found - regions.begin()));
    }
    int index = static_cast<int>(regions.size());
    const auto& box = canvas_.keyboardBox();
    const bool boxHere = box && box->pageIndex() == pageIndex;
    if (key.kind == Kind::box) {
        return boxHere ? std::optional<int>(index) : std::nullopt;
    }
    index += boxHere ? 1 : 0;
    const auto outlines = canvas_.outlinesOn(pageIndex);
    for (std::size_t i = 0; i < outlines.size(); ++i) {
        const ShownOutline& shown = outlines[i];
        const Kind kind = markKind(shown.outline.kind);
        if (kind == key.kind && shown.number == key.number && shown.outline.rect == key.rect) {
            return index + static_cast<int>(i);
        }
    }
    return std::nullopt;
}

QAccessibleInterface* CanvasAccessibility::mark(qint64 pageIndex, int index) {
    const auto key = markAt(pageIndex, index);
    if (!key || !page(pageIndex)) {
        return nullptr;
    }
    if (const auto found = marks_.find({pageIndex, *key}); found != marks_.end()) {
        return QAccessible::accessibleInterface(found->second);
    }
    auto* iface = new MarkAccessible(*this, pageIndex, *key);
    iface->told = iface->name();
    marks_.emplace(std::pair{pageIndex, *key}, QAccessible::registerAccessibleInterface(iface));
    return iface;
}

void CanvasAccessibility::announce(QAccessibleInterface* iface, QAccessible::Event event) const {
    if (iface && QAccessible::isActive()) {
        QAccessibleEvent change(iface, event);
        QAccessible::updateAccessibility(&change);
    }
}

void CanvasAccessibility::marksChanged() {
    if (pages_.empty()) {
        return;  // no reader has looked
    }
    // What went, and what was renumbered.
    for (auto it = marks_.begin(); it != marks_.end();) {
        auto* iface = static_cast<MarkAccessible*>(QAccessible::accessibleInterface(it->second));
        if (iface->isValid()) {
            if (const QString name = iface->name(); name != iface->told) {
                iface->told = name;
                announce(iface, QAccessible::NameChanged);
            }
            ++it;
            continue;
        }
        announce(iface, QAccessible::ObjectDestroyed);
        QAccessible::deleteAccessibleInterface(it->second);
        it = marks_.erase(it);
    }
    // What came, on the pages readers know.
    for (const auto& [index, id] : pages_) {
        std::vector<MarkKey>& known = known_[index];
        std::vector<MarkKey> now;
        const int count = markCount(index);
        now.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            now.push_back(*markAt(index, i));
        }
        if (now == known) {
            continue;
        }
        const std::set<MarkKey> before(known.begin(), known.end());
        std::vector<int> added;
        for (int i = 0; i < count; ++i) {
            if (!before.contains(now[static_cast<std::size_t>(i)])) {
                added.push_back(i);
            }
        }
        known = std::move(now);
        if (added.size() > kAnnouncedOneByOne || !QAccessible::isActive()) {
            announce(QAccessible::accessibleInterface(id), QAccessible::ObjectReorder);
            continue;
        }
        for (const int i : added) {
            announce(mark(index, i), QAccessible::ObjectCreated);
        }
    }
}

void CanvasAccessibility::boxChanged() {
    const auto& box = canvas_.keyboardBox();
    const MarkKey key{Kind::box, {}, 0, {}};
    QAccessibleInterface* moved = nullptr;
    for (auto it = marks_.begin(); it != marks_.end(); ++it) {
        if (it->first.second.kind == Kind::box) {
            if (box && it->first.first == box->pageIndex()) {
                moved = QAccessible::accessibleInterface(it->second);
            } else {
                announce(QAccessible::accessibleInterface(it->second), QAccessible::ObjectDestroyed);
                QAccessible::deleteAccessibleInterface(it->second);
                marks_.erase(it);
            }
            break;
        }
    }
    if (!box) {
        marksChanged();
        if (canvas_.hasFocus()) {
            announce(QAccessible::queryAccessibleInterface(&canvas_), QAccessible::Focus);
        }
        return;
    }
    if (moved) {
        announce(moved, QAccessible::LocationChanged);
        return;
    }
    marksChanged();
    // Said as the box arrives: the keyboard now works on it.
    if (QAccessible::isActive() && canvas_.hasFocus()) {
        if (const auto index = indexOf(box->pageIndex(), key)) {
            announce(mark(box->pageIndex(), *index), QAccessible::Focus);
        }
    }
}

}  // namespace norvane
