#pragma once

#include "tags/SidebarItem.h"
#include "tags/SidebarSection.h"

#include <QList>
#include <QSet>
#include <QSettings>
#include <QStringList>

// The sidebar's keys in the settings store. Reading never fails: a missing, corrupt
// or wrongly typed value reads as absent, and a bad entry inside a list is skipped.
class SidebarPersistence {
public:
    explicit SidebarPersistence(QSettings& settings)
        : m_settings(settings)
    {
    }

    // The stored order as texts; nullopt when there is none.
    std::optional<QStringList> sectionIDs() const;
    QSet<QString> hiddenSections() const;
    QList<SidebarItem> favorites() const;
    // Every section once, each subsection under a parent that exists (out of a loop
    // of parents the first one becomes top level), each parent listing every
    // subsection of its own exactly once among its items.
    QList<CustomSidebarSection> customSections() const;
    bool defaultSectionCreated() const;

    void saveSections(const QList<SidebarSection>& sections);
    void saveHidden(const QSet<QString>& hidden);
    void saveFavorites(const QList<SidebarItem>& favorites);
    void saveCustomSections(const QList<CustomSidebarSection>& sections);
    void setDefaultSectionCreated();

private:
    void write(const QString& key, const QVariant& value);

    QSettings& m_settings;
};
