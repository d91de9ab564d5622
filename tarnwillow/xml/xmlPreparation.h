// Takes out of a document what its reader never sees.
#pragma once

#include <cstddef>

namespace tarnwillow::detail {

/// A part of a larger memory. Preparing shortens it at both ends and moves text inside it.
struct XmlText {
    char16_t* begin;
    std::size_t length;
};

void drop_trailing_space(XmlText& text);

/// Removes declarations ("<?" to "?>") and comments ("<!--" to "-->"), in one pass and without
/// regard to quotes. Directly behind a removed declaration a comment is removed too; nothing else
/// that begins right behind a removed region is looked at. False if a region has no end.
bool remove_regions(XmlText& text);

/// Drops what stands before the first "<", if there is one.
void drop_leading_text(XmlText& text);

}  // namespace tarnwillow::detail
