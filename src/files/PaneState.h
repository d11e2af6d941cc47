#pragma once

#include "core/Location.h"
#include "files/NavigationHistory.h"
#include "files/PaneError.h"

#include <QObject>
#include <optional>

// The observable model of one pane. The bars and the window observe it; setters
// compare first and notify only on a real change. Main thread only.
class PaneState : public QObject {
    Q_OBJECT
    Q_PROPERTY(int itemCount READ itemCount WRITE setItemCount NOTIFY itemCountChanged)
    Q_PROPERTY(
        int selectedCount READ selectedCount WRITE setSelectedCount NOTIFY selectedCountChanged)
    Q_PROPERTY(bool isLoading READ isLoading WRITE setLoading NOTIFY isLoadingChanged)
    Q_PROPERTY(
        bool isEditingPath READ isEditingPath WRITE setEditingPath NOTIFY isEditingPathChanged)
    Q_PROPERTY(bool isActive READ isActive WRITE setActive NOTIFY isActiveChanged)
    Q_PROPERTY(bool isInSplit READ isInSplit WRITE setInSplit NOTIFY isInSplitChanged)
    Q_PROPERTY(
        int gitChangeCount READ gitChangeCount WRITE setGitChangeCount NOTIFY gitChangeCountChanged)
    Q_PROPERTY(bool isFiltering READ isFiltering WRITE setFiltering NOTIFY isFilteringChanged)
    Q_PROPERTY(QString filterText READ filterText WRITE setFilterText NOTIFY filterTextChanged)
    Q_PROPERTY(int visibleCount READ visibleCount WRITE setVisibleCount NOTIFY visibleCountChanged)

public:
    explicit PaneState(const Location& start, QObject* parent = nullptr);

    const NavigationHistory& history() const { return m_history; }
    void setHistory(const NavigationHistory& history);
    const Location& location() const { return m_history.current; } // the history's current

    int itemCount() const { return m_itemCount; }
    void setItemCount(int count);
    int selectedCount() const { return m_selectedCount; }
    void setSelectedCount(int count);
    std::optional<int64_t> availableCapacity() const { return m_availableCapacity; }
    void setAvailableCapacity(std::optional<int64_t> bytes);
    bool isLoading() const { return m_isLoading; }
    void setLoading(bool loading);
    bool isEditingPath() const { return m_isEditingPath; }
    void setEditingPath(bool editing);
    const std::optional<PaneError>& error() const { return m_error; }
    void setError(const std::optional<PaneError>& error);
    bool isActive() const { return m_isActive; }
    void setActive(bool active);
    bool isInSplit() const { return m_isInSplit; }
    void setInSplit(bool inSplit);
    const std::optional<QString>& gitBranch() const { return m_gitBranch; }
    void setGitBranch(const std::optional<QString>& branch);
    int gitChangeCount() const { return m_gitChangeCount; }
    void setGitChangeCount(int count);
    bool isFiltering() const { return m_isFiltering; }
    void setFiltering(bool filtering);
    const QString& filterText() const { return m_filterText; }
    void setFilterText(const QString& text);
    int visibleCount() const { return m_visibleCount; }
    void setVisibleCount(int count);

Q_SIGNALS:
    void historyChanged();
    void itemCountChanged();
    void selectedCountChanged();
    void availableCapacityChanged();
    void isLoadingChanged();
    void isEditingPathChanged();
    void errorChanged();
    void isActiveChanged();
    void isInSplitChanged();
    void gitBranchChanged();
    void gitChangeCountChanged();
    void isFilteringChanged();
    void filterTextChanged();
    void visibleCountChanged();

private:
    NavigationHistory m_history;
    int m_itemCount = 0;
    int m_selectedCount = 0;
    std::optional<int64_t> m_availableCapacity;
    bool m_isLoading = false;
    bool m_isEditingPath = false;
    std::optional<PaneError> m_error;
    bool m_isActive = true;
    bool m_isInSplit = false;
    std::optional<QString> m_gitBranch;
    int m_gitChangeCount = 0;
    bool m_isFiltering = false;
    QString m_filterText;
    int m_visibleCount = 0;
};
