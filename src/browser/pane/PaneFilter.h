#pragma once

#include <QObject>
#include <filesystem>
#include <vector>

class FilterBar;
class PaneView;

// A pane's filter: the bar, the filter text on the model and the state, and the
// selection to give back when the filter closes.
class PaneFilter : public QObject {
    Q_OBJECT
public:
    explicit PaneFilter(PaneView& pane);

    FilterBar* bar() const { return m_bar; }
    bool isOpen() const;
    void begin();
    void end(bool focusList);

private:
    void apply(const QString& text);

    PaneView& m_pane;
    FilterBar* m_bar = nullptr;
    std::vector<std::filesystem::path> m_selectionBefore;
};
