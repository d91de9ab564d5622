// A mutex that processes share, taken and released with nobody waiting: through a handle and as a
// scoped holder, beside the bare mutex of the system of the same kind.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sys/mman.h>

#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/waits.h"

namespace {

using namespace tarnwillow;

constexpr char kName[] = "tarnwillow benchmark";

void named_mutex_by_handle(benchmark::State& state) {
    const HANDLE mutex = CreatePublicMutex(kName);
    for (auto _ : state) {
        if (WaitForSingleObject(mutex, INFINITE) != WAIT_OBJECT_0) state.SkipWithError("not taken");
        benchmark::ClobberMemory();
        ReleaseMutex(mutex);
    }
    CloseHandle(mutex);
}

void named_mutex_scoped(benchmark::State& state) {
    const HANDLE mutex = CreatePublicMutex(kName);
    for (auto _ : state) {
        const CAutoMutex held(mutex, -1);
        if (!held.Is_Held()) state.SkipWithError("not taken");
        benchmark::ClobberMemory();
    }
    CloseHandle(mutex);
}

void bare_robust_mutex(benchmark::State& state) {
    void* memory = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto* const mutex = static_cast<pthread_mutex_t*>(memory);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(mutex, &attributes);
    for (auto _ : state) {
        if (pthread_mutex_lock(mutex) != 0) state.SkipWithError("not taken");
        benchmark::ClobberMemory();
        pthread_mutex_unlock(mutex);
    }
    munmap(memory, sizeof(pthread_mutex_t));
}

BENCHMARK(named_mutex_by_handle);
BENCHMARK(named_mutex_scoped);
BENCHMARK(bare_robust_mutex);

}  // namespace

BENCHMARK_MAIN();
