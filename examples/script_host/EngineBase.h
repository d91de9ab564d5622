// What both engines need beside the engine itself.
#pragma once

#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "CallFrames.h"
#include "ScriptEngine.h"
#include "ScriptObject.h"
#include "engineText.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::script {

/// What native code asks an engine for, with what that takes.
enum class Step { kHas, kGet, kPut, kCall, kForget, kDefine, kRun };

struct Task {
    long object;       ///< the engine's number of a script's object
    char const* name;  ///< of a member, a global or a file
    VARIANT const* value;
    DISPPARAMS const* params;
    VARIANT* result;
    IDispatch* native;
    std::string_view source;  ///< terminated
    bool has;
};

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

    bool define(char const* name, IDispatch* object) override {
        Task task = new_task(0, name);
        task.native = object;
        return attempt(Step::kDefine, task, nullptr) == S_OK;
    }
    bool run(std::string_view source, char const* file, std::string* failure) override {
        const std::string terminated(source);
        Task task = new_task(0, file);
        task.source = terminated;
        BSTR text = nullptr;
        if (attempt(Step::kRun, task, &text) == S_OK) return true;
        *failure = to_engine_text({text, SysStringLen(text)}, Zero::kPlain);
        SysFreeString(text);
        return false;
    }

    bool has_member(long object, char const* name) override {
        Task task = new_task(object, name);
        return attempt(Step::kHas, task, nullptr) == S_OK && task.has;
    }
    long get_member(long object, char const* name, VARIANT* result, BSTR* failure) override {
        Task task = new_task(object, name);
        task.result = result;
        return attempt(Step::kGet, task, failure);
    }
    long put_member(long object, char const* name, VARIANT const* value, BSTR* failure) override {
        Task task = new_task(object, name);
        task.value = value;
        return attempt(Step::kPut, task, failure);
    }
    long call_member(long object, char const* name, DISPPARAMS const* params, VARIANT* result,
                     BSTR* failure) override {
        Task task = new_task(object, name);
        task.params = params;
        task.result = result;
        return attempt(Step::kCall, task, failure);
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

    /// Does it inside a protected call. False leaves the error that was raised on the engine's
    /// stack, and nothing else is ever left there.
    virtual bool perform(Step step, Task& task) = 0;

    /// Takes that error off the stack. Its text, with the place if `step` is kRun; null without
    /// memory.
    virtual BSTR take_error(Step step) = 0;

    /// Gives up what was forgotten. At every entry from native code.
    void drop_forgotten() {
        while (!forgotten_.empty()) {
            Task task = new_task(forgotten_.back(), nullptr);
            forgotten_.pop_back();
            if (!perform(Step::kForget, task)) SysFreeString(take_error(Step::kForget));
        }
    }

private:
    static Task new_task(long object, char const* name) {
        Task task{};
        task.object = object;
        task.name = name;
        return task;
    }

    long attempt(Step step, Task& task, BSTR* failure) {
        if (is_collecting()) return E_UNEXPECTED;
        drop_forgotten();
        CallFrame* const mark = frames_.innermost();
        if (perform(step, task)) return S_OK;
        frames_.drop_to(mark);
        BSTR const text = take_error(step);
        if (failure != nullptr)
            *failure = text;
        else
            SysFreeString(text);
        return DISP_E_EXCEPTION;
    }

    CallFrames frames_;
    TextRoom text_room_;
    std::shared_ptr<KeeperLink> link_;
    std::vector<long> forgotten_;
    long last_number_ = 0;
    int collecting_ = 0;
};

}  // namespace tarnwillow::script
