#pragma once

#include <QString>
#include <QWidget>

class QLabel;

// このアプリケーションで開く: the default application for a MIME type (looked up off
// the main thread, GIO reads desktop entries), and 変更… to pick another one, which
// becomes the user's default for the type (mimeapps.list).
class ApplicationRow : public QWidget {
    Q_OBJECT
public:
    explicit ApplicationRow(QWidget* parent = nullptr);

    void setMimeType(const QString& mimeType);
    QLabel* name() const { return m_name; }

Q_SIGNALS:
    void shown();

private:
    void lookUp();
    void choose();
    void makeDefault(const QString& desktopId);

    QString m_mimeType;
    QLabel* m_name = nullptr;
    quint64 m_generation = 0;
};
