#pragma once

#include <QStringList>
#include <QTableWidget>

#include <functional>
#include <map>

// A small editable grid in the manner of a flex grid: row 0 is the header row (Qt's
// horizontal header) and column 0 is a fixed column that numbers the data rows 1 to n, so
// cell (row, col) with row >= 1 and col >= 1 is an ordinary editable cell. A column may offer
// a fixed drop-down list instead of free entry; keystrokes typed into free cells pass through
// a key filter first.
class ZrbGrid : public QTableWidget
{
    Q_OBJECT

public:
    // Receives the character code of a keystroke; returns the code to type, or 0 to drop it.
    using KeyFilter = std::function<int(int)>;

    explicit ZrbGrid(QWidget* parent = nullptr);

    // Rows and columns including the header row and the numbering column.
    int rows() const { return rowCount() + 1; }
    // Adds or removes data rows at the end and numbers column 0 of every data row.
    void setRows(int rows);
    int cols() const { return columnCount(); }
    void setCols(int cols);

    // Row 0 holds the column headings; column 0 of the data rows holds their numbers.
    QString textMatrix(int row, int col) const;
    void setTextMatrix(int row, int col, const QString& text);

    // Cells of col pick one of items from a drop-down; an empty list restores free entry.
    void setColumnList(int col, const QStringList& items);
    QStringList columnList(int col) const;

    void setKeyFilter(KeyFilter filter) { m_keyFilter = std::move(filter); }
    // Applies the key filter to one typed character: the character to type, or a null QChar.
    QChar filterKey(QChar key) const;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void numberRows(int from);

    KeyFilter m_keyFilter;
    std::map<int, QStringList> m_columnLists;
};
