#include "browser/pane/PaneStatusBar.h"

#include "files/PaneState.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>

PaneStatusBar::PaneStatusBar(PaneState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 2, 8, 2);
    m_counts = new QLabel(this);
    m_git = new QLabel(this);
    m_git->setToolTip(QStringLiteral("Git のブランチと、コミットしていない変更の数"));
    m_free = new QLabel(this);
    m_free->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout->addWidget(m_counts, 1);
    layout->addWidget(m_git);
    layout->addSpacing(12);
    layout->addWidget(m_free);
    for (auto signal : {&PaneState::itemCountChanged, &PaneState::selectedCountChanged,
                        &PaneState::availableCapacityChanged, &PaneState::isLoadingChanged,
                        &PaneState::visibleCountChanged, &PaneState::isFilteringChanged,
                        &PaneState::gitBranchChanged, &PaneState::gitChangeCountChanged})
        connect(&state, signal, this, &PaneStatusBar::update);
    update();
}

void PaneStatusBar::update()
{
    const QLocale locale;
    QString counts;
    if (m_state.isFiltering() && !m_state.filterText().isEmpty())
        counts = locale.toString(m_state.visibleCount()) + QStringLiteral(" / ") +
                 locale.toString(m_state.itemCount()) + QStringLiteral(" 項目");
    else
        counts = locale.toString(m_state.itemCount()) + QStringLiteral(" 項目");
    if (m_state.selectedCount() > 0)
        counts += QStringLiteral("、") + locale.toString(m_state.selectedCount()) +
                  QStringLiteral(" 項目を選択");
    if (m_state.isLoading())
        counts += QStringLiteral("（読み込み中…）");
    m_counts->setText(counts);
    const auto& branch = m_state.gitBranch();
    m_git->setVisible(branch.has_value());
    if (branch) {
        const int changes = m_state.gitChangeCount();
        m_git->setText(
            QStringLiteral("⎇ ") + *branch +
            (changes > 0 ? QStringLiteral("  ±") + locale.toString(changes) : QString()));
    }
    const auto free = m_state.availableCapacity();
    m_free->setText(free ? QStringLiteral("空き ") +
                               locale.formattedDataSize(*free, 1, QLocale::DataSizeSIFormat)
                         : QString());
}

QString PaneStatusBar::text() const
{
    QString shown = m_counts->text();
    if (m_state.gitBranch())
        shown += QLatin1Char(' ') + m_git->text();
    return shown + QLatin1Char(' ') + m_free->text();
}
