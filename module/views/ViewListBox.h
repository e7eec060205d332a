#pragma once

#include <QListWidget>

class QEvent;
class QObject;
class QWidget;

// The navigator's list: a QListWidget whose CViewListBoxItem entries are sized and painted by
// the items themselves (through a delegate the list owns); other entries look as usual.
// Owns its entries and the delegate; lends entries to the navigator. GUI thread only. Throws
// nothing of its own; sends and handles no messages (the navigator does).
class CViewListBox : public QListWidget
{
    Q_OBJECT

public:
    CViewListBox(QWidget* parent, const char* name);
    ~CViewListBox() override;

    // Lets the list's own filter see `event`, then answers what the application object's filter
    // answers for a fresh event of the same type. Deliberate: other modules rely on the
    // application's filter deciding, not the list's.
    bool eventFilter(QObject* watched, QEvent* event) override;
};
