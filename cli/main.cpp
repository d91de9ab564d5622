#include <cstdio>

int main() {
    std::fputs("usage: tarnwillow xml FILE [PATH]\n", stderr);
    return 2;
}
