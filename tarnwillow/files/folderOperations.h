// Making, emptying, removing, copying and moving folders with all that is in them.
//
// Paths are UTF-8 or UTF-16, and both `/` and `\` separate. A null path is one that leads nowhere.
// Symbolic links are never followed by what empties or removes: a link goes, what it leads to
// stays. Trees may be of any depth. A walk ends at the first failure and leaves what it has done so
// far; there is no undo. Only CopyFolder touches the process's directory. Any thread.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Creates the folder and all its missing parents. There is no result: whether it is there is to be
/// asked. A path that exists is left as it is.
TARNWILLOW_API void DirCreate(char const* path);
TARNWILLOW_API void DirCreate(char16_t const* path);

/// Deletes all that is in the folder; the folder stays. 0; ERROR_NOT_FOUND (1168) if it cannot be
/// entered, or is a link; -1 for an entry that cannot be removed; E_OUTOFMEMORY. The UTF-16 form
/// leaves names that begin with a dot, and fails for the folder of such a name below.
TARNWILLOW_API int ClearDir(char const* path);
TARNWILLOW_API int ClearDir(char16_t const* path);

/// Deletes the folder and all that is in it. As ClearDir, but where the folder cannot be entered
/// the UTF-8 form gives -1; where only the folder itself cannot be removed, -1, and the UTF-16 form
/// the value of errno.
TARNWILLOW_API int DirDestroyAll(char const* path);
TARNWILLOW_API int DirDestroyAll(char16_t const* path);

/// Turns each double backslash into one, in place: three in a row become two.
TARNWILLOW_API void MakeRealFilePath(char* path);

/// Copies one file's content. A source that cannot be opened leaves an empty target and gives 0.
/// ERROR_NOT_SUPPORTED (50) for a pipe, a socket or a device, and E_INVALIDARG for a file onto
/// itself, with the target left alone; ERROR_FILE_NOT_FOUND for a target that cannot be written;
/// ERROR_FILE_CORRUPT (1392) for a copy that is not whole.
TARNWILLOW_API int CopyFileW(char const* source, char const* target);

/// Copies a folder into a target folder, which is made if need be: copying a/b to x fills x/b. What
/// is missing at the end of `source` is cut off, so the deepest folder that exists is copied. Links
/// are copied as links; pipes, sockets and devices give ERROR_NOT_SUPPORTED. 0; ERROR_DIRECTORY
/// (267) for a copy into the folder itself, also by a link that stands in the target;
/// ERROR_NOT_FOUND for a folder that cannot be read; ERROR_FILENAME_EXCED_RANGE (206) where a path
/// would be too long for the system; the status of the file that failed; E_OUTOFMEMORY. Afterwards
/// the process's directory is the source folder that was entered last.
TARNWILLOW_API int CopyFolder(char const* source, char const* target);

/// Renames a folder or file. 0, or the system's error: ERROR_ALREADY_EXISTS (183) if something
/// stands there, ERROR_NOT_SAME_DEVICE (17) across file systems.
TARNWILLOW_API long MoveFolder(char const* source, char const* target);
TARNWILLOW_API long MoveFolder(char16_t const* source, char16_t const* target);

}  // namespace tarnwillow
