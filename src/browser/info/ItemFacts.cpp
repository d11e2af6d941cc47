#include "browser/info/ItemFacts.h"

#include "core/PathText.h"
#include "files/KindCache.h"
#include "platform/BirthTime.h"

#include <QLocale>
#include <QMimeDatabase>
#include <grp.h>
#include <pwd.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

QDateTime timeOf(const timespec& time)
{
    return QDateTime::fromMSecsSinceEpoch(time.tv_sec * 1000 + time.tv_nsec / 1'000'000, Qt::UTC);
}

QString userName(uid_t uid)
{
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return QString::fromLocal8Bit(found->pw_name);
    return QString::number(uid);
}

QString groupName(gid_t gid)
{
    std::vector<char> buffer(16384);
    group entry{};
    group* found = nullptr;
    if (::getgrgid_r(gid, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return QString::fromLocal8Bit(found->gr_name);
    return QString::number(gid);
}

void describeKind(ItemFacts& facts, const fs::path& path)
{
    static const QMimeDatabase database;
    QMimeType type;
    if (facts.isLink()) {
        type = database.mimeTypeForName(QStringLiteral("inode/symlink"));
        facts.kind = type.comment();
        facts.iconName = QStringLiteral("emblem-symbolic-link");
    } else if (facts.isFolder()) {
        type = database.mimeTypeForName(QStringLiteral("inode/directory"));
        facts.kind = KindCache::forFolder().kind;
        facts.iconName = KindCache::forFolder().iconName;
    } else {
        type = database.mimeTypeForFile(PathText::displayName(path), QMimeDatabase::MatchExtension);
        const KindInfo& info = KindCache::forFileName(path.filename().native());
        facts.kind = info.kind;
        facts.iconName = info.iconName;
    }
    facts.mimeType = type.name();
}

} // namespace

ItemFacts ItemFacts::read(const fs::path& path)
{
    ItemFacts facts;
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0)
        return facts;
    facts.exists = true;
    facts.mode = st.st_mode;
    facts.uid = st.st_uid;
    facts.gid = st.st_gid;
    facts.owner = userName(st.st_uid);
    facts.group = groupName(st.st_gid);
    facts.size = st.st_size;
    facts.onDisk = int64_t(st.st_blocks) * 512;
    facts.modified = timeOf(st.st_mtim);
    facts.accessed = timeOf(st.st_atim);
    if (S_ISLNK(st.st_mode)) {
        std::error_code ec;
        const fs::path target = fs::read_symlink(path, ec);
        if (!ec)
            facts.linkTarget = target;
    } else {
        facts.created = birthTime(path);
    }
    describeKind(facts, path);
    return facts;
}

bool ItemFacts::isFolder() const
{
    return S_ISDIR(mode);
}

bool ItemFacts::isLink() const
{
    return S_ISLNK(mode);
}

bool ItemFacts::canChangeMode() const
{
    return exists && !isLink() && (::geteuid() == 0 || ::geteuid() == uid);
}

namespace InfoText {

QString size(int64_t bytes)
{
    const QLocale locale;
    return QStringLiteral("%1（%2 バイト）")
        .arg(locale.formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat),
             locale.toString(qlonglong(bytes)));
}

QString date(const std::optional<QDateTime>& time)
{
    if (!time || !time->isValid())
        return QStringLiteral("—");
    return QLocale().toString(time->toLocalTime(), QLocale::LongFormat);
}

} // namespace InfoText

int64_t diskUsage(const fs::path& path)
{
    std::set<std::pair<dev_t, ino_t>> seen;
    int64_t total = 0;
    std::vector<fs::path> pending{path};
    while (!pending.empty()) {
        const fs::path item = std::move(pending.back());
        pending.pop_back();
        struct stat st {};
        if (::lstat(item.c_str(), &st) != 0 || !seen.insert({st.st_dev, st.st_ino}).second)
            continue;
        total += int64_t(st.st_blocks) * 512;
        if (!S_ISDIR(st.st_mode))
            continue;
        std::error_code ec;
        for (fs::directory_iterator it(item, ec), end; !ec && it != end; it.increment(ec))
            pending.push_back(it->path());
    }
    return total;
}
