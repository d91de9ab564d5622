#include "tarnwillow/platform/httpTarget.h"

#include <strings.h>

#include <algorithm>

namespace tarnwillow::platform {

namespace {

bool is_token(std::string_view text) {
    static constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        const bool alphanumeric =
            (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        return alphanumeric || kOthers.find(static_cast<char>(c)) != kOthers.npos;
    });
}

// What would end the host's part of a URL, or mean something else there.
bool is_host(std::string_view host) {
    return !host.empty() && std::all_of(host.begin(), host.end(), [](unsigned char c) {
        return c > ' ' && c != 0x7F &&
               std::string_view("/\\?#@%\"<>").find(static_cast<char>(c)) == std::string_view::npos;
    });
}

void append_host(std::string& url, std::string_view host) {
    const bool bare_address = host.find(':') != host.npos && host.front() != '[';
    if (bare_address) url += '[';
    url += host;
    if (bare_address) url += ']';
}

bool may_stand_in_path(unsigned char c) {
    return c > ' ' && c < 0x7F && c != '"' && c != '<' && c != '>';
}

void append_path(std::string& url, std::string_view path) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    if (path.substr(0, 1) != "/") url += '/';
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (may_stand_in_path(byte))
            url += c;
        else
            url.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
}

bool has_line_end(std::string_view text) { return text.find_first_of("\r\n") != text.npos; }

}  // namespace

std::string url_of(const HttpTarget& target) {
    std::string_view path = target.path;
    if (!is_host(target.host) || has_line_end(path)) return {};
    std::string url = target.secure ? "https://" : "http://";
    append_host(url, target.host);
    url += ':';
    url += std::to_string(target.port);
    append_path(url, path.substr(0, path.find('#')));
    return url;
}

std::string verb_of(std::string_view verb) {
    const std::string written(verb);
    for (char const* const common : {"GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS"})
        if (strcasecmp(written.c_str(), common) == 0) return common;
    return is_token(verb) ? written : std::string();
}

// A header without a value would be taken for the wish to leave that header out: it ends in ";".
std::string header_line(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (has_line_end(text) || colon == text.npos || !is_token(text.substr(0, colon))) return {};
    std::string line(text);
    if (text.find_first_not_of(" \t", colon + 1) != text.npos) return line;
    line.resize(colon);
    line += ';';
    return line;
}

}  // namespace tarnwillow::platform
