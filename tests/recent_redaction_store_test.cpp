#include "model/recent_redaction_store.h"
#include "tests/support/pdf_factory.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace norvane {
namespace {

namespace fs = std::filesystem;

QByteArray readBytes(const fs::path& path) {
    const auto bytes = testing::readFile(path);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
}

void writeBytes(const fs::path& path, const QByteArray& bytes) {
    fs::create_directories(path.parent_path());
    testing::writeFile(path, std::vector<unsigned char>(bytes.begin(), bytes.end()));
}

// One record exactly as the store writes it; the damaged files below are derived from it.
const QByteArray kRecord = R"({
    "exportedAt" : "2026-11-16T08:06:29Z",
    "id" : "E621E1F8-C36C-495A-93FC-0C247A3E6E5F",
    "outputPath" : "\/tmp\/x\/a-redacted.pdf",
    "pageCount" : 12,
    "redactionCount" : 7,
    "sourceName" : "a \"b\" \\ Café\ttab.pdf",
    "verificationPassed" : false
  })";

const RecentRedactionRecord kDecoded{QUuid("e621e1f8-c36c-495a-93fc-0c247a3e6e5f"),
                                     QDateTime(QDate(2026, 11, 16), QTime(8, 6, 29), Qt::UTC),
                                     QString::fromUtf8("a \"b\" \\ Café\ttab.pdf"),
                                     "/tmp/x/a-redacted.pdf",
                                     12,
                                     7,
                                     false};

// Written in one exact layout; read in any, as another writer may lay it out: key order,
// plain slashes, \u escapes, 12.0 for 12, unknown keys, a zone offset (written back as UTC).
TEST(RecentRedactionStoreFormat, WritesOneLayoutAndReadsAny) {
    const QByteArray written = "[\n  " + kRecord + ",\n  " + kRecord + "\n]";
    EXPECT_EQ(RecentRedactionStore::encode({kDecoded, kDecoded}), written);
    EXPECT_EQ(RecentRedactionStore::decode(written), (RecentRedactionRecordList{kDecoded, kDecoded}));

    const QByteArray other =
        R"([{"verificationPassed":false,"sourceName":"a \"b\" \\ Caf\u00e9\u0009tab.pdf",)"
        R"("redactionCount":7,"pageCount":12.0,"outputPath":"/tmp/x/a-redacted.pdf","extra":[1],)"
        R"("id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","exportedAt":"2026-11-16T10:06:29+02:00"}])";
    EXPECT_EQ(RecentRedactionStore::decode(other), RecentRedactionRecordList{kDecoded});
}

QByteArray recordWith(const char* from, const char* to) {
    return "[" + QByteArray(kRecord).replace(from, to) + "]";
}

// Any record incomplete, mistyped or with a malformed date refuses the whole file.
TEST(RecentRedactionStoreFormat, RefusesDamagedFiles) {
    std::vector<std::pair<std::string, QByteArray>> files{
        {"FractionalSeconds", recordWith("08:06:29Z", "08:06:29.123Z")},
        {"ImpossibleDay", recordWith("2026-11-16", "2026-02-30")},
        {"BracedUuid",
         recordWith("\"E621E1F8-C36C-495A-93FC-0C247A3E6E5F\"", "\"{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}\"")},
        {"UuidNotHex", recordWith("E621E1F8", "G621E1F8")},
        {"PageCountAsString", recordWith(": 12", ": \"12\"")},
        {"PageCountFraction", recordWith(": 12", ": 12.5")},
        {"RedactionCountNull", recordWith(": 7", ": null")},
        {"PassedAsNumber", recordWith(": false", ": 0")},
        {"SourceNameAsArray", recordWith("\"a \\\"b\\\" \\\\ Café\\ttab.pdf\"", "[\"s.pdf\"]")},
        {"OneBadAmongGood", "[" + kRecord + "," + recordWith("\"id\"", "\"Id\"").mid(1)},
        {"TopLevelObject", kRecord},
        {"Truncated", ("[" + kRecord + "]").left(60)},
        {"ArrayOfNumbers", "[1, 2]"},
    };
    for (const char* key :
         {"exportedAt", "id", "outputPath", "pageCount", "redactionCount", "sourceName", "verificationPassed"}) {
        // The key's line goes, and with it the comma a last line would leave behind.
        QByteArray object = kRecord;
        const qsizetype at = object.indexOf(QByteArray("\"") + key + "\"");
        const qsizetype start = object.lastIndexOf('\n', at);
        object.remove(start, object.indexOf('\n', at) - start).replace(",\n  }", "\n  }");
        files.emplace_back(std::string("No_") + key, "[" + object + "]");
    }
    for (const auto& [name, bytes] : files) {
        EXPECT_FALSE(RecentRedactionStore::decode(bytes).has_value()) << name;
    }
}

