#include "engine/mupdf_session.h"
#include "engine/ocr_service.h"
#include "engine/page_raster.h"
#include "engine/recognition_languages.h"
#include "engine/redaction_engine.h"
#include "engine/search_keys.h"
#include "tests/support/scan_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unicode/locid.h>

#include <cstring>
#include <stop_token>

extern "C" {
void GOMP_parallel(void (*)(void*), void*, unsigned, unsigned);
void GOMP_parallel_sections(void (*)(void*), void*, unsigned, unsigned, unsigned);
unsigned GOMP_sections_next();
void GOMP_sections_end_nowait();
}

namespace norvane {
namespace {

using namespace norvane::testing;

SharedPdfDocument scanned(const std::vector<ScanPage>& pages) {
    return PdfDocument::fromBytes(buildScannedPdf(pages));
}

std::vector<RedactionSearchResult> search(const SharedPdfDocument& document, const std::string& query,
                                          Progress* progress = nullptr) {
    Progress ignored;
    return RedactionEngine::ocrMatches(document, query, {}, recordInto(progress ? *progress : ignored)).results;
}

TEST(Ocr, RecognitionLanguagesAreEnglishPlusTheLocalesWhenInstalled) {
    const std::tuple<const char*, std::vector<const char*>, const char*> cases[] = {
        {"", {"eng", "deu"}, "eng"},
        {"en_GB", {"eng", "deu"}, "eng"},
        {"de_DE", {"eng", "deu"}, "eng+deu"},
        {"de_AT", {"eng"}, "eng"},
        {"zh_TW", {"chi_sim", "chi_tra"}, "eng+chi_tra"},
        {"zh_Hans_CN", {"chi_sim", "chi_tra"}, "eng+chi_sim"},
        {"nb_NO", {"nor"}, "eng+nor"},
        {"xx_YY", {"xx"}, "eng"},
    };
    for (const auto& [locale, installed, expected] : cases) {
        TempDir dir;
        for (const char* model : installed) {
            writeFile(dir.file(std::string(model) + ".traineddata"), {0});
        }
        EXPECT_EQ(recognitionLanguages(locale, dir.path()), expected) << locale;
    }
}

// Automatic languages add, for the letters English lacks, the fewest installed models that read
// them; what none reads is left to the letter check, which forgives case and dropped accents.
TEST(Ocr, LanguagesFollowTheLettersOfTheTerms) {
    const icu::Locale desktop = icu::Locale::getDefault();
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale::getUS(), status);
    const std::pair<std::vector<std::string>, const char*> automatic[] = {
        {{"Harrington", "4711-A", "Caf\u00e9"}, "eng"},
        {{"\u0141ukasz"}, "pol+eng"},
        {{"\u0418\u0432\u0430\u043d\u043e\u0432"}, "rus+eng"},
        {{"\u0407\u0436\u0430\u043a"}, "ukr+eng"},
        {{"\u041f\u0430\u043f\u03b1\u03b4\u03cc\u03c0\u03bf\u03c5\u03bb\u03bf\u03c2", "\u0141\u043e"},
         "ell+rus+pol+eng"},
        {{"\u674e\u660e \u05e9\u05dc\u05d5\u05dd"}, "eng"},
    };
    for (const auto& [terms, expected] : automatic) {
        EXPECT_EQ(resolvedRecognitionLanguages({}, terms), expected) << expected;
    }
    icu::Locale::setDefault(desktop, status);

