#include "tarnwillow/text/valueConversions.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "support/guardPage.h"
#include "support/reports.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/randomNumber.h"
#include "text/bothWidths.h"

namespace tarnwillow {
namespace {

using test::Writable;

template <class Char>
class Values : public testing::Test {
protected:
    using Text = Writable<Char>;

    static std::string hex(unsigned long value, int digits) {
        const Text dest("", static_cast<std::size_t>(digits) + 1);
        NumToHex(value, digits, dest);
        return dest.str();
    }
    static std::string address(unsigned long value) {
        const Text dest("", 16);
        EXPECT_EQ(AddressToString(value, dest), static_cast<Char*>(dest));
        return dest.str();
    }
    static std::string text_of(const GUID& guid, bool plain) {
        const Text dest("", plain ? 37 : 39);
        GUIDToString(&guid, dest, plain);
        return dest.str();
    }
    /// The GUID read from a text, in the plain form.
    static std::string guid(std::string_view text) {
        GUID read;
        std::memset(&read, 0xFF, sizeof read);
        StringToGUID(Text(text), &read);
        return text_of(read, true);
    }
};
TYPED_TEST_SUITE(Values, test::Widths);

constexpr GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0, 0x98, 0x76, 0x54, 0x32, 0x1F}};
constexpr char kPlain[] = "01234567-89ab-cdef-fedc-00987654321f";
constexpr char kZero[] = "00000000-0000-0000-0000-000000000000";

TYPED_TEST(Values, AreReadFromDigits) {
    struct {
        char const* text;
        unsigned long value;
    } const cases[] = {{"ff", 255},       {"FF", 255},
                       {"aF09", 0xAF09},  {"g", 55},
                       {"", 0},           {"123456789", 0x23456789},
                       {"/", 0xFFFFFFFF}, {"ffffffff", 0xFFFFFFFF},
                       {"1/", 15}};
    for (const auto& c : cases)
        EXPECT_EQ(HexStringToNum(Writable<TypeParam>(c.text)), c.value) << c.text;
}

TYPED_TEST(Values, AreWrittenInDigits) {
    EXPECT_EQ(this->hex(255, 4), "00ff");
    EXPECT_EQ(this->hex(0x12345, 2), "45");
    EXPECT_EQ(this->hex(0xFEDCBA9876543210, 10), "0076543210");
    EXPECT_EQ(this->hex(1, 0), "");
}

TYPED_TEST(Values, AreGuidsInBothForms) {
    EXPECT_EQ(this->text_of(kGuid, true), kPlain);
    EXPECT_EQ(this->text_of(kGuid, false), "{" + std::string(kPlain) + "}");
    EXPECT_EQ(this->guid(kPlain), kPlain);
    EXPECT_EQ(this->guid("{" + std::string(kPlain) + "}"), kPlain);
}

TYPED_TEST(Values, AreGuidsWithFreeDashesAndBraces) {
    EXPECT_EQ(this->guid("01234567x89AB}CDEF.FEDC:00987654321F"), kPlain);
    EXPECT_EQ(this->guid("0123}4567-89ab{-cdef-fedc-00987654321f"), kPlain);
    EXPECT_EQ(this->guid("01234567-89ab-cdef-fedc-00987654321fzz"), kPlain);
}

TYPED_TEST(Values, AreNoGuidsOfAnotherLength) {
    for (std::size_t length : {0, 35, 37, 39, 1000})
        EXPECT_EQ(this->guid(std::string(length, 'a')), kZero) << length;
    EXPECT_EQ(this->guid(std::string(3, '{') + std::string(35, 'a')), kZero) << "31 digits";
    EXPECT_EQ(this->guid(std::string(38, '}')), kZero);
}

