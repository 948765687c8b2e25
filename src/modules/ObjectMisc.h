#pragma once

#include <string>

#include "dictionary/ObjServiceTransfer.h"

// Settings that a device of this family has on other operating systems. None has a function here, and the service does
// not start the module: nothing calls Create.
//
//   0x8nn1:1  Num Lock                        BOOLEAN         read, write; without an effect
//   0x8nn1:2  remote display state            BOOLEAN         not supported
//   0x8nn1:3  remote display enabled          BOOLEAN         not supported
//   0x8nn1:4  security wizard enabled         BOOLEAN         not supported
//   0x8nn1:5  automatic logon user            VISIBLE_STRING  not supported
//   0x8nn1:6  create self-signed certificate  BOOLEAN         read; a write is not supported
//   0xBnn0    reserved                        service, not supported
//   0xBnn1    reserved                        service, not supported
//   0xBnn2    reserved                        service, not supported
namespace Misc {

// Makes the header, the settings and the services. Always 0.
ObjResult Create();

// The settings.
class CObj0x8nn1 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);

    static ObjResult WriteNumLock(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                  unsigned int size);
    static ObjResult RdRemoteDisplayState(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult RdRemoteDisplayEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WrRemoteDisplayEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                            unsigned int size);
    static ObjResult RdSecurityWizardEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WrSecurityWizardEnabled(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                             unsigned int size);
    static ObjResult RdAutoLogonUser(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult RdCreateSelfSigned(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WrCreateSelfSigned(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                        unsigned int size);
};

// Services that refuse every request with OBJ_E_NOTSUPPORTED, as a code of eight bytes.
class CObj0xBnn0 : public CObjServiceTransfer {
public:
    CObj0xBnn0() : CObjServiceTransfer(sizeof(std::uint64_t)) {}

protected:
    void DoWork(void* argument) override;
};

class CObj0xBnn1 : public CObjServiceTransfer {
public:
    CObj0xBnn1() : CObjServiceTransfer(sizeof(std::uint64_t)) {}

protected:
    void DoWork(void* argument) override;
};

class CObj0xBnn2 : public CObjServiceTransfer {
public:
    CObj0xBnn2() : CObjServiceTransfer(sizeof(std::uint64_t)) {}

protected:
    void DoWork(void* argument) override;
};

int GetNumLockState();
void SetNumlockState(int state);

// At most the first 255 bytes of the file, up to a zero byte; empty where it cannot be opened.
std::string GetFileContent(const std::string& path);
// Appends the file's name, which is relative to the working directory and keeps its backslashes.
void GetSecurityWizardFilename(std::string& out);
// Always 0.
ObjResult GetSecurityWizardEnabled(int& out);
ObjResult SetSecurityWizardEnabled(int enabled);
// Replaces the file. OBJ_E_FAILED where it cannot be opened.
ObjResult WriteFile(const std::string& path, const std::string& text);
ObjResult CreateSecurityWizardRegKey();
ObjResult DeleteSecurityWizardRegKey();
ObjResult UpdateDefaultPassword(const wchar_t* password);

} // namespace Misc
