// Renders each screen offscreen into PNG files, in a light and a dark palette:
//   norvane-screenshots [OUTPUT_DIR] [SCENE...]
// Scenes are a table below; add a row to add a picture. The history shown is a throwaway
// store in a temporary directory, never the user's own.

#include "app/about_panel.h"
#include "app/app_icon.h"
#include "app/main_window.h"
#include "app/root_view.h"
#include "canvas/page_canvas.h"
#include "history/recent_redactions_view.h"
#include "model/services.h"
#include "ui/appearance.h"
#include "ui/theme.h"
#include "workspace/quick_guide_strip.h"
#include "workspace/workspace_screen.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>

#include <chrono>
#include <thread>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

namespace {

using namespace norvane;

// A small text PDF written by hand, so the tool needs no test code. `received`: as carelessly
// redacted by someone else, the account number under a box drawn over it and an old one in white.
QByteArray samplePdf(bool received = false) {
    const QStringList lines{
        QStringLiteral("BT /F1 20 Tf 72 720 Td (Employee Separation Agreement) Tj ET"),
        QStringLiteral("BT /F1 12 Tf 72 680 Td (Employee: Jordan A. Whitfield) Tj ET"),
        QStringLiteral("BT /F1 12 Tf 72 662 Td (Social Security Number: 078-05-1120) Tj ET"),
        QStringLiteral("BT /F1 12 Tf 72 644 Td (Home address: 1427 Larkspur Lane, Springfield) Tj ET"),
        QStringLiteral("BT /F1 12 Tf 72 626 Td (Bank account: 0211 4478 9031 5562) Tj ET"),
        QStringLiteral("BT /F1 12 Tf 72 590 Td (The employee's final day of work is March 14. Severance) Tj ET"),
        QStringLiteral("BT /F1 12 Tf 72 572 Td (is paid in two instalments to the account named above.) Tj ET"),
        QStringLiteral("BT /F1 12 Tf 72 536 Td (Signed: ______________________   Date: ____________) Tj ET"),
    };
    const QStringList careless{
        QStringLiteral("q 0 0 0 rg 152 621 112 17 re f Q"),
        QStringLiteral("BT 1 1 1 rg /F1 12 Tf 72 608 Td (Old account: 5563 0017 2210 8841) Tj ET"),
    };
    auto stream = [](const QByteArray& data) {
        return "<< /Length " + QByteArray::number(data.size()) + " >>\nstream\n" + data + "\nendstream";
    };
    const std::vector<QByteArray> objects{
        "<< /Type /Catalog /Pages 2 0 R >>",
        "<< /Type /Pages /Kids [3 0 R 5 0 R] /Count 2 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 4 0 R >> >> "
        "/Contents 6 0 R >>",
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 4 0 R >> >> "
        "/Contents 7 0 R >>",
        stream((lines + (received ? careless : QStringList())).join(QLatin1Char('\n')).toLatin1()),
        stream("BT /F1 12 Tf 72 720 Td (Page two: witness statement.) Tj ET"),
    };
    QByteArray pdf = "%PDF-1.4\n";
    std::vector<qsizetype> offsets;
    for (std::size_t index = 0; index < objects.size(); ++index) {
        offsets.push_back(pdf.size());
        pdf += QByteArray::number(static_cast<qulonglong>(index + 1)) + " 0 obj\n" + objects[index] + "\nendobj\n";
    }
    const qsizetype xref = pdf.size();
    pdf += "xref\n0 " + QByteArray::number(static_cast<qulonglong>(objects.size() + 1)) + "\n0000000000 65535 f \n";
    for (const qsizetype offset : offsets)
        pdf += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    pdf += "trailer\n<< /Size " + QByteArray::number(static_cast<qulonglong>(objects.size() + 1)) +
           " /Root 1 0 R >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
    return pdf;
}

void settle(int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    do {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    } while (timer.elapsed() < milliseconds);
}

struct Context {
    QDir workDir;
    SharedServices empty;  // an empty history
    SharedServices full;   // a few exports in the history
    QString samplePath;
    QString receivedPath;  // the sample as received, carelessly redacted

