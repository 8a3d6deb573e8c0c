#include "model/recent_redaction_store.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>

namespace norvane {

namespace {

// Far beyond any history this program writes; a larger file is treated as damaged.
constexpr qint64 kMaximumFileSize = 16 * 1024 * 1024;

// Whole-second ISO 8601 with a zone: "2026-11-16T08:06:29Z" or "…+02:00". Fractions are refused.
std::optional<QDateTime> parseInternetDate(const std::string& text) {
    const auto digits = [&](std::size_t from, std::size_t count) {
        for (std::size_t i = from; i < from + count; ++i) {
            if (text[i] < '0' || text[i] > '9') {
                return false;
            }
        }
        return true;
    };
    if (text.size() != 20 && text.size() != 25) {
        return std::nullopt;
    }
    if (!digits(0, 4) || text[4] != '-' || !digits(5, 2) || text[7] != '-' || !digits(8, 2) ||
        (text[10] != 'T' && text[10] != 't') || !digits(11, 2) || text[13] != ':' || !digits(14, 2) ||
        text[16] != ':' || !digits(17, 2)) {
        return std::nullopt;
    }
    const auto number = [&](std::size_t from, std::size_t count) { return std::stoi(text.substr(from, count)); };
    int offsetSeconds = 0;
    if (text.size() == 20) {
        if (text[19] != 'Z' && text[19] != 'z') {
            return std::nullopt;
        }
    } else {
        if ((text[19] != '+' && text[19] != '-') || !digits(20, 2) || text[22] != ':' || !digits(23, 2)) {
            return std::nullopt;
        }
        const int hours = number(20, 2);
        const int minutes = number(23, 2);
        if (hours > 23 || minutes > 59) {
            return std::nullopt;
        }
        offsetSeconds = (hours * 60 + minutes) * 60 * (text[19] == '-' ? -1 : 1);
    }
    const QDate date(number(0, 4), number(5, 2), number(8, 2));
    const QTime time(number(11, 2), number(14, 2), number(17, 2));
    if (!date.isValid() || !time.isValid()) {
        return std::nullopt;
    }
    QDateTime stamp(date, time, Qt::OffsetFromUTC, offsetSeconds);
    if (!stamp.isValid()) {
        return std::nullopt;
    }
    return stamp.toUTC();
}

std::optional<qint64> integerValue(const nlohmann::json& value) {
    if (value.is_number_integer()) {
        if (value.is_number_unsigned() &&
            value.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<qint64>::max())) {
            return std::nullopt;
        }
        return value.get<qint64>();
    }
    if (value.is_number_float()) {
        const double number = value.get<double>();
        // An integral value written as 3.0 is still the number 3.
        if (std::isfinite(number) && number == std::trunc(number) && std::fabs(number) < 9.0e15) {
            return static_cast<qint64>(number);
        }
    }
    return std::nullopt;
}

std::optional<QUuid> uuidValue(const std::string& text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool hyphenSlot = i == 8 || i == 13 || i == 18 || i == 23;
        const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (hyphenSlot ? c != '-' : !hex) {
            return std::nullopt;
        }
    }
    return QUuid::fromString(QLatin1StringView(text.data(), static_cast<qsizetype>(text.size())));
}

std::optional<RecentRedactionRecord> decodeRecord(const nlohmann::json& object) {
    if (!object.is_object()) {
        return std::nullopt;
    }
    const auto field = [&](const char* key) -> const nlohmann::json* {
        const auto found = object.find(key);
        return found == object.end() ? nullptr : &*found;
    };
    const auto* exportedAt = field("exportedAt");
    const auto* id = field("id");
    const auto* outputPath = field("outputPath");
    const auto* pageCount = field("pageCount");
    const auto* redactionCount = field("redactionCount");
    const auto* sourceName = field("sourceName");
    const auto* passed = field("verificationPassed");
    if (!exportedAt || !id || !outputPath || !pageCount || !redactionCount || !sourceName || !passed) {
        return std::nullopt;
    }
    if (!exportedAt->is_string() || !id->is_string() || !outputPath->is_string() || !sourceName->is_string() ||
        !passed->is_boolean()) {
        return std::nullopt;
    }
    const auto date = parseInternetDate(exportedAt->get<std::string>());
    const auto uuid = uuidValue(id->get<std::string>());
    const auto pages = integerValue(*pageCount);
    const auto regions = integerValue(*redactionCount);
    if (!date || !uuid || !pages || !regions) {
        return std::nullopt;
    }
    return RecentRedactionRecord{*uuid,
                                 *date,
                                 QString::fromStdString(sourceName->get<std::string>()),
                                 QString::fromStdString(outputPath->get<std::string>()),
                                 *pages,
                                 *regions,
                                 passed->get<bool>()};
}

