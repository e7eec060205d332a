// A test module whose entry reads through a null pointer for every name, as a module with a
// broken factory would. Built without sanitizers, so the read faults as it would in the field.
#include <cstdint>

extern "C" __attribute__((visibility("default"))) void* CreatePluginInstanceEx(const char* name)
{
    volatile int* pNothing = nullptr;
    const std::intptr_t nValue = *pNothing + (name != nullptr ? 1 : 0);
    return reinterpret_cast<void*>(nValue);
}
