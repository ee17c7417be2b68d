// Builds the password-protected data file from the tab-separated sources beside this file.
//
//   mkdatafile OUTPUT LABELS.tsv TOOLTIPS.tsv MENUS.tsv DEFAULTS.tsv
//
// Every source starts with a header line that names the columns. Lines that are empty or start
// with "#" are skipped. A text source has a key column, two columns for the translator (window,
// note) and one column per language; a defaults source has the key, a note and "Valeur".
// The file is written beside OUTPUT under a temporary name and renamed over OUTPUT at the end,
// so a failed run never leaves a half-built data file behind.

#include <sqlite3.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr const char* Password = "C73A";

struct Table
{
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> rows;
    std::vector<int> lineNumbers;
};

std::vector<std::string> splitTabs(const std::string& line)
{
    std::vector<std::string> fields;
    std::string::size_type start = 0;
    for (;;) {
        const auto tab = line.find('\t', start);
        fields.push_back(line.substr(start, tab - start));
        if (tab == std::string::npos)
            return fields;
        start = tab + 1;
    }
}

Table readSource(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error(path + ": cannot be read");
    Table table;
    std::string line;
    int lineNumber = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (lineNumber == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0)
            line.erase(0, 3);
        if (line.empty() || line[0] == '#')
            continue;
        auto fields = splitTabs(line);
        if (table.header.empty()) {
            table.header = std::move(fields);
            continue;
        }
        if (fields.size() != table.header.size())
            throw std::runtime_error(path + ":" + std::to_string(lineNumber) + ": " +
                                     std::to_string(fields.size()) + " fields, the header has " +
                                     std::to_string(table.header.size()));
        table.rows.push_back(std::move(fields));
        table.lineNumbers.push_back(lineNumber);
    }
    if (table.header.empty())
        throw std::runtime_error(path + ": no header line");
    return table;
}

bool isInteger(const std::string& text)
{
    if (text.empty())
        return false;
    std::string::size_type i = (text[0] == '-') ? 1 : 0;
    if (i == text.size())
        return false;
    for (; i < text.size(); ++i)
        if (text[i] < '0' || text[i] > '9')
            return false;
    return true;
}

// Identifiers in brackets: the language names are not ASCII and are never double-quoted.
std::string bracket(const std::string& name)
{
    if (name.find_first_of("[]") != std::string::npos)
        throw std::runtime_error("column name with a bracket: " + name);
    return "[" + name + "]";
}

class Database
{
public:
    explicit Database(const std::string& path)
    {
        if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                            nullptr) != SQLITE_OK ||
            sqlite3_key(m_db, Password, 4) != SQLITE_OK) {
            const std::string message = "open " + path + ": " + sqlite3_errmsg(m_db);
            sqlite3_close(m_db);
            throw std::runtime_error(message);
        }
    }
    ~Database() { sqlite3_close(m_db); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void exec(const std::string& sql)
    {
        if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
            fail(sql);
    }

    // Inserts every row; integer keys are stored as integers so that the lookups bind numbers.
    void insert(const std::string& table, const Table& source, bool integerKey)
    {
        std::string sql = "INSERT INTO " + table + " VALUES (?";
        for (std::size_t i = 1; i < source.header.size(); ++i)
            sql += ",?";
        sql += ")";
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
            fail(sql);
        for (const auto& row : source.rows) {
            sqlite3_reset(statement);
            for (std::size_t i = 0; i < row.size(); ++i) {
                const int parameter = static_cast<int>(i) + 1;
                if (i == 0 && integerKey)
                    sqlite3_bind_int64(statement, parameter, std::stoll(row[i]));
                else
                    sqlite3_bind_text(statement, parameter, row[i].c_str(),
                                      static_cast<int>(row[i].size()), SQLITE_TRANSIENT);
            }
            if (sqlite3_step(statement) != SQLITE_DONE) {
                sqlite3_finalize(statement);
                fail(table + " row " + row[0]);
            }
        }
        sqlite3_finalize(statement);
    }

private:
    [[noreturn]] void fail(const std::string& what)
    {
        throw std::runtime_error(what + ": " + sqlite3_errmsg(m_db));
    }

    sqlite3* m_db = nullptr;
};

