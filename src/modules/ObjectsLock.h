#pragma once

#include <array>
#include <span>

#include "dictionary/ObjDictionary.h"

// Holds the sections of several objects for the length of a scope. They are entered, and left, in the order of the
// list.
class CObjectsLock {
public:
    explicit CObjectsLock(std::span<const CRef<CObject>> objects) : m_objects(objects) {
        for (const CRef<CObject>& object : m_objects) {
            object->Section().Enter();
        }
    }

    ~CObjectsLock() {
        for (const CRef<CObject>& object : m_objects) {
            object->Section().Leave();
        }
    }

    CObjectsLock(const CObjectsLock&) = delete;
    CObjectsLock& operator=(const CObjectsLock&) = delete;

private:
    std::span<const CRef<CObject>> m_objects;
};
