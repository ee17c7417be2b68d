#include "datafunctions7310.h"

#include "errorhandling.h"
#include "textids.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <sqlite3.h>

#include <array>
#include <cmath>
#include <cstdlib>

namespace DataFunctions7310 {

namespace {

constexpr const char* Password = "C73A";
// Position of the text used while no language is chosen.
constexpr int DefaultLanguageColumn = 3;

enum Table { Labels, ToolTips, Defaults, Menus, TableCount };

constexpr std::array<const char*, TableCount> TableNames = {"T_Labels", "T_ToolTips", "T_Defaults",
                                                            "T_Menus"};
constexpr std::array<const char*, TableCount> LookupSql = {
    "SELECT * FROM T_Labels WHERE Tag = ?1",
    "SELECT * FROM T_ToolTips WHERE Tag = ?1",
    "SELECT Valeur FROM T_Defaults WHERE ID = ?1",
    "SELECT * FROM T_Menus WHERE Key = ?1",
};

// A kept lookup: the statement and the column of the language it last served.
struct Lookup
{
    sqlite3_stmt* statement = nullptr;
    unsigned languageGeneration = 0;
    int column = -1;
};

struct State
{
    sqlite3* db = nullptr;
    std::array<Lookup, TableCount> lookups;
    QString language;
    // Changes with every language change, so a lookup knows its column is still right
    // without comparing names.
    unsigned languageGeneration = 1;
};

State& state()
{
    static State instance;
    return instance;
}

int errorNumberFor(int sqliteCode)
{
    switch (sqliteCode & 0xFF) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return ErrorNumber::DataFileDamaged;
    case SQLITE_CANTOPEN:
        return ErrorNumber::DataFileNotFound;
    default:
        return ErrorNumber::DataFileError;
    }
}

[[noreturn]] void throwEngineError(sqlite3* db, int code)
{
    throw RunTimeError(errorNumberFor(code), QString::fromUtf8(sqlite3_errmsg(db)));
}

// Resets a statement when the lookup is over, so that it holds no row between lookups.
class ResetGuard
{
public:
    explicit ResetGuard(sqlite3_stmt* statement)
        : m_statement(statement)
    {}
    ~ResetGuard() { sqlite3_reset(m_statement); }
    ResetGuard(const ResetGuard&) = delete;
    ResetGuard& operator=(const ResetGuard&) = delete;

private:
    sqlite3_stmt* m_statement;
};

Lookup& lookup(Table table)
{
    State& s = state();
    if (!s.db)
        throw RunTimeError(ErrorNumber::DataFileError, QStringLiteral("no data file is open"));
    Lookup& entry = s.lookups[table];
    if (!entry.statement) {
        const int code = sqlite3_prepare_v2(s.db, LookupSql[table], -1, &entry.statement, nullptr);
        if (code != SQLITE_OK) {
            sqlite3_finalize(entry.statement);
            entry.statement = nullptr;
            throwEngineError(s.db, code);
        }
    }
    return entry;
}

// The column of the current language: position 3 when none is set, otherwise the column of
// that name. The name is matched against the statement's own columns and never put into SQL,
// so an unknown language is an error and never a text.
int languageColumn(Lookup& entry, Table table)
{
    const QString& language = state().language;
    if (entry.column >= 0 && entry.languageGeneration == state().languageGeneration)
        return entry.column;
    const int count = sqlite3_column_count(entry.statement);
    int column = -1;
    if (language.isEmpty()) {
        if (count > DefaultLanguageColumn)
            column = DefaultLanguageColumn;
    } else {
        for (int i = DefaultLanguageColumn; i < count && column < 0; ++i)
            if (language.compare(QString::fromUtf8(sqlite3_column_name(entry.statement, i)),
                                 Qt::CaseInsensitive) == 0)
                column = i;
    }
    if (column < 0)
        throw RunTimeError(ErrorNumber::DataItemNotFound,
                           QLatin1String(TableNames[table]) +
                               QStringLiteral(" has no language column \"") + language +
                               QLatin1Char('"'));
    entry.languageGeneration = state().languageGeneration;
    entry.column = column;
    return column;
}

QString columnText(sqlite3_stmt* statement, int column)
{
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return text ? QString::fromUtf8(text, sqlite3_column_bytes(statement, column)) : QString();
}

// The ID as a key: numeric text only (blanks around it allowed). A number that is not a whole
// number matches no row.
enum class Key { NotNumeric, NoRow, Valid };
Key parseKey(const QString& id, sqlite3_int64& key)
{
    bool ok = false;
    key = id.toLongLong(&ok);
    if (ok)
        return Key::Valid;
    const double value = id.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return Key::NotNumeric;
    if (value != std::floor(value) || std::fabs(value) > 9.0e15)
        return Key::NoRow;
    key = static_cast<sqlite3_int64>(value);
    return Key::Valid;
}

// Text of a key in T_Labels or T_ToolTips; std::nullopt when the key has no row.
// One step of a keyed look-up: the row's text, nothing when the key has no row.
std::optional<QString> stepForText(sqlite3_stmt* statement, int column)
{
    const int code = sqlite3_step(statement);
    if (code == SQLITE_ROW)
        return columnText(statement, column);
    if (code == SQLITE_DONE)
        return std::nullopt;
    throwEngineError(state().db, code);
}

std::optional<QString> textByKey(Table table, sqlite3_int64 key)
{
    Lookup& entry = lookup(table);
    const int column = languageColumn(entry, table);
    const ResetGuard guard(entry.statement);
    sqlite3_bind_int64(entry.statement, 1, key);
    return stepForText(entry.statement, column);
}

// A numeric ID's text, "" for a non-numeric ID, missing(id) when the ID has no row.
template<typename Missing> QString textById(Table table, const QString& id, Missing&& missing)
{
    sqlite3_int64 key = 0;
    switch (parseKey(id, key)) {
    case Key::NotNumeric:
        return {};
    case Key::NoRow:
        return missing(id);
    case Key::Valid:
        break;
    }
    std::optional<QString> text = textByKey(table, key);
    return text ? std::move(*text) : missing(id);
}

QString labelMarker(const QString& id)
{
    return QLatin1Char('#') + id + QLatin1Char('#');
}

QString noToolTip(const QString&)
{
    return {};
}

void registerCloseAtExit()
{
    // Registered after the engine and its cipher library have set up their own exit work, so
    // the file is closed before they are torn down.
    static const bool registered = [] {
        return std::atexit(CloseDataFile) == 0;
    }();
    (void)registered;
}

// Full check of a freshly opened file: the key (a wrong one shows on the first schema read),
// the four tables, and every page, so that damage shows now and not in the middle of a run.
int checkOpenedFile(sqlite3* db, QString& detail)
{
    auto scalar = [&](const char* sql, QString& result) -> int {
        sqlite3_stmt* statement = nullptr;
        int code = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
        if (code == SQLITE_OK) {
            code = sqlite3_step(statement);
            if (code == SQLITE_ROW) {
                result = columnText(statement, 0);
                code = SQLITE_OK;
            }
        }
        if (code != SQLITE_OK)
            detail = QString::fromUtf8(sqlite3_errmsg(db));
        sqlite3_finalize(statement);
        return code;
    };

    QString result;
    int code = scalar("SELECT count(*) FROM sqlite_master", result);
    if ((code & 0xFF) == SQLITE_NOTADB)
        return ErrorNumber::DataFileBadPassword;
    if (code != SQLITE_OK)
        return errorNumberFor(code);

    code = scalar("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                  "('T_Labels', 'T_ToolTips', 'T_Menus', 'T_Defaults')",
                  result);
    if (code != SQLITE_OK)
        return errorNumberFor(code);
    if (result != QLatin1String("4")) {
        detail = QStringLiteral("the text tables are missing");
        return ErrorNumber::DataFileDamaged;
    }

    code = scalar("PRAGMA quick_check", result);
    if (code != SQLITE_OK)
        return ErrorNumber::DataFileDamaged;
    if (result != QLatin1String("ok")) {
        detail = result;
        return ErrorNumber::DataFileDamaged;
    }
    return 0;
}

} // namespace

