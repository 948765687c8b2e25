#include "dictionary/ModuleObjects.h"

unsigned short AddModuleHeader(CObjDictionary& dictionary, const char* type, const char* name,
                               unsigned short moduleType, std::int64_t textId) {
    const unsigned short index = dictionary.GetNextFree0x8nn0Slot();
    const CRef<CObj0x8nn0> header(new CObj0x8nn0);
    header->Init(index, type, name, moduleType, textId);
    dictionary.AddObject(header.Get());
    dictionary.RegisterObject(header.Get());
    return index;
}
