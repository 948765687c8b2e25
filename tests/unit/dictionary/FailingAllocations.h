#pragma once

// While one lives, the allocations of its thread that report a lack of memory instead of throwing find none.
class FailingAllocations {
public:
    FailingAllocations();
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;
};