    const std::tuple<const char*, const char*, std::vector<std::string>> letters[] = {
        {"\u674e\u660e Smith \u674e", "eng", {"\u674e", "\u660e"}},
        {"\u0141ukasz", "eng", {"\u0141"}},
        {"\u0141UKASZ \u0142ukasz", "eng+pol", {}},
        {"STRA\u1e9eE", "eng+deu", {}},
        {"M\u00fcller Zoe\u0308 Ren\u00e9e", "eng", {}},
        {"\u03a3\u03a9\u039a\u03a1\u0391\u03a4\u0397\u03a3", "eng+ell", {}},
        {"Zero\u200bwidth\u00ad\tjoin\u200d", "eng", {}},
        {"\u05e9\u05c1\u05dc\u05d5\u05dd", "eng+rus", {"\u05e9", "\u05dc", "\u05d5", "\u05dd"}},
        {"Smith\u2605", "eng", {"\u2605"}},
    };
    for (const auto& [term, languages, expected] : letters) {
        EXPECT_EQ(unreadableLetters(term, languages), expected) << languages;
    }

    const std::pair<const char*, const char*> packages[] = {
        {"\u674e\u660e", "Install tesseract-ocr-chi-sim to read them."},
        {"\u05e9\u05dc\u05d5\u05dd \u0627\u0644\u0639", "Install tesseract-ocr-heb, tesseract-ocr-ara to read them."},
        {"\u5c71\u7530\u3055\u3093", "Install tesseract-ocr-jpn to read them."},
        {"\u0141\u00f0", "Choose a recognition language that has them."},
    };
    for (const auto& [term, advice] : packages) {
        const std::string message = unreadableLettersMessage(unreadableLetters(term, "eng"));
        EXPECT_THAT(message, ::testing::StartsWith("The installed recognition languages cannot read some letters of "
                                                   "this term. "));
        EXPECT_THAT(message, ::testing::EndsWith(advice));
    }
    EXPECT_THAT([] { resolvedRecognitionLanguages({"eng+chi_sim"}, {}); },
                ::testing::ThrowsMessage<OcrError>(::testing::HasSubstr("tesseract-ocr-chi-sim")));
    EXPECT_EQ(resolvedRecognitionLanguages({"eng+deu"}, {"\u0141ukasz"}), "eng+deu") << "a choice is kept";
}

// A term whose letters no model reads is refused before any page is drawn, and its letters are
// in no message; verification reports it rather than pass it.
TEST(Ocr, TermsNoModelCanReadAreRefusedAndNeverPass) {
    DocumentPlan plan = textPages({"Harrington", ""});
    plan.pages[1].mediaBox = PageRect{0, 0, 14400, 14400};
    TempDir dir;
    writeFile(dir.file("copy.pdf"), buildPdf(plan));
    const auto document = PdfDocument::open(dir.file("copy.pdf"));
    for (const std::string term : {"\u674e\u660e", "Dr \u05e9\u05dc\u05d5\u05dd"}) {
        Progress progress;
        try {
            search(document, term, &progress);
            ADD_FAILURE() << "no error";
        } catch (const UnreadableTermError& error) {
            EXPECT_THAT(error.what(), ::testing::HasSubstr("tesseract-ocr-"));
            for (const std::string& letter : unreadableLetters(term, "eng")) {
                EXPECT_THAT(error.what(), ::testing::Not(::testing::HasSubstr(letter)));
            }
        }
        EXPECT_TRUE(progress.empty());
    }
    plan.pages.pop_back();
    writeFile(dir.file("copy.pdf"), buildPdf(plan));
    const ExportVerification result =
        RedactionEngine::verifyOutput(dir.file("copy.pdf"), {{"\u674e\u660e", "Harrington"}, {}, {}}, {});
    EXPECT_FALSE(result.passed());
    EXPECT_THAT(result.findings(),
                ::testing::Contains(VerificationFinding{"\u674e\u660e", std::nullopt, std::nullopt,
                                                        RedactionSource::ocr, FindingReason::unreadableLetters}));
    EXPECT_THAT(result.suspiciousMatches(), ::testing::ElementsAre("Harrington", "\u674e\u660e"));
}

// The outside testers' names: each found on a scan and reported by verification, with the
// languages chosen automatically.
TEST(Ocr, NamesInOtherAlphabetsAreReadOnScans) {
    const std::pair<const char*, const char*> cases[] = {
        {"Wniosek podpisa\u0142 \u0141ukasz Wr\u00f3blewski", "\u0141ukasz"},
        {"\u0414\u043e\u0433\u043e\u0432\u043e\u0440 \u043f\u043e\u0434\u043f\u0438\u0441\u0430\u043b "
         "\u0414\u043c\u0438\u0442\u0440\u0438\u0439 \u0418\u0432\u0430\u043d\u043e\u0432",
         "\u0418\u0432\u0430\u043d\u043e\u0432"},
        {"\u03a5\u03c0\u03bf\u03b3\u03c1\u03b1\u03c6\u03ae: \u0393\u03b9\u03ce\u03c1\u03b3\u03bf\u03c2 "
         "\u03a0\u03b1\u03c0\u03b1\u03b4\u03cc\u03c0\u03bf\u03c5\u03bb\u03bf\u03c2",
         "\u03a0\u03b1\u03c0\u03b1\u03b4\u03cc\u03c0\u03bf\u03c5\u03bb\u03bf\u03c2"},
    };
    TempDir dir;
    for (const auto& [line, name] : cases) {
        SCOPED_TRACE(name);
        ScanPage page;
        page.source.texts = {TextRun{"Account holder statement", 72, 740, 14}, TextRun{line, 72, 700, 14}};
        writeFile(dir.file("scan.pdf"), buildScannedPdf({page}));
        const auto results = search(PdfDocument::open(dir.file("scan.pdf")), name);
        ASSERT_EQ(results.size(), 1u);
        EXPECT_PRED2(contains, results[0].rect, glyphBox(page.source.texts[1], name));
        EXPECT_THAT(RedactionEngine::verifyOutput(dir.file("scan.pdf"), {{name}, {}, {}}, {}).suspiciousMatches(),
                    ::testing::ElementsAre(name));
    }
}

// Ink that one threshold set by black text loses: each name is found on a scan beside black
// text, and verification reads it on the scan and in an exported copy of the text page.
TEST(Ocr, LightColouredAndWhiteOnDarkNamesAreRead) {
    struct Ink {
        const char* what;
        std::array<double, 3> colour;
        std::vector<unsigned char> under;  // RGB of a box beneath the name
        bool colourScan;
    };
    const Ink inks[] = {
        {"light grey", {0.667, 0.667, 0.667}, {}, false},
        {"orange", {0.95, 0.55, 0.1}, {}, true},
        {"yellow", {0.9, 0.8, 0}, {}, true},
        {"white on navy", {1, 1, 1}, {25, 40, 100}, true},
        {"white on dark grey", {1, 1, 1}, {50, 50, 50}, false},
    };
    const std::string name = "Harriet Quinlan";
    const double x = 72 + textWidth("Reviewed by ", 12);
    TempDir dir;
    for (const Ink& ink : inks) {
        SCOPED_TRACE(ink.what);
        PageSpec page{.texts = {{"Quarterly statement of account", 72, 700, 12},
                                {"Reviewed by", 72, 600, 12},
                                {name, x, 600, 12, "Helvetica", ink.colour}}};
        if (!ink.under.empty()) {
            page.images = {ImageSpec{{x - 8, 592, textWidth(name, 12) + 16, 26}, 1, 1, false, 1, ink.under}};
        }
        writeFile(dir.file("scan.pdf"), buildScannedPdf({ScanPage{.source = page, .colour = ink.colourScan}}));
        const auto results = search(PdfDocument::open(dir.file("scan.pdf")), name);
        ASSERT_EQ(results.size(), 1u);
        EXPECT_PRED2(contains, results[0].rect, glyphBox(page.texts[2], name));
        RedactionEngine::exportSecurePDF(documentOf({page}), {region(0, {400, 100, 50, 20})}, dir.file("copy.pdf"), {},
                                         {});
        for (const char* file : {"scan.pdf", "copy.pdf"}) {
            EXPECT_THAT(RedactionEngine::verifyOutput(dir.file(file), {{name}, {}, {}}, {}).suspiciousMatches(),
                        ::testing::ElementsAre(name))
                << file;
        }
    }
}

TEST(Ocr, OneTightBoxPerOccurrence) {
    ScanPage page;
    page.source.texts = {
        TextRun{"Account holder: John Harrington", 72, 720, 12},
        TextRun{"Smith paid Smith for the Caf\xc3\xa9 order", 72, 690, 10},
        TextRun{"Reference 88-213 confirmed", 72, 655, 14},
    };
    const auto document = scanned({page});
    struct Case {
        const char* query;
        std::size_t run;   // where the words are
        const char* word;  // what each box must cover, once per occurrence
    };
    // "Smith" is twice on its line: a box on each.
    const Case cases[] = {
        {"Harrington", 0, "Harrington"}, {"  john HARRINGTON \n", 0, "John Harrington"},
        {"smith", 1, "Smith"},           {"cafe", 1, "Caf\xc3\xa9"},
        {"88-213", 2, "88-213"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.query);
        const TextRun& run = page.source.texts[c.run];
        std::vector<PageRect> words;
        for (std::size_t at = run.text.find(c.word); at != std::string::npos; at = run.text.find(c.word, at + 1)) {
            words.push_back(glyphBox(run, at, at + std::strlen(c.word)));
        }
        Progress progress;
        const auto results = search(document, c.query, &progress);
        ASSERT_EQ(results.size(), words.size());
        EXPECT_EQ(progress, (Progress{{1, 1}}));
        for (std::size_t i = 0; i < words.size(); ++i) {
            const PageRect& hit = results[i].rect;
            const PageRect& word = words[i];
            EXPECT_EQ(results[i].pageIndex, 0);
            EXPECT_EQ(results[i].source, RedactionSource::ocr);
            EXPECT_EQ(results[i].text, trimmed(c.query));
            EXPECT_PRED2(contains, hit, word);
            // No more than the margins and a few points of recognition slack.
            if (word.width < textWidth(run.text, run.size) - 20) {
                EXPECT_LT(hit.width, word.width + 2 * std::max(0.55 * word.height, 6.0) + 8);
            }
            EXPECT_LT(hit.height, word.height + 2 * std::max(0.18 * word.height, 3.0) + 6);
        }
    }
}

// When only the key finds a line (another spelling beside the query, or punctuation the
// query lacks), nothing of it may stay readable: the whole line goes.
TEST(Ocr, LinesOnlyTheKeyMatchesAreCoveredWhole) {
    // A shape a recogniser may take for another: "asn]" is read for "asn1".
    for (const auto& [line, query] :
         {std::pair{"Signed JOHN-SMITH for John Smith today", "John Smith"}, std::pair{"Invoice No. 4711-A", "4711a"},
          std::pair{"Invoking asn]Parser now", "asn1Parser"}}) {
        const TextRun run{line, 72, 720, 12};
        const auto results = search(scanned({ScanPage{PageSpec{.texts = {run}}}}), query);
        ASSERT_EQ(results.size(), 1u) << line;
        EXPECT_PRED2(contains, results[0].rect, glyphBox(run, 0, run.text.size()));
        EXPECT_EQ(results[0].text, query);
    }

    // A term the recogniser reads over two lines of one block is found; each line goes whole.
    const TextRun first{"Payment reference ZEPHYR-7731-", 72, 720, 14};
    const TextRun second{"QUOKKA confirmed today", 72, 702, 14};
    const auto results = search(scanned({ScanPage{PageSpec{.texts = {first, second}}}}), "ZEPHYR-7731-QUOKKA");
    ASSERT_EQ(results.size(), 2u);
    EXPECT_PRED2(contains, results[0].rect, glyphBox(first, 0, first.text.size()));
    EXPECT_PRED2(contains, results[1].rect, glyphBox(second, 0, second.text.size()));
    EXPECT_LT(results[0].rect.minY(), results[1].rect.maxY()) << "next to each other";
    EXPECT_TRUE(
        search(scanned({ScanPage{PageSpec{.texts = {first, {"nothing here", 72, 500, 14}}}}}), "ZEPHYR-7731-QUOKKA")
            .empty());
}

// A page turned after it was made (its text upright as stored, shown sideways or upside
// down) gets the same boxes from recognition as from its text layer.
TEST(Ocr, TurnedTextPagesGetTheTextLayersBoxes) {
    for (const PageSpec& turned : {PageSpec{.mediaBox = {-200, 300, 612, 792}, .rotate = 90}, PageSpec{.rotate = 180},
                                   PageSpec{.mediaBox = {150, -60, 612, 792}, .rotate = 270}}) {
        SCOPED_TRACE(turned.rotate);
        PageSpec page = turned;
        const PageRect& box = page.mediaBox;
        page.texts = {TextRun{"Agreement signed by Thomas Leonard on behalf of", box.x + 40, box.maxY() - 80, 14}};
        const auto document = documentOf({page});
        const auto fromText = RedactionEngine::nativeTextMatches(document, "Thomas Leonard").results;
        const auto fromOcr = search(document, "Thomas Leonard");
        ASSERT_EQ(fromText.size(), 1u);
        ASSERT_EQ(fromOcr.size(), 1u);
        const PageRect& hit = fromOcr[0].rect;
        const PageRect& expected = fromText[0].rect;
        EXPECT_PRED2(contains, hit, glyphBox(page.texts[0], "Thomas Leonard"));
        EXPECT_LT(std::abs(hit.x - expected.x) + std::abs(hit.maxX() - expected.maxX()), 16);
        EXPECT_LT(std::abs(hit.y - expected.y) + std::abs(hit.maxY() - expected.maxY()), 16);
    }
}

// Whether /Rotate shows the scan upright or the sheet went in turned and nothing says so (too
// little text here for the orientation model to be sure).
TEST(Ocr, HitsOnTurnedScansLandOnTheWordAsDisplayed) {
    const std::tuple<int, int, PageRect> cases[] = {
        {90, 0, {-50, 30, 420, 595}}, {180, 0, {0, 0, 612, 792}},  {270, 0, {0, 0, 612, 792}},
        {0, 0, {100, 200, 420, 595}}, {0, 90, {0, 0, 612, 792}},   {0, 180, {100, 200, 420, 595}},
        {0, 270, {0, 0, 612, 792}},   {90, 180, {0, 0, 612, 792}},
    };
    for (const auto& [rotate, turn, media] : cases) {
        SCOPED_TRACE(::testing::Message() << rotate << " " << turn);
        ScanPage page{.source = {.mediaBox = media}, .rotate = rotate, .turn = turn};
        page.source.texts = {TextRun{"Patient: Eleanor Whitfield", media.x + 60, media.maxY() - 90, 12}};
        const auto results = search(scanned({page}), "whitfield");
        ASSERT_EQ(results.size(), 1u);
        const PageRect expected = scannedRect(page, glyphBox(page.source.texts[0], "Whitfield"));
        EXPECT_PRED2(contains, results[0].rect, expected);
        EXPECT_LT(std::max(results[0].rect.width, results[0].rect.height), 110);
    }
}

// A pattern on a scan: each recognised match gets a box over its own characters and its
// own text, which verification then checks for; a number failing its check is left alone.
TEST(Ocr, PatternHitsCarryTheTextRecognised) {
    ScanPage page{PageSpec{.mediaBox = {0, 0, 612, 792}}, 90};
    page.source.texts = {TextRun{"Card 4111 1111 1111 1111 and 4111 1111 1111 1112", 60, 700, 14}};
    const auto results =
        RedactionEngine::ocrPatternMatches(scanned({page}), PatternPreset::paymentCard, {}, {}).results;
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].text, "4111 1111 1111 1111");
    EXPECT_EQ(results[0].source, RedactionSource::ocr);
    EXPECT_PRED2(contains, results[0].rect, scannedRect(page, glyphBox(page.source.texts[0], "4111 1111 1111 1111")));
}

