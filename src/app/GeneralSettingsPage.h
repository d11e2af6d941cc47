#pragma once

#include <QWidget>
#include <functional>
#include <vector>

class QCheckBox;

// The "一般" tab: on/off settings, each written to Preferences as it is toggled.
class GeneralSettingsPage : public QWidget {
    Q_OBJECT
public:
    explicit GeneralSettingsPage(QWidget* parent = nullptr);

private:
    struct Binding {
        QCheckBox* box;
        std::function<bool()> read;
    };
    void addSetting(const QString& label, const QString& name, std::function<bool()> read,
                    std::function<void(bool)> write);
    void refresh();
    // Clearing and pruning the folder history that the palette ranks folders by.
    void addHistoryButtons();

    std::vector<Binding> m_bindings;
};
