// Hostile hiding places for a secret: after export the secret must be in none of the output's
// bytes, raw or decoded, and every pixel under every box must be black.

#include "engine/redaction_engine.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/pdf_inspect.h"

#include <gtest/gtest.h>

namespace norvane {
namespace {

using namespace norvane::testing;

const std::string kSecret = "KESTREL-4471-VAULT";

// The secret as a 14 pt run at (x, y), and a box generously around it.
TextRun secretAt(double x = 72, double y = 700) {
    return {kSecret, x, y, 14};
}
RedactionRegion overSecret(std::int64_t page = 0, double x = 72, double y = 700) {
    return region(page, {x - 2, y - 5, textWidth(kSecret, 14) + 4, 20});
}

const RedactionRegion kElsewhere = region(0, {500, 50, 40, 20});

// A one-page document holding "Body", or a page of it changed.
DocumentPlan body(PageSpec page = {.texts = {TextRun{"Body"}}}) {
    return {.pages = {page}};
}

struct LeakCase {
    friend void PrintTo(const LeakCase& c, std::ostream* os) { *os << c.name; }
    const char* name;
    DocumentPlan source;
    std::vector<RedactionRegion> regions{kElsewhere};
    bool revised = false;  // the secret only in an earlier revision
};

class Leaks : public ::testing::TestWithParam<LeakCase> {};

TEST_P(Leaks, SecretIsGoneAndBoxesAreSolid) {
    const LeakCase& c = GetParam();
    std::vector<unsigned char> source = buildPdf(c.source);
    if (c.revised) {
        source = withRevision(source, 0, "BT /F1 14 Tf 72 700 Td (Revised and public) Tj ET\n");
    }
    // The fixture must really carry the secret, or the test proves nothing.
    ASSERT_TRUE(holdsText(source, kSecret) || holdsText(inspectPdf(source).everything, kSecret));

    const auto document = PdfDocument::fromBytes(source);
    TempDir dir;
    RedactionEngine::exportSecurePDF(document, c.regions, dir.file("secure.pdf"), {}, {});

    const auto bytes = readFile(dir.file("secure.pdf"));
    EXPECT_FALSE(holdsText(bytes, kSecret)) << "secret in the raw file";
    const auto pdf = inspectPdf(bytes);
    EXPECT_FALSE(holdsText(pdf.everything, kSecret)) << "secret in a decoded object or stream";
    EXPECT_EQ(pdf.textCharacters, 0);
    EXPECT_EQ(pdf.versions, 1);
    ASSERT_EQ(static_cast<std::int64_t>(pdf.pages.size()), document->pageCount());
    for (const RedactionRegion& r : c.regions) {
        const auto& page = pdf.pages[static_cast<std::size_t>(r.pageIndex)];
        EXPECT_EQ(nonBlackPixelsUnder(page, document->page(r.pageIndex).mediaBox, r.rect), 0) << r.pageIndex;
    }
}

const std::string kXmp =
    "<?xpacket begin='' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
    "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description "
    "xmlns:dc='http://purl.org/dc/elements/1.1/' dc:creator='" +
    kSecret + "'/></rdf:RDF></x:xmpmeta><?xpacket end='w'?>";

DocumentPlan secretOnEveryPage(int pages) {
    DocumentPlan plan;
    for (int i = 0; i < pages; ++i) {
        plan.pages.push_back({.texts = {secretAt(72, 700 - 20.0 * i)}});
    }
    return plan;
}

INSTANTIATE_TEST_SUITE_P(
    Leak, Leaks,
    ::testing::Values(
        LeakCase{"textLayerUnderBox", body({.texts = {secretAt()}}), {overSecret()}},
        LeakCase{"textHiddenUnderDrawnBlackRectangle",
                 body({.texts = {secretAt()}, .filledBlackRects = {overSecret().rect}})},
        LeakCase{"invisibleTextRenderMode",
                 body({.texts = {TextRun{"Body"}},
                       .extraContent = "BT /F1 14 Tf 3 Tr 72 600 Td (" + kSecret + ") Tj ET\n"})},
        LeakCase{"closedNoteContents",
                 body({.texts = {TextRun{"Body"}},
                       .annotations = {{AnnotationSpec::Kind::note, {300, 300, 20, 20}, kSecret}}})},
        LeakCase{"visibleFreeTextUnderBox",
                 body({.texts = {TextRun{"Body"}},
                       .annotations = {{AnnotationSpec::Kind::freeText, {72, 500, 300, 40}, kSecret}}}),
                 {region(0, {70, 498, 304, 44})}},
        LeakCase{"formFieldValueUnderBox",
                 body({.texts = {TextRun{"Body"}}, .fields = {{"name", {72, 400, 300, 24}, kSecret}}}),
                 {region(0, {70, 398, 304, 28})}},
        LeakCase{"infoDictionary",
                 {.pages = body().pages,
                  .info = {{"Title", kSecret}, {"Author", kSecret}, {"Subject", kSecret}, {"Keywords", kSecret}}}},
        LeakCase{"xmpMetadata", {.pages = body().pages, .xmpMetadata = kXmp}},
        LeakCase{"embeddedFile", {.pages = body().pages, .attachments = {{"notes.txt", "The password is " + kSecret}}}},
        LeakCase{"bookmarkTitle", {.pages = body().pages, .outlineTitles = {"Intro", kSecret}}},
        LeakCase{"olderRevision", body({.texts = {secretAt()}}), {kElsewhere}, true},
        LeakCase{
            "rotatedOffsetPageUnderBox",
            {.pages = {body().pages[0], {.mediaBox = {40, 60, 500, 400}, .rotate = 90, .texts = {secretAt(120, 300)}}}},
            {overSecret(1, 120, 300)}},
        LeakCase{"textOverPhotoUnderBox",
                 body({.texts = {secretAt(100, 400)}, .images = {{{50, 300, 400, 300}, 200, 150}}}),
                 {overSecret(0, 100, 400)}},
        LeakCase{"textOutsideCropBoxUnderBox",
                 body({.cropBox = PageRect{100, 100, 200, 200}, .texts = {secretAt(72, 750)}}),
                 {overSecret(0, 72, 750)}},
        LeakCase{"secretOnEveryPageOfMany",
                 secretOnEveryPage(5),
                 {overSecret(0, 72, 700), overSecret(1, 72, 680), overSecret(2, 72, 660), overSecret(3, 72, 640),
                  overSecret(4, 72, 620)}}),
    [](const auto& p) { return std::string(p.param.name); });

}  // namespace
}  // namespace norvane
