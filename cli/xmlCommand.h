// The command "xml". Results are exit codes: 0, or 1 after one line on standard error.
#pragma once

namespace tarnwillow::cli {

/// Whether a path has the form a/b/@c: names of elements, the document element's first, and at the
/// end an attribute's if wanted.
bool is_path(char const* path);

int print_tree(char const* file);

/// The trimmed data of the element, or the value of the attribute, that the path leads to. Each
/// step goes to the first child of that name; case does not matter.
int print_value(char const* file, char const* path);

}  // namespace tarnwillow::cli
