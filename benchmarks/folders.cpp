// Copying, counting and removing a tree of 100,000 entries: ours beside std::filesystem on the same
// tree. What one job leaves behind is put right outside the time that is counted. The tree lies in
// memory, so that no disk is measured; TMPDIR names another place.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tarnwillow/files/folderOperations.h"
#include "tarnwillow/files/folderQueries.h"

namespace {

namespace fs = std::filesystem;

constexpr int kBranches = 10;  // of each of three levels
constexpr int kEntries = 100'000;
constexpr int kFolders = kBranches + kBranches * kBranches + kBranches * kBranches * kBranches;
constexpr int kFiles = kEntries - kFolders;
constexpr std::size_t kLargestFile = 4000;

fs::path top;
fs::path source;  // stays as it is
fs::path target;  // comes and goes

void write_file(const fs::path& file, int number) {
    static const std::string text(kLargestFile, 'x');
    const auto size = static_cast<std::size_t>(number) * 7919 % kLargestFile;
    std::ofstream(file).write(text.data(), static_cast<std::streamsize>(size));
}

void make_tree() {
    for (int i = 0; i < kFiles; ++i) {
        const int leaf = i % (kBranches * kBranches * kBranches);
        const fs::path folder = source / std::to_string(leaf / 100) /
                                std::to_string(leaf / 10 % 10) / std::to_string(leaf % 10);
        if (i == leaf) fs::create_directories(folder);
        write_file(folder / ("file" + std::to_string(i)), i);
    }
}

void copy_peer() {
    fs::copy(source, target / source.filename(),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

int count(const fs::path& folder) {
    unsigned long files = 0, folders = 0;
    tarnwillow::Count_Folder_Items(folder.u16string().c_str(), &files, &folders, true);
    return static_cast<int>(files + folders);
}

int count_peer(const fs::path& folder) {
    unsigned long files = 0, folders = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().filename().native()[0] == '.') continue;
        ++(entry.is_directory() ? folders : files);
    }
    return static_cast<int>(files + folders);
}

template <class Before, class Job, class After>
void measure(benchmark::State& state, Before before, Job job, After after) {
    for (auto _ : state) {
        state.PauseTiming();
        before();
        state.ResumeTiming();
        job();
        state.PauseTiming();
        after();
        state.ResumeTiming();
    }
}

const auto kNothing = [] {};
const auto kMakeTarget = [] { fs::create_directory(target); };
const auto kRemoveTarget = [] { fs::remove_all(target); };
const auto kFillTarget = [] {
    fs::create_directory(target);
    copy_peer();
};
const auto kCheckCopy = [] {
    if (count_peer(target) != kEntries + 1) std::abort();
    kRemoveTarget();
};
const auto kCheckGone = [] {
    if (fs::exists(target)) std::abort();
};

void copy_ours(benchmark::State& state) {
    const auto job = [] { tarnwillow::CopyFolder(source.c_str(), target.c_str()); };
    measure(state, kMakeTarget, job, kCheckCopy);
    static_cast<void>(chdir("/"));
}
void copy_filesystem(benchmark::State& state) {
    measure(state, kMakeTarget, copy_peer, kCheckCopy);
}

void count_ours(benchmark::State& state) {
    measure(
        state, kNothing, [] { benchmark::DoNotOptimize(count(source)); }, kNothing);
}
void count_filesystem(benchmark::State& state) {
    measure(
        state, kNothing, [] { benchmark::DoNotOptimize(count_peer(source)); }, kNothing);
}

void remove_ours(benchmark::State& state) {
    measure(
        state, kFillTarget, [] { tarnwillow::DirDestroyAll(target.c_str()); }, kCheckGone);
}
void remove_filesystem(benchmark::State& state) {
    measure(state, kFillTarget, kRemoveTarget, kCheckGone);
}

void rounds(benchmark::internal::Benchmark* bench) {
    bench->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(4);
}

BENCHMARK(copy_ours)->Apply(rounds);
BENCHMARK(copy_filesystem)->Apply(rounds);
BENCHMARK(count_ours)->Apply(rounds);
BENCHMARK(count_filesystem)->Apply(rounds);
BENCHMARK(remove_ours)->Apply(rounds);
BENCHMARK(remove_filesystem)->Apply(rounds);

}  // namespace

int main(int argc, char** argv) {
    char const* const place = std::getenv("TMPDIR");
    std::string name = std::string(place != nullptr ? place : "/dev/shm") + "/folders-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) return 1;
    top = name;
    source = top / "source";
    target = top / "target";
    make_tree();
    if (count(source) != kEntries || count_peer(source) != kEntries) return 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    fs::remove_all(top);
    return 0;
}
