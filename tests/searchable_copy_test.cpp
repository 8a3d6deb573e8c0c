// The searchable copy: invisible text read from the copy's own page images and laid over them,
// so a reader's search, selection and copy find what the pages show and nothing else; and
// verification takes the export's reading only where it is the reading of that very file.

#include "engine/redaction_engine.h"
#include "engine/search_keys.h"
#include "engine/searchable_layer.h"
#include "tests/support/pdf_factory.h"
#include "tests/support/pdf_inspect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>

namespace norvane {
namespace {

using namespace norvane::testing;

const ExportOptions kSearchable{.searchable = true, .recognition = {"eng"}};

const std::vector<TextRun> kFiller = {{"Statement of account for the second quarter.", 72, 700, 12},
                                      {"Please check every entry against your records.", 72, 560, 12},
                                      {"Transfers are listed in the order they were made.", 72, 540, 12}};

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

bool holds(const std::string& text, const std::string& word) {
    return lower(text).find(lower(word)) != std::string::npos;
}

std::map<std::string, int> wordCounts(const std::string& text) {
    std::map<std::string, int> counts;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        ++counts[word];
    }
    return counts;
}

PageRect grown(const PageRect& r, double by) {
    return {r.x - by, r.y - by, r.width + 2 * by, r.height + 2 * by};
}

ExportVerification verify(const std::filesystem::path& copy, const std::string& term,
                          SharedRecognisedCopy recognised = nullptr) {
    return RedactionEngine::verifyOutput(copy, {{term}, {}, {"eng"}, std::move(recognised)}, {});
}

// Three pages of prose, a name on each boxed: pdftotext gives back the words the pages show and
// never the name; the same export without the option has no text at all.
TEST(SearchableCopy, PdftotextReadsThePagesWordsButNoRedactedOne) {
    const char* const kWords[] = {"agreement", "party",   "shall",   "within",  "days",    "receipt", "notice",
                                  "payment",   "account", "holder",  "records", "meeting", "office",  "witness",
                                  "terms",     "balance", "invoice", "period",  "signed",  "copy",    "the"};
    unsigned seed = 11;
    DocumentPlan plan;
    std::vector<RedactionRegion> boxes;
    for (int p = 0; p < 3; ++p) {
        PageSpec page;
        for (int i = 0; i < 16; ++i) {
            std::string line;
            for (int w = 0; w < 8; ++w) {
                seed = seed * 1103515245u + 12345u;
                line += (w ? " " : "") + std::string(kWords[(seed >> 16) % std::size(kWords)]);
            }
            if (i == 3 + 5 * p) {
                line = "Paid to Harrington on " + line.substr(0, 40);
            }
            page.texts.push_back({line, 72, 720 - 28.0 * i, 11});
            if (line.starts_with("Paid")) {
                boxes.push_back(region(p, grown(glyphBox(page.texts.back(), "Harrington"), 2)));
            }
        }
        plan.pages.push_back(page);
    }
    TempDir dir;
    writeFile(dir.file("in.pdf"), buildPdf(plan));
    const auto document = PdfDocument::open(dir.file("in.pdf"));
    RedactionEngine::exportSecurePDF(document, boxes, dir.file("copy.pdf"), kSearchable, {});
    RedactionEngine::exportSecurePDF(document, boxes, dir.file("plain.pdf"), {}, {});

    auto wanted = wordCounts(pdftotext(dir.file("in.pdf")));
    ASSERT_EQ(wanted["Harrington"], 3);
    wanted.erase("Harrington");
    const std::string copyText = pdftotext(dir.file("copy.pdf"));
    auto got = wordCounts(copyText);
    int total = 0;
    int found = 0;
    for (const auto& [word, count] : wanted) {
        total += count;
        found += std::min(count, got[word]);
    }
    EXPECT_GE(found, total * 95 / 100) << copyText;
    EXPECT_FALSE(holds(copyText, "Harrington")) << copyText;
    EXPECT_TRUE(wordCounts(pdftotext(dir.file("plain.pdf"))).empty());

    const auto bytes = readFile(dir.file("copy.pdf"));
    EXPECT_TRUE(holdsText(bytes, "/Lang (en)"));
    EXPECT_EQ(inspectPdf(bytes).info.at("Title"), "Redacted Document");
    EXPECT_FALSE(holdsText(readFile(dir.file("plain.pdf")), "/Lang"));
}

// Where the copy's text layer says a word is, the word is: on offset media boxes and on pages
// turned by /Rotate alike, in the copy's page space (the media box moved to the origin).
TEST(SearchableCopy, EachWordLiesOverItsPicture) {
    const struct {
        const char* name;
        PageRect mediaBox;
        int rotate;
    } cases[] = {
        {"letter", {0, 0, 612, 792}, 0},
        {"offset", {40, 60, 500, 700}, 0},
        {"turned90", {0, 0, 612, 792}, 90},
        {"offsetTurned270", {-100, 50, 600, 500}, 270},
    };
    for (const auto& c : cases) {
        const double x = c.mediaBox.x + 60;
        const double top = c.mediaBox.y + c.mediaBox.height - 80;
        PageSpec page{.mediaBox = c.mediaBox, .rotate = c.rotate};
        for (std::size_t i = 0; i < kFiller.size(); ++i) {
            page.texts.push_back({kFiller[i].text, x, top - 24.0 * static_cast<double>(i), 12});
        }
        const TextRun run{"Quarterly figures attached for review", x, top - 100, 14};
        page.texts.push_back(run);
        TempDir dir;
        RedactionEngine::exportSecurePDF(documentOf({page}), {region(0, {c.mediaBox.x + 2, c.mediaBox.y + 2, 4, 4})},
                                         dir.file("copy.pdf"), kSearchable, {});

        // As the text layer's findings are drawn: the glyphs with a margin.
        const PageRect ink = glyphBox(run, "figures");
        const PageRect expected = safetyExpanded({ink.x - c.mediaBox.x, ink.y - c.mediaBox.y, ink.width, ink.height});
        std::vector<PageRect> placed;
        const ExportVerification checked = verify(dir.file("copy.pdf"), "figures");
        for (const auto& finding : checked.findings()) {
            if (finding.source == RedactionSource::textSearch) {
                placed.push_back(*finding.rect);
            }
        }
        ASSERT_EQ(placed.size(), 1u) << c.name;
        const PageRect& at = placed[0];
        EXPECT_NEAR(at.minX(), expected.minX(), 2) << c.name;
        EXPECT_NEAR(at.maxX(), expected.maxX(), 2) << c.name;
        EXPECT_NEAR(at.minY(), expected.minY(), 3) << c.name;
        EXPECT_NEAR(at.maxY(), expected.maxY(), 3) << c.name;
    }
}

// A source whose text layer says what its pixels do not show, or what the export boxes: the
// copy's text holds none of it, yet holds the words the page does show.
TEST(SearchableCopy, OnlyWhatThePixelsShowReachesTheText) {
    const TextRun payee{"Payee: Oyelaran", 72, 620, 14};
    const auto page = [&](std::vector<TextRun> extra, std::vector<PageRect> blacks = {}) {
        std::vector<TextRun> texts = kFiller;
        texts.insert(texts.end(), extra.begin(), extra.end());
        return buildPdf({.pages = {{.texts = texts, .filledBlackRects = blacks}}});
    };
    TextRun invisible = payee;
    invisible.renderMode = 3;
    TextRun white = payee;
    white.colour = {1, 1, 1};
    // Helvetica whose ToUnicode says the letter after the one drawn: "KBOF SPF" for "JANE ROE".
    const std::string cmap =
        "/CIDInit /ProcSet findresource begin 12 dict begin begincmap /CMapName /Shift def "
        "1 begincodespacerange <00> <FF> endcodespacerange 1 beginbfrange <41> <5A> <0042> endbfrange "
        "endcmap CMapName currentdict /CMap defineresource pop end end";
    const std::string content =
        "BT /F1 12 Tf 72 700 Td (Statement of account for the second quarter.) Tj ET "
        "BT /X 24 Tf 100 600 Td (JANE ROE) Tj ET";
    const auto lying =
        rawPdf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
                "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources << /Font << /F1 "
                "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> /X << /Type /Font /Subtype "
                "/Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding /ToUnicode 5 0 R >> >> >> "
                "/Contents 4 0 R >>",
                "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream",
                "<< /Length " + std::to_string(cmap.size()) + " >>\nstream\n" + cmap + "\nendstream"});
    const PageRect name = glyphBox(payee, "Oyelaran");
    const struct {
        const char* name;
        std::vector<unsigned char> pdf;
        std::vector<RedactionRegion> boxes;
        std::string hidden;
    } cases[] = {
        {"invisibleText", page({invisible}), {}, "Oyelaran"},
        {"whiteOnWhite", page({white}), {}, "Oyelaran"},
        {"underABlackBox", page({payee}, {grown(name, 2)}), {}, "Oyelaran"},
        {"boxedByTheExport", page({payee}), {region(0, grown(name, 2))}, "Oyelaran"},
        {"lyingToUnicode", lying, {}, "KBOF"},
    };
    for (const auto& c : cases) {
        TempDir dir;
        auto boxes = c.boxes;
        boxes.push_back(region(0, {4, 4, 6, 6}));
        RedactionEngine::exportSecurePDF(PdfDocument::fromBytes(c.pdf), boxes, dir.file("copy.pdf"), kSearchable, {});
        const std::string text = pdftotext(dir.file("copy.pdf"));
        EXPECT_TRUE(holds(text, "Statement of account")) << c.name << ": no text layer\n" << text;
        EXPECT_FALSE(holds(text, c.hidden)) << c.name << '\n' << text;
        EXPECT_FALSE(holds(inspectPdf(readFile(dir.file("copy.pdf"))).everything, c.hidden)) << c.name;
    }
}

