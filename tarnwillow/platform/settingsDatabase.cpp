#include "tarnwillow/platform/settingsDatabase.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

// The file's mark, "twil", and the version of its tables.
constexpr int kApplicationId = 0x7477696C;
constexpr int kVersion = 1;

constexpr char kPragmas[] =
    "PRAGMA journal_mode=WAL;"
    // A commit is safe from the end of its process, and reaches the disk with the next checkpoint.
    "PRAGMA synchronous=NORMAL;"
    "PRAGMA journal_size_limit=4194304;";

// NOCASE folds the ASCII letters only.
constexpr char kSchema[] =
    "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " level INTEGER NOT NULL, name TEXT NOT NULL COLLATE NOCASE, UNIQUE(parent, name));"
    "CREATE TABLE entries(id INTEGER PRIMARY KEY, key INTEGER NOT NULL,"
    " name TEXT NOT NULL COLLATE NOCASE, type INTEGER NOT NULL, wide INTEGER NOT NULL,"
    " data BLOB NOT NULL, UNIQUE(key, name));"
    "INSERT INTO keys(id, parent, level, name) VALUES(1, 0, 0, '');"
    // The numbers of another database in this one's place are others: an open key of that one must
    // not lead to a key of this one.
    "UPDATE sqlite_sequence SET seq=CAST(strftime('%s','now') AS INTEGER) << 20 WHERE name='keys';"
    "PRAGMA application_id=0x7477696C;"
    "PRAGMA user_version=1;";

constexpr char const* kQueries[] = {
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT id FROM keys WHERE parent=?1 AND name=?2",
    "SELECT level FROM keys WHERE id=?1",
    "INSERT INTO keys(parent, name, level) VALUES(?1, ?2, ?3) RETURNING id",
    "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION ALL"
    " SELECT k.id FROM keys k JOIN tree t ON k.parent=t.id)"
    " DELETE FROM keys WHERE id IN tree",
    "WITH RECURSIVE tree(id) AS (SELECT ?1 UNION ALL"
    " SELECT k.id FROM keys k JOIN tree t ON k.parent=t.id)"
    " DELETE FROM entries WHERE key IN tree",
    "SELECT id, name FROM keys WHERE parent=?1 ORDER BY name",
    "SELECT id, name FROM keys WHERE parent=?1 ORDER BY name LIMIT 1 OFFSET ?2",
    "SELECT e.id, e.name, e.type, e.wide, e.data FROM keys k"
    " LEFT JOIN entries e ON e.key=k.id AND e.name=?2 WHERE k.id=?1",
    "INSERT INTO entries(key, name, type, wide, data)"
    " SELECT ?1, ?2, ?3, ?4, ?5 FROM keys WHERE id=?1"
    " ON CONFLICT(key, name) DO UPDATE SET type=?3, wide=?4, data=?5",
    "DELETE FROM entries WHERE key=?1 AND name=?2",
    "SELECT id, name, type, wide, data FROM entries WHERE key=?1 ORDER BY id",
    "SELECT id, name, type, wide, data FROM entries WHERE key=?1 ORDER BY id LIMIT 1 OFFSET ?2",
};
static_assert(sizeof kQueries / sizeof kQueries[0] == static_cast<std::size_t>(Query::count));

// The store's own processes wait for each other elsewhere: this is for other programs' sake.
int wait_for_others(void*, int attempt) {
    constexpr int kPatience = 5000;
    const int sleep = attempt < 100 ? 50 : 1000;
    if (attempt > kPatience) return 0;
    usleep(static_cast<useconds_t>(sleep));
    return 1;
}

long error_of(int result) {
    switch (result & 0xFF) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE:
            return S_OK;
        case SQLITE_NOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case SQLITE_TOOBIG:
            return ERROR_INVALID_PARAMETER;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return ERROR_BUSY;
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
        case SQLITE_AUTH:
        case SQLITE_READONLY:
            return ERROR_ACCESS_DENIED;
        case SQLITE_FULL:
            return ERROR_DISK_FULL;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return ERROR_REGISTRY_CORRUPT;
        default:
            return ERROR_REGISTRY_IO_FAILED;
    }
}

// An empty file is a database without tables. Whose mask is in force must not matter.
bool create_file(const std::string& path, unsigned access) {
    constexpr int kNew = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int file = open(path.c_str(), kNew, access);
    if (file < 0) return errno == EEXIST;
    static_cast<void>(fchmod(file, access));
    return ::close(file) == 0;
}

// The database is told that nobody changes the file, and then needs nothing beside it.
std::string frozen_name(const std::string& path) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string name = "file:";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '%' || c == '?' || c == '#')
            ((name += '%') += kDigits[byte >> 4]) += kDigits[byte & 0xF];
        else
            name += c;
    }
    return name + "?immutable=1";
}

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

}  // namespace

long SettingsDatabase::open(const std::string& path, bool create, unsigned access) {
    if (is_open()) return S_OK;
    if (!exists(path)) {
        if (!create) return ERROR_FILE_NOT_FOUND;
        if (!create_file(path, access)) return ERROR_ACCESS_DENIED;
    }
    long error = connect(path, false);
    if (error == ERROR_ACCESS_DENIED) error = connect(path, true);
    if (error != S_OK) close();
    return error;
}

