#pragma once

#include <string>

// Checks of module files before they are loaded: free of state, any thread, throws only
// std::bad_alloc, no messages.
namespace Zarn
{

// Looks at a module file before it is handed to dlopen. The dynamic linker maps a shared
// library's segments straight from the file; a segment that lies beyond the end of a file cut
// short is touched by the linker as mapped memory and kills the process with SIGBUS. The check
// reads the ELF header and the program headers and answers an empty text when every segment
// lies inside the file, otherwise what is wrong in a few words ("not an ELF file", "the file is
// cut short: ..."). It does not prove that dlopen will succeed; dlopen reports the rest itself.
// Never throws; safe on any thread.
std::string ModuleFileProblem(const std::string& path);

} // namespace Zarn
