#include "update/UpdateInstaller.h"

#include "core/WorkPools.h"
#include "operations/ArchiveExpandLimits.h"
#include "operations/ArchiveUnpacker.h"
#include "operations/StagingJournal.h"
#include "operations/TransferProgress.h"
#include "platform/ExtractionTree.h"
#include "platform/FileCopier.h"
#include "update/BundleLocation.h"
#include "update/RelaunchScript.h"
#include "update/SwapScript.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUuid>
#include <QtConcurrent>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

using Failure = UpdateInstaller::Failure;
using Kind = UpdateInstaller::Failure::Kind;

namespace {

// A release archive is tens of megabytes; a server that sends without end stops here.
constexpr qint64 kArchiveLimit = qint64(1) << 30;
constexpr qint64 kSignatureLimit = 4096;
// A transfer that stalls this long fails.
constexpr int kStallMilliseconds = 30'000;

// The staged bundle; an error of nullopt means the user cancelled.
using Prepared = std::expected<fs::path, std::optional<Failure>>;

struct Job {
    fs::path archive;
    fs::path work;
    fs::path installed;
    std::string version;
    UpdateSignature::Signature signature;
    UpdateSignature::PublicKey key;
    std::shared_ptr<TransferProgress> progress;
};

std::unexpected<std::optional<Failure>> refused(Kind kind, QString detail = {})
{
    return std::unexpected(std::optional<Failure>(Failure{kind, std::move(detail)}));
}

QString serverStatus(int status)
{
    return QStringLiteral("サーバーが ") + QString::number(status) +
           QStringLiteral(" を返しました");
}

// Why a finished transfer failed, or nullopt when it did not.
std::optional<QString> transferProblem(QNetworkReply* reply)
{
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid() && (status.toInt() < 200 || status.toInt() > 299))
        return serverStatus(status.toInt());
    if (reply->error() != QNetworkReply::NoError)
        return reply->errorString();
    return std::nullopt;
}

std::string newName(const char* prefix)
{
    return prefix + QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
}

bool isFolder(const fs::path& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isFile(const fs::path& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

class CancelObserver : public CopyObserver {
public:
    explicit CancelObserver(const TransferProgress& progress)
        : m_progress(progress)
    {
    }
    bool fileStarted(const fs::path&) override { return !m_progress.isCancelled(); }
    bool dataCopied(int64_t) override { return !m_progress.isCancelled(); }
    bool fileFinished() override { return !m_progress.isCancelled(); }

private:
    const TransferProgress& m_progress;
};

std::optional<Failure> checkSignature(const Job& job)
{
    const auto valid = UpdateSignature::verify(job.archive, job.signature, job.key);
    if (!valid)
        return Failure{Kind::untrusted, valid.error().description()};
    if (!*valid)
        return Failure{Kind::untrusted, QStringLiteral("署名が一致しません")};
    return std::nullopt;
}

// Unpacks into the working folder with the extractor's checks; gives the bundle inside.
Prepared unpack(const Job& job)
{
    auto tree = ExtractionTree::create(job.work / "unpacked");
    if (!tree)
        return refused(Kind::copy, tree.error().description());
    const ArchiveExpandLimits limits;
    const auto unpacked = ArchiveUnpacker(*tree, *job.progress, limits).unpack(job.archive);
    if (!unpacked && unpacked.error().cancelled)
        return std::unexpected(std::nullopt);
    if (!unpacked) {
        qWarning("Update archive refused: %s", qUtf8Printable(unpacked.error().detail));
        return refused(Kind::unreadable);
    }
    if (auto finished = tree->finish(); !finished)
        return refused(Kind::copy, finished.error().description());
    const fs::path bundle = tree->path() / "Quillo";
    if (!isFolder(bundle) || !isFile(bundle / "bin" / "quillo"))
        return refused(Kind::noBundle);
    return bundle;
}

std::optional<Failure> checkVersion(const fs::path& bundle, const std::string& announced)
{
    const auto found = BundleLocation::version(bundle);
    const QString expected = QString::fromStdString(announced);
    if (!found)
        return Failure{Kind::mismatch, QStringLiteral("版が 分かりません（VERSION を読めません）")};
    if (*found != announced)
        return Failure{Kind::mismatch, QStringLiteral("版が ") + QString::fromStdString(*found) +
                                           QStringLiteral(" で、知らされた ") + expected +
                                           QStringLiteral(" と違います")};
    return std::nullopt;
}

// The new bundle's data on disk before the swap renames it into place.
Result<void> syncFileSystemOf(const fs::path& folder)
{
    const FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0 || ::syncfs(fd.get()) != 0)
        return std::unexpected(Error::fromErrno(errno, folder));
    return {};
}

// Beside the installed bundle, so that the swap is two renames on one file system.
Prepared stage(const Job& job, const fs::path& bundle)
{
    const fs::path staged = job.installed.parent_path() / newName(".quillo-update-");
    // Recorded first: a kill before the swap script takes it over leaves it only
    // until the next start.
    const StagingJournal::Ticket ticket =
        StagingJournal::shared().begin({StagingJournal::Kind::folder, staged});
    auto made = FileCopier::renameNoReplace(bundle, staged);
    if (!made && made.error().code == EXDEV) {
        CancelObserver observer(*job.progress);
        made = FileCopier::copyTree(bundle, staged, observer);
    }
    if (made)
        made = syncFileSystemOf(staged);
    if (!made) {
        (void)FileCopier::removeCopy(staged);
        if (made.error().cancelled)
            return std::unexpected(std::nullopt);
        return refused(Kind::copy, made.error().description());
    }
    return staged;
}

// The signature is checked before anything reads the archive.
Prepared prepareBundle(const Job& job)
{
    if (auto untrusted = checkSignature(job))
        return std::unexpected(untrusted);
    auto bundle = unpack(job);
    if (!bundle)
        return bundle;
    if (auto mismatch = checkVersion(*bundle, job.version))
        return std::unexpected(mismatch);
    if (job.progress->isCancelled())
        return std::unexpected(std::nullopt);
    return stage(job, *bundle);
}

} // namespace

