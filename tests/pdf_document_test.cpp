#include "engine/mupdf_session.h"
#include "engine/pdf_document.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <thread>

namespace norvane {
namespace {

using testing::buildPdf;
using testing::DocumentSpec;
using testing::PageSpec;

std::vector<unsigned char> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

struct GeometryCase {
    const char* name;
    PageSpec page;
    PageRect expectedMediaBox;
    int expectedRotation;
};

void PrintTo(const GeometryCase& c, std::ostream* os) { *os << c.name; }

class PageGeometry : public ::testing::TestWithParam<GeometryCase> {};

TEST_P(PageGeometry, ReportsMediaBoxAndSnappedRotation) {
    DocumentSpec spec;
    spec.pages = {PageSpec{}, GetParam().page};
    const auto document = PdfDocument::fromBytes(buildPdf(spec));
    ASSERT_EQ(document->pageCount(), 2);
    EXPECT_FALSE(document->isEncrypted());
    EXPECT_EQ(document->page(0).mediaBox, (PageRect{0, 0, 612, 792}));
    EXPECT_EQ(document->page(1).mediaBox, GetParam().expectedMediaBox);
    EXPECT_EQ(document->page(1).rotation, GetParam().expectedRotation);
}

PageSpec pageWith(PageRect media, int rotate, std::optional<PageRect> crop = std::nullopt) {
    PageSpec page;
    page.mediaBox = media;
    page.rotate = rotate;
    page.cropBox = crop;
    page.texts.push_back({"Hello"});
    return page;
}

INSTANTIATE_TEST_SUITE_P(
    PdfDocument, PageGeometry,
    ::testing::Values(GeometryCase{"plain", pageWith({0, 0, 595, 842}, 0), {0, 0, 595, 842}, 0},
                      GeometryCase{"rot90", pageWith({0, 0, 612, 792}, 90), {0, 0, 612, 792}, 90},
                      GeometryCase{"rot180", pageWith({0, 0, 612, 792}, 180), {0, 0, 612, 792}, 180},
                      GeometryCase{"rot270", pageWith({0, 0, 612, 792}, 270), {0, 0, 612, 792}, 270},
                      GeometryCase{"rotNeg90", pageWith({0, 0, 612, 792}, -90), {0, 0, 612, 792}, 270},
                      GeometryCase{"rot450", pageWith({0, 0, 612, 792}, 450), {0, 0, 612, 792}, 90},
                      // Off the quarter turns: snapped to the nearest, as MuPDF draws them.
                      GeometryCase{"rot135", pageWith({0, 0, 612, 792}, 135), {0, 0, 612, 792}, 180},
                      GeometryCase{"rot320", pageWith({0, 0, 612, 792}, 320), {0, 0, 612, 792}, 0},
                      GeometryCase{"offsetOrigin", pageWith({-100, 50, 400, 300}, 0), {-100, 50, 400, 300}, 0},
                      GeometryCase{"cropSmaller", pageWith({0, 0, 612, 792}, 0, PageRect{100, 100, 200, 200}),
                                   {0, 0, 612, 792}, 0},
                      // Kept as written, so the export refuses it instead of drawing Letter.
                      GeometryCase{"noWidth", pageWith({20, 0, 0, 792}, 0), {20, 0, 0, 792}, 0},
                      GeometryCase{"noHeight", pageWith({0, 30, 612, 0}, 90), {0, 30, 612, 0}, 90}),
    [](const auto& p) { return std::string(p.param.name); });

struct RefusalCase {
    const char* name;
    std::vector<unsigned char> bytes;
    RedactionError::Kind kind;
};

void PrintTo(const RefusalCase& c, std::ostream* os) { *os << c.name; }

class Refusals : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(Refusals, OpenForRedactionNamesTheReason) {
    testing::TempDir dir;
    const auto path = dir.file("input.pdf");
    testing::writeFile(path, GetParam().bytes);
    try {
        PdfDocument::openForRedaction(path);
        FAIL() << "expected a refusal";
    } catch (const RedactionError& error) {
        EXPECT_EQ(error.kind(), GetParam().kind) << error.errorDescription();
    }
}

DocumentSpec encrypted(std::optional<std::string> owner, std::optional<std::string> user) {
    auto spec = testing::textPages({"Secret"});
    spec.ownerPassword = std::move(owner);
    spec.userPassword = std::move(user);
    return spec;
}

INSTANTIATE_TEST_SUITE_P(
    PdfDocument, Refusals,
    ::testing::Values(
        RefusalCase{"ownerOnly", buildPdf(encrypted("owner", std::nullopt)), RedactionError::Kind::encryptedPDF},
        RefusalCase{"userPassword", buildPdf(encrypted("owner", "user")), RedactionError::Kind::encryptedPDF},
        RefusalCase{"zeroPages", buildPdf(DocumentSpec{}), RedactionError::Kind::noPages},
        RefusalCase{"notAPdf", bytesOf("Hello, this is a plain text file.\n"), RedactionError::Kind::cannotOpenPDF},
        RefusalCase{"empty", {}, RedactionError::Kind::cannotOpenPDF},
        RefusalCase{"headerOnly", bytesOf("%PDF-1.7\n"), RedactionError::Kind::cannotOpenPDF},
        RefusalCase{"headerThenGarbage", bytesOf("%PDF-1.4\n\x01\x02garbage (((( << /Type /Catalog"),
                    RedactionError::Kind::cannotOpenPDF},
        RefusalCase{"pngBytes", bytesOf("\x89PNG\r\n\x1a\n\0\0\0\rIHDR"), RedactionError::Kind::cannotOpenPDF}),
    [](const auto& p) { return std::string(p.param.name); });

TEST(PdfDocument, EncryptionFlagIsReadWithoutPassword) {
    const auto ownerOnly = PdfDocument::fromBytes(buildPdf(encrypted("owner", std::nullopt)));
    EXPECT_TRUE(ownerOnly->isEncrypted());
    EXPECT_EQ(ownerOnly->pageCount(), 1) << "owner-only files still show their pages";
    EXPECT_TRUE(PdfDocument::fromBytes(buildPdf(encrypted("owner", "user")))->isEncrypted());
}

TEST(PdfDocument, MissingFileCannotBeOpened) {
    testing::TempDir dir;
    EXPECT_THROW(PdfDocument::open(dir.file("nope.pdf")), RedactionError);
    EXPECT_THROW(PdfDocument::open(dir.path()), RedactionError) << "a directory";
}

TEST(PdfDocument, KeepsTheBytesItWasOpenedFrom) {
    testing::TempDir dir;
    const auto path = dir.file("doc.pdf");
    const auto original = buildPdf(testing::textPages({"one", "two"}));
    testing::writeFile(path, original);
    const auto document = PdfDocument::openForRedaction(path);
    testing::writeFile(path, buildPdf(testing::textPages({"changed"})));
    EXPECT_EQ(document->bytes(), original);
    EXPECT_EQ(document->pageCount(), 2);
}

// Damaged files must end in a document or a RedactionError: never a crash, hang or abort.
TEST(PdfDocument, DamagedFilesAreRefusedOrRepairedNeverFatal) {
    auto spec = testing::textPages({"alpha", "beta", "gamma"});
    spec.info["Title"] = "Damage";
    const auto good = buildPdf(spec);
    std::mt19937 random(1234);
    int opened = 0;
    for (int round = 0; round < 300; ++round) {
        auto bytes = good;
        switch (round % 3) {
        case 0:  // truncated
            bytes.resize(std::uniform_int_distribution<std::size_t>(8, bytes.size() - 1)(random));
            break;
        case 1:  // random bytes overwritten
            for (int k = 0; k < 20; ++k) {
                bytes[std::uniform_int_distribution<std::size_t>(8, bytes.size() - 1)(random)] =
                    static_cast<unsigned char>(random());
            }
            break;
        default: {  // a slice cut out of the middle
            const auto from = std::uniform_int_distribution<std::size_t>(8, bytes.size() / 2)(random);
            const auto to = std::min(bytes.size(), from + std::uniform_int_distribution<std::size_t>(1, 400)(random));
            bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to));
        }
        }
        try {
            const auto document = PdfDocument::fromBytes(bytes);
            EXPECT_GE(document->pageCount(), 0);
            ++opened;
        } catch (const RedactionError& error) {
            EXPECT_EQ(error.kind(), RedactionError::Kind::cannotOpenPDF);
        }
    }
    EXPECT_GT(opened, 0) << "MuPDF repairs most light damage";
}

