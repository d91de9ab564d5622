#pragma once

#include <cstdint>
#include <string_view>

#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

class CDiskFile;
class CXMLParser;

/// A growable block of bytes with one cursor for reading and writing. It is filled from a file,
/// from a producer or by writing; then it is searched, read by lines or up to a delimiter, edited
/// in place, converted between UTF-8 and UTF-16, handed to the XML reader or written to a file.
///
/// Every position and count is in bytes, also for UTF-16 content; a wide character takes two. Two
/// limits stand apart. Reads, searches and edits respect the data limit, Get_End_Of_Data. The
/// cursor itself may stand anywhere up to the capacity, and At_End and Next_Line go by that.
/// Byte-order marks are data like any other. Sizes and positions fit 32 bits without a sign.
///
/// The operations with a `long` result give 0 on success. -1 means that there is no such position,
/// no match or no such number of bytes. E_OUTOFMEMORY answers a size that cannot be had, which a
/// negative one never can; E_INVALIDARG a null pointer. A failure leaves buffer and cursor as they
/// were, unless the operation says otherwise.
///
/// No locks: an object belongs to one thread at a time. Nothing throws.
class TARNWILLOW_API CSmartBuffer : public CAutoDeleteableObject {
public:
    CSmartBuffer() = default;
    ~CSmartBuffer() override;
    CSmartBuffer(const CSmartBuffer&) = delete;
    CSmartBuffer& operator=(const CSmartBuffer&) = delete;

    // Filling.

    /// Gives up the content and gets `size` bytes of zeros, none of them data; the cursor goes to
    /// 0. If there is no memory the object is as good as new.
    long Initialize(long size);

    /// Takes the file's whole length, read from its present position, as data and as capacity. The
    /// cursor ends behind the data. The status of the read is returned if that fails; an empty file
    /// cannot be read, so it gives ERROR_FILE_CORRUPT.
    long Initialize_From_File(CDiskFile* file);

    /// Called with phase 0 and no destination, stores through the third argument the most bytes
    /// that it will ever produce in one call. Called with phase 1, stores up to so many bytes at
    /// the destination and tells how many. False ends the load; what that call produced still
    /// counts.
    using Producer = bool (*)(int phase, void* destination, long* size, long user);

    /// Takes what `producer` gives; `user` is passed on to it and may carry a pointer. The cursor
    /// ends behind the data. A negative size is refused with E_OUTOFMEMORY. A fault in the producer
    /// is reported and gives DISP_E_EXCEPTION; what came by then stays. A producer that claims more
    /// than the buffer could hold is believed up to that; bytes that it claims and did not store
    /// have undefined values.
    long Initialize_From_Callback(long initial_size, Producer producer, long user);

    /// Zeros the whole capacity, which stays; no data, cursor at 0. Always 0.
    long Clear();

    /// Whether the content is treated as UTF-16: then the wide searches work instead of the narrow
    /// ones, and Flush_To_File writes a byte-order mark. No other operation sets it.
    void Set_Unicode(bool unicode) { Is_Unicode = unicode; }
    template <class T>
    void Set_Unicode(T*) = delete;

    // State.

    /// Bytes from the start to the cursor, to the end of the data, and to the end of the storage.
    unsigned long Get_Current_Offset() const { return Current_Offset; }
    unsigned long Get_End_Of_Data() const { return End_Of_Data; }
    unsigned long Get_Current_Buffer_Max_Size() const { return Max_Size; }

    /// Whether the cursor stands at the capacity, wherever the data ends.
    bool At_End() const { return Current_Offset == Max_Size; }

    /// The cursor as a pointer; null before the first Initialize. It holds until the next operation
    /// that grows or converts, and so does the start that the conversions give.
    char const* Current_Ptr() const;

    /// The byte, or the two bytes as a character, at the cursor; 0 if the capacity ends before.
    char Char_At_Current_Offset() const;
    char16_t Char_At_Current_OffsetW() const;

