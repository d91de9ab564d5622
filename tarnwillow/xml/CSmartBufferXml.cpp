// CSmartBuffer's hand-off to the XML reader, which lies above the buffer itself.
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "tarnwillow/text/CSmartBuffer.h"
#include "tarnwillow/xml/CXMLParser.h"

namespace tarnwillow {

namespace {

constexpr unsigned long kMarkSize = 2;

bool is_aligned(void const* text) {
    return reinterpret_cast<std::uintptr_t>(text) % alignof(char16_t) == 0;
}

// The parser keeps a copy of its own: text that it can read where it stands needs no other.
long parse(CXMLParser& parser, unsigned char const* text, std::size_t length) {
    const auto units = static_cast<int>(length);
    if (is_aligned(text)) return parser.Initialize(reinterpret_cast<char16_t const*>(text), units);
    const std::unique_ptr<char16_t[]> copy(new (std::nothrow) char16_t[length]);
    if (copy == nullptr) return E_OUTOFMEMORY;
    std::memcpy(copy.get(), text, length * sizeof(char16_t));
    return parser.Initialize(copy.get(), units);
}

}  // namespace

long CSmartBuffer::Create_XML_Parser(CXMLParser** parser) {
    if (parser == nullptr) return E_INVALIDARG;
    std::unique_ptr<CXMLParser> created(new (std::nothrow) CXMLParser);
    if (created == nullptr) return E_OUTOFMEMORY;
    unsigned long from = Current_Offset;
    if (from == 0 && Is_Unicode_File()) from = kMarkSize;
    const std::size_t units = from < End_Of_Data ? (End_Of_Data - from) / sizeof(char16_t) : 0;
    if (units > static_cast<std::size_t>(std::numeric_limits<int>::max())) return E_OUTOFMEMORY;
    const long result = parse(*created, Buffer + from, units);
    if (result != 0) return result;
    *parser = created.release();
    return 0;
}

}  // namespace tarnwillow
