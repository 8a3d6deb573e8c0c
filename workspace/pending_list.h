#pragma once
// The pending regions of the inspector: page, what it covers, and a remove button. Delete,
// Backspace or Space remove the current row, and the row taking its place becomes current;
// for a screen reader the button is a child of its row, named for the page.

#include "model/redaction_view_model.h"
#include "workspace/row_list_view.h"

namespace norvane {

// The document model's regions, changed in place so that the choice and scrolling survive.
class PendingListModel : public CopiedRowsModel<RedactionRegion> {
    Q_OBJECT
public:
    enum Role { DetailRole = Qt::UserRole + 1 };
    explicit PendingListModel(RedactionViewModel& model, QObject* parent = nullptr);

protected:
    // Display: "Page 3"; DetailRole: the matched text, or the source; accessible text: page,
    // detail and how it was found.
    QVariant rowData(const RedactionRegion& region, int role) const override;

private:
    void sync();
    RedactionViewModel& model_;
};

class PendingListView : public RowListView {
    Q_OBJECT
public:
    explicit PendingListView(RedactionViewModel& model, QWidget* parent = nullptr);
    PendingListModel* rows() const { return rows_; }
    // "Remove redaction on page 3".
    QString partName(int row) const override;

protected:
    QString partToolTip(int row) const override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    RedactionViewModel& model_;
    PendingListModel* rows_;
};

}  // namespace norvane
