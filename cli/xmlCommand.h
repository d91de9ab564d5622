// The command "xml". Results are exit codes: 0, or 1 after one line on standard error.
#pragma once

namespace tarnwillow::cli {

/// Prints a document's tree; or, with a path a/b/@c of an element or an attribute, the trimmed data
/// of the element or the value of the attribute. Each step goes to the first child of that name;
/// case does not matter.
int xml_command(int argc, char** argv);

}  // namespace tarnwillow::cli