// The export's reading stands in for the copy's pixels only when it is the reading of exactly the
// file checked, with the languages verification uses; and a term the copy's text layer holds
// fails the verification.
TEST(SearchableCopy, VerificationTakesTheExportsReadingOnlyOfTheVeryFile) {
    const TextRun payee{"Payee: Oyelaran", 72, 620, 14};
    std::vector<TextRun> texts = kFiller;
    texts.push_back(payee);
    const auto document = documentOf({{.texts = texts}});
    TempDir dir;
    const auto recognised = RedactionEngine::exportSecurePDF(
        document, {region(0, grown(glyphBox(payee, "Oyelaran"), 2))}, dir.file("copy.pdf"), kSearchable, {});
    ASSERT_TRUE(recognised);
    EXPECT_TRUE(verify(dir.file("copy.pdf"), "Oyelaran", recognised).passed());

    // A reading that says the name stands on the page: believed only where it applies.
    auto saysTheName = std::make_shared<RecognisedCopy>(*recognised);
    OcrLine line;
    line.text = "Oyelaran";
    line.box = {0.1, 0.2, 0.2, 0.02};
    saysTheName->pages.at(0).at(0).lines.push_back(line);
    const auto variant = [&](auto change) {
        auto copy = std::make_shared<RecognisedCopy>(*saysTheName);
        change(*copy);
        return SharedRecognisedCopy(copy);
    };
    const struct {
        const char* name;
        SharedRecognisedCopy reading;
        bool used;
    } cases[] = {
        {"this file, these languages", saysTheName, true},
        {"other languages", variant([](RecognisedCopy& r) { r.languages = "deu"; }), false},
        {"another file", variant([](RecognisedCopy& r) { r.fileDigest[0] ^= 1; }), false},
        {"a page short", variant([](RecognisedCopy& r) { r.pages.pop_back(); }), false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(verify(dir.file("copy.pdf"), "Oyelaran", c.reading).passed(), !c.used) << c.name;
    }

    const auto shown =
        RedactionEngine::exportSecurePDF(document, {region(0, {4, 4, 6, 6})}, dir.file("shown.pdf"), kSearchable, {});
    const auto findings = verify(dir.file("shown.pdf"), "Oyelaran", shown).findings();
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [](const auto& f) {
        return f.source == RedactionSource::textSearch;
    })) << "the copy's own text layer is checked";
}

}  // namespace
}  // namespace norvane
