#pragma once

#include <Zarn/Value/ValueContainer.h>

// Value helpers shared by the factory and the view: no state, any thread, no messages; what they
// return is lent by the map they read.
namespace ImageViewValues
{

// The document an entry "document" points at; null when the entry is missing, null or not a
// document pointer.
Zarn::CValueMap* DocumentOf(const Zarn::CValueMap& parameters);

} // namespace ImageViewValues
