/* Runs the exported calls named on the command line, one after the other, and
 * prints each result on its own line as "<call> = <result>", so that a test
 * can read the library's log lines (standard output) between them. */
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "KR9Emulator.h"
#include "QuorvaneTactiviewKR9.h"

/* Pulls the scanner out as soon as it has been asked something, while its answer is still on the way. */
static void* PullWhenAsked(void* device)
{
    KR9EMU_Stats stats;
    do {
        usleep(1000);
        KR9EMU_GetStats((KR9EMU_Device*)device, &stats);
    } while (stats.reportsReceived == 0);
    KR9EMU_Unplug((KR9EMU_Device*)device);
    return NULL;
}

/* A listing whose only scanner leaves in the middle of it. */
static int32_t QueryWhileTheScannerLeaves(void)
{
    KR9EMU_Device* device = KR9EMU_Plug("V");
    KR9EMU_SetTiming(device, 0, 10000);
    pthread_t puller;
    if (pthread_create(&puller, NULL, PullWhenAsked, device) != 0)
        return 1;
    char names[TV_KR9_SCANNER_NAME_SIZE];
    uint64_t count = 1;
    const int32_t result = TV_KR9QueryScanners(names, &count);
    pthread_join(puller, NULL);
    return result;
}

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        int32_t result;
        if (strcmp(argv[i], "init") == 0)
            result = TV_KR9Initialize((void*)0x1234);
        else if (strcmp(argv[i], "uninit") == 0)
            result = TV_KR9Uninitialize();
        else if (strcmp(argv[i], "query-leaving") == 0)
            result = QueryWhileTheScannerLeaves();
        else {
            fprintf(stderr, "unknown call %s\n", argv[i]);
            return 2;
        }
        printf("%s = %d\n", argv[i], (int)result);
        fflush(stdout);
    }
    return 0;
}
