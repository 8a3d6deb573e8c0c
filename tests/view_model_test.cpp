// The document model's synchronous commands: opening and refusing files, and the rules for
// adding, removing and undoing regions, each with the change signals it publishes.

#include "model/redaction_view_model.h"
#include "tests/support/change_recorder.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"

#include <gtest/gtest.h>

namespace norvane {
namespace {

// Reaches the fields that only the model's own operations write, to set up a scene.
class ModelProbe : public RedactionViewModel {
public:
    ModelProbe() : RedactionViewModel(testing::TestServices().shared) {}
    using RedactionViewModel::setOutputURL;
    using RedactionViewModel::setSearchResults;
};

class ViewModelTest : public ::testing::Test {
protected:
    QString writePdf(const testing::DocumentSpec& content, const std::string& name = "doc.pdf") {
        testing::writeFile(dir.file(name), testing::buildPdf(content));
        return QString::fromStdString(dir.file(name).string());
    }
    static RedactionSearchResult hit(std::int64_t page, PageRect rect) {
        return RedactionSearchResult{Uuid::random(), page, rect, "Smith", RedactionSource::textSearch};
    }

    testing::TempDir dir;
    std::shared_ptr<ModelProbe> model = std::make_shared<ModelProbe>();
    testing::ChangeRecorder recorder{model.get()};
};

TEST_F(ViewModelTest, OpenAndClearResetEverythingButTheQueryAndLabel) {
    model->open(writePdf(testing::textPages({"one", "two", "three"})));
    model->addManual(2, {10, 10, 50, 50});
    model->setSearchText("Smith");
    model->setLabelRedactions(true);
    model->setVerification(ExportVerification(3, {}));
    const QString path = writePdf(testing::textPages({"a"}), "one.pdf");
    model->open(path);
    EXPECT_EQ(model->sourceURL(), path);
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->selectedPageIndex(), 0);
    EXPECT_FALSE(model->verification());
    EXPECT_EQ(model->statusText(), "1 pages loaded") << "no singular form";
    EXPECT_EQ(model->searchText(), "Smith");
    EXPECT_TRUE(model->labelRedactions());

    model->setErrorMessage(QStringLiteral("old"));
    model->clearDocument();
    EXPECT_FALSE(model->errorMessage());
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->document(), nullptr);
    EXPECT_EQ(model->statusText(), "Ready");
    EXPECT_EQ(model->searchText(), "Smith");
}

testing::DocumentSpec encrypted(std::optional<std::string> user) {
    auto locked = testing::textPages({"secret"});
    locked.ownerPassword = "owner";
    locked.userPassword = std::move(user);
    return locked;
}

const char* const kLocked = "This PDF is encrypted or password-protected. Unlock it before redacting.";

struct RefusedFile {
    friend void PrintTo(const RefusedFile& c, std::ostream* os) { *os << c.name; }
    const char* name;
    std::vector<unsigned char> bytes;
    const char* message;
};

class Refusal : public ViewModelTest, public ::testing::WithParamInterface<RefusedFile> {};