TEST(Guid, OfForeignOrNullTextIsZero) {
    char16_t const* const texts[] = {u"\u00E91234567-89ab-cdef-fedc-00987654321f", nullptr};
    const GUID zero{};
    for (char16_t const* text : texts) {
        GUID guid = kGuid;
        StringToGUID(text, &guid);
        EXPECT_EQ(std::memcmp(&guid, &zero, sizeof guid), 0);
    }
}

/// What an operation leaves in a block of `size` bytes that it fills from its start.
template <class Write>
std::string written(std::size_t size, Write write) {
    const test::GuardPage page(size);
    std::memset(page.begin(), '?', size);
    write(page.begin());
    return {page.begin(), size};
}

TEST(Bytes, AreWrittenInDigits) {
    char const data[] = "\xAB\x01";
    using namespace std::string_literals;
    const auto text_of = [&](int size) {
        return written(static_cast<std::size_t>(size),
                       [&](char* dest) { Generate_Hex_String(data, dest, size); });
    };
    EXPECT_EQ(text_of(8), "ab01\0\0\0\0"s) << "a char pointer is a terminated text";
    EXPECT_EQ(text_of(6), "ab01\0\0"s);
    EXPECT_EQ(text_of(5), "ab\0\0\0"s);
    EXPECT_EQ(text_of(1), "\0"s);
    const auto raw = [&](char* dest) {
        Generate_Hex_String(static_cast<void const*>(data), dest, 2);
    };
    EXPECT_EQ(written(4, raw), "ab01");
    EXPECT_EQ(written(5, [&](char* dest) { ConvertDataToHexString(data, 2, dest); }), "AB01\0"s);
}

TEST(Bytes, AreReadFromDigitsIntoAText) {
    using namespace std::string_literals;
    const auto read = [](char const* hex, int size) {
        return written(static_cast<std::size_t>(size),
                       [&](char* dest) { Generate_Ascii_String(hex, dest, size); });
    };
    EXPECT_EQ(read("4142", 4), "AB\0\0"s);
    EXPECT_EQ(read("41424", 4), "AB\0\0"s) << "a last odd digit goes";
    EXPECT_EQ(read("414243", 2), "AB");
    EXPECT_EQ(read("", 0), "");
}

/// "bytes in hexadecimal/count", or "false" behind what was stored.
std::string block(char const* hex, std::size_t size) {
    int count = -1;
    bool read = false;
    const std::string data =
        written(size, [&](char* dest) { read = ConvertHexStringToData(hex, dest, &count); });
    std::vector<char> digits(2 * size + 1);
    ConvertDataToHexString(data.data(), static_cast<int>(size), digits.data());
    EXPECT_EQ(read, count >= 0);
    return digits.data() + (read ? "/" + std::to_string(count) : "/false");
}

TEST(Bytes, AreReadFromPairsOfDigits) {
    EXPECT_EQ(block("AB01", 2), "AB01/2");
    EXPECT_EQ(block("ab0", 2), "AB00/1") << "the odd one is a digit by itself";
    EXPECT_EQ(block("1g0x", 2), "0100/2");
    EXPECT_EQ(block("01g1", 2), "013F/false") << "what was stored stays";
    EXPECT_EQ(block(" 1", 1), "3F/false");
    EXPECT_EQ(block("", 0), "/0");
    EXPECT_TRUE(ConvertHexStringToData("", nullptr, nullptr));
    EXPECT_FALSE(ConvertHexStringToData("1", nullptr, nullptr));
    EXPECT_FALSE(ConvertHexStringToData(nullptr, nullptr, nullptr));
}

TEST(Bytes, AreMadeReadable) {
    using namespace std::string_literals;
    const auto write = [](char* dest) { ConvertDataReadableString("a\n\xE9\x7F\x1F \0", 7, dest); };
    EXPECT_EQ(written(8, write), "a..\x7F. .\0"s);
}

