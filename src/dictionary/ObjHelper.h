#pragma once

#include <string>

#include "dictionary/InfoItem.h"

// Sizes the item's buffer to the larger of `size` and the minimum of the item's type. The contents stay where the size
// does, and are zeroed otherwise. Returns 0; OBJ_E_INVALIDSIZE, the buffer freed, where both are 0;
// OBJ_E_OUTOFMEMORY, the buffer freed, where memory is short.
ObjResult AllocateBuffer(TInfoItem* item, unsigned int size);

// Frees the item's buffer. A null item and an item without a buffer are let pass.
void DeallocateBuffer(TInfoItem* item);

// Triggers of items that are present but have no value on this device: OBJ_E_NOTSUPPORTED.
ObjResult RdNotSupported(TInfoItem* item, unsigned short index, unsigned char subIndex);
ObjResult WrNotSupported(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data, unsigned int size);

// The bytes of a string item. OBJ_E_INVALIDDATA where it is null, empty or not a string; `out` is then left alone.
ObjResult GetStringFromItem(TInfoItem* item, std::string& out);

// "0x" and each byte as two lower case digits.
void BinaryToHexString(const unsigned char* data, unsigned int size, std::string& out);

// Reads pairs of hexadecimal digits, runs of blanks between them passed over, into a buffer from array new that the
// caller frees. `*size` receives the number of bytes.
void HexStringToBuffer(const std::string& text, unsigned char** out, unsigned int* size);
