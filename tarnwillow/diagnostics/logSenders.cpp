// The senders while no message core can be loaded: a line has nowhere to go.
#include "tarnwillow/diagnostics/logOutput.h"

namespace tarnwillow::detail {

void Send_Log_Line_Narrow(int, unsigned long, char*, int) {}
void Send_Log_Line_Wide(int, unsigned long, char16_t*, int) {}
void Send_Named_Log_Line(char16_t const*, unsigned long, char16_t const*, int) {}

}  // namespace tarnwillow::detail