// Assembles a classic PDF (objects, xref, trailer) from numbered object bodies.
std::vector<unsigned char> rawPdf(const std::vector<std::string>& objects) {
    std::string out = "%PDF-1.4\n";
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        offsets.push_back(out.size());
        out += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const auto xref = out.size();
    out += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (auto offset : offsets) {
        char line[32];
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
        out += line;
    }
    out += "trailer\n<< /Size " + std::to_string(objects.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(xref) + "\n%%EOF\n";
    return {out.begin(), out.end()};
}

// Each level lists the next level twice: 2^depth pages from a few hundred bytes.
std::vector<unsigned char> sharedSubtreePdf(int depth, bool honestCounts) {
    std::vector<std::string> objects{"<< /Type /Catalog /Pages 2 0 R >>"};
    for (int level = 0; level < depth; ++level) {
        const int id = 2 + level;
        const long long count = honestCounts ? (1LL << (depth - level)) : 2;
        std::string parent = level > 0 ? " /Parent " + std::to_string(id - 1) + " 0 R" : "";
        objects.push_back("<< /Type /Pages /Kids [" + std::to_string(id + 1) + " 0 R " + std::to_string(id + 1) +
                          " 0 R] /Count " + std::to_string(count) + parent + " >>");
    }
    objects.push_back("<< /Type /Page /Parent " + std::to_string(depth + 1) + " 0 R /MediaBox [0 0 612 792] >>");
    return rawPdf(objects);
}

TEST(PdfDocument, HostilePageTreesEndQuickly) {
    const std::vector<std::vector<unsigned char>> files{
        sharedSubtreePdf(30, true),
        sharedSubtreePdf(30, false),
        rawPdf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [2 0 R 3 0 R] /Count 5 >>",
                "<< /Type /Page /Parent 2 0 R >>"}),
        rawPdf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 2000000000 >>",
                "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 1e30 -5] /Rotate 2147483647 >>"}),
        rawPdf({"<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids 7 /Count -3 >>"}),
    };
    for (const auto& bytes : files) {
        try {
            const auto document = PdfDocument::fromBytes(bytes);
            EXPECT_LE(document->pageCount(), 100000);
        } catch (const RedactionError& error) {
            EXPECT_EQ(error.kind(), RedactionError::Kind::cannotOpenPDF);
        }
    }
}

TEST(PdfDocument, SessionsOnSeveralThreadsShareOneDocument) {
    const auto document = PdfDocument::fromBytes(buildPdf(testing::textPages({"a", "b", "c", "d"})));
    std::vector<int> counts(4, -1);
    {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < counts.size(); ++t) {
            threads.emplace_back([&, t] {
                for (int round = 0; round < 20; ++round) {
                    mu::Session session(document);
                    int count = 0;
                    mu::muCall(session.ctx(), [&] { count = fz_count_pages(session.ctx(), session.doc()); });
                    counts[t] = count;
                }
            });
        }
    }
    for (int c : counts) {
        EXPECT_EQ(c, 4);
    }
}

}  // namespace
}  // namespace norvane
