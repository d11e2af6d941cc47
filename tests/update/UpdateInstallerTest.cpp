#include "update/UpdateInstaller.h"

#include "core/ShellQuote.h"
#include "support/LoopbackHttpServer.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"
#include "update/BundleLocation.h"

#include <QProcess>
#include <QTest>
#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
using Kind = UpdateInstaller::Failure::Kind;

namespace {

struct Entry {
    std::string name;
    std::string contents;
    mode_t type = AE_IFREG;
    int mode = 0644;
};

QByteArray tarGz(const std::vector<Entry>& entries)
{
    archive* writer = archive_write_new();
    archive_write_add_filter_gzip(writer);
    archive_write_set_format_pax_restricted(writer);
    std::vector<char> buffer(1 << 20);
    size_t used = 0;
    archive_write_open_memory(writer, buffer.data(), buffer.size(), &used);
    for (const Entry& item : entries) {
        archive_entry* entry = archive_entry_new();
        archive_entry_set_pathname(entry, item.name.c_str());
        archive_entry_set_filetype(entry, item.type);
        archive_entry_set_perm(entry, item.mode);
        archive_entry_set_size(entry, la_int64_t(item.contents.size()));
        archive_write_header(writer, entry);
        archive_write_data(writer, item.contents.data(), item.contents.size());
        archive_entry_free(entry);
    }
    archive_write_close(writer);
    archive_write_free(writer);
    return QByteArray(buffer.data(), qsizetype(used));
}

// bin/quillo of a fake bundle: records `marker` and its QUILLO_ variables in `record`.
std::string program(const std::string& marker, const fs::path& record)
{
    return "#!/bin/sh\n{ printf '%s\\0' " + ShellQuote::quote(marker) +
           "; env -0 | grep -z '^QUILLO_' | sort -z; } > " + ShellQuote::quote(record.native()) +
           "\n";
}

std::vector<Entry> bundleEntries(const std::string& version, const fs::path& record)
{
    return {{"Quillo/", {}, AE_IFDIR, 0755},
            {"Quillo/bin/", {}, AE_IFDIR, 0755},
            {"Quillo/bin/quillo", program("new", record), AE_IFREG, 0755},
            {"Quillo/VERSION", version + "\n"}};
}

std::vector<std::string> names(const fs::path& folder)
{
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder))
        found.push_back(entry.path().filename().native());
    std::ranges::sort(found);
    return found;
}

// Every character a shell could misread, in the folder that holds the bundle.
const std::string kHostileFolder = "apps 'q' \"d\"\n$(touch x) `y` back\\slash";

struct Outcome {
    std::optional<UpdateInstaller::Failure> failure;
    bool ready = false;
    bool cancelled = false;
    bool downloaded = false;
    double fraction = 0;
};

class UpdateInstallerTest : public ::testing::Test {
protected:
    UpdateInstallerTest()
        : m_oldTemp(qgetenv("TMPDIR"))
    {
        qputenv("TMPDIR", QByteArray::fromStdString(temp.native()));
        installed = dir.folder(kHostileFolder + "/Quillo");
        dir.file(kHostileFolder + "/Quillo/VERSION", "1.0.0\n");
        fs::permissions(dir.file(kHostileFolder + "/Quillo/bin/quillo", program("old", record)),
                        fs::perms::owner_all);
        release.version = QStringLiteral("2.0.0");
        release.download = server.url("/Quillo-2.0.0.tar.gz");
    }
    ~UpdateInstallerTest() override
    {
        if (m_oldTemp.isNull())
            qunsetenv("TMPDIR");
        else
            qputenv("TMPDIR", m_oldTemp);
    }

    // Serves `archive` with a signature by `key` (none: no .sig); `tamper` changes a
    // byte after signing.
    void serve(const QByteArray& archive, const std::optional<UpdateSignature::SecretKey>& key,
               bool tamper = false)
    {
        const fs::path file = dir.file("signed.tar.gz", archive.toStdString());
        QByteArray served = archive;
        if (tamper)
            served[served.size() / 2] = char(served[served.size() / 2] ^ 1);
        server.route("/Quillo-2.0.0.tar.gz", 200, served);
        if (!key)
            server.route("/Quillo-2.0.0.tar.gz.sig", 404, {});
        if (key) {
            const auto signature = UpdateSignature::sign(file, *key);
            ASSERT_TRUE(signature);
            server.route("/Quillo-2.0.0.tar.gz.sig", 200,
                         QByteArray(reinterpret_cast<const char*>(signature->data()),
                                    qsizetype(signature->size())));
        }
    }