QString CurrentLanguage()
{
    return state().language;
}

void SetCurrentLanguage(const QString& newLanguage)
{
    state().language = newLanguage;
    ++state().languageGeneration;
}

namespace {
// Text look-ups trap their faults: the report names the look-up, the caller gets "".
template<typename Lookup> QString reported(const QString& procedure, Lookup lookup)
{
    try {
        return lookup();
    } catch (const RunTimeError& error) {
        ErrorHandling(procedure, error);
        return {};
    }
}
const QString getTextName = QStringLiteral("DataFunctions.GetText");
const QString getToolTipName = QStringLiteral("DataFunctions.GetToolTip");
} // namespace

QString GetText(const QString& id)
{
    return reported(getTextName, [&] { return textById(Labels, id, labelMarker); });
}

QString GetText(int id)
{
    return reported(getTextName, [&] {
        std::optional<QString> text = textByKey(Labels, id);
        return text ? std::move(*text) : labelMarker(QString::number(id));
    });
}

QString Captioned(const QString& caption, const QString& value, const QString& pattern)
{
    if (!pattern.contains(QLatin1String("%2")))
        return caption + QStringLiteral(": ") + value;
    return pattern.arg(caption, value);
}

QString Captioned(const QString& caption, const QString& value)
{
    return Captioned(caption, value, FindText(TextId::CaptionAndValue).value_or(QString()));
}

QString Captioned(int captionId, const QString& value)
{
    return Captioned(GetText(captionId), value);
}

std::optional<QString> FindText(int id)
{
    if (!IsOpen())
        return std::nullopt;
    try {
        return textByKey(Labels, id);
    } catch (const RunTimeError&) {
        return std::nullopt;
    }
}

