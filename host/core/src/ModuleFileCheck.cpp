#include "ModuleFileCheck.h"

#include <elf.h>
#include <link.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <vector>

namespace Zarn
{

namespace
{

#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
constexpr unsigned char kOwnByteOrder = ELFDATA2LSB;
#else
constexpr unsigned char kOwnByteOrder = ELFDATA2MSB;
#endif
constexpr unsigned char kOwnClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

std::string CutShort(const char* what, std::uint64_t end, std::uint64_t fileSize)
{
    return "the file is cut short: " + std::string(what) + " ends at byte " + std::to_string(end) +
           ", the file has " + std::to_string(fileSize) + " bytes";
}

// True when [offset, offset + size) lies inside a file of `fileSize` bytes, without overflow.
bool LiesInside(std::uint64_t offset, std::uint64_t size, std::uint64_t fileSize)
{
    return offset <= fileSize && size <= fileSize - offset;
}

// What is wrong with the ELF header for a library this program could load; empty when nothing.
std::string HeaderProblem(const ElfW(Ehdr) & header, std::uint64_t headerBytes,
                          std::uint64_t fileSize)
{
    if (headerBytes < SELFMAG || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
    {
        return "not an ELF file";
    }
    if (headerBytes < sizeof(header))
    {
        return CutShort("the ELF header", sizeof(header), fileSize);
    }
    if (header.e_ident[EI_CLASS] != kOwnClass)
    {
        return kOwnClass == ELFCLASS64 ? "a 32-bit ELF file, this program is 64-bit"
                                       : "a 64-bit ELF file, this program is 32-bit";
    }
    if (header.e_ident[EI_DATA] != kOwnByteOrder)
    {
        return "an ELF file of the other byte order";
    }
    if (header.e_type != ET_DYN)
    {
        return "not a shared library (ELF type " + std::to_string(header.e_type) + ")";
    }
    if (header.e_phnum == 0 || header.e_phentsize != sizeof(ElfW(Phdr)))
    {
        return "an ELF file without valid program headers";
    }
    return {};
}

// Reads the program header table into `programHeaders`; the problem when it is cut short.
std::string ReadProgramHeaders(std::ifstream& file, const ElfW(Ehdr) & header,
                               std::uint64_t fileSize, std::vector<ElfW(Phdr)>& programHeaders)
{
    const std::uint64_t tableSize = std::uint64_t{header.e_phnum} * sizeof(ElfW(Phdr));
    if (!LiesInside(header.e_phoff, tableSize, fileSize))
    {
        return CutShort("the program header table", header.e_phoff + tableSize, fileSize);
    }
    programHeaders.resize(header.e_phnum);
    file.seekg(static_cast<std::streamoff>(header.e_phoff));
    file.read(reinterpret_cast<char*>(programHeaders.data()),
              static_cast<std::streamsize>(tableSize));
    if (static_cast<std::uint64_t>(file.gcount()) != tableSize)
    {
        return CutShort("the program header table", header.e_phoff + tableSize, fileSize);
    }
    return {};
}

// The first segment with file contents that reaches past the end of the file.
std::string SegmentProblem(const std::vector<ElfW(Phdr)>& programHeaders, std::uint64_t fileSize)
{
    for (std::size_t i = 0; i < programHeaders.size(); ++i)
    {
        const ElfW(Phdr)& segment = programHeaders[i];
        if (segment.p_type == PT_NULL || segment.p_filesz == 0)
        {
            continue;
        }
        if (!LiesInside(segment.p_offset, segment.p_filesz, fileSize))
        {
            const std::string what = "segment " + std::to_string(i);
            return CutShort(what.c_str(), segment.p_offset + segment.p_filesz, fileSize);
        }
    }
    return {};
}

} // namespace

std::string ModuleFileProblem(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        return std::string("the file cannot be read: ") + std::strerror(errno);
    }
    file.seekg(0, std::ios::end);
    const std::uint64_t fileSize = static_cast<std::uint64_t>(file.tellg());
    file.seekg(0);

    ElfW(Ehdr) header{};
    file.read(reinterpret_cast<char*>(&header), sizeof(header));
    const std::uint64_t headerBytes = static_cast<std::uint64_t>(file.gcount());
    std::string strProblem = HeaderProblem(header, headerBytes, fileSize);
    if (!strProblem.empty())
    {
        return strProblem;
    }
    std::vector<ElfW(Phdr)> programHeaders;
    strProblem = ReadProgramHeaders(file, header, fileSize, programHeaders);
    if (!strProblem.empty())
    {
        return strProblem;
    }
    return SegmentProblem(programHeaders, fileSize);
}

} // namespace Zarn
