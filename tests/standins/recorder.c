/* Stands in for programs that the library starts: notes its arguments, one a line, behind what is
 * in the file that TARNWILLOW_RECORD names. With TARNWILLOW_HANG set it then waits to be ended,
 * by its starter or by its starter's end. */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    FILE* record = fopen(getenv("TARNWILLOW_RECORD"), "a");
    if (record == NULL) return 1;
    for (int i = 1; i < argc; ++i)
        fprintf(record, "%s\n", argv[i]);
    fclose(record);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    while (getenv("TARNWILLOW_HANG") != NULL)
        pause();
    return 0;
}
