#include "scriptObjects.h"

#include <cstdio>
#include <string_view>

#include "scriptXml.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/registry.h"
#include "textOutput.h"

namespace tarnwillow::cli {

namespace {

#define SCRIPT_METHOD(name)                                                                      \
    long name([[maybe_unused]] DISPPARAMS* params, [[maybe_unused]] VARIANT* result, EXCEPINFO*, \
              unsigned int*, IResultDispatchInterface*, [[maybe_unused]] long user, long)

// out

std::u16string_view word_of(const VARIANT& value) {
    if (value.vt == VT_BOOL) return value.boolVal != VARIANT_FALSE ? u"true" : u"false";
    if (value.vt == VT_NULL) return u"null";
    return value.vt == VT_EMPTY ? u"undefined" : u"[object]";
}

void write_value(TextOutput& out, const VARIANT& value) {
    VARIANT text{};
    const bool has_text = value.vt != VT_BOOL && value.vt != VT_EMPTY &&
                          VariantChangeType(&text, &value, 0, VT_BSTR) == S_OK;
    if (has_text)
        out.write({text.bstrVal, SysStringLen(text.bstrVal)});
    else
        out.write(word_of(value));
    VariantClear(&text);
}

SCRIPT_METHOD(print) {
    TextOutput out;
    for (std::uint32_t i = params->cArgs; i > 0; --i) {
        write_value(out, params->rgvarg[i - 1]);
        if (i > 1) out.write(u" ");
    }
    out.end_line();
    return out.finish() ? S_OK : ERROR_WRITE_FAULT;
}

// log

SCRIPT_METHOD(write_log) {
    CDispParamsMaster arguments(params);
    const int types[] = {VT_I4, VT_BSTR};
    const long wrong = arguments.Validate_Params(2, 2, 1, types, nullptr, nullptr);
    const long log_class = arguments.Get_Numeric_Param(0, -1);
    if (wrong != S_OK) return wrong;
    if (log_class < 0 || log_class >= kLogClassCount) return E_INVALIDARG;
    _LOG(log_class, u"%s", arguments.Get_Str_Param(1, u""));
    return S_OK;
}

SCRIPT_METHOD(is_log_enabled) {
    const long log_class = CDispParamsMaster(params).Get_Numeric_Param(0, -1);
    return give_bool(result, Log_Class_Enabled(static_cast<int>(log_class)));
}

// settings: the first user value is the root.

HKEY root_of(long user) { return reinterpret_cast<HKEY>(user); }

long read_number(CRegistry& key, char16_t const* name, VARIANT* result) {
    long number = 0;
    if (!key.Get_Entry(name, &number)) return E_FAIL;
    result->vt = VT_I4;
    result->llVal = number;
    return S_OK;
}

long read_text(CRegistry& key, char16_t const* name, unsigned long bytes, VARIANT* result) {
    const auto units = static_cast<std::uint32_t>(bytes / sizeof(char16_t));
    const BSTR text = SysAllocStringLen(nullptr, units);
    if (text == nullptr) return E_OUTOFMEMORY;
    unsigned long room = units + 1;
    const bool read = key.Get_Entry(name, text, &room);
    const long status = read ? give_text(result, text) : E_FAIL;
    SysFreeString(text);
    return status;
}

/// ERROR_FILE_NOT_FOUND if there is no such value of a type that a script has.
long read_setting(CRegistry& key, char16_t const* name, VARIANT* result) {
    std::uint32_t type = REG_NONE;
    std::uint32_t bytes = 0;
    const long status = RegQueryValueExW(key.Current_Key(), name, &type, nullptr, &bytes);
    if (status != S_OK) return status;
    if (type == REG_DWORD) return read_number(key, name, result);
    return type == REG_SZ ? read_text(key, name, bytes, result) : ERROR_FILE_NOT_FOUND;
}

SCRIPT_METHOD(read) {
    CDispParamsMaster arguments(params);
    const int types[] = {VT_BSTR, VT_BSTR, VT_USERDEFINED};
    const long wrong = arguments.Validate_Params(2, 3, 1, types, nullptr, nullptr);
    if (wrong != S_OK) return wrong;
    if (result == nullptr) return S_OK;
    CRegistry key;
    long status = ERROR_FILE_NOT_FOUND;
    if (key.Open_Application_KeyW(arguments.Get_Str_Param(0, u""), root_of(user)))
        status = read_setting(key, arguments.Get_Str_Param(1, u""), result);
    if (status != ERROR_FILE_NOT_FOUND) return status;
    result->vt = VT_NULL;
    VARIANT const* const fallback = arguments.Get_Variant(2, nullptr);
    return fallback != nullptr ? VariantCopy(result, fallback) : S_OK;
}

bool write_setting(CRegistry& key, char16_t const* name, const VARIANT& value) {
    if (value.vt == VT_I4) return key.Set_Entry(name, static_cast<long>(value.lVal));
    if (value.vt == VT_BOOL) return key.Set_Entry(name, value.boolVal != VARIANT_FALSE);
    if (value.vt != VT_BSTR) return false;
    return key.Set_Entry(name, value.bstrVal != nullptr ? value.bstrVal : u"");
}

SCRIPT_METHOD(write) {
    CDispParamsMaster arguments(params);
    const int types[] = {VT_BSTR, VT_BSTR, VT_USERDEFINED};
    const long wrong = arguments.Validate_Params(3, 3, 1, types, nullptr, nullptr);
    if (wrong != S_OK) return wrong;
    const VARIANT& value = *arguments.Get_Variant(2, nullptr);
    if (value.vt != VT_I4 && value.vt != VT_BOOL && value.vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
    CRegistry key;
    const bool written =
        key.Create_Application_KeyW(arguments.Get_Str_Param(0, u""), root_of(user)) &&
        write_setting(key, arguments.Get_Str_Param(1, u""), value);
    return written ? S_OK : E_FAIL;
}

SCRIPT_METHOD(remove) {
    CDispParamsMaster arguments(params);
    const int types[] = {VT_BSTR, VT_BSTR};
    const long wrong = arguments.Validate_Params(2, 2, 1, types, nullptr, nullptr);
    if (wrong != S_OK) return wrong;
    CRegistry key;
    return give_bool(result,
                     key.Open_Application_KeyW(arguments.Get_Str_Param(0, u""), root_of(user)) &&
                         key.Delete_Entry(arguments.Get_Str_Param(1, u"")));
}

IResultDispatchInterface* make_hive(HKEY root) {
    IResultDispatchInterface* const hive = CreateResultDispatch();
    if (hive == nullptr) return nullptr;
    const long user = reinterpret_cast<long>(root);
    add_method(hive, u"read", read, user);
    add_method(hive, u"write", write, user);
    add_method(hive, u"remove", remove, user);
    return hive;
}

void add_object(IResultDispatchInterface* parent, char16_t const* name,
                IResultDispatchInterface* child) {
    if (child == nullptr) return;
    VARIANT face;
    child->Get_Dispatch_Variant(&face);
    parent->Set_Property(name, face.pdispVal);
    VariantClear(&face);
    child->Release();
}

// xml

SCRIPT_METHOD(load) {
    CDispParamsMaster arguments(params);
    const int types[] = {VT_BSTR};
    const long wrong = arguments.Validate_Params(1, 1, 1, types, nullptr, nullptr);
    return wrong == S_OK ? load_document(arguments.Get_Str_Param(0, u""), result) : wrong;
}

}  // namespace

void add_method(IResultDispatchInterface* object, char16_t const* name, ResultMethodProc procedure,
                long user) {
    void* face = nullptr;
    if (object->QueryInterface(IID_IResultDispatchInterface2, &face) != S_OK) return;
    auto* const methods = static_cast<IResultDispatchInterface2*>(face);
    methods->Set_Method(name, procedure, user, 0);
    methods->Release();
}

long give_text(VARIANT* result, char16_t const* text) {
    if (result == nullptr) return S_OK;
    result->vt = VT_BSTR;
    result->bstrVal = SysAllocString(text);
    return result->bstrVal != nullptr ? S_OK : E_OUTOFMEMORY;
}

long give_bool(VARIANT* result, bool value) {
    if (result == nullptr) return S_OK;
    result->vt = VT_BOOL;
    result->boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

IResultDispatchInterface* make_output_object() {
    IResultDispatchInterface* const out = CreateResultDispatch();
    if (out != nullptr) add_method(out, u"print", print);
    return out;
}

IResultDispatchInterface* make_log_object() {
    IResultDispatchInterface* const log = CreateResultDispatch();
    if (log == nullptr) return nullptr;
    add_method(log, u"write", write_log);
    add_method(log, u"enabled", is_log_enabled);
    return log;
}

IResultDispatchInterface* make_settings_object() {
    IResultDispatchInterface* const settings = CreateResultDispatch();
    if (settings == nullptr) return nullptr;
    add_object(settings, u"user", make_hive(HKEY_CURRENT_USER));
    add_object(settings, u"machine", make_hive(HKEY_LOCAL_MACHINE));
    return settings;
}

IResultDispatchInterface* make_xml_object() {
    IResultDispatchInterface* const xml = CreateResultDispatch();
    if (xml != nullptr) add_method(xml, u"load", load);
    return xml;
}

}  // namespace tarnwillow::cli
