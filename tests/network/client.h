// One request in one line, for tests.
#pragma once

#include <algorithm>
#include <string>

#include "tarnwillow/network/CHTTPConnection.h"
#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow::test {

inline std::u16string widened(std::string_view text) {
    std::u16string wide(text.size(), u'\0');
    wide.resize(
        platform::narrow_to_wide(text.data(), text.size(), wide.data(), wide.size()).written);
    return wide;
}

inline std::string narrowed(std::u16string_view text) {
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(
        platform::wide_to_narrow(text.data(), text.size(), bytes.data(), bytes.size()).written);
    return bytes;
}

/// A client of a server on loopback. Proxies of the environment are not used.
class Client : public CHTTPConnection {
public:
    static constexpr long kUntouched = -77;

    explicit Client(unsigned short port, const char16_t* host = u"127.0.0.1",
                    bool accept_unknown_authority = false) {
        result = Initialize(u"tests/1.0", host, port, false, true, false, false, false, false,
                            accept_unknown_authority);
    }

    /// Status of the answer; kUntouched if there was none. `result` is the call's own.
    long get(const char16_t* path, bool secure = false) {
        return send(path, u"GET", secure, nullptr);
    }

    long send(const char16_t* path, const char16_t* verb, bool secure,
              char16_t const* const* headers) {
        long status = kUntouched;
        if (result == 0) result = Connect(path, verb, secure, nullptr, nullptr);
        if (result == 0) result = Send_Request(&status, headers);
        return status;
    }

    /// The whole body, as a buffer takes it.
    std::string body() {
        CSmartBuffer buffer;
        CHTTPConnection* const self = this;
        if (buffer.Initialize_From_Callback(0, SmartBufferInitProc, reinterpret_cast<long>(self)) !=
            0)
            return "<failed>";
        return {static_cast<char const*>(buffer), buffer.Get_End_Of_Data()};
    }

    std::string failure() const { return narrowed(Get_Last_Failure()); }

    /// The error's number in front of the words.
    long failure_number() const { return std::strtol(failure().c_str(), nullptr, 10); }

    long result = 0;
};

inline std::string made_of(std::size_t size) {
    std::string text(size, '\0');
    std::uint32_t state = 1;
    for (char& c : text)
        c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return text;
}

/// A body read in pieces of all sizes.
inline std::string read_in_pieces(CHTTPConnection& connection) {
    std::string whole, piece(70000, '\0');
    bool more = true;
    for (int size = 1; more; size = size * 3 % 70001) {
        const int count =
            connection.Read_Next_Chunk(piece.data(), size, size % 2 == 0 ? nullptr : &more);
        if (count > size) return "<too much>";
        whole.append(piece, 0, static_cast<std::size_t>(count));
    }
    return whole;
}

}  // namespace tarnwillow::test
