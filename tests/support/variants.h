// Variants made and looked at in one word each.
#pragma once

#include <atomic>
#include <cstdio>
#include <string>
#include <string_view>

#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::test {

/// A variant that clears itself.
class Value : public VARIANT {
public:
    Value() : VARIANT{} {}
    explicit Value(VARTYPE type, long long number = 0) : VARIANT{} {
        vt = type;
        llVal = number;
    }
    explicit Value(double real) : Value(VT_R8) { dblVal = real; }
    explicit Value(float real) : Value(VT_R4) { fltVal = real; }
    explicit Value(std::u16string_view text) : Value(VT_BSTR) {
        bstrVal = SysAllocStringLen(text.data(), static_cast<std::uint32_t>(text.size()));
    }
    explicit Value(IDispatch* object) : Value(VT_DISPATCH) {
        pdispVal = object;
        if (object != nullptr) object->AddRef();
    }
    Value(const Value& other) : VARIANT{} { VariantCopy(this, &other); }
    Value& operator=(const Value& other) {
        VariantCopy(this, &other);
        return *this;
    }
    ~Value() { VariantClear(this); }
};

/// "I4 5", "BSTR \"a\"", "BOOL -1", "NULL": type and value, to compare with a literal.
inline std::string shown(const VARIANT& value) {
    const auto number = [](char const* type, auto content) {
        return std::string(type) + " " + std::to_string(content);
    };
    const auto real = [](char const* type, double content) {
        char text[64];
        std::snprintf(text, sizeof(text), "%s %.17g", type, content);
        return std::string(text);
    };
    switch (value.vt) {
        case VT_EMPTY:
            return "EMPTY";
        case VT_NULL:
            return "NULL";
        case VT_I1:
            return number("I1", value.cVal);
        case VT_I2:
            return number("I2", value.iVal);
        case VT_I4:
            return number("I4", value.llVal);  // all eight bytes
        case VT_I8:
            return number("I8", value.llVal);
        case VT_INT:
            return number("INT", value.llVal);
        case VT_UI1:
            return number("UI1", value.bVal);
        case VT_UI2:
            return number("UI2", value.uiVal);
        case VT_UI4:
            return number("UI4", value.ulVal);
        case VT_UI8:
            return number("UI8", value.ullVal);
        case VT_UINT:
            return number("UINT", value.ulVal);
        case VT_R4:
            return real("R4", static_cast<double>(value.fltVal));
        case VT_R8:
            return real("R8", value.dblVal);
        case VT_BOOL:
            return number("BOOL", value.boolVal);
        case VT_DISPATCH:
            return value.pdispVal != nullptr ? "DISPATCH" : "DISPATCH null";
        case VT_UNKNOWN:
            return value.punkVal != nullptr ? "UNKNOWN" : "UNKNOWN null";
        case VT_BSTR:
            break;
        default:
            return "type " + std::to_string(value.vt);
    }
    if (value.bstrVal == nullptr) return "BSTR null";
    std::string text = "BSTR \"";
    for (std::uint32_t i = 0; i < SysStringLen(value.bstrVal); ++i)
        text += value.bstrVal[i] != 0 ? static_cast<char>(value.bstrVal[i]) : '0';
    return text + "\"";
}

/// An object without members whose references are counted; it begins with none.
class CountedObject : public IDispatch {
public:
    std::int32_t QueryInterface(GUID const& id, void** object) override {
        const bool known = id == IID_IUnknown || (id == IID_IDispatch && is_dispatch);
        *object = known ? this : nullptr;
        if (known) AddRef();
        return static_cast<std::int32_t>(known ? S_OK : E_NOINTERFACE);
    }
    std::uint32_t AddRef() override { return ++references; }
    std::uint32_t Release() override { return --references; }
    std::int32_t GetTypeInfoCount(std::uint32_t*) override { return not_here(); }
    std::int32_t GetTypeInfo(std::uint32_t, std::uint32_t, ITypeInfo**) override {
        return not_here();
    }
    std::int32_t GetIDsOfNames(GUID const&, char16_t**, std::uint32_t, std::uint32_t,
                               DISPID*) override {
        return static_cast<std::int32_t>(DISP_E_UNKNOWNNAME);
    }
    std::int32_t Invoke(DISPID, GUID const&, std::uint32_t, std::uint16_t, DISPPARAMS*, VARIANT*,
                        EXCEPINFO*, std::uint32_t*) override {
        return not_here();
    }

    std::atomic<std::uint32_t> references{0};
    bool is_dispatch = true;

private:
    static std::int32_t not_here() { return static_cast<std::int32_t>(E_NOTIMPL); }
};

}  // namespace tarnwillow::test
