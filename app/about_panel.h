#pragma once
// The About panel (run modally) and the command that opens the maker's web site.

#include "model/desktop_services.h"

#include <QDialog>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

class QPushButton;

namespace norvane {

// The maker's site as configured at build time, with its trailing slash.
QString websiteAddress();
// The configured site as a URL to open, or nothing when the text is not a usable web address.
std::optional<QUrl> websiteUrl(const QString& address);
// The same address as the link shows it: no trailing slash, then two blanks and "↗".
QString websiteLinkTitle(const QString& address);

// Opens the maker's site in the default browser; silently nothing for an unusable address.
void openNorvaneWebsite(DesktopServices& desktop);
// Builds a fresh About panel and runs it modally once control returns to the event loop.
void showNorvaneAbout(std::shared_ptr<DesktopServices> desktop);
// The panel currently shown by showNorvaneAbout(), or null.
class AboutPanel;
AboutPanel* currentAboutPanel();

class AboutPanel : public QDialog {
    Q_OBJECT
public:
    static constexpr int panelWidth = 340;
    static constexpr int panelHeight = 248;

    // `desktop` opens the link; may be null, as in pictures of the panel.
    explicit AboutPanel(std::shared_ptr<DesktopServices> desktop, QWidget* parent = nullptr);

    QPushButton* closeButton() const { return closeButton_; }
    QPushButton* linkButton() const { return linkButton_; }

public slots:
    void closeAbout();

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    QPushButton* closeButton_ = nullptr;
    QPushButton* linkButton_ = nullptr;
    std::shared_ptr<DesktopServices> desktop_;
};

}  // namespace norvane
