#include "operations/StagingJournal.h"

#include "core/PathText.h"
#include "operations/DeadRecords.h"
#include "operations/JournalJson.h"
#include "operations/StagingRecovery.h"
#include "platform/AtomicFile.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>
#include <QtDebug>
#include <algorithm>
#include <cstring>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kRecordSuffix = ".json";
constexpr size_t kMaxRecordBytes = size_t(64) << 20;

const char* const kKindNames[] = {"folder", "move", "replaceCopy", "replaceMove"};

// Another process reads the record, from another working folder.
fs::path absolutePath(const fs::path& path)
{
    std::error_code error;
    fs::path out = path.is_absolute() ? path : fs::absolute(path, error);
    return error ? path : out;
}

QByteArray randomHex(int digits)
{
    return QUuid::createUuid().toRfc4122().toHex().left(digits);
}

// Paths are stored as base64 of their bytes: names need not be UTF-8.
QJsonValue encodePath(const fs::path& path)
{
    return QString::fromLatin1(QByteArray::fromStdString(path.native()).toBase64());
}

fs::path decodePath(const QJsonValue& value)
{
    return fs::path(QByteArray::fromBase64(value.toString().toLatin1()).toStdString());
}

QJsonObject encodeEntry(const StagingJournal::Entry& entry)
{
    QJsonObject out{{"kind", kKindNames[int(entry.kind)]},
                    {"hidden", encodePath(entry.hidden)},
                    {"destination", encodePath(entry.destination)},
                    {"source", encodePath(entry.source)}};
    if (entry.sourceIdentity)
        out.insert("sourceIdentity", JournalJson::encodeIdentity(entry.sourceIdentity));
    if (entry.copied)
        out.insert("copied", JournalJson::encodeIdentity(entry.copied));
    return out;
}

std::optional<StagingJournal::Entry> decodeEntry(const QJsonObject& object)
{
    const QString kind = object.value("kind").toString();
    const auto named = std::find_if(std::begin(kKindNames), std::end(kKindNames),
                                    [&](const char* name) { return kind == QLatin1String(name); });
    StagingJournal::Entry entry;
    entry.hidden = decodePath(object.value("hidden"));
    entry.destination = decodePath(object.value("destination"));
    entry.source = decodePath(object.value("source"));
    if (named == std::end(kKindNames) || entry.hidden.empty())
        return std::nullopt;
    entry.kind = StagingJournal::Kind(named - std::begin(kKindNames));
    if (entry.kind != StagingJournal::Kind::folder && entry.destination.empty())
        return std::nullopt;
    entry.sourceIdentity = JournalJson::decodeIdentity(object.value("sourceIdentity"));
    entry.copied = JournalJson::decodeIdentity(object.value("copied"));
    return entry;
}

// The entries of a claimed record; nullopt when the file is not one of our records.
std::optional<std::vector<StagingJournal::Entry>> readRecord(const fs::path& file)
{
    const auto object = JournalJson::readObject(file, kMaxRecordBytes);
    if (!object)
        return std::nullopt;
    std::vector<StagingJournal::Entry> entries;
    for (const QJsonValue& value : object->value("entries").toArray()) {
        if (auto entry = decodeEntry(value.toObject()))
            entries.push_back(std::move(*entry));
        else
            qWarning("Staging journal %s: skipped an unreadable entry", file.c_str());
    }
    return entries;
}

void logReport(const StagingJournal::Report& report)
{
    for (const fs::path& path : report.removed)
        qInfo("Removed %s, left by a transfer that was killed", path.c_str());
    for (const fs::path& path : report.finished)
        qInfo("Completed the move or replacement to %s that a killed transfer left", path.c_str());
    for (const auto& item : report.unfinished)
        qWarning("Could not complete the move of %s to %s (%s); the item is at %s",
                 item.source.c_str(), item.destination.c_str(),
                 item.error ? std::strerror(item.error->code) : "not the copy that was made",
                 item.leftAt.empty() ? item.source.c_str() : item.leftAt.c_str());
}

} // namespace

StagingJournal::Ticket::Ticket(Ticket&& other) noexcept
    : m_journal(std::exchange(other.m_journal, nullptr))
    , m_id(other.m_id)
{
}

StagingJournal::Ticket::~Ticket()
{
    if (m_journal)
        m_journal->finish(m_id);
}

void StagingJournal::Ticket::markCopied(const FileIdentity& copy)
{
    if (m_journal)
        m_journal->markCopied(m_id, copy);
}

