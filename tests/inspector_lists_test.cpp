// The inspector's lists as a screen reader and a keyboard meet them, and their rows sized as a
// widget row of the same parts would be, in any desktop font.

#include "workspace/inspector_panel.h"

#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"
#include "ui/heading_label.h"
#include "ui/symbols.h"
#include "ui/themed_widgets.h"
#include "ui/typography.h"

#include <QAccessible>
#include <QApplication>
#include <QHBoxLayout>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace norvane {
namespace {

using testing::ModelProbe;

class InspectorListsTest : public ::testing::Test {
protected:
    void SetUp() override {
        testing::writeFile(dir.file("doc.pdf"),
                           testing::buildPdf(testing::textPages(std::vector<std::string>(6, "x"))));
        model->open(QString::fromStdString(dir.file("doc.pdf").string()));
        ASSERT_NE(model->document(), nullptr);
        showPanel();
    }
    void showPanel() {
        panel = std::make_unique<InspectorPanel>(*model);
        panel->resize(292, 800);
        panel->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(panel.get()));
    }

    static RedactionSearchResult hit(std::int64_t page, std::string text,
                                     RedactionSource source = RedactionSource::textSearch) {
        return RedactionSearchResult{Uuid::random(), page, PageRect{72, 700, 80, 14}, std::move(text), source};
    }
    static QAccessibleInterface* accessible(QObject* object) { return QAccessible::queryAccessibleInterface(object); }
    static QStringList rowNames(QObject* list) {
        QStringList names;
        QAccessibleInterface* iface = accessible(list);
        for (int i = 0; i < iface->childCount(); ++i)
            names << iface->child(i)->text(QAccessible::Name);
        return names;
    }

    testing::TempDir dir;
    std::shared_ptr<ModelProbe> model = std::make_shared<ModelProbe>();
    std::unique_ptr<InspectorPanel> panel;
};

// Reference rows built from widgets and laid out by Qt at the list's width; the drawn rows must
// be exactly as tall, whatever the desktop font and however long the text.
TEST_F(InspectorListsTest, RowsAreAsTallAsWidgetRowsOfTheSamePartsInAnyFont) {
    using theme::TextStyle;
    const QFont desktop = QApplication::font();
    const auto label = [](const QString& text, TextStyle style, QFont::Weight weight = QFont::Normal) {
        auto* made = new QLabel(text);
        made->setFont(theme::font(style, weight));
        return made;
    };
    // Two labels over each other and a trailing part, as the rows were once built.
    const auto rowOf = [](QWidget* owner, QMargins margins, int spacing, QLabel* first, QLabel* second,
                          QWidget* trailing, Qt::Alignment alignment) {
        auto* row = new QWidget(owner);
        auto* across = new QHBoxLayout(row);
        across->setContentsMargins(margins);
        auto* column = new QVBoxLayout();
        column->setSpacing(spacing);
        column->addWidget(first);
        if (second) column->addWidget(second);
        across->addLayout(column, 1);
        across->addWidget(trailing, 0, alignment);
        return row;
    };
    const std::string longText = "Jane Roe of 1427 Larkspur Lane, Springfield, holds account 0211 4478 9031 5562";
    for (const double points : {7.0, 10.0, 16.0}) {
        QFont font = desktop;
        font.setPointSizeF(points);
        QApplication::setFont(font);
        showPanel();
        SCOPED_TRACE(points);
        model->setSearchResults(
            {hit(0, "Jane"), hit(1, longText), hit(2, std::string(120, 'x')), hit(3, "J. Roe", RedactionSource::ocr)});
        model->setRedactions({});
        model->addManual(4, PageRect{10, 10, 40, 20});
        model->setVerification(ExportVerification::fromFindings(6, {{longText, 5, PageRect{72, 600, 120, 14}}}));
        QApplication::processEvents();

        ResultListView* results = panel->resultList();
        const int width = results->viewport()->width();
        for (int row = 0; row < results->rows()->rowCount(); ++row) {
            const RedactionSearchResult& shown = results->rows()->at(row);
            QLabel* text = label(QString::fromStdString(shown.text), TextStyle::Caption);
            text->setWordWrap(true);
            text->setMaximumHeight(text->fontMetrics().lineSpacing() * 2);
            QSizePolicy wraps(QSizePolicy::Ignored, QSizePolicy::Preferred);
            wraps.setHeightForWidth(true);
            text->setSizePolicy(wraps);
            QWidget* reference = rowOf(panel.get(), QMargins(8, 8, 8, 8), 3,
                                       label(pageLabel(shown.pageIndex), TextStyle::Caption, QFont::DemiBold), text,
                                       label(sourceLabel(shown.source), TextStyle::Caption2), {});
            EXPECT_EQ(results->rowHeight(row), reference->layout()->heightForWidth(width)) << row;
            const int lines = static_cast<int>(results->shownText(row).count(QChar(u'\n'))) + 1;
            EXPECT_EQ(lines, row == 1 ? 2 : 1) << "two lines at most, one for a single word";
        }

        PendingListView* pending = panel->pendingList();
        auto* button = new QToolButton();
        button->setAutoRaise(true);
        button->setIconSize(QSize(16, 16));
        button->setIcon(theme::symbolIcon(QStringLiteral("xmark.circle.fill")));
        QWidget* reference = rowOf(panel.get(), QMargins(), 2, label(pageLabel(4), TextStyle::Caption, QFont::DemiBold),
                                   label(QStringLiteral("Manual"), TextStyle::Caption2), button, Qt::AlignVCenter);
        reference->layout()->setGeometry(QRect(0, 0, pending->viewport()->width(), reference->sizeHint().height()));
        EXPECT_EQ(pending->rowHeight(0), reference->sizeHint().height());
        EXPECT_EQ(pending->partRect(0), button->geometry()) << "the button where a widget row would have it";

        FindingListView* findings = panel->findingList();
        QLabel* finding = label(findings->rows()->index(0).data().toString(), TextStyle::Caption);
        finding->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
        reference = rowOf(panel.get(), QMargins(8, 6, 8, 6), 0, finding, nullptr,
                          label(sourceLabel(RedactionSource::ocr), TextStyle::Caption2), {});
        EXPECT_EQ(findings->rowHeight(0), reference->sizeHint().height());
        EXPECT_TRUE(findings->shownText(0).endsWith(QChar(0x2026)));
    }
    QApplication::setFont(desktop);
}

