#include <Zarn/Serial/JsonValueFile.h>

#include "JsonValueReader.h"
#include "JsonWriter.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/Value.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Zarn
{

namespace
{
std::string SystemError(const std::string& path, const char* operation, int error)
{
    return path + ": " + operation + ": " + std::strerror(error);
}

// Closes the descriptor, and removes the temporary file unless it was kept.
class CTemporaryFile
{
public:
    CTemporaryFile(int descriptor, std::string path)
        : m_nDescriptor(descriptor), m_strPath(std::move(path))
    {
    }
    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;
    ~CTemporaryFile()
    {
        Close();
        if (!m_bKept)
        {
            ::unlink(m_strPath.c_str());
        }
    }
    int Descriptor() const { return m_nDescriptor; }
    const std::string& Path() const { return m_strPath; }
    // 0, or the errno of a failed close.
    int Close()
    {
        int nError = 0;
        if (m_nDescriptor >= 0 && ::close(m_nDescriptor) != 0)
        {
            nError = errno;
        }
        m_nDescriptor = -1;
        return nError;
    }
    void Keep() { m_bKept = true; }

private:
    int m_nDescriptor;
    std::string m_strPath;
    bool m_bKept = false;
};

// A new file next to path, created exclusively with mode 0666 less the umask.
CTemporaryFile CreateTemporaryBeside(const std::string& path)
{
    static std::atomic<unsigned long> s_uCounter{0};
    const size_t uSlash = path.rfind('/');
    const std::string strFolder = uSlash == std::string::npos ? "" : path.substr(0, uSlash + 1);
    const std::string strName = uSlash == std::string::npos ? path : path.substr(uSlash + 1);
    for (;;)
    {
        const std::string strTemporary = strFolder + "." + strName + ".tmp." +
                                         std::to_string(::getpid()) + "." +
                                         std::to_string(s_uCounter++);
        const int nDescriptor =
            ::open(strTemporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (nDescriptor >= 0)
        {
            return CTemporaryFile(nDescriptor, strTemporary);
        }
        if (errno != EEXIST)
        {
            throw CExBadParam(ZARN_LOCATION,
                              SystemError(path, "cannot create a temporary file", errno).c_str());
        }
    }
}
} // namespace

void CJsonPositions::Add(const std::string& path, size_t line, size_t column)
{
    m_mapPositions[path] = {line, column};
}

bool CJsonPositions::Find(const std::string& path, size_t& line, size_t& column) const
{
    const auto it = m_mapPositions.find(path);
    if (it == m_mapPositions.end())
    {
        return false;
    }
    line = it->second.first;
    column = it->second.second;
    return true;
}

std::string CJsonPositions::Describe(const std::string& path) const
{
    std::string strPath = path;
    for (;;)
    {
        size_t uLine = 0;
        size_t uColumn = 0;
        if (Find(strPath, uLine, uColumn))
        {
            return m_strSource + ":" + std::to_string(uLine) + ":" + std::to_string(uColumn);
        }
        if (strPath.empty())
        {
            return m_strSource;
        }
        const size_t uSlash = strPath.rfind('/');
        strPath = uSlash == std::string::npos ? std::string() : strPath.substr(0, uSlash);
    }
}

CValue* CJsonValueFile::ReadFile(const std::string& path)
{
    return ReadFileImpl(path, nullptr);
}

CValue* CJsonValueFile::ReadFile(const std::string& path, CJsonPositions& positions)
{
    return ReadFileImpl(path, &positions);
}

CValue* CJsonValueFile::ReadFileImpl(const std::string& path, CJsonPositions* positions)
{
    const int nDescriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (nDescriptor < 0)
    {
        throw CExBadParam(ZARN_LOCATION, SystemError(path, "cannot open", errno).c_str());
    }
    std::string strText;
    int nError = 0;
    struct stat status
    {
    };
    if (::fstat(nDescriptor, &status) != 0)
    {
        nError = errno;
    }
    else if (S_ISDIR(status.st_mode))
    {
        nError = EISDIR;
    }
    else
    {
        if (S_ISREG(status.st_mode) && status.st_size > 0)
        {
            strText.reserve(static_cast<size_t>(status.st_size));
        }
        char buffer[65536];
        for (;;)
        {
            const ssize_t nRead = ::read(nDescriptor, buffer, sizeof(buffer));
            if (nRead > 0)
            {
                strText.append(buffer, static_cast<size_t>(nRead));
            }
            else if (nRead == 0)
            {
                break;
            }
            else if (errno != EINTR)
            {
                nError = errno;
                break;
            }
        }
    }
    ::close(nDescriptor);
    if (nError != 0)
    {
        throw CExBadParam(ZARN_LOCATION, SystemError(path, "cannot read", nError).c_str());
    }
    return positions != nullptr ? ReadString(strText, path, *positions) : ReadString(strText, path);
}

CValue* CJsonValueFile::ReadString(const std::string& text, const std::string& sourceName)
{
    return Impl::CJsonValueReader(text, sourceName).Read().release();
}

CValue* CJsonValueFile::ReadString(const std::string& text, const std::string& sourceName,
                                   CJsonPositions& positions)
{
    Impl::CJsonValueReader reader(text, sourceName);
    std::vector<std::pair<std::string, std::pair<size_t, size_t>>> lstPositions;
    reader.RecordPositions(&lstPositions);
    std::unique_ptr<CValue> pValue = reader.Read();
    positions.SetSource(sourceName);
    for (const auto& [strPath, position] : lstPositions)
    {
        positions.Add(strPath, position.first, position.second);
    }
    return pValue.release();
}

void CJsonValueFile::WriteFile(const std::string& path, const CValue& value)
{
    // The text is complete before any file is touched, so a value that cannot be written
    // leaves the folder as it was.
    const std::string strText = WriteString(value, true) + "\n";

    CTemporaryFile temporary = CreateTemporaryBeside(path);
    struct stat status
    {
    };
    if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
    {
        ::fchmod(temporary.Descriptor(), status.st_mode & 07777);
    }
    size_t uWritten = 0;
    while (uWritten < strText.size())
    {
        const ssize_t nCount =
            ::write(temporary.Descriptor(), strText.data() + uWritten, strText.size() - uWritten);
        if (nCount < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            throw CExBadParam(ZARN_LOCATION, SystemError(path, "cannot write", errno).c_str());
        }
        uWritten += static_cast<size_t>(nCount);
    }
    if (::fsync(temporary.Descriptor()) != 0)
    {
        throw CExBadParam(ZARN_LOCATION, SystemError(path, "cannot write", errno).c_str());
    }
    const int nCloseError = temporary.Close();
    if (nCloseError != 0)
    {
        throw CExBadParam(ZARN_LOCATION, SystemError(path, "cannot write", nCloseError).c_str());
    }
    if (::rename(temporary.Path().c_str(), path.c_str()) != 0)
    {
        throw CExBadParam(ZARN_LOCATION, SystemError(path, "cannot replace", errno).c_str());
    }
    temporary.Keep();
}

std::string CJsonValueFile::WriteString(const CValue& value, bool bPretty)
{
    std::string strText;
    Impl::CJsonWriter(Impl::CJsonWriter::modeFile, bPretty, false).Write(&value, strText);
    return strText;
}

} // namespace Zarn
