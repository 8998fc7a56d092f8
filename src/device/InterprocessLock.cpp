#include "device/InterprocessLock.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>

#include "sdk/SDKLogger.h"

ClInterprocessLock::StHeldFile::~StHeldFile()
{
    // Closing the last descriptor of the open file description releases the flock.
    close(m_nFd);
}

ClInterprocessLock::ClInterprocessLock(const std::string& strName) : m_strName(strName) {}

ClInterprocessLock::~ClInterprocessLock() = default;

std::string ClInterprocessLock::LockFilePath(const std::string& strName)
{
    std::string strFileName = "QvnLock_" + strName;
    boost::algorithm::replace_all(strFileName, " ", "_");
    // A serial number is the device's text and may hold a slash, which a file name cannot.
    boost::algorithm::replace_all(strFileName, "/", "_");
    const char* pszDirectory = getenv("XDG_RUNTIME_DIR");
    if (pszDirectory == nullptr || *pszDirectory == '\0')
        pszDirectory = "/tmp";
    return std::string(pszDirectory) + "/" + strFileName;
}

bool ClInterprocessLock::Lock()
{
    // A failure of any kind, the log line's own included, means "not locked".
    try {
        return TryLock();
    } catch (...) {
        return false;
    }
}

bool ClInterprocessLock::TryLock()
{
    const std::string strPath = LockFilePath(m_strName);
    // Read-only is enough for flock, and lets users other than the file's
    // creator lock it in a shared /tmp; no symbolic link is followed there.
    const int nFd = open(strPath.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (nFd < 0) {
        ClSDKLogger::LogDebug("Device lock %s cannot be opened: %s\n", strPath.c_str(), strerror(errno));
        return false;
    }
    auto pHeldFile = std::make_unique<StHeldFile>(nFd);
    int nResult;
    do {
        nResult = flock(nFd, LOCK_EX | LOCK_NB);
    } while (nResult != 0 && errno == EINTR);
    if (nResult != 0) {
        ClSDKLogger::LogDebug("Device lock %s is held elsewhere: %s\n", strPath.c_str(), strerror(errno));
        return false;
    }
    m_pHeldFile = std::move(pHeldFile);
    return true;
}
