#pragma once

#include "dictionary/ObjDictionary.h"

// How the Create function of a module makes its objects. One whose index is taken is dropped: the earlier object stays.

// Claims the next slot, and makes and registers the module's header. Gives the header's index.
unsigned short AddModuleHeader(CObjDictionary& dictionary, const char* type, const char* name,
                               unsigned short moduleType, std::int64_t textId);

// The same with a header that the module has made, of a class of its own.
void AddModuleHeader(CObjDictionary& dictionary, CObj0x8nn0& header, const char* type, const char* name,
                     unsigned short moduleType, std::int64_t textId);

// The same with a new header of a class of the module's own, which its activator then needs.
template <typename T>
CRef<T> AddModuleHeaderOf(CObjDictionary& dictionary, const char* type, const char* name, unsigned short moduleType,
                          std::int64_t textId) {
    CRef<T> header(new T);
    AddModuleHeader(dictionary, *header, type, name, moduleType, textId);
    return header;
}

// Makes an object with its text id. `arguments` are those of its Init.
template <typename T, typename... Arguments>
void AddModuleObject(CObjDictionary& dictionary, std::int64_t textId, const Arguments&... arguments) {
    const CRef<T> object(new T);
    object->Init(arguments...);
    object->SetNameId(textId);
    dictionary.AddObject(object.Get());
}
