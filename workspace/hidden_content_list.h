#pragma once
// What the source hides, by page: a header per page ("Document" for what belongs to none), then
// a card per finding ("Failed redaction: 12 characters under a box"). Covered text has a
// "Redact" button, pressed also by Return or Space on its row; choosing a row with a place
// shows that place (the inspector connects both).

#include "engine/inspection.h"
#include "workspace/row_list_view.h"

#include <optional>
#include <vector>

namespace norvane {

struct HiddenContentRow {
    std::int64_t pageIndex = -1;
    std::optional<InspectionFinding> finding;  // none: the header of its page
};

class HiddenContentListModel : public CopiedRowsModel<HiddenContentRow> {
    Q_OBJECT
public:
    using CopiedRowsModel::CopiedRowsModel;
    // Grouped by page, what belongs to no page first; within a page in the order given.
    void setFindings(const std::vector<InspectionFinding>& findings);
    // Headers take no selection.
    Qt::ItemFlags flags(const QModelIndex& index) const override;

protected:
    // Display: the header's page, or the finding described; accessible text: its page and that.
    QVariant rowData(const HiddenContentRow& row, int role) const override;
};

class HiddenContentRowDelegate;

class HiddenContentListView : public RowListView {
    Q_OBJECT
public:
    explicit HiddenContentListView(QWidget* parent = nullptr);
    HiddenContentListModel* rows() const { return rows_; }
    // Covered text with a place: what "Redact" can cover.
    bool hasPart(int row) const override;
    // "Redact covered text on page 3".
    QString partName(int row) const override;

signals:
    // The current row changed to one with a place.
    void placeChosen(int row);

protected:
    QString partToolTip(int row) const override;
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    HiddenContentListModel* rows_;
};

// The finding's place on a page, when it has one.
bool hasPlace(const InspectionFinding& finding);
// Covered text with a place, which a pending region can cover.
bool isRedactable(const InspectionFinding& finding);

}  // namespace norvane
