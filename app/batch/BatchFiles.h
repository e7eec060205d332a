#pragma once

#include <filesystem>
#include <string>

// Files the runner writes whole or not at all. Free functions over paths: they keep nothing, may be
// called from any thread and send or handle no messages.

// Writes `text` into `path` so that the file is either the old one or the whole new one: into a
// temporary file beside it (".NAME.tmp.PID.N.EXT"), synced, then renamed over it. A link is
// followed, so the file it leads to is replaced, not the link. Something that is no regular file
// (a device, a pipe, /dev/stdout) is written directly. Throws std::runtime_error
// "cannot write <what> PATH: <reason of the system>"; the temporary file is gone then.
void WriteFileAtomically(const std::filesystem::path& path, const std::string& text,
                         const std::string& what);
