#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;
class UpdateInstaller;

// The small window an update runs under: "Quillo VERSION をダウンロードしています…"
// with a progress bar, then "入れ替えて、Quillo を開き直します…", and a cancel button.
// Not modal: the browser windows stay usable while it downloads.
class UpdateProgressPanel : public QWidget {
    Q_OBJECT
public:
    explicit UpdateProgressPanel(const QString& version, QWidget* parent = nullptr);

    // A shown panel that follows `installer` through the update it is running:
    // progress, cancel (the button, Escape or closing the window), and it closes and
    // deletes itself when the update ends.
    static UpdateProgressPanel* follow(UpdateInstaller& installer, const QString& version,
                                       QWidget* parent = nullptr);

    QString text() const;
    int permille() const; // the bar's value, 0..1000

    void setFraction(double fraction);
    // The download is done; checking and swapping follow.
    void showPreparing();
    // Closes without asking to cancel: the update ended.
    void finish();

Q_SIGNALS:
    void cancelRequested();

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QLabel* m_label;
    QProgressBar* m_bar;
    bool m_finished = false;
};
