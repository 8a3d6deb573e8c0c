#pragma once
// The local history of finished secure exports: summary facts only (names, path, counts,
// verification outcome), never document content. One JSON file, newest record first.

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QUuid>

#include <optional>
#include <vector>

namespace norvane {

struct RecentRedactionRecord {
    QUuid id;
    QDateTime exportedAt;  // UTC, whole seconds
    QString sourceName;
    QString outputPath;
    qint64 pageCount = 0;
    qint64 redactionCount = 0;
    bool verificationPassed = false;

    friend bool operator==(const RecentRedactionRecord&, const RecentRedactionRecord&) = default;
};

using RecentRedactionRecordList = std::vector<RecentRedactionRecord>;

class RecentRedactionStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(norvane::RecentRedactionRecordList records READ records NOTIFY recordsChanged)

public:
    static constexpr qint64 maximumRecords = 50;

    // A store over the given file, or over no file at all (loads empty, saves nothing).
    explicit RecentRedactionStore(std::optional<QString> storagePath, QObject* parent = nullptr);

    // The default file location, or none when the platform has no per-user data directory.
    static std::optional<QString> defaultStoragePath();

    const RecentRedactionRecordList& records() const { return records_; }
    const std::optional<QString>& storagePath() const { return storagePath_; }

    // outputPath: the exported file's absolute path. Never fails visibly.
    void add(const QString& sourceName, const QString& outputPath, qint64 pageCount, qint64 redactionCount,
             bool verificationPassed);
    void clear();

    // The exact bytes the store writes for a list, and the strict reader; nullopt when
    // any record is incomplete, mistyped or carries a malformed date.
    static QByteArray encode(const RecentRedactionRecordList& records);
    static std::optional<RecentRedactionRecordList> decode(const QByteArray& json);

signals:
    void recordsChanged();

private:
    void setRecords(RecentRedactionRecordList records);
    void load();
    void save() const;

    std::optional<QString> storagePath_;
    RecentRedactionRecordList records_;
};

}  // namespace norvane

Q_DECLARE_METATYPE(norvane::RecentRedactionRecordList)
