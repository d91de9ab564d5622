#include "tarnwillow/diagnostics/CLogOutputFile.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/files/CDiskFile.h"
#include "tarnwillow/platform/absolutePath.h"
#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

namespace {

constexpr long kNoLimit = -1;
constexpr std::size_t kNumberRoom = 32;
constexpr std::size_t kTitleRoom = 256;

template <class Value>
CLogOutputFile& write_formatted(CLogOutputFile& file, char const* format, Value value) {
    char text[kNumberRoom];
    platform::format_text(text, sizeof text, format, value);
    return file << text;
}

void close_mutex(HANDLE& mutex) {
    if (mutex != nullptr) CloseHandle(mutex);
    mutex = nullptr;
}

struct WindowText {
    char text[kTitleRoom + kNumberRoom];
};

void describe_window(HWND window, WindowText& out) {
    char title[kTitleRoom] = {};
    const bool found = probe_guard(
        [&] { return IsWindow(window) && GetWindowTextA(window, title, kTitleRoom) >= 0; },
        [] { return false; });
    platform::format_text(out.text, sizeof out.text, "HWND: %I64x (\"%s\")", window,
                          found ? title : "????");
}

}  // namespace

CLogOutputFile::CLogOutputFile(char const* the_path) {
    const std::size_t length = the_path != nullptr ? strnlen(the_path, kPathRoom) : kPathRoom;
    if (length == kPathRoom) throw E_INVALIDARG;
    std::memcpy(path, the_path, length);
    make_mutexes();
}

CLogOutputFile::~CLogOutputFile() { CLogOutputFile::_Do_Final_Cleanup(); }

void CLogOutputFile::_Do_Final_Cleanup() {
    close_mutex(file_mutex);
    close_mutex(line_lockout_mutex);
}

void CLogOutputFile::make_mutexes() {
    try {
        const std::string absolute = platform::absolute_path(path);
        file_mutex = make_mutex("%s_DEBUG_OUT_FILE", absolute.c_str());
        if (file_mutex != nullptr)
            line_lockout_mutex = make_mutex("%s_LINE_LOCKOUT", absolute.c_str());
    } catch (const std::bad_alloc&) {  // seen below
    }
    if (line_lockout_mutex != nullptr) return;
    close_mutex(file_mutex);
    throw E_OUTOFMEMORY;
}

// The file's own mutex name is longer than what a mutex may have: then files whose paths begin
// alike share a mutex, which only makes them wait for each other.
void* CLogOutputFile::make_mutex(char const* name_format, char const* absolute) {
    char name[kPathRoom * 2];
    platform::format_text(name, sizeof name, name_format, absolute);
    std::replace_if(
        name, name + std::strlen(name), [](char c) { return c == ':' || c == '\\'; }, '_');
    return CreatePublicMutex(name);
}

void CLogOutputFile::append(char const* text, std::size_t length) {
    std::memcpy(line + used, text, length);
    used += static_cast<long>(length);
    line[used] = 0;
}

CLogOutputFile& CLogOutputFile::operator<<(char const* text) {
    Lockout();
    const CAutoMutex hold(file_mutex, kNoLimit);
    if (!hold.Is_Held()) return *this;
    if (text == nullptr) text = "NULL STRING";
    const auto room = static_cast<std::size_t>(capacity - used);
    const std::size_t length = strnlen(text, room + 1);
    if (length > room) return *this;
    append(text, length);
    if (std::strcmp(text, "\r\n") == 0) Flush();
    return *this;
}

// A text that does not fit a line would be dropped in any case.
CLogOutputFile& CLogOutputFile::operator<<(char16_t const* text) {
    if (text == nullptr) return *this << nullptr;
    char narrow[kLineRoom + 1];
    const std::size_t length = wide::bounded_length(text, kLineRoom + 1);
    const auto converted = platform::wide_to_narrow(text, length, narrow, kLineRoom);
    if (converted.consumed < length) return *this;
    narrow[converted.written] = 0;
    return *this << narrow;
}

CLogOutputFile& CLogOutputFile::operator<<(char c) {
    Lockout();
    const CAutoMutex hold(file_mutex, kNoLimit);
    if (hold.Is_Held() && used + 2 < capacity + 1) append(&c, 1);
    return *this;
}

CLogOutputFile& CLogOutputFile::operator<<(long value) {
    return write_formatted(*this, "%I64d", value);
}

CLogOutputFile& CLogOutputFile::operator<<(unsigned long value) {
    const bool fits = value <= 0xFFFFFFFF;
    return *this << (fits ? long{static_cast<std::int32_t>(value)} : static_cast<long>(value));
}

CLogOutputFile& CLogOutputFile::operator<<(_DB_HEX__* value) {
    return write_formatted(*this, "0x%02I64X", value);
}

CLogOutputFile& CLogOutputFile::operator<<(_DB_HEX_EX__* value) {
    return write_formatted(*this, "%02I64X", value);
}

CLogOutputFile& CLogOutputFile::operator<<(void const* address) {
    return write_formatted(*this, "(void*)0x%I64X", address);
}

CLogOutputFile& CLogOutputFile::operator<<(HWND window) {
    WindowText description;
    describe_window(window, description);
    return *this << description.text;
}

void CLogOutputFile::Flush() {
    const CAutoMutex hold(file_mutex, kNoLimit);
    if (!hold.Is_Held()) return;
    CDiskFile file;
    if (file.Open(path, true, false) != 0) file.Open(path, true, true);
    file.MoveTo(0, 2);
    file.Write(line, used);
    file.Close();
    line[0] = 0;
    used = 0;
    ReleaseMutex(line_lockout_mutex);  // nothing, unless a derived class has taken it for the line
}

}  // namespace tarnwillow
