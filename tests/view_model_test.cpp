// The document model's synchronous commands: opening and refusing files, and the rules for
// adding, removing and undoing regions, each with the change signals it publishes.

#include "model/redaction_view_model.h"
#include "tests/support/change_recorder.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/test_services.h"

#include <gtest/gtest.h>

namespace norvane {
namespace {

using testing::ChangeRecorder;

// Reaches the fields that only the model's own operations write, to set up a scene.
class ModelProbe : public RedactionViewModel {
public:
    static std::shared_ptr<ModelProbe> make() { return std::shared_ptr<ModelProbe>(new ModelProbe()); }
    ModelProbe() : RedactionViewModel(testing::TestServices().shared) {}
    using RedactionViewModel::setOutputURL;
    using RedactionViewModel::setSearchResults;
    using RedactionViewModel::setStatusText;
};

class ViewModelTest : public ::testing::Test {
protected:
    QString writePdf(const std::string& name, const testing::DocumentSpec& spec) {
        const auto path = dir.file(name);
        testing::writeFile(path, testing::buildPdf(spec));
        return QString::fromStdString(path.string());
    }

    QString threePages() { return writePdf("three.pdf", testing::textPages({"one", "two", "three"})); }

    static RedactionSearchResult hit(std::int64_t page, PageRect rect) {
        return RedactionSearchResult{Uuid::random(), page, rect, "Smith", RedactionSource::textSearch};
    }

    testing::TempDir dir;
    std::shared_ptr<ModelProbe> model = ModelProbe::make();
    ChangeRecorder recorder{model.get()};
};

TEST_F(ViewModelTest, OpenPublishesInOrderAndAnotherOpenResetsTheDocumentState) {
    const auto path = threePages();
    model->open(path);
    EXPECT_EQ(recorder.changes,
              QStringList({"isBusy", "progress", "errorMessage", "outputURL", "verification", "document", "sourceURL",
                           "redactions", "searchResults", "selectedPageIndex", "statusText"}));
    ASSERT_NE(model->document(), nullptr);
    EXPECT_EQ(model->sourceURL(), path);
    EXPECT_EQ(model->statusText(), "3 pages loaded");

    model->addManual(2, {10, 10, 50, 50});
    model->setSearchText("Smith");
    model->setLabelRedactions(true);
    model->setVerification(ExportVerification(3, {}));
    model->open(writePdf("one.pdf", testing::textPages({"a"})));
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->selectedPageIndex(), 0);
    EXPECT_FALSE(model->verification());
    EXPECT_EQ(model->statusText(), "1 pages loaded") << "no singular form";
    EXPECT_EQ(model->searchText(), "Smith") << "open never touches the query";
    EXPECT_TRUE(model->labelRedactions());
}

struct RefusedCase {
    const char* name;
    std::vector<unsigned char> bytes;
    const char* message;
};

void PrintTo(const RefusedCase& c, std::ostream* os) {
    *os << c.name;
}

class ViewModelRefusal : public ViewModelTest, public ::testing::WithParamInterface<RefusedCase> {};

TEST_P(ViewModelRefusal, KeepsThePreviousDocumentAndCancelsTheTask) {
    const auto good = threePages();
    model->open(good);
    model->addManual(1, {10, 10, 50, 50});
    const auto document = model->document();
    const auto task = model->beginTask();
    const auto bad = dir.file("bad.pdf");
    testing::writeFile(bad, GetParam().bytes);
    recorder.clear();

    model->open(QString::fromStdString(bad.string()));

    EXPECT_EQ(model->errorMessage(), QString::fromUtf8(GetParam().message));
    EXPECT_TRUE(task->isCancelled());
    EXPECT_EQ(model->task(), nullptr);
    EXPECT_EQ(model->document(), document);
    EXPECT_EQ(model->sourceURL(), good);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(model->selectedPageIndex(), 1);
    EXPECT_EQ(model->statusText(), "3 pages loaded");
    EXPECT_EQ(recorder.changes,
              QStringList({"isBusy", "progress", "errorMessage", "outputURL", "verification", "errorMessage"}));
}

testing::DocumentSpec encryptedSpec(std::optional<std::string> user) {
    auto spec = testing::textPages({"secret"});
    spec.ownerPassword = "owner";
    spec.userPassword = std::move(user);
    return spec;
}

INSTANTIATE_TEST_SUITE_P(
    Model, ViewModelRefusal,
    ::testing::Values(RefusedCase{"userPassword", testing::buildPdf(encryptedSpec("user")),
                                  "This PDF is encrypted or password-protected. Unlock it before redacting."},
                      RefusedCase{"ownerOnly", testing::buildPdf(encryptedSpec(std::nullopt)),
                                  "This PDF is encrypted or password-protected. Unlock it before redacting."},
                      RefusedCase{"zeroPages", testing::buildPdf(testing::DocumentSpec{}),
                                  "The PDF contains no readable pages."},
                      RefusedCase{"textFile", {'h', 'e', 'l', 'l', 'o'}, "The selected PDF could not be opened."}),
    [](const auto& p) { return std::string(p.param.name); });

TEST_F(ViewModelTest, ClearDocumentResetsAllButQueryAndLabel) {
    model->open(threePages());
    model->addManual(0, {1, 1, 10, 10});
    model->setSearchText("query");
    model->setLabelRedactions(true);
    model->setErrorMessage(QString("old"));
    recorder.clear();
    model->clearDocument();
    EXPECT_EQ(recorder.changes,
              QStringList({"isBusy", "progress", "document", "sourceURL", "redactions", "searchResults",
                           "selectedPageIndex", "outputURL", "verification", "errorMessage", "statusText"}));
    EXPECT_EQ(model->document(), nullptr);
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->statusText(), "Ready");
    EXPECT_EQ(model->searchText(), "query");
    EXPECT_TRUE(model->labelRedactions());
}

