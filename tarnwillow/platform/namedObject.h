// Objects that processes share by a name: files in the runtime folder, mapped by every user.
//
// An object lives as long as it has a user, and no longer, however its users end. Two locks on
// bytes far behind the content tell that, and the system drops them with the process that held
// them: one is held while an object is set up or given up, the other is shared by all users. Who
// can take the second alone is the only user; for an opener that means that the object is new,
// whatever an earlier user may have left in the file.
//
// Every account may open every object, as the callers expect of a public name. What a mapping holds
// was written by others: check what is read from it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnwillow::platform {

/// The folder of named objects: TARNWILLOW_RUNTIME_DIR if the environment has it, else /dev/shm.
std::string runtime_folder();

/// What to open. `set_up` fills the content of a new object, which is all zeros, before anybody
/// else sees it; it may be null. It gives 0 or an error number.
struct NamedObjectRequest {
    char const* kind;      ///< a word of letters: each kind has names of its own
    char16_t const* name;  ///< any text but the empty one
    std::size_t size;      ///< bytes of a new object, and the least of one that exists
    bool may_create;
    std::uint32_t (*set_up)(void* content);
};

/// The name of a named object's file, at most 255 bytes: kind and name, with a hash of the name
/// where it had to be cut. Different names have different files, as far as 64 bits can tell.
std::string named_object_file(char const* kind, char16_t const* name);

/// One process's use of one object. A forked child that has inherited a use becomes a user itself.
class NamedObject {
public:
    NamedObject() = default;

    /// Ends the use; the last user's removes the file.
    ~NamedObject();
    NamedObject(const NamedObject&) = delete;
    NamedObject& operator=(const NamedObject&) = delete;

    /// Opens or makes the object; at most once. 0, or an error number such as ERROR_FILE_NOT_FOUND
    /// (not there and may not be made), ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY, or
    /// ERROR_FILE_INVALID for a file of that name that is no such object. Throws std::bad_alloc.
    std::uint32_t open(const NamedObjectRequest& request);

    /// Makes an object without a name, for this process and its children. Takes `size`, `set_up`.
    std::uint32_t make_unnamed(const NamedObjectRequest& request);

    /// Whether this use began the object's life.
    bool created() const { return created_; }

    /// The mapped content, page-aligned, and its bytes.
    void* content() const { return content_; }
    std::size_t size() const { return size_; }

    int descriptor() const { return descriptor_; }

    /// Whether both are uses of one object.
    bool same_as(const NamedObject& other) const {
        return device_ == other.device_ && inode_ == other.inode_;
    }

private:
    friend class NamedObjectList;

    std::uint32_t join(const NamedObjectRequest& request);
    std::uint32_t fill(const NamedObjectRequest& request);
    std::uint32_t map(std::size_t least);
    bool still_named() const;
    void give_up();
    void become_user_in_child();

    std::string path_;
    int descriptor_ = -1;
    bool is_user_ = false;  // holds the users' lock by a descriptor of its own
    bool is_listed_ = false;
    bool created_ = false;
    void* content_ = nullptr;
    std::size_t size_ = 0;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    NamedObject* previous_ = nullptr;
    NamedObject* next_ = nullptr;
};

}  // namespace tarnwillow::platform
