#pragma once

#include <Zarn/Value/ValueContainer.h>

#include <string>
#include <vector>

namespace DocViewTest
{

// Lenient readers for assertions: a missing entry or one of another type gives the stated
// default instead of throwing, so that a check fails with a readable value.

// The string at `path`, "<none>" otherwise.
std::string StringAt(const Zarn::CValueMap& map, const char* path);
// The long at `path`, -1 otherwise.
long LongAt(const Zarn::CValueMap& map, const char* path);
// The pointee of the pointer value at `path`, null otherwise.
const void* PointerAt(const Zarn::CValueMap& map, const char* path);
// The pointees of a vector of pointer values at `path`, in order; empty when absent.
std::vector<const void*> PointersAt(const Zarn::CValueMap& map, const char* path);
// A map of the given entries; takes the values.
Zarn::CValueMap* MapOf(std::initializer_list<std::pair<const char*, Zarn::CValue*>> entries);

} // namespace DocViewTest
