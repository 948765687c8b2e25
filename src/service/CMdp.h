#pragma once

#include <cstdint>

#include "dictionary/ObjDictionary.h"

namespace Hesperd {

// The front of the dictionary: makes the modules and turns read and write records into requests.
class CMdp {
public:
    // Creates the modules in their fixed order; one that fails stays absent.
    void Create();
    void Destroy();

    // Runs the record of `cbRecord` bytes in place; a failure of the object layer goes to the record's result field.
    // Returns 0 where the record is to be answered, else the code that refuses it. `*cbReturned`, which may be null,
    // receives the size of the answer, head and data.
    static ObjResult MDP_Read(unsigned int cbRecord, unsigned char* record, unsigned int* cbReturned);
    // The same for a write. With service access it then waits, for up to 16 seconds, until the service has ended.
    static ObjResult MDP_Write(unsigned int cbRecord, unsigned char* record);

private:
    CDictionaryRef m_dictionary;
};

} // namespace Hesperd
