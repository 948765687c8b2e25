#include "dictionary/ModuleObjects.h"

unsigned short AddModuleHeader(CObjDictionary& dictionary, const char* type, const char* name,
                               unsigned short moduleType, std::int64_t textId) {
    return AddModuleHeaderOf<CObj0x8nn0>(dictionary, type, name, moduleType, textId)->Index();
}

void AddModuleHeader(CObjDictionary& dictionary, CObj0x8nn0& header, const char* type, const char* name,
                     unsigned short moduleType, std::int64_t textId) {
    header.Init(dictionary.GetNextFree0x8nn0Slot(), type, name, moduleType, textId);
    dictionary.AddObject(&header);
    dictionary.RegisterObject(&header);
}