class StoreFileTest : public ::testing::Test {
protected:
    testing::TempDir dir;
    fs::path file = dir.path() / "history" / "recent-redactions.json";
    QString path = QString::fromStdString(file.string());
};

// A damaged file (past the size limit, even a well-formed one) loads as empty, is left alone
// by loading and is replaced by the next add.
TEST_F(StoreFileTest, AddWritesTheFileAndReplacesADamagedOne) {
    RecentRedactionStore store(path);
    EXPECT_TRUE(store.records().empty());
    EXPECT_FALSE(fs::exists(file.parent_path())) << "loading creates nothing";
    const QString name = QString::fromUtf8("Überprüfung – 契約 🔒.pdf");
    const QString output = QString::fromUtf8("/home/åsa/Dokument/Überprüfung-redacted.pdf");
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    store.add(name, output, 12, 5, false);
    const auto added = store.records().at(0);
    EXPECT_EQ(store.records(), (RecentRedactionRecordList{{added.id, added.exportedAt, name, output, 12, 5, false}}));
    EXPECT_GE(added.exportedAt, before);
    EXPECT_LE(added.exportedAt, QDateTime::currentDateTimeUtc());
    EXPECT_EQ(RecentRedactionStore(path).records(), store.records());
    EXPECT_EQ(readBytes(file), RecentRedactionStore::encode(store.records()));

    for (const QByteArray& damaged :
         {recordWith(": 12", ": \"12\""), "[" + kRecord + "]" + QByteArray(16 * 1024 * 1024, ' ')}) {
        writeBytes(file, damaged);
        RecentRedactionStore reopened(path);
        EXPECT_TRUE(reopened.records().empty());
        EXPECT_TRUE(readBytes(file) == damaged) << "loading never rewrites the file";
        reopened.add(name, output, 1, 1, true);
        EXPECT_EQ(RecentRedactionStore(path).records(), reopened.records());
        EXPECT_EQ(reopened.records().size(), 1u);
    }
}

// An overlong file from elsewhere loads whole; every add keeps the fifty newest.
TEST_F(StoreFileTest, KeepsTheFiftyNewestAndClearingLeavesAnEmptyList) {
    RecentRedactionRecordList old;
    for (int i = 0; i < 60; ++i) {
        old.push_back({QUuid::createUuid(), QDateTime::fromSecsSinceEpoch(1'700'000'000 - i, Qt::UTC),
                       QStringLiteral("old%1.pdf").arg(i), QStringLiteral("/o.pdf"), 1, 1, true});
    }
    writeBytes(file, RecentRedactionStore::encode(old));
    RecentRedactionStore store(path);
    EXPECT_EQ(store.records(), old);

    for (int i = 1; i <= 3; ++i) {
        store.add(QStringLiteral("new%1.pdf").arg(i), QStringLiteral("/n/%1.pdf").arg(i), i, i, true);
    }
    ASSERT_EQ(store.records().size(), 50u);
    EXPECT_EQ(store.records()[0].sourceName, QStringLiteral("new3.pdf"));
    EXPECT_EQ(store.records()[3], old[0]);
    EXPECT_EQ(store.records().back(), old[46]);
    EXPECT_NE(store.records()[0].id, store.records()[1].id) << "made within one second, still distinct";
    EXPECT_EQ(RecentRedactionStore(path).records(), store.records());

    store.clear();
    EXPECT_TRUE(store.records().empty());
    EXPECT_EQ(readBytes(file), QByteArray("[]"));
}

TEST_F(StoreFileTest, FailedWritesKeepMemoryAndTheOldFile) {
    // The store's folder is a plain file, so neither the folder nor the file can be made.
    writeBytes(file.parent_path(), "not a folder");
    RecentRedactionStore store(path);
    store.add(QStringLiteral("a.pdf"), QStringLiteral("/a.pdf"), 1, 1, true);
    EXPECT_EQ(store.records().size(), 1u);
    EXPECT_EQ(readBytes(file.parent_path()), QByteArray("not a folder"));
}

}  // namespace
}  // namespace norvane
