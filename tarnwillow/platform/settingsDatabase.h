// One connection to the database file of a hive: opening, statements, transactions. Not for two
// threads at once.
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarnwillow::platform {

/// The statements that the store lives on.
enum class Query {
    begin,
    commit,
    rollback,
    find_key,
    key_level,
    insert_key,
    delete_tree,
    delete_tree_values,
    subkeys,
    subkey_at,
    find_value,
    set_value,
    delete_value,
    values,
    value_at,
    count
};

class SettingsDatabase {
public:
    SettingsDatabase() = default;
    ~SettingsDatabase() { close(); }
    SettingsDatabase(const SettingsDatabase&) = delete;
    SettingsDatabase& operator=(const SettingsDatabase&) = delete;

    /// Opens the file, for writing if the account may. An account that may not, and finds no log of
    /// changes beside the file, reads the file as it stands: see is_frozen. With `create` makes a
    /// missing one with that access. ERROR_FILE_NOT_FOUND if there is none; ERROR_REGISTRY_CORRUPT
    /// if it cannot be read.
    long open(const std::string& path, bool create, unsigned access);

    bool is_open() const { return connection_ != nullptr; }
    bool is_writable() const;

    /// Whether the connection sees no change that is made after its opening.
    bool is_frozen() const { return frozen_; }

    void close();

    bool in_transaction() const;
    int changed_rows() const;  ///< by the last statement that changed any

private:
    friend class Statement;

    long connect(const std::string& path, bool frozen);
    long prepare_schema();
    long make_schema();
    long version(int* number);
    sqlite3_stmt* statement(Query query);

    sqlite3* connection_ = nullptr;
    bool frozen_ = false;
    std::array<sqlite3_stmt*, static_cast<std::size_t>(Query::count)> statements_{};
};

/// One run of a statement. It ends with the object.
class Statement {
public:
    Statement(SettingsDatabase& database, Query query);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Arguments, in order. Text and bytes must outlive the object.
    Statement& bind(std::int64_t number);
    Statement& bind(std::string_view text);
    Statement& bind_bytes(std::string_view bytes);

    /// Whether another row came. False at the end and on failure.
    bool next();

    /// Runs a statement without rows, or to the end. 0, or the error.
    long finish();

    /// 0 unless something failed.
    long error() const;

    // Columns of the present row. The views live until the next row.
    bool is_null(int column) const;
    std::int64_t number(int column) const;
    std::string_view text(int column) const;
    std::string_view bytes(int column) const;

private:
    sqlite3_stmt* const statement_;
    int result_;
    int bound_ = 0;
};

}  // namespace tarnwillow::platform