TEST_F(ViewModelTest, CancelStopsTheTaskButLeavesTheStatus) {
    const auto task = model->beginTask();
    model->setStatusText("OCR 2 of 5");
    recorder.clear();
    model->cancel();
    EXPECT_TRUE(task->stopToken().stop_requested());
    EXPECT_EQ(model->task(), nullptr);
    EXPECT_FALSE(model->isBusy());
    EXPECT_EQ(model->statusText(), "OCR 2 of 5");
    EXPECT_EQ(recorder.changes, QStringList({"isBusy", "progress"}));
    model->cancel();  // nothing in flight: still harmless
}

struct DragCase {
    PageRect rect;
    bool added;
    PageRect stored;
};

void PrintTo(const DragCase& c, std::ostream* os) {
    *os << "[" << c.rect.x << ", " << c.rect.y << ", " << c.rect.width << ", " << c.rect.height << "]";
}

class ManualDrag : public ViewModelTest, public ::testing::WithParamInterface<DragCase> {};

TEST_P(ManualDrag, SmallDragsAreClicksAndEqualDragsAreNotDuplicates) {
    model->setVerification(ExportVerification(1, {}));
    recorder.clear();
    model->addManual(4, GetParam().rect);
    if (!GetParam().added) {
        EXPECT_TRUE(recorder.changes.isEmpty());
        EXPECT_TRUE(model->verification()) << "a click changes nothing at all";
        return;
    }
    ASSERT_EQ(model->redactions().size(), 1u);
    const auto& region = model->redactions()[0];
    EXPECT_EQ(region.rect, GetParam().stored);
    EXPECT_EQ(region.pageIndex, 4);
    EXPECT_EQ(region.source, RedactionSource::manual);
    EXPECT_FALSE(region.matchedText);
    EXPECT_EQ(recorder.changes, QStringList({"redactions", "selectedPageIndex", "verification"}));

    model->addManual(4, GetParam().rect);
    ASSERT_EQ(model->redactions().size(), 2u);
    EXPECT_NE(model->redactions()[0].id, model->redactions()[1].id);
}

INSTANTIATE_TEST_SUITE_P(Model, ManualDrag,
                         ::testing::Values(DragCase{{10, 10, 1.9, 40}, false, {}},
                                           DragCase{{10, 10, 40, 1.99}, false, {}},
                                           DragCase{{10, 10, -1.9, -40}, false, {}},
                                           DragCase{{10, 10, 2.0, 2.0}, true, {10, 10, 2, 2}},
                                           DragCase{{100, 200, -50, -30}, true, {50, 170, 50, 30}},
                                           DragCase{{100, 200, 50, -30}, true, {100, 170, 50, 30}}));

struct HitCase {
    const char* name;
    std::int64_t page;
    PageRect rect;
    bool added;
};

void PrintTo(const HitCase& c, std::ostream* os) {
    *os << c.name;
}

class SearchHit : public ViewModelTest, public ::testing::WithParamInterface<HitCase> {};

TEST_P(SearchHit, DuplicateRuleStillSelectsThePage) {
    model->addManual(1, {100, 100, 50, 20});
    model->setVerification(ExportVerification(1, {}));
    model->setSelectedPageIndex(0);
    recorder.clear();
    model->addSearchResult(hit(GetParam().page, GetParam().rect));
    EXPECT_EQ(model->redactions().size(), GetParam().added ? 2u : 1u);
    EXPECT_EQ(model->selectedPageIndex(), GetParam().page);
    EXPECT_FALSE(model->verification());
    QStringList expected{"selectedPageIndex", "verification"};
    if (GetParam().added) {
        expected.prepend("redactions");
        EXPECT_EQ(model->redactions().back().source, RedactionSource::textSearch);
        EXPECT_EQ(model->redactions().back().matchedText, "Smith");
    }
    EXPECT_EQ(recorder.changes, expected);
}

INSTANTIATE_TEST_SUITE_P(Model, SearchHit,
                         ::testing::Values(HitCase{"same", 1, {100, 100, 50, 20}, false},
                                           HitCase{"withinThree", 1, {103, 97, 47, 23}, false},
                                           HitCase{"xOff", 1, {103.01, 100, 50, 20}, true},
                                           HitCase{"yOff", 1, {100, 96.99, 50, 20}, true},
                                           HitCase{"widthOff", 1, {100, 100, 53.01, 20}, true},
                                           HitCase{"heightOff", 1, {100, 100, 50, 16.99}, true},
                                           HitCase{"otherPage", 2, {100, 100, 50, 20}, true}),
                         [](const auto& p) { return std::string(p.param.name); });

TEST_F(ViewModelTest, RedactAllAddsFirstOfNearDuplicatesAndCountsEverything) {
    model->open(threePages());
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

    model->setVerification(ExportVerification(1, {}));
    recorder.clear();
    RedactionRegion stranger = first;
    stranger.id = Uuid::random();
    model->remove(stranger);
    EXPECT_EQ(model->redactions().size(), 1u);
    EXPECT_EQ(recorder.changes, QStringList({"redactions", "verification"}));

    model->remove(first);
    EXPECT_TRUE(model->redactions().empty());
    EXPECT_EQ(model->outputURL(), QString("/tmp/out.pdf"));
}

}  // namespace
}  // namespace norvane