TEST(Bytes, AreWrittenInBits) {
    const auto bits = [](bool low_bit_first) {
        return written(
            17, [&](char* dest) { Generate_Binary_String("\x01\xF0", 2, dest, low_bit_first); });
    };
    using namespace std::string_literals;
    EXPECT_EQ(bits(false), "0000000111110000\0"s);
    EXPECT_EQ(bits(true), "1000000000001111\0"s);
    char dest = '?';
    Generate_Binary_String(nullptr, 1, &dest, false);
    Generate_Binary_String("a", 1, nullptr, false);
    EXPECT_EQ(dest, '?');
}

TYPED_TEST(Values, AreAddresses) {
    struct {
        char const* text;
        unsigned long value;
    } const cases[] = {{"1.2.3.4", 0x04030201}, {"255.0.0.255", 0xFF0000FF}, {"", 0},
                       {"1.2", 0x0201},         {"1..3", 0x030001},          {"256.-1", 0xFF00},
                       {"1234.5", 0x057B},      {"1.2.3.4.5", 0x04030201},   {"x.2y", 0x0200}};
    for (const auto& c : cases)
        EXPECT_EQ(AddressToLong(Writable<TypeParam>(c.text)), c.value) << c.text;
    EXPECT_EQ(this->address(0x01020304), "1.2.3.4");
    EXPECT_EQ(this->address(0xFFFFFFFFFFFFFFFF), "255.255.255.255");
}

TEST(Address, IsASignedNumberToo) {
    EXPECT_EQ(AddressToInt("0.0.0.128"), -2147483647 - 1);
    char dest[12];
    EXPECT_EQ(AddressToStrInt("0.0.0.128", dest), dest);
    EXPECT_STREQ(dest, "-2147483648");
}

TEST(AddressRing, GivesThreeHundredTextsBeforeItTurns) {
    unsigned char const mac[] = {0x01, 0x23, 0x45, 0xAB, 0xCD, 0xEF};
    char16_t const* const first = MacAddressToString(mac);
    EXPECT_EQ(std::u16string(first), u"01:23:45:AB:CD:EF");
    std::set<void const*> entries{first};
    for (unsigned long i = 1; i < 300; ++i)
        entries.insert(IpAddressToString(i));
    EXPECT_EQ(entries.size(), 300U);
    EXPECT_EQ(IpAddressToString(0x01020304), first);
    EXPECT_EQ(std::u16string(first), u"1.2.3.4");
}

TEST(AddressRing, GivesEachThreadItsOwn) {
    std::vector<char16_t const*> entries[3];
    std::vector<std::thread> threads;
    for (auto& mine : entries)
        threads.emplace_back([&mine] {
            for (unsigned long i = 0; i < 100; ++i)
                mine.push_back(IpAddressToString(i));
        });
    for (std::thread& thread : threads)
        thread.join();
    std::set<void const*> all;
    for (const auto& mine : entries)
        all.insert(mine.begin(), mine.end());
    EXPECT_EQ(all.size(), 300U);
    EXPECT_EQ(std::u16string(entries[1][99]), u"0.0.0.99");
}

TEST(AddressRing, SurvivesABadPointer) {
    const test::ReportCollector reports;
    unsigned char const* volatile nowhere = nullptr;
    EXPECT_EQ(std::u16string(MacAddressToString(nowhere)), u"INVALID MAC");
    EXPECT_EQ(reports.names(), u"MacAddressToString");
}

TEST(Codes, HaveTheFirstCharacterHighest) {
    EXPECT_EQ(String_To_Char_Code("abcd"), 0x61626364);
    EXPECT_EQ(String_To_Char_Code("'abcd'"), 0x61626364);
    EXPECT_EQ(String_To_Char_Code("\xFF"), status(0xFF000000)) << "a short text is filled up";
    char narrow[5];
    Char_Code_To_String(String_To_Char_Code("abcd"), narrow);
    EXPECT_STREQ(narrow, "abcd");
    char16_t wide[5];
    FourCharIDToString(status(0xE9626364), wide);
    EXPECT_EQ(std::u16string(wide), u"\u00E9bcd");
}

