// Where the values of a call between an engine and a native object lie. An engine raises an error
// by a jump that runs no destructors: so nothing that must be freed lies on the stack, but here,
// and whoever catches the error drops what the jump left behind.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::script {

/// One call. Arguments stand as DISPPARAMS has them, in reverse.
struct CallFrame {
    CallFrame* outer;
    std::uint32_t count;
    BSTR name;
    VARIANT result;
    EXCEPINFO exception;
    VARIANT arguments[1];  ///< `count` of them

    VARIANT* argument(std::uint32_t index) { return &arguments[count - 1 - index]; }
};

class CallFrames {
public:
    CallFrames() = default;
    ~CallFrames() { drop_to(nullptr); }
    CallFrames(const CallFrames&) = delete;
    CallFrames& operator=(const CallFrames&) = delete;

    /// A frame with empty values; null without memory.
    CallFrame* begin(std::uint32_t argument_count);

    /// Frees the innermost frames up to this one, and this one.
    void end(CallFrame* frame) { drop_to(frame->outer); }

    /// Frees the frames that were begun since `frame` was the innermost.
    void drop_to(CallFrame* frame);

    CallFrame* innermost() const { return innermost_; }

private:
    CallFrame* innermost_ = nullptr;
};

}  // namespace tarnwillow::script