    /// The start of the storage; good until the next operation that grows or converts.
    operator char*() { return start<char>(); }                            // NOLINT
    operator char const*() const { return start<char const>(); }          // NOLINT
    operator char16_t*() { return start<char16_t>(); }                    // NOLINT
    operator char16_t const*() const { return start<char16_t const>(); }  // NOLINT

    /// Whether the storage, of at least 4 bytes, starts with the bytes 0xFF 0xFE.
    bool Is_Unicode_File() const;

    // The cursor.

    /// To an offset, at most the capacity.
    long Move_To(unsigned long offset);
    long Move_From_Offset(long delta);

    /// Searches in the data, from offset 0 with `from_start`, else from the cursor, or one unit
    /// behind it with `skip_current`. A match leaves the cursor on its first byte. Wide searches go
    /// in steps of two bytes. An empty text matches where the search starts. E_UNEXPECTED for a
    /// search of the width that Set_Unicode has ruled out. NCS ignores the case of the ASCII
    /// letters and of no others.
    long Move_To(char const* text, bool from_start, bool skip_current);
    long Move_To(unsigned char const* bytes, int length, bool from_start, bool skip_current);
    long Move_To(char16_t const* text, bool from_start, bool skip_current);
    long Move_To_NCS(char const* text, bool from_start, bool skip_current);
    long Move_To_NCS(char16_t const* text, bool from_start, bool skip_current);

    /// Searches behind the byte at the cursor for the first text of `list`, ended by a null entry,
    /// that occurs at or before the next `stop_at`; without one, in all the data. Stores its index
    /// through `which` unless that is null. ERROR_NOT_FOUND if there is none, or no `stop_at`. The
    /// first entry that occurs wins, not the nearest occurrence. Narrow text only.
    long Move_To_One_Of(char const* const* list, char const* stop_at, int* which);

    // Reads. They copy out, and move the cursor behind what they took if `advance` is true.

    /// Exactly `count` bytes of data.
    long Read(void* dest, long count, bool advance);

    /// Up to and with the delimiter. `*count` gives the size of `dest` and then tells the bytes
    /// copied. ERROR_INSUFFICIENT_BUFFER or ERROR_NOT_FOUND if size or data ran out first; `dest`
    /// then holds what was copied by then. Nothing is terminated.
    long Read_To(void* dest, long* count, char delimiter, bool advance);

    /// A line of narrow text, terminated, without the carriage return, alone or with a line feed,
    /// that ends it; the capacity ends the last one. A line feed alone is an ordinary byte. `*size`
    /// gives the size of `dest` and then tells the bytes copied; without it the rest of the
    /// capacity is the limit. ERROR_INSUFFICIENT_BUFFER, with an unterminated part copied, if line
    /// and terminator do not fit. A null `dest` skips the line and counts nothing. -1 at the
    /// capacity.
    long Next_Line(void* dest, long* size, bool advance);

    /// `count` bytes from the start, from `from`, or the last ones of the data, without the cursor.
    /// What lies outside the storage, and a bad `dest`, is reported and gives E_INVALIDARG.
    long Head(int count, char* dest) const;
    long Mid(int from, int count, char* dest) const;
    long Tail(int count, char* dest) const;

    // Edits. What they take may lie in this very buffer.

    /// Overwrites from the cursor on, which ends behind it. A text goes without its terminator.
    long Write(void const* data, long count);
    long Write(char const* text);
    long Write(char16_t const* text);

    /// With `count` 0 writes all data of `source`; else `count` bytes from its cursor, and then
    /// both cursors move. If `source` has not so many: -1, though room may have been made.
    long Write(CSmartBuffer& source, unsigned long count);
    long Write(CSmartBuffer& source, long count) { return Write(source, to_unsigned(count)); }
    long Write(CSmartBuffer& source, int count) { return Write(source, to_unsigned(count)); }

    /// Stores one zero byte at the cursor, which moves, as the end of the data may, with `advance`.
    long Null_Terminate(bool advance);
    template <class T>
    long Null_Terminate(T*) = delete;

