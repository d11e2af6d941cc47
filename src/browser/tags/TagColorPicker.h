#pragma once

#include <QList>
#include <QString>
#include <QToolButton>

class QMenu;

// A small button showing a tag's colour as a dot; it opens a menu of named
// colours plus "その他の色…" (the colour dialog). It only reports the choice: the
// owner writes it to the tag store and sets the new colour back.
class TagColorPicker : public QToolButton {
    Q_OBJECT
public:
    struct Preset {
        QString name;
        QString hex;
    };
    static const QList<Preset>& presets();
    // A filled circle of the colour, for rows and buttons.
    // The named colours as checkable actions (the current one checked), then
    // "その他の色…". `chosen` gets "#RRGGBB".
    static void fillMenu(QMenu* menu, const QString& current, QWidget* dialogParent,
                         std::function<void(const QString&)> chosen);

    explicit TagColorPicker(QWidget* parent = nullptr);

    QString color() const { return m_color; }
    void setColor(const QString& color);

Q_SIGNALS:
    void colorChosen(const QString& color);

private:
    QString m_color;
};
