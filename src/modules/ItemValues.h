#pragma once

#include "dictionary/ItemTable.h"
#include "dictionary/Obj0x8nn0.h"

// How the timers of the modules bring new values into items.

// Stores as many bytes of the number as the item's type has, under the section of its object.
void StoreItemValue(CObject& object, unsigned char subIndex, std::uint32_t number);

// Takes the item's value away, so that a read gives OBJ_E_NODATA. Under the section of its object.
void RemoveItemValue(CObject& object, unsigned char subIndex);

// The index of a header by the slot that its address tells.
unsigned short HeaderIndexOf(CObj0x8nn0& header);

// The low 16 bits of a number as an item's first value: what a reading of 32 bits keeps in an item of two bytes.
std::string ItemValueLow16(std::uint32_t number);
