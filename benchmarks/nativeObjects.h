// One native object as the peers bind it: GObject's properties, and the two engines' own ways.
#pragma once

#include <duktape.h>
#include <glib-object.h>
#include <mujs.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>

namespace tarnwillow::bench {

/// The numbers beside "number", which nobody asks for.
inline constexpr char const* kOtherNumbers[] = {"depth", "height", "width", "x", "y"};

// GObject.

struct Thing {
    GObject parent;
    int number;
    char* text;
};
struct ThingClass {
    GObjectClass parent;
};
enum { kNumber = 1, kText, kFirstOther };

inline void thing_get(GObject* object, guint id, GValue* value, GParamSpec*) {
    auto* const thing = reinterpret_cast<Thing*>(object);
    if (id == kNumber)
        g_value_set_int(value, thing->number);
    else
        g_value_set_string(value, "some text");
}

inline void thing_set(GObject* object, guint, const GValue* value, GParamSpec*) {
    reinterpret_cast<Thing*>(object)->number = g_value_get_int(value);
}

inline void thing_class_init(void* data, void*) {
    auto* const klass = static_cast<GObjectClass*>(data);
    klass->get_property = thing_get;
    klass->set_property = thing_set;
    g_object_class_install_property(
        klass, kNumber,
        g_param_spec_int("number", "", "", 0, 1 << 30, 0,
                         static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
    g_object_class_install_property(
        klass, kText,
        g_param_spec_string("text", "", "", nullptr,
                            static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));
    guint id = kFirstOther;
    for (char const* const name : kOtherNumbers)
        g_object_class_install_property(
            klass, id++,
            g_param_spec_int(name, "", "", 0, 1 << 30, 0,
                             static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
}

inline GObject* new_thing() {
    static const GType type =
        g_type_register_static_simple(G_TYPE_OBJECT, "Thing", sizeof(ThingClass), thing_class_init,
                                      sizeof(Thing), nullptr, GTypeFlags(0));
    return static_cast<GObject*>(g_object_new(type, nullptr));
}

// Duktape's own: accessors and a function in C, over a pointer in the object.

/// What scripts of an engine's own binding see. A call holds a reference, as any host's must whose
/// objects may be given up by what they call.
struct Native {
    int number = 5;
    std::atomic<int> references{1};
};

class Hold {
public:
    explicit Hold(Native& native) : native_(native) { ++native_.references; }
    ~Hold() { --native_.references; }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    Native& native_;
};

inline Native& native_of(duk_context* ctx) {
    duk_push_this(ctx);
    duk_get_prop_literal(ctx, -1, DUK_HIDDEN_SYMBOL("native"));
    return *static_cast<Native*>(duk_get_pointer(ctx, -1));
}

inline duk_ret_t duk_number(duk_context* ctx) {
    duk_push_int(ctx, native_of(ctx).number);
    return 1;
}

inline duk_ret_t duk_set_number(duk_context* ctx) {
    const int number = duk_get_int(ctx, 0);
    native_of(ctx).number = number;
    return 0;
}

inline duk_ret_t duk_text(duk_context* ctx) {
    native_of(ctx);
    duk_push_string(ctx, "some text");
    return 1;
}

inline duk_ret_t duk_add(duk_context* ctx) {
    const Hold hold(native_of(ctx));
    duk_push_int(ctx, duk_get_int(ctx, 0) + duk_get_int(ctx, 1));
    return 1;
}

class Duktape {
public:
    Duktape() {
        duk_push_object(ctx);
        duk_push_pointer(ctx, &native);
        duk_put_prop_literal(ctx, -2, DUK_HIDDEN_SYMBOL("native"));
        for (char const* const name : kOtherNumbers)
            accessor(name, duk_number, duk_set_number);
        accessor("number", duk_number, duk_set_number);
        accessor("text", duk_text, nullptr);
        duk_push_c_function(ctx, duk_add, 2);
        duk_put_prop_literal(ctx, -2, "add");
        duk_dup_top(ctx);
        duk_put_global_literal(ctx, "o");
    }
    ~Duktape() { duk_destroy_heap(ctx); }

    duk_context* ctx = duk_create_heap_default();
    Native native;

private:
    void accessor(char const* name, duk_c_function get, duk_c_function set) {
        duk_push_string(ctx, name);
        duk_push_c_function(ctx, get, 0);
        if (set != nullptr) duk_push_c_function(ctx, set, 1);
        duk_def_prop(ctx, set != nullptr ? -4 : -3,
                     DUK_DEFPROP_HAVE_GETTER | (set != nullptr ? DUK_DEFPROP_HAVE_SETTER : 0));
    }
};

// MuJS's own.

inline constexpr char kTag[] = "native";

struct MujsMember {
    char const* name;
    void (*get)(js_State* J, Native& native);
    void (*set)(js_State* J, Native& native);
};

inline void get_number(js_State* J, Native& native) { js_pushnumber(J, native.number); }
inline void set_number(js_State* J, Native& native) { native.number = js_tointeger(J, -1); }
inline void get_text(js_State* J, Native&) { js_pushstring(J, "some text"); }

/// In the order of their names.
inline constexpr MujsMember kMujsMembers[] = {
    {"depth", get_number, set_number},  {"height", get_number, set_number},
    {"number", get_number, set_number}, {"text", get_text, nullptr},
    {"width", get_number, set_number},  {"x", get_number, set_number},
    {"y", get_number, set_number}};

inline MujsMember const* find_member(char const* name) {
    const auto* const found = std::lower_bound(
        std::begin(kMujsMembers), std::end(kMujsMembers), name,
        [](const MujsMember& m, char const* wanted) { return std::strcmp(m.name, wanted) < 0; });
    const bool is_it = found != std::end(kMujsMembers) && std::strcmp(found->name, name) == 0;
    return is_it ? found : nullptr;
}

inline int js_has(js_State* J, void* data, char const* name) {
    MujsMember const* const member = find_member(name);
    if (member == nullptr) return 0;
    member->get(J, *static_cast<Native*>(data));
    return 1;
}

inline int js_put(js_State* J, void* data, char const* name) {
    MujsMember const* const member = find_member(name);
    if (member == nullptr || member->set == nullptr) return 0;
    member->set(J, *static_cast<Native*>(data));
    return 1;
}

inline Native& this_native(js_State* J) { return *static_cast<Native*>(js_touserdata(J, 0, kTag)); }

inline void js_add(js_State* J) {
    Native& native = this_native(J);
    ++native.references;  // not a Hold: an error would jump over its end
    const int sum = js_tointeger(J, 1) + js_tointeger(J, 2);
    --native.references;
    js_pushnumber(J, sum);
}

inline void js_get_number(js_State* J) { get_number(J, this_native(J)); }
inline void js_set_number(js_State* J) {
    set_number(J, this_native(J));
    js_pushundefined(J);
}
inline void js_get_text(js_State* J) { get_text(J, this_native(J)); }

enum class Binding { kUserData, kAccessors };

template <Binding binding>
class Mujs {
public:
    Mujs() {
        js_newobject(J);
        js_newcfunction(J, js_add, "add", 2);
        js_setproperty(J, -2, "add");
        if constexpr (binding == Binding::kUserData) {
            js_newuserdatax(J, kTag, &native, js_has, js_put, nullptr, nullptr);
        } else {
            define_accessors();
            js_newuserdata(J, kTag, &native, nullptr);
        }
        js_copy(J, -1);
        js_setglobal(J, "o");
    }
    ~Mujs() { js_freestate(J); }

    js_State* J = js_newstate(nullptr, nullptr, JS_STRICT);
    Native native;

private:
    void define_accessors() {
        for (const MujsMember& member : kMujsMembers) {
            js_newcfunction(J, member.get == get_text ? js_get_text : js_get_number, "get", 0);
            js_newcfunction(J, js_set_number, "set", 1);
            js_defaccessor(J, -3, member.name, JS_DONTENUM);
        }
    }
};

}  // namespace tarnwillow::bench
