#include "model/recent_redaction_store.h"
#include "tests/support/change_recorder.h"
#include "tests/support/pdf_factory.h"

#include <QFile>
#include <QSet>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace norvane {
namespace {

using testing::ChangeRecorder;

QString qPath(const std::filesystem::path& path) { return QString::fromStdString(path.string()); }

QByteArray readBytes(const std::filesystem::path& path) {
    const auto bytes = testing::readFile(path);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
}

void writeBytes(const std::filesystem::path& path, const QByteArray& bytes) {
    testing::writeFile(path, std::vector<unsigned char>(bytes.begin(), bytes.end()));
}

RecentRedactionRecord record(const char* id, const char* when, QString source, QString output, qint64 pages,
                             qint64 regions, bool passed) {
    return RecentRedactionRecord{QUuid::fromString(QLatin1StringView(id)), QDateTime::fromString(QLatin1StringView(when), Qt::ISODate),
                                 std::move(source), std::move(output), pages, regions, passed};
}

// One valid record as written by this store; damaged variants are derived from it.
const QByteArray kValidRecord = R"({
    "exportedAt" : "2026-11-16T08:06:29Z",
    "id" : "E621E1F8-C36C-495A-93FC-0C247A3E6E5F",
    "outputPath" : "\/home\/ana\/out-redacted.pdf",
    "pageCount" : 3,
    "redactionCount" : 2,
    "sourceName" : "out.pdf",
    "verificationPassed" : true
  })";

class StoreFileTest : public ::testing::Test {
protected:
    std::filesystem::path file() const { return dir.path() / "Norvane" / "Veilmark" / "recent-redactions.json"; }
    testing::TempDir dir;
};

TEST(RecentRedactionStoreFormat, WritesTheExactLayout) {
    const RecentRedactionRecordList records = {
        record("e621e1f8-c36c-495a-93fc-0c247a3e6e5f", "2026-11-16T08:06:29Z", QStringLiteral("a \"b\" \\ c.pdf"),
               QStringLiteral("/tmp/x/a-redacted.pdf"), 12, 7, false),
        record("00000000-0000-4000-8000-00000000000A", "2027-01-02T03:04:05Z", QString::fromUtf8("Caf\u00e9\ttab.pdf"),
               QStringLiteral("/o.pdf"), 1, 1, true),
    };
    const QByteArray expected = "[\n"
                                "  {\n"
                                "    \"exportedAt\" : \"2026-11-16T08:06:29Z\",\n"
                                "    \"id\" : \"E621E1F8-C36C-495A-93FC-0C247A3E6E5F\",\n"
                                "    \"outputPath\" : \"\\/tmp\\/x\\/a-redacted.pdf\",\n"
                                "    \"pageCount\" : 12,\n"
                                "    \"redactionCount\" : 7,\n"
                                "    \"sourceName\" : \"a \\\"b\\\" \\\\ c.pdf\",\n"
                                "    \"verificationPassed\" : false\n"
                                "  },\n"
                                "  {\n"
                                "    \"exportedAt\" : \"2027-01-02T03:04:05Z\",\n"
                                "    \"id\" : \"00000000-0000-4000-8000-00000000000A\",\n"
                                "    \"outputPath\" : \"\\/o.pdf\",\n"
                                "    \"pageCount\" : 1,\n"
                                "    \"redactionCount\" : 1,\n"
                                "    \"sourceName\" : \"Caf\xc3\xa9\\ttab.pdf\",\n"
                                "    \"verificationPassed\" : true\n"
                                "  }\n"
                                "]";
    EXPECT_EQ(RecentRedactionStore::encode(records), expected);
    EXPECT_EQ(RecentRedactionStore::encode({}), QByteArray("[]"));
    EXPECT_EQ(RecentRedactionStore::decode(expected), records);
}

// A date in another zone is the same instant; written back it is UTC with "Z".
TEST(RecentRedactionStoreFormat, ReadsAnyLayoutAndBothSlashForms) {
    const QByteArray compact =
        R"([{"verificationPassed":false,"sourceName":"s.pdf","redactionCount":0,"pageCount":9,"outputPath":"/a/b.pdf",)"
        R"("id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","exportedAt":"2026-11-16T10:06:29+02:00","extra":[1,2]}])";
    const auto records = RecentRedactionStore::decode(compact);
    ASSERT_TRUE(records.has_value());
    ASSERT_EQ(records->size(), 1u);
    EXPECT_EQ(records->front().outputPath, QStringLiteral("/a/b.pdf"));
    EXPECT_EQ(records->front().pageCount, 9);
    EXPECT_EQ(RecentRedactionStore::encode(*records).count("\"exportedAt\" : \"2026-11-16T08:06:29Z\""), 1);
    EXPECT_EQ(RecentRedactionStore::decode(" [ ] \n"), RecentRedactionRecordList{});
}

struct DamagedFile {
    const char* name;
    QByteArray content;
};

class DamagedHistory : public StoreFileTest, public ::testing::WithParamInterface<DamagedFile> {};

