#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "Items.h"
#include "dictionary/ObjDictionary.h"

// A test with a dictionary of its own, which must end with it.
class DictionaryTest : public testing::Test {
protected:
    void SetUp() override {
        m_use.emplace();
        ASSERT_TRUE(*m_use);
    }

    void TearDown() override {
        m_use.reset();
        EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000));
    }

    CObjDictionary& Dictionary() { return *m_use->Get(); }

    // Ends the dictionary before the test does.
    void EndDictionary() { m_use.reset(); }

    // Adds a variable with one item.
    ObjResult AddVariable(unsigned short index, std::uint16_t type, std::uint16_t access, const std::string& bytes,
                          TOnRead onRead = nullptr, TOnWrite onWrite = nullptr, void* context = nullptr) {
        const CRef<CObject> object(new CObject);
        object->Init(index, OBJCODE_VARIABLE, 0);
        Append(*object, type, access, bytes, onRead, onWrite, context);
        return Dictionary().AddObject(object.Get());
    }

    // Adds and registers a header at the next free slot. Its index.
    unsigned short AddModule(const char* type, const char* name, unsigned short moduleType) {
        const unsigned short index = Dictionary().GetNextFree0x8nn0Slot();
        const CRef<CObj0x8nn0> header(new CObj0x8nn0);
        header->Init(index, type, name, moduleType, 0);
        Dictionary().AddObject(header.Get());
        EXPECT_EQ(Dictionary().RegisterObject(header.Get()), 0U);
        return index;
    }

    TReadAnswer ReadObject(unsigned short index, unsigned char subIndex, unsigned int size, bool isComplete = false) {
        TReadAnswer answer{0, 4711, std::string(size, '#')};
        answer.result =
            Dictionary().ReadObject(index, subIndex, answer.buffer.data(), size, isComplete ? 1 : 0, &answer.bytesRead);
        return answer;
    }

    ObjResult WriteObject(unsigned short index, unsigned char subIndex, std::string bytes) {
        return Dictionary().WriteObject(index, subIndex, bytes.data(), static_cast<unsigned int>(bytes.size()), 0);
    }

    bool HasObject(unsigned short index) { return static_cast<bool>(Dictionary().GetObjectRef(index)); }

    std::optional<CDictionaryRef> m_use;
};

// A module that sleeps and wakes: one data object, a number that counts how often it was made.
class CCountingActivator : public CModuleActivator {
public:
    explicit CCountingActivator(unsigned short dataIndex) : m_dataIndex(dataIndex) {}

    ~CCountingActivator() override { ++s_destroyed; }

    ObjResult DoActivate() override {
        const int made = ++m_activations;
        if (IsError(m_activateResult)) {
            return m_activateResult;
        }
        CDictionaryRef dictionary;
        if (!dictionary) {
            return OBJ_E_UNEXPECTED;
        }
        const CRef<CObject> object(new CObject);
        object->Init(m_dataIndex, OBJCODE_VARIABLE, 0);
        Append(*object, TYPE_UNSIGNED8, ACCESS_READ, std::string(1, static_cast<char>(made)));
        dictionary->AddObject(object.Get());
        return m_activateResult;
    }

    ObjResult DoDeactivate() override {
        ++m_deactivations;
        if (IsError(m_deactivateResult)) {
            return m_deactivateResult;
        }
        CDictionaryRef dictionary;
        if (!dictionary) {
            return OBJ_E_UNEXPECTED;
        }
        m_removeResult = dictionary->RemoveObject(m_dataIndex);
        return m_deactivateResult;
    }

    const unsigned short m_dataIndex;
    std::atomic<int> m_activations{0};
    std::atomic<int> m_deactivations{0};
    std::atomic<ObjResult> m_activateResult{0};
    std::atomic<ObjResult> m_deactivateResult{0};
    std::atomic<ObjResult> m_removeResult{0xFFFFFFFF};

    static inline std::atomic<int> s_destroyed{0};
};
