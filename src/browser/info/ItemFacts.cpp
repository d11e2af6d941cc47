#include "browser/info/ItemFacts.h"

#include "core/PathText.h"
#include "files/KindCache.h"
#include "platform/BirthTime.h"
#include "platform/ItemStatus.h"
#include "platform/UserNames.h"

#include <QLocale>
#include <QMimeDatabase>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

QDateTime timeOf(const timespec& time)
{
    return QDateTime::fromMSecsSinceEpoch(time.tv_sec * 1000 + time.tv_nsec / 1'000'000, Qt::UTC);
}

QString userName(uid_t uid)
{
    const std::optional<std::string> name = UserNames::user(uid);
    return name ? QString::fromLocal8Bit(*name) : QString::number(uid);
}

QString groupName(gid_t gid)
{
    const std::optional<std::string> name = UserNames::group(gid);
    return name ? QString::fromLocal8Bit(*name) : QString::number(gid);
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
    const std::optional<struct stat> status = ItemStatus::of(path);
    if (!status)
        return facts;
    const struct stat& st = *status;
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
    return exists && !isLink() && UserNames::mayChangeModeOf(uid);
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
