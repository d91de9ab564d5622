// A setting read and written, beside what a program would do without the store: a small file opened
// and read for the one, the bare database at the same durability for the other.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tarnwillow/files/CRegistry.h"

namespace {

using namespace tarnwillow;

/// A folder of the run's own, with the store and the peers' files in it.
class Folder {
public:
    Folder() {
        if (mkdtemp(name_.data()) == nullptr) std::abort();
        setenv("TARNWILLOW_SETTINGS_DIR", name_.c_str(), 1);
    }
    ~Folder() { std::filesystem::remove_all(name_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string file(char const* name) const { return name_ + "/" + name; }

private:
    std::string name_ =
        (std::filesystem::temp_directory_path() / "tarnwillow-bench-XXXXXX").string();
};

const Folder& folder() {
    static const Folder the_folder;
    return the_folder;
}

void settings_read_fresh_object(benchmark::State& state) {
    folder();
    {
        CRegistry settings;
        if (!settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE)) std::abort();
        settings.Set_Entry("ExceptionHandlerLevel", 2L);
    }
    for (auto _ : state) {
        CRegistry settings;
        long level = 0;
        settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
        if (!settings.Get_Entry("ExceptionHandlerLevel", &level)) std::abort();
        benchmark::DoNotOptimize(level);
    }
}

void small_file_open_and_read(benchmark::State& state) {
    const std::string path = folder().file("small");
    const int made = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (write(made, "2\n", 2) != 2) std::abort();
    close(made);
    for (auto _ : state) {
        char text[64];
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        const ssize_t length = read(file, text, sizeof text - 1);
        if (length <= 0) std::abort();
        text[length] = 0;
        benchmark::DoNotOptimize(std::strtol(text, nullptr, 10));
        close(file);
    }
}

void settings_read_open_object(benchmark::State& state) {
    folder();
    CRegistry settings;
    settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    settings.Set_Entry("ExceptionHandlerLevel", 2L);
    for (auto _ : state) {
        long level = 0;
        settings.Get_Entry("ExceptionHandlerLevel", &level);
        benchmark::DoNotOptimize(level);
    }
}

void settings_committed_write(benchmark::State& state) {
    folder();
    CRegistry settings;
    settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    long number = 0;
    for (auto _ : state)
        if (!settings.Set_Entry("Counter", ++number & 0xFFFF)) std::abort();
}

void sqlite_committed_write(benchmark::State& state) {
    sqlite3* database = nullptr;
    sqlite3_open(folder().file("bare.db").c_str(), &database);
    sqlite3_exec(database,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
                 "CREATE TABLE IF NOT EXISTS entries(id INTEGER PRIMARY KEY, key INTEGER,"
                 " name TEXT COLLATE NOCASE, type INTEGER, data BLOB, UNIQUE(key, name));",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt* set = nullptr;
    sqlite3_prepare_v2(database,
                       "INSERT INTO entries(key, name, type, data) VALUES(1, 'Counter', 4, ?1)"
                       " ON CONFLICT(key, name) DO UPDATE SET data=?1",
                       -1, &set, nullptr);
    std::uint32_t number = 0;
    for (auto _ : state) {
        ++number;
        sqlite3_bind_blob(set, 1, &number, sizeof number, SQLITE_STATIC);
        if (sqlite3_step(set) != SQLITE_DONE) std::abort();
        sqlite3_reset(set);
    }
    sqlite3_finalize(set);
    sqlite3_close(database);
}

BENCHMARK(settings_read_fresh_object);
BENCHMARK(small_file_open_and_read);
BENCHMARK(settings_read_open_object);
BENCHMARK(settings_committed_write);
BENCHMARK(sqlite_committed_write);

}  // namespace

BENCHMARK_MAIN();
