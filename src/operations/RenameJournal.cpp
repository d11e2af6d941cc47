#include "operations/RenameJournal.h"

#include "core/PathText.h"
#include "operations/BulkRenamer.h"
#include "platform/AtomicFile.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QtDebug>
#include <algorithm>
#include <string_view>

namespace fs = std::filesystem;
using Place = BulkRenamer::Place;

namespace {

constexpr std::string_view kRecordSuffix = ".json";
constexpr std::string_view kTemporaryPrefix = ".quillo-rename-";
constexpr size_t kMaxRecordBytes = size_t(256) << 20;

// Paths are stored as base64 of their bytes: names need not be UTF-8.
QJsonValue encodePath(const fs::path& path)
{
    return QString::fromLatin1(QByteArray::fromStdString(path.native()).toBase64());
}

std::optional<fs::path> decodePath(const QJsonValue& value)
{
    const auto decoded = QByteArray::fromBase64Encoding(value.toString().toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!value.isString() || !decoded)
        return std::nullopt;
    return fs::path((*decoded).toStdString());
}

// One name inside the folder: never empty, never a path of its own.
bool isPlainName(const fs::path& name)
{
    const std::string& bytes = name.native();
    return !bytes.empty() && bytes != "." && bytes != ".." && bytes.find('/') == std::string::npos;
}

QJsonObject encodeStep(const RenameJournal::Step& step)
{
    QJsonObject out{{"folder", encodePath(step.folder)},
                    {"old", encodePath(step.oldName)},
                    {"temporary", encodePath(step.temporaryName)},
                    {"new", encodePath(step.newName)}};
    // Devices and inodes as decimal text: a JSON number loses bits above 2^53.
    if (step.identity)
        out.insert("identity", QJsonArray{QString::number(step.identity->device),
                                          QString::number(step.identity->inode)});
    return out;
}

std::optional<FileIdentity> decodeIdentity(const QJsonValue& value)
{
    const QJsonArray pair = value.toArray();
    bool deviceOk = false, inodeOk = false;
    const FileIdentity identity{pair.at(0).toString().toULongLong(&deviceOk),
                                pair.at(1).toString().toULongLong(&inodeOk)};
    if (pair.size() != 2 || !deviceOk || !inodeOk)
        return std::nullopt;
    return identity;
}

// A step we may act on: an absolute folder, plain names, our own temporary prefix and
// the item's identity, so that nothing but the renamed item is ever moved.
std::optional<RenameJournal::Step> decodeStep(const QJsonObject& object)
{
    const auto folder = decodePath(object.value("folder"));
    const auto oldName = decodePath(object.value("old"));
    const auto temporary = decodePath(object.value("temporary"));
    const auto newName = decodePath(object.value("new"));
    const auto identity = decodeIdentity(object.value("identity"));
    if (!folder || !oldName || !temporary || !newName || !identity || !folder->is_absolute())
        return std::nullopt;
    if (!isPlainName(*oldName) || !isPlainName(*newName) || !isPlainName(*temporary) ||
        !temporary->native().starts_with(kTemporaryPrefix))
        return std::nullopt;
    return RenameJournal::Step{*folder, *oldName, *temporary, *newName, identity};
}

// The plan of a claimed record; nullopt when the file is not one of our records.
std::optional<std::vector<RenameJournal::Step>> readRecord(const fs::path& file)
{
    const auto bytes = DirectoryScanner::readSmallFile(file, kMaxRecordBytes);
    if (!bytes)
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromStdString(*bytes), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject() ||
        !document.object().value("steps").isArray())
        return std::nullopt;
    std::vector<RenameJournal::Step> steps;
    for (const QJsonValue& value : document.object().value("steps").toArray()) {
        auto step = decodeStep(value.toObject());
        if (!step)
            return std::nullopt;
        steps.push_back(std::move(*step));
    }
    return steps;
}

// Temporary names are unique to one rename, but the identity still decides: a name is
// only ours while our item stands under it.
Place locate(const RenameJournal::Step& step)
{
    if (FileCopier::identity(step.folder / step.temporaryName) == step.identity)
        return Place::temporary;
    if (FileCopier::identity(step.folder / step.newName) == step.identity)
        return Place::renamed;
    if (FileCopier::identity(step.folder / step.oldName) == step.identity)
        return Place::old;
    return Place::missing;
}