// A word set as a column of stacked letters is read as the word, where the recogniser alone
// sees one sideways line it cannot read; its box covers the column.
TEST(Ocr, FindsWordsSetAsColumnsOfLetters) {
    ScanPage page;
    page.source.texts = {TextRun{"Quarterly report", 72, 720, 14}};
    PageRect column = glyphBox(TextRun{"S", 400, 600, 14}, "S");
    for (std::size_t i = 0; i < 6; ++i) {
        page.source.texts.push_back({std::string(1, "SECRET"[i]), 400, 600 - 18.0 * static_cast<double>(i), 14});
        column = column.united(glyphBox(page.source.texts.back(), 0, 1));
    }
    const auto results = search(scanned({page}), "secret");
    ASSERT_EQ(results.size(), 1u);
    const PageRect capitals{column.x, column.y + 0.21 * 14, column.width, column.height - 0.21 * 14};
    EXPECT_PRED2(contains, results[0].rect, scannedRect(page, capitals));
    EXPECT_LT(results[0].rect.width, column.width + 30);
}

// A page it could not render is not a page without matches: it is reported as unread.
TEST(Ocr, ReportsThePagesItCouldNotRender) {
    DocumentPlan plan = textPages({"First page", "", "Third page"});
    plan.pages[1].mediaBox = PageRect{0, 0, 14400, 14400};  // far over the pixel limit at 220 dpi
    Progress progress;
    const SearchOutcome outcome =
        RedactionEngine::ocrMatches(PdfDocument::fromBytes(buildPdf(plan)), "page", {}, recordInto(progress));
    EXPECT_EQ(progress, (Progress{{1, 3}, {2, 3}, {3, 3}}));
    ASSERT_EQ(outcome.results.size(), 2u);
    EXPECT_EQ(outcome.results[0].pageIndex, 0);
    EXPECT_EQ(outcome.results[1].pageIndex, 2);
    EXPECT_EQ(outcome.unreadPages, (std::vector<UnreadPage>{{1, PageFailure::tooLarge}}));
}

