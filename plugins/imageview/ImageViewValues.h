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

// Rethrows the exception being handled as a Zarn::CException whose function names the
// operation first ("CImageViewPlugin::Init - <function of the caught one>"); other exceptions
// keep their what() text, unknown ones read "UNKNWON EXCEPTION!" (the spelling is matched
// elsewhere). Only from inside a catch clause.
[[noreturn]] void RethrowWrapped(const char* szOperation);

} // namespace ImageViewValues
