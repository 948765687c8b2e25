#pragma once

#include "WireClient.h"

// The read of object 0x1000, 4 bytes that never change, and its answer: whether a service still works.
inline const Bytes ReadDeviceType = "2E 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00  18 00 00 00 00 00 00 00"
                                    "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  00 00 00 00"_hex;
inline const Bytes DeviceTypeAnswer = "16 00 00 00"
                                      "00 00  00 10  00  00  00 00 00 00 00 00 00 00  04 00 00 00  89 13 10 27"_hex;
