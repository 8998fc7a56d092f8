// `kr9 jtag`: plays an XSVF file on a JTAG chain. The XSVF player is internal
// to the SDK (no exported function reaches it), so this subcommand is the one
// part of kr9 that links the SDK's inside; its interface stays plain so that
// the rest of kr9 keeps to the public headers.
#pragma once

#include <cstdio>
#include <string>

// Plays the file; bVirtual: against the simulated chain. Progress and the
// outcome go to pOut, failures to pErr. Returns the exit code: 0 only when the
// stream ran to its XCOMPLETE.
int RunJtagCommand(const std::string& strPath, bool bVirtual, FILE* pOut, FILE* pErr);
