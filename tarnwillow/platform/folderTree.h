// Folders and trees of them, walked by descriptors: no name is looked up twice, a folder that is
// moved meanwhile is noticed, and the process's directory stays where it is.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarnwillow::platform {

enum class EntryKind { folder, file, link, other };

/// Opens a folder for reading and entering; -1 for anything else. `follow`: the last name of the
/// path may be a link.
int open_folder(char const* path, bool follow);

/// What stands under that name in an open folder. A link is a link, wherever it leads.
EntryKind kind_of(int folder, char const* name);

/// Calls `proc(context, name, kind)` for each entry but "." and "..", in the system's order, until
/// it gives false. True if the folder could be read and no call gave false. It moves the position
/// of the descriptor.
bool each_entry(int folder, bool (*proc)(void* context, char const* name, EntryKind kind),
                void* context);

/// The same for a callable.
template <class Proc>
bool each_entry(int folder, Proc proc) {
    return each_entry(
        folder,
        [](void* context, char const* name, EntryKind kind) {
            return (*static_cast<Proc*>(context))(name, kind);
        },
        &proc);
}

/// What a walk meets. Every operation gives 0 to go on; anything else ends the walk, which gives
/// it back. `folder` is the open folder in which `name` stands.
class TreeVisitor {
public:
    virtual ~TreeVisitor() = default;

    /// An entry that is no folder. Links are among these.
    virtual long file(int folder, char const* name, EntryKind kind) = 0;

    /// A folder, before its own entries. `*descend` starts true.
    virtual long enter(int folder, char const* name, bool* descend) = 0;

    /// The same folder, behind its entries; only if it was descended into.
    virtual long leave(int folder, char const* name) = 0;

    /// A folder that cannot be read. 0 takes it for an empty one.
    virtual long unreadable() = 0;
};

/// Gives every entry below an open folder to the visitor: of each folder first the files, then the
/// folders one after another, each with all that is below it. Links are never followed. However
/// deep the tree is, the walk takes two descriptors and no deep stack. The names of a folder are
/// noted before its first subfolder is entered, so the visitor may remove what it is given.
///
/// If a folder is moved away while the walk is in it, the walk ends there as with an unreadable
/// one. May throw std::bad_alloc, and whatever the visitor throws.
long walk_tree(int folder, TreeVisitor& visitor);

}  // namespace tarnwillow::platform
