// Copies of whole lists.
#include <cstring>
#include <memory>
#include <new>

#include "tarnwillow/containers/CCollection.h"

namespace tarnwillow {

namespace {

// Copies of plain memory, freed again if the clone does not come about.
struct DeleteCopies {
    void operator()(CCollection* copies) const {
        while (copies->Entries() > 0)
            ::operator delete(copies->Pop());
        delete copies;
    }
};

}  // namespace

CCollection* CCollection::Clone(long size) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Clone", name);
    if (size < 0) return nullptr;
    try {
        return clone_values(static_cast<std::size_t>(size));
    } catch (long) {
        return nullptr;
    }
}

CCollection* CCollection::clone_values(std::size_t bytes) const {
    std::unique_ptr<CCollection, DeleteCopies> clone(new (std::nothrow) CCollection);
    if (clone == nullptr) return nullptr;
    for (const CListItem* item = head; item != nullptr; item = item->next) {
        void* copy = nullptr;
        if (item->value != nullptr) {
            copy = ::operator new(bytes, std::nothrow);
            if (copy == nullptr) return nullptr;
            std::memcpy(copy, item->value, bytes);
        }
        std::unique_ptr<void, FreeProc> owner(copy,
                                              [](void* memory) { ::operator delete(memory); });
        clone->Add(copy);
        static_cast<void>(owner.release());
    }
    return clone.release();
}

CCollection* CCollection::ShallowClone() {
    CAutoSectionLock hold(current_lock(), u"CCollection::ShallowClone", name);
    try {
        std::unique_ptr<CCollection> clone(new (std::nothrow) CCollection);
        if (clone == nullptr) return nullptr;
        ShallowClone(*clone);
        return clone.release();
    } catch (long) {
        return nullptr;
    }
}

void CCollection::ShallowClone(CCollection& target) {
    CAutoSectionLock hold(current_lock(), u"CCollection::ShallowClone", name);
    // Counted, not walked to the end: the target may be this list itself.
    long left = count;
    for (const CListItem* item = head; left > 0; item = item->next, --left)
        target.Add(item->value);
}

}  // namespace tarnwillow
