// Qt Help reads its collection files through Qt's SQLite plugin, which brings the system
// SQLite into the process. The text database must keep working beside it, and the plugin must
// get the system library, not the older SQLite inside SQLCipher.
#include "datafunctions7310.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

class TestSqliteCoexistence : public QObject
{
    Q_OBJECT

private slots:
    void textDatabaseAndQtSqliteInOneProcess();
};

void TestSqliteCoexistence::textDatabaseAndQtSqliteInOneProcess()
{
    QCOMPARE(DataFunctions7310::OpenDataFile(QStringLiteral(K7310_BIN_DIR "/k7310console.dat")), 0);
    QCOMPARE(DataFunctions7310::GetText(10), QStringLiteral("No"));

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
        db.setDatabaseName(dir.filePath(QStringLiteral("help.qhc")));
        QVERIFY(db.open());
        QSqlQuery query(db);
        QVERIFY(query.exec(QStringLiteral("SELECT sqlite_version()")));
        QVERIFY(query.next());
        const QString pluginVersion = query.value(0).toString();
        // The plugin's SQLite is not the one compiled into the program.
        QVERIFY2(pluginVersion != QLatin1String(sqlite3_libversion()),
                 qPrintable(pluginVersion + QStringLiteral(" is SQLCipher's own SQLite")));
        QVERIFY(query.exec(QStringLiteral("CREATE TABLE t (k INTEGER PRIMARY KEY, v TEXT)")));
        QVERIFY(query.exec(QStringLiteral("INSERT INTO t VALUES (1, 'help page')")));
        QVERIFY(query.exec(QStringLiteral("SELECT v FROM t WHERE k = 1")));
        QVERIFY(query.next());
        QCOMPARE(query.value(0).toString(), QStringLiteral("help page"));
    }
    QSqlDatabase::removeDatabase(QLatin1String(QSqlDatabase::defaultConnection));

    DataFunctions7310::SetCurrentLanguage(QStringLiteral("Deutsch"));
    QCOMPARE(DataFunctions7310::GetText(10), QStringLiteral("Nein"));
    DataFunctions7310::CloseDataFile();
}

QTEST_GUILESS_MAIN(TestSqliteCoexistence)
#include "tst_sqlitecoexistence.moc"
