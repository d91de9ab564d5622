// What stands at a path, and what is in a folder.
//
// Paths are UTF-8 or UTF-16, and both `/` and `\` separate. A null path is one that leads nowhere.
// Links in a folder count as files and are never followed. The process's directory stays. Any
// thread.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Whether a file there can be opened for reading. False for a folder. Never waits, for a pipe
/// without a writer neither.
TARNWILLOW_API bool File_Exists(char const* path);
TARNWILLOW_API bool File_Exists(char16_t const* path);

/// The same for a local name or a file URL, whose query does not count. True for a URL of another
/// scheme, and for a text of at most 7 units that is no file URL. False for null.
TARNWILLOW_API bool LocalFileExists(char16_t const* path);

/// Whether neither a file that can be read nor a folder that can be entered has that name. The
/// folder above is not looked at.
TARNWILLOW_API bool Is_Valid_New_File_Path(char const* path);
TARNWILLOW_API bool Is_Valid_New_File_Path(char16_t const* path);

/// Whether the folder holds at least one entry that is no folder.
TARNWILLOW_API bool Folder_Has_Files(char16_t const* path);

/// Adds to the two counts, either of which may be null, what stands in the folder, or, if
/// `recursive`, in the whole tree. Names that begin with a dot do not count, nor does what is below
/// them; nothing counts if the path is a link. A folder that cannot be read counts as empty.
TARNWILLOW_API void Count_Folder_Items(char16_t const* path, unsigned long* files,
                                       unsigned long* folders, bool recursive);

/// Gets a subfolder's path, which begins as the walk's did, and how many folders are between the
/// two, from 0. False ends the whole walk.
using SubFolderProc = bool (*)(char16_t const* path, int depth, void* context);

/// Calls back for each subfolder, down to the depth given: 0 is the direct ones only. A folder
/// comes before its own subfolders; names that begin with a dot do not come at all. What `callback`
/// throws ends the walk and comes out. In the paths, doubled separators have become one.
TARNWILLOW_API void IterateSubFolders(char16_t const* path, SubFolderProc callback, void* context,
                                      unsigned int maximum_depth);

}  // namespace tarnwillow