QString StagingJournal::Report::alertText() const
{
    QStringList lines;
    for (const Unfinished& item : unfinished) {
        QString line =
            QStringLiteral("前回の移動を完了できませんでした: 「%1」から「%2」へ")
                .arg(PathText::abbreviated(item.source), PathText::abbreviated(item.destination));
        if (!item.leftAt.empty())
            line += QStringLiteral("（項目は「%1」にあります）")
                        .arg(PathText::abbreviated(item.leftAt));
        if (item.error)
            line += QStringLiteral("。") + item.error->description();
        lines.append(line);
    }
    return lines.join(QLatin1Char('\n'));
}

StagingJournal::StagingJournal(fs::path folder, ProcessStamp owner)
    : m_folder(std::move(folder))
    , m_owner(std::move(owner))
    , m_stagingPrefix(".quillo-copy-" + randomHex(12).toStdString() + "-")
{
}

StagingJournal& StagingJournal::shared()
{
    static StagingJournal journal(PathText::dataHome() / "Quillo" / "transfers",
                                  ProcessStamp::current());
    return journal;
}

fs::path StagingJournal::stagingPath(const fs::path& destination)
{
    const fs::path folder = PathText::parent(destination);
    {
        std::lock_guard lock(m_mutex);
        if (m_stagingFolders.insert(absolutePath(folder)).second)
            save(true);
    }
    return folder / (m_stagingPrefix + randomHex(8).toStdString());
}

StagingJournal::Ticket StagingJournal::begin(Entry entry)
{
    std::lock_guard lock(m_mutex);
    Ticket ticket;
    ticket.m_journal = this;
    ticket.m_id = m_nextId++;
    const bool write = entry.kind != Kind::move;
    for (fs::path* path : {&entry.hidden, &entry.destination, &entry.source})
        *path = absolutePath(*path);
    m_entries.emplace_back(ticket.m_id, std::move(entry));
    if (write)
        save(true);
    return ticket;
}

void StagingJournal::markCopied(uint64_t id, const FileIdentity& copy)
{
    std::lock_guard lock(m_mutex);
    for (auto& [entryId, entry] : m_entries) {
        if (entryId == id)
            entry.copied = copy;
    }
    save(true);
}

void StagingJournal::finish(uint64_t id)
{
    std::lock_guard lock(m_mutex);
    const auto gone = std::find_if(m_entries.begin(), m_entries.end(),
                                   [id](const auto& pair) { return pair.first == id; });
    if (gone == m_entries.end())
        return;
    const bool written = gone->second.kind != Kind::move || gone->second.copied;
    m_entries.erase(gone);
    // A stale entry after a power loss finds its items settled: no sync needed.
    if (written)
        save(false);
}

void StagingJournal::save(bool synced)
{
    QJsonArray entries;
    for (const fs::path& folder : m_stagingFolders)
        entries.append(encodeEntry({Kind::folder, folder / m_stagingPrefix, {}, {}, {}, {}}));
    for (const auto& [id, entry] : m_entries)
        entries.append(encodeEntry(entry));
    const fs::path file = m_folder / (m_owner.text() + std::string(kRecordSuffix));
    if (entries.isEmpty()) {
        (void)FileCopier::removeTree(file);
        return;
    }
    const QByteArray bytes = QJsonDocument(QJsonObject{{"entries", entries}}).toJson();
    const auto written = synced ? AtomicFile::write(file, bytes.toStdString())
                                : AtomicFile::writeUnsynced(file, bytes.toStdString());
    if (!written) {
        if (!std::exchange(m_warned, true))
            qWarning("Cannot write the staging journal %s (errno %d); transfers go on without it",
                     file.c_str(), written.error().code);
        return;
    }
}

StagingJournal::Report StagingJournal::recover()
{
    Report report;
    DeadRecords::claim(m_folder, m_owner, [&report](const fs::path& claimed) {
        const auto entries = readRecord(claimed);
        if (!entries) {
            qWarning("Staging journal %s cannot be read; set aside", claimed.c_str());
            (void)AtomicFile::setAside(claimed, ".corrupt");
            return;
        }
        // Latest first: moves and replacements are settled before the folder entries
        // (written first) remove whatever staged copies are left.
        for (auto it = entries->rbegin(); it != entries->rend(); ++it)
            StagingRecovery::settle(*it, report);
        (void)FileCopier::removeTree(claimed);
    });
    logReport(report);
    return report;
}
