#pragma once

#include <cstdint>

#include "platform/CHandle.h"
#include "platform/OsUserCriticalSection.h"

// A gate for readers and one writer. Any number of shared holds run at once; an exclusive hold waits until there are
// none and keeps new ones out. The gate is recursive: the exclusive holder may take either hold again. An exclusive
// hold has no precedence, so readers that keep overlapping put it off. A thread with a shared hold must not ask for the
// exclusive one: it would wait for itself.
class CAccessControl {
public:
    CAccessControl();

    void Access();
    void Unaccess();
    void AccessExcl();
    void UnaccessExcl();

private:
    void EnterGateAndCount();

    std::uint64_t m_readers = 0;
    CHandle m_noReaders; // manual reset, signalled while m_readers is 0
    CSection m_countSection;
    CSection m_gateSection;
};

// A shared hold for the length of a scope.
class CSharedHold {
public:
    explicit CSharedHold(CAccessControl& control) : m_control(control) { m_control.Access(); }

    ~CSharedHold() { m_control.Unaccess(); }

    CSharedHold(const CSharedHold&) = delete;
    CSharedHold& operator=(const CSharedHold&) = delete;

private:
    CAccessControl& m_control;
};

// The exclusive hold for the length of a scope.
class CExclusiveHold {
public:
    explicit CExclusiveHold(CAccessControl& control) : m_control(control) { m_control.AccessExcl(); }

    ~CExclusiveHold() { m_control.UnaccessExcl(); }

    CExclusiveHold(const CExclusiveHold&) = delete;
    CExclusiveHold& operator=(const CExclusiveHold&) = delete;

private:
    CAccessControl& m_control;
};
