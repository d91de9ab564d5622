#pragma once

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/files/AccessEntry.h"

namespace tarnwillow {

/// Replaces who may use a file or a folder by a list of AccessEntry records.
///
/// An entry of group 544, the administrators, adds to what the owner may do, and nothing ever takes
/// from the owner. Group 545, the users, stands for everybody else; without an entry they may do
/// nothing. The mask's rights to read, write or append, and execute become the file's modes, the
/// general rights and full access likewise. What can be inherited is applied to what is there; new
/// files follow the process's mask as ever.
///
/// `recursive`: a folder's entries too, and theirs; the folders without a dot in their name, or
/// with `files_too` every entry. Names that begin with a dot and links are left alone.
///
/// 0; E_FAIL (0x80004005) for another group or an entry for inheritance alone, with nothing
/// changed, and for a path that is a link, is not there or is another account's, where the walk
/// ends; E_OUTOFMEMORY. `path` is UTF-8, `/` and `\` both separate.
TARNWILLOW_API int Set_File_Permissions(char const* path, CCollection* entries, bool recursive,
                                        bool files_too);

}  // namespace tarnwillow
