#include "browser/operations/BulkRenameDialog.h"

#include "browser/operations/BulkRenamePreviewModel.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTreeView>
#include <QVBoxLayout>
#include <limits>

using Mode = BulkRenameOptions::Mode;
using CaseStyle = BulkRenameOptions::CaseStyle;

namespace {

constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr int kIntMax = std::numeric_limits<int>::max();

// A page of fields in a form; no margins, so that switching modes does not shift it.
QFormLayout* formOn(QWidget* page)
{
    auto* form = new QFormLayout(page);
    form->setContentsMargins(0, 0, 0, 0);
    return form;
}

} // namespace

BulkRenameDialog::BulkRenameDialog(std::vector<BulkRenameItem> items, QSet<QString> otherNames,
                                   QWidget* parent)
    : QDialog(parent)
    , m_items(std::move(items))
    , m_otherNames(std::move(otherNames))
    , m_model(new BulkRenamePreviewModel(this))
{
    const QString heading = QString::number(m_items.size()) + QStringLiteral(" 項目の名前を変更");
    setWindowTitle(heading);
    // Widgets join the focus chain in the order they are added: top to bottom.
    auto* layout = new QVBoxLayout(this);
    auto* title = new QLabel(heading);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    layout->addWidget(title);
    layout->addWidget(makeModePicker());

    m_pages = new QStackedWidget;
    layout->addWidget(m_pages);
    m_pages->addWidget(makeReplacePage());
    m_pages->addWidget(makeRegexPage());
    m_pages->addWidget(makeSequencePage());
    m_pages->addWidget(makeCasePage());
    // One box for both modes that compare letters.
    m_caseSensitive = new QCheckBox(QStringLiteral("大文字と小文字を区別"));
    connect(m_caseSensitive, &QCheckBox::toggled, this, [this](bool on) {
        m_options.caseSensitive = on;
        refresh();
    });
    layout->addWidget(m_caseSensitive);
    auto* extension = new QCheckBox(QStringLiteral("拡張子も対象にする"));
    connect(extension, &QCheckBox::toggled, this, [this](bool on) {
        m_options.includeExtension = on;
        refresh();
    });
    layout->addWidget(extension);

    layout->addWidget(makePreview(), 1);
    m_footer = new QLabel;
    layout->addWidget(m_footer);
    layout->addLayout(makeButtons());
    // Only once inside the dialog, or showing it makes the first button the default.
    m_applyButton->setDefault(true);

    resize(640, 560);
    connect(m_modes, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked)
            setMode(Mode(id));
    });
    m_modes->button(int(m_options.mode))->setChecked(true);
}

QWidget* BulkRenameDialog::makePreview()
{
    // Uniform rows and stretched columns: 10,000 rows cost no more than a screenful.
    auto* view = new QTreeView;
    view->setRootIsDecorated(false);
    view->setUniformRowHeights(true);
    view->setModel(m_model);
    view->header()->setSectionResizeMode(QHeaderView::Stretch);
    view->header()->setSectionsMovable(false);
    return view;
}

// Cancel, then the action, as the sheet has them, whatever the desktop's button order;
// both are Tab stops.
QLayout* BulkRenameDialog::makeButtons()
{
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* cancel = new QPushButton(QStringLiteral("キャンセル"));
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    buttons->addWidget(cancel);
    m_applyButton = new QPushButton(QStringLiteral("名前を変更"));
    connect(m_applyButton, &QPushButton::clicked, this, &BulkRenameDialog::apply);
    buttons->addWidget(m_applyButton);
    return buttons;
}

QWidget* BulkRenameDialog::makeModePicker()
{
    auto* picker = new QWidget;
    auto* row = new QHBoxLayout(picker);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(new QLabel(QStringLiteral("方法")));
    row->addSpacing(8);
    m_modes = new QButtonGroup(this);
    m_modes->setExclusive(true);
    const QString labels[] = {QStringLiteral("置換"), QStringLiteral("正規表現"),
                              QStringLiteral("連番"), QStringLiteral("大文字/小文字")};
    for (int mode = 0; mode < int(std::size(labels)); ++mode) {
        auto* button = new QPushButton(labels[mode]);
        button->setCheckable(true);
        // Return stays with "名前を変更" while a mode button has the focus.
        button->setAutoDefault(false);
        m_modes->addButton(button, mode);
        button->installEventFilter(this);
        row->addWidget(button);
    }
    row->addStretch(1);
    return picker;
}

QWidget* BulkRenameDialog::makeReplacePage()
{
    auto* page = new QWidget;
    QFormLayout* form = formOn(page);
    QLineEdit* find = textField(&BulkRenameOptions::find);
    form->addRow(QStringLiteral("探す文字"), find);
    form->addRow(QStringLiteral("置き換える文字"), textField(&BulkRenameOptions::replacement));
    m_firstFields.push_back(find);
    return page;
}

