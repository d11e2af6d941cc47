#pragma once

#include "operations/BulkRename.h"

#include <QDialog>
#include <QSet>
#include <filesystem>
#include <utility>
#include <vector>

class BulkRenamePreviewModel;
class QButtonGroup;
class QCheckBox;
class QLabel;
class QLayout;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QStackedWidget;

// The sheet that renames the selected items by one rule. The preview follows every
// change of the rule; "名前を変更" hands over the rows whose name changes and only
// while no row has a problem.
class BulkRenameDialog : public QDialog {
    Q_OBJECT
public:
    using Pairs = std::vector<std::pair<std::filesystem::path, QString>>; // item, new name
                                                                          // (storable text)

    // `otherNames`: the lower-cased names (storable text) of the folder's other items.
    BulkRenameDialog(std::vector<BulkRenameItem> items, QSet<QString> otherNames,
                     QWidget* parent = nullptr);

    const BulkRenameOptions& options() const { return m_options; }
    const BulkRenamePreviewModel& previewModel() const { return *m_model; }

Q_SIGNALS:
    void applyRequested(const Pairs& pairs);

private:
    QWidget* makeModePicker();
    QWidget* makeReplacePage();
    QWidget* makeRegexPage();
    QWidget* makeSequencePage();
    QWidget* makeCasePage();
    QWidget* makePreview();
    QLayout* makeButtons();
    QLineEdit* textField(QString BulkRenameOptions::*field);
    QSpinBox* numberField(int BulkRenameOptions::*field, int minimum, int maximum);
    void setMode(BulkRenameOptions::Mode mode);
    // Left and Right on a mode button choose the mode beside it, as in a segmented control.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void refresh();
    void apply();

    std::vector<BulkRenameItem> m_items;
    QSet<QString> m_otherNames;
    BulkRenameOptions m_options;
    BulkRenamePreviewModel* m_model = nullptr;
    QButtonGroup* m_modes = nullptr;
    QStackedWidget* m_pages = nullptr;
    QCheckBox* m_caseSensitive = nullptr;
    QLabel* m_footer = nullptr;
    QPushButton* m_applyButton = nullptr;
    std::vector<QWidget*> m_firstFields;
    bool m_modeByKey = false; // per mode, focused when the mode is chosen
};
