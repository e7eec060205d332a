#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// The questions the document tools ask the user. Each goes through a replaceable function, so
// that a headless run or a test answers instead of a modal dialog. GUI thread only; installing
// an empty function brings the real dialog back. The installed functions are owned here until
// replaced; nothing is lent. Throws only what an installed function throws. No messages.
namespace ImageTools
{

// The files the user picked (several allowed), or none when cancelled. `folder` is where the
// dialog starts; `filters` are ";;"-separated name filters.
using FilesToOpenChooser = std::function<QStringList(const QString& caption, const QString& folder,
                                                     const QString& filters)>;
QStringList ChooseFilesToOpen(const QString& caption, const QString& folder,
                              const QString& filters);
void SetFilesToOpenChooser(FilesToOpenChooser chooser);

// The path to save to, or empty when cancelled. `proposed` is the suggested file, folder included.
using SavePathChooser =
    std::function<QString(const QString& caption, const QString& proposed, const QString& filters)>;
QString ChooseSavePath(const QString& caption, const QString& proposed, const QString& filters);
void SetSavePathChooser(SavePathChooser chooser);

enum EnSaveAnswer
{
    saSave,
    saDiscard,
    saCancel,
};

// Asks whether unsaved changes are to be saved first, with Save, Discard and Cancel buttons
// (Save is the default, Escape cancels). Closing a document and quitting the application both
// ask through here.
using SaveChangesAsker = std::function<EnSaveAnswer(const QString& title, const QString& text)>;
EnSaveAnswer AskSaveChanges(const QString& title, const QString& text);
void SetSaveChangesAsker(SaveChangesAsker asker);

// Asks whether to open an image whose header claims more pixels than this computer should
// decode (`text` names the file, its size and the limit), with Open and Cancel buttons (Cancel is
// the default); true to open it.
using LargeImageAsker = std::function<bool(const QString& title, const QString& text)>;
bool AskOpenLargeImage(const QString& title, const QString& text);
void SetLargeImageAsker(LargeImageAsker asker);

// The name filters of the image file dialogs.
QString ImageFileFilters();

} // namespace ImageTools
