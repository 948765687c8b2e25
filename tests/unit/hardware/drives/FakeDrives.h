#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

// Stands in for the host's drives: linked instead of them, so that a test says what is there and what it answers.
struct TFakeAta {
    std::array<unsigned char, 512> identify = {};
    std::array<unsigned char, 512> data = {};
    std::array<unsigned char, 512> thresholds = {};
    int fails = -1; // the command (or of SMART the feature) that fails with EIO
};

struct TFakeNvme {
    std::array<unsigned char, 4096> identify = {};
    std::array<unsigned char, 512> log = {};
    int fails = -1;            // the opcode that fails with EIO
    int refused = -1;          // the opcode that completes with a status
    unsigned short status = 1; // of what is not refused: bit 0 tells nothing
};

struct FakeDrives {
    // By path. What is not here does not open.
    static std::map<std::string, TFakeAta> ata;
    static std::map<std::string, TFakeNvme> nvme;
    // Every call in order, such as "open /dev/ada0", "ata EC 00 4F C2 60000 512", "nvme 02 FFFFFFFF 2 512", "close".
    static std::vector<std::string> calls;
    // Called with every path that is opened.
    static void (*onOpen)(const std::string& path);

    static void Reset();

    // Identify data with these texts, whose checksum is right. `smart`: bit 0 supported, bit 1 enabled.
    static TFakeAta Ata(const std::string& serial, const std::string& model, const std::string& firmware,
                        unsigned smart = 3);
    // Puts an attribute, with a threshold, in the place, and makes both checksums right.
    static void Put(TFakeAta& drive, unsigned place, unsigned char id, unsigned char value, unsigned long long raw,
                    unsigned char threshold = 0);
    static void FixChecksums(TFakeAta& drive);
    static TFakeNvme Nvme(const std::string& serial, const std::string& model, const std::string& firmware);
};
