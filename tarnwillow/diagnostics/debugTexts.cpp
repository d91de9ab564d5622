#include "tarnwillow/diagnostics/debugTexts.h"

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kShownRoom = 256;  // of a string's own characters, with the terminator

/// A debug text while it is put together.
struct DebugText {
    VARTYPE type = VT_EMPTY;
    VARIANT converted{};  // owned
    char16_t shown[kShownRoom] = {};
};

char16_t const* text_of_type(VARTYPE type) {
    switch (type) {
        case VT_DISPATCH:
            return u"[Object]";
        case VT_UNKNOWN:
            return u"[Unknown]";
        case VT_NULL:
            return u"[Null]";
        case VT_EMPTY:
            return u"[Empty]";
        default:
            return nullptr;
    }
}

void show(DebugText& text, char16_t const* what) {
    if (what != nullptr) platform::format_text(text.shown, kShownRoom, u"%s", what);
}

long read(DebugText& text, VARIANT const& value) {
    text.type = value.vt;
    if (char16_t const* const fixed = text_of_type(text.type)) {
        show(text, fixed);
    } else if (text.type == VT_BOOL) {
        show(text, value.boolVal != 0 ? u"true" : u"false");
    } else if (text.type == VT_BSTR) {
        show(text, value.bstrVal);
    } else {
        const long result = VariantChangeType(&text.converted, &value, 0, VT_BSTR);
        if (result != S_OK) return result;
        show(text, text.converted.bstrVal);
    }
    return S_OK;
}

// A "%" is spelt out: the text may end in a format. The quotes always find room.
void write_quoted(char16_t const* text, char16_t* out) {
    constexpr char16_t kPercent[] = u"<<PC>>";
    constexpr std::size_t kMost = kDebugTextRoom - 2;
    std::size_t length = 0;
    out[length++] = u'"';
    for (; *text != 0 && length < kMost; ++text) {
        if (*text != u'%')
            out[length++] = *text;
        else if (length + wide::length(kPercent) <= kMost)
            length += wide::copy(out + length, kDebugTextRoom - length, kPercent);
        else
            break;
    }
    out[length++] = u'"';
    out[length] = 0;
}

void write(const DebugText& text, long result, char16_t* out) {
    if (result != S_OK)
        platform::format_text(out, kDebugTextRoom, u"%s{%d}", text.shown, text.type);
    else if (text.type == VT_BSTR)
        write_quoted(text.shown, out);
    else
        wide::copy(out, kDebugTextRoom, text.shown);
}

template <class Body>
long reported(Body body) {
    return reporting_guard(ExceptionLevelHandled, u"GetDebugVariantString", body,
                           [] { return DISP_E_TYPEMISMATCH; });
}

void append_parameters(DISPPARAMS const& params, char16_t* out, int max) {
    std::size_t length = wide::length(out);
    VARIANT const* const values = params.cArgs != 0 ? not_null(params.rgvarg) : nullptr;
    for (std::uint32_t i = params.cArgs; i-- > 0;) {
        static_cast<void>(
            *static_cast<VARTYPE const volatile*>(&values[i].vt));  // ends the list here
        char16_t piece[kDebugTextRoom] = {};
        GetDebugVariantString(&values[i], piece);
        if (i + 1 < params.cArgs) {
            out[length++] = u',';
            out[length] = 0;
        }
        const std::size_t piece_length = wide::length(piece);
        if (max > 0 && length + piece_length < static_cast<std::size_t>(max))
            length += wide::copy(out + length, piece_length + 1, piece);
    }
}

}  // namespace

long GetDebugVariantString(VARIANT const* value, char16_t* out) {
    if (value == nullptr || out == nullptr) return E_INVALIDARG;
    DebugText text;
    const long result = reported([&] { return read(text, *value); });
    VariantClear(&text.converted);
    const long written = reported([&] {
        write(text, result, out);
        return S_OK;
    });
    return result != S_OK ? result : written;
}

void GetDebugParametersString(DISPPARAMS const* params, char16_t* out, int max) {
    if (params == nullptr || out == nullptr) return;
    probe_guard([&] { append_parameters(*params, out, max); }, no_recovery);
}

}  // namespace tarnwillow