QString UpdateInstaller::Failure::description() const
{
    switch (kind) {
    case Kind::download:
        return QStringLiteral("ダウンロードできませんでした（") + detail + QStringLiteral("）");
    case Kind::untrusted:
        return QStringLiteral("ダウンロードした Quillo の署名を確かめられませんでした（") + detail +
               QStringLiteral("）");
    case Kind::mismatch:
        return QStringLiteral("ダウンロードしたものが、知らされた版と違います（") + detail +
               QStringLiteral("）");
    case Kind::copy:
        return QStringLiteral("新しい版を用意できませんでした（") + detail + QStringLiteral("）");
    case Kind::noSignature:
        return QStringLiteral("このビルドは配布用の署名がないため、自動では更新できません");
    case Kind::notWritable:
        return QStringLiteral("Quillo のある場所に書き込めません（「アプリケーション」以外から開い"
                              "ているかもしれません）");
    case Kind::unreadable:
        return QStringLiteral("ダウンロードしたアーカイブを開けませんでした");
    case Kind::noBundle:
        return QStringLiteral("ダウンロードしたアーカイブに Quillo が入っていませんでした");
    }
    return {};
}

UpdateInstaller::UpdateInstaller(QObject* parent)
    : UpdateInstaller(UpdateSignature::builtInKey(), BundleLocation::running(), parent)
{
}

UpdateInstaller::UpdateInstaller(std::optional<UpdateSignature::PublicKey> key,
                                 std::optional<fs::path> bundle, QObject* parent)
    : QObject(parent)
    , m_key(key)
    , m_bundle(std::move(bundle))
    , m_pid(int(::getpid()))
    , m_network(new QNetworkAccessManager(this))
{
}

UpdateInstaller::~UpdateInstaller()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        // Only the partial download is there yet.
        (void)FileCopier::removeCopy(m_work);
    }
}

bool UpdateInstaller::canInstall() const
{
    return m_key && m_bundle && BundleLocation::isReplaceable(*m_bundle);
}

void UpdateInstaller::start(const ReleaseInfo& release)
{
    if (m_running)
        return;
    m_running = true;
    m_cancelled = false;
    m_release = release;
    if (!m_key)
        return finish(Failure{Kind::noSignature, {}});
    if (!m_bundle || !BundleLocation::isReplaceable(*m_bundle))
        return finish(Failure{Kind::notWritable, {}});
    std::error_code error;
    const fs::path work = fs::temp_directory_path(error) / newName("quillo-update-");
    if (::mkdir(work.c_str(), 0700) != 0)
        return finish(Failure{Kind::copy, Error::fromErrno(errno, work).description()});
    m_work = work;
    auto file = FileCopier::createExclusive(m_work / "Quillo.tar.gz");
    if (!file)
        return finish(Failure{Kind::copy, file.error().description()});
    m_archive = std::move(*file);
    m_received = 0;
    m_receiveProblem.reset();
    m_reply = get(release.download);
    connect(m_reply, &QNetworkReply::readyRead, this, &UpdateInstaller::onArchiveData);
    connect(m_reply, &QNetworkReply::finished, this, &UpdateInstaller::onArchiveFinished);
}

void UpdateInstaller::cancel()
{
    if (!m_running || m_cancelled)
        return;
    m_cancelled = true;
    if (m_progress)
        m_progress->cancel();
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
        m_reply = nullptr;
        finish(std::nullopt);
    }
    // Otherwise the checks stop at their next step and finish then.
}

