#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "dictionary/AddRefRelease.h"
#include "dictionary/ObjResult.h"

namespace DiskManagement {

inline constexpr std::uint32_t DRIVE_TYPE_UNKNOWN = 0;
inline constexpr std::uint32_t DRIVE_TYPE_POOL = 1;
inline constexpr std::uint32_t DRIVE_TYPE_MEDIUM = 2;

// A logical disc of the machine. Texts are cut at 1023 bytes.
class CLogicalDisc : public CAddRefRelease {
public:
    // Asks the system. 0, or STATUS_UNSPECIFIED, and then nothing has changed.
    virtual ObjResult Update() = 0;

    virtual const char* VolumePath() const { return m_volumePath.c_str(); }

    virtual const char* VolumeName() const { return m_volumeName.c_str(); }

    virtual const char* FileSystem() const { return m_fileSystem.c_str(); }

    virtual std::uint64_t TotalBytes() const { return m_totalBytes; }

    virtual std::uint64_t FreeBytes() const { return m_freeBytes; }

    virtual std::uint32_t DriveType() const { return m_driveType; }

protected:
    static std::string Cut(const std::string& text);

    std::string m_volumePath;
    std::string m_volumeName;
    std::string m_fileSystem;
    std::uint64_t m_totalBytes = 0;
    std::uint64_t m_freeBytes = 0;
    std::uint32_t m_driveType = DRIVE_TYPE_UNKNOWN;
};

using CLogicalDiscs = std::vector<CRef<CLogicalDisc>>;

// A ZFS pool.
class CLogicalDiscBSD : public CLogicalDisc {
public:
    explicit CLogicalDiscBSD(const std::string& pool);
    // Always 0: what zfs does not tell stays 0.
    ObjResult Update() override;
};

// A file system that is mounted.
class CLogicalDiscMedia : public CLogicalDisc {
public:
    explicit CLogicalDiscMedia(const std::string& mountPoint);
    ObjResult Update() override;
    // Below /media/.
    bool IsMediaDevice() const;
};

// Walks the pools, in the order in which zpool lists them.
class CLogicalDiscEnumerator {
public:
    bool Init();
    bool DeInit();
    // Hands out the next pool, with a count that the caller releases. False behind the last one. Asks zpool every time.
    bool Next(CLogicalDisc** disc);

private:
    std::uint32_t m_index = 0;
};

// When to run a program that the machine may not have: where it was missing, a minute later again.
class CMissingProgram {
public:
    using TTime = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds PAUSE{60};

    bool MayRun(TTime now) const { return !m_missing || now - m_since >= PAUSE; }

    // Takes the wait status of the shell. True when the program has only now gone missing.
    bool Ran(std::uint32_t status, TTime now);

private:
    bool m_missing = false;
    TTime m_since;
};

} // namespace DiskManagement
