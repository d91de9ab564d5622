// A buffer under test, seen as texts and as "where the cursor and the two limits stand".
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow::test {

/// What a derived class may do.
class OpenBuffer : public CSmartBuffer {
public:
    using CSmartBuffer::Check_Size_Requirements;
};

class BufferTest : public testing::Test {
protected:
    static long size_of(std::string_view text) { return static_cast<long>(text.size()); }

    /// Just this data, capacity and all, with the cursor at 0, as if loaded from a file.
    static void load(CSmartBuffer& into, std::string_view text) {
        ASSERT_EQ(into.Initialize(size_of(text)), 0);
        ASSERT_EQ(into.Write(text.data(), size_of(text)), 0);
        ASSERT_EQ(into.Move_To(0), 0);
    }
    void load(std::string_view text) { load(buffer, text); }
    void load(std::u16string_view text) {
        load({reinterpret_cast<char const*>(text.data()), text.size() * 2});
        buffer.Set_Unicode(true);
    }

    static std::string bytes(CSmartBuffer& of, unsigned long size) {
        return {static_cast<char const*>(of), size};
    }
    std::string data() { return bytes(buffer, buffer.Get_End_Of_Data()); }
    std::string storage() { return bytes(buffer, buffer.Get_Current_Buffer_Max_Size()); }
    std::u16string wide_data() {
        return {static_cast<char16_t const*>(buffer), buffer.Get_End_Of_Data() / 2};
    }

    unsigned long cursor() { return buffer.Get_Current_Offset(); }

    /// "cursor/end/capacity"
    std::string limits() {
        return std::to_string(cursor()) + "/" + std::to_string(buffer.Get_End_Of_Data()) + "/" +
               std::to_string(buffer.Get_Current_Buffer_Max_Size());
    }

    OpenBuffer buffer;
};

}  // namespace tarnwillow::test
