#pragma once
// The redaction workspace: the landing page with its drop card until a document is open,
// then the editing layout (toolbar, thumbnails, page canvas, inspector, status bar).

#include "model/redaction_view_model.h"

#include <QStringList>
#include <QWidget>

#include <memory>

namespace norvane {

class PageCanvas;
class WorkspaceScreenPrivate;

class WorkspaceScreen : public QWidget {
    Q_OBJECT

public:
    explicit WorkspaceScreen(SharedServices services, QWidget* parent = nullptr);
    ~WorkspaceScreen() override;

    RedactionViewModel& model();

    // Like importing: the first file is opened, the rest are queued.
    void openFiles(const QStringList& paths);
    void focusSearchField();
    // The pages of the open document (none without one), and its page number field.
    PageCanvas* canvas() const;
    void editPageNumber();

    bool canExport() const;
    void exportSecureCopy();

    bool hasUnexportedRedactions() const;

    bool canUndo() const;
    void undoLast();

signals:
    void commandStateChanged();

private:
    std::unique_ptr<WorkspaceScreenPrivate> d_;
};

}  // namespace norvane
