#pragma once

#include <QList>
#include <QWidget>

class QAbstractButton;
class QButtonGroup;

// The "外観" tab: light, dark or the desktop's appearance, and the accent colour.
// Every choice is applied at once through Theme.
class AppearanceSettingsPage : public QWidget {
    Q_OBJECT
public:
    explicit AppearanceSettingsPage(QWidget* parent = nullptr);

private:
    QWidget* buildAppearanceChoice();
    QWidget* buildAccentChoice();
    void refresh();

    QButtonGroup* m_appearance = nullptr;
    // Not an exclusive group: Tab visits every swatch, not only the chosen one.
    QList<QAbstractButton*> m_accents;
};