    /// Makes room at the cursor, which ends behind the new bytes. If it stood behind the data, the
    /// gap becomes data, filled with zeros.
    long Insert(void const* data, long count);
    long Insert(CSmartBuffer const* source);

    /// Removes `count` bytes at the cursor; -1 if the data has not so many there.
    long Delete(long count);

    /// Replaces the first occurrence, or all of them, from the start on. The cursor ends behind the
    /// last replacement, or at 0 without one. 0 however many there were; also for an empty `find`,
    /// which changes nothing, and if there is no memory: then only the cursor goes to 0.
    /// E_UNEXPECTED as for the searches.
    long Search_And_Replace(char const* find, char const* replacement, bool all);
    long Search_And_Replace(char16_t const* find, char16_t const* replacement, bool all);

    // The buffer as a whole.

    /// UTF-8 to UTF-16, the whole capacity, which doubles. The end of the data and the cursor stay
    /// with their characters. No mark is added and Set_Unicode is left alone. E_INVALIDARG if there
    /// is nothing to convert.
    long Convert_To_Unicode();

    /// UTF-16 to UTF-8, without the mark that Is_Unicode_File sees. The capacity halves, rounded
    /// up, plus 2, or is what the text needs, if that is more. The rest as above.
    long Convert_To_Asci();

    /// Writes the data with one Write of the file, whose result it gives; so ERROR_FILE_CORRUPT for
    /// an empty buffer. With Set_Unicode a byte-order mark goes first.
    long Flush_To_File(CDiskFile* file);

    /// Parses the UTF-16 text from the cursor on, behind a mark at 0 if the cursor is there. The
    /// caller deletes the parser that comes back through `parser`; on failure, with the parser's
    /// own status, that is left alone.
    long Create_XML_Parser(CXMLParser** parser);

protected:
    /// Makes room for `needed` bytes at the cursor. If they don't fit, the capacity becomes twice
    /// the larger of `needed` and what it was.
    long Check_Size_Requirements(unsigned long needed);

    /// The storage, its three positions in bytes, and what Set_Unicode said.
    unsigned char* Buffer = nullptr;
    std::uint32_t Max_Size = 0;
    std::uint32_t Current_Offset = 0;
    std::uint32_t End_Of_Data = 0;
    bool Is_Unicode = false;

private:
    template <class Char>
    Char* start() const {
        return reinterpret_cast<Char*>(Buffer);
    }
    static unsigned long insert_capacity(unsigned long capacity, unsigned long end);
    static unsigned long to_unsigned(long count) { return static_cast<unsigned long>(count); }

    /// What is new in the storage and not yet zeros or data.
    struct Unfilled {
        std::uint32_t begin;
        std::uint32_t end;
    };

    unsigned long capacity_for(unsigned long needed) const;
    long grow_to(unsigned long capacity);
    long resize(unsigned long capacity);
    long grow_mapped(unsigned long capacity);
    long move_to_mapped(unsigned long capacity);
    std::uint32_t heap_end() const;
    void fill(std::uint32_t from, std::uint32_t to);
    void adopt(unsigned char* storage, std::uint32_t capacity);
    long load(long initial_size, Producer producer, long user, Unfilled& unfilled);
    std::uint32_t accept(long written) const;
    bool holds(void const* data) const;

    long scan_start(bool from_start, bool skip_current, unsigned unit) const;
    template <class Search>
    long search(Search const& pattern, bool from_start, bool skip_current);
    long find_behind_cursor(char const* text, unsigned long last) const;

    long insert_outside_data(void const* data, long count);
    template <class Search, class Char>
    long replace(Char const* find, Char const* replacement, bool all);
    template <class Search>
    void replace_in_place(Search const& pattern, std::string_view replacement, bool all);
    template <class Search>
    void replace_by_building(Search const& pattern, std::string_view replacement, bool all);

    long copy_out(unsigned long from, long count, char* dest) const;
};

}  // namespace tarnwillow
