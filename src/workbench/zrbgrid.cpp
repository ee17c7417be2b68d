#include "zrbgrid.h"

#include "zrbgriddelegate.h"

#include <QHeaderView>
#include <QKeyEvent>

ZrbGrid::ZrbGrid(QWidget* parent)
    : QTableWidget(parent)
{
    setItemDelegate(new ZrbGridDelegate(this));
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked |
                    QAbstractItemView::EditKeyPressed | QAbstractItemView::AnyKeyPressed);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setStretchLastSection(true);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    setCols(2);
    setRows(1);
}

void ZrbGrid::setRows(int rows)
{
    const int before = rowCount();
    setRowCount(qMax(rows, 1) - 1);
    numberRows(qMin(before, rowCount()));
}

void ZrbGrid::setCols(int cols)
{
    const int before = columnCount();
    setColumnCount(qMax(cols, 1));
    if (before == 0)
        numberRows(0);
}

void ZrbGrid::numberRows(int from)
{
    // The fixed column looks like a heading and takes no edits or selection.
    const QBrush fixed = palette().brush(QPalette::Button);
    for (int r = from; r < rowCount(); ++r) {
        auto* number = new QTableWidgetItem(QString::number(r + 1));
        number->setFlags(Qt::ItemIsEnabled);
        number->setBackground(fixed);
        number->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        setItem(r, 0, number);
    }
}

QString ZrbGrid::textMatrix(int row, int col) const
{
    if (row < 0 || row >= rows() || col < 0 || col >= cols())
        return {};
    const QTableWidgetItem* cell = row == 0 ? horizontalHeaderItem(col) : item(row - 1, col);
    return cell ? cell->text() : QString();
}

void ZrbGrid::setTextMatrix(int row, int col, const QString& text)
{
    if (row < 0 || row >= rows() || col < 0 || col >= cols())
        return;
    if (row == 0) {
        setHorizontalHeaderItem(col, new QTableWidgetItem(text));
        return;
    }
    if (QTableWidgetItem* cell = item(row - 1, col))
        cell->setText(text);
    else
        setItem(row - 1, col, new QTableWidgetItem(text));
}

void ZrbGrid::setColumnList(int col, const QStringList& items)
{
    if (items.isEmpty())
        m_columnLists.erase(col);
    else
        m_columnLists[col] = items;
}

QStringList ZrbGrid::columnList(int col) const
{
    const auto found = m_columnLists.find(col);
    return found == m_columnLists.end() ? QStringList() : found->second;
}

QChar ZrbGrid::filterKey(QChar key) const
{
    if (!m_keyFilter)
        return key;
    const int code = m_keyFilter(key.unicode());
    return code == 0 ? QChar() : QChar(code);
}

void ZrbGrid::keyPressEvent(QKeyEvent* event)
{
    // A refused character must not even open the cell's editor.
    const QString typed = event->text();
    if (typed.size() == 1 && typed.at(0).isPrint() && columnList(currentColumn()).isEmpty() &&
        filterKey(typed.at(0)).isNull()) {
        event->accept();
        return;
    }
    QTableWidget::keyPressEvent(event);
}
