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
    void textDatabaseAndQtSqliteInOneProcess()
    {
        using namespace DataFunctions7310;
        QCOMPARE(OpenDataFile(QStringLiteral(K7310_BIN_DIR "/k7310console.dat")), 0);
        QCOMPARE(GetText(10), QStringLiteral("No"));
        QTemporaryDir dir;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
            db.setDatabaseName(dir.filePath(QStringLiteral("help.qhc")));
            QVERIFY(db.open());
            QSqlQuery query(db);
            QVERIFY(query.exec("CREATE TABLE t (k INTEGER PRIMARY KEY, v TEXT)") &&
                    query.exec("INSERT INTO t VALUES (1, 'help page')") &&
                    query.exec("SELECT v, sqlite_version() FROM t WHERE k = 1") && query.next());
            QCOMPARE(query.value(0).toString(), QStringLiteral("help page"));
            // The plugin's SQLite is not the one compiled into the program.
            QVERIFY2(query.value(1).toString() != QLatin1String(sqlite3_libversion()),
                     sqlite3_libversion());
        }
        QSqlDatabase::removeDatabase(QLatin1String(QSqlDatabase::defaultConnection));
        SetCurrentLanguage(QStringLiteral("Deutsch"));
        QCOMPARE(GetText(10), QStringLiteral("Nein"));
        CloseDataFile();
    }
};

QTEST_GUILESS_MAIN(TestSqliteCoexistence)
#include "tst_sqlitecoexistence.moc"
