#include "ConsoleStreams.h"

#include <iostream>

CConsoleStreams::CConsoleStreams(bool bVerbose) : m_bVerbose(bVerbose)
{
    Output(); // takes hold of the original standard output before std::cout moves
    if (m_bVerbose)
    {
        return;
    }
    m_pNull = std::make_unique<CNullBuffer>();
    m_pErrorFilter = std::make_unique<CChatterFilter>(std::cerr.rdbuf());
    m_pOutput = std::cout.rdbuf(m_pNull.get());
    m_pLog = std::clog.rdbuf(m_pNull.get());
    m_pErrors = std::cerr.rdbuf(m_pErrorFilter.get());
}

CConsoleStreams::~CConsoleStreams()
{
    if (m_bVerbose)
    {
        return;
    }
    std::cerr.rdbuf(m_pErrors);
    std::clog.rdbuf(m_pLog);
    std::cout.rdbuf(m_pOutput);
}

std::ostream& CConsoleStreams::Output()
{
    static std::ostream s_output(std::cout.rdbuf());
    return s_output;
}

CConsoleStreams::CNullBuffer::int_type CConsoleStreams::CNullBuffer::overflow(int_type character)
{
    return traits_type::not_eof(character);
}

std::streamsize CConsoleStreams::CNullBuffer::xsputn(const char*, std::streamsize count)
{
    return count;
}

CConsoleStreams::CChatterFilter::~CChatterFilter()
{
    // What a thread left without an end of line still belongs on the terminal.
    const std::string strRest = TakeUnfinished();
    m_pTarget->sputn(strRest.data(), static_cast<std::streamsize>(strRest.size()));
    m_pTarget->pubsync();
}

void CConsoleStreams::CChatterFilter::WriteLine(const std::string& line)
{
    if (!IsChatter(line))
    {
        const std::string strLine = line + "\n";
        m_pTarget->sputn(strLine.data(), static_cast<std::streamsize>(strLine.size()));
    }
}

int CConsoleStreams::CChatterFilter::sync()
{
    return m_pTarget->pubsync();
}

bool CConsoleStreams::CChatterFilter::IsChatter(const std::string& line)
{
    // "Tool plugin <name> loaded." for every tool of the toolbox; its failures ("... not
    // loaded...") stay, they tell the user why a tool is missing.
    const std::string strStart = "Tool plugin ";
    const std::string strEnd = " loaded.";
    return line.size() > strStart.size() + strEnd.size() && line.starts_with(strStart) &&
           line.ends_with(strEnd) && !line.ends_with(" not loaded.");
}
