// Short words for tests of lists.
#pragma once

#include <string>
#include <vector>

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/containers/CIterator.h"

namespace tarnwillow::test {

/// The plain values of a list of numbers, as a text such as "1 2 3".
inline std::string numbers(CCollection& list) {
    std::string text;
    CIterator walk;
    for (void* value = walk.Iterate(&list); walk.More(); value = walk.Next())
        text += (text.empty() ? "" : " ") + std::to_string(reinterpret_cast<long>(value));
    return text;
}

inline void add_numbers(CCollection& list, std::initializer_list<long> values) {
    for (long value : values)
        list.Add(value);
}

inline void* as_value(long number) { return reinterpret_cast<void*>(number); }
inline long as_number(void* value) { return reinterpret_cast<long>(value); }

}  // namespace tarnwillow::test
