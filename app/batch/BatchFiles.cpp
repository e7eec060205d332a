#include "BatchFiles.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

// Closes a descriptor when it goes out of scope; Close reports whether closing went well, since a
// full disk may show only there.
class CDescriptor
{
public:
    explicit CDescriptor(int descriptor) : m_nDescriptor(descriptor) {}
    ~CDescriptor()
    {
        if (m_nDescriptor >= 0)
        {
            ::close(m_nDescriptor);
        }
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    int Get() const { return m_nDescriptor; }
    bool Close()
    {
        const int nDescriptor = m_nDescriptor;
        m_nDescriptor = -1;
        return ::close(nDescriptor) == 0;
    }

private:
    int m_nDescriptor;
};

[[noreturn]] void Fail(const std::string& what, const fs::path& path, int error)
{
    throw std::runtime_error("cannot write " + what + " " + path.string() + ": " +
                             std::strerror(error));
}

bool WriteAll(int descriptor, const std::string& text)
{
    const char* pNext = text.data();
    size_t uLeft = text.size();
    while (uLeft > 0)
    {
        const ssize_t nWritten = ::write(descriptor, pNext, uLeft);
        if (nWritten < 0 && errno == EINTR)
        {
            continue;
        }
        if (nWritten <= 0)
        {
            errno = nWritten == 0 ? EIO : errno;
            return false;
        }
        pNext += nWritten;
        uLeft -= static_cast<size_t>(nWritten);
    }
    return true;
}

// A new file beside `target`, created here and by nobody else.
int CreateTemporary(const fs::path& target, fs::path& temporary)
{
    static std::atomic<unsigned long> s_uCounter{0};
    const std::string strExtension =
        target.has_extension() ? target.extension().string() : std::string(".tmp");
    for (;;)
    {
        temporary = target.parent_path() /
                    ("." + target.filename().string() + ".tmp." + std::to_string(::getpid()) + "." +
                     std::to_string(s_uCounter++) + strExtension);
        const int nDescriptor =
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (nDescriptor >= 0 || errno != EEXIST)
        {
            return nDescriptor;
        }
    }
}

// Errors name the path as the user gave it, not where its links lead.
void WriteDirectly(const fs::path& target, const std::string& text, const std::string& what,
                   const fs::path& named)
{
    CDescriptor file(::open(target.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    if (file.Get() < 0 || !WriteAll(file.Get(), text) || !file.Close())
    {
        Fail(what, named, errno);
    }
}

} // namespace

void WriteFileAtomically(const fs::path& path, const std::string& text, const std::string& what)
{
    std::error_code error;
    fs::path target = fs::weakly_canonical(path, error);
    if (error)
    {
        target = path;
    }
    struct stat status
    {
    };
    const bool bExists = ::stat(target.c_str(), &status) == 0;
    if (bExists && !S_ISREG(status.st_mode))
    {
        WriteDirectly(target, text, what, path);
        return;
    }
    fs::path temporary;
    CDescriptor file(CreateTemporary(target, temporary));
    if (file.Get() < 0)
    {
        Fail(what, path, errno);
    }
    if (bExists)
    {
        ::fchmod(file.Get(), status.st_mode & 07777); // the old file's permissions stay
    }
    if (!WriteAll(file.Get(), text) || ::fsync(file.Get()) != 0 || !file.Close() ||
        ::rename(temporary.c_str(), target.c_str()) != 0)
    {
        const int nError = errno;
        ::unlink(temporary.c_str());
        Fail(what, path, nError);
    }
}
