#include "zrbgriddelegate.h"

#include "zrbgrid.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>

ZrbGridDelegate::ZrbGridDelegate(ZrbGrid* grid)
    : QStyledItemDelegate(grid)
    , m_grid(grid)
{}

QWidget* ZrbGridDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                       const QModelIndex& index) const
{
    const QStringList items = m_grid->columnList(index.column());
    if (items.isEmpty())
        return QStyledItemDelegate::createEditor(parent, option, index);
    auto* list = new QComboBox(parent);
    list->addItems(items);
    // A choice is final: write it back and leave the cell at once.
    auto* self = const_cast<ZrbGridDelegate*>(this);
    connect(list, &QComboBox::activated, self, [self, list] {
        emit self->commitData(list);
        emit self->closeEditor(list);
    });
    return list;
}

void ZrbGridDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    if (auto* list = qobject_cast<QComboBox*>(editor)) {
        list->setCurrentIndex(qMax(list->findText(index.data(Qt::EditRole).toString()), 0));
        return;
    }
    QStyledItemDelegate::setEditorData(editor, index);
}

void ZrbGridDelegate::setModelData(QWidget* editor, QAbstractItemModel* model,
                                   const QModelIndex& index) const
{
    if (auto* list = qobject_cast<QComboBox*>(editor)) {
        model->setData(index, list->currentText(), Qt::EditRole);
        return;
    }
    QStyledItemDelegate::setModelData(editor, model, index);
}

bool ZrbGridDelegate::eventFilter(QObject* watched, QEvent* event)
{
    auto* box = qobject_cast<QLineEdit*>(watched);
    if (box && event->type() == QEvent::KeyPress) {
        const QString typed = static_cast<QKeyEvent*>(event)->text();
        if (typed.size() == 1 && typed.at(0).isPrint()) {
            const QChar passed = m_grid->filterKey(typed.at(0));
            if (passed.isNull())
                return true;
            if (passed != typed.at(0)) {
                box->insert(QString(passed));
                return true;
            }
        }
    }
    return QStyledItemDelegate::eventFilter(watched, event);
}
