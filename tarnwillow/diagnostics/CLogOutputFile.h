#pragma once

#include <cstddef>

#include "tarnwillow/containers/globalCleanup.h"
#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Numbers cast to a pointer to one of these are written as hexadecimal. Never followed.
struct _DB_HEX__;     ///< "0x%02X"
struct _DB_HEX_EX__;  ///< "%02X"

/// A debug file, apart from the log, that values are shifted into. A line collects in the object
/// until the item "\r\n" by itself ends it; then it goes to the end of the file, in one piece. The
/// file is created when the first line is complete. What of a line is left at destruction is lost.
///
/// A line has at most 2,048 bytes with its end. An item that does not fit is dropped, and so is an
/// end that does not: then the line stays as it is and never reaches the file. A line that cannot
/// be written is lost. Narrow text is UTF-8.
///
/// All objects of one path, in any process, keep out of each other's way by two named mutexes; a
/// path may be spelled in any way. Threads may share an object: items stay whole, but those of two
/// threads may mix within a line.
class TARNWILLOW_API CLogOutputFile : public CGlobalCleanupObject {
public:
    /// Bytes of a line with its end, and of a path with its terminator.
    static constexpr long kLineRoom = 2048;
    static constexpr std::size_t kPathRoom = 256;

    /// A path that is not absolute is looked up in the working directory, now for the mutexes and
    /// with every line for the file. Throws `long`: E_OUTOFMEMORY if a mutex cannot be made;
    /// E_INVALIDARG for null and for a path that does not fit kPathRoom.
    explicit CLogOutputFile(char const* path);

    /// A copy continues a line of its own, and uses the mutexes for as long as its original lives.
    CLogOutputFile(const CLogOutputFile&) = default;
    CLogOutputFile& operator=(const CLogOutputFile&) = default;
    ~CLogOutputFile();

    /// Closes the mutexes. From then on nothing is taken any more.
    void _Do_Final_Cleanup() override;

    CLogOutputFile& operator<<(char const* text);  ///< null counts as "NULL STRING"
    /// Text as it is. UTF-16 becomes UTF-8; null counts as "NULL STRING".
    CLogOutputFile& operator<<(char* text) { return *this << static_cast<char const*>(text); }
    CLogOutputFile& operator<<(char16_t const* text);
    CLogOutputFile& operator<<(char16_t* text) {
        return *this << static_cast<char16_t const*>(text);
    }
    /// "NULL STRING".
    CLogOutputFile& operator<<(std::nullptr_t) { return *this << static_cast<char*>(nullptr); }
    CLogOutputFile& operator<<(char c);  ///< a line feed does not end the line

    /// Decimal.
    CLogOutputFile& operator<<(long value);
    CLogOutputFile& operator<<(int value) { return *this << long{value}; }
    CLogOutputFile& operator<<(short value) { return *this << long{value}; }
    CLogOutputFile& operator<<(long long value) { return *this << static_cast<long>(value); }

    /// Decimal, with the sign that the top one of the 32 bits means, or of all 64 for a value that
    /// has more.
    CLogOutputFile& operator<<(unsigned long value);
    CLogOutputFile& operator<<(unsigned int value) {
        return *this << static_cast<unsigned long>(value);
    }
    CLogOutputFile& operator<<(unsigned long long value) {
        return *this << static_cast<unsigned long>(value);
    }

    /// Hexadecimal, in the forms told above.
    CLogOutputFile& operator<<(_DB_HEX__* value);
    CLogOutputFile& operator<<(_DB_HEX_EX__* value);
    CLogOutputFile& operator<<(void const* address);  ///< "(void*)0x%X"

    /// The handle with the window's title, or with "????" if there is no such window.
    CLogOutputFile& operator<<(HWND window);

    CLogOutputFile& operator<<(wchar_t const* text) = delete;  // no text of this library

protected:
    /// Appends the line to the file and starts a new one.
    void Flush();

    /// Called ahead of every item; does nothing.
    void Lockout() {}

private:
    void append(char const* text, std::size_t length);
    void make_mutexes();
    static void* make_mutex(char const* name_format, char const* absolute);

    char line[kLineRoom + 1] = {};
    char path[kPathRoom] = {};
    HANDLE line_lockout_mutex = nullptr;
    HANDLE file_mutex = nullptr;
    long used = 0;
    long capacity = kLineRoom;
};

}  // namespace tarnwillow
