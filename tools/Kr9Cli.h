// The `kr9` command-line program, callable in-process: `main` is a one-line
// wrapper, and tests run the subcommands with their own streams.
#pragma once

#include <cstdio>

// Runs `kr9 argv[1] ...`; messages go to pOut, failures to pErr. Returns the exit code.
int RunKr9(int argc, char** argv, FILE* pOut, FILE* pErr);
