#pragma once
// The search results of the inspector: a hit on a card with its page, its text (two lines at
// most) and its source. Pressing one shows its page and adds it as a pending region (the
// inspector connects partClicked).

#include "model/redaction_view_model.h"
#include "workspace/row_list_view.h"

namespace norvane {

// The document model's search results, replaced whole as the search replaces them.
class ResultListModel : public CopiedRowsModel<RedactionSearchResult> {
    Q_OBJECT
public:
    explicit ResultListModel(RedactionViewModel& model, QObject* parent = nullptr);

protected:
    // Display: the text; accessible text: page, text and source.
    QVariant rowData(const RedactionSearchResult& hit, int role) const override;
};

class ResultRowDelegate;

class ResultListView : public RowListView {
    Q_OBJECT
public:
    explicit ResultListView(RedactionViewModel& model, QWidget* parent = nullptr);
    ResultListModel* rows() const { return rows_; }
    // The text as the row shows it: as many lines as the row holds, the last cut with "…".
    QString shownText(int row) const;

protected:
    // The whole text, when the row shows less.
    QString partToolTip(int row) const override;

private:
    ResultListModel* rows_;
    ResultRowDelegate* delegate_;
};

}  // namespace norvane
