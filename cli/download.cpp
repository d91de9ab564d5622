#include "download.h"

#include <strings.h>

#include <algorithm>
#include <memory>

#include "tarnwillow/text/urlParsing.h"
#include "xmlDocument.h"

namespace tarnwillow::cli {

namespace {

bool is_control(char16_t c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

/// As it may go to a terminal: a server must not move the cursor, or worse.
std::string printable(std::u16string text) {
    std::replace_if(text.begin(), text.end(), is_control, u'?');
    CSmartBuffer buffer;
    if (text.empty() ||
        buffer.Write(text.data(), static_cast<long>(text.size() * sizeof(char16_t))) != S_OK ||
        buffer.Convert_To_Asci() != S_OK)
        return {};
    return {static_cast<char const*>(buffer), buffer.Get_End_Of_Data()};
}

}  // namespace

bool is_url(char const* argument) {
    return strncasecmp(argument, "http://", 7) == 0 || strncasecmp(argument, "https://", 8) == 0;
}

bool Download::open(char const* url) {
    const auto where = std::make_unique<InternetResourceDesc>();
    if (Parse_URL(to_wide(url).c_str(), where.get()) != S_OK) {
        refusal_ = "the URL has a part that is too long";
        return false;
    }
    long result = connection_.Initialize(u"tarnwillow", where->Host, where->Port, where->Secure,
                                         false, false, false, false, false, false);
    if (result == S_OK)
        result = connection_.Connect(where->Path, u"GET", where->Secure, nullptr, nullptr);
    if (result == ERROR_INVALID_PARAMETER)
        refusal_ = "the URL has characters that it must not have";
    if (result == S_OK) result = connection_.Send_Request(&status_, nullptr);
    return result == S_OK && status_ != 0;
}

std::string Download::redirect_target() const {
    char16_t target[2048];
    return connection_.Get_Redirect_URL(target, 2047) == S_OK ? printable(target) : std::string();
}

bool Download::read_into(CSmartBuffer& buffer) {
    return buffer.Initialize_From_Callback(0, CHTTPConnection::SmartBufferInitProc,
                                           reinterpret_cast<long>(&connection_)) == S_OK &&
           reason().empty();
}

std::string Download::reason() const {
    return refusal_.empty() ? printable(connection_.Get_Last_Failure()) : refusal_;
}

}  // namespace tarnwillow::cli
