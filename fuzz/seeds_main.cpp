// Writes the fuzzer's seed corpus with the test factory: one small file per kind of thing a
// PDF can hold, so mutations start from every structure the engine must survive.

#include "tests/support/pdf_factory.h"
#include "tests/support/scan_factory.h"

#include <cstdio>
#include <filesystem>
#include <string>

using namespace norvane;
using namespace norvane::testing;

namespace {

PageSpec textPage(const std::string& text) {
    PageSpec page;
    page.texts.push_back(TextRun{text, 72, 700, 14});
    page.texts.push_back(TextRun{"the second line of the page", 72, 670, 10, "Times-Roman"});
    return page;
}

DocumentPlan oneOf(PageSpec page) {
    DocumentPlan plan;
    plan.pages.push_back(std::move(page));
    return plan;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: norvane-fuzz-seeds FOLDER\n");
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder);
    int written = 0;
    const auto write = [&](const std::string& name, const std::vector<unsigned char>& bytes) {
        writeFile(folder / (name + ".pdf"), bytes);
        ++written;
    };

    write("text", buildPdf(textPages({"Thomas Leonard signed the agreement", "Page two of the file"})));
    for (const int rotate : {90, 180, 270}) {
        PageSpec page = textPage("Rotated by " + std::to_string(rotate));
        page.rotate = rotate;
        page.mediaBox = PageRect{-40, 25, 420, 595};
        page.cropBox = PageRect{0, 50, 300, 400};
        write("rotated-" + std::to_string(rotate), buildPdf(oneOf(page)));
    }
    {
        PageSpec page = textPage("Annotated page");
        page.annotations = {AnnotationSpec{AnnotationSpec::Kind::freeText, {72, 600, 240, 40}, "free text"},
                            AnnotationSpec{AnnotationSpec::Kind::note, {72, 500, 20, 20}, "a note"}};
        page.fields = {FieldSpec{"name", {72, 450, 240, 24}, "field value"}};
        page.filledBlackRects = {PageRect{70, 695, 80, 20}};
        write("annotations", buildPdf(oneOf(page)));
        // What an inspection looks for: marks never applied, dark marks, scripts, labels.
        page.rawAnnotations = {
            "<< /Type /Annot /Subtype /Redact /Rect [72 690 150 712] /QuadPoints [72 712 150 712 72 690 150 690] >>",
            "<< /Type /Annot /Subtype /Square /Rect [72 660 150 680] /IC [0 0 0] /A << /S /Launch /F (x) >> >>",
            "<< /Type /Annot /Subtype /Highlight /Rect [72 640 150 660] /C [0 0 0] "
            "/AA << /E << /S /JavaScript /JS (1) /Next [<< /S /GoToR /F (y) >>] >> >> >>"};
        DocumentPlan plan = oneOf(page);
        plan.extraCatalog = " /PageLabels << /Nums [0 << /S /r >>] >> /OpenAction << /S /JavaScript /JS (1) >>";
        write("inspected", buildPdf(plan));
    }
    {
        PageSpec page = textPage("Under the picture");
        page.images = {ImageSpec{{72, 300, 200, 150}, 24, 18, false, 3},
                       ImageSpec{{300, 300, 100, 100}, 16, 16, true, 5}};
        page.extraContent = "0.5 g 100 100 m 200 200 l 300 100 l h f\nBT /F1 9 Tf 3 Tr 72 80 Td (invisible) Tj ET\n";
        write("images", buildPdf(oneOf(page)));
    }
    {
        DocumentPlan plan = oneOf(textPage("With everything around it"));
        plan.info = {{"Title", "Seed"}, {"Author", "Factory"}};
        plan.xmpMetadata = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";
        plan.attachments = {{"notes.txt", "attached text"}};
        plan.outlineTitles = {"Chapter one", "Chapter two"};
        write("structure", buildPdf(plan));
        write("revision", withRevision(buildPdf(plan), 0, "BT /F1 12 Tf 72 600 Td (revised) Tj ET"));
    }
    {
        DocumentPlan plan = oneOf(textPage("Locked for editing"));
        plan.ownerPassword = "owner";
        write("owner-password", buildPdf(plan));
    }
    {
        ScanPage scan;
        scan.source.texts = {TextRun{"Scanned words", 72, 700, 14}};
        scan.rotate = 90;
        scan.dpi = 30;
        write("scan", buildScannedPdf({scan}));
    }
    {
        PageSpec empty;
        empty.mediaBox = PageRect{0, 0, 0, 792};
        DocumentPlan plan;
        plan.pages = {textPage("Before the empty page"), empty};
        write("empty-media-box", buildPdf(plan));
    }
    std::printf("%d seeds in %s\n", written, folder.c_str());
    return 0;
}