TEST(Ocr, CancellingBetweenPagesThrowsAndReturnsNothing) {
    const auto document = scanned(std::vector<ScanPage>(4));
    std::stop_source stop;
    Progress progress;
    const auto onPage = [&](std::int64_t page, std::int64_t count) {
        progress.emplace_back(page, count);
        if (page == 2) {
            stop.request_stop();
        }
    };
    EXPECT_THROW(RedactionEngine::ocrMatches(document, "o", {}, onPage, stop.get_token()), CancellationError);
    EXPECT_EQ(progress, (Progress{{1, 4}, {2, 4}}));
}

TEST(Ocr, QueriesWithoutLettersOrDigitsDoNoWork) {
    // Any recognition would hit the unrenderable page and report progress for the other.
    DocumentPlan plan = textPages({"- - -", ""});
    plan.pages[1].mediaBox = PageRect{0, 0, 14400, 14400};
    const auto document = PdfDocument::fromBytes(buildPdf(plan));
    for (const char* query : {"", " \n\t ", "-", "...", "\xe2\x80\x94", "$ % &", "\xc2\xa0\xe2\x80\xa6"}) {
        Progress progress;
        EXPECT_TRUE(search(document, query, &progress).empty()) << query;
        EXPECT_TRUE(progress.empty()) << query;
    }
    Progress progress;
    EXPECT_TRUE(search(PdfDocument::fromBytes(buildPdf(DocumentPlan{})), "anything", &progress).empty());
    EXPECT_TRUE(progress.empty());
}

