#pragma once

#include <QStyledItemDelegate>

class ZrbGrid;

// Cell editors of ZrbGrid: a drop-down for columns with a fixed list, otherwise a text box
// whose keystrokes go through the grid's key filter.
class ZrbGridDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit ZrbGridDelegate(ZrbGrid* grid);

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    ZrbGrid* m_grid;
};
