// The reader's rules written down one by one, character by character, as slowly as they come: what
// the fast reader is compared with. Of no use for long or deep texts.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tarnwillow::test {

struct LiteralElement {
    std::u16string name;
    bool has_data = false;
    std::u16string data;
    std::vector<std::pair<std::u16string, std::u16string>> attributes;
    std::vector<std::unique_ptr<LiteralElement>> children;
};

struct LiteralDocument {
    long status;
    LiteralElement root;  ///< stands above the document element
};

LiteralDocument read_literally(std::u16string text);

}  // namespace tarnwillow::test