TEST(OcrService, DropsLinesBelowTheMinimumHeightOnly) {
    ScanPage page;
    page.source.texts = {TextRun{"Ordinary sized words", 72, 720, 12}, TextRun{"Smallprint clause", 72, 600, 5}};
    mu::Session session(scanned({page}));
    const auto image = renderImage(session, {.dpi = 220, .orientation = RenderOrientation::displayed});
    ASSERT_TRUE(image);
    OcrService ocr;
    const auto texts = [&](float minimum) {
        std::vector<std::string> result;
        for (const auto& line : ocr.recognize(*image, 220, minimum)) {
            result.push_back(normalizedSearchKey(line.text));
        }
        return result;
    };
    // 5 pt is about 15 pixels high at 220 dpi, below 0.008 of the 2420-pixel page.
    EXPECT_THAT(texts(0), ::testing::ElementsAre("ordinarysizedwords", "smallprintclause"));
    EXPECT_THAT(texts(0.008f), ::testing::ElementsAre("ordinarysizedwords"));

    PageImage truncated{100, 100, 3, std::vector<std::uint8_t>(100 * 99 * 3), {}};
    EXPECT_THROW(ocr.recognize(truncated, 150, 0), OcrError);
}

// Lost from the dynamic symbol table, they leave recognition paying a system call per network
// step to libgomp, or running its teams of four on every worker.
TEST(OcrService, TesseractsOpenMpRegionsResolveToTheSerialOnes) {
    const std::pair<const char*, void*> entries[] = {
        {"GOMP_parallel", reinterpret_cast<void*>(&GOMP_parallel)},
        {"GOMP_parallel_sections", reinterpret_cast<void*>(&GOMP_parallel_sections)},
        {"GOMP_sections_next", reinterpret_cast<void*>(&GOMP_sections_next)},
        {"GOMP_sections_end_nowait", reinterpret_cast<void*>(&GOMP_sections_end_nowait)},
    };
    for (const auto& [name, ours] : entries) {
        EXPECT_EQ(dlsym(RTLD_DEFAULT, name), ours) << name;
    }
}

