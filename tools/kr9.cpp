// kr9: lists, inspects and captures from KR9 scanners, real or virtual.
#include <cstdio>

#include "tools/Kr9Cli.h"

int main(int argc, char** argv)
{
    return RunKr9(argc, argv, stdout, stderr);
}
