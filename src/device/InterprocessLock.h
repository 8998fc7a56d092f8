// ClInterprocessLock: keeps two processes (or two handles of one process)
// from driving the same scanner. The transport opens devices with full
// sharing, so nothing else would stop them.
//
// The lock is an advisory flock on a file named "QvnLock_" plus the scanner's
// display name (blanks as "_"), in $XDG_RUNTIME_DIR or else /tmp. flock binds
// the open file description, not the process, so a second Lock on the same
// name fails also inside one process and even on the same object; and the
// kernel drops it with the last descriptor, so a holder that crashes or is
// killed leaves no stale lock. The file itself stays as an empty marker:
// removing it would let a late opener lock a file that is no longer the one
// others find.
#pragma once

#include <memory>
#include <string>

class ClInterprocessLock
{
public:
    // Takes no lock yet.
    explicit ClInterprocessLock(const std::string& strName);
    virtual ~ClInterprocessLock();
    ClInterprocessLock(const ClInterprocessLock&) = delete;
    ClInterprocessLock& operator=(const ClInterprocessLock&) = delete;

    // True when this object now holds the lock. Fails at once, without
    // waiting, when the name is held by anyone, this object included; never
    // throws. A new lock replaces one this object held before.
    bool Lock();

    // The path of the lock file for a display name.
    static std::string LockFilePath(const std::string& strName);

private:
    bool TryLock();

    // The descriptor whose open file description carries the lock.
    struct StHeldFile
    {
        explicit StHeldFile(int nFd) : m_nFd(nFd) {}
        ~StHeldFile();
        StHeldFile(const StHeldFile&) = delete;
        StHeldFile& operator=(const StHeldFile&) = delete;
        int m_nFd;
    };

    std::string m_strName;
    std::unique_ptr<StHeldFile> m_pHeldFile;   // empty until locked
};
