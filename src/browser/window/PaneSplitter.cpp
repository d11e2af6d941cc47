#include "browser/window/PaneSplitter.h"

#include <QResizeEvent>
#include <numeric>

PaneSplitter::PaneSplitter(Qt::Orientation orientation, QWidget* parent)
    : QSplitter(orientation, parent)
{
    setChildrenCollapsible(false);
    setHandleWidth(1);
}

int PaneSplitter::length() const
{
    return orientation() == Qt::Horizontal ? width() : height();
}

std::vector<double> PaneSplitter::fractions() const
{
    if (m_pending && (length() == 0 || !isVisible()))
        return *m_pending;
    const QList<int> sizes = this->sizes();
    const double total = std::accumulate(sizes.begin(), sizes.end(), 0.0);
    std::vector<double> out;
    for (int size : sizes)
        out.push_back(total > 0 ? size / total : 1.0 / double(sizes.size()));
    return out;
}

void PaneSplitter::applyFractions(const std::vector<double>& fractions)
{
    if (length() == 0 || !isVisible()) {
        m_pending = fractions;
        return;
    }
    setSizesFrom(fractions);
}

void PaneSplitter::equalize()
{
    if (count() == 0)
        return;
    applyFractions(std::vector<double>(size_t(count()), 1.0 / count()));
}

void PaneSplitter::setSizesFrom(const std::vector<double>& fractions)
{
    const int available = length() - handleWidth() * std::max(0, count() - 1);
    QList<int> sizes;
    for (int i = 0; i < count(); ++i) {
        const double share = size_t(i) < fractions.size() ? fractions[size_t(i)] : 0.0;
        sizes.push_back(std::max(1, int(share * available + 0.5)));
    }
    setSizes(sizes);
}

void PaneSplitter::resizeEvent(QResizeEvent* event)
{
    QSplitter::resizeEvent(event);
    if (m_pending && length() > 0) {
        const std::vector<double> pending = *m_pending;
        m_pending.reset();
        setSizesFrom(pending);
    }
}
