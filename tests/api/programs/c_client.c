/* A plain C99 client: the public header must compile without C++ and the
 * library must link and answer. Exit status 0 on success. */
#include <stdio.h>
#include <string.h>

#include "QuorvaneTactiviewKR9.h"

int main(void)
{
    int failures = 0;
    if (TV_KR9Initialize(NULL) != ZRT_SUCCESS)
        ++failures;
    if (TV_KR9CompatibilityCheck("2.7") != ZRT_SUCCESS)
        ++failures;
    if (strcmp(TV_KR9GetErrorDescriptionA((uint32_t)ZRT_ERROR_NO_HANDLE), "The handle parameter is set to NULL.") != 0)
        ++failures;
    if (TV_KR9Uninitialize() != ZRT_SUCCESS)
        ++failures;
    if (sizeof(TV_KR9Long) != 4)
        ++failures;
    printf("%d failed\n", failures);
    return failures == 0 ? 0 : 1;
}
