/* Runs the exported calls named on the command line, one after the other, and
 * prints each result on its own line as "<call> = <result>", so that a test
 * can read the library's log lines (standard output) between them. */
#include <stdio.h>
#include <string.h>

#include "QuorvaneTactiviewKR9.h"

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        int32_t result;
        if (strcmp(argv[i], "init") == 0)
            result = TV_KR9Initialize((void*)0x1234);
        else if (strcmp(argv[i], "uninit") == 0)
            result = TV_KR9Uninitialize();
        else {
            fprintf(stderr, "unknown call %s\n", argv[i]);
            return 2;
        }
        printf("%s = %d\n", argv[i], (int)result);
        fflush(stdout);
    }
    return 0;
}
