#pragma once

#include <Zarn/Value/ValueContainer.h>

// Value helpers shared by the factory and the view.
namespace ImageViewValues
{

// The document an entry "document" points at; null when the entry is missing, null or not a
// document pointer.
Zarn::CValueMap* DocumentOf(const Zarn::CValueMap& parameters);

// Whether the map is a message of the communication thread rather than parameters.
bool IsMessage(const Zarn::CValueMap& parameters);

} // namespace ImageViewValues
