// CDispatchMaster::Parse_Parameter_String: arguments as a script writes them.
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/characterSets.h"
#include "tarnwillow/text/stringUtilities.h"
#include "tarnwillow/text/tokenWalks.h"

namespace tarnwillow {

namespace {

bool ends_call(char16_t c) { return wide::is_space(c) || c == u')' || c == u';'; }

// The first unit always stays.
void cut_end_of_call(char16_t* text) {
    for (std::size_t end = wide::length(text); end > 1 && ends_call(text[end - 1]); --end)
        text[end - 1] = 0;
}

bool is_word(char16_t const* token, char16_t const* word) {
    return wide::compare(token, word) == 0;
}

void add_token(CDispParamsMaster& params, char16_t* token) {
    Trim_White_Space(token, false);
    if (token[0] == u'"') {
        Strip_Quotes(token);
        params.Add_Param(token);
    } else if (token[0] == u'\'') {
        Strip_Single_Quotes(token);
        params.Add_Param(token);
    } else if (is_word(token, u"false") || is_word(token, u"true")) {
        params.Add_Param(token[0] == u't');
    } else if (is_word(token, u"null")) {
        params.Add_Null_Param();
    } else if (token[0] >= u'0' && token[0] <= u'9') {
        params.Add_Param(wide::to_int(token));
    } else {
        params.Add_Param(token);
    }
}

void add_tokens(CDispParamsMaster& params, char16_t* text) {
    cut_end_of_call(text);
    Replace_String(text, u"|", u",", -1);
    char16_t const separators[] = u",";
    char16_t* position = text;
    while (char16_t* const token =
               detail::next_piece(position, const_cast<char16_t*>(separators), true))
        add_token(params, token);
}

std::unique_ptr<char16_t[]> room_for(std::size_t size) {
    return std::unique_ptr<char16_t[]>(new (std::nothrow) char16_t[size]);
}

}  // namespace

long CDispatchMaster::Parse_Parameter_String(CDispParamsMaster* params, char16_t const* text) {
    if (params == nullptr || text == nullptr) return E_INVALIDARG;
    const std::size_t size = wide::length(text) + 1;
    const auto copy = room_for(size);
    if (copy == nullptr) return E_OUTOFMEMORY;
    wide::copy(copy.get(), size, text);
    add_tokens(*params, copy.get());
    return S_OK;
}

long CDispatchMaster::Parse_Parameter_String(CDispParamsMaster* params, char const* text) {
    if (params == nullptr || text == nullptr) return E_INVALIDARG;
    const std::size_t size = std::strlen(text) + 1;
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) return E_OUTOFMEMORY;
    const auto wide = room_for(size);
    if (wide == nullptr) return E_OUTOFMEMORY;
    const long result = AnsiToUnicode(text, wide.get(), static_cast<int>(size));
    if (result != S_OK) return result;
    add_tokens(*params, wide.get());
    return S_OK;
}

}  // namespace tarnwillow
