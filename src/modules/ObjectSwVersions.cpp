#include "modules/ObjectSwVersions.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "dictionary/ItemTable.h"
#include "dictionary/ModuleObjects.h"
#include "platform/StringHelper.h"
#include "sysconfig/CSystem.h"

namespace SwVersions {

namespace {

constexpr unsigned short MODULE_TYPE = 10;
constexpr const char* MODULE_NAME = "Software";
constexpr std::int64_t TEXT_ID_MODULE = 1110;

constexpr const char* MANUFACTURER = "Vorthane Werke GmbH & Co. KG";
constexpr const char* QUERY = "pkg query -a \"%n;%v;%o\" | grep vth/";
constexpr std::size_t QUERY_FIELDS = 3; // name, version, origin: the origin has done its work in grep

// The four tables: object k behind the header.
struct TTable {
    unsigned int k;
    std::int64_t objectTextId;
    std::int64_t elementTextId;
};

constexpr TTable TABLES[] = {
    {1, 1111, 10016}, // package name
    {2, 1112, 10017}, // manufacturer
    {3, 1113, 10018}, // description, always empty
    {4, 1114, 10019}, // package version
};

} // namespace

ObjResult Create() {
    unsigned short base = 0;
    {
        CDictionaryRef dictionary;
        if (!dictionary) {
            return OBJ_E_NOERR;
        }
        base = AddModuleHeader(*dictionary.Get(), MODULE_NAME, MODULE_NAME, MODULE_TYPE, TEXT_ID_MODULE);
        for (const TTable& table : TABLES) {
            AddModuleObject<CObjectRecord>(*dictionary.Get(), table.objectTextId, DataIndex(base, table.k),
                                           static_cast<unsigned short>(OBJCODE_RECORD), std::int64_t{0});
        }
    }
    return EnumPackages(base);
}

ObjResult EnumPackages(unsigned short base) {
    std::vector<std::string> lines;
    errno = 0;
    if (ZMBSD::CSystem::Execute(QUERY, lines) != 0) {
        return OsResult(static_cast<std::uint32_t>(errno));
    }
    for (const std::string& line : lines) {
        const std::vector<std::string> fields = CStringHelper::Split(line, ';');
        if (fields.size() == QUERY_FIELDS) {
            AddFileInfoTables(base, fields[0].c_str(), MANUFACTURER, "", fields[1].c_str());
        }
    }
    return OBJ_E_NOERR;
}

ObjResult AddFileInfoTables(unsigned short base, const char* name, const char* manufacturer, const char* description,
                            const char* version) {
    CDictionaryRef dictionary;
    if (!dictionary) {
        return OBJ_E_UNEXPECTED;
    }
    CRef<CObject> objects[std::size(TABLES)];
    for (std::size_t i = 0; i < std::size(TABLES); ++i) {
        objects[i] = dictionary->GetObjectRef(DataIndex(base, TABLES[i].k));
        if (!objects[i]) {
            return OBJ_E_UNEXPECTED;
        }
    }
    const std::string texts[std::size(TABLES)] = {name, manufacturer, description, version};

    // All four at once, so that the elements of a row keep one sub-index.
    for (const auto& object : objects) {
        object->Section().Enter();
    }
    for (std::size_t i = 0; i < std::size(TABLES); ++i) {
        std::string text = texts[i];
        TInfoItem item;
        item.type = TYPE_VISIBLE_STRING;
        item.access = ACCESS_READ;
        item.size = static_cast<std::uint32_t>(text.size());
        item.data = reinterpret_cast<unsigned char*>(text.data());
        item.nameId = TABLES[i].elementTextId;
        objects[i]->AppendInfoItem(item);
    }
    for (const auto& object : objects) {
        object->Section().Leave();
    }
    return OBJ_E_UNEXPECTED;
}

} // namespace SwVersions