// Every row reads as what it shows and how it was found; a pending row's remove button, and
// covered text's Redact, is a button of its own whose press acts on exactly its row, and the
// list is read anew.
TEST_F(InspectorListsTest, RowsAreNamedAndThePendingRowsButtonRemovesExactlyItsRegion) {
    model->setSearchResults({hit(1, "Jordan A. Whitfield"), hit(3, "555-0100", RedactionSource::ocr)});
    model->addManual(0, PageRect{10, 10, 40, 20});
    model->addSearchResult(hit(0, "Whitfield"));
    model->addSearchResult(hit(2, "Roe", RedactionSource::ocr));
    model->addManual(2, PageRect{10, 200, 40, 20});
    ASSERT_EQ(model->redactions().size(), 4u);
    model->setVerification(ExportVerification::fromFindings(6, {{"Encoding", 4, PageRect{72, 600, 60, 14}}}));

    EXPECT_EQ(rowNames(panel->resultList()),
              (QStringList{"Page 2, Jordan A. Whitfield, Text", "Page 4, 555-0100, OCR"}));
    EXPECT_EQ(rowNames(panel->pendingList()), (QStringList{"Page 1, drawn by hand", "Page 1, Whitfield, text search",
                                                           "Page 3, Roe, OCR search", "Page 3, drawn by hand"}));
    EXPECT_EQ(rowNames(panel->findingList()), QStringList{"Page 5, Encoding, OCR"});
    for (RowListView* list : std::initializer_list<RowListView*>{panel->resultList(), panel->findingList()}) {
        QAccessibleInterface* row = accessible(list)->child(0);
        EXPECT_EQ(row->role(), QAccessible::ListItem);
        EXPECT_EQ(row->childCount(), 0) << "the whole row is pressed";
        ASSERT_NE(row->actionInterface(), nullptr);
    }

    QAccessibleInterface* list = accessible(panel->pendingList());
    EXPECT_EQ(list->role(), QAccessible::List);
    QAccessibleInterface* row = list->child(2);
    ASSERT_EQ(row->childCount(), 1);
    QAccessibleInterface* remove = row->child(0);
    EXPECT_EQ(remove->role(), QAccessible::Button);
    EXPECT_EQ(remove->text(QAccessible::Name), "Remove redaction on page 3");
    EXPECT_EQ(remove->parent(), row);
    EXPECT_EQ(remove->rect(),
              QRect(panel->pendingList()->viewport()->mapToGlobal(panel->pendingList()->partRect(2).topLeft()),
                    panel->pendingList()->partRect(2).size()));
    const QAccessible::Id removeId = QAccessible::uniqueId(remove);
    const std::vector<RedactionRegion> before = model->redactions();
    ASSERT_EQ(remove->actionInterface()->actionNames(), QStringList{QAccessibleActionInterface::pressAction()});
    remove->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QApplication::processEvents();
    ASSERT_EQ(model->redactions().size(), 3u);
    for (std::size_t i : {0u, 1u, 3u})
        EXPECT_EQ(model->redactions()[i == 3 ? 2 : i].id, before[i].id);
    EXPECT_EQ(QAccessible::accessibleInterface(removeId), nullptr) << "the interfaces of the old rows are gone";
    EXPECT_EQ(rowNames(panel->pendingList()),
              (QStringList{"Page 1, drawn by hand", "Page 1, Whitfield, text search", "Page 3, drawn by hand"}));

    // Pressing a result through its row adds it, as a click would.
    accessible(panel->resultList())->child(1)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QApplication::processEvents();
    ASSERT_EQ(model->redactions().size(), 4u);
    EXPECT_EQ(model->redactions().back().matchedText, "555-0100");

    // What the source hides: a row per page and per finding; only covered text has a button.
    const InspectionFinding comment{InspectionKind::comment, 1, PageRect{20, 20, 30, 30}, 1, std::nullopt, {}};
    const InspectionFinding covered{InspectionKind::coveredText, 1, PageRect{72, 600, 60, 14}, 5, HidingCause::box, {}};
    model->setInspection({DocumentInspection::State::done, {comment, covered}, {}});
    const auto said = [](const InspectionFinding& finding) {
        return QStringLiteral("Page 2, ") + QString::fromStdString(describe(finding));
    };
    EXPECT_EQ(rowNames(panel->hiddenContentList()), (QStringList{"Page 2", said(comment), said(covered)}));
    QAccessibleInterface* hidden = accessible(panel->hiddenContentList());
    for (int plain : {0, 1}) {
        EXPECT_EQ(hidden->child(plain)->childCount(), 0) << plain;
        EXPECT_EQ(hidden->child(plain)->actionInterface(), nullptr) << plain;
    }
    ASSERT_EQ(hidden->child(2)->childCount(), 1);
    QAccessibleInterface* redact = hidden->child(2)->child(0);
    EXPECT_EQ(redact->text(QAccessible::Name), "Redact covered text on page 2");
    redact->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QApplication::processEvents();
    ASSERT_EQ(model->redactions().size(), 5u);
    EXPECT_EQ(model->redactions().back().rect, covered.rect);
}

