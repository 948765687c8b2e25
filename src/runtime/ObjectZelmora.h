#pragma once

#include <memory>
#include <string>

#include "dictionary/ModuleActivator.h"
#include "dictionary/ObjDictionary.h"
#include "runtime/CZelmora.h"

// The automation runtime beside the machine. The module is there with or without the runtime; what cannot be asked
// fails when it is read. Its objects exist while the module is awake:
//
//   0x8nn1  version, net id (rw), state, system id, seconds since the last change of state
//   0x8nn2  route names        0x8nn5  route flags
//   0x8nn3  route addresses    0x8nn6  route time-outs
//   0x8nn4  route net ids      0x8nn7  route transport types
//   0x8nn8  without a value
//   0x8nn9  figures of the message router
//   0x8nnA  without values; stays when the module sleeps
//   0xBnn0  adds a route       0xBnn1  deletes a route
namespace Zelmora {

// Makes the header, the activator and the status watch. Always 0.
ObjResult Create();

// Ends the status watch and the client of the objects. Waits for calls of the library that hang at most two seconds in
// all: then they keep what they use until the process ends.
void Destroy();

// The client of the objects; null while the module sleeps.
std::shared_ptr<CZelmora> GetZmHelper();

// The runtime's version as of the last activation, 0 where it could not be read. Under the activator's section.
extern KorVersion mZmVersion;

// Always 1.
int IsZmInstalled();
// The system id as text: 1, or 0 where it could not be read.
int QuerySysIdZm3(std::string& id);
// The ids of older generations cannot be had: always 0.
int QuerySysId(std::string& id);
int QuerySysId(char* id, unsigned int size);

class CZMActivator : public CModuleActivator {
public:
    // `header`: index of the module's header.
    explicit CZMActivator(unsigned short header) : m_header(header) {}

    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;

private:
    unsigned short m_header;
};

class CObj0x8nn1 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);
    // Meant: a written net id is a request to the runtime, and what is read stays as it was.
    ObjResult WriteItem(unsigned char subIndex, void* data, unsigned int size, int completeAccess) override;

    // The first good read is kept for the life of the object.
    static ObjResult RdZmVersion(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult RdNetId(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult RdZmRevision(TInfoItem* item, unsigned short index, unsigned char subIndex);

    static ObjResult RdZmState(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult RdZmStateChange(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WrNetId(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                             unsigned int size);
};

class CObj0x8nn8 : public CObject {
public:
    ObjResult Init(unsigned short index);
};

class CObj0x8nn9 : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);

    static ObjResult RdRouterInfo(TInfoItem* item, unsigned short index, unsigned char subIndex);
};

class CObj0x8nnA : public CObjectRecord {
public:
    ObjResult Init(unsigned short index);
};

} // namespace Zelmora
