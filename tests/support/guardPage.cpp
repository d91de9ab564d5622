#include "support/guardPage.h"

#include <sys/mman.h>
#include <unistd.h>

#include <new>

namespace tarnwillow::test {

GuardPage::GuardPage(std::size_t size) : size_(size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (size + page - 1) / page * page;
    mapped_ = usable + page;
    void* memory =
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    mapping_ = static_cast<char*>(memory);
    end_ = mapping_ + usable;
    mprotect(end_, page, PROT_NONE);
}

GuardPage::~GuardPage() { munmap(mapping_, mapped_); }

}  // namespace tarnwillow::test
