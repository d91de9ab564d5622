// Loaded by a test as a host would load a plug-in: registers two objects for the last call at
// unload, one of which is destroyed before.
#include <cstdio>
#include <new>

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/containers/globalCleanup.h"

namespace {

class Probe : public tarnwillow::CGlobalCleanupObject {
public:
    void _Do_Final_Cleanup() override {
        std::puts("cleanup");
        std::fflush(stdout);
    }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void register_probe() {
    static Probe destroyed;
    alignas(Probe) static unsigned char place[sizeof(Probe)];
    static auto& lasting = *new (place) Probe;
    for (Probe* probe : {&destroyed, &lasting})
        tarnwillow::Add_Global_Cleanup_Object(probe);
}
