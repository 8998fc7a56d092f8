/* Loads the SDK library, plugs virtual scanners and unloads it again, many
 * times over, then reports the heap that the cycles left behind: scanners
 * still plugged when the library goes must go with it. Exits with 1 when more
 * than a few bytes per cycle remain, 2 when the library cannot be loaded or
 * does not really unload. */
#include <dlfcn.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>

typedef void* (*PFN_PLUG)(const char* serial);

int main(int argc, char** argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: unload_probe LIBRARY [CYCLES]\n");
        return 2;
    }
    const int cycles = argc > 2 ? atoi(argv[2]) : 40;
    size_t heapBefore = 0;
    for (int i = 0; i <= cycles; ++i) {
        /* The first cycle fills the loader's own caches; count from the second. */
        if (i == 1)
            heapBefore = mallinfo2().uordblks;
        void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (library == NULL) {
            fprintf(stderr, "%s\n", dlerror());
            return 2;
        }
        PFN_PLUG plug = (PFN_PLUG)dlsym(library, "KR9EMU_Plug");
        if (plug == NULL || plug("A") == NULL || plug("B") == NULL || plug("C") == NULL)
            return 2;
        dlclose(library);
        if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != NULL) {
            fprintf(stderr, "the library stays loaded after dlclose\n");
            return 2;
        }
    }
    const long retained = (long)(mallinfo2().uordblks - heapBefore) / (cycles > 0 ? cycles : 1);
    printf("%d cycles, %ld bytes retained per cycle\n", cycles, retained);
    return retained > 1024 ? 1 : 0;
}
