#pragma once

#include <cstdint>
#include <memory>

class CSmartDeviceDescription;

// The file that tells, for every drive model and firmware, which attribute carries which quantity. Loaded once and then
// only read; not for use from several threads at a time.
class CXmlSmartDescription {
public:
    static constexpr const char* FILE_PATH = "/usr/local/bin/mdpdrive.xml";

    // Loads nothing.
    CXmlSmartDescription();
    ~CXmlSmartDescription();
    CXmlSmartDescription(const CXmlSmartDescription&) = delete;
    CXmlSmartDescription& operator=(const CXmlSmartDescription&) = delete;

    // 0, or DRIVE_E_FAILED, with a line in the log, where the file cannot be read or parsed.
    std::uint32_t LoadXML();

    // Fills the description of its model and firmware: the first entry of the file that fits counts. 0, or
    // DRIVE_E_FAILED where there is none. Rules with a number that is none are left out.
    std::uint32_t GetSmartDeviceDescription(CSmartDeviceDescription& description) const;

private:
    struct TDocument;

    std::unique_ptr<TDocument> m_document;
};