INSTANTIATE_TEST_SUITE_P(
    Files, Refusal,
    ::testing::Values(RefusedFile{"userPassword", testing::buildPdf(encrypted("user")), kLocked},
                      RefusedFile{"ownerPasswordOnly", testing::buildPdf(encrypted(std::nullopt)), kLocked},
                      RefusedFile{"noPages", testing::buildPdf({}), "The PDF contains no readable pages."},
                      RefusedFile{"notAPdf", {'h', 'i'}, "The selected PDF could not be opened."}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_P(Refusal, KeepsThePreviousDocumentAndCancelsTheTaskButLeavesTheStatus) {
    const auto good = writePdf(testing::textPages({"one", "two", "three"}));
    model->open(good);
    model->addManual(1, {10, 10, 50, 50});
    const auto document = model->document();
    const auto task = model->beginTask();
    testing::writeFile(dir.file("bad.pdf"), GetParam().bytes);
    recorder.clear();

    model->open(QString::fromStdString(dir.file("bad.pdf").string()));

    EXPECT_EQ(model->errorMessage(), QString::fromUtf8(GetParam().message));
    EXPECT_TRUE(task->stopToken().stop_requested());
    EXPECT_EQ(model->task(), nullptr);
    EXPECT_EQ(model->document(), document);
    EXPECT_EQ(model->sourceURL(), good);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(model->selectedPageIndex(), 1);
    EXPECT_EQ(model->statusText(), "3 pages loaded");
    EXPECT_EQ(recorder.changes,
              QStringList({"isBusy", "progress", "errorMessage", "outputURL", "verification", "errorMessage"}));
}

// A manual drag on page 4, or a search hit beside a manual region at (100, 100, 50, 20) on page 1.
struct AddCase {
    friend void PrintTo(const AddCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    bool fromSearch;
    std::int64_t page;
    PageRect rect;
    bool added;
    PageRect stored = {};
};

class Adding : public ViewModelTest, public ::testing::WithParamInterface<AddCase> {};

INSTANTIATE_TEST_SUITE_P(
    Regions, Adding,
    ::testing::Values(AddCase{"narrowDrag", false, 4, {10, 10, 1.9, 40}, false},
                      AddCase{"flatDrag", false, 4, {10, 10, 40, 1.99}, false},
                      AddCase{"smallBackwardsDrag", false, 4, {10, 10, -1.9, -40}, false},
                      AddCase{"smallestDrag", false, 4, {10, 10, 2, 2}, true, {10, 10, 2, 2}},
                      AddCase{"backwardsDrag", false, 4, {100, 200, -50, -30}, true, {50, 170, 50, 30}},
                      AddCase{"upwardsDrag", false, 4, {100, 200, 50, -30}, true, {100, 170, 50, 30}},
                      AddCase{"sameHit", true, 1, {100, 100, 50, 20}, false},
                      AddCase{"hitWithinThree", true, 1, {103, 97, 47, 23}, false},
                      AddCase{"hitXOff", true, 1, {103.01, 100, 50, 20}, true, {103.01, 100, 50, 20}},
                      AddCase{"hitYOff", true, 1, {100, 96.99, 50, 20}, true, {100, 96.99, 50, 20}},
                      AddCase{"hitWidthOff", true, 1, {100, 100, 53.01, 20}, true, {100, 100, 53.01, 20}},
                      AddCase{"hitHeightOff", true, 1, {100, 100, 50, 16.99}, true, {100, 100, 50, 16.99}},
                      AddCase{"hitOnOtherPage", true, 2, {100, 100, 50, 20}, true, {100, 100, 50, 20}}),
    [](const auto& param) { return std::string(param.param.name); });

// Clicks change nothing at all; a duplicate hit adds nothing but still selects its page.
TEST_P(Adding, ClicksAndDuplicateHitsAddNothing) {
    const AddCase& c = GetParam();
    model->addManual(1, {100, 100, 50, 20});
    model->setVerification(ExportVerification(1, {}));
    model->setSelectedPageIndex(0);
    recorder.clear();
    if (c.fromSearch) {
        model->addSearchResult(hit(c.page, c.rect));
    } else {
        model->addManual(c.page, c.rect);
    }
    ASSERT_EQ(model->redactions().size(), c.added ? 2u : 1u);
    QStringList expected{"selectedPageIndex", "verification"};
    if (c.added) {
        expected.prepend("redactions");
        const auto& region = model->redactions().back();
        EXPECT_EQ(region.rect, c.stored);
        EXPECT_EQ(region.pageIndex, c.page);
        EXPECT_EQ(region.source, c.fromSearch ? RedactionSource::textSearch : RedactionSource::manual);
        EXPECT_EQ(region.matchedText, c.fromSearch ? std::optional<std::string>("Smith") : std::nullopt);
    }
    EXPECT_EQ(recorder.changes, c.added || c.fromSearch ? expected : QStringList());
    EXPECT_EQ(model->selectedPageIndex(), c.added || c.fromSearch ? c.page : 0);
    EXPECT_EQ(model->verification().has_value(), !c.added && !c.fromSearch);
}

TEST_F(ViewModelTest, RedactAllAddsFirstOfNearDuplicatesAndCountsEverything) {
    model->open(writePdf(testing::textPages({"one", "two", "three"})));
    model->addManual(0, {300, 300, 20, 20});
    model->setSearchResults({hit(1, {10, 10, 40, 12}), hit(1, {11, 12, 41, 10}), hit(2, {10, 10, 40, 12})});
    model->addAllSearchResults();
    ASSERT_EQ(model->redactions().size(), 3u);
    EXPECT_EQ(model->redactions()[1].rect, (PageRect{10, 10, 40, 12}));
    EXPECT_EQ(model->selectedPageIndex(), 2);
    EXPECT_EQ(model->statusText(), "3 pending redactions");
    EXPECT_EQ(model->searchResults().size(), 3u) << "results stay listed";
}

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
    recorder.clear();
    model->remove(stranger);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(recorder.changes, QStringList({"redactions", "verification"}));
    model->remove(first);
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->outputURL(), QString("/tmp/out.pdf"));
}

}  // namespace
}  // namespace norvane
