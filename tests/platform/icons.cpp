#include "tarnwillow/platform/icons.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/failingAllocator.h"
#include "support/iconFiles.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/ownText.h"

namespace tarnwillow::test {
namespace {

using Pixels = std::vector<std::uint32_t>;
using namespace std::string_literals;

class Icons : public testing::Test {
protected:
    ~Icons() override {
        for (HICON icon : {large, small})
            EXPECT_TRUE(icon == nullptr || DestroyIcon(icon));
    }
    unsigned extract(const std::string& content) {
        write_file(folder.file("icon"), content);
        return extract_from("icon");
    }
    unsigned extract_from(char const* name) {
        DestroyIcon(large);
        DestroyIcon(small);
        return ExtractIconExW(platform::widened(folder.file(name)).c_str(), 0, &large, &small, 1);
    }
    /// The only image of an ICO file with that bitmap, or nothing.
    Pixels pixels(int width, int height, int bits, const std::string& image) {
        return extract(ico_file({{width, height, bits, image}})) == 2 ? pixels_of(small) : Pixels{};
    }
    static Pixels pixels_of(HICON icon) {
        int width = 0, height = 0;
        if (!Get_Icon_Size(icon, &width, &height)) return {};
        Pixels found(static_cast<std::size_t>(width * height));
        EXPECT_FALSE(Get_Icon_Pixels(icon, found.data(), found.size() - 1));
        EXPECT_TRUE(Get_Icon_Pixels(icon, found.data(), found.size()));
        return found;
    }
    static int side_of(HICON icon) {
        int width = 0, height = 0;
        return Get_Icon_Size(icon, &width, &height) && width == height ? width : 0;
    }

    TemporaryFolder folder;
    HICON large = nullptr, small = nullptr;
};

TEST_F(Icons, ComeFromPng) {
    const Pixels picture{0xFF112233, 0x80445566, 0x00000000, 0xFFFFFFFF, 0xFF000000, 0x01FF0000};
    EXPECT_EQ(extract(png_file(3, 2, picture)), 2U);
    EXPECT_EQ(pixels_of(large), picture);
    EXPECT_EQ(pixels_of(small), picture);
}

TEST_F(Icons, ComeFromTheImageThatFitsBest) {
    const auto entry = [](int side, int bits) {
        return IcoEntry{side, side, bits,
                        png_square(side, 0xFF000000U + static_cast<unsigned>(bits))};
    };
    EXPECT_EQ(extract(ico_file({entry(8, 32), entry(48, 8), entry(24, 4), entry(24, 32)})), 2U);
    EXPECT_EQ(side_of(large), 48);
    EXPECT_EQ(side_of(small), 24);
    EXPECT_EQ(pixels_of(small)[0], 0xFF000020U) << "the one with more colours";
    EXPECT_EQ(extract(ico_file({entry(8, 32), entry(10, 32)})), 2U);
    EXPECT_EQ(side_of(large), 10) << "nothing is large enough";
}

TEST_F(Icons, ComeFromBitmapsOfEveryDepth) {
    // Two pixels by two; rows from the bottom, filled up to four bytes. The mask cuts the first
    // pixel of the lower row.
    const std::string palette = bytes(0x112233, 4) + bytes(0x445566, 4);
    const std::string mask = "\x80\0\0\0"s + "\0\0\0\0"s;
    const Pixels expected{0xFF112233, 0xFF445566, 0, 0xFF112233};
    EXPECT_EQ(pixels(2, 2, 1, dib(2, 2, 1, palette + "\x80\0\0\0"s + "\x40\0\0\0"s + mask)),
              expected);
    EXPECT_EQ(pixels(2, 2, 4, dib(2, 2, 4, palette + "\x10\0\0\0"s + "\x01\0\0\0"s + mask, 2)),
              expected);
    EXPECT_EQ(pixels(2, 2, 8, dib(2, 2, 8, palette + "\1\0\0\0"s + "\0\1\0\0"s + mask, 2)),
              expected);
    const std::string one = bytes(0x112233, 3), two = bytes(0x445566, 3), fill(2, 0);
    EXPECT_EQ(pixels(2, 2, 24, dib(2, 2, 24, two + one + fill + one + two + fill + mask)),
              expected);
    const std::string plain =
        bytes(0x445566, 4) + bytes(0x112233, 4) + bytes(0x112233, 4) + bytes(0x445566, 4);
    EXPECT_EQ(pixels(2, 2, 32, dib(2, 2, 32, plain + mask)), expected) << "alpha that nobody set";
    const std::string alpha = bytes(0x80445566, 4) + plain.substr(4);
    EXPECT_EQ(pixels(2, 2, 32, dib(2, 2, 32, alpha + mask)),
              (Pixels{0x112233, 0x445566, 0x80445566, 0x112233}));
}

TEST_F(Icons, AreNotMadeOfWhatIsDamaged) {
    const std::string picture = png_square(16, 0xFF102030), wide = png_file(1025, 1, Pixels(1025));
    const std::string image = dib(2, 2, 24, std::string(24, 1));
    const std::string whole = ico_file({{2, 2, 24, image}});
    std::string huge = image, packed = image, colours = dib(1, 1, 8, std::string(2048, 1), 257);
    huge.replace(4, 4, bytes(0x7FFFFFFF, 4));
    packed.replace(16, 4, bytes(1, 4));
    for (const std::string& content :
         {""s, "no icon"s, picture.substr(0, picture.size() / 2), wide, whole.substr(0, 21),
          whole.substr(0, whole.size() - 9), ico_file({}), ico_file({{2, 2, 24, huge}}),
          ico_file({{2, 2, 24, packed}}), ico_file({{1, 1, 8, colours}}),
          ico_file({{2, 2, 16, dib(2, 2, 16, std::string(99, 1))}})})
        EXPECT_EQ(extract(content), 0U) << content.size();
    EXPECT_EQ(extract(whole), 2U);
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    for (char const* other : {"pipe", "missing", "."})
        EXPECT_EQ(extract_from(other), 0U) << other;
    std::filesystem::resize_file(folder.file("icon"), (16 << 20) + 1);
    EXPECT_EQ(extract_from("icon"), 0U) << "too long";
}

TEST_F(Icons, AreHandlesOfTheirOwnKind) {
    EXPECT_EQ(extract(png_square(16, 1)), 2U);
    const HICON gone = small;
    EXPECT_TRUE(DestroyIcon(gone));
    EXPECT_FALSE(DestroyIcon(gone));
    small = nullptr;
    int size = 0;
    for (HICON none : {gone, HICON{nullptr}, reinterpret_cast<HICON>(&size)}) {
        EXPECT_FALSE(Get_Icon_Size(none, &size, &size));
        EXPECT_FALSE(DestroyIcon(none));
    }
    const std::u16string path = platform::widened(folder.file("icon"));
    EXPECT_EQ(ExtractIconExW(path.c_str(), 1, &small, nullptr, 1), 0U);
    EXPECT_EQ(ExtractIconExW(nullptr, 0, &small, nullptr, 1), 0U);
    EXPECT_EQ(small, nullptr);
    const FailingAllocator no_memory;
    EXPECT_EQ(ExtractIconExW(path.c_str(), 0, &small, nullptr, 1), 0U);
}

}  // namespace
}  // namespace tarnwillow::test