// Every section runs exactly once, in a region of ours nested in another or in one libgomp
// began; a lost section would be a network gate never computed.
TEST(OcrService, SerialSectionsRunEverySectionOnce) {
    struct Run {
        std::vector<unsigned> outer;
        std::vector<unsigned> inner;
    } run;
    GOMP_parallel_sections(
        [](void* data) {
        auto& r = *static_cast<Run*>(data);
        for (unsigned section = GOMP_sections_next(); section != 0; section = GOMP_sections_next()) {
            r.outer.push_back(section);
            if (section == 2) {
                GOMP_parallel_sections(
                    [](void* d) {
                    for (unsigned s = GOMP_sections_next(); s != 0; s = GOMP_sections_next()) {
                        static_cast<Run*>(d)->inner.push_back(s);
                    }
                    GOMP_sections_end_nowait();
                    },
                    &r, 4, 2, 0);
            }
        }
        GOMP_sections_end_nowait();
        },
        &run, 4, 3, 0);
    EXPECT_THAT(run.outer, ::testing::ElementsAre(1u, 2u, 3u));
    EXPECT_THAT(run.inner, ::testing::ElementsAre(1u, 2u));

    auto* const start = reinterpret_cast<unsigned (*)(unsigned)>(dlsym(RTLD_DEFAULT, "GOMP_sections_start"));
    ASSERT_NE(start, nullptr);
    std::vector<unsigned> begun;
    for (unsigned section = start(3); section != 0; section = GOMP_sections_next()) {
        begun.push_back(section);
    }
    GOMP_sections_end_nowait();
    EXPECT_THAT(begun, ::testing::ElementsAre(1u, 2u, 3u));
}

}  // namespace
}  // namespace norvane
