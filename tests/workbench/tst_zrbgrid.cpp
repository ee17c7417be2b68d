#include "zrbgrid.h"

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QTest>

class TestZrbGrid : public QObject
{
    Q_OBJECT

private slots:
    void resizingKeepsDataAndNumbers_data();
    void resizingKeepsDataAndNumbers();
    void typedKeysPassTheFilter_data();
    void typedKeysPassTheFilter();
    void dropDownColumnOffersItsList();
};

void TestZrbGrid::resizingKeepsDataAndNumbers_data()
{
    QTest::addColumn<int>("firstRows");
    QTest::addColumn<int>("secondRows");

    QTest::newRow("shrink keeps the rows that stay") << 6 << 3;
    QTest::newRow("grow adds numbered empty rows") << 3 << 8;
    QTest::newRow("down to the header alone") << 4 << 1;
    QTest::newRow("below one row still keeps the header") << 4 << 0;
}

void TestZrbGrid::resizingKeepsDataAndNumbers()
{
    QFETCH(int, firstRows);
    QFETCH(int, secondRows);
    ZrbGrid grid;
    grid.setTextMatrix(0, 1, "Value");
    grid.setRows(firstRows);
    for (int r = 1; r < firstRows; ++r)
        grid.setTextMatrix(r, 1, QString::number(r * 10));

    grid.setRows(secondRows);
    const int rows = qMax(secondRows, 1);
    QCOMPARE(grid.rows(), rows);
    QCOMPARE(grid.textMatrix(0, 1), "Value");
    for (int r = 1; r < rows; ++r) {
        QCOMPARE(grid.textMatrix(r, 0), QString::number(r));
        QCOMPARE(grid.textMatrix(r, 1), r < firstRows ? QString::number(r * 10) : QString());
        QVERIFY(!(grid.item(r - 1, 0)->flags() & Qt::ItemIsEditable));
    }
    QCOMPARE(grid.textMatrix(rows, 1), QString()); // outside the grid reads as empty
}

void TestZrbGrid::typedKeysPassTheFilter_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("stored");

    QTest::newRow("digits and sign pass") << "-123"
                                          << "-123";
    QTest::newRow("letters are dropped while editing") << "1a2b"
                                                       << "12";
    QTest::newRow("a refused first key opens no editor") << "x"
                                                         << "";
}

void TestZrbGrid::typedKeysPassTheFilter()
{
    QFETCH(QString, typed);
    QFETCH(QString, stored);
    ZrbGrid grid;
    grid.setRows(3);
    grid.setKeyFilter(
        [](int key) { return (key >= '0' && key <= '9') || key == '-' || key == 8 ? key : 0; });
    grid.show();
    QVERIFY(QTest::qWaitForWindowExposed(&grid));
    grid.setCurrentCell(1, 1);
    grid.setFocus();

    QTest::keyClicks(&grid, typed.left(1));
    auto* editor = grid.findChild<QLineEdit*>();
    QCOMPARE(editor != nullptr && editor->isVisible(), !stored.isEmpty());
    if (editor && editor->isVisible()) {
        QTest::keyClicks(editor, typed.mid(1));
        QTest::keyClick(editor, Qt::Key_Return);
    }
    QCOMPARE(grid.textMatrix(2, 1), stored);
}

void TestZrbGrid::dropDownColumnOffersItsList()
{
    ZrbGrid grid;
    grid.setRows(2);
    grid.setColumnList(1, {"0", "1"});
    grid.setTextMatrix(1, 1, "0");
    grid.show();
    QVERIFY(QTest::qWaitForWindowExposed(&grid));

    grid.setCurrentCell(0, 1);
    grid.editItem(grid.item(0, 1));
    auto* list = grid.findChild<QComboBox*>();
    QVERIFY(list);
    QCOMPARE(list->count(), 2);
    QCOMPARE(list->currentText(), "0");
    QTest::keyClick(list, Qt::Key_Down);
    QTRY_COMPARE(grid.textMatrix(1, 1), "1");

    grid.setColumnList(1, {});
    grid.editItem(grid.item(0, 1));
    QVERIFY(grid.findChild<QLineEdit*>());
}

QTEST_MAIN(TestZrbGrid)
#include "tst_zrbgrid.moc"