// A text table: key, window, note, then the languages; the first language lands at position 3,
// which is the column used when no language has been chosen.
void checkTextSource(const std::string& name, const Table& source, bool integerKey)
{
    if (source.header.size() < 4)
        throw std::runtime_error(name + ": needs a key, two note columns and a language");
    std::set<std::string> keys;
    for (std::size_t r = 0; r < source.rows.size(); ++r) {
        const auto& row = source.rows[r];
        const std::string where = name + ":" + std::to_string(source.lineNumbers[r]);
        if (integerKey ? !isInteger(row[0]) : row[0].empty())
            throw std::runtime_error(where + ": bad key '" + row[0] + "'");
        if (!keys.insert(row[0]).second)
            throw std::runtime_error(where + ": key " + row[0] + " appears twice");
        for (std::size_t c = 3; c < row.size(); ++c)
            if (row[c].empty())
                throw std::runtime_error(where + ": empty " + source.header[c] + " text");
    }
}

std::string textTableSql(const std::string& table, const Table& source, bool integerKey)
{
    std::string sql = "CREATE TABLE " + table + " (" + bracket(source.header[0]) +
                      (integerKey ? " INTEGER PRIMARY KEY" : " TEXT PRIMARY KEY NOT NULL");
    for (std::size_t c = 1; c < source.header.size(); ++c)
        sql += ", " + bracket(source.header[c]) + " TEXT";
    return sql + ");";
}

void build(const std::string& output, const Table& labels, const Table& tooltips,
           const Table& menus, const Table& defaults)
{
    checkTextSource("labels", labels, true);
    checkTextSource("tooltips", tooltips, true);
    checkTextSource("menus", menus, false);
    if (tooltips.header != labels.header || menus.header.size() != labels.header.size())
        throw std::runtime_error("the text sources must list the same languages");
    for (std::size_t c = 3; c < labels.header.size(); ++c)
        if (menus.header[c] != labels.header[c])
            throw std::runtime_error("menus: language columns differ from labels");
    if (defaults.header.size() != 3 || defaults.header[2] != "Valeur")
        throw std::runtime_error("defaults: expected the columns ID, Note, Valeur");
    for (const auto& row : defaults.rows)
        if (!isInteger(row[0]) || !isInteger(row[2]))
            throw std::runtime_error("defaults: key and value must be integers: " + row[0]);

    std::remove(output.c_str());
    Database db(output);
    db.exec("BEGIN;");
    db.exec(textTableSql("T_Labels", labels, true));
    db.exec(textTableSql("T_ToolTips", tooltips, true));
    db.exec(textTableSql("T_Menus", menus, false));
    db.exec("CREATE TABLE T_Defaults (" + bracket(defaults.header[0]) + " INTEGER PRIMARY KEY, " +
            bracket(defaults.header[1]) + " TEXT, Valeur INTEGER NOT NULL);");
    db.insert("T_Labels", labels, true);
    db.insert("T_ToolTips", tooltips, true);
    db.insert("T_Menus", menus, false);
    db.insert("T_Defaults", defaults, true);
    db.exec("COMMIT;");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::fprintf(stderr, "usage: %s OUTPUT LABELS TOOLTIPS MENUS DEFAULTS\n", argv[0]);
        return 2;
    }
    const std::string output = argv[1];
    const std::string temporary = output + ".tmp";
    try {
        build(temporary, readSource(argv[2]), readSource(argv[3]), readSource(argv[4]),
              readSource(argv[5]));
        if (std::rename(temporary.c_str(), output.c_str()) != 0)
            throw std::runtime_error("cannot rename " + temporary + " to " + output);
    } catch (const std::exception& error) {
        std::remove(temporary.c_str());
        std::fprintf(stderr, "mkdatafile: %s\n", error.what());
        return 1;
    }
    return 0;
}
