#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "dictionary/ObjServiceTransfer.h"

// File access for clients: six service objects that turn records into calls of the file interface, with the rights of
// the service and no check of where a path points. Records are packed and little-endian; lengths of texts count bytes
// without an end mark.
//
//   0xBnn0  list directory            service
//   0xBnn1  read file                 service
//   0xBnn2  write file                service
//   0xBnn3  copy or move file         service
//   0xBnn4  delete file or directory  service
//   0xBnn5  create directory          service
namespace FSO {

// Makes the header and the services. Always 0.
ObjResult Create();

// Deletes a directory with all that is in it. True only if nothing failed; the rest is deleted all the same.
bool DeleteDirectory(const char* path);

// Makes a file read-only for bit 0 of `attributes`, else writable; its execute bits stay. 1 on success, else 0.
int SetFileAttributes(const char* path, unsigned int attributes);

// Lists the entries that match a pattern.
class CObj0xBnn0 : public CObjServiceTransfer {
protected:
    void DoWork(void* argument) override;

private:
    ObjResult List(std::span<const unsigned char> request, TOutcome& outcome);
};

// A service with one file slot: opening another file closes the one before. All operations under the section.
class CObj0xBnnXHandle : public CObjServiceTransfer {
public:
    ~CObj0xBnnXHandle() override { OsUserCloseHandle(); }

    // The next running number; 1 where it wrapped to 0, which stays stored.
    std::uint32_t GetNextHandle();
    // Puts the file, or null, into the slot and gives its handle, or 0. Does not close the file before.
    std::uint32_t SetHandle(std::FILE* stream);
    // Closes the file in the slot, if there is one.
    void OsUserCloseHandle();

protected:
    // Whether the handle is that of the open file.
    bool IsCurrent(std::uint32_t handle) const { return handle != 0 && handle == currentHandle; }

    std::uint32_t nextHandle = 0;
    std::uint32_t currentHandle = 0; // 0 while no file is open
    std::FILE* file = nullptr;
};

// Reads a file in chunks.
class CObj0xBnn1 : public CObj0xBnnXHandle {
protected:
    void DoWork(void* argument) override;

private:
    ObjResult ReadChunk(std::span<const unsigned char> request, TOutcome& outcome);
    ObjResult Open(const std::string& path);
};

// Writes a file in chunks.
class CObj0xBnn2 : public CObj0xBnnXHandle {
protected:
    void DoWork(void* argument) override;

private:
    ObjResult WriteChunk(std::span<const unsigned char> request, TOutcome& outcome);
};

// Copies or moves a file.
class CObj0xBnn3 : public CObjServiceTransfer {
protected:
    void DoWork(void* argument) override;
};

// Deletes a file or directory.
class CObj0xBnn4 : public CObjServiceTransfer {
protected:
    void DoWork(void* argument) override;
};

// Makes a directory.
class CObj0xBnn5 : public CObjServiceTransfer {
protected:
    void DoWork(void* argument) override;
};

} // namespace FSO
