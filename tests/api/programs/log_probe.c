/* Runs the exported calls named on the command line, one after the other, and
 * prints each result on its own line as "<call> = <result>", so that a test
 * can read the library's log lines (standard output) between them, or watch
 * a second process contend for a scanner:
 *   init, uninit          TV_KR9Initialize(0x1234), TV_KR9Uninitialize()
 *   plug:SERIAL           plugs a virtual scanner (result 0 or -1)
 *   open:NAME, close      TV_KR9OpenScanner / TV_KR9CloseScanner on one handle
 *   hold                  keeps everything as it is until the process is killed (at most a minute)
 *   query-leaving         a listing whose only scanner leaves in the middle of it */
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
    void* hScanner = NULL;
    for (int i = 1; i < argc; ++i) {
        int32_t result;
        if (strcmp(argv[i], "init") == 0)
            result = TV_KR9Initialize((void*)0x1234);
        else if (strcmp(argv[i], "uninit") == 0)
            result = TV_KR9Uninitialize();
        else if (strncmp(argv[i], "plug:", 5) == 0)
            result = KR9EMU_Plug(argv[i] + 5) != NULL ? 0 : -1;
        else if (strncmp(argv[i], "open:", 5) == 0)
            result = TV_KR9OpenScanner(argv[i] + 5, &hScanner);
        else if (strcmp(argv[i], "close") == 0)
            result = TV_KR9CloseScanner(&hScanner);
        else if (strcmp(argv[i], "hold") == 0) {
            printf("holding %d\n", (int)getpid());
            fflush(stdout);
            /* An orphaned holder must not outlive a test that died. */
            alarm(60);
            for (;;)
                pause();
        } else if (strcmp(argv[i], "query-leaving") == 0)
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
