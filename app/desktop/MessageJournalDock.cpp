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
