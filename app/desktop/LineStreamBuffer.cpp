#include "LineStreamBuffer.h"

std::string CLineStreamBuffer::TakeUnfinished()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string strText;
    for (const auto& [id, strLine] : m_mapLines)
    {
        strText += strLine;
    }
    m_mapLines.clear();
    return strText;
}

CLineStreamBuffer::int_type CLineStreamBuffer::overflow(int_type character)
{
    if (traits_type::eq_int_type(character, traits_type::eof()))
    {
        return traits_type::not_eof(character);
    }
    const char cCharacter = traits_type::to_char_type(character);
    xsputn(&cCharacter, 1);
    return character;
}

std::streamsize CLineStreamBuffer::xsputn(const char* text, std::streamsize count)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string& strLine = m_mapLines[std::this_thread::get_id()];
    for (std::streamsize i = 0; i < count; ++i)
    {
        if (text[i] == '\n')
        {
            WriteLine(strLine);
            strLine.clear();
        }
        else
        {
            strLine += text[i];
        }
    }
    if (strLine.empty())
    {
        m_mapLines.erase(std::this_thread::get_id()); // threads come and go
    }
    return count;
}
