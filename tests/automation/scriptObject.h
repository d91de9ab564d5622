// A script's object without a script: members by name, methods as functions, references counted.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/variants.h"

namespace tarnwillow::test {

class ScriptObject : public IDispatch {
public:
    using Method = std::function<long(DISPPARAMS* params, VARIANT* result)>;

    /// Begins with one reference, as objects do.
    ScriptObject() { ++living; }
    virtual ~ScriptObject() { --living; }
    ScriptObject(const ScriptObject&) = delete;
    ScriptObject& operator=(const ScriptObject&) = delete;

    ScriptObject& set(std::u16string name, Value value) {
        member(std::move(name)).value = std::move(value);
        return *this;
    }
    ScriptObject& set_method(std::u16string name, Method method) {
        member(std::move(name)).method = std::move(method);
        return *this;
    }
    std::string show(std::u16string name) { return shown(member(std::move(name)).value); }

    std::int32_t QueryInterface(GUID const& id, void** object) override {
        *object = id == IID_IUnknown || id == IID_IDispatch ? this : nullptr;
        if (*object != nullptr) AddRef();
        return static_cast<std::int32_t>(*object != nullptr ? S_OK : E_NOINTERFACE);
    }
    std::uint32_t AddRef() override { return ++references; }
    std::uint32_t Release() override {
        const std::uint32_t left = --references;
        if (left == 0) delete this;
        return left;
    }
    std::int32_t GetTypeInfoCount(std::uint32_t*) override { return hresult(E_NOTIMPL); }
    std::int32_t GetTypeInfo(std::uint32_t, std::uint32_t, ITypeInfo**) override {
        return hresult(E_NOTIMPL);
    }
    std::int32_t GetIDsOfNames(GUID const&, char16_t** names, std::uint32_t, std::uint32_t,
                               DISPID* ids) override {
        for (std::size_t i = 0; i < members.size(); ++i)
            if (members[i].name == names[0]) {
                ids[0] = static_cast<DISPID>(i);
                return 0;
            }
        return hresult(DISP_E_UNKNOWNNAME);
    }
    std::int32_t Invoke(DISPID id, GUID const&, std::uint32_t, std::uint16_t flags,
                        DISPPARAMS* params, VARIANT* result, EXCEPINFO*, std::uint32_t*) override {
        Member& m = members.at(static_cast<std::size_t>(id));
        if (flags == DISPATCH_METHOD) return hresult(m.method ? m.method(params, result) : E_FAIL);
        if (flags == DISPATCH_PROPERTYGET) return hresult(VariantCopy(result, &m.value));
        return hresult(VariantCopy(&m.value, params->rgvarg));
    }

    std::uint32_t references = 1;
    inline static int living = 0;

private:
    struct Member {
        std::u16string name;
        Value value;
        Method method;
    };

    static std::int32_t hresult(long status) { return static_cast<std::int32_t>(status); }

    Member& member(std::u16string name) {
        for (Member& m : members)
            if (m.name == name) return m;
        return members.emplace_back(Member{std::move(name), {}, {}});
    }

    std::vector<Member> members;
};

/// An array as scripts have it: length, shift and push.
class ScriptArray : public ScriptObject {
public:
    explicit ScriptArray(std::vector<Value> start) : elements(std::move(start)) {
        update();
        set_method(u"shift", [this](DISPPARAMS*, VARIANT* result) {
            if (elements.empty()) return S_OK;
            VariantCopy(result, &elements.front());
            elements.erase(elements.begin());
            return update();
        });
        set_method(u"push", [this](DISPPARAMS* params, VARIANT*) {
            VariantCopy(&elements.emplace_back(), params->rgvarg);
            return update();
        });
    }

    std::string show() const {
        std::string all;
        for (const Value& element : elements)
            all += (all.empty() ? "" : ", ") + shown(element);
        return all;
    }

    std::vector<Value> elements;

private:
    long update() {
        set(u"length", Value(VT_I4, static_cast<long long>(elements.size())));
        return S_OK;
    }
};

/// The reference that the creator holds.
template <class Object>
class Held {
public:
    explicit Held(Object* object) : object_(object) {}
    ~Held() { object_->Release(); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    Object* operator->() const { return object_; }
    operator Object*() const { return object_; }

private:
    Object* object_;
};

}  // namespace tarnwillow::test
