// Paths as the system takes them, and the few moves of files that must not race.
#pragma once

#include <climits>
#include <cstddef>

#include "tarnwillow/platform/api.h"

namespace tarnwillow::platform {

/// A path made ready for the system: UTF-8, with `/` where the text had `/` or `\`. It holds its
/// own copy. Empty, which no call of the system accepts, if the text was null or too long.
class SystemPath {
public:
    explicit SystemPath(char const* path);
    explicit SystemPath(char16_t const* path);

    char const* c_str() const { return text_; }
    bool empty() const { return text_[0] == 0; }

private:
    void unify_separators();

    char text_[PATH_MAX];
};

/// The folder for temporary files, as the environment names it; never null. It may end in `/`.
char const* temporary_folder();

/// Removes the note " (deleted)" with which the system ends the path of a program, or of a mapped
/// file, that was replaced while it was in use.
void strip_deletion_mark(char* path);

/// Gives the file `from` the name `to`, unless that name exists: nothing is ever replaced, whoever
/// else makes files meanwhile. False with `errno` set if it did not come about.
bool move_without_replacing(char const* from, char const* to);

/// The ways of move_without_replacing on file systems that cannot refuse a replacement themselves:
/// that of files, and that of folders. For a moment there are two names then, the new one perhaps
/// of an empty folder.
bool move_by_linking(char const* from, char const* to);
bool move_folder_by_claiming(char const* from, char const* to);

/// Gives an open file the access that a newly made file would have in this process.
void give_default_access(int descriptor);

}  // namespace tarnwillow::platform
