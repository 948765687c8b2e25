#pragma once

// Checks of texts that stand for IPv4 addresses: four decimal numbers of at most 255 with dots between them, nothing
// before or behind. False for a null text.
bool IsValidIPAddress(const char* text);

// The same, and the bits are a run of ones followed only by zeros; "0.0.0.0" passes.
bool IsValidNetmask(const char* text);

// An address, or with `netmask` equal to 1 a netmask.
bool IsValidIPAddressNetmask(const char* text, int netmask);
