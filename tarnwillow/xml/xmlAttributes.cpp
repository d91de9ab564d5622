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

char16_t const* skip_spaces(char16_t const* at, char16_t const* end) {
    while (at < end && *at == u' ')
        ++at;
    return at;
}

char16_t const* attribute_name_end(char16_t const* at, char16_t const* end) {
    while (at < end && !kNameEnds.has(*at))
        ++at;
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

// An attribute in one piece, spaces around the "=" allowed. Anything else is not found, and the
// reader stays before it.
long XmlReader::read_plain_attribute(XmlElement& element) {
    char16_t const* const name = skip_spaces(at_, end_);
    char16_t const* const name_end = attribute_name_end(name, end_);
    char16_t const* at = skip_spaces(name_end, end_);
    if (at == end_ || *at != u'=') return ERROR_NOT_FOUND;
    at = skip_spaces(at + 1, end_);
    if (at == end_ || !is_quote(*at)) return ERROR_NOT_FOUND;
    char16_t const* const value = at + 1;
    char16_t const* const value_end = scan::find_either_near(value, end_, *at, u'\0');
    if (value_end == end_ || *value_end == u'\0') return ERROR_NOT_FOUND;
    const auto name_length = static_cast<std::size_t>(name_end - name);
    const auto value_length = static_cast<std::size_t>(value_end - value);
    if (name_length > kNameLimit || value_length > kValueLimit) return E_INVALIDARG;
    at_ = value_end + 1;
    const bool added = records_.add_attribute(
        element, {place(name), place(value), static_cast<std::uint16_t>(name_length),
                  static_cast<std::uint16_t>(value_length)});
    return added ? S_OK : E_OUTOFMEMORY;
}

// Runs until the tag has ended, or the text.
long XmlReader::read_attributes(XmlElement& element, bool* self_closed) {
    for (;;) {
        const long stored = read_plain_attribute(element);
        if (stored == S_OK) continue;
        if (stored != ERROR_NOT_FOUND) return stored;
        bool ended = false;
        const long result = read_odd_attribute(element, self_closed, &ended);
        if (result != S_OK || ended) return result;
    }
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
