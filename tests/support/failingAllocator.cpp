#include "support/failingAllocator.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "tarnwillow/platform/memoryBlock.h"

namespace tarnwillow::test {

namespace {

struct Plan {
    bool active = false;
    std::size_t successes = 0;
    std::size_t at_least = 0;
    std::size_t refused = 0;
};

thread_local Plan plan;
std::atomic<long> living{0};

bool refuse(std::size_t size) {
    if (!plan.active || size < plan.at_least) return false;
    if (plan.successes > 0) {
        --plan.successes;
        return false;
    }
    ++plan.refused;
    return true;
}

void* allocate(std::size_t size, std::size_t alignment) {
    if (refuse(size)) return nullptr;
    void* memory = nullptr;
    if (alignment <= alignof(std::max_align_t))
        memory = std::malloc(size != 0 ? size : 1);
    else if (posix_memalign(&memory, alignment, size) != 0)
        memory = nullptr;
    if (memory != nullptr) ++living;
    return memory;
}

void* allocate_or_throw(std::size_t size, std::size_t alignment) {
    void* memory = allocate(size, alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void release(void* memory) {
    if (memory != nullptr) --living;
    std::free(memory);
}

}  // namespace

FailingAllocator::FailingAllocator(std::size_t successes, std::size_t at_least) {
    plan = {true, successes, at_least, 0};
}
FailingAllocator::~FailingAllocator() { plan.active = false; }
std::size_t FailingAllocator::refused() const { return plan.refused; }

long live_allocations() { return living; }

}  // namespace tarnwillow::test

namespace tarnwillow::platform {

void* resize_heap(void* memory, std::size_t bytes) noexcept {
    if (test::refuse(bytes)) return nullptr;
    void* const resized = std::realloc(memory, bytes != 0 ? bytes : 1);
    if (memory == nullptr && resized != nullptr) ++test::living;
    return resized;
}

void free_heap(void* memory) noexcept { test::release(memory); }

}  // namespace tarnwillow::platform

namespace {
constexpr std::size_t kPlain = alignof(std::max_align_t);
}

void* operator new(std::size_t size) { return tarnwillow::test::allocate_or_throw(size, kPlain); }
void* operator new[](std::size_t size) { return tarnwillow::test::allocate_or_throw(size, kPlain); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return tarnwillow::test::allocate_or_throw(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return tarnwillow::test::allocate(size, kPlain);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return tarnwillow::test::allocate(size, kPlain);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return tarnwillow::test::allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { tarnwillow::test::release(memory); }
void operator delete[](void* memory) noexcept { tarnwillow::test::release(memory); }
void operator delete(void* memory, std::size_t) noexcept { tarnwillow::test::release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { tarnwillow::test::release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { tarnwillow::test::release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    tarnwillow::test::release(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    tarnwillow::test::release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    tarnwillow::test::release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    tarnwillow::test::release(memory);
}
