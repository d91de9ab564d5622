// A letter made from a form, and what stands in a line of it.
#include <tarnwillow/text/COutputBuffer.h>
#include <tarnwillow/text/CSmartBuffer.h>
#include <tarnwillow/text/CStrTok.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    CSmartBuffer letter;
    if (letter.Initialize(64) != 0) return 1;
    letter.Write("Dear NAME,\r\nyour order: 3,pears,\"ripe, not soft\"\r\n");
    letter.Move_To(0);
    letter.Search_And_Replace("NAME", "Ms. Größe", false);
    if (letter.Move_To("order: ", true, false) != 0 || letter.Move_From_Offset(7) != 0) return 1;

    char line[256];
    long room = sizeof line;
    if (letter.Next_Line(line, &room, true) != 0) return 1;
    CStrTok pieces(line, true);  // quotes protect
    COutputBuffer list;
    while (char const* const piece = pieces.Next(","))
        list << "[" << piece << "]";
    std::printf("%s\n", static_cast<char const*>(list));
}
