#include "browser/preview/FileCard.h"

#include "browser/pane/IconCache.h"
#include "browser/preview/FileBytes.h"
#include "core/PathText.h"
#include "core/WorkPools.h"
#include "files/KindCache.h"
#include "platform/BirthTime.h"
#include "preview/Thumbnails.h"

#include <QFormLayout>
#include <QFuture>
#include <QImage>
#include <QLabel>
#include <QLocale>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>
#include <chrono>
#include <system_error>

namespace fs = std::filesystem;

struct CardFacts {
    QString kind;
    QString iconName;
    std::optional<qint64> bytes; // files only
    QDateTime modified;
    std::optional<QDateTime> created;
    QImage thumbnail;
};

namespace {

constexpr int iconSide = 128;
constexpr int thumbnailSide = 256;
constexpr qint64 maxThumbnailBytes = 16LL * 1024 * 1024;

QImage thumbnailOf(const fs::path& file)
{
    const auto found = Thumbnails::find(file);
    if (!found)
        return {};
    const auto bytes = FileBytes::read(*found, maxThumbnailBytes);
    if (!bytes)
        return {};
    QImage image = QImage::fromData(*bytes, "PNG");
    if (image.width() > thumbnailSide || image.height() > thumbnailSide)
        image = image.scaled(thumbnailSide, thumbnailSide, Qt::KeepAspectRatio,
                             Qt::SmoothTransformation);
    return image;
}

CardFacts readFacts(const fs::path& file)
{
    CardFacts facts;
    std::error_code error;
    const auto status = fs::status(file, error);
    const bool folder = fs::is_directory(status);
    // By name only, as the lists do: reading contents would cost a disk read per card.
    const KindInfo& kind =
        folder ? KindCache::forFolder() : KindCache::forFileName(file.filename().native());
    facts.kind = kind.kind;
    facts.iconName = folder ? QStringLiteral("folder") : kind.iconName;
    if (fs::is_regular_file(status)) {
        if (const auto size = fs::file_size(file, error); !error)
            facts.bytes = qint64(size);
    }
    if (const auto time = fs::last_write_time(file, error); !error) {
        const auto since = std::chrono::file_clock::to_sys(time).time_since_epoch();
        facts.modified = QDateTime::fromMSecsSinceEpoch(
            std::chrono::duration_cast<std::chrono::milliseconds>(since).count(), Qt::UTC);
    }
    facts.created = birthTime(file);
    if (!folder)
        facts.thumbnail = thumbnailOf(file);
    return facts;
}

QString dateText(const QDateTime& time)
{
    return QLocale().toString(time.toLocalTime(), QLocale::LongFormat);
}

QLabel* centredLabel(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

FileCard::FileCard(QWidget* parent)
    : QWidget(parent)
    , m_icon(new QLabel(this))
    , m_name(centredLabel(this))
    , m_kind(new QLabel(this))
    , m_size(new QLabel(this))
    , m_modified(new QLabel(this))
    , m_created(new QLabel(this))
    , m_message(centredLabel(this))
{
    m_icon->setAlignment(Qt::AlignCenter);
    QFont bold = m_name->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.2);
    m_name->setFont(bold);
    QPalette muted = m_message->palette();
    muted.setColor(QPalette::WindowText, muted.color(QPalette::PlaceholderText));
    m_message->setPalette(muted);

    auto* facts = m_facts = new QFormLayout;
    facts->setLabelAlignment(Qt::AlignRight);
    facts->addRow(QStringLiteral("種類"), m_kind);
    facts->addRow(QStringLiteral("サイズ"), m_size);
    facts->addRow(QStringLiteral("変更日"), m_modified);
    facts->addRow(QStringLiteral("作成日"), m_created);
    auto* factsRow = new QHBoxLayout;
    factsRow->addStretch();
    factsRow->addLayout(facts);
    factsRow->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 24, 24, 24);
    layout->setSpacing(12);
    layout->addStretch();
    layout->addWidget(m_icon);
    layout->addWidget(m_name);
    layout->addLayout(factsRow);
    layout->addWidget(m_message);
    layout->addStretch();
    clear();
}

FileCard::~FileCard() = default;

void FileCard::load(const fs::path& file, const QString& message)
{
    clear();
    const quint64 generation = m_generation;
    m_name->setText(PathText::displayName(file));
    m_message->setText(message);
    m_message->setVisible(!message.isEmpty());
    const fs::path absolute = PathText::standardized(fs::absolute(file));
    QtConcurrent::run(&WorkPools::previews(), readFacts, absolute)
        .then(this, [this, generation, file](const CardFacts& facts) {
            if (generation == m_generation)
                present(file, facts);
        });
}

void FileCard::clear()
{
    ++m_generation;
    for (QLabel* label : {m_name, m_kind, m_size, m_modified, m_created, m_message})
        label->clear();
    m_icon->clear();
    m_message->hide();
}

void FileCard::present(const fs::path& file, const CardFacts& facts)
{
    if (!facts.thumbnail.isNull()) {
        QImage thumbnail = facts.thumbnail;
        thumbnail.setDevicePixelRatio(devicePixelRatioF());
        m_icon->setPixmap(QPixmap::fromImage(thumbnail));
    } else {
        m_icon->setPixmap(IconCache::named(facts.iconName)
                              .pixmap(QSize(iconSide, iconSide), devicePixelRatioF()));
    }
    const QLocale locale;
    m_kind->setText(facts.kind);
    m_size->setText(
        facts.bytes ? QStringLiteral("%1（%2 バイト）")
                          .arg(locale.formattedDataSize(*facts.bytes, 1, QLocale::DataSizeSIFormat),
                               locale.toString(*facts.bytes))
                    : QString());
    m_modified->setText(facts.modified.isValid() ? dateText(facts.modified) : QString());
    m_created->setText(facts.created ? dateText(*facts.created) : QString());
    for (QLabel* value : {m_kind, m_size, m_modified, m_created})
        m_facts->setRowVisible(value, !value->text().isEmpty());
    Q_EMIT shown(file);
}
