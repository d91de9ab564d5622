#include "tarnwillow/automation/scriptMappings.h"

#include <cstdio>
#include <cstring>

#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

namespace {

bool is_identifier_text(char const* text) {
    return std::strlen(text) == 36 && text[8] == '-' && text[13] == '-' && text[18] == '-' &&
           text[23] == '-';
}

template <class Test>
long find_interface(InterfaceNameIDMapping const* table, GUID* out, Test test) {
    for (; table->name != nullptr; ++table) {
        if (table->identifier == nullptr || !test(*table)) continue;
        *out = *table->identifier;
        return S_OK;
    }
    return E_NOINTERFACE;
}

char16_t const* result_text(long status) {
    switch (status) {
        case S_OK:
            return u"OK:";
        case ERROR_FILE_NOT_FOUND:
            return u"ERR:RESULT=FILE_NOT_FOUND";
        case E_OUTOFMEMORY:
            return u"ERR:RESULT=OUT_OF_MEMORY";
        case E_INVALIDARG:
            return u"ERR:RESULT=INVALID_ARGUMENT_OR_OBJECT";
        default:
            return nullptr;
    }
}

BSTR unknown_error(long status) {
    char narrow[64];
    char16_t wide[64] = {};
    const int length = std::snprintf(narrow, sizeof(narrow), "ERR:RESULT=UNKNOWN_ERROR|HRESULT=%X",
                                     static_cast<std::uint32_t>(status));
    for (int i = 0; i < length; ++i)
        wide[i] = static_cast<char16_t>(narrow[i]);
    return SysAllocString(wide);
}

}  // namespace

long Get_Script_Interface_ID(char const* text, InterfaceNameIDMapping const* table, GUID* out) {
    if (text == nullptr || table == nullptr || out == nullptr) return E_INVALIDARG;
    if (!is_identifier_text(text))
        return find_interface(table, out, [&](const InterfaceNameIDMapping& record) {
            return std::strcmp(record.name, text) == 0;
        });
    GUID wanted;
    StringToGUID(text, &wanted);
    return find_interface(table, out, [&](const InterfaceNameIDMapping& record) {
        return *record.identifier == wanted;
    });
}

void Set_Script_Result_Text(long status, VARIANT* out) {
    if (out == nullptr) return;
    VariantInit(out);
    out->vt = VT_BSTR;
    char16_t const* const text = result_text(status);
    out->bstrVal = text != nullptr ? SysAllocString(text) : unknown_error(status);
}

}  // namespace tarnwillow