// JSON string with the escaping the history has always been written with: `"`, `\` and `/`
// escaped, the usual short escapes for control characters, everything else as UTF-8.
void appendQuoted(QByteArray& out, const QString& text) {
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    for (const char c : utf8) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '/':
                out += "\\/";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    out += QByteArray("\\u00") +
                           QByteArray::number(static_cast<unsigned char>(c), 16).rightJustified(2, '0');
                } else {
                    out += c;
                }
        }
    }
    out += '"';
}

}  // namespace

RecentRedactionStore::RecentRedactionStore(std::optional<QString> storagePath, QObject* parent)
    : QObject(parent), storagePath_(std::move(storagePath)) {
    load();
}

std::optional<QString> RecentRedactionStore::defaultStoragePath() {
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (base.isEmpty()) {
        return std::nullopt;
    }
    return QDir(base).filePath(QStringLiteral("Norvane/Veilmark/recent-redactions.json"));
}

void RecentRedactionStore::setRecords(RecentRedactionRecordList records) {
    records_ = std::move(records);
    emit recordsChanged();
}

void RecentRedactionStore::add(const QString& sourceName, const QString& outputPath, qint64 pageCount,
                               qint64 redactionCount, bool verificationPassed) {
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    RecentRedactionRecord record{QUuid::createUuid(), QDateTime::fromSecsSinceEpoch(now, Qt::UTC),
                                 sourceName,          outputPath,
                                 pageCount,           redactionCount,
                                 verificationPassed};
    auto records = records_;
    records.insert(records.begin(), std::move(record));
    if (records.size() > static_cast<std::size_t>(maximumRecords)) {
        records.resize(static_cast<std::size_t>(maximumRecords));
    }
    setRecords(std::move(records));
    save();
}

void RecentRedactionStore::clear() {
    setRecords({});
    save();
}

void RecentRedactionStore::load() {
    if (!storagePath_) {
        return;
    }
    QFile file(*storagePath_);
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaximumFileSize) {
        return;
    }
    const QByteArray bytes = file.read(kMaximumFileSize);
    if (file.error() != QFileDevice::NoError) {
        return;
    }
    if (auto records = decode(bytes)) {
        records_ = std::move(*records);
    }
}

void RecentRedactionStore::save() const {
    if (!storagePath_) {
        return;
    }
    QDir().mkpath(QFileInfo(*storagePath_).absolutePath());
    QSaveFile file(*storagePath_);
    if (!file.open(QIODevice::WriteOnly)) {
        return;
    }
    const QByteArray bytes = encode(records_);
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return;
    }
    file.commit();
}

QByteArray RecentRedactionStore::encode(const RecentRedactionRecordList& records) {
    if (records.empty()) {
        return QByteArrayLiteral("[]");
    }
    QByteArray out = "[\n";
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto& record = records[i];
        const auto member = [&](const char* key) {
            out += "    \"";
            out += key;
            out += "\" : ";
        };
        out += "  {\n";
        member("exportedAt");
        appendQuoted(out, record.exportedAt.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z'));
        out += ",\n";
        member("id");
        appendQuoted(out, record.id.toString(QUuid::WithoutBraces).toUpper());
        out += ",\n";
        member("outputPath");
        appendQuoted(out, record.outputPath);
        out += ",\n";
        member("pageCount");
        out += QByteArray::number(record.pageCount);
        out += ",\n";
        member("redactionCount");
        out += QByteArray::number(record.redactionCount);
        out += ",\n";
        member("sourceName");
        appendQuoted(out, record.sourceName);
        out += ",\n";
        member("verificationPassed");
        out += record.verificationPassed ? "true" : "false";
        out += "\n  }";
        out += i + 1 < records.size() ? ",\n" : "\n";
    }
    out += "]";
    return out;
}

std::optional<RecentRedactionRecordList> RecentRedactionStore::decode(const QByteArray& json) {
    nlohmann::json document;
    try {
        document = nlohmann::json::parse(json.constBegin(), json.constEnd());
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
    if (!document.is_array()) {
        return std::nullopt;
    }
    RecentRedactionRecordList records;
    records.reserve(document.size());
    for (const auto& element : document) {
        auto record = decodeRecord(element);
        if (!record) {
            return std::nullopt;
        }
        records.push_back(std::move(*record));
    }
    return records;
}

}  // namespace norvane