QWidget* BulkRenameDialog::makeRegexPage()
{
    auto* page = new QWidget;
    QFormLayout* form = formOn(page);
    QLineEdit* pattern = textField(&BulkRenameOptions::pattern);
    form->addRow(QStringLiteral("正規表現（例: (\\d+)-(.*)）"), pattern);
    form->addRow(QStringLiteral("置き換え後（$1 などで一致した部分を使えます）"),
                 textField(&BulkRenameOptions::templateText));
    m_firstFields.push_back(pattern);
    return page;
}

QWidget* BulkRenameDialog::makeSequencePage()
{
    auto* page = new QWidget;
    QFormLayout* form = formOn(page);
    QLineEdit* prefix = textField(&BulkRenameOptions::prefix);
    form->addRow(QStringLiteral("名前（この後ろに番号を付けます）"), prefix);
    form->addRow(QStringLiteral("開始番号: "),
                 numberField(&BulkRenameOptions::start, kIntMin, kIntMax));
    form->addRow(QStringLiteral("増やす数: "),
                 numberField(&BulkRenameOptions::step, kIntMin, kIntMax));
    form->addRow(QStringLiteral("桁数: "), numberField(&BulkRenameOptions::digits, 1, 10));
    m_firstFields.push_back(prefix);
    return page;
}

QWidget* BulkRenameDialog::makeCasePage()
{
    auto* page = new QWidget;
    QFormLayout* form = formOn(page);
    auto* styles = new QComboBox;
    styles->addItems({QStringLiteral("すべて小文字"), QStringLiteral("すべて大文字"),
                      QStringLiteral("単語の先頭を大文字")});
    styles->setCurrentIndex(int(m_options.caseStyle));
    connect(styles, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_options.caseStyle = CaseStyle(index);
        refresh();
    });
    form->addRow(QStringLiteral("変換"), styles);
    m_firstFields.push_back(styles);
    return page;
}

QLineEdit* BulkRenameDialog::textField(QString BulkRenameOptions::*field)
{
    auto* edit = new QLineEdit(m_options.*field);
    connect(edit, &QLineEdit::textEdited, this, [this, field](const QString& text) {
        m_options.*field = text;
        refresh();
    });
    return edit;
}

QSpinBox* BulkRenameDialog::numberField(int BulkRenameOptions::*field, int minimum, int maximum)
{
    auto* box = new QSpinBox;
    box->setRange(minimum, maximum);
    box->setValue(m_options.*field);
    connect(box, &QSpinBox::valueChanged, this, [this, field](int value) {
        m_options.*field = value;
        refresh();
    });
    return box;
}

void BulkRenameDialog::setMode(Mode mode)
{
    m_options.mode = mode;
    m_pages->setCurrentIndex(int(mode));
    // The stack takes the height of its current page only, so the short pages leave
    // no gap above the check boxes.
    for (int i = 0; i < m_pages->count(); ++i) {
        const auto policy = i == int(mode) ? QSizePolicy::Preferred : QSizePolicy::Ignored;
        m_pages->widget(i)->setSizePolicy(policy, policy);
    }
    m_caseSensitive->setVisible(mode == Mode::replace || mode == Mode::regex);
    // Tab stops at the chosen mode only; a click or an arrow key reaches the others.
    for (QAbstractButton* button : m_modes->buttons())
        button->setFocusPolicy(button->isChecked() ? Qt::StrongFocus : Qt::ClickFocus);
    if (m_modeByKey)
        m_modes->button(int(mode))->setFocus();
    else
        m_firstFields[size_t(mode)]->setFocus();
    refresh();
}

bool BulkRenameDialog::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress || !m_modes->buttons().contains(watched))
        return QDialog::eventFilter(watched, event);
    const int key = static_cast<QKeyEvent*>(event)->key();
    const int step = key == Qt::Key_Left || key == Qt::Key_Up      ? -1
                     : key == Qt::Key_Right || key == Qt::Key_Down ? 1
                                                                   : 0;
    if (step == 0)
        return false;
    if (QAbstractButton* next = m_modes->button(m_modes->checkedId() + step)) {
        // Arrows walk on from the buttons; a click goes to the mode's first field.
        m_modeByKey = true;
        next->setChecked(true);
        m_modeByKey = false;
    }
    return true;
}

void BulkRenameDialog::refresh()
{
    m_model->setRows(BulkRename::preview(m_items, m_options, m_otherNames));
    if (const int problems = m_model->problemCount(); problems > 0) {
        m_footer->setText(QString::number(problems) +
                          QStringLiteral(" 項目は変更できません。規則を直してください。"));
        m_applyButton->setEnabled(false);
        return;
    }
    const int changed = m_model->changedCount();
    m_footer->setText(QString::number(changed) + QStringLiteral(" 項目の名前が変わります。"));
    // Nothing to rename: applying would only leave an empty undo step behind.
    m_applyButton->setEnabled(changed > 0);
}

void BulkRenameDialog::apply()
{
    if (!m_applyButton->isEnabled())
        return;
    Pairs pairs;
    pairs.reserve(size_t(m_model->changedCount()));
    for (const BulkRenamePreview& row : m_model->rows()) {
        if (row.newName != row.oldName)
            pairs.emplace_back(row.url, row.newName);
    }
    Q_EMIT applyRequested(pairs);
    accept();
}
