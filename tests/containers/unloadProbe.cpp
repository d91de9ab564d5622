// Loaded by a test as a host would load a plug-in: registers an object for the last call at unload.
#include <cstdio>

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

Probe probe;

}  // namespace

extern "C" __attribute__((visibility("default"))) void register_probe() {
    tarnwillow::Add_Global_Cleanup_Object(&probe);
}
