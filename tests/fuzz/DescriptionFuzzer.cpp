// The file of drive descriptions, and the texts of a drive that is looked for in it: "MODEL NUL FIRMWARE NUL FILE".
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <pugixml.hpp>
#include <string_view>

#include "FakeDrives.h"
#include "Require.h"
#include "hardware/drives/CSmartDeviceDescription.h"
#include "hardware/drives/CXmlSmartDescription.h"
#include "log/Logger.h"

using PhysicalDrive::CPhysicalDrive;

namespace {

CLogger s_logger;
std::string_view s_file;

// Takes a text up to a NUL, of as many bytes as a drive's field has at most.
std::string TakeText(std::string_view& input, std::size_t field) {
    const std::string_view text = input.substr(0, input.find('\0'));
    input.remove_prefix(std::min(text.size() + 1, input.size()));
    return std::string(text.substr(0, field));
}

} // namespace

// The file that is read is the fuzzer's: this stands in for the library's function.
pugi::xml_parse_result pugi::xml_document::load_file(const char* /*path*/, unsigned int options,
                                                     xml_encoding encoding) {
    return load_buffer(s_file.data(), s_file.size(), options, encoding);
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    g_pLogger = &s_logger;
    TFakeAta& drive = FakeDrives::ata["/dev/ada0"] = FakeDrives::Ata("12345678", "M", "F");
    for (unsigned int place = 0; place < 30; ++place) {
        FakeDrives::Put(drive, place, static_cast<unsigned char>(0xA0 + place), 100, 0x010203040506 + place, 10);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::string model = TakeText(input, 40);
    const std::string firmware = TakeText(input, 8);
    s_file = input;

    CXmlSmartDescription descriptions;
    const bool isLoaded = descriptions.LoadXML() == 0;
    CSmartDeviceDescription description(model, firmware);
    const bool isFound = descriptions.GetSmartDeviceDescription(description) == 0;
    Require(isLoaded || !isFound, "an entry of a file that is none");
    Require(isFound || description.attributes.empty(), "rules without an entry");

    static CPhysicalDrive* const drive = [] {
        FakeDrives::calls.clear();
        auto* made = CPhysicalDrive::Create(0);
        Require(made->Update() == 0 && made->ReadSmart() == 0, "the drive cannot be read");
        return made;
    }();
    Require(description.InterpretData(drive) == 0, "data that was not interpreted");
    for (const CSmartAttributeDescription& rule : description.attributes) {
        std::uint64_t value = 0;
        double fraction = 0;
        const bool answers = description.GetAttributeValueByName(rule.name, &value) == 0;
        Require(answers == (description.GetAttributeValueByName(rule.name, &fraction) == 0), "one form answers alone");
        unsigned int datatype = 0;
        Require(description.GetAttributeTypeByName(rule.name, &datatype) == 0, "a rule that is not found");
        Require(answers == (static_cast<int>(datatype) > SMART_DATATYPE_NONE), "a rule without a kind answers");
    }
    return 0;
}
