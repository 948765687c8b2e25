#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/OsUserCriticalSection.h"

namespace pugi {
class xml_node_iterator;
}

// The texts of objects and entries by text id and language (a Windows language identifier), empty until they are
// loaded.
//
// AddString and Clean lock by themselves. A caller that asks, loads and looks up holds Section() around all of it, and
// for as long as it uses a text that it was given: Clean frees the texts.
class CMdpStringTable {
public:
    // A null text stands for a language that was asked for and is missing.
    using TLanguages = std::map<long, std::unique_ptr<char[]>>;

    static constexpr long LANGUAGE_ENGLISH = 1033;
    static constexpr long LANGUAGE_GERMAN = 1031;

    CMdpStringTable();
    CMdpStringTable(const CMdpStringTable&) = delete;
    CMdpStringTable& operator=(const CMdpStringTable&) = delete;

    CSection& Section() { return m_section; }

    // True after construction and after Clean, until the first AddString.
    bool IsEmpty() const { return m_empty != 0; }

    void ActivityStamp();

    // Copies the text. A text that is there already for the pair stays.
    void AddString(long messageId, long languageId, const char* text);

    // The languages of a message, owned by the table; null for an unknown message.
    TLanguages* FindMessage(long messageId);

    // The text in exactly that language; with language 0 the English one, else the German one, else that of the lowest
    // language id. Null if there is none. Owned by the table.
    const char* GetString(long messageId, long languageId);

    // Milliseconds since the last use, within 32 bits.
    std::uint64_t GetInactTime() const;

    void Clean();

    // The value of the first attribute of that name as a decimal number; 0 if there is none or it is no number.
    static long GetXmlAttributeValNumeric(pugi::xml_node_iterator node, const std::string& name);

    // Adds all texts of the file to the table. OBJ_E_FAILED if the file is missing or no XML.
    static std::uint32_t LoadXmlStringTable(const wchar_t* path, CMdpStringTable* table);

private:
    std::uint32_t m_empty = 1;
    std::map<long, TLanguages> m_messages;
    CSection m_section;
    std::uint32_t m_lastActivity = 0; // tick count in milliseconds
};
