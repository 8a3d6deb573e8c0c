#pragma once
// Where verification still read a term ("Page 13 · term", and how it was read): pressing a
// row shows the place (the inspector connects partClicked); Return on a row redacts it.

#include "model/redaction_session.h"
#include "workspace/row_list_view.h"

namespace norvane {

class FindingListModel : public CopiedRowsModel<RedactionSearchResult> {
    Q_OBJECT
public:
    using CopiedRowsModel::CopiedRowsModel;
    void setFindings(SearchResultList findings);

protected:
    // Display: "Page 13 · term"; accessible text: page, term and source.
    QVariant rowData(const RedactionSearchResult& finding, int role) const override;
};

class FindingListView : public RowListView {
    Q_OBJECT
public:
    explicit FindingListView(QWidget* parent = nullptr);
    FindingListModel* rows() const { return rows_; }
    // The row's words as shown, cut with "…" where they do not fit.
    QString shownText(int row) const;

signals:
    // Return or Enter on the current row.
    void partEntered(int row);

protected:
    QString partToolTip(int row) const override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    FindingListModel* rows_;
};

}  // namespace norvane
