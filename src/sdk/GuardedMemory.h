// Reads and writes of a pointer variable that the caller handed us, done so
// that a bad address is reported instead of ending the process. The kernel
// copies the value (process_vm_readv/writev on our own process) and answers
// EFAULT for memory that is not mapped or not writable; no signal handler is
// involved.
#pragma once

// False when pp does not point at readable memory; *ppValue is untouched then.
bool TryReadPointer(void* const* pp, void** ppValue);
// False when pp does not point at writable memory.
bool TryWritePointer(void** pp, void* pValue);
