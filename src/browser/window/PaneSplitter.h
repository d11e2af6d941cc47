#pragma once

#include <QSplitter>
#include <optional>
#include <vector>

// A split group of panes that speaks in fractions of its length. Fractions set
// before the splitter has a size are kept and applied at the first layout.
class PaneSplitter : public QSplitter {
    Q_OBJECT
public:
    explicit PaneSplitter(Qt::Orientation orientation, QWidget* parent = nullptr);

    // Each child's share of the length; the pending shares while not laid out.
    std::vector<double> fractions() const;
    void applyFractions(const std::vector<double>& fractions);
    void equalize();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    int length() const;
    void setSizesFrom(const std::vector<double>& fractions);

    std::optional<std::vector<double>> m_pending;
};
