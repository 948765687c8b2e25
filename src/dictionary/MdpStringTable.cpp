#include "dictionary/MdpStringTable.h"

#include <cstdlib>
#include <cstring>
#include <pugixml.hpp>
#include <string>

#include "host/WholeFile.h"
#include "log/Logger.h"
#include "platform/OsUserSystem.h"

namespace {

constexpr std::uint32_t LOAD_FAILED = 0xECA60001;

} // namespace

CMdpStringTable::CMdpStringTable() {
    ActivityStamp();
}

void CMdpStringTable::ActivityStamp() {
    m_lastActivity = OsUserGetTickCount();
}

void CMdpStringTable::AddString(long messageId, long languageId, const char* text) {
    CSectionLock lock(m_section);
    ActivityStamp();
    std::unique_ptr<char[]>& entry = m_messages[messageId][languageId];
    if (!entry) {
        const std::size_t size = std::strlen(text) + 1;
        entry = std::make_unique<char[]>(size);
        std::memcpy(entry.get(), text, size);
    }
    m_empty = 0;
}

CMdpStringTable::TLanguages* CMdpStringTable::FindMessage(long messageId) {
    ActivityStamp();
    const auto message = m_messages.find(messageId);
    return message == m_messages.end() ? nullptr : &message->second;
}

const char* CMdpStringTable::GetString(long messageId, long languageId) {
    TLanguages* languages = FindMessage(messageId);
    if (languages == nullptr || languages->empty()) {
        return nullptr;
    }
    // Looking a missing language up enters it with a null text: this is meant, and such an entry counts as the lowest.
    if (languageId != 0) {
        return (*languages)[languageId].get();
    }
    for (const long preferred : {LANGUAGE_ENGLISH, LANGUAGE_GERMAN}) {
        if (const char* text = (*languages)[preferred].get()) {
            return text;
        }
    }
    return languages->begin()->second.get();
}

std::uint64_t CMdpStringTable::GetInactTime() const {
    // Unsigned 32-bit arithmetic, so that the wrap of the tick count does no harm.
    return OsUserGetTickCount() - m_lastActivity;
}

void CMdpStringTable::Clean() {
    CSectionLock lock(m_section);
    m_messages.clear();
    m_empty = 1;
}

long CMdpStringTable::GetXmlAttributeValNumeric(pugi::xml_node_iterator node, const std::string& name) {
    for (const pugi::xml_attribute attribute : node->attributes()) {
        if (name == attribute.name()) {
            return std::strtol(attribute.value(), nullptr, 10);
        }
    }
    return 0;
}

std::uint32_t CMdpStringTable::LoadXmlStringTable(const wchar_t* path, CMdpStringTable* table) {
    pugi::xml_document document;
    const std::string file = pugi::as_utf8(path);
    std::string content;
    const int error = Host::ReadWholeFile(file, content); // 0 also for a file that is no XML
    if (error != 0 || !document.load_buffer_inplace(content.data(), content.size())) {
        g_pLogger->LogMsg(LOG_SEVERITY_PROGRESS, "(%d) Could not load xml-file \"%s\"", error, file.c_str());
        return LOAD_FAILED;
    }
    // The names of the elements are of no interest, and what has no number above 0 is passed over.
    const pugi::xml_node messages = document.document_element();
    for (pugi::xml_node_iterator message = messages.begin(); message != messages.end(); ++message) {
        const long messageId = GetXmlAttributeValNumeric(message, "ID");
        if (messageId <= 0) {
            continue;
        }
        for (pugi::xml_node_iterator text = message->begin(); text != message->end(); ++text) {
            const long languageId = GetXmlAttributeValNumeric(text, "LCID");
            if (languageId > 0) {
                table->AddString(messageId, languageId, text->child_value());
            }
        }
    }
    return 0;
}