QByteArray validWith(const char* from, const char* to) {
    QByteArray object = kValidRecord;
    object.replace(from, to);
    return "[" + object + "]";
}

QByteArray validWithout(const char* key) {
    QByteArray object = kValidRecord;
    const qsizetype keyAt = object.indexOf(QByteArray("\"") + key + "\"");
    const qsizetype start = object.lastIndexOf('\n', keyAt);
    object.remove(start, object.indexOf('\n', keyAt) - start);
    object.replace(",\n  }", "\n  }");
    return "[" + object + "]";
}

INSTANTIATE_TEST_SUITE_P(
    Strict, DamagedHistory,
    ::testing::Values(
        DamagedFile{"NoExportedAt", validWithout("exportedAt")}, DamagedFile{"NoId", validWithout("id")},
        DamagedFile{"NoOutputPath", validWithout("outputPath")}, DamagedFile{"NoPageCount", validWithout("pageCount")},
        DamagedFile{"NoRedactionCount", validWithout("redactionCount")},
        DamagedFile{"NoSourceName", validWithout("sourceName")},
        DamagedFile{"NoVerificationPassed", validWithout("verificationPassed")},
        DamagedFile{"FractionalSeconds", validWith("08:06:29Z", "08:06:29.123Z")},
        DamagedFile{"NoZone", validWith("08:06:29Z", "08:06:29")},
        DamagedFile{"DateOnly", validWith("2026-11-16T08:06:29Z", "2026-11-16")},
        DamagedFile{"ImpossibleDay", validWith("2026-11-16", "2026-02-30")},
        DamagedFile{"DateAsNumber", validWith("\"2026-11-16T08:06:29Z\"", "1700000000")},
        DamagedFile{"ShortUuid", validWith("E621E1F8-C36C", "E621E1F8-C36")},
        DamagedFile{"BracedUuid", validWith("\"E621E1F8-C36C-495A-93FC-0C247A3E6E5F\"",
                                            "\"{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}\"")},
        DamagedFile{"UuidNotHex", validWith("E621E1F8", "G621E1F8")},
        DamagedFile{"PageCountAsString", validWith("\"pageCount\" : 3", "\"pageCount\" : \"3\"")},
        DamagedFile{"PageCountFraction", validWith("\"pageCount\" : 3", "\"pageCount\" : 3.5")},
        DamagedFile{"RedactionCountNull", validWith("\"redactionCount\" : 2", "\"redactionCount\" : null")},
        DamagedFile{"PassedAsNumber", validWith("\"verificationPassed\" : true", "\"verificationPassed\" : 1")},
        DamagedFile{"SourceNameAsArray", validWith("\"sourceName\" : \"out.pdf\"", "\"sourceName\" : [\"out.pdf\"]")},
        DamagedFile{"OneBadAmongGood", "[" + kValidRecord + "," + validWithout("id").mid(1)},
        DamagedFile{"TopLevelObject", kValidRecord}, DamagedFile{"Truncated", validWith("", "").left(60)},
        DamagedFile{"Empty", ""}, DamagedFile{"NotUtf8", "[\"\xff\xfe\"]"},
        DamagedFile{"ArrayOfNumbers", "[1, 2]"}),
    [](const ::testing::TestParamInfo<DamagedFile>& param) { return param.param.name; });

TEST_P(DamagedHistory, LoadsEmptyAndIsReplacedByTheNextAdd) {
    ASSERT_TRUE(RecentRedactionStore::decode(validWith("", "")).has_value()) << "the undamaged base must load";
    std::filesystem::create_directories(file().parent_path());
    writeBytes(file(), GetParam().content);

    RecentRedactionStore store(qPath(file()));
    EXPECT_TRUE(store.records().empty());
    EXPECT_EQ(readBytes(file()), GetParam().content) << "loading never rewrites the file";

    store.add(QStringLiteral("new.pdf"), QStringLiteral("/x/new-redacted.pdf"), 4, 1, true);
    RecentRedactionStore reloaded(qPath(file()));
    ASSERT_EQ(reloaded.records().size(), 1u);
    EXPECT_EQ(reloaded.records().front().sourceName, QStringLiteral("new.pdf"));
}

TEST_F(StoreFileTest, FirstAddCreatesTheFoldersAndOneRecord) {
    RecentRedactionStore store(qPath(file()));
    EXPECT_TRUE(store.records().empty());
    EXPECT_FALSE(std::filesystem::exists(file().parent_path())) << "loading creates nothing";

    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    store.add(QStringLiteral("contract.pdf"), QStringLiteral("/home/u/contract-redacted.pdf"), 12, 5, false);
    ASSERT_TRUE(std::filesystem::exists(file()));

    RecentRedactionStore reloaded(qPath(file()));
    ASSERT_EQ(reloaded.records().size(), 1u);
    const auto& added = reloaded.records().front();
    EXPECT_EQ(added, store.records().front());
    EXPECT_EQ(added.sourceName, QStringLiteral("contract.pdf"));
    EXPECT_EQ(added.outputPath, QStringLiteral("/home/u/contract-redacted.pdf"));
    EXPECT_EQ(added.pageCount, 12);
    EXPECT_EQ(added.redactionCount, 5);
    EXPECT_FALSE(added.verificationPassed);
    EXPECT_EQ(added.exportedAt.time().msec(), 0);
    EXPECT_GE(added.exportedAt, before);
    EXPECT_LE(added.exportedAt, QDateTime::currentDateTimeUtc());
    EXPECT_EQ(readBytes(file()), RecentRedactionStore::encode(reloaded.records()));
    EXPECT_EQ(readBytes(file()).count(added.id.toString(QUuid::WithoutBraces).toUpper().toLatin1()), 1);
}

