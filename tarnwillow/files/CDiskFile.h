#pragma once

#include <cstddef>
#include <memory>

#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

/// A file, read and written through a buffered stream, that speaks status codes. Beside ordinary
/// files it makes two kinds of its own: a temporary file that goes at Close, and a rollback file,
/// whose content comes to stand at its path only when it is closed properly.
///
/// Unless a comment says otherwise an operation gives 0 on success, ERROR_FILE_NOT_FOUND (2) if a
/// stream could not be opened for whatever reason, and ERROR_FILE_INVALID (1006) if none is open.
/// After a failed open the object is closed. Folders are refused. Paths are UTF-8 or UTF-16, and
/// both `/` and `\` separate; names are case-sensitive. Descriptors do not pass to programs that
/// the process starts.
///
/// A copy shares the stream of its original, its position included. Whichever of the two is closed
/// or destroyed first closes it for both, and the other then finds no stream open.
///
/// An object, together with its copies, belongs to one thread at a time. Nothing throws.
class TARNWILLOW_API CDiskFile : public CAutoDeleteableObject {
public:
    /// Characters of a stored path with its terminator: the path of a rollback file, with what is
    /// added to it for the work file, and that of a temporary file must fit.
    static constexpr std::size_t kPathRoom = 256;

    CDiskFile() = default;
    /// Shares stream and position with its source.
    CDiskFile(const CDiskFile&) = default;
    /// Closes what this object has open, with the effects of Close, unless both share it.
    CDiskFile& operator=(const CDiskFile& other);

    /// Closes with the effects of Close: a rollback file left open goes into place. Rollback is the
    /// only way to give it up.
    ~CDiskFile() override;

    /// Opens a file, closing an open one first. `write` alone needs an existing file; `truncate`
    /// empties or creates it. Both together mean create or overwrite. Nobody is waited for at the
    /// other end of a pipe: one that nobody has open for writing is empty.
    int Open(char const* path, bool write, bool truncate);
    int Open(char16_t const* path, bool write, bool truncate);

    /// Creates a new writable file in the temporary folder ($TMPDIR, else /tmp), for the user
    /// alone, closing an open one first. Close removes it.
    int Open_Temp_File();

    /// Creates a writable work file beside `path`, for the user alone, closing an open one first.
    /// Nothing stands at `path` until Close, which then also gives the file the access of any new
    /// file.
    int Open_With_Rollback(char const* path);

    /// Opens for reading and for writing behind the end, creating the file if needed. The object
    /// must be closed: otherwise 1006, and what is open stays.
    int Open_Append(char const* path);

    /// Copies the whole content to a file that it creates or overwrites, or to a device; the
    /// position stays. A closed object makes an empty copy. E_INVALIDARG, and nothing changes, if
    /// `path` leads to this very file, by whatever name; E_OUTOFMEMORY without memory;
    /// ERROR_FILE_CORRUPT (1392) if what was written to this file cannot be stored; else the status
    /// of the read or write that failed.
    int Duplicate(char const* path);
    int Duplicate(char16_t const* path);

    /// Closes and throws away the content of a rollback file. Any other file just closes; a
    /// temporary file then stays on the disk.
    int Rollback();

    /// Closes; removes a temporary file; moves a rollback file into place. ERROR_DUP_NAME (52) if
    /// something stands there by then: that stays, and the new content is gone. ERROR_FILE_CORRUPT
    /// (1392) if not everything written reached the disk: then nothing is moved and the work file
    /// is gone.
    int Close();

    /// Reads exactly `size` bytes at the position. At the end ERROR_FILE_CORRUPT (1392), and so for
    /// a size below 1; another failure gives the stream's error. What came by then is not told.
    int Read(void* buffer, long size);

    /// Writes exactly `size` bytes at the position. 1006 if the file is not writable; 1392 if they
    /// did not all go out, and for a size below 1. Nothing is flushed; the bool has no effect.
    int Write(void const* buffer, long size, bool unused = false);

    /// Write of a text without its terminator, so 1392 for an empty one.
    int Write_Str(char const* text, bool unused = false);
    int Write_Str(char16_t const* text, bool unused = false);

    /// Writes the UTF-16 little-endian byte-order mark, the bytes 0xFF 0xFE.
    int Write_Unicode_Header();

    /// Length in bytes; 0 when no stream is open or it has no length, also if what was written
    /// cannot be stored. The position stays.
    long GetLength();

    /// Moves the position. Origin 0, 1, 2: from the start, the position, the end; any other gives
    /// 1006. Otherwise the stream's own result, 0 for success.
    int MoveTo(long long offset, int origin);

    /// Copies to `out`, which must have the room, what follows the last "." of `name`. False, and
    /// `out` is not touched, without a "." or for a null pointer. Separators do not count: of
    /// "a.b/c" it is "b/c".
    static bool GetFileExtension(char const* name, char* out);

private:
    struct Stream;

    bool is_open() const;
    void begin_open();
    int adopt(int descriptor, char const* mode);
    int open_path(char const* path, bool write, bool truncate);
    int create_work_file();
    int duplicate_to(char const* path);
    int open_copy_of(const CDiskFile& source, char const* path);
    int copy_content_to(CDiskFile& copy);
    bool close_stream();
    int finish_rollback(bool whole);
    void remove_work_file();

    std::shared_ptr<Stream> stream;
    char work_path[kPathRoom] = {};
    char final_path[kPathRoom] = {};
    bool rollback = false;
    bool temporary = false;
    bool writable = false;
};

}  // namespace tarnwillow