    // The sample again under another name.
    QString copy(const QString& name) const {
        const QString path = workDir.filePath(name);
        QFile::remove(path);
        QFile::copy(samplePath, path);
        return path;
    }
};

// Builds the widget to photograph; the tool owns and deletes it.
using SceneBuilder = std::function<QWidget*(Context&)>;

struct Scene {
    const char* name;
    SceneBuilder build;
    int settleMs = 150;
};

MainWindow* windowOn(SharedServices services, std::optional<RedactionSidebarItem> item) {
    auto* window = new MainWindow(std::move(services));
    window->setDiscardQuestion([](QWidget*) { return true; });  // a picture's work is never kept
    window->rootView()->setSelection(item);
    return window;
}

// For what needs the window on screen first: popups, dialogs, hover and keyboard focus.
MainWindow* onceShown(MainWindow* window, const std::function<void(MainWindow*)>& then) {
    window->resize(MainWindow::defaultWidth, MainWindow::defaultHeight);
    window->show();
    QApplication::setActiveWindow(window);
    settle(400);
    then(window);
    return window;
}

QuickGuideStrip* stripOf(QWidget* window) {
    return window->findChild<QuickGuideStrip*>();
}

// ---- editing states: a scripted save dialog and engine, so an export ends on cue ----

class ScriptedDesktop : public DesktopServices {
public:
    explicit ScriptedDesktop(QString target) : target_(std::move(target)) {}
    std::optional<QString> chooseSaveLocation(const QString&, const QString&) override { return target_; }
    void revealInFileManager(const QString&) override {}
    void openUrl(const QUrl&) override {}
    QString preference(const QString&) const override { return {}; }
    void setPreference(const QString&, const QString&) override {}

private:
    QString target_;
};

enum class Ending { running, passed, needsReview };

EngineCalls scriptedExport(Ending outcome) {
    EngineCalls calls;
    calls.exportSecurePDF = [outcome](const SharedPdfDocument&, const std::vector<RedactionRegion>&,
                                      const std::filesystem::path& out, const ExportOptions&,
                                      const PageProgress& progress, std::stop_token stop) {
        QFile file(QString::fromStdString(out.string()));
        if (file.open(QIODevice::WriteOnly)) file.write("%PDF-1.4\n");
        progress(1, 2);
        if (outcome == Ending::running) {
            while (!stop.stop_requested())
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            throw CancellationError();
        }
        progress(2, 2);
        return SharedRecognisedCopy();
    };
    calls.verifyOutput = [outcome](const std::filesystem::path&, const VerificationRequest&,
                                   const PageProgress& progress, std::stop_token) {
        progress(1, 2);
        progress(2, 2);
        if (outcome == Ending::needsReview) {
            return ExportVerification::fromFindings(
                2, {{"078-05-1120", 0, PageRect{206, 656, 80, 18}, RedactionSource::ocr},
                    {"Jordan A. Whitfield", 0, PageRect{126, 674, 122, 18}, RedactionSource::ocr}});
        }
        return ExportVerification(2, {});
    };
    return calls;
}

// The workspace with the sample open and `setUp` applied, over a scripted save dialog and
// export, and an inspection that finds `hidden`; any task is cancelled when the picture has
// been taken.
MainWindow* editingScene(Context& c, Ending ending, const std::function<void(RedactionViewModel&)>& setUp,
                         std::vector<InspectionFinding> hidden = {}, const QString& path = {}) {
    auto services = std::make_shared<Services>(*c.empty);
    services->history = std::make_shared<RecentRedactionStore>(std::nullopt);  // exports here stay out of the pictures
    services->desktop =
        std::make_shared<ScriptedDesktop>(c.workDir.filePath(QStringLiteral("separation-agreement-redacted.pdf")));
    services->engine = scriptedExport(ending);
    services->engine.inspect = [hidden = std::move(hidden)](const auto&...) { return hidden; };
    MainWindow* window = windowOn(services, RedactionSidebarItem::redaction);
    window->openFiles({path.isEmpty() ? c.samplePath : path});
    RedactionViewModel& model = window->rootView()->workspace()->model();
    QObject::connect(window, &QObject::destroyed, [&model] { model.cancel(); });
    setUp(model);
    return window;
}

// Searches run as tasks: the scene waits for one to end as a person would.
void awaitSearch(RedactionViewModel& model) {
    while (model.isBusy()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
}

void markSample(RedactionViewModel& model) {
    model.setSearchText(QStringLiteral("Whitfield"));
    model.findNativeText();
    awaitSearch(model);
    model.addAllSearchResults();
    model.addManual(0, PageRect{70, 530, 190, 22});
}

// What an inspection of the received sample finds: the account number under a box drawn over
// it and an old one in white; and, as such files often carry, a comment, an earlier revision
// and metadata.
std::vector<InspectionFinding> sampleHiddenContent() {
    return {
        {InspectionKind::comment, -1, std::nullopt, 1, std::nullopt, {}},
        {InspectionKind::metadata, -1, std::nullopt, 4, std::nullopt, {}},
        {InspectionKind::earlierRevision, -1, std::nullopt, 2, std::nullopt, {}},
        {InspectionKind::failedRedaction, 0, PageRect{151, 625, 111, 11}, 15, HidingCause::box, {}},
        {InspectionKind::coveredText, 0, PageRect{71, 607, 186, 11}, 27, HidingCause::colour, {}},
        {InspectionKind::comment, 1, PageRect{400, 700, 24, 24}, 1, std::nullopt, {}},
    };
}

// Three PDFs chosen at once, the first with a long name: two wait in the queue.
MainWindow* queueScene(Context& c) {
    MainWindow* window = windowOn(c.empty, RedactionSidebarItem::redaction);
    window->openFiles({c.copy(QStringLiteral("Hernandez v. Northgate Logistics - deposition exhibits of the records "
                                             "custodian, third-party subpoena responses (final, signed).pdf")),
                       c.copy(QStringLiteral("offer-letter.pdf")), c.copy(QStringLiteral("board-minutes-2025.pdf"))});
    return window;
}

// The sample open, then `act` on the guide strip once the window is shown.
MainWindow* guideScene(Context& c, const std::function<void(QuickGuideStrip*)>& act) {
    return onceShown(windowOn(c.empty, RedactionSidebarItem::redaction), [&c, act](MainWindow* window) {
        window->openFiles({c.samplePath});
        settle(300);
        act(stripOf(window));
    });
}

const std::vector<Scene>& scenes() {
    static const std::vector<Scene> table{
        {"landing", [](Context& c) { return windowOn(c.empty, RedactionSidebarItem::redaction); }},
        {"editing",
         [](Context& c) {
        MainWindow* window = windowOn(c.empty, RedactionSidebarItem::redaction);
        window->openFiles({c.samplePath});
        return window;
         },
         900},
        {"editing-results",
         [](Context& c) {
        return editingScene(c, Ending::passed, [](RedactionViewModel& model) {
            model.setSearchText(QStringLiteral("account"));
            model.findNativeText();
            awaitSearch(model);
        });
         },
         900},
        {"editing-patterns",
         [](Context& c) {
        return editingScene(c, Ending::passed, [](RedactionViewModel& model) {
            model.findPattern(PatternPreset::socialSecurityNumber, false);
            awaitSearch(model);
            model.addAllSearchResults();
            model.setSearchText(QStringLiteral("Whitfield"));
            model.findNativeText();
            awaitSearch(model);
            model.addAllSearchResults();
            model.setEvenWidthBoxes(true);
        });
         },
         900},
        {"editing-export-running",
         [](Context& c) {
        return editingScene(c, Ending::running, [](RedactionViewModel& model) {
            markSample(model);
            model.exportSecureCopy();
        });
         },
         900},
        {"editing-verified",
         [](Context& c) {
        return editingScene(c, Ending::passed, [](RedactionViewModel& model) {
            markSample(model);
            model.exportSecureCopy();
        });
         },
         900},
        {"editing-needs-review",
         [](Context& c) {
        return editingScene(c, Ending::needsReview, [](RedactionViewModel& model) {
            markSample(model);
            model.exportSecureCopy();
        });
         },
         900},
        {"editing-zoomed",
         [](Context& c) {
        return onceShown(editingScene(c, Ending::passed, markSample), [](MainWindow* window) {
            PageCanvas* canvas = window->rootView()->workspace()->canvas();
            canvas->setZoom(2.0);
            canvas->revealRect(0, PageRect{70, 530, 190, 22});  // the box drawn by hand, sharp at 200 %
        });
         },
         1500},
        {"editing-hidden-content",
         [](Context& c) {
        MainWindow* window = editingScene(
            c, Ending::passed, [](RedactionViewModel&) {}, sampleHiddenContent(), c.receivedPath);
        return onceShown(window, [](MainWindow* shown) {
            shown->findChild<QPushButton*>(QStringLiteral("inspectionSummary"))->click();
            settle(100);
            auto* list = shown->findChild<QListView*>(QStringLiteral("hiddenContentList"));
            list->setCurrentIndex(list->model()->index(5, 0));  // the account number under a box
        });
         },
         1200},
        {"editing-queue", queueScene, 900},
        {"editing-alert",
         [](Context& c) {
        return onceShown(queueScene(c), [](MainWindow* window) {
            markSample(window->rootView()->workspace()->model());
            window->findChild<QPushButton*>(QStringLiteral("openNextPdf"))->click();  // refused: regions pending
        });
         },
         900},
        {"editing-guide-popover",
         [](Context& c) { return guideScene(c, [](QuickGuideStrip* strip) { strip->chip(GuideItem::ocr)->click(); }); },
         900},
        {"editing-guide-hover",
         [](Context& c) {
        return guideScene(c, [](QuickGuideStrip* strip) {
            strip->pointerEntered(GuideItem::findText);
            strip->chip(GuideItem::secureExport)->setFocus(Qt::TabFocusReason);  // the keyboard's ring
        });
         },
         900},
        {"sidebar-keyboard",
         [](Context& c) {
        return onceShown(windowOn(c.empty, RedactionSidebarItem::redaction), [](MainWindow* window) {
            QListWidget* sidebar = window->rootView()->sidebar();
            sidebar->setFocus(Qt::TabFocusReason);
            QKeyEvent down(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
            QApplication::sendEvent(sidebar, &down);  // the ring moves on; "Redaction" stays selected
        });
         }},
        {"history", [](Context& c) { return windowOn(c.full, RedactionSidebarItem::recent); }},
        {"history-clear-confirm",
         [](Context& c) {
        return onceShown(windowOn(c.full, RedactionSidebarItem::recent), [](MainWindow* window) {
            RecentRedactionsView::clearConfirmation(window->rootView()->detail())->open();
        });
         }},
        {"history-empty", [](Context& c) { return windowOn(c.empty, RedactionSidebarItem::recent); }},
        {"guide", [](Context& c) { return windowOn(c.empty, RedactionSidebarItem::howTo); }},
        {"about", [](Context&) { return new AboutPanel(nullptr); }},
        };
    return table;
}

// Small text must reach 4.5:1 against what it is drawn on, large text 3:1. The text colour is
// the widget's own; the surface is the commonest colour of its picture.
int auditContrast(const QWidget* root, const QImage& picture, const QString& where) {
    int failures = 0;
    for (const QWidget* widget : root->findChildren<QWidget*>()) {
        if (!widget->isVisible() || !widget->isEnabled() || widget->window() != root->window()) continue;
        QString text;
        if (const auto* label = qobject_cast<const QLabel*>(widget)) {
            text = label->text();
        } else if (const auto* box = qobject_cast<const QCheckBox*>(widget)) {
            text = box->text();
        } else if (const auto* field = qobject_cast<const QLineEdit*>(widget); field && field->text().isEmpty()) {
            text = field->placeholderText();
        }
        if (text.trimmed().isEmpty()) continue;
        const QRect area = QRect(widget->mapTo(root, QPoint()), widget->size()).intersected(picture.rect());
        if (area.width() < 4 || area.height() < 4) continue;
        QHash<QRgb, int> counts;
        for (int y = area.top(); y <= area.bottom(); ++y) {
            for (int x = area.left(); x <= area.right(); ++x)
                ++counts[picture.pixel(x, y) | 0xff000000u];
        }
        QRgb surface = 0;
        int most = -1;
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
            if (it.value() > most) most = it.value(), surface = it.key();
        }
        const QColor ink = qobject_cast<const QLineEdit*>(widget) ? widget->palette().color(QPalette::PlaceholderText)
                                                                  : widget->palette().color(widget->foregroundRole());
        const QFont font = widget->font();
        const double pixels = font.pixelSize() > 0 ? font.pixelSize() : font.pointSizeF() * 96.0 / 72.0;
        const bool large = pixels >= 24 || (font.bold() && pixels >= 18.66);
        const double needed = large ? theme::controlContrast : theme::textContrast;
        const double ratio = theme::contrastRatio(ink, QColor::fromRgb(surface));
        if (ratio + 0.005 < needed) {
            ++failures;
            std::fprintf(stderr, "contrast %s: %s \"%s\" %.2f:1 (needs %.1f:1)\n", qPrintable(where),
                         widget->metaObject()->className(), qPrintable(text.left(40)), ratio, needed);
        }
    }
    return failures;
}

bool shoot(const Scene& scene, Context& context, const QString& outputDir, const QString& suffix) {
    QWidget* widget = scene.build(context);
    if (qobject_cast<MainWindow*>(widget)) widget->resize(MainWindow::defaultWidth, MainWindow::defaultHeight);
    widget->show();
    settle(scene.settleMs);
    const QString path = QDir(outputDir).filePath(QString::fromUtf8(scene.name) + suffix + QStringLiteral(".png"));
    // Popovers and dialogs are windows of their own: drawn over the picture where they stand.
    QPixmap picture = widget->grab();
    QPainter painter(&picture);
    const auto ownedBy = [widget](const QWidget* other) {
        for (const QWidget* up = other->parentWidget(); up; up = up->parentWidget()) {
            if (up == widget) return true;
        }
        return false;
    };
    for (QWidget* other : QApplication::topLevelWidgets()) {
        if (other->isVisible() && ownedBy(other)) {
            painter.drawPixmap(other->mapToGlobal(QPoint()) - widget->mapToGlobal(QPoint()), other->grab());
        }
    }
    painter.end();
    bool audited = true;
    if (qEnvironmentVariableIsSet("NORVANE_CONTRAST_AUDIT")) {
        audited = auditContrast(widget, picture.toImage(), QString::fromUtf8(scene.name) + suffix) == 0;
    }
    const bool saved = picture.save(path) && audited;
    std::fprintf(stderr, "%s %s\n", saved ? "wrote" : "FAILED", qPrintable(path));
    widget->close();
    delete widget;
    settle(20);
    return saved;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    setenv("TZ", "UTC", 1);  // history times read the same everywhere
    QTemporaryDir dataHome;
    if (!dataHome.isValid()) return 1;

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Norvane"));
    QApplication::setStyle(new theme::ReadableStyle(QStyleFactory::create(QStringLiteral("Fusion"))));
    QApplication::setWindowIcon(QIcon(QPixmap::fromImage(RedactionDockIconFactory::makeIcon())));

    const QStringList arguments = QApplication::arguments().mid(1);
    const QString outputDir = arguments.value(0, QStringLiteral("docs/screenshots"));
    const QStringList only = arguments.mid(1);
    if (!QDir().mkpath(outputDir)) return 1;

    QDir work(dataHome.path());
    auto emptyStore =
        std::make_shared<RecentRedactionStore>(work.filePath(QStringLiteral("empty/recent-redactions.json")));
    // Fixed ids, times and paths, so the history pictures change only when the screen does.
    const auto record = [](int n, const char* exportedAt, const char* name, const char* output, qint64 pages,
                           qint64 regions, bool passed) {
        return RecentRedactionRecord{QUuid(QStringLiteral("00000000-0000-4000-8000-00000000000%1").arg(n)),
                                     QDateTime::fromString(QString::fromLatin1(exportedAt), Qt::ISODate),
                                     QString::fromUtf8(name),
                                     QString::fromUtf8(output),
                                     pages,
                                     regions,
                                     passed};
    };
    const QString fullPath = work.filePath(QStringLiteral("full/recent-redactions.json"));
    if (!QDir().mkpath(QFileInfo(fullPath).path())) return 1;
    {
        QFile full(fullPath);
        const QByteArray json = RecentRedactionStore::encode({
            record(1, "2026-03-14T16:42:00Z", "offer-letter.pdf", "/home/alex/Desktop/offer-letter-redacted.pdf", 1, 1,
                   true),
            record(2, "2026-03-12T09:05:00Z",
                   "Hernandez v. Northgate Logistics - witness statement of the records custodian (scan, final).pdf",
                   "/home/alex/Documents/Cases/2026/Hernandez v. Northgate Logistics/Discovery/Production Set 04/"
                   "Third-party subpoena responses/Exhibits for deposition of the records custodian/witness "
                   "statement (scan)-redacted.pdf",
                   3, 7, false),
            record(3, "2026-02-27T18:30:00Z", "board-minutes-2025.pdf",
                   "/home/alex/Documents/Board/board-minutes-2025-redacted.pdf", 12, 31, true),
        });
        if (!full.open(QIODevice::WriteOnly) || full.write(json) != json.size()) return 1;
    }
    auto fullStore = std::make_shared<RecentRedactionStore>(fullPath);

    const QString samplePath = work.filePath(QStringLiteral("separation-agreement.pdf"));
    {
        QFile sample(samplePath);
        if (!sample.open(QIODevice::WriteOnly) || sample.write(samplePdf()) < 0) return 1;
    }
    const QString receivedPath = work.filePath(QStringLiteral("separation-agreement-received.pdf"));
    {
        QFile received(receivedPath);
        if (!received.open(QIODevice::WriteOnly) || received.write(samplePdf(true)) < 0) return 1;
    }
    const auto scripted = std::make_shared<ScriptedDesktop>(QString());
    Context context{work, std::make_shared<const Services>(Services{emptyStore, scripted, {}}),
                    std::make_shared<const Services>(Services{fullStore, scripted, {}}), samplePath, receivedPath};

    bool ok = true;
    const struct {
        QPalette palette;
        const char* suffix;
    } looks[] = {{theme::lightPalette(), ""}, {theme::darkPalette(), "-dark"}};
    for (const auto& look : looks) {
        QApplication::setPalette(look.palette);
        for (const Scene& scene : scenes()) {
            if (!only.isEmpty() && !only.contains(QString::fromUtf8(scene.name))) continue;
            ok = shoot(scene, context, outputDir, QString::fromUtf8(look.suffix)) && ok;
        }
    }
    return ok ? 0 : 1;
}
