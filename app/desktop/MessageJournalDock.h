#pragma once

#include "LineStreamBuffer.h"

#include <QDockWidget>

#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

class QPlainTextEdit;

// The "Messages" dock: the communication thread's journal, live. One line per delivered
// message: time, name, data summary and the microseconds each receiver took. The journal is
// written only while the dock is shown, since it costs time on every message.
//
// Owns its view, the line buffer and the stream it lends (Stream) for as long as it lives. The
// message thread writes the journal from the GUI thread, where the dock lives. Throws nothing;
// sends and handles no messages (it only shows the journal's lines).
class CMessageJournalDock : public QDockWidget
{
    Q_OBJECT
public:
    explicit CMessageJournalDock(QWidget* parent);
    ~CMessageJournalDock() override;

    // The stream to hand to CMessageThread::EnableJournal; it lives as long as the dock.
    std::ostream& Stream() { return *m_pStream; }
    int LineCount() const;
    QString Text() const;

private:
    // Appends each whole line to the view.
    class CLineBuffer : public CLineStreamBuffer
    {
    public:
        explicit CLineBuffer(CMessageJournalDock& dock) : m_dock(dock) {}

    protected:
        void WriteLine(const std::string& line) override { m_dock.AppendLine(line); }

    private:
        CMessageJournalDock& m_dock;
    };

    void AppendLine(const std::string& line);

    QPlainTextEdit* m_pView;
    std::unique_ptr<CLineBuffer> m_pBuffer;
    std::unique_ptr<std::ostream> m_pStream;
};
