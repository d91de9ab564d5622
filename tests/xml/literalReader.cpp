#include "literalReader.h"

#include "tarnwillow/platform/status.h"

namespace tarnwillow::test {

namespace {

bool is_white(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

bool prepare(std::u16string& text) {
    static const struct {
        std::u16string opening, closing;
        std::size_t least;
    } table[] = {{u"<?", u"?>", 4}, {u"<!--", u"-->", 7}};
    while (!text.empty() && is_white(text.back()))
        text.pop_back();
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t remaining = text.size() - i;
        for (const auto& entry : table) {
            if (entry.least > remaining) continue;
            if (text.compare(i, entry.opening.size(), entry.opening) != 0) continue;
            const std::size_t close = text.find(entry.closing, i + entry.opening.size());
            if (close == std::u16string::npos) return false;
            text.erase(i, close + entry.closing.size() - i);
        }
    }
    const std::size_t first = text.find(u'<');
    if (first != std::u16string::npos) text.erase(0, first);
    return true;
}

class Reader {
public:
    explicit Reader(const std::u16string& text) : text_(text) {}

    char16_t next() { return offset_ == text_.size() ? u'\0' : text_[offset_++]; }
    void back() {
        if (offset_ > 0) --offset_;
    }

    long load(LiteralElement& parent) {
        parent.children.push_back(std::make_unique<LiteralElement>());
        LiteralElement& element = *parent.children.back();
        bool self_closed = false;
        std::vector<std::pair<std::u16string, std::u16string>> attributes;
        while (element.name.size() < 256) {
            const char16_t c = next();
            if (c == 0 || c == u'>') break;
            if (is_white(c)) {
                const long result = walk_attributes(attributes, self_closed);
                if (result != S_OK) return result;
                break;
            }
            if (c == u'/') {
                next();
                self_closed = true;
                break;
            }
            element.name += c;
        }
        if (!self_closed && (offset_ == text_.size() || element.name.size() == 256)) {
            if (element.name.size() == 256) element.name.pop_back();
            return E_INVALIDARG;
        }
        element.attributes = attributes;
        return self_closed ? S_OK : load_content(element);
    }

private:
    long walk_attributes(std::vector<std::pair<std::u16string, std::u16string>>& attributes,
                         bool& self_closed) {
        bool in_quote = false, seen_equals = false;
        char16_t quote = 0;
        std::u16string name, value;
        std::u16string* dest = &name;
        for (char16_t c = next(); c != 0; c = next()) {
            if ((c == u'"' || c == u'\'') && (!in_quote || c == quote)) {
                in_quote = !in_quote;
                if (!seen_equals) return E_FAIL;
                if (in_quote) {
                    quote = c;
                    continue;
                }
                if (name.size() > 255 || value.size() > 511) return E_INVALIDARG;
                attributes.emplace_back(name, value);
                name.clear();
                value.clear();
                quote = 0;
                seen_equals = false;
                dest = &name;
            } else if (in_quote) {
                *dest += c;
            } else if (c == u' ') {
                continue;
            } else if (c == u'=') {
                value.clear();
                dest = &value;
                seen_equals = true;
            } else if (c == u'>') {
                return S_OK;
            } else if (c == u'/') {
                if (next() != u'>') continue;
                self_closed = true;
                return S_OK;
            } else {
                *dest += c;
            }
        }
        return S_OK;
    }

    long load_content(LiteralElement& element) {
        const std::size_t data = offset_;
        const std::size_t start = offset_ + 1;
        element.has_data = true;
        for (char16_t c = next(); c != 0; c = next()) {
            const std::size_t position = offset_;
            if (c != u'<') continue;
            if (next() != u'/') {
                back();
                const long result = load(element);
                if (result != S_OK) return result;
                continue;
            }
            std::size_t i = 0;
            while (i < element.name.size() && next() == element.name[i])
                ++i;
            if (i < element.name.size() || next() != u'>') continue;
            element.data = text_.substr(data, position - start);
            return S_OK;
        }
        offset_ = start;
        return S_OK;
    }

    const std::u16string& text_;
    std::size_t offset_ = 0;
};

}  // namespace

LiteralDocument read_literally(std::u16string text) {
    LiteralDocument document{E_INVALIDARG, {}};
    if (text.empty() || text[0] != u'<' || !prepare(text)) return document;
    Reader reader(text);
    reader.next();
    document.status = reader.load(document.root);
    return document;
}

}  // namespace tarnwillow::test
