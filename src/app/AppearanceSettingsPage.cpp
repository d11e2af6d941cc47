#include "app/AppearanceSettingsPage.h"

#include "app/Theme.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

constexpr int kSwatchSize = 24;

// A round, clickable sample of one accent colour; a ring marks the chosen one.
class AccentSwatch : public QAbstractButton {
public:
    AccentSwatch(const Theme::Preset& preset, QWidget* parent)
        : QAbstractButton(parent)
        , m_hex(preset.hex)
        , m_color(Theme::parseHex(preset.hex).value_or(QColor(Qt::gray)))
    {
        setCheckable(true);
        setFocusPolicy(Qt::StrongFocus);
        setToolTip(preset.name);
        setAccessibleName(preset.name);
        setFixedSize(kSwatchSize + 6, kSwatchSize + 6);
    }

    const QString& hex() const { return m_hex; }
    QSize sizeHint() const override { return {kSwatchSize + 6, kSwatchSize + 6}; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF circle = QRectF(rect()).adjusted(4, 4, -4, -4);
        painter.setPen(QPen(m_color.darker(120), 1));
        painter.setBrush(m_color);
        painter.drawEllipse(circle);
        if (isChecked()) {
            // A white dot reads on every preset, as on the selection itself.
            painter.setPen(Qt::NoPen);
            painter.setBrush(Qt::white);
            painter.drawEllipse(circle.center(), 3.5, 3.5);
        }
        if (hasFocus()) {
            painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
            painter.setBrush(Qt::NoBrush);
            painter.drawEllipse(QRectF(rect()).adjusted(1, 1, -1, -1));
        }
    }

private:
    QString m_hex;
    QColor m_color;
};

} // namespace

AppearanceSettingsPage::AppearanceSettingsPage(QWidget* parent)
    : QWidget(parent)
{
    auto* form = new QFormLayout(this);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->addRow(QStringLiteral("外観:"), buildAppearanceChoice());
    form->addRow(QStringLiteral("アクセントカラー:"), buildAccentChoice());
    refresh();
    connect(&Theme::shared(), &Theme::themeChanged, this, &AppearanceSettingsPage::refresh);
}

QWidget* AppearanceSettingsPage::buildAppearanceChoice()
{
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    m_appearance = new QButtonGroup(this);
    const std::pair<Theme::Appearance, QString> choices[] = {
        {Theme::Appearance::system, QStringLiteral("システムに合わせる")},
        {Theme::Appearance::light, QStringLiteral("ライト")},
        {Theme::Appearance::dark, QStringLiteral("ダーク")},
    };
    for (const auto& [appearance, label] : choices) {
        auto* radio = new QRadioButton(label, box);
        radio->setObjectName(Theme::rawValue(appearance));
        m_appearance->addButton(radio, int(appearance));
        layout->addWidget(radio);
    }
    connect(m_appearance, &QButtonGroup::idClicked, this,
            [](int id) { Theme::shared().setAppearance(Theme::Appearance(id)); });
    return box;
}

QWidget* AppearanceSettingsPage::buildAccentChoice()
{
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    for (const Theme::Preset& preset : Theme::presets()) {
        auto* swatch = new AccentSwatch(preset, row);
        layout->addWidget(swatch);
        m_accents << swatch;
        connect(swatch, &QAbstractButton::clicked, this, [this, hex = preset.hex] {
            Theme::shared().setAccentHex(hex);
            refresh(); // a click on the chosen swatch changes nothing but its check
        });
    }
    layout->addSpacing(8);
    auto* system = new QPushButton(QStringLiteral("システム"), row);
    system->setCheckable(true);
    system->setToolTip(QStringLiteral("デスクトップのアクセントカラーを使う"));
    m_accents << system;
    connect(system, &QAbstractButton::clicked, this, [this] {
        Theme::shared().setAccentHex(std::nullopt);
        refresh();
    });
    layout->addWidget(system);
    layout->addStretch(1);
    return row;
}

void AppearanceSettingsPage::refresh()
{
    const Theme& theme = Theme::shared();
    if (QAbstractButton* radio = m_appearance->button(int(theme.appearance())))
        radio->setChecked(true);
    const std::optional<QString> hex = theme.accentHex();
    const std::optional<QColor> chosen = hex ? Theme::parseHex(*hex) : std::nullopt;
    // A stored colour that is not one of the presets leaves no swatch checked.
    for (QAbstractButton* button : m_accents) {
        const auto* swatch = dynamic_cast<const AccentSwatch*>(button);
        button->setChecked(swatch ? chosen && Theme::parseHex(swatch->hex()) == chosen : !chosen);
    }
}