QString GetToolTip(const QString& id)
{
    return reported(getToolTipName, [&] { return textById(ToolTips, id, noToolTip); });
}

QString GetToolTip(int id)
{
    return reported(getToolTipName, [&] { return textByKey(ToolTips, id).value_or(QString()); });
}

std::int32_t GetDefaultValue(std::int16_t id)
{
    Lookup& entry = lookup(Defaults);
    const ResetGuard guard(entry.statement);
    sqlite3_bind_int(entry.statement, 1, id);
    const int code = sqlite3_step(entry.statement);
    if (code == SQLITE_ROW)
        return static_cast<std::int32_t>(sqlite3_column_int64(entry.statement, 0));
    if (code == SQLITE_DONE)
        return 0;
    throwEngineError(state().db, code);
}

std::optional<QString> GetMenuText(const QString& key)
{
    Lookup& entry = lookup(Menus);
    const int column = languageColumn(entry, Menus);
    const ResetGuard guard(entry.statement);
    const QByteArray utf8 = key.toUtf8();
    sqlite3_bind_text(entry.statement, 1, utf8.constData(), static_cast<int>(utf8.size()),
                      SQLITE_TRANSIENT);
    return stepForText(entry.statement, column);
}

QStringList LanguageColumns()
{
    Lookup& entry = lookup(Labels);
    const ResetGuard guard(entry.statement);
    sqlite3_bind_int64(entry.statement, 1, 0);
    const int code = sqlite3_step(entry.statement);
    QStringList languages;
    if (code == SQLITE_DONE)
        return languages;
    if (code != SQLITE_ROW)
        throwEngineError(state().db, code);
    const int count = sqlite3_column_count(entry.statement);
    for (int column = DefaultLanguageColumn; column < count; ++column)
        if (!columnText(entry.statement, column).isEmpty())
            languages.append(QString::fromUtf8(sqlite3_column_name(entry.statement, column)));
    return languages;
}

QString LocateInstalled(const QString& name)
{
    const QString program =
        QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
    // <prefix>/bin/k7310console keeps its files in <prefix>/share/k7310console, whatever the
    // prefix (/usr, /usr/local, /opt/..., a staging folder).
    const QString besidePrefix =
        QDir::cleanPath(program + QStringLiteral("/../share/k7310console/") + name);
    if (QFileInfo(besidePrefix).isFile())
        return besidePrefix;
    return QStandardPaths::locate(QStandardPaths::AppDataLocation, name);
}

QString DataFilePath(const QString& baseName)
{
    QString name = baseName.isEmpty() ? QStringLiteral("k7310console") : baseName;
    QString folder = QDir::currentPath();
    if (QCoreApplication::instance()) {
        folder = QCoreApplication::applicationDirPath();
        const QString base = QFileInfo(QCoreApplication::applicationFilePath()).completeBaseName();
        if (baseName.isEmpty() && !base.isEmpty())
            name = base;
    }
    name += QStringLiteral(".dat");
    const QString besideProgram = folder + QLatin1Char('/') + name;
    if (QFileInfo::exists(besideProgram))
        return besideProgram;
    const QString installed = LocateInstalled(name);
    return installed.isEmpty() ? besideProgram : installed;
}

int OpenDataFile(const QString& path, QString* detail)
{
    CloseDataFile();
    QString message;
    int number = 0;
    sqlite3* db = nullptr;
    if (!QFileInfo(path).isFile()) {
        number = ErrorNumber::DataFileNotFound;
        message = path;
    } else if (const int code = sqlite3_open_v2(QFile::encodeName(path).constData(), &db,
                                                SQLITE_OPEN_READONLY, nullptr);
               code != SQLITE_OK) {
        number = errorNumberFor(code);
        message = QString::fromUtf8(sqlite3_errmsg(db));
    } else if (sqlite3_key(db, Password, 4) != SQLITE_OK) {
        number = ErrorNumber::DataFileError;
        message = QString::fromUtf8(sqlite3_errmsg(db));
    } else {
        registerCloseAtExit();
        // The console only reads: holding the file's lock between lookups spares each lookup
        // the lock and cache check, which is most of its cost.
        sqlite3_exec(db, "PRAGMA locking_mode = EXCLUSIVE", nullptr, nullptr, nullptr);
        number = checkOpenedFile(db, message);
    }
    if (number != 0) {
        sqlite3_close(db);
        if (detail)
            *detail = message;
        return number;
    }
    state().db = db;
    return 0;
}

void CloseDataFile()
{
    State& s = state();
    for (Lookup& entry : s.lookups) {
        sqlite3_finalize(entry.statement);
        entry = Lookup{};
    }
    sqlite3_close(s.db);
    s.db = nullptr;
}

bool IsOpen()
{
    return state().db != nullptr;
}

} // namespace DataFunctions7310