// The hive's lock sees to it that one thread at a time is here.
long SettingsDatabase::connect(const std::string& path, bool frozen) {
    constexpr int kFlags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
    close();
    frozen_ = frozen;
    const int result =
        frozen
            ? sqlite3_open_v2(frozen_name(path).c_str(), &connection_,
                              kFlags | SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr)
            : sqlite3_open_v2(path.c_str(), &connection_, kFlags | SQLITE_OPEN_READWRITE, nullptr);
    if (result != SQLITE_OK) return error_of(result);
    sqlite3_extended_result_codes(connection_, 1);
    sqlite3_busy_handler(connection_, wait_for_others, nullptr);
    // The log of changes stays beside the database: an account that may only read cannot make it.
    int keep = 1;
    sqlite3_file_control(connection_, "main", SQLITE_FCNTL_PERSIST_WAL, &keep);
    sqlite3_db_config(connection_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return prepare_schema();
}

// 0 for a database without tables. Another program's is as good as damaged.
long SettingsDatabase::version(int* number) {
    sqlite3_stmt* query = nullptr;
    int result = sqlite3_prepare_v2(connection_,
                                    "SELECT user_version, application_id,"
                                    " (SELECT count(*) FROM sqlite_master)"
                                    " FROM pragma_user_version, pragma_application_id",
                                    -1, &query, nullptr);
    if (result == SQLITE_OK) result = sqlite3_step(query);
    const bool read = result == SQLITE_ROW;
    *number = read ? sqlite3_column_int(query, 0) : 0;
    const bool ours = read && sqlite3_column_int(query, 1) == kApplicationId;
    const bool empty = read && sqlite3_column_int(query, 2) == 0;
    sqlite3_finalize(query);
    if (!read) return error_of(result);
    return ours || empty ? S_OK : ERROR_REGISTRY_CORRUPT;
}

long SettingsDatabase::prepare_schema() {
    int number = 0;
    long error = version(&number);
    if (error == S_OK && is_writable())
        error = error_of(sqlite3_exec(connection_, kPragmas, nullptr, nullptr, nullptr));
    if (error == S_OK && number == 0) error = is_writable() ? make_schema() : ERROR_FILE_NOT_FOUND;
    // Tables of a later version are sound, but not for this one to touch.
    return error == S_OK && number > kVersion ? ERROR_REGISTRY_IO_FAILED : error;
}

// Under the hive's lock, so that nobody else makes them meanwhile. All or nothing.
long SettingsDatabase::make_schema() {
    const std::string all = std::string("BEGIN IMMEDIATE;") + kSchema + "COMMIT;";
    const int result = sqlite3_exec(connection_, all.c_str(), nullptr, nullptr, nullptr);
    return error_of(result);
}

bool SettingsDatabase::is_writable() const {
    return connection_ != nullptr && sqlite3_db_readonly(connection_, "main") == 0;
}

bool SettingsDatabase::in_transaction() const {
    return connection_ != nullptr && sqlite3_get_autocommit(connection_) == 0;
}

int SettingsDatabase::changed_rows() const { return sqlite3_changes(connection_); }

void SettingsDatabase::close() {
    for (sqlite3_stmt*& prepared : statements_) {
        sqlite3_finalize(prepared);
        prepared = nullptr;
    }
    sqlite3_close(connection_);
    connection_ = nullptr;
    frozen_ = false;
}

sqlite3_stmt* SettingsDatabase::statement(Query query) {
    const auto index = static_cast<std::size_t>(query);
    sqlite3_stmt*& prepared = statements_[index];
    if (prepared == nullptr && connection_ != nullptr)
        sqlite3_prepare_v3(connection_, kQueries[index], -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                           nullptr);
    return prepared;
}

Statement::Statement(SettingsDatabase& database, Query query)
    : statement_(database.statement(query)), result_(SQLITE_OK) {
    if (statement_ == nullptr)
        result_ = database.is_open() ? sqlite3_errcode(database.connection_) : SQLITE_CANTOPEN;
}

Statement::~Statement() {
    if (statement_ == nullptr) return;
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

Statement& Statement::bind(std::int64_t number) {
    if (result_ == SQLITE_OK) result_ = sqlite3_bind_int64(statement_, ++bound_, number);
    return *this;
}

Statement& Statement::bind(std::string_view text) {
    if (result_ == SQLITE_OK)
        result_ =
            sqlite3_bind_text64(statement_, ++bound_, text.data() != nullptr ? text.data() : "",
                                text.size(), SQLITE_STATIC, SQLITE_UTF8);
    return *this;
}

Statement& Statement::bind_bytes(std::string_view bytes) {
    if (result_ == SQLITE_OK)
        result_ = bytes.empty() ? sqlite3_bind_zeroblob(statement_, ++bound_, 0)
                                : sqlite3_bind_blob64(statement_, ++bound_, bytes.data(),
                                                      bytes.size(), SQLITE_STATIC);
    return *this;
}

bool Statement::next() {
    if (result_ != SQLITE_OK && result_ != SQLITE_ROW) return false;
    result_ = sqlite3_step(statement_);
    return result_ == SQLITE_ROW;
}

long Statement::finish() {
    while (next()) {
    }
    return error();
}

long Statement::error() const { return error_of(result_); }

bool Statement::is_null(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Statement::number(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string_view Statement::text(int column) const {
    auto const* start = reinterpret_cast<char const*>(sqlite3_column_text(statement_, column));
    const int length = sqlite3_column_bytes(statement_, column);
    return start != nullptr ? std::string_view(start, static_cast<std::size_t>(length))
                            : std::string_view();
}

std::string_view Statement::bytes(int column) const {
    auto const* start = static_cast<char const*>(sqlite3_column_blob(statement_, column));
    const int length = sqlite3_column_bytes(statement_, column);
    return start != nullptr ? std::string_view(start, static_cast<std::size_t>(length))
                            : std::string_view();
}

}  // namespace tarnwillow::platform