StringToIdentifierMapping const kTable[] = {
    {u"one", 1}, {u"two", 2}, {u"Two", 3}, {u"uno", 1}, {nullptr, 0}};

TEST(Identifiers, AreFoundByText) {
    long identifier = -5;
    EXPECT_TRUE(String_To_Identifier(u"TWO", &identifier, kTable));
    EXPECT_EQ(identifier, 2);
    EXPECT_FALSE(String_To_Identifier(u"", &identifier, kTable));
    EXPECT_EQ(identifier, 2);
}

TEST(Identifiers, GiveTheirText) {
    char16_t dest[] = u"????";
    EXPECT_TRUE(Identifier_To_String(1, dest, 3, kTable));
    EXPECT_EQ(std::u16string(dest), u"one?") << "a full destination has no terminator";
    EXPECT_TRUE(Identifier_To_String(2, dest, 4, kTable));
    EXPECT_EQ(std::u16string(dest), u"two");
    EXPECT_FALSE(Identifier_To_String(9, dest, 4, kTable));
    EXPECT_EQ(Identifier_To_Const_String(1, kTable, 1), kTable[0].String);
    EXPECT_EQ(Identifier_To_Const_String(9, kTable, 0), kTable[0].String);
    for (int outside : {4, 5, 1000, -1})
        EXPECT_EQ(Identifier_To_Const_String(9, kTable, outside), nullptr) << outside;
}

TEST(Identifiers, SurviveABadPointer) {
    const test::ReportCollector reports;
    StringToIdentifierMapping const* volatile nowhere = nullptr;
    long identifier = 0;
    char16_t dest[4];
    EXPECT_FALSE(String_To_Identifier(u"a", &identifier, nowhere));
    EXPECT_FALSE(Identifier_To_String(1, dest, 4, nowhere));
    EXPECT_EQ(Identifier_To_Const_String(1, nowhere, 0), nullptr);
    EXPECT_EQ(reports.names(),
              u"String_To_Identifier,Identifier_To_String,Identifier_To_Const_String");
}

TEST(Truth, HasText) {
    EXPECT_EQ(std::u16string(Get_Bool_Str(true)), u"true");
    EXPECT_EQ(std::u16string(Get_Bool_Str(false)), u"false");
}

TEST(WifiChannel, FollowsFromTheFrequencyInAnyUnit) {
    struct {
        unsigned int frequency, channel;
    } const cases[] = {{2412, 1},    {2462, 11},     {2463, 0},    {2411, 0},      {24370, 6},
                       {24129, 1},   {243700, 6},    {2437000, 6}, {2462001, 0},   {5180, 36},
                       {5805, 161},  {5806, 0},      {5170, 0},    {2484, 0},      {51800, 36},
                       {518000, 36}, {5805000, 161}, {0, 0},       {0xFFFFFFFF, 0}};
    for (const auto& c : cases)
        EXPECT_EQ(ConvertWifiSpectrumToChannel(c.frequency), c.channel) << c.frequency;
}

TEST(RandomNumber, LiesInItsRangeAndReachesAllOfIt) {
    std::set<long> seen;
    for (int i = 0; i < 20000; ++i)
        seen.insert(RangeRandom(-2, 3));
    seen.erase(4);  // a generator's largest number alone gives one above the range
    EXPECT_EQ(seen, (std::set<long>{-2, -1, 0, 1, 2, 3}));
    EXPECT_EQ(RangeRandom(7, 6), 7) << "no numbers at all";
}

TEST(RandomNumber, RepeatsAfterASeedAndLeavesTheHostsAlone) {
    std::srand(1);
    const int expected = std::rand();
    std::srand(1);
    detail::seed_random(42);
    const long first = RangeRandom(0, 10000);
    detail::seed_random(42);
    EXPECT_EQ(RangeRandom(0, 10000), first);
    EXPECT_EQ(std::rand(), expected);
}

}  // namespace
}  // namespace tarnwillow