QNetworkReply* UpdateInstaller::get(const QUrl& url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(kStallMilliseconds);
    return m_network->get(request);
}

// Written as it arrives, so the archive never sits in memory whole; the pieces are
// network-sized and land in the page cache.
void UpdateInstaller::onArchiveData()
{
    const QByteArray data = m_reply->readAll();
    m_received += data.size();
    if (m_received > kArchiveLimit) {
        m_receiveProblem = QStringLiteral("ファイルが大きすぎます");
        m_reply->abort();
        return;
    }
    if (const int code = writeAll(m_archive.get(), {data.constData(), size_t(data.size())})) {
        m_receiveProblem = Error::fromErrno(code, m_work).description();
        m_reply->abort();
        return;
    }
    // Counted here rather than from downloadProgress, which Qt holds back for a while.
    const qint64 total = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    if (total > 0)
        Q_EMIT progressChanged(std::min(1.0, double(m_received) / double(total)));
}

void UpdateInstaller::onArchiveFinished()
{
    QNetworkReply* reply = std::exchange(m_reply, nullptr);
    reply->deleteLater();
    if (!m_receiveProblem)
        m_receiveProblem = transferProblem(reply);
    if (!m_receiveProblem && m_archive.close() != 0)
        m_receiveProblem = Error::fromErrno(errno, m_work).description();
    if (m_receiveProblem)
        return finish(Failure{Kind::download, *m_receiveProblem});
    Q_EMIT progressChanged(1.0);
    m_reply = get(QUrl::fromEncoded(m_release.download.toEncoded() + ".sig"));
    connect(m_reply, &QNetworkReply::downloadProgress, this, [this](qint64 done, qint64) {
        if (done > kSignatureLimit && m_reply) {
            m_receiveProblem = QStringLiteral("署名ファイルの形式が違います"); // none is that long
            m_reply->abort();
        }
    });
    connect(m_reply, &QNetworkReply::finished, this, &UpdateInstaller::onSignatureFinished);
}

void UpdateInstaller::onSignatureFinished()
{
    QNetworkReply* reply = std::exchange(m_reply, nullptr);
    reply->deleteLater();
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (m_receiveProblem)
        return finish(Failure{Kind::untrusted, *m_receiveProblem});
    if (status.isValid() && (status.toInt() < 200 || status.toInt() > 299))
        return finish(Failure{Kind::untrusted, QStringLiteral("署名ファイルがありません（") +
                                                   serverStatus(status.toInt()) +
                                                   QStringLiteral("）")});
    if (reply->error() != QNetworkReply::NoError)
        return finish(Failure{Kind::download, reply->errorString()});
    const QByteArray bytes = reply->readAll();
    const auto signature =
        UpdateSignature::parseSignature({bytes.constData(), size_t(bytes.size())});
    if (!signature)
        return finish(Failure{Kind::untrusted, QStringLiteral("署名ファイルの形式が違います")});
    Q_EMIT downloaded();
    prepare(*signature);
}

void UpdateInstaller::prepare(const UpdateSignature::Signature& signature)
{
    m_progress = std::make_shared<TransferProgress>();
    const Job job{m_work / "Quillo.tar.gz",
                  m_work,
                  *m_bundle,
                  m_release.version.toStdString(),
                  signature,
                  *m_key,
                  m_progress};
    QtConcurrent::run(&WorkPools::archives(), [job] {
        return prepareBundle(job);
    }).then(this, [this](Prepared prepared) {
        if (prepared)
            m_staged = *prepared;
        if (m_cancelled || (!prepared && !prepared.error()))
            return finish(std::nullopt);
        if (!prepared)
            return finish(*prepared.error());
        const SwapScript::Swap swap{*m_bundle, m_staged, m_work, m_pid};
        if (auto started = RelaunchScript::start(SwapScript::script(swap), m_work); !started)
            return finish(Failure{Kind::copy, started.error().description()});
        // The script owns the staged bundle and the working folder now.
        m_staged.clear();
        m_work.clear();
        m_progress.reset();
        m_running = false;
        Q_EMIT readyToQuit();
    });
}

// Removes what the update made, off the main thread, then reports the failure (or the
// cancel, for nullopt).
void UpdateInstaller::finish(std::optional<Failure> failure)
{
    std::vector<fs::path> leftovers;
    for (fs::path* path : {&m_work, &m_staged}) {
        if (!path->empty())
            leftovers.push_back(std::exchange(*path, {}));
    }
    m_archive = FileDescriptor();
    m_progress.reset();
    QtConcurrent::run(&WorkPools::archives(), [leftovers] {
        for (const fs::path& path : leftovers)
            (void)FileCopier::removeCopy(path);
    }).then(this, [this, failure] {
        m_running = false;
        if (failure)
            Q_EMIT failed(*failure);
        else
            Q_EMIT cancelled();
    });
}
