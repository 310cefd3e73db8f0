#include "RuleListEditor.h"

#include "TildePaths.h"
#include "UserDefaults.h"

#include <QAbstractItemDelegate>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace {

// Rows as wide as the list, so that a long path is elided in the middle rather than scrolled sideways.
class RowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        return {0, QStyledItemDelegate::sizeHint(option, index).height()};
    }
};

QString normalised(RuleListEditor::Kind kind, const QString &entry)
{
    switch (kind) {
    case RuleListEditor::Kind::Folders:
    case RuleListEditor::Kind::Items: {
        // A relative path cannot come from a picker; whoever wrote it into the file keeps it as written.
        const QString path = TildePaths::expandedTilde(entry);
        return QDir::isAbsolutePath(path) ? QDir::cleanPath(path) : path;
    }
    case RuleListEditor::Kind::Extensions: {
        // The rules compare against lower-cased extensions, so "TMP" or ".tmp" would never match.
        QString extension = entry.trimmed();
        while (extension.startsWith(u'.'))
            extension.remove(0, 1);
        return extension.toLower();
    }
    case RuleListEditor::Kind::Fragments:
        return entry.trimmed();
    }
    return entry;
}

QStringList cleaned(RuleListEditor::Kind kind, const QStringList &entries)
{
    QStringList result;
    for (const QString &entry : entries) {
        const QString clean = normalised(kind, entry);
        if (!clean.isEmpty() && !result.contains(clean))
            result.append(clean);
    }
    return result;
}

} // namespace

RuleListEditor::RuleListEditor(UserDefaults &defaults, const QString &key, Kind kind,
                               const QString &description, QWidget *parent)
    : QWidget(parent), m_defaults(defaults), m_key(key), m_kind(kind), m_list(new QListWidget(this)),
      m_removeButton(new QPushButton(tr("Re&move"), this))
{
    auto *explanation = new QLabel(description, this);
    explanation->setWordWrap(true);

    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setAlternatingRowColors(true);
    m_list->setUniformItemSizes(true);
    m_list->setTextElideMode(Qt::ElideMiddle);
    m_list->setItemDelegate(new RowDelegate(m_list));
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setEditTriggers(typed() ? QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed
                                    : QAbstractItemView::NoEditTriggers);
    m_list->setAccessibleName(description);

    auto *addButton = new QPushButton(typed() ? tr("&Add") : tr("&Add…"), this);
    auto *buttons = new QVBoxLayout;
    buttons->addWidget(addButton);
    if (typed()) {
        m_editButton = new QPushButton(tr("&Edit"), this);
        buttons->addWidget(m_editButton);
        connect(m_editButton, &QPushButton::clicked, this, &RuleListEditor::editCurrent);
    }
    buttons->addWidget(m_removeButton);
    buttons->addStretch();
    // Tab goes from the list down the buttons beside it.
    setTabOrder(m_list, addButton);
    setTabOrder(addButton, m_editButton ? static_cast<QWidget *>(m_editButton) : m_removeButton);
    if (m_editButton)
        setTabOrder(m_editButton, m_removeButton);

    auto *row = new QHBoxLayout;
    row->addWidget(m_list, 1);
    row->addLayout(buttons);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(explanation);
    layout->addLayout(row, 1);

    auto *removeAction = new QAction(tr("Remove"), m_list);
    removeAction->setShortcuts({QKeySequence::Delete, QKeySequence(Qt::Key_Backspace)});
    removeAction->setShortcutContext(Qt::WidgetShortcut);
    m_list->addAction(removeAction);

    connect(addButton, &QPushButton::clicked, this, &RuleListEditor::add);
    connect(m_removeButton, &QPushButton::clicked, this, &RuleListEditor::removeSelected);
    connect(removeAction, &QAction::triggered, this, &RuleListEditor::removeSelected);
    connect(m_list, &QListWidget::itemSelectionChanged, this, &RuleListEditor::updateButtons);
    connect(m_list, &QListWidget::itemChanged, this, &RuleListEditor::store);
    // A new row left blank, or an edit abandoned, leaves the list showing what is not stored.
    connect(m_list->itemDelegate(), &QAbstractItemDelegate::closeEditor, this, &RuleListEditor::reload,
            Qt::QueuedConnection);
    m_defaults.observe(m_key, this, [this] {
        if (!m_storing)
            reload();
    });
    reload();
    updateButtons();
}

