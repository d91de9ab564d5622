// A host program, built with ordinary flags: its callbacks know nothing of guards.
#include <tarnwillow/tarnwillow.h>

#include <cstdio>

namespace {

int* volatile nowhere = nullptr;

unsigned long faulting_callback(void*, unsigned long) {
    *nowhere = 1;
    return 0;
}

}  // namespace

int main() {
    tarnwillow::CCollection list;
    list.Add_String(u"one");
    list.Protect(u"consumer", 0);
    const bool survived = tarnwillow::probe_guard(
        [&] { return list.Contains_Ex(faulting_callback, nullptr) != nullptr; },
        [] { return true; });
    const long status = list.Unprotect();
    std::printf("entries %ld, survived %d, status %ld\n", list.Entries(), survived, status);
    return survived && status == tarnwillow::S_OK ? 0 : 1;
}
