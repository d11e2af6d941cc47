#include "browser/info/InfoSummaryWindow.h"

#include "browser/info/ItemFacts.h"
#include "core/PathText.h"
#include "core/WorkPools.h"
#include "insight/FolderSizeService.h"

#include <QFormLayout>
#include <QLabel>
#include <QLocale>
#include <QMap>
#include <QtConcurrent/QtConcurrent>

namespace fs = std::filesystem;

InfoSummaryWindow::InfoSummaryWindow(std::vector<fs::path> items, QWidget* parent)
    : QWidget(parent, parent ? Qt::Tool : Qt::Window)
    , m_items(std::move(items))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("%1 項目の情報").arg(m_items.size()));
    auto* form = new QFormLayout(this);
    m_counts = new QLabel(this);
    m_size = new QLabel(QStringLiteral("—"), this);
    m_onDisk = new QLabel(QStringLiteral("—"), this);
    form->addRow(QStringLiteral("種類"), m_counts);
    form->addRow(QStringLiteral("サイズ"), m_size);
    form->addRow(QStringLiteral("ディスク上のサイズ"), m_onDisk);

    // One stat per item is cheap; what is inside folders is counted elsewhere.
    QMap<QString, int> byKind;
    std::vector<fs::path> folders;
    for (const fs::path& item : m_items) {
        const ItemFacts facts = ItemFacts::read(item);
        if (!facts.exists)
            continue;
        ++byKind[facts.kind];
        if (facts.isFolder())
            folders.push_back(item);
        else
            m_bytes += facts.size;
    }
    QStringList counts;
    for (auto it = byKind.cbegin(); it != byKind.cend(); ++it)
        counts << QStringLiteral("%1 %2 項目").arg(it.key(), QLocale().toString(it.value()));
    m_counts->setText(counts.join(QLatin1Char('\n')));

    m_waitingFolders = int(folders.size());
    FolderSizeService::shared().request(folders, this,
                                        [this](const fs::path&, TreeSize::Measure size) {
                                            m_bytes += size.bytes;
                                            --m_waitingFolders;
                                            showSizes();
                                        });
    QtConcurrent::run(&WorkPools::folderSizes(), [items = m_items] {
        int64_t total = 0;
        for (const fs::path& item : items)
            total += diskUsage(item);
        return total;
    }).then(this, [this](int64_t bytes) { m_onDisk->setText(InfoText::size(bytes)); });
    showSizes();
}

InfoSummaryWindow::~InfoSummaryWindow()
{
    FolderSizeService::shared().cancel(this);
}

void InfoSummaryWindow::showSizes()
{
    if (m_waitingFolders == 0)
        m_size->setText(InfoText::size(m_bytes));
}
