#pragma once

namespace ZMBSD {

// Held round every read-change-write of a settings file (rc.conf, ntp.conf, the resolver's) and round each run of a
// program that edits one, so that no change loses another. One for the process; a thread that holds it may take it
// again. Other locks are taken before it, never inside it, and no restart or other slow program runs meanwhile.
class CSettingsLock {
public:
    CSettingsLock();
    ~CSettingsLock();

    CSettingsLock(const CSettingsLock&) = delete;
    CSettingsLock& operator=(const CSettingsLock&) = delete;

    // For an edit of rc.conf by the service itself: keeps out the sysrc of other processes until this object's end,
    // where that program takes the same lock (FreeBSD's takes none). False when it was held for half a minute; true
    // without an effect where the lock's file cannot be made. Not to be called round a run of sysrc, which would wait.
    [[nodiscard]] bool ExcludeSysrc();

private:
    bool m_excludes = false;
};

} // namespace ZMBSD
