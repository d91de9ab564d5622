#include "crashSite.h"

namespace crash_site {

namespace {

int* volatile nowhere = nullptr;

void write_through(int number) { *nowhere = number; }
constexpr int kLineAbove = __LINE__ - 1;

}  // namespace

const int line = kLineAbove;

void outer_function(int number) { write_through(number + 1); }

}  // namespace crash_site
