// Short words for tests of hash tables.
#pragma once

#include <string>

#include "support/lists.h"
#include "tarnwillow/containers/CHashedCollection.h"

namespace tarnwillow::test {

/// A table whose data are numbers and whose inner operations may be called.
class Table : public CHashedCollection {
public:
    explicit Table(int size = 50) {
        if (size >= 0) Initialize(size);
    }

    using CHashedCollection::Determine_Location;
    using CHashedCollection::Get_Hash_Entry;
    using CHashedCollection::Get_Key_From_Long;
    using CHashedCollection::IteratorResultSortProc;

    long put(const std::u16string& key, long number) {
        return Add(key.c_str(), as_value(number), number);
    }

    /// The number found, or -1.
    long get(const std::u16string& key) {
        void* data = nullptr;
        return Find(key.c_str(), &data, nullptr) == S_OK ? as_number(data) : -1;
    }

    /// Keys and numbers in order, as a text such as "a=1 b=2".
    std::u16string content() {
        std::u16string text;
        char16_t key[256];
        const long walk = Get_Entries_Iterator();
        for (void* data = Reset_Iterator(walk, key, nullptr); key[0] != 0;
             data = Iterate_Next(walk, key, nullptr)) {
            const std::string number = std::to_string(as_number(data));
            text += (text.empty() ? u"" : u" ") + std::u16string(key) + u"=" +
                    std::u16string(number.begin(), number.end());
        }
        Return_Iterator(walk);
        return text;
    }

    void put_all(std::initializer_list<std::u16string> keys) {
        long number = 0;
        for (const std::u16string& key : keys)
            put(key, ++number);
    }
};

}  // namespace tarnwillow::test
