#include "app/root_view.h"

#include "app/how_to_view.h"
#include "history/recent_redactions_view.h"
#include "ui/symbols.h"
#include "ui/theme.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"
#include "workspace/workspace_screen.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QListWidget>
#include <QSplitter>
#include <QVBoxLayout>

namespace norvane {

namespace {

struct SidebarEntry {
    RedactionSidebarItem item;
    const char* raw;
    const char* symbol;
    const char* header;
};

constexpr std::array<SidebarEntry, 3> kSidebar{{
    {RedactionSidebarItem::redaction, "Redaction", "rectangle.and.pencil.and.ellipsis", "TOOLS"},
    {RedactionSidebarItem::recent, "Recent Redactions", "clock.arrow.circlepath", "LIBRARY"},
    {RedactionSidebarItem::howTo, "How to Use", "questionmark.circle", "HELP"},
}};

const SidebarEntry& entryFor(RedactionSidebarItem item) {
    for (const auto& entry : kSidebar) {
        if (entry.item == item) return entry;
    }
    return kSidebar[0];
}

constexpr int kRawValueRole = Qt::UserRole + 1;

// The arrows move the keyboard's place between the section rows and leave the shown section
// alone; Return or Space opens the section there. The place is ringed, the section filled.
class SidebarList : public QListWidget {
public:
    SidebarList() { setFocusPolicy(Qt::TabFocus); }

protected:
    void keyPressEvent(QKeyEvent* event) override {
        const int from = currentRow() < 0 ? (event->key() == Qt::Key_Up ? count() : -1) : currentRow();
        switch (event->key()) {
            case Qt::Key_Up:
                return moveTo(from, -1);
            case Qt::Key_Down:
                return moveTo(from, 1);
            case Qt::Key_Home:
                return moveTo(-1, 1);
            case Qt::Key_End:
                return moveTo(count(), -1);
            case Qt::Key_Return:
            case Qt::Key_Enter:
            case Qt::Key_Space:
                if (QListWidgetItem* row = currentItem(); row && row->flags().testFlag(Qt::ItemIsSelectable)) {
                    setCurrentItem(row, QItemSelectionModel::ClearAndSelect);
                }
                return;
            default:
                QWidget::keyPressEvent(event);  // no type-to-select: a letter must not switch sections
        }
    }

    void focusInEvent(QFocusEvent* event) override {
        QListWidget::focusInEvent(event);
        // Entering with Tab starts on the section shown, or the first one.
        if (!currentItem() || !currentItem()->flags().testFlag(Qt::ItemIsSelectable)) moveTo(-1, 1);
    }

private:
    // To the next section row from `row` in `step`'s direction; stays put at the ends.
    void moveTo(int row, int step) {
        for (int next = row + step; next >= 0 && next < count(); next += step) {
            if (item(next)->flags().testFlag(Qt::ItemIsSelectable)) {
                selectionModel()->setCurrentIndex(indexFromItem(item(next)), QItemSelectionModel::NoUpdate);
                return;
            }
        }
    }
};

}  // namespace

const std::array<RedactionSidebarItem, 3>& allSidebarItems() {
    static constexpr std::array<RedactionSidebarItem, 3> items{
        RedactionSidebarItem::redaction, RedactionSidebarItem::recent, RedactionSidebarItem::howTo};
    return items;
}

QString rawValue(RedactionSidebarItem item) {
    return QString::fromUtf8(entryFor(item).raw);
}

std::optional<RedactionSidebarItem> sidebarItemFromRawValue(const QString& raw) {
    for (const auto& entry : kSidebar) {
        if (raw == QString::fromUtf8(entry.raw)) return entry.item;
    }
    return std::nullopt;
}

QString sidebarTitle(RedactionSidebarItem item) {
    return rawValue(item);
}
QString sidebarSymbol(RedactionSidebarItem item) {
    return QString::fromUtf8(entryFor(item).symbol);
}
QString sidebarSectionHeader(RedactionSidebarItem item) {
    return QString::fromUtf8(entryFor(item).header);
}

RootView::RootView(SharedServices services, QWidget* parent) : QWidget(parent), services_(std::move(services)) {
    using namespace theme;
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    splitter_ = new QSplitter(Qt::Horizontal);
    splitter_->setChildrenCollapsible(false);
    splitter_->setHandleWidth(1);
    layout->addWidget(splitter_);

    sidebar_ = new SidebarList;
    sidebar_->setObjectName(QStringLiteral("sidebar"));
    sidebar_->setAccessibleName(QStringLiteral("Sections"));
    sidebar_->setMinimumWidth(sidebarMinimumWidth);
    sidebar_->setMaximumWidth(sidebarMaximumWidth);
    sidebar_->setFrameShape(QFrame::NoFrame);
    sidebar_->setSelectionMode(QAbstractItemView::SingleSelection);
    sidebar_->setIconSize(QSize(16, 16));
    sidebar_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    sidebar_->setStyleSheet(QStringLiteral(
        "QListWidget#sidebar { background: palette(window); padding: 8px 10px; outline: 0; }"
        "QListWidget#sidebar::item { border: 2px solid transparent; border-radius: 6px; padding: 0px 4px;"
        " color: palette(window-text); }"
        "QListWidget#sidebar::item:selected { background: palette(highlight); color: palette(highlighted-text); }"
        "QListWidget#sidebar::item:focus { border-color: palette(highlight); }"
        "QListWidget#sidebar::item:selected:focus { border-color: palette(window-text); }"));

    // Brand block: not selectable, no tag.
    auto* brand = new QListWidgetItem(sidebar_);
    brand->setFlags(Qt::NoItemFlags);
    brand->setData(Qt::AccessibleTextRole, QStringLiteral("Norvane"));
    auto* brandBlock = new QWidget;
    auto* brandStack = new QVBoxLayout(brandBlock);
    brandStack->setContentsMargins(6, 10, 0, 10);
    brandStack->setSpacing(5);
    brandStack->addWidget(new ThemedLabel(QStringLiteral("Norvane"), theme::font(TextStyle::Title2, QFont::Bold)));
    brand->setSizeHint(brandBlock->sizeHint());
    sidebar_->setItemWidget(brand, brandBlock);

    for (const auto item : allSidebarItems()) {
        auto* header = new QListWidgetItem(sidebarSectionHeader(item), sidebar_);
        header->setFlags(Qt::NoItemFlags);
        header->setFont(theme::font(TextStyle::Caption, QFont::DemiBold));
        header->setForeground(secondaryLabelColor(palette()));
        header->setSizeHint(QSize(0, 28));
        header->setTextAlignment(Qt::AlignLeft | Qt::AlignBottom);

        auto* row = new QListWidgetItem(symbolIcon(sidebarSymbol(item)), sidebarTitle(item), sidebar_);
        row->setData(kRawValueRole, rawValue(item));
        row->setFont(theme::font(TextStyle::Body));
        row->setSizeHint(QSize(0, 30));
    }
    connect(sidebar_, &QListWidget::itemSelectionChanged, this, [this] {
        if (syncing_) return;
        const auto selected = sidebar_->selectedItems();
        setSelection(selected.isEmpty()
                         ? std::nullopt
                         : sidebarItemFromRawValue(selected.constFirst()->data(kRawValueRole).toString()));
    });
    splitter_->addWidget(sidebar_);

    detailHost_ = new QWidget;
    auto* detailLayout = new QVBoxLayout(detailHost_);
    detailLayout->setContentsMargins(0, 0, 0, 0);
    splitter_->addWidget(detailHost_);
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);

