// What both engines need beside the engine itself.
#pragma once

#include <memory>
#include <new>
#include <vector>

#include "CallFrames.h"
#include "ScriptEngine.h"
#include "ScriptObject.h"
#include "engineText.h"

namespace tarnwillow::script {

class EngineBase : public ScriptEngine, public ObjectKeeper {
public:
    EngineBase() : link_(std::make_shared<KeeperLink>(KeeperLink{this})) {}

    CallFrames& frames() { return frames_; }
    TextRoom& text_room() { return text_room_; }

    /// A native hold on a script's object that the engine keeps under that number; null without
    /// memory.
    ScriptObject* hold(long number) { return new (std::nothrow) ScriptObject(link_, number); }

    long next_number() { return ++last_number_; }

    /// The engine is in the middle of its own work and must not be entered.
    bool is_collecting() const { return collecting_ != 0; }

    /// Gives back the engine's reference on a native object that scripts no longer reach.
    void release_native(IDispatch* object) {
        ++collecting_;
        object->Release();
        count_reference(-1);
        --collecting_;
    }

    /// Only noted: it may come from inside the engine's collection.
    void forget(long object) override try {
        forgotten_.push_back(object);
    } catch (const std::bad_alloc&) {
        // Kept until the engine goes.
    }

protected:
    /// Before the engine goes: native code finds none any more.
    void close() {
        link_->keeper = nullptr;
        ++collecting_;
    }

    /// Gives up what was forgotten. At every entry from native code.
    template <class Drop>
    void drop_forgotten(Drop drop) {
        while (!forgotten_.empty()) {
            const long object = forgotten_.back();
            forgotten_.pop_back();
            drop(object);
        }
    }

private:
    CallFrames frames_;
    TextRoom text_room_;
    std::shared_ptr<KeeperLink> link_;
    std::vector<long> forgotten_;
    long last_number_ = 0;
    int collecting_ = 0;
};

}  // namespace tarnwillow::script
