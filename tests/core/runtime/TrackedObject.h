#pragma once

#include <atomic>

// Counts its live instances, so tests can see when the values holding one are deleted.
class CTrackedObject
{
public:
    CTrackedObject() { s_nAlive.fetch_add(1); }
    CTrackedObject(const CTrackedObject&) = delete;
    CTrackedObject& operator=(const CTrackedObject&) = delete;
    ~CTrackedObject() { s_nAlive.fetch_sub(1); }

    static int Alive() { return s_nAlive.load(); }

private:
    static inline std::atomic<int> s_nAlive{0};
};
