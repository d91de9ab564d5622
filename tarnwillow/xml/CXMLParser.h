#pragma once

#include <cstdint>
#include <string_view>

#include "tarnwillow/containers/CSimpleTree.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"

namespace tarnwillow {

class CXMLParser;

namespace detail {
class XmlRecords;
struct XmlAttribute;
struct XmlElement;
}  // namespace detail

/// What a producer of Load_Tree is looking at.
enum XmlParserNodeType {
    XmlNodeWithChildren = 0,  ///< an element that has child elements
    XmlNodeLeaf = 1           ///< an element that has none
};

/// Says what the new tree stores for the element that the parser stands on. False ends its level.
using XmlTreeProducer = bool (*)(CXMLParser* parser, XmlParserNodeType type, void** data,
                                 long* size, void* user);

/// Hears of each stored element: `node` is the new node of an element with children, and the parent
/// of the new node for a leaf. The result is not used.
using XmlTreeNotifier = bool (*)(void* data, void* node, void* user);

/// A small forgiving reader of XML that is held as UTF-16 in memory: it loads a whole document into
/// a tree of elements and walks that by a single position.
///
/// It is not a conforming reader. Regions "<?" ... "?>" and "<!--" ... "-->" are dropped wherever
/// they stand, also inside quotes. Nothing is decoded: "&lt;" stays as written. CDATA sections and
/// document type declarations are read as the start of an element whose name begins with "!". Only
/// the first element at the top is read. An element whose closing tag never comes has no data, and
/// its content is read again as its parent's.
///
/// Counts are characters (UTF-16 units). A parser is initialised once, belongs to one thread at a
/// time, and takes no lock. Every text that it hands out as a pointer is its own and lives as long
/// as it does.
class TARNWILLOW_API CXMLParser : public CAutoDeleteableObject {
public:
    CXMLParser();
    ~CXMLParser() override;
    CXMLParser(const CXMLParser&) = delete;
    CXMLParser& operator=(const CXMLParser&) = delete;

    /// Reads the document in the `length` characters of `text`, of which it takes a copy. The
    /// first must be "<". On success the position is the root above the document element. On
    /// failure the tree holds what was read before it. A second call forgets the first document.
    ///
    /// E_INVALIDARG: null, empty or of negative length; the first character is not "<"; a removed
    /// region has no end; the text ends in a start tag or right behind one; an element name has 256
    /// characters or more, a quoted attribute's name as many, its value 512 or more; elements are
    /// nested deeper than 256; reading again after missing closing tags would take more than 64
    /// times the length plus 65,536 characters, or has filled more than 32 bytes for each character
    /// plus 4 MB with records. E_FAIL: a quote in a tag without "=" before it.
    /// E_OUTOFMEMORY. DISP_E_EXCEPTION: `text` cannot be read to its end.
    long Initialize(char16_t const* text, int length);

    // Moving. ERROR_NOT_FOUND leaves the position where it was. Names compare without ASCII case.

    /// To the root, which is above the document element and has no record. Always 0.
    long Move_To_Root_Node();

    /// Always 0. From the root the position leaves the tree, until Move_To_Root_Node.
    long Move_To_Parent();

    /// Whether the current element has elements in it.
    bool Current_Node_Has_Children();

    /// To the first child, or with a name to the first child of that name.
    long Move_To_Child(char16_t const* name);

    /// To the next sibling, or with a name to the first of that name among all siblings, the
    /// current element and those before it included.
    long Move_To_Sibling(char16_t const* name);

    // Reading the current element. ERROR_NOT_FOUND off the elements; E_INVALIDARG if a pointer of
    // the caller's faults.

    /// Copies the name, terminated, into `name`, which holds 256 characters.
    long Get_Current_Node(char16_t* name);

    /// Copies the text between the tags, markup of children included, without a terminator. `*size`
    /// is the room of `dest` and becomes the data's length; a null `dest` only asks for that.
    /// `trim` leaves out white space at both ends, but the room must suffice for the whole:
    /// ERROR_INSUFFICIENT_BUFFER otherwise.
    long Get_Current_Node_Data(char16_t* dest, int* size, bool trim);

    /// The same with a terminator: `size`, the room of `dest`, must exceed the data's length.
    long Get_Current_Node_Data_String(char16_t* dest, int size, bool trim);

    /// The data in place, not terminated; null with length 0 for an element that closed itself.
    /// `length` may be null.
    long Get_Current_Node_Raw_Data(void** data, int* length);

    /// Copies the value of the first attribute of that name, terminated. `*size` is the room of
    /// `dest` without the terminator, 255 if `size` is null, and becomes the value's length.
    /// ERROR_INSUFFICIENT_BUFFER if the value is longer: so a null `dest` with `*size` 0 asks for
    /// the length of a value that is not empty. An element without attributes sets `*size` to 0;
    /// without one of that name `*size` stays.
    long Get_Current_Node_Attribute(char16_t const* name, char16_t* dest, int* size);

    /// Copies name and value, terminated, of the attribute at `index`, from 0 in document order.
    /// `name` holds 256 characters and `value` 512. ERROR_NOT_FOUND behind the last one.
    long Get_Current_Node_Attribute_At(int index, char16_t* name, char16_t* value);

    /// Rebuilds the current element, those behind it on its level and all below them under the
    /// node that `dest` stands on, with the data that `producer` names. Within one level, `data`
    /// and `size` keep what the producer left there for the element before. The position is
    /// restored.
    ///
    /// ERROR_CANCELLED if the producer answered false on the top level; on a deeper level false
    /// only ends that level. Nodes added so far stay. E_OUTOFMEMORY if `dest` takes no node.
    /// E_INVALIDARG for a null `dest` or `producer`.
    long Load_Tree(CSimpleTreeCursor* dest, XmlTreeProducer producer, XmlTreeNotifier notifier,
                   void* user);

protected:
    /// Drops trailing white space, declarations and comments, and what then stands before the first
    /// "<". E_INVALIDARG if a declaration or comment has no end. E_UNEXPECTED without a text.
    long Prepare_Buffer();

    /// Reads one element and all in it into the tree below the position, from behind its "<".
    /// E_UNEXPECTED without a tree, and off it.
    long Load_Node();

    /// One level of Load_Tree.
    long Do_Tree_Load(CSimpleTreeCursor* dest, XmlTreeProducer producer, XmlTreeNotifier notifier,
                      void* user);

    /// The character at the offset, which moves on; 0 at the end of the text.
    char16_t Next_Char();

    /// Moves the offset back, by one or by `count`, and gives the character there; 0 without a move
    /// where the text has not that much before the offset.
    char16_t Previous_Char();
    char16_t Previous_Char(int count);

private:
    void forget();
    long load(char16_t const* text, int length);

    detail::XmlElement* current_element() const;
    std::u16string_view text_of(std::uint32_t place, std::size_t length) const;
    bool find_named(char16_t const* name);
    void go_back_to(void* node);
    detail::XmlAttribute const* find_attribute(char16_t const* name) const;
    long read_attribute(char16_t const* name, char16_t* dest, int* size) const;

    CSimpleTree* Tree = nullptr;
    CSimpleTreeCursor* Cursor = nullptr;
    detail::XmlRecords* Nodes = nullptr;  // the elements, and the memory that Text lies in
    char16_t* Text = nullptr;
    std::int32_t Offset = 0;
    std::int32_t Text_Length = 0;
};

}  // namespace tarnwillow
