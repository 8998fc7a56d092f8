/* Runs the README's example program, extracted from the README as it stands,
 * against a virtual scanner that shows a real fingerprint: the example that
 * users copy is known to compile as plain C99 and to capture. */
#include <stdio.h>

#include "KR9Emulator.h"

#define main readme_example_main
#include "capture.c"
#undef main

int main(void)
{
    static uint8_t frame[KR9EMU_FRAME_BYTES];
    int width = 0, height = 0, maxValue = 0;
    FILE* file = fopen(KR9_EXAMPLE_FRAME, "rb");
    if (file == NULL || fscanf(file, "P5 %d %d %d", &width, &height, &maxValue) != 3 || fgetc(file) == EOF ||
        fread(frame, 1, sizeof(frame), file) != sizeof(frame)) {
        fprintf(stderr, "cannot read %s\n", KR9_EXAMPLE_FRAME);
        return 2;
    }
    fclose(file);

    KR9EMU_Device* device = KR9EMU_Plug("README");
    KR9EMU_SetTiming(device, 0, 0);
    KR9EMU_SetFrames(device, frame, 1);
    KR9EMU_SetFingerPresent(device, 1);
    const int result = readme_example_main();
    KR9EMU_Unplug(device);
    return result;
}
