// From a file or a web server to a parser.
#pragma once

#include <memory>
#include <string>

#include "tarnwillow/xml/CXMLParser.h"

namespace tarnwillow::cli {

/// Reads a document of UTF-8, or of UTF-16 if it begins with that byte-order mark. What stands in
/// front of the document element (white space, declarations, comments, a document type) is left
/// out. A URL is asked for, and must be answered with status 200. The status of what failed: the
/// file, the conversion or the parser; or E_FAIL, and then `reason` tells what the server did.
long read_document(char const* source, std::unique_ptr<CXMLParser>* parser, std::string* reason);

/// UTF-8 as UTF-16.
std::u16string to_wide(char const* text);

}  // namespace tarnwillow::cli
