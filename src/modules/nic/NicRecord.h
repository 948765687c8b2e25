#pragma once

#include "dictionary/ObjDictionary.h"
#include "modules/nic/ObjectNic_BSD.h"

namespace NIC {

// Runs operation(record) on the settings of the slot that the index, of the record or a service, belongs to, and gives
// its result; OBJ_E_UNEXPECTED where there is no such record. The record and the dictionary are held meanwhile.
template <typename Operation>
ObjResult WithRecord(unsigned short index, Operation operation) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    const CRef<CObject> object = dictionary->GetObjectRef(static_cast<unsigned short>((index & 0x0FF0U) | 0x8001U));
    // At that index another module may have an object of another kind.
    auto* record = dynamic_cast<CObject0x8nn1*>(object.Get());
    return record != nullptr ? operation(*record) : OBJ_E_UNEXPECTED;
}

} // namespace NIC
