#pragma once

#include "platform/FileDescriptor.h"
#include "update/ReleaseInfo.h"
#include "update/UpdateSignature.h"

#include <QObject>
#include <QString>
#include <filesystem>
#include <memory>
#include <optional>

class QNetworkAccessManager;
class QNetworkReply;
class TransferProgress;

// Replaces the bundle Quillo runs from with a release: downloads the archive and its
// signature into a fresh working folder, verifies the signature before anything reads
// the archive, unpacks it with the extractor's safety rules, checks its version, stages
// it beside the installed bundle and starts the script that swaps the two once Quillo
// has quit. Lives on the main thread; the checks and the unpacking run on the archive pool.
class UpdateInstaller : public QObject {
    Q_OBJECT
public:
    struct Failure {
        enum class Kind {
            download,
            untrusted,
            mismatch,
            copy,
            noSignature,
            notWritable,
            unreadable, // the archive cannot be unpacked
            noBundle,   // no Quillo/ bundle in the archive
        };
        Kind kind = Kind::download;
        QString detail; // for download, untrusted, mismatch and copy

        QString description() const;
    };

    // With the key built into this program and the bundle it runs from.
    explicit UpdateInstaller(QObject* parent = nullptr);
    // `key`: the only key a release may be signed with; none: this build cannot update
    // itself. `bundle`: the installed bundle to replace; none: not run from a bundle.
    UpdateInstaller(std::optional<UpdateSignature::PublicKey> key,
                    std::optional<std::filesystem::path> bundle, QObject* parent = nullptr);
    ~UpdateInstaller() override;

    // Whether start() can replace the bundle: a key is built in, Quillo runs from a
    // bundle, and the bundle and its folder are writable.
    bool canInstall() const;
    bool isRunning() const { return m_running; }

    // Runs the steps; ends in exactly one of readyToQuit, failed or cancelled.
    void start(const ReleaseInfo& release);
    // Stops the download or the checks; nothing is left behind.
    void cancel();

    // The process the swap waits for; this one unless a test names another.
    void setQuittingProcess(int pid) { m_pid = pid; }

Q_SIGNALS:
    void progressChanged(double fraction); // of the archive's download
    void downloaded();                     // checking and staging now
    // The swap starts once this process has quit: quit now (the session is saved).
    void readyToQuit();
    void failed(const UpdateInstaller::Failure& failure);
    void cancelled();

private:
    QNetworkReply* get(const QUrl& url);
    void onArchiveData();
    void onArchiveFinished();
    void onSignatureFinished();
    void prepare(const UpdateSignature::Signature& signature);
    void finish(std::optional<Failure> failure);

    std::optional<UpdateSignature::PublicKey> m_key;
    std::optional<std::filesystem::path> m_bundle;
    int m_pid;
    QNetworkAccessManager* m_network;
    QNetworkReply* m_reply = nullptr;
    ReleaseInfo m_release;
    std::filesystem::path m_work;
    std::filesystem::path m_staged;
    FileDescriptor m_archive;
    qint64 m_received = 0;
    std::optional<QString> m_receiveProblem; // set when a transfer was stopped on our side
    std::shared_ptr<TransferProgress> m_progress;
    bool m_running = false;
    bool m_cancelled = false;
};
