// The content of one file as that of another.
#pragma once

namespace tarnwillow::platform {

/// A file by its folder, open or AT_FDCWD, and the name or path in there.
struct FilePlace {
    int folder;
    char const* name;
};

/// Empties an open file; a device has nothing to empty. False if it cannot be emptied, as a pipe.
bool make_empty(int file);

/// Copies the content that the file has when it is opened. Links are followed. A target that stands
/// keeps its modes, a new one gets those of any new file. A source that cannot be opened, as a
/// folder cannot, leaves the target empty and counts as success.
///
/// ERROR_NOT_SUPPORTED for a source that is a pipe, a socket or a device, which is not waited for;
/// E_INVALIDARG for the file itself: the target is left alone then. ERROR_FILE_NOT_FOUND for a
/// target that cannot be written; ERROR_FILE_CORRUPT for a copy that is not whole, or the system's
/// number for what kept the source from being read. Any thread.
long copy_file(const FilePlace& source, const FilePlace& target);

}  // namespace tarnwillow::platform
