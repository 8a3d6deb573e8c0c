// The document model's synchronous commands: opening and refusing files, and the rules for
// adding, removing and undoing regions.

#include "model/redaction_view_model.h"
#include "tests/support/change_recorder.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"

#include <gtest/gtest.h>

namespace norvane {
namespace {

using testing::ModelProbe;

class ViewModelTest : public ::testing::Test {
protected:
    QString writePdf(const testing::DocumentPlan& content, const std::string& name) {
        testing::writeFile(dir.file(name), testing::buildPdf(content));
        return QString::fromStdString(dir.file(name).string());
    }

    testing::TempDir dir;
    std::shared_ptr<ModelProbe> model = std::make_shared<ModelProbe>();
};

// The refused file is one only an owner password guards: a plain open would read it.
TEST_F(ViewModelTest, RefusedFileKeepsTheDocumentOpenResetsAllButQueryAndLabelClearResetsAll) {
    const QString first = writePdf(testing::textPages({"one", "two", "three"}), "doc.pdf");
    model->open(first);
    model->addManual(1, {10, 10, 50, 50});
    model->setSearchText("Smith");
    model->setLabelRedactions(true);
    const auto document = model->document();
    const auto task = model->beginTask();
    model->open(writePdf({.pages = testing::textPages({"secret"}).pages, .ownerPassword = "owner"}, "locked.pdf"));
    EXPECT_EQ(model->errorMessage(), "This PDF is encrypted or password-protected. Unlock it before redacting.");
    EXPECT_TRUE(task->stopToken().stop_requested());
    EXPECT_EQ(model->task(), nullptr);
    EXPECT_EQ(model->document(), document);
    EXPECT_EQ(model->sourceURL(), first);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(model->selectedPageIndex(), 1);
    EXPECT_EQ(model->statusText(), "3 pages loaded");

    model->setVerification(ExportVerification(3, {}));
    const QString path = writePdf(testing::textPages({"a"}), "one.pdf");
    model->open(path);
    EXPECT_FALSE(model->errorMessage());
    EXPECT_EQ(model->sourceURL(), path);
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->selectedPageIndex(), 0);
    EXPECT_FALSE(model->verification());
    EXPECT_EQ(model->searchText(), "Smith");
    EXPECT_TRUE(model->labelRedactions());

    model->addManual(0, {10, 10, 50, 50});
    model->setErrorMessage(QStringLiteral("old"));
    model->clearDocument();
    EXPECT_FALSE(model->errorMessage());
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->document(), nullptr);
    EXPECT_EQ(model->searchText(), "Smith");
}

// Each row beside a manual region at (100, 100, 50, 20) on page 1. Clicks change nothing at
// all; a duplicate hit adds nothing but still selects its page. The tolerance is in records_test.
TEST(ViewModelAdding, ClicksAndDuplicateHitsAddNothing) {
    const struct {
        const char* name;
        bool fromSearch;
        std::int64_t page;
        PageRect rect;
        std::optional<PageRect> stored;  // none: nothing is added
    } cases[] = {
        {"narrowDrag", false, 4, {10, 10, 1.9, 40}, std::nullopt},
        {"flatDrag", false, 4, {10, 10, 40, 1.99}, std::nullopt},
        {"smallestDrag", false, 4, {10, 10, 2, 2}, PageRect{10, 10, 2, 2}},
        {"backwardsDrag", false, 4, {100, 200, -50, -30}, PageRect{50, 170, 50, 30}},
        {"hitWithinThree", true, 1, {103, 97, 47, 23}, std::nullopt},
        {"backwardsHitOnOtherPage", true, 2, {150, 120, -50, -20}, PageRect{100, 100, 50, 20}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ModelProbe model;
        model.addManual(1, {100, 100, 50, 20});
        model.setVerification(ExportVerification(1, {}));
        model.setSelectedPageIndex(0);
        const RedactionSearchResult hit{Uuid::random(), c.page, c.rect, "Smith", RedactionSource::textSearch};
        c.fromSearch ? model.addSearchResult(hit) : model.addManual(c.page, c.rect);

        const bool added = c.stored.has_value();
        ASSERT_EQ(model.redactions().size(), added ? 2u : 1u);
        EXPECT_EQ(model.selectedPageIndex(), added || c.fromSearch ? c.page : 0);
        EXPECT_EQ(model.verification().has_value(), !added && !c.fromSearch);
        if (!added) continue;
        const auto& region = model.redactions().back();
        EXPECT_EQ(region.rect, *c.stored);
        EXPECT_EQ(region.pageIndex, c.page);
    }
}

// Redact All is one change however many hits it adds, and ends as adding them one by one
// would: the last hit's page selected, the verdict gone; undo then takes back the last region.
TEST(ViewModelAdding, RedactAllIsOneChangeAndUndoTakesBackTheLastRegion) {
    const auto hit = [](std::int64_t page, double x) {
        return RedactionSearchResult{Uuid::random(), page, {x, 100, 50, 20}, "Smith", RedactionSource::textSearch};
    };
    const struct {
        SearchResultList hits;
        std::size_t regions;
        QStringList changes;
    } cases[] = {
        {{hit(2, 300), hit(3, 10), hit(2, 302), hit(1, 200)}, 4, {"redactions", "selectedPageIndex", "verification"}},
        {{hit(0, 102), hit(0, 99)}, 1, {"selectedPageIndex", "verification"}},  // both duplicate the manual one
        {{}, 1, {}},
    };
    for (const auto& c : cases) {
        ModelProbe model;
        model.addManual(0, {100, 100, 50, 20});
        model.setSearchResults(c.hits);
        model.setVerification(ExportVerification(1, {}));
        testing::ChangeRecorder recorder(&model);
        model.addAllSearchResults();
        EXPECT_EQ(recorder.changes, c.changes + QStringList{"statusText"});
        ASSERT_EQ(model.redactions().size(), c.regions);
        EXPECT_EQ(model.selectedPageIndex(), c.hits.empty() ? 0 : c.hits.back().pageIndex);
        EXPECT_EQ(model.verification().has_value(), c.hits.empty());
        EXPECT_EQ(model.statusText(), QString::number(c.regions) + " pending redactions");
        const auto before = model.redactions();
        model.undoLast();
        EXPECT_TRUE(std::equal(model.redactions().begin(), model.redactions().end(), before.begin(),
                               [](const auto& a, const auto& b) { return a.id == b.id; }));
        EXPECT_EQ(model.redactions().size(), c.regions - 1);
    }
}

// Regions are removed by identity: a stranger with the same geometry removes nothing.
TEST_F(ViewModelTest, UndoAndRemoveClearTheVerdictOnlyWhenTheyRunAndKeepTheOutput) {
    model->setOutputURL(QString("/tmp/out.pdf"));
    model->setVerification(ExportVerification(1, {}));
    model->undoLast();
    EXPECT_TRUE(model->verification()) << "undo on an empty list keeps the verdict";

    model->addManual(0, {0, 0, 10, 10});
    model->addManual(0, {20, 20, 10, 10});
    const auto first = model->redactions()[0];
    model->setVerification(ExportVerification(1, {}));
    model->undoLast();
    ASSERT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(model->redactions()[0].id, first.id);
    EXPECT_FALSE(model->verification());

    RedactionRegion stranger = first;
    stranger.id = Uuid::random();
    model->setVerification(ExportVerification(1, {}));
    model->remove(stranger);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_FALSE(model->verification());
    model->remove(first);
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->outputURL(), QString("/tmp/out.pdf"));
}

}  // namespace
}  // namespace norvane
