#include <cstdio>
#include <string_view>

#include "xmlCommand.h"

int main(int argc, char** argv) {
    const bool is_xml = (argc == 3 || argc == 4) && std::string_view(argv[1]) == "xml";
    if (is_xml && argc == 3) return tarnwillow::cli::print_tree(argv[2]);
    if (is_xml && tarnwillow::cli::is_path(argv[3]))
        return tarnwillow::cli::print_value(argv[2], argv[3]);
    std::fputs(
        "usage: tarnwillow xml FILE             prints the document's tree\n"
        "       tarnwillow xml FILE a/b[/@c]    prints an element's data or an attribute's value\n",
        stderr);
    return 2;
}