// The keys a focused row answers to: Return adds a hit or a finding, Space on a finding shows its
// place, Delete and Backspace remove a pending region, Return on one does not.
TEST_F(InspectorListsTest, KeysOnAFocusedRowDoWhatPressingItDoes) {
    model->setSearchResults({hit(1, "Jane"), hit(3, "Roe")});
    model->addManual(0, PageRect{10, 10, 40, 20});
    model->setVerification(ExportVerification::fromFindings(6, {{"Roe", 4, PageRect{72, 600, 60, 14}}}));
    const auto press = [](RowListView* list, int row, Qt::Key key) {
        list->setFocus();
        list->setCurrentIndex(list->model()->index(row, 0));
        QTest::keyClick(list, key);
    };

    press(panel->findingList(), 0, Qt::Key_Space);
    EXPECT_EQ(model->selectedPageIndex(), 4);
    ASSERT_TRUE(model->highlight());
    EXPECT_EQ(model->highlight()->origin, PageHighlight::Origin::finding);
    EXPECT_EQ(model->redactions().size(), 1u) << "choosing a finding shows it";
    press(panel->findingList(), 0, Qt::Key_Return);
    ASSERT_EQ(model->redactions().size(), 2u);
    EXPECT_EQ(model->redactions().back().rect, (PageRect{72, 600, 60, 14}));
    model->undoLast();

    press(panel->resultList(), 1, Qt::Key_Return);
    ASSERT_EQ(model->redactions().size(), 2u);
    EXPECT_EQ(model->redactions().back().matchedText, "Roe");
    EXPECT_EQ(model->selectedPageIndex(), 3);
    press(panel->resultList(), 0, Qt::Key_Enter);
    EXPECT_EQ(model->redactions().size(), 3u);

    const struct {
        Qt::Key key;
        std::size_t left;
    } keys[] = {{Qt::Key_Return, 3}, {Qt::Key_Enter, 3}, {Qt::Key_Delete, 2}, {Qt::Key_Backspace, 1}};
    for (const auto& k : keys) {
        SCOPED_TRACE(k.key);
        const Uuid last = model->redactions().back().id;
        press(panel->pendingList(), static_cast<int>(model->redactions().size()) - 1, k.key);
        ASSERT_EQ(model->redactions().size(), k.left);
        EXPECT_EQ(model->redactions().back().id == last, k.left == 3);
    }
}

// Section titles are headings; a symbol beside words that say the same is hidden, a named one is
// an image.
TEST_F(InspectorListsTest, SectionTitlesAreHeadingsAndDecorativeSymbolsAreHidden) {
    model->setVerification(ExportVerification::fromFindings(6, {{"Roe", 4, PageRect{72, 600, 60, 14}}}));
    QStringList headings;
    for (const auto* heading : panel->findChildren<theme::HeadingLabel*>()) {
        QAccessibleInterface* iface = accessible(const_cast<theme::HeadingLabel*>(heading));
        EXPECT_EQ(iface->role(), QAccessible::Heading);
        headings << iface->text(QAccessible::Name);
    }
    EXPECT_EQ(headings, (QStringList{"Hidden in This PDF", "Find & Redact", "Pending Redactions", "Needs Review"}));

    auto* symbol = panel->findChild<theme::SymbolView*>();
    ASSERT_NE(symbol, nullptr);
    EXPECT_TRUE(accessible(symbol)->state().invisible);
    theme::SymbolView named(QStringLiteral("checkmark.shield.fill"), 16);
    named.setAccessibleName(QStringLiteral("Verified"));
    named.show();
    EXPECT_EQ(accessible(&named)->role(), QAccessible::Graphic);
    EXPECT_FALSE(accessible(&named)->state().invisible);
}

}  // namespace
}  // namespace norvane
