// Loading the attributes of a start tag.
//
// Most attributes are written in one piece, name="value", and are found by searches. All else goes
// through the walk character by character: a space inside a name is skipped, a line end belongs to
// the name it stands before, and a "/" vanishes with the character behind it.
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/unitScan.h"
#include "tarnwillow/xml/xmlReader.h"

namespace tarnwillow::detail {

using namespace std::string_view_literals;

namespace {

bool is_quote(char16_t c) { return c == u'"' || c == u'\''; }

constexpr scan::LowUnits kNameEnds(u"= >/\"'\0"sv);

// The text ends with a NUL, at which all of these stop.

char16_t const* skip_spaces(char16_t const* at) {
    while (*at == u' ')
        ++at;
    return at;
}

char16_t const* name_end_from(char16_t const* at, scan::TagMap& map) {
    for (at = map.find_low(at); !kNameEnds.has(*at);)
        at = map.find_low(at + 1);
    return at;
}

char16_t const* value_end_from(char16_t const* at, char16_t quote, scan::TagMap& map) {
    for (at = map.find_quote(at); *at != quote && *at != u'\0';)
        at = map.find_quote(at + 1);
    return at;
}

/// Collects a text that is not written in one piece. What does not fit only counts.
template <std::size_t limit>
class Gathered {
public:
    void clear() { length_ = 0; }
    void add(char16_t c) {
        if (length_ < limit) text_[length_] = c;
        ++length_;
    }
    bool fits() const { return length_ <= limit; }
    std::u16string_view text() const { return {text_, length_}; }

private:
    char16_t text_[limit];
    std::size_t length_ = 0;
};

}  // namespace

struct XmlReader::OddAttribute {
    Gathered<kNameLimit> name;
    Gathered<kValueLimit> value;
};

/// An attribute in one piece, spaces around the "=" allowed.
struct XmlReader::PlainAttribute {
    char16_t const* name;
    char16_t const* name_end;
    char16_t const* value;
    char16_t const* value_end;

    /// False for anything else.
    bool read(char16_t const* at, scan::TagMap& map) {
        name = skip_spaces(at);
        name_end = name_end_from(name, map);
        at = skip_spaces(name_end);
        if (*at != u'=') return false;
        at = skip_spaces(at + 1);
        if (!is_quote(*at)) return false;
        value = at + 1;
        value_end = value_end_from(value, *at, map);
        return *value_end != u'\0';
    }
    std::size_t name_length() const { return static_cast<std::size_t>(name_end - name); }
    std::size_t value_length() const { return static_cast<std::size_t>(value_end - value); }
    bool fits() const { return name_length() <= kNameLimit && value_length() <= kValueLimit; }
};

// All attributes up to one that is written otherwise, in front of which the reader then stays.
// Where it is meanwhile is kept in a register: each attribute's place depends on the one before.
long XmlReader::read_plain_attributes(XmlElement& element) {
    PlainAttribute found;
    char16_t const* at = at_;
    scan::TagMap map(at);
    long result = S_OK;
    for (; result == S_OK && found.read(at, map); at = found.value_end + 1)
        result = found.fits() ? store_plain_attribute(element, found) : E_INVALIDARG;
    at_ = at;
    return result;
}

inline long XmlReader::store_plain_attribute(XmlElement& element, const PlainAttribute& found) {
    const bool added =
        records_.add_attribute(element, {place(found.name), place(found.value),
                                         static_cast<std::uint16_t>(found.name_length()),
                                         static_cast<std::uint16_t>(found.value_length())});
    return added ? S_OK : E_OUTOFMEMORY;
}

// Where nothing but its end is left of the tag.
inline bool XmlReader::read_tag_end(bool* self_closed) {
    *self_closed = *at_ == u'/' && at_[1] == u'>';
    if (!*self_closed && *at_ != u'>') return false;
    at_ += *self_closed ? 2 : 1;
    return true;
}

// Runs until the tag has ended, or the text.
long XmlReader::read_attributes(XmlElement& element, bool* self_closed) {
    bool ended = false;
    long result = S_OK;
    while (result == S_OK && !ended) {
        result = read_plain_attributes(element);
        if (result != S_OK || read_tag_end(self_closed)) return result;
        result = read_odd_attribute(element, self_closed, &ended);
    }
    return result;
}

// One attribute, however it is written. With none to be had, the tag has ended.
long XmlReader::read_odd_attribute(XmlElement& element, bool* self_closed, bool* ended) {
    OddAttribute attribute;
    bool seen_equals = false;
    for (char16_t c = next(); c != u'\0' && c != u'>'; c = next()) {
        if (is_quote(c)) {
            if (!seen_equals) return E_FAIL;
            if (!gather_quoted(attribute, c)) break;
            return store_odd_attribute(element, attribute);
        }
        if (c == u'/') {
            *self_closed = next() == u'>';
            if (*self_closed) break;
        } else if (c == u'=') {
            seen_equals = true;
            attribute.value.clear();
        } else if (c != u' ') {
            seen_equals ? attribute.value.add(c) : attribute.name.add(c);
        }
    }
    *ended = true;
    return S_OK;
}

// False if the text ends in front of the closing quote.
bool XmlReader::gather_quoted(OddAttribute& attribute, char16_t quote) {
    for (char16_t c = next(); c != u'\0'; c = next()) {
        if (c == quote) return true;
        attribute.value.add(c);
    }
    return false;
}

long XmlReader::store_odd_attribute(XmlElement& element, const OddAttribute& attribute) {
    if (!attribute.name.fits() || !attribute.value.fits()) return E_INVALIDARG;
    const std::u16string_view name = attribute.name.text();
    const std::u16string_view value = attribute.value.text();
    XmlAttribute record{0, 0, static_cast<std::uint16_t>(name.size()),
                        static_cast<std::uint16_t>(value.size())};
    const bool stored = records_.keep_apart(name, &record.name) &&
                        records_.keep_apart(value, &record.value) &&
                        records_.add_attribute(element, record);
    return stored ? S_OK : E_OUTOFMEMORY;
}

}  // namespace tarnwillow::detail
