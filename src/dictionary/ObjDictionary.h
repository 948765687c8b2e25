#pragma once

#include <atomic>
#include <map>
#include <memory>

#include "dictionary/AccessControl.h"
#include "dictionary/MdpStringTable.h"
#include "dictionary/ModuleActivator.h"
#include "dictionary/Obj0x8nn0.h"
#include "dictionary/Object.h"
#include "platform/CHandle.h"

struct TMdpSDOValueInfo;

// The map of all objects and the only way in for requests. There is one in the process; every use is bracketed by
// QueryDictionary and ReleaseDictionary (see CDictionaryRef), and its pointer is good in between only.
//
// Every request has a shared hold from its start to its end; the cleanup pass and RemoveObject take the exclusive hold.
// Lock order: dictionary hold, then the section of an object.
class CObjDictionary : public CAccessControl {
public:
    // The dictionary, made by the first caller. Null while that is under way, and while the last holder ends it: the
    // caller then ends its work at once. Every call is matched by one of ReleaseDictionary, also after a null result.
    static CObjDictionary* QueryDictionary();
    // Gives the use back; the last one ends the dictionary. The argument is ignored.
    static void ReleaseDictionary(void* dictionary);
    // True when the last dictionary has ended within the time; false also where there never was one.
    static bool WaitForFinalRelease(unsigned int milliseconds);

    // Takes a count of the object. OBJ_E_INVALIDIDX where the index is taken: the object then stays the caller's.
    ObjResult AddObject(CObject* object);
    // The object with its count raised, or null. Wakes no module.
    CObject* GetObject(unsigned short index);

    CRef<CObject> GetObjectRef(unsigned short index) { return CRef<CObject>::Adopt(GetObject(index)); }

    // For DoDeactivate functions only: takes the exclusive hold. OBJ_E_INVALIDIDX where there is none.
    ObjResult RemoveObject(unsigned short index);

    // One request of a client. Wakes the module of the index, then reads or writes under the object's section.
    // `*bytesRead` may be null.
    ObjResult ReadObject(unsigned short index, unsigned char subIndex, void* buffer, unsigned int size,
                         int completeAccess, unsigned int* bytesRead);
    ObjResult WriteObject(unsigned short index, unsigned char subIndex, void* data, unsigned int size,
                          int completeAccess);

    // The next free header index. Does not reserve it: RegisterObject does.
    unsigned short GetNextFree0x8nn0Slot();
    // Claims the header's slot and enters the module in the module lists. OBJ_E_UNEXPECTED where a list is missing.
    ObjResult RegisterObject(CObj0x8nn0* header);
    // Takes a count of the activator. OBJ_E_FAILED, and no count, where the slot has one.
    ObjResult SetModuleActivator(unsigned char slot, CModuleActivator* activator);

    // Enumeration, for clients that do not know the dictionary. `language` is an LCID, 0 for the fallback.
    // `*size`: capacity in bytes, then the length of the list (list types 1, 4, 5) or unchanged (0, the counts).
    ObjResult GetOdList(unsigned short listType, void* buffer, unsigned int* size);
    // Every output may be null. The name is not terminated; `*nameLength`: capacity, then the full length.
    ObjResult GetObjDescription(unsigned short index, unsigned int language, unsigned char* objectCode,
                                unsigned short* dataType, unsigned char* itemCount, char* name,
                                unsigned int* nameLength);
    // `info` has the size in its size field, and room for it.
    ObjResult GetEntryDescription(unsigned short index, unsigned char subIndex, unsigned int language,
                                  TMdpSDOValueInfo* info);

    // True once the last use has gone: what is put to sleep then is never woken again.
    bool IsEnding() const { return m_stopping.load(std::memory_order_relaxed); }

    void StartCleanupTimer();
    void StopCleanupTimer();
    // One cleanup pass: puts to sleep what was not asked for during the inactivity limit, and drops the texts.
    void CheckCleanup();

    // Milliseconds without a request after which a module may sleep.
    std::uint32_t InactivityLimit() const { return m_inactivityLimit.load(std::memory_order_relaxed); }

    void SetInactivityLimit(std::uint32_t milliseconds) {
        m_inactivityLimit.store(milliseconds, std::memory_order_relaxed);
    }

private:
    CObjDictionary();
    ~CObjDictionary();

    static std::uint32_t CleanupRoutine(void* dictionary);
    void RunCleanup();
    void AddListObjects();
    void AppendToList(unsigned short list, TInfoItem& item, bool& missing);
    CRef<CModuleActivator> FindActivator(unsigned char slot);
    void ActivateModule(unsigned char slot);
    std::string FindText(std::int64_t nameId, unsigned int language);

    CSection m_mapSection; // guards both maps: objects are added under a shared hold only
    std::map<unsigned short, CRef<CObject>> m_objects;
    std::map<unsigned char, CRef<CModuleActivator>> m_activators;
    std::atomic<unsigned short> m_nextHeader{0x8000};
    CHandle m_cleanupThread;
    CHandle m_cleanupEvent;
    CHandle m_stopEvent;
    std::atomic<bool> m_stopping{false}; // the same for a look without a wait, which would cost an idle service dear
    std::atomic<bool> m_cleanupEnded{false};
    std::atomic<std::uint32_t> m_inactivityLimit{31000};
    CMdpStringTable m_strings;
};

// One use of the dictionary for the length of a scope.
class CDictionaryRef {
public:
    CDictionaryRef() : m_dictionary(CObjDictionary::QueryDictionary()) {}

    ~CDictionaryRef() { CObjDictionary::ReleaseDictionary(m_dictionary); }

    CDictionaryRef(const CDictionaryRef&) = delete;
    CDictionaryRef& operator=(const CDictionaryRef&) = delete;

    CObjDictionary* Get() const { return m_dictionary; }

    CObjDictionary* operator->() const { return m_dictionary; }

    explicit operator bool() const { return m_dictionary != nullptr; }

private:
    CObjDictionary* m_dictionary;
};
