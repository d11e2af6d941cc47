#include "operations/RenameJournal.h"

#include "core/PathText.h"
#include "operations/BulkRenamer.h"
#include "operations/DeadRecords.h"
#include "operations/JournalJson.h"
#include "platform/AtomicFile.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtDebug>
#include <algorithm>
#include <string_view>

namespace fs = std::filesystem;
using Place = BulkRenamer::Place;

namespace {

constexpr std::string_view kRecordSuffix = ".json";
constexpr std::string_view kTemporaryPrefix = ".quillo-rename-";
constexpr size_t kMaxRecordBytes = size_t(256) << 20;

// Names are stored as base64 of their bytes: they need not be UTF-8.
void appendBase64(std::string& out, std::string_view bytes)
{
    static constexpr char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto byte = [&](size_t i) { return uint32_t(static_cast<unsigned char>(bytes[i])); };
    size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const uint32_t n = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        const char quad[] = {kDigits[n >> 18], kDigits[n >> 12 & 63], kDigits[n >> 6 & 63],
                             kDigits[n & 63]};
        out.append(quad, 4);
    }
    if (const size_t left = bytes.size() - i) {
        const uint32_t n = byte(i) << 16 | (left == 2 ? byte(i + 1) << 8 : 0);
        const char quad[] = {kDigits[n >> 18], kDigits[n >> 12 & 63],
                             left == 2 ? kDigits[n >> 6 & 63] : '=', '='};
        out.append(quad, 4);
    }
}

void appendQuoted(std::string& out, std::string_view bytes)
{
    out += '"';
    appendBase64(out, bytes);
    out += '"';
}

// Written by hand rather than through QJsonObject: a rename of 10,000 items writes its
// record before the first name changes, and a JSON object per step would cost more
// than the renames. Read back with QJsonDocument.
std::string encodeRecord(const RenameJournal::Plan& plan)
{
    std::string out = "{\"temporaryPrefix\":";
    out.reserve(plan.steps.size() * 120 + 200);
    appendQuoted(out, plan.temporaryPrefix);
    out += ",\"folders\":[";
    for (const fs::path& folder : plan.folders) {
        if (out.back() != '[')
            out += ',';
        appendQuoted(out, folder.native());
    }
    out += "],\"steps\":[";
    for (const RenameJournal::Step& step : plan.steps) {
        out += out.back() == '[' ? "{\"folder\":" : ",{\"folder\":";
        out += std::to_string(step.folder);
        out += ",\"old\":";
        appendQuoted(out, step.oldName);
        out += ",\"new\":";
        appendQuoted(out, step.newName);
        // Devices and inodes as decimal text: a JSON number loses bits above 2^53.
        if (step.identity)
            out += ",\"identity\":[\"" + std::to_string(step.identity->device) + "\",\"" +
                   std::to_string(step.identity->inode) + "\"]";
        out += '}';
    }
    return out + "]}";
}

std::optional<std::string> decodeBytes(const QJsonValue& value)
{
    const auto decoded = QByteArray::fromBase64Encoding(value.toString().toLatin1(),
                                                        QByteArray::AbortOnBase64DecodingErrors);
    if (!value.isString() || !decoded)
        return std::nullopt;
    return (*decoded).toStdString();
}

// One name inside the folder: never empty, never a path of its own.
bool isPlainName(const std::optional<std::string>& name)
{
    return name && !name->empty() && *name != "." && *name != ".." &&
           name->find('/') == std::string::npos;
}

// A step we may act on: plain names, a folder of the record and the item's identity,
// so that nothing but the renamed item is ever moved.
std::optional<RenameJournal::Step> decodeStep(const QJsonObject& object, size_t folders)
{
    const auto oldName = decodeBytes(object.value("old"));
    const auto newName = decodeBytes(object.value("new"));
    const auto identity = JournalJson::decodeIdentity(object.value("identity"));
    const qint64 folder = object.value("folder").toInteger(-1);
    if (!isPlainName(oldName) || !isPlainName(newName) || !identity || folder < 0 ||
        size_t(folder) >= folders)
        return std::nullopt;
    return RenameJournal::Step{uint32_t(folder), *oldName, *newName, identity};
}

std::optional<RenameJournal::Plan> decodePlan(const QJsonObject& object)
{
    RenameJournal::Plan plan;
    const auto prefix = decodeBytes(object.value("temporaryPrefix"));
    if (!isPlainName(prefix) || !prefix->starts_with(kTemporaryPrefix))
        return std::nullopt;
    plan.temporaryPrefix = *prefix;
    for (const QJsonValue& value : object.value("folders").toArray()) {
        const auto folder = decodeBytes(value);
        if (!folder || !folder->starts_with('/'))
            return std::nullopt;
        plan.folders.emplace_back(*folder);
    }
    for (const QJsonValue& value : object.value("steps").toArray()) {
        auto step = decodeStep(value.toObject(), plan.folders.size());
        if (!step)
            return std::nullopt;
        plan.steps.push_back(std::move(*step));
    }
    return plan;
}

// The plan of a claimed record; nullopt when the file is not one of our records.
std::optional<RenameJournal::Plan> readRecord(const fs::path& file)
{
    const auto object = JournalJson::readObject(file, kMaxRecordBytes);
    if (!object)
        return std::nullopt;
    return decodePlan(*object);
}

// Temporary names are unique to one rename, but the identity still decides: a name is
// only ours while our item stands under it.
Place locate(const RenameJournal::Plan& plan, size_t i)
{
    const auto identity = plan.steps[i].identity;
    if (FileCopier::identity(plan.temporaryPath(i)) == identity)
        return Place::temporary;
    if (FileCopier::identity(plan.newPath(i)) == identity)
        return Place::renamed;
    if (FileCopier::identity(plan.oldPath(i)) == identity)
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

fs::path RenameJournal::Plan::oldPath(size_t i) const
{
    return folders[steps[i].folder] / steps[i].oldName;
}

fs::path RenameJournal::Plan::temporaryPath(size_t i) const
{
    return folders[steps[i].folder] / (temporaryPrefix + std::to_string(i));
}

fs::path RenameJournal::Plan::newPath(size_t i) const
{
    return folders[steps[i].folder] / steps[i].newName;
}

Result<uint64_t> RenameJournal::begin(const Plan& plan)
{
    uint64_t id = 0;
    {
        std::lock_guard lock(m_mutex);
        id = m_nextId++;
    }
    if (auto written = AtomicFile::write(recordFile(id), encodeRecord(plan)); !written)
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
    DeadRecords::claim(m_folder, m_owner,
                       [this, &report](const fs::path& claimed) { settleRecord(claimed, report); });
    logReport(report);
    return report;
}

// Forward when every item had left its old name (phase one was complete), else back.
void RenameJournal::settleRecord(const fs::path& claimed, Report& report)
{
    const auto plan = readRecord(claimed);
    if (!plan) {
        qWarning("Rename record %s cannot be read; set aside", claimed.c_str());
        (void)AtomicFile::setAside(claimed, ".corrupt");
        return;
    }
    std::vector<Place> places;
    places.reserve(plan->steps.size());
    for (size_t i = 0; i < plan->steps.size(); ++i)
        places.push_back(locate(*plan, i));
    const bool forward = std::find(places.begin(), places.end(), Place::old) == places.end();
    const BulkRenamer::Settled settled = BulkRenamer::settle(*plan, places, forward);
    report.finished += settled.toNew;
    report.rolledBack += settled.toOld;
    report.leftAt.insert(report.leftAt.end(), settled.leftAt.begin(), settled.leftAt.end());
    (void)FileCopier::removeTree(claimed);
}
