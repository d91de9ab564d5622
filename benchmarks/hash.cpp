// The hash table beside the two maps that a caller would otherwise take. A key comes as a
// terminated wide text, as callers have it, and the maps are given it in the way that suits them:
// std::unordered_map with a key made for the call, and with a view where it looks up without one.
#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarnwillow/containers/CHashedCollection.h"

namespace {

using tarnwillow::CHashedCollection;

struct Value {
    void* data;
    long length;
};

// Keys such as programs have, of 9 to 22 units.
std::vector<std::u16string> make_keys(std::int64_t number) {
    static constexpr char16_t const* kStems[] = {u"window.", u"document.title.", u"user.name.",
                                                 u"colour."};
    std::vector<std::u16string> keys;
    for (std::int64_t i = 0; i < number; ++i) {
        const std::string digits = std::to_string(i * 7919 % 1000003 + 10);
        keys.push_back(kStems[i % 4] + std::u16string(digits.begin(), digits.end()));
    }
    return keys;
}

// In an order of their own, so that no walk over the table's memory helps. The texts themselves are
// copied last and lie in that order.
std::vector<std::u16string> shuffled(std::vector<std::u16string> keys) {
    std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
    return std::vector<std::u16string>(keys);
}

class Ours {
public:
    Ours(const std::vector<std::u16string>& keys, std::int64_t buckets) {
        table_.Initialize(static_cast<int>(buckets));
        for (const std::u16string& key : keys)
            insert(key.c_str());
    }
    void insert(char16_t const* key) { table_.Add(key, this, 1); }
    void remove(char16_t const* key) { table_.Remove(key); }
    void* find(char16_t const* key) {
        void* data = nullptr;
        long length = 0;
        table_.Find(key, &data, &length);
        return data;
    }

private:
    CHashedCollection table_;
};

// Of a text and of a view of it alike, so that a lookup makes no text.
template <template <class> class Hash>
struct ViewHash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view key) const {
        return Hash<std::u16string_view>()(key);
    }
};

template <class Map, class Key>
class Peer {
public:
    Peer(const std::vector<std::u16string>& keys, std::int64_t) {
        for (const std::u16string& key : keys)
            insert(key.c_str());
    }
    void insert(char16_t const* key) { map_.emplace(key, Value{this, 1}); }
    void remove(char16_t const* key) {
        const auto found = map_.find(Key(key));
        if (found != map_.end()) map_.erase(found);
    }
    void* find(char16_t const* key) {
        const auto found = map_.find(Key(key));
        return found != map_.end() ? found->second.data : nullptr;
    }

private:
    Map map_;
};

using Std = Peer<std::unordered_map<std::u16string, Value>, std::u16string>;
using StdView =
    Peer<std::unordered_map<std::u16string, Value, ViewHash<std::hash>, std::equal_to<>>,
         std::u16string_view>;
using Absl = Peer<absl::flat_hash_map<std::u16string, Value, ViewHash<absl::Hash>, std::equal_to<>>,
                  std::u16string_view>;

// Arguments: keys, buckets.
template <class Table>
void Find(benchmark::State& state) {
    const std::vector<std::u16string> keys = make_keys(state.range(0));
    const std::vector<std::u16string> wanted = shuffled(keys);
    Table table(keys, state.range(1));
    std::size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.find(wanted[at].c_str()));
        if (++at == wanted.size()) at = 0;
    }
}

template <class Table>
void RemoveAndInsert(benchmark::State& state) {
    const std::vector<std::u16string> keys = make_keys(state.range(0));
    const std::vector<std::u16string> wanted = shuffled(keys);
    Table table(keys, state.range(1));
    std::size_t at = 0;
    for (auto _ : state) {
        table.remove(wanted[at].c_str());
        table.insert(wanted[at].c_str());
        if (++at == wanted.size()) at = 0;
    }
}

void sizes(benchmark::internal::Benchmark* job) {
    job->ArgNames({"keys", "buckets"});
    for (const std::int64_t keys : {50, 1000, 100'000})
        job->Args({keys, keys});
}

void sizes_of_ours(benchmark::internal::Benchmark* job) {
    sizes(job);
    job->Args({1000, 50})->Args({100'000, 50});
}

BENCHMARK_TEMPLATE(Find, Ours)->Apply(sizes_of_ours);
BENCHMARK_TEMPLATE(Find, Std)->Apply(sizes);
BENCHMARK_TEMPLATE(Find, StdView)->Apply(sizes);
BENCHMARK_TEMPLATE(Find, Absl)->Apply(sizes);
BENCHMARK_TEMPLATE(RemoveAndInsert, Ours)->Apply(sizes_of_ours);
BENCHMARK_TEMPLATE(RemoveAndInsert, Std)->Apply(sizes);
BENCHMARK_TEMPLATE(RemoveAndInsert, StdView)->Apply(sizes);
BENCHMARK_TEMPLATE(RemoveAndInsert, Absl)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