    setSelection(RedactionSidebarItem::redaction);
}

void RootView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (sized_) return;
    // The sidebar opens at its ideal width once the window's width is known.
    sized_ = true;
    splitter_->setSizes(
        {sidebarIdealWidth, qMax(0, splitter_->width() - sidebarIdealWidth - splitter_->handleWidth())});
}

WorkspaceScreen* RootView::workspace() const {
    return qobject_cast<WorkspaceScreen*>(detail_);
}

void RootView::setSelection(std::optional<RedactionSidebarItem> item) {
    const bool first = detail_ == nullptr;
    const auto previous = selection_;
    // No selection shows the workspace too; moving between the two keeps the one shown.
    auto screenOf = [](std::optional<RedactionSidebarItem> value) {
        return value.value_or(RedactionSidebarItem::redaction);
    };
    const bool leavesWorkspace = !first && screenOf(previous) == RedactionSidebarItem::redaction &&
                                 screenOf(item) != RedactionSidebarItem::redaction;
    if (leavesWorkspace && leaveQuestion_ && !leaveQuestion_()) {
        syncSidebarSelection();  // the row clicked gives the selection back
        return;
    }
    selection_ = item;
    syncSidebarSelection();
    if (first || screenOf(previous) != screenOf(item)) showDetailFor(item);
}

void RootView::syncSidebarSelection() {
    syncing_ = true;
    if (!selection_) {
        sidebar_->clearSelection();
        sidebar_->setCurrentItem(nullptr);
    } else if (QListWidgetItem* row = rowFor(*selection_)) {
        sidebar_->setCurrentItem(row);
        row->setSelected(true);
    }
    syncing_ = false;
}

QListWidgetItem* RootView::rowFor(RedactionSidebarItem item) const {
    for (int index = 0; index < sidebar_->count(); ++index) {
        QListWidgetItem* row = sidebar_->item(index);
        if (row->data(kRawValueRole).toString() == rawValue(item)) return row;
    }
    return nullptr;
}

void RootView::showDetailFor(std::optional<RedactionSidebarItem> item) {
    // The old screen goes first, with all its state; a running task keeps its own model alive.
    delete detail_;
    detail_ = nullptr;
    switch (item.value_or(RedactionSidebarItem::redaction)) {
        case RedactionSidebarItem::redaction:
            detail_ = new WorkspaceScreen(services_);
            break;
        case RedactionSidebarItem::recent:
            detail_ = new RecentRedactionsView(*services_->history, services_->desktop);
            break;
        case RedactionSidebarItem::howTo:
            detail_ = new EnhancedRedactionHowToView;
            break;
    }
    detailHost_->layout()->addWidget(detail_);
    emit detailChanged();
}

}  // namespace norvane
