// A document as a script walks it: a wrapped native object that stands on one element.
//
//     name, text               of that element
//     attribute(name)          null if there is none
//     child(name), next(name)  to the first child or sibling, of that name if one is given; false,
//     parent(), root()         and nowhere else, if there is none
#pragma once

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::cli {

/// Makes `result` a document that stands on its document element. The status of what failed.
long load_document(char16_t const* file, VARIANT* result);

}  // namespace tarnwillow::cli