void logReport(const RenameJournal::Report& report)
{
    if (report.finished > 0)
        qInfo("Completed %d renames that a killed bulk rename left", report.finished);
    if (report.rolledBack > 0)
        qInfo("Put back under their old names after a killed bulk rename: %d items",
              report.rolledBack);
    for (const fs::path& path : report.leftAt)
        qWarning("Could not give %s its old or its new name back; it stays there", path.c_str());
}

} // namespace

QString RenameJournal::Report::alertText() const
{
    if (isEmpty())
        return {};
    QString text = QStringLiteral("前回、名前の変更が途中で終了しました。");
    if (finished > 0)
        text += QStringLiteral("%1 項目の名前の変更を完了しました。").arg(finished);
    if (rolledBack > 0)
        text += QStringLiteral("%1 項目を元の名前に戻しました。").arg(rolledBack);
    if (!leftAt.empty()) {
        text += QStringLiteral("次の項目は一時的な名前のまま残っています:");
        for (const fs::path& path : leftAt)
            text += QLatin1Char('\n') + PathText::abbreviated(path);
    }
    return text;
}

RenameJournal::RenameJournal(fs::path folder, ProcessStamp owner)
    : m_folder(std::move(folder))
    , m_owner(std::move(owner))
{
}

RenameJournal& RenameJournal::shared()
{
    static RenameJournal journal(PathText::dataHome() / "Quillo" / "renames",
                                 ProcessStamp::current());
    return journal;
}

fs::path RenameJournal::recordFile(uint64_t id) const
{
    return m_folder / (m_owner.text() + "." + std::to_string(id) + std::string(kRecordSuffix));
}

Result<uint64_t> RenameJournal::begin(const std::vector<Step>& steps)
{
    uint64_t id = 0;
    {
        std::lock_guard lock(m_mutex);
        id = m_nextId++;
    }
    QJsonArray encoded;
    for (const Step& step : steps)
        encoded.append(encodeStep(step));
    const QByteArray bytes =
        QJsonDocument(QJsonObject{{"steps", encoded}}).toJson(QJsonDocument::Compact);
    if (auto written = AtomicFile::write(recordFile(id), bytes.toStdString()); !written)
        return std::unexpected(written.error());
    return id;
}

void RenameJournal::finish(uint64_t id)
{
    // A stale record after a power loss finds its items settled: no sync needed.
    if (auto removed = FileCopier::removeTree(recordFile(id)); !removed)
        qWarning("Cannot remove the rename record %s (errno %d)", recordFile(id).c_str(),
                 removed.error().code);
}

RenameJournal::Report RenameJournal::recover()
{
    Report report;
    const auto items = DirectoryScanner::scan(m_folder);
    if (!items)
        return report;
    for (const ScannedItem& item : *items) {
        const std::string& name = item.name;
        if (!name.ends_with(kRecordSuffix))
            continue;
        const ProcessStamp writer = ProcessStamp::parse(name.substr(0, name.find('.')));
        if (writer.pid == 0 || writer == m_owner || writer.isRunning())
            continue;
        fs::path claimed;
        {
            std::lock_guard lock(m_mutex);
            claimed = m_folder / (m_owner.text() + ".claim-" + std::to_string(++m_claims) +
                                  std::string(kRecordSuffix));
        }
        // Only one process wins the rename; a record claimed by us and left by our own
        // death is claimed again by the next one.
        if (!FileCopier::renameNoReplace(m_folder / name, claimed))
            continue;
        settleRecord(claimed, report);
    }
    logReport(report);
    return report;
}

// Forward when every item had left its old name (phase one was complete), else back.
void RenameJournal::settleRecord(const fs::path& claimed, Report& report)
{
    const auto steps = readRecord(claimed);
    if (!steps) {
        qWarning("Rename record %s cannot be read; set aside", claimed.c_str());
        (void)AtomicFile::setAside(claimed, ".corrupt");
        return;
    }
    std::vector<Place> places;
    places.reserve(steps->size());
    for (const Step& step : *steps)
        places.push_back(locate(step));
    const bool forward = std::find(places.begin(), places.end(), Place::old) == places.end();
    const BulkRenamer::Settled settled = BulkRenamer::settle(*steps, places, forward);
    report.finished += settled.toNew;
    report.rolledBack += settled.toOld;
    report.leftAt.insert(report.leftAt.end(), settled.leftAt.begin(), settled.leftAt.end());
    (void)FileCopier::removeTree(claimed);
}
