// The message core of this process: loaded when first needed, unloaded at the process's end.
//
// No lock is held while the core runs. What keeps the core in place meanwhile is a count of its
// users: it is unloaded only when the count is 0.
#pragma once

#include <cstdint>

namespace tarnwillow::detail {

struct LoadedCore;

/// A stay in the core. A fault in the core must be caught inside its life. Any thread.
class CoreUse {
public:
    enum class Load { if_needed, never };

    explicit CoreUse(Load load = Load::if_needed);
    ~CoreUse();
    CoreUse(const CoreUse&) = delete;
    CoreUse& operator=(const CoreUse&) = delete;

    /// Whether there is a core. The operations below need one.
    bool ready() const { return core_ != nullptr; }

    void queue(void const* data, long size, long code, long kind) const;

    /// Address of an exported procedure, looked up anew; null if the core has none.
    void* entry(char const* name) const;

private:
    LoadedCore const* core_;
};

/// Makes the object whose destructor unloads the core. Lines that come later are dropped.
void make_core_closer();

}  // namespace tarnwillow::detail
