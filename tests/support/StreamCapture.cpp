#include "StreamCapture.h"

#include <algorithm>
#include <cstdlib>

#include <unistd.h>

namespace DocViewTest
{

CStreamCapture::CStreamCapture(std::ostream& stream)
    : m_stream(stream), m_pPrevious(stream.rdbuf(m_text.rdbuf()))
{
}

CStreamCapture::~CStreamCapture()
{
    m_stream.rdbuf(m_pPrevious);
}

std::string CStreamCapture::Take()
{
    const std::string strAll = m_text.str();
    const std::string strNew = strAll.substr(m_nTaken);
    m_nTaken = strAll.size();
    return strNew;
}

std::vector<std::string> CStreamCapture::TakeLines()
{
    const std::string strAll = m_text.str();
    std::vector<std::string> lstLines;
    size_t nStart = m_nTaken;
    for (size_t nEnd = strAll.find('\n', nStart); nEnd != std::string::npos;
         nEnd = strAll.find('\n', nStart))
    {
        lstLines.push_back(strAll.substr(nStart, nEnd - nStart));
        nStart = nEnd + 1;
    }
    if (nStart < strAll.size())
    {
        lstLines.push_back("<unterminated>" + strAll.substr(nStart));
        nStart = strAll.size();
    }
    m_nTaken = nStart;
    return lstLines;
}

CDescriptorCapture::CDescriptorCapture(int descriptor)
    : m_nDescriptor(descriptor), m_nSaved(dup(descriptor)), m_nFile(-1)
{
    char szName[] = "/tmp/docview-capture-XXXXXX";
    m_nFile = mkstemp(szName);
    if (m_nFile >= 0)
    {
        unlink(szName);
        dup2(m_nFile, m_nDescriptor);
    }
}

CDescriptorCapture::~CDescriptorCapture()
{
    if (m_nSaved >= 0)
    {
        dup2(m_nSaved, m_nDescriptor);
        close(m_nSaved);
    }
    if (m_nFile >= 0)
    {
        close(m_nFile);
    }
}

std::string CDescriptorCapture::Take()
{
    std::string strAll;
    char acBuffer[4096];
    ssize_t nRead = 0;
    off_t nOffset = 0;
    while ((nRead = pread(m_nFile, acBuffer, sizeof(acBuffer), nOffset)) > 0)
    {
        strAll.append(acBuffer, static_cast<size_t>(nRead));
        nOffset += nRead;
    }
    const std::string strNew = strAll.substr(std::min(m_nTaken, strAll.size()));
    m_nTaken = strAll.size();
    return strNew;
}

} // namespace DocViewTest
