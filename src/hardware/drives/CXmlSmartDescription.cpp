#include "hardware/drives/CXmlSmartDescription.h"

#include <cstdio>
#include <pugixml.hpp>
#include <stdexcept>
#include <string>

#include "hardware/drives/CSmartDeviceDescription.h"
#include "hardware/drives/DriveResult.h"
#include "host/DataFiles.h"
#include "host/WholeFile.h"
#include "log/Logger.h"
#include "platform/StringHelper.h"

using PhysicalDrive::DRIVE_E_FAILED;

struct CXmlSmartDescription::TDocument {
    pugi::xml_document xml;
};

namespace {

constexpr int DECIMAL = 10;
constexpr int HEXADECIMAL = 16;
constexpr std::size_t QUERY_SIZE = 256;

std::wstring GetText(const pugi::xpath_node& node, const char* attribute) {
    return CStringHelper::AnsiToWide(node.node().attribute(attribute).value());
}

// The number that the attribute begins with, 0 for an empty or absent one. Throws std::logic_error for any other text,
// and for a number that does not fit.
int GetIntValue(const pugi::xpath_node& node, const char* attribute, int base) {
    const std::string text = node.node().attribute(attribute).value();
    return text.empty() ? 0 : std::stoi(text, nullptr, base);
}

void GetDeviceInformation(const pugi::xpath_node& node, CSmartDeviceDescription& description) {
    description.name = GetText(node, "name");
    description.firmware = GetText(node, "firmware");
    try {
        description.type = GetIntValue(node, "type", DECIMAL);
    } catch (const std::logic_error&) {
        description.type = 0; // neither kind of drive
    }
}

bool GetAttributeInformation(const pugi::xpath_node& node, CSmartAttributeDescription& rule) {
    try {
        rule.name = GetText(node, "name");
        rule.datatype = GetIntValue(node, "datatype", DECIMAL);
        rule.id = GetIntValue(node, "id", HEXADECIMAL);
        rule.opt1 = GetIntValue(node, "opt1", DECIMAL);
        rule.opt2 = GetIntValue(node, "opt2", DECIMAL);
        return true;
    } catch (const std::logic_error&) {
        return false;
    }
}

// Texts of drives are put between apostrophes in the query, and end at a NUL.
bool IsQueryText(const std::string& text) {
    return text.find_first_of(std::string("'\0", 2)) == std::string::npos;
}

} // namespace

CXmlSmartDescription::CXmlSmartDescription() : m_document(std::make_unique<TDocument>()) {}

CXmlSmartDescription::~CXmlSmartDescription() = default;

std::uint32_t CXmlSmartDescription::LoadXML() {
    const std::string path = Host::FindDataFile(FILE_PATH);
    std::string content;
    const int error = Host::ReadWholeFile(path, content);
    if (error != 0 || !m_document->xml.load_buffer(content.data(), content.size())) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "(%d) Could not load xml-file \"%s\"", error, path.c_str());
        m_document->xml.reset(); // of the entries before the place that is wrong
        return DRIVE_E_FAILED;
    }
    return 0;
}

std::uint32_t CXmlSmartDescription::GetSmartDeviceDescription(CSmartDeviceDescription& description) const {
    const std::string model = CStringHelper::WideToAnsi(description.model);
    const std::string firmware = CStringHelper::WideToAnsi(description.firmware);
    char query[QUERY_SIZE];
    std::snprintf(query, sizeof query, "//DRIVE_SMART_CONFIG/DEVICE[@model='%s' and (@firmware='%s' or @firmware='')]",
                  model.c_str(), firmware.c_str());
    g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "xpath: %s", query);

    pugi::xpath_node device;
    if (IsQueryText(model) && IsQueryText(firmware)) {
        try {
            device = m_document->xml.select_node(pugi::xpath_query(query));
        } catch (const pugi::xpath_exception&) { // no entry answers a query that is none, such as one that was cut
        }
    }
    if (!device) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "SMART Device is NULL!");
        return DRIVE_E_FAILED;
    }
    GetDeviceInformation(device, description);
    for (const pugi::xml_node child : device.node().children()) {
        CSmartAttributeDescription rule;
        if (GetAttributeInformation(child, rule)) {
            description.attributes.push_back(rule);
        }
    }
    return 0;
}