TEST_F(StoreFileTest, KeepsTheFiftyNewestAndPublishesEveryChange) {
    RecentRedactionStore store(qPath(file()));
    ChangeRecorder recorder(&store);
    for (int i = 1; i <= 51; ++i) {
        store.add(QStringLiteral("doc%1.pdf").arg(i), QStringLiteral("/o/%1.pdf").arg(i), i, i, i % 2 == 0);
    }
    EXPECT_EQ(recorder.changes.size(), 51);
    ASSERT_EQ(store.records().size(), 50u);
    EXPECT_EQ(store.records().front().sourceName, QStringLiteral("doc51.pdf"));
    EXPECT_EQ(store.records().back().sourceName, QStringLiteral("doc2.pdf"));

    QSet<QUuid> ids;
    for (const auto& r : store.records()) {
        ids.insert(r.id);
    }
    EXPECT_EQ(ids.size(), 50) << "records made within one second still get distinct ids";
    EXPECT_GE(store.records()[0].exportedAt, store.records()[1].exportedAt);

    RecentRedactionStore reloaded(qPath(file()));
    EXPECT_EQ(reloaded.records(), store.records());

    store.clear();
    EXPECT_EQ(recorder.changes.size(), 52);
    EXPECT_TRUE(store.records().empty());
    EXPECT_EQ(readBytes(file()), QByteArray("[]"));
}

TEST_F(StoreFileTest, AnOverlongFileLoadsWholeAndIsCutAtTheNextAdd) {
    RecentRedactionRecordList many;
    for (int i = 0; i < 60; ++i) {
        many.push_back(RecentRedactionRecord{QUuid::createUuid(), QDateTime::fromSecsSinceEpoch(1'700'000'000 - i, Qt::UTC),
                                             QStringLiteral("s%1.pdf").arg(i), QStringLiteral("/o.pdf"), 1, 1, true});
    }
    std::filesystem::create_directories(file().parent_path());
    writeBytes(file(), RecentRedactionStore::encode(many));

    RecentRedactionStore store(qPath(file()));
    EXPECT_EQ(store.records(), many);
    store.add(QStringLiteral("newest.pdf"), QStringLiteral("/n.pdf"), 1, 1, true);
    ASSERT_EQ(store.records().size(), 50u);
    EXPECT_EQ(store.records()[1], many[0]);
    EXPECT_EQ(store.records().back(), many[48]);
}

TEST_F(StoreFileTest, NonAsciiNamesAndPathsSurviveAReload) {
    const QString name = QString::fromUtf8("\u00dcberpr\u00fcfung \u2013 \u5951\u7d04 \U0001F512.pdf");
    const QString output = QString::fromUtf8("/home/\u00e5sa/Dokument/\u00dcberpr\u00fcfung-redacted.pdf");
    {
        RecentRedactionStore store(qPath(file()));
        store.add(name, output, 2, 3, true);
    }
    RecentRedactionStore reloaded(qPath(file()));
    ASSERT_EQ(reloaded.records().size(), 1u);
    EXPECT_EQ(reloaded.records().front().sourceName, name);
    EXPECT_EQ(reloaded.records().front().outputPath, output);
}

TEST_F(StoreFileTest, FailedWritesKeepMemoryAndTheOldFile) {
    // The store's folder is a plain file, so neither the folder nor the file can be made.
    const auto blocked = dir.path() / "blocked";
    writeBytes(blocked, "not a folder");
    RecentRedactionStore store(qPath(blocked / "recent-redactions.json"));
    store.add(QStringLiteral("a.pdf"), QStringLiteral("/a.pdf"), 1, 1, true);
    EXPECT_EQ(store.records().size(), 1u);
    EXPECT_EQ(readBytes(blocked), QByteArray("not a folder"));

    RecentRedactionStore nowhere(std::nullopt);
    nowhere.add(QStringLiteral("a.pdf"), QStringLiteral("/a.pdf"), 1, 1, true);
    nowhere.clear();
    EXPECT_TRUE(nowhere.records().empty());
}

TEST_F(StoreFileTest, DefaultLocationFollowsTheUserDataDirectory) {
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", QByteArray::fromStdString(dir.path().string()));
    const auto location = RecentRedactionStore::defaultStoragePath();
    qputenv("XDG_DATA_HOME", saved);
    ASSERT_TRUE(location.has_value());
    EXPECT_EQ(*location, qPath(file()));
}

}  // namespace
}  // namespace norvane
