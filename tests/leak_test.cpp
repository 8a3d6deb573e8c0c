// Hostile hiding places for a secret: after export the secret must be in none of the output's
// bytes, raw or decoded, and every pixel under every box must be black.

#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/pdf_inspect.h"

#include <gtest/gtest.h>

#include <functional>

namespace norvane {
namespace {

using testing::AnnotationSpec;
using testing::DocumentSpec;
using testing::PageSpec;

const std::string kSecret = "KESTREL-4471-VAULT";

struct LeakCase {
    const char* name;
    std::function<std::vector<unsigned char>()> source;
    std::vector<RedactionRegion> regions;
};

void PrintTo(const LeakCase& c, std::ostream* os) { *os << c.name; }

RedactionRegion region(std::int64_t pageIndex, PageRect rect) {
    RedactionRegion r;
    r.id = Uuid::random();
    r.pageIndex = pageIndex;
    r.rect = rect;
    return r;
}

PageSpec withText(const std::string& text, double x = 72, double y = 700) {
    PageSpec page;
    page.texts.push_back({text, x, y, 14});
    return page;
}

// A box generously around a 14 pt run of the secret at (x, y).
PageRect overSecret(double x = 72, double y = 700) {
    return {x - 2, y - 5, testing::textWidth(kSecret, 14) + 4, 20};
}

std::vector<unsigned char> build(std::vector<PageSpec> pages, std::function<void(DocumentSpec&)> extra = {}) {
    DocumentSpec spec;
    spec.pages = std::move(pages);
    if (extra) {
        extra(spec);
    }
    return testing::buildPdf(spec);
}

const RedactionRegion kElsewhere = region(0, {500, 50, 40, 20});

class Leaks : public ::testing::TestWithParam<LeakCase> {};

TEST_P(Leaks, SecretIsGoneAndBoxesAreSolid) {
    const LeakCase& c = GetParam();
    const std::vector<unsigned char> source = c.source();
    // The fixture must really carry the secret, or the test proves nothing.
    ASSERT_TRUE(testing::holdsText(source, kSecret) ||
                testing::holdsText(testing::inspectPdf(source, false).everything, kSecret));

    const auto document = PdfDocument::fromBytes(source);
    testing::TempDir dir;
    const auto out = dir.file("secure.pdf");
    RedactionEngine::exportSecurePDF(document, c.regions, out, false, {});

    const auto bytes = testing::readFile(out);
    EXPECT_FALSE(testing::holdsText(bytes, kSecret)) << "secret in the raw file";
    const auto pdf = testing::inspectPdf(bytes);
    EXPECT_FALSE(testing::holdsText(pdf.everything, kSecret)) << "secret in a decoded object or stream";
    EXPECT_EQ(pdf.textCharacters, 0);
    EXPECT_EQ(pdf.versions, 1);
    ASSERT_EQ(static_cast<std::int64_t>(pdf.pages.size()), document->pageCount());
    for (const RedactionRegion& r : c.regions) {
        const auto index = static_cast<std::size_t>(r.pageIndex);
        EXPECT_EQ(testing::nonBlackPixelsUnder(pdf.pages[index], document->page(r.pageIndex).mediaBox, r.rect), 0)
            << "box on page " << r.pageIndex;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Leak, Leaks,
    ::testing::Values(
        LeakCase{"textLayerUnderBox", [] { return build({withText(kSecret)}); }, {region(0, overSecret())}},
        LeakCase{"textHiddenUnderDrawnBlackRectangle",
                 [] {
                     PageSpec page = withText(kSecret);
                     page.filledBlackRects.push_back(overSecret());
                     return build({page});
                 },
                 {kElsewhere}},
        LeakCase{"invisibleTextRenderMode",
                 [] {
                     PageSpec page;
                     page.extraContent = "BT /F1 14 Tf 3 Tr 72 600 Td (" + kSecret + ") Tj ET\n";
                     page.texts.push_back({"visible", 72, 700, 14});
                     return build({page});
                 },
                 {kElsewhere}},
        LeakCase{"closedNoteContents",
                 [] {
                     PageSpec page = withText("Nothing to see");
                     page.annotations.push_back({AnnotationSpec::Kind::note, {300, 300, 20, 20}, kSecret});
                     return build({page});
                 },
                 {kElsewhere}},
        LeakCase{"visibleFreeTextUnderBox",
                 [] {
                     PageSpec page = withText("Nothing to see");
                     page.annotations.push_back({AnnotationSpec::Kind::freeText, {72, 500, 300, 40}, kSecret});
                     return build({page});
                 },
                 {region(0, {70, 498, 304, 44})}},
        LeakCase{"formFieldValueUnderBox",
                 [] {
                     PageSpec page = withText("Name:");
                     page.fields.push_back({"name", {72, 400, 300, 24}, kSecret});
                     return build({page});
                 },
                 {region(0, {70, 398, 304, 28})}},
        LeakCase{"infoDictionary",
                 [] {
                     return build({withText("Body")}, [](DocumentSpec& s) {
                         s.info = {{"Title", kSecret}, {"Author", kSecret}, {"Subject", kSecret}, {"Keywords", kSecret}};
                     });
                 },
                 {kElsewhere}},
        LeakCase{"xmpMetadata",
                 [] {
                     return build({withText("Body")}, [](DocumentSpec& s) {
                         s.xmpMetadata = "<?xpacket begin='' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'>"
                                         "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
                                         "<rdf:Description xmlns:dc='http://purl.org/dc/elements/1.1/' dc:creator='" +
                                         kSecret + "'/></rdf:RDF></x:xmpmeta><?xpacket end='w'?>";
                     });
                 },
                 {kElsewhere}},
        LeakCase{"embeddedFile",
                 [] {
                     return build({withText("Body")}, [](DocumentSpec& s) {
                         s.attachments.push_back({"notes.txt", "The password is " + kSecret});
                     });
                 },
                 {kElsewhere}},
        LeakCase{"bookmarkTitle",
                 [] {
                     return build({withText("Body")}, [](DocumentSpec& s) { s.outlineTitles = {"Intro", kSecret}; });
                 },
                 {kElsewhere}},
        LeakCase{"olderRevision",
                 [] {
                     return testing::withRevision(build({withText(kSecret)}), 0,
                                                  "BT /F1 14 Tf 72 700 Td (Revised and public) Tj ET\n");
                 },
                 {kElsewhere}},
        LeakCase{"rotatedOffsetPageUnderBox",
                 [] {
                     PageSpec page = withText(kSecret, 120, 300);
                     page.mediaBox = {40, 60, 500, 400};
                     page.rotate = 90;
                     return build({withText("First page"), page});
                 },
                 {region(1, overSecret(120, 300))}},
        LeakCase{"textOverPhotoUnderBox",
                 [] {
                     PageSpec page = withText(kSecret, 100, 400);
                     page.images.push_back({{50, 300, 400, 300}, 200, 150});
                     return build({page});
                 },
                 {region(0, overSecret(100, 400))}},
        LeakCase{"textOutsideCropBoxUnderBox",
                 [] {
                     PageSpec page = withText(kSecret, 72, 750);
                     page.cropBox = PageRect{100, 100, 200, 200};
                     return build({page});
                 },
                 {region(0, overSecret(72, 750))}},
        LeakCase{"secretOnEveryPageOfMany",
                 [] {
                     std::vector<PageSpec> pages;
                     for (int i = 0; i < 5; ++i) {
                         pages.push_back(withText(kSecret, 72, 700 - 20.0 * i));
                     }
                     return build(pages);
                 },
                 {region(0, overSecret(72, 700)), region(1, overSecret(72, 680)), region(2, overSecret(72, 660)),
                  region(3, overSecret(72, 640)), region(4, overSecret(72, 620))}}),
    [](const auto& p) { return std::string(p.param.name); });

}  // namespace
}  // namespace norvane
