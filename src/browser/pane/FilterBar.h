#pragma once

#include <QWidget>

class QLineEdit;

// The bar under the path bar that narrows the top level of the list as you type.
class FilterBar : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 28;

    explicit FilterBar(QWidget* parent = nullptr);

    void open();  // shows the bar and focuses the field
    void close(); // hides the bar and clears the field without signalling
    QString text() const;

Q_SIGNALS:
    void textEdited(const QString& text);
    void escapePressed();
    void returnPressed();
    void downPressed(); // moves into the list, keeping the filter

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLineEdit* m_edit = nullptr;
};