    // `onProgress` runs at each progress report.
    Outcome run(UpdateInstaller& installer, const std::function<void()>& onProgress = {})
    {
        Outcome outcome;
        bool ended = false;
        QObject context;
        QObject::connect(&installer, &UpdateInstaller::progressChanged, &context,
                         [&](double fraction) {
                             outcome.fraction = fraction;
                             if (onProgress)
                                 onProgress();
                         });
        QObject::connect(&installer, &UpdateInstaller::downloaded, &context,
                         [&] { outcome.downloaded = true; });
        QObject::connect(&installer, &UpdateInstaller::failed, &context,
                         [&](const UpdateInstaller::Failure& failure) {
                             outcome.failure = failure;
                             ended = true;
                         });
        QObject::connect(&installer, &UpdateInstaller::readyToQuit, &context, [&] {
            outcome.ready = true;
            ended = true;
        });
        QObject::connect(&installer, &UpdateInstaller::cancelled, &context, [&] {
            outcome.cancelled = true;
            ended = true;
        });
        installer.start(release);
        EXPECT_TRUE(QTest::qWaitFor([&] { return ended; }, 30'000));
        EXPECT_FALSE(installer.isRunning());
        return outcome;
    }

    // Only the installed bundle, untouched, and no working folder.
    void expectNothingChanged(const std::string& label)
    {
        EXPECT_EQ(BundleLocation::version(installed).value_or(""), "1.0.0") << label;
        EXPECT_EQ(names(installed.parent_path()), std::vector<std::string>{"Quillo"}) << label;
        EXPECT_TRUE(fs::is_empty(temp)) << label;
    }

    TempDir dir;
    fs::path temp = dir.folder("tmp");
    fs::path record = dir / "record";
    fs::path installed;
    LoopbackHttpServer server;
    ReleaseInfo release;
    std::pair<UpdateSignature::PublicKey, UpdateSignature::SecretKey> keys =
        UpdateSignature::generateKeyPair();

private:
    QByteArray m_oldTemp;
};

} // namespace

TEST_F(UpdateInstallerTest, AVerifiedReleaseIsStagedAndSwappedInOnceQuilloQuits)
{
    serve(tarGz(bundleEntries("2.0.0", record)), keys.second);
    UpdateInstaller installer(keys.first, installed);
    EXPECT_TRUE(installer.canInstall());
    QProcess quillo; // stands in for this Quillo, which quits after readyToQuit
    quillo.start(QStringLiteral("sleep"), {QStringLiteral("60")});
    ASSERT_TRUE(quillo.waitForStarted());
    installer.setQuittingProcess(int(quillo.processId()));
    qputenv("QUILLO_DEFAULTS_SUITE", "suite 'x'");
    qputenv("QUILLO_UPDATE_URL", "http://127.0.0.1:1/version.json");
    qputenv("QUILLO_DEBUG_STEPS", "1");

    const Outcome outcome = run(installer);
    ASSERT_TRUE(outcome.ready)
        << (outcome.failure ? outcome.failure->description() : QString()).toStdString();
    EXPECT_TRUE(outcome.downloaded);
    EXPECT_EQ(outcome.fraction, 1.0);
    // Staged beside the installed bundle, which is untouched while Quillo runs; the
    // script waits in the working folder.
    const auto siblings = names(installed.parent_path());
    ASSERT_EQ(siblings.size(), 2u);
    EXPECT_TRUE(siblings[0].starts_with(".quillo-update-")) << siblings[0];
    EXPECT_EQ(BundleLocation::version(installed.parent_path() / siblings[0]).value_or(""), "2.0.0");
    EXPECT_EQ(BundleLocation::version(installed).value_or(""), "1.0.0");
    const auto working = names(temp);
    ASSERT_EQ(working.size(), 1u);
    EXPECT_TRUE(working[0].starts_with("quillo-update-"));
    const auto workFiles = names(temp / working[0]);
    EXPECT_TRUE(std::ranges::any_of(
        workFiles, [](const std::string& name) { return name.starts_with("quillo-relaunch-"); }));

    quillo.kill();
    quillo.waitForFinished();
    ASSERT_TRUE(QTest::qWaitFor([&] { return fs::exists(record) && fs::is_empty(temp); }, 20'000));
    QTest::qWait(50); // the relaunched program may still be writing
    const std::string seen = readFile(record);
    EXPECT_EQ(seen.substr(0, 4), std::string("new\0", 4));
    EXPECT_NE(seen.find("QUILLO_DEFAULTS_SUITE=suite 'x'"), std::string::npos) << seen;
    EXPECT_NE(seen.find("QUILLO_UPDATE_URL=http://127.0.0.1:1/version.json"), std::string::npos);
    EXPECT_EQ(seen.find("QUILLO_DEBUG_STEPS"), std::string::npos) << seen;
    EXPECT_EQ(BundleLocation::version(installed).value_or(""), "2.0.0");
    EXPECT_EQ(names(installed.parent_path()), std::vector<std::string>{"Quillo"});
    for (const char* name : {"QUILLO_DEFAULTS_SUITE", "QUILLO_UPDATE_URL", "QUILLO_DEBUG_STEPS"})
        qunsetenv(name);
}

TEST_F(UpdateInstallerTest, EveryDoubtfulReleaseIsRefusedAndLeavesNothing)
{
    const auto other = UpdateSignature::generateKeyPair();
    const QByteArray good = tarGz(bundleEntries("2.0.0", record));
    std::vector<Entry> escaping = bundleEntries("2.0.0", record);
    escaping.push_back({"../escaped", "x"});
    struct Case {
        const char* name;
        QByteArray archive;
        std::optional<UpdateSignature::SecretKey> key;
        bool tamper;
        const char* description;
    };
    const Case cases[] = {
        {"tampered", good, keys.second, true,
         "ダウンロードした Quillo の署名を確かめられませんでした（署名が一致しません）"},
        {"another key", good, other.second, false,
         "ダウンロードした Quillo の署名を確かめられませんでした（署名が一致しません）"},
        {"no signature", good, std::nullopt, false,
         "ダウンロードした Quillo の署名を確かめられませんでした（署名ファイルがありません（サーバ"
         "ーが 404 を返しました））"},
        {"another version", tarGz(bundleEntries("2.0.1", record)), keys.second, false,
         "ダウンロードしたものが、知らされた版と違います（版が 2.0.1 で、知らされた 2.0.0 "
         "と違います）"},
        {"escaping entry", tarGz(escaping), keys.second, false,
         "ダウンロードしたアーカイブを開けませんでした"},
        {"not an archive", QByteArray(5000, 'x'), keys.second, false,
         "ダウンロードしたアーカイブを開けませんでした"},
        {"no bundle", tarGz({{"Other/VERSION", "2.0.0"}}), keys.second, false,
         "ダウンロードしたアーカイブに Quillo が入っていませんでした"},
    };
    for (const Case& c : cases) {
        serve(c.archive, c.key, c.tamper);
        UpdateInstaller installer(keys.first, installed);
        const Outcome outcome = run(installer);
        ASSERT_TRUE(outcome.failure) << c.name;
        EXPECT_EQ(outcome.failure->description().toStdString(), c.description) << c.name;
        expectNothingChanged(c.name);
    }
    server.route("/Quillo-2.0.0.tar.gz", 404, "gone");
    UpdateInstaller installer(keys.first, installed);
    const Outcome outcome = run(installer);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->description(),
              QStringLiteral("ダウンロードできませんでした（サーバーが 404 を返しました）"));
    expectNothingChanged("archive missing");
}

TEST_F(UpdateInstallerTest, BuildsThatCannotReplaceThemselvesNeverDownload)
{
    struct Case {
        const char* name;
        std::optional<UpdateSignature::PublicKey> key;
        std::optional<fs::path> bundle;
        const char* description;
    };
    const Case cases[] = {
        {"no key", std::nullopt, installed,
         "このビルドは配布用の署名がないため、自動では更新できません"},
        {"not a bundle", keys.first, std::nullopt,
         "Quillo "
         "のある場所に書き込めません（「アプリケーション」以外から開いているかもしれません）"},
    };
    for (const Case& c : cases) {
        UpdateInstaller installer(c.key, c.bundle);
        EXPECT_FALSE(installer.canInstall()) << c.name;
        const Outcome outcome = run(installer);
        ASSERT_TRUE(outcome.failure) << c.name;
        EXPECT_EQ(outcome.failure->description().toStdString(), c.description) << c.name;
    }
    EXPECT_EQ(server.requests(), 0);
    expectNothingChanged("refused early");
}

TEST_F(UpdateInstallerTest, AReadOnlyFolderIsNotWritable)
{
    // Root writes through permission bits; a read-only mount stops it too.
    std::optional<Mount> mount, readOnly;
    const fs::path folder = dir / "readonly";
    if (::geteuid() == 0) {
        if (const std::string reason = privateMountsUnavailable(); !reason.empty())
            GTEST_SKIP() << "running as root and " << reason;
        mount.emplace("tmpfs", folder, "tmpfs", 0);
        fs::create_directories(folder / "Quillo/bin");
        dir.file("readonly/Quillo/VERSION", "1.0.0\n");
        readOnly.emplace("none", folder, nullptr, MS_REMOUNT | MS_RDONLY);
        ASSERT_TRUE(mount->ok && readOnly->ok);
    } else {
        dir.file("readonly/Quillo/VERSION", "1.0.0\n");
        fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    }
    UpdateInstaller installer(keys.first, folder / "Quillo");
    EXPECT_FALSE(installer.canInstall());
    const Outcome outcome = run(installer);
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->kind, Kind::notWritable);
    EXPECT_EQ(server.requests(), 0);
}

TEST_F(UpdateInstallerTest, CancelStopsTheDownloadAndLeavesNothing)
{
    LoopbackHttpServer::Route stalling;
    stalling.body = QByteArray(1 << 20, 'x');
    stalling.stallAfter = 100'000;
    server.route("/Quillo-2.0.0.tar.gz", stalling);
    UpdateInstaller installer(keys.first, installed);
    const Outcome outcome = run(installer, [&] { installer.cancel(); });
    EXPECT_TRUE(outcome.cancelled);
    EXPECT_FALSE(outcome.failure);
    EXPECT_GT(outcome.fraction, 0.0);
    expectNothingChanged("cancelled");
}

TEST(UpdateSignatureTest, KeysAndSignaturesHaveExactlyTheirLength)
{
    const std::string hex(64, 'a');
    EXPECT_TRUE(UpdateSignature::parsePublicKey(hex));
    for (const std::string& bad : {std::string(), std::string(63, 'a'), std::string(65, 'a'),
                                   std::string(62, 'a') + "zz", std::string(62, 'a') + " a"})
        EXPECT_FALSE(UpdateSignature::parsePublicKey(bad)) << bad;
    const auto pair = UpdateSignature::generateKeyPair();
    EXPECT_EQ(UpdateSignature::parsePublicKey(UpdateSignature::toHex(pair.first)), pair.first);
    EXPECT_TRUE(UpdateSignature::parseSignature(std::string(64, '\0')));
    EXPECT_FALSE(UpdateSignature::parseSignature(std::string(63, '\0')));
    EXPECT_FALSE(UpdateSignature::parseSignature(std::string(88, 'A'))); // base64 is not taken
}

TEST(BundleLocationTest, OnlyAProgramInABundleWithAVersionIsOne)
{
    TempDir dir;
    dir.file("Quillo/VERSION", " 2.0.0\n");
    dir.file("Plain/bin/quillo");
    EXPECT_EQ(BundleLocation::bundleOf(dir / "Quillo/bin/quillo"), dir / "Quillo");
    EXPECT_EQ(BundleLocation::version(dir / "Quillo").value_or(""), "2.0.0");
    EXPECT_FALSE(BundleLocation::bundleOf(dir / "Plain/bin/quillo")); // make install
    EXPECT_FALSE(BundleLocation::bundleOf(dir / "Quillo/quillo"));
    EXPECT_FALSE(BundleLocation::bundleOf("/bin/quillo"));
    EXPECT_EQ(BundleLocation::previousOf(dir / "Quillo"), dir / "Quillo.previous");
}
