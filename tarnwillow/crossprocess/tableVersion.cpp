#include "tarnwillow/crossprocess/tableVersion.h"

namespace tarnwillow::detail {

bool TableVersion::open(char16_t const* table_name) {
    // Files have no empty name: that of a table is of a kind of its own.
    const bool empty = *table_name == 0;
    const std::uint32_t error =
        object_.open({empty ? "unnamedversion" : "version", empty ? u"empty" : table_name,
                      sizeof(Word), true, nullptr});
    word_ = static_cast<Word*>(object_.content());
    return error == 0;
}

}  // namespace tarnwillow::detail
