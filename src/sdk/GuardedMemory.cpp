#include "sdk/GuardedMemory.h"

#include <cerrno>
#include <sys/uio.h>
#include <unistd.h>

namespace {

// A kernel that refuses the calls themselves (an old kernel, a seccomp
// filter) gives no answer about the address: fall back to a plain access.
bool CallIsUnavailable(int nError)
{
    return nError == ENOSYS || nError == EPERM;
}

}  // namespace

bool TryReadPointer(void* const* pp, void** ppValue)
{
    void* pValue = nullptr;
    struct iovec local = {&pValue, sizeof(pValue)};
    struct iovec remote = {const_cast<void**>(pp), sizeof(pValue)};
    const ssize_t nRead = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    if (nRead == static_cast<ssize_t>(sizeof(pValue))) {
        *ppValue = pValue;
        return true;
    }
    if (nRead < 0 && CallIsUnavailable(errno)) {
        *ppValue = *pp;
        return true;
    }
    return false;
}

bool TryWritePointer(void** pp, void* pValue)
{
    struct iovec local = {&pValue, sizeof(pValue)};
    struct iovec remote = {pp, sizeof(pValue)};
    const ssize_t nWritten = process_vm_writev(getpid(), &local, 1, &remote, 1, 0);
    if (nWritten == static_cast<ssize_t>(sizeof(pValue)))
        return true;
    if (nWritten < 0 && CallIsUnavailable(errno)) {
        *pp = pValue;
        return true;
    }
    return false;
}
