#include "core/AppDefaults.h"

#include "core/SettingsFormat.h"

#include <QCoreApplication>
#include <QEvent>
#include <QSet>
#include <QStandardPaths>
#include <QThreadPool>
#include <mutex>

namespace {

// One thread, so the saves reach the file in the order they were asked for.
QThreadPool& writer()
{
    static QThreadPool* pool = [] {
        auto* made = new QThreadPool;
        made->setMaxThreadCount(1);
        // The last changes reach the file before the program ends.
        if (auto* app = QCoreApplication::instance())
            QObject::connect(app, &QCoreApplication::aboutToQuit, [made] { made->waitForDone(); });
        return made;
    }();
    return *pool;
}

// QSettings writes its changes on the next turn of its thread's event loop; here
// that write goes to the background writer instead of the main thread.
class StoredSettings : public QSettings {
public:
    using QSettings::QSettings;

protected:
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::UpdateRequest)
            return QSettings::event(event);
        AppDefaults::save(*this);
        return true;
    }
};

std::unique_ptr<QSettings> g_store;
std::unique_ptr<QSettings> g_standard;

// Whatever is still unsaved is written while the application object goes, not
// later among the static destructors, when its folders may be gone.
void saveBeforeExit()
{
    AppDefaults::flush();
    for (QSettings* settings : {g_store.get(), g_standard.get()}) {
        if (settings)
            settings->sync();
    }
}

} // namespace

std::unique_ptr<QSettings> AppDefaults::open(const QString& name)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                           QStringLiteral("/Quillo/");
    static const bool registered = (qAddPostRoutine(saveBeforeExit), true);
    Q_UNUSED(registered);
    return std::make_unique<StoredSettings>(folder + name + QStringLiteral(".conf"),
                                            SettingsFormat::format());
}

void AppDefaults::save(QSettings& settings)
{
    // A save still waiting for its turn will write this change too: a burst of
    // changes costs one write.
    static std::mutex mutex;
    static QSet<QString> waiting;
    const QString file = settings.fileName();
    {
        std::lock_guard lock(mutex);
        if (waiting.contains(file))
            return;
        waiting.insert(file);
    }
    writer().start([file] {
        {
            std::lock_guard lock(mutex);
            waiting.remove(file);
        }
        // Another object on the same file writes what the caller's object changed.
        QSettings(file, SettingsFormat::format()).sync();
    });
}

void AppDefaults::flush()
{
    writer().waitForDone();
}

QSettings& AppDefaults::standard()
{
    if (!g_standard)
        g_standard = open(QStringLiteral("Quillo"));
    return *g_standard;
}

QSettings& AppDefaults::store()
{
    if (g_store)
        return *g_store;
    const QString suite = qEnvironmentVariable("QUILLO_DEFAULTS_SUITE");
    // A suite name that cannot be a file name falls back to the standard store.
    if (!suite.isEmpty() && !suite.contains(QLatin1Char('/')) && suite != QStringLiteral(".") &&
        suite != QStringLiteral("..")) {
        auto suiteStore = open(suite);
        if (suiteStore->status() == QSettings::NoError) {
            g_store = std::move(suiteStore);
            return *g_store;
        }
    }
    g_store = open(QStringLiteral("Quillo"));
    return *g_store;
}

void AppDefaults::resetForTesting()
{
    flush();
    g_store.reset();
    g_standard.reset();
}
