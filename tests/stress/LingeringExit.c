/* A library whose destructor takes a while, as one that flushes its files at
 * exit does. Linked behind the SDK, it is finalised after the SDK's own
 * destructors, so that the worker threads of a stress child that exits keep
 * calling into an SDK whose destructors have already run. */
#include <unistd.h>

__attribute__((destructor)) static void LingerAtExit(void)
{
    usleep(20000);
}
