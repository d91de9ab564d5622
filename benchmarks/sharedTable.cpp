// Reading 64 bytes by key from memory that processes share: ours beside a map of Boost.Interprocess
// under a lock of its own. A second thread sleeps beside them, so that no lock is skipped.
#include <unistd.h>

#include <array>
#include <boost/functional/hash.hpp>
#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_shared_memory.hpp>
#include <boost/interprocess/sync/interprocess_mutex.hpp>
#include <boost/interprocess/sync/interprocess_recursive_mutex.hpp>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <boost/unordered_map.hpp>
#include <cstring>
#include <string>

#include "cases.h"
#include "sleeper.h"
#include "tarnwillow/crossprocess/CIPCSharedTable.h"

namespace {

namespace ipc = boost::interprocess;

struct Size {
    const char* name;
    int atoms;
};

constexpr Size kSizes[] = {{"16", 16}, {"256", 256}};
constexpr std::size_t kBytes = 64;

std::string unique_name() { return "tarnwillow-bench-" + std::to_string(getpid()); }

class Ours {
public:
    Ours() { table_.Initialize(unique_name().c_str()); }
    void add(int type, int id, char const* data) { table_.New_Atom(type, id, data, kBytes); }
    bool read(int type, int id, char* out) { return table_.Get_Atom_Data(type, id, out, kBytes); }

private:
    tarnwillow::CIPCSharedTable table_;
};

template <class Mutex>
class Boost {
public:
    Boost() : memory_(ipc::create_only, unique_name().c_str(), 1 << 20) {
        mutex_ = memory_.construct<Mutex>("mutex")();
        map_ = memory_.construct<Map>("map")(256, boost::hash<Key>(), std::equal_to<Key>(),
                                             Allocator(memory_.get_segment_manager()));
    }
    ~Boost() { ipc::shared_memory_object::remove(unique_name().c_str()); }
    Boost(const Boost&) = delete;
    Boost& operator=(const Boost&) = delete;

    void add(int type, int id, char const* data) {
        const ipc::scoped_lock<Mutex> hold(*mutex_);
        std::memcpy((*map_)[Key(type, id)].data(), data, kBytes);
    }
    bool read(int type, int id, char* out) {
        const ipc::scoped_lock<Mutex> hold(*mutex_);
        const auto found = map_->find(Key(type, id));
        if (found == map_->end()) return false;
        std::memcpy(out, found->second.data(), kBytes);
        return true;
    }

private:
    using Key = std::pair<int, int>;
    using Value = std::array<char, 512>;
    using Allocator =
        ipc::allocator<std::pair<const Key, Value>, ipc::managed_shared_memory::segment_manager>;
    using Map = boost::unordered_map<Key, Value, boost::hash<Key>, std::equal_to<Key>, Allocator>;

    ipc::managed_shared_memory memory_;
    Mutex* mutex_;
    Map* map_;
};

template <class Table>
void read(benchmark::State& state, Size size) {
    const Sleeper sleeper;
    Table table;
    char data[kBytes] = "some data";
    for (int i = 0; i < size.atoms; ++i)
        table.add(1, 1000 + i, data);
    int at = 0;
    for (auto _ : state) {
        if (!table.read(1, 1000 + at, data)) state.SkipWithError("not found");
        benchmark::DoNotOptimize(data);
        at = (at + 7) % size.atoms;
    }
}

}  // namespace

int main(int argc, char** argv) {
    return tarnwillow::bench::run_cases<Size>(
        argc, argv,
        {{"ours", read<Ours>},
         {"boost", read<Boost<ipc::interprocess_mutex>>},
         {"boostRecursive", read<Boost<ipc::interprocess_recursive_mutex>>}},
        kSizes);
}