void RuleListEditor::append(UserDefaults &defaults, const QString &key, Kind kind, const QStringList &entries)
{
    const QStringList stored = defaults.stringListValue(key);
    const QStringList extended = cleaned(kind, stored + entries);
    if (extended != stored)
        defaults.setValue(key, extended);
}

void RuleListEditor::addEntries(const QStringList &entries)
{
    const QStringList added = cleaned(m_kind, entries);
    if (added.isEmpty())
        return;
    append(m_defaults, m_key, m_kind, added);
    const QStringList shown = shownEntries();
    m_list->setCurrentRow(int(shown.indexOf(added.last())));
    m_list->scrollToItem(m_list->currentItem());
}

void RuleListEditor::removeSelected()
{
    const QList<QListWidgetItem *> selected = m_list->selectedItems();
    if (selected.isEmpty())
        return;
    const int row = m_list->currentRow();
    qDeleteAll(selected);
    store();
    if (m_list->count() > 0)
        m_list->setCurrentRow(std::min(row, m_list->count() - 1));
}

void RuleListEditor::add()
{
    if (!typed())
        return addEntries(choosePaths());
    QListWidgetItem *item = newItem(QString());
    m_list->addItem(item);
    m_list->setCurrentItem(item);
    m_list->editItem(item);
}

QStringList RuleListEditor::choosePaths()
{
    if (m_kind == Kind::Folders) {
        const QString folder =
            QFileDialog::getExistingDirectory(window(), tr("Choose a Folder"), QDir::homePath());
        return folder.isEmpty() ? QStringList() : QStringList{folder};
    }
    return QFileDialog::getOpenFileNames(window(), tr("Choose Items"), QDir::homePath());
}

void RuleListEditor::editCurrent()
{
    if (QListWidgetItem *item = m_list->currentItem())
        m_list->editItem(item);
}

void RuleListEditor::store()
{
    m_storing = true;
    m_defaults.setValue(m_key, cleaned(m_kind, shownEntries()));
    m_storing = false;
    // Not at once: this may run inside the item view's own edit handling.
    QMetaObject::invokeMethod(this, &RuleListEditor::reload, Qt::QueuedConnection);
}

void RuleListEditor::reload()
{
    const QStringList stored = m_defaults.stringListValue(m_key);
    if (shownEntries() == stored)
        return;
    const int row = m_list->currentRow();
    m_list->clear();
    for (const QString &entry : stored)
        m_list->addItem(newItem(entry));
    if (row >= 0 && m_list->count() > 0)
        m_list->setCurrentRow(std::min(row, m_list->count() - 1));
    updateButtons();
}

QStringList RuleListEditor::shownEntries() const
{
    QStringList entries;
    for (int row = 0; row < m_list->count(); ++row) {
        const QListWidgetItem *item = m_list->item(row);
        entries.append(typed() ? item->text() : item->data(Qt::UserRole).toString());
    }
    return entries;
}

QListWidgetItem *RuleListEditor::newItem(const QString &entry) const
{
    auto *item = new QListWidgetItem;
    if (typed()) {
        item->setText(entry);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        return item;
    }
    item->setText(TildePaths::abbreviatedTilde(entry));
    item->setData(Qt::UserRole, entry);
    item->setToolTip(entry);
    const bool folder = m_kind == Kind::Folders || QFileInfo(entry).isDir();
    item->setIcon(style()->standardIcon(folder ? QStyle::SP_DirIcon : QStyle::SP_FileIcon));
    return item;
}

void RuleListEditor::updateButtons()
{
    const bool selected = !m_list->selectedItems().isEmpty();
    m_removeButton->setEnabled(selected);
    if (m_editButton)
        m_editButton->setEnabled(m_list->currentItem() != nullptr);
}
