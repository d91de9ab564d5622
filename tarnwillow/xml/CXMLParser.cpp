#include "tarnwillow/xml/CXMLParser.h"

#include <algorithm>
#include <new>

#include "tarnwillow/containers/CSimpleTreeInner.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/xml/xmlPreparation.h"
#include "tarnwillow/xml/xmlReader.h"
#include "tarnwillow/xml/xmlRecords.h"

namespace tarnwillow {

CXMLParser::CXMLParser() = default;

CXMLParser::~CXMLParser() { forget(); }

void CXMLParser::forget() {
    delete Tree;
    delete Cursor;
    delete Nodes;
    Tree = nullptr;
    Cursor = nullptr;
    Nodes = nullptr;
    Text = nullptr;
    Offset = Text_Length = 0;
}

// Everything that is allocated on the way hangs on the object at once: a fault in reading `text`
// leaves by a jump.
long CXMLParser::Initialize(char16_t const* text, int length) {
    forget();
    if (text == nullptr || length <= 0) return E_INVALIDARG;
    return probe_guard([&] { return load(text, length); }, [] { return DISP_E_EXCEPTION; });
}

long CXMLParser::load(char16_t const* text, int length) {
    if (text[0] != u'<') return E_INVALIDARG;
    Nodes = new (std::nothrow) detail::XmlRecords();
    Text = Nodes != nullptr ? Nodes->make_text(static_cast<std::size_t>(length)) : nullptr;
    if (Text == nullptr) return E_OUTOFMEMORY;
    std::copy_n(text, length, Text);
    Text_Length = length;
    const long prepared = Prepare_Buffer();
    if (prepared != S_OK) return prepared;
    Tree = New_Simple_Tree();
    Cursor = Tree != nullptr ? Tree->New_Cursor() : nullptr;
    if (Cursor == nullptr) return E_OUTOFMEMORY;
    Next_Char();
    const long result = Load_Node();
    Cursor->Move_To_Root();
    return result;
}

long CXMLParser::Prepare_Buffer() {
    if (Text == nullptr) return E_UNEXPECTED;
    detail::XmlText text{Text, static_cast<std::size_t>(Text_Length)};
    detail::drop_trailing_space(text);
    if (!detail::remove_regions(text)) return E_INVALIDARG;
    detail::drop_leading_text(text);
    std::fill_n(text.begin + text.length, detail::kTextMargin, u'\0');
    Text = text.begin;
    Text_Length = static_cast<std::int32_t>(text.length);
    return S_OK;
}

long CXMLParser::Load_Node() {
    if (Cursor == nullptr || Cursor->Get_Node() == detail::no_node()) return E_UNEXPECTED;
    detail::XmlReader reader({Text, static_cast<std::size_t>(Text_Length)}, Offset, *Nodes,
                             static_cast<detail::CSimpleTreeInner*>(Tree)->nodes(),
                             static_cast<detail::TreeNode*>(Cursor->Get_Node()));
    const long result = reader.read_element();
    Offset = reader.offset();
    return result;
}

char16_t CXMLParser::Next_Char() { return Offset < Text_Length ? Text[Offset++] : u'\0'; }

char16_t CXMLParser::Previous_Char() { return Previous_Char(1); }

char16_t CXMLParser::Previous_Char(int count) {
    if (Offset == 0 || count < 0 || count > Offset) return 0;
    Offset -= count;
    return Offset < Text_Length ? Text[Offset] : u'\0';
}

}  // namespace tarnwillow
