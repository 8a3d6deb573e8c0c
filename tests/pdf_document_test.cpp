#include "engine/pdf_document.h"
#include "engine/mupdf_session.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <random>

namespace norvane {
namespace {

using namespace norvane::testing;

TEST(PdfDocument, ReportsMediaBoxAndSnapsRotationToQuarterTurns) {
    struct Case {
        PageSpec page;
        PageRect mediaBox;
        int rotation;
    };
    const PageRect letter{0, 0, 612, 792};
    const Case cases[] = {
        {{.rotate = 90}, letter, 90},
        {{.rotate = -90}, letter, 270},
        {{.rotate = 450}, letter, 90},
        // Off the quarter turns: snapped to the nearest, as MuPDF draws them.
        {{.rotate = 135}, letter, 180},
        {{.rotate = 320}, letter, 0},
        {{.mediaBox = {-100, 50, 400, 300}}, {-100, 50, 400, 300}, 0},
        {{.cropBox = PageRect{100, 100, 200, 200}}, letter, 0},
        // Kept as written, so the export refuses it instead of drawing Letter.
        {{.mediaBox = {20, 0, 0, 792}}, {20, 0, 0, 792}, 0},
        {{.mediaBox = {0, 30, 612, 0}, .rotate = 90}, {0, 30, 612, 0}, 90},
    };
    std::vector<PageSpec> pages;
    for (const Case& c : cases)
        pages.push_back(c.page);
    const auto document = documentOf(pages);
    ASSERT_EQ(document->pageCount(), static_cast<std::int64_t>(std::size(cases)));
    EXPECT_FALSE(document->isEncrypted());
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(document->page(static_cast<std::int64_t>(i)).mediaBox, cases[i].mediaBox) << i;
        EXPECT_EQ(document->page(static_cast<std::int64_t>(i)).rotation, cases[i].rotation) << i;
    }
}

DocumentPlan encrypted(std::optional<std::string> user) {
    return {.pages = textPages({"Secret"}).pages, .ownerPassword = "owner", .userPassword = std::move(user)};
}

TEST(PdfDocument, OpenForRedactionNamesTheReasonForRefusing) {
    using Kind = RedactionError::Kind;
    const std::pair<std::vector<unsigned char>, Kind> cases[] = {
        {buildPdf(encrypted(std::nullopt)), Kind::encryptedPDF},
        {buildPdf(encrypted("user")), Kind::encryptedPDF},
        {buildPdf(DocumentPlan{}), Kind::noPages},
        {bytesOf("Hello, this is a plain text file.\n"), Kind::cannotOpenPDF},
        {{}, Kind::cannotOpenPDF},
        {bytesOf("%PDF-1.7\n"), Kind::cannotOpenPDF},
        {bytesOf("%PDF-1.4\n\x01\x02garbage (((( << /Type /Catalog"), Kind::cannotOpenPDF},
        {bytesOf(std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16)), Kind::cannotOpenPDF},
    };
    TempDir dir;
    for (const auto& [bytes, kind] : cases) {
        writeFile(dir.file("input.pdf"), bytes);
        try {
            PdfDocument::openForRedaction(dir.file("input.pdf"));
            ADD_FAILURE() << "opened " << static_cast<int>(kind);
        } catch (const RedactionError& error) {
            EXPECT_EQ(error.kind(), kind) << error.errorDescription();
        }
    }
    const auto ownerOnly = PdfDocument::fromBytes(buildPdf(encrypted(std::nullopt)));
    EXPECT_TRUE(ownerOnly->isEncrypted()) << "read without a password";
    EXPECT_EQ(ownerOnly->pageCount(), 1);
    EXPECT_THROW(PdfDocument::open(dir.file("nope.pdf")), RedactionError);
    EXPECT_THROW(PdfDocument::open(dir.path()), RedactionError) << "a directory";
}

// The export reads the document as it was opened, even if the file changes meanwhile.
TEST(PdfDocument, KeepsTheBytesItWasOpenedFrom) {
    TempDir dir;
    const auto original = buildPdf(textPages({"one", "two"}));
    writeFile(dir.file("doc.pdf"), original);
    const auto document = PdfDocument::openForRedaction(dir.file("doc.pdf"));
    writeFile(dir.file("doc.pdf"), buildPdf(textPages({"changed"})));
    EXPECT_EQ(document->bytes(), original);
    EXPECT_EQ(document->pageCount(), 2);
}

// Damaged files must end in a document or a RedactionError: never a crash, hang or abort.
TEST(PdfDocument, DamagedFilesAreRefusedOrRepairedNeverFatal) {
    const auto good = buildPdf({.pages = textPages({"alpha", "beta", "gamma"}).pages, .info = {{"Title", "Damage"}}});
    std::mt19937 random(1234);
    const auto at = [&](std::size_t from, std::size_t to) {
        return std::uniform_int_distribution<std::size_t>(from, to)(random);
    };
    int opened = 0;
    for (int round = 0; round < 300; ++round) {
        auto bytes = good;
        if (round % 3 == 0) {
            bytes.resize(at(8, bytes.size() - 1));
        } else if (round % 3 == 1) {
            for (int k = 0; k < 20; ++k) {
                bytes[at(8, bytes.size() - 1)] = static_cast<unsigned char>(random());
            }
        } else {
            const auto from = static_cast<std::ptrdiff_t>(at(8, bytes.size() / 2));
            bytes.erase(bytes.begin() + from,
                        bytes.begin() + std::min(from + static_cast<std::ptrdiff_t>(at(1, 400)), std::ssize(bytes)));
        }
        try {
            EXPECT_GE(PdfDocument::fromBytes(bytes)->pageCount(), 0);
            ++opened;
        } catch (const RedactionError& error) {
            EXPECT_EQ(error.kind(), RedactionError::Kind::cannotOpenPDF);
        }
    }
    EXPECT_GT(opened, 0) << "MuPDF repairs most light damage";
}

// Each level lists the next level twice: 2^depth pages from a few hundred bytes.
std::vector<unsigned char> sharedSubtreePdf(int depth, bool honestCounts) {
    std::vector<std::string> objects{"<< /Type /Catalog /Pages 2 0 R >>"};
    for (int level = 0; level < depth; ++level) {
        const std::string kid = std::to_string(level + 3) + " 0 R ";
        objects.push_back("<< /Type /Pages /Kids [" + kid + kid + "] /Count " +
                          std::to_string(honestCounts ? (1LL << (depth - level)) : 2) +
                          (level > 0 ? " /Parent " + std::to_string(level + 1) + " 0 R" : "") + " >>");
    }
    objects.push_back("<< /Type /Page /Parent " + std::to_string(depth + 1) + " 0 R /MediaBox [0 0 612 792] >>");
    return rawPdf(objects);
}

TEST(PdfDocument, HostilePageTreesEndQuickly) {
    const std::vector<unsigned char> files[] = {
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
            EXPECT_LE(PdfDocument::fromBytes(bytes)->pageCount(), 100000);
        } catch (const RedactionError& error) {
            EXPECT_EQ(error.kind(), RedactionError::Kind::cannotOpenPDF);
        }
    }
}

}  // namespace
}  // namespace norvane
