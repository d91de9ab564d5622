#include "CallFrames.h"

#include <cstdlib>

namespace tarnwillow::script {

namespace {

void free_frame(CallFrame* frame) {
    SysFreeString(frame->name);
    VariantClear(&frame->result);
    SysFreeString(frame->exception.bstrSource);
    SysFreeString(frame->exception.bstrDescription);
    SysFreeString(frame->exception.bstrHelpFile);
    for (std::uint32_t i = 0; i < frame->count; ++i)
        VariantClear(&frame->arguments[i]);
    std::free(frame);
}

}  // namespace

CallFrame* CallFrames::begin(std::uint32_t argument_count) {
    const std::size_t size = sizeof(CallFrame) + argument_count * sizeof(VARIANT);
    auto* const frame = static_cast<CallFrame*>(std::calloc(1, size));
    if (frame == nullptr) return nullptr;
    frame->outer = innermost_;
    frame->count = argument_count;
    innermost_ = frame;
    return frame;
}

void CallFrames::drop_to(CallFrame* frame) {
    while (innermost_ != nullptr && innermost_ != frame) {
        CallFrame* const gone = innermost_;
        innermost_ = gone->outer;
        free_frame(gone);
    }
}

}  // namespace tarnwillow::script
