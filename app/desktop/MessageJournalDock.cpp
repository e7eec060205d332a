#include "MessageJournalDock.h"

#include <QFontDatabase>
#include <QPlainTextEdit>

namespace
{
// Enough to follow a session; older lines drop off the top.
const int kMaxLines = 5000;
} // namespace

CMessageJournalDock::CMessageJournalDock(QWidget* parent) : QDockWidget(tr("Messages"), parent)
{
    setObjectName("MessagesDock");
    m_pView = new QPlainTextEdit(this);
    m_pView->setObjectName("MessageJournal");
    m_pView->setReadOnly(true);
    m_pView->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_pView->setMaximumBlockCount(kMaxLines);
    m_pView->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_pView->setPlaceholderText(tr("Every message delivered between the plug-ins shows here."));
    setWidget(m_pView);
    m_pBuffer = std::make_unique<CLineBuffer>(*this);
    m_pStream = std::make_unique<std::ostream>(m_pBuffer.get());
}

CMessageJournalDock::~CMessageJournalDock() = default;

int CMessageJournalDock::LineCount() const
{
    return m_pView->document()->isEmpty() ? 0 : m_pView->blockCount();
}

QString CMessageJournalDock::Text() const
{
    return m_pView->toPlainText();
}

void CMessageJournalDock::AppendLine(const std::string& line)
{
    m_pView->appendPlainText(QString::fromStdString(line));
}

CMessageJournalDock::CLineBuffer::int_type
CMessageJournalDock::CLineBuffer::overflow(int_type character)
{
    if (traits_type::eq_int_type(character, traits_type::eof()))
    {
        return traits_type::not_eof(character);
    }
    const char cCharacter = traits_type::to_char_type(character);
    xsputn(&cCharacter, 1);
    return character;
}

std::streamsize CMessageJournalDock::CLineBuffer::xsputn(const char* text, std::streamsize count)
{
    for (std::streamsize i = 0; i < count; ++i)
    {
        if (text[i] == '\n')
        {
            m_dock.AppendLine(m_strLine);
            m_strLine.clear();
        }
        else
        {
            m_strLine += text[i];
        }
    }
    return count;
}
