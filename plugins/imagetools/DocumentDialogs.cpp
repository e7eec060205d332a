#include "DocumentDialogs.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QWidget>

namespace ImageTools
{

namespace
{

FilesToOpenChooser& OpenChooser()
{
    static FilesToOpenChooser chooser;
    return chooser;
}

SavePathChooser& SaveChooser()
{
    static SavePathChooser chooser;
    return chooser;
}

SaveChangesAsker& Asker()
{
    static SaveChangesAsker asker;
    return asker;
}

LargeImageAsker& LargeAsker()
{
    static LargeImageAsker asker;
    return asker;
}

// Null gives the dialog a window of its own.
QWidget* DialogParent()
{
    return QApplication::activeWindow();
}

} // namespace

QStringList ChooseFilesToOpen(const QString& caption, const QString& folder, const QString& filters)
{
    if (OpenChooser())
    {
        return OpenChooser()(caption, folder, filters);
    }
    return QFileDialog::getOpenFileNames(DialogParent(), caption, folder, filters);
}

void SetFilesToOpenChooser(FilesToOpenChooser chooser)
{
    OpenChooser() = std::move(chooser);
}

QString ChooseSavePath(const QString& caption, const QString& proposed, const QString& filters)
{
    if (SaveChooser())
    {
        return SaveChooser()(caption, proposed, filters);
    }
    return QFileDialog::getSaveFileName(DialogParent(), caption, proposed, filters);
}

void SetSavePathChooser(SavePathChooser chooser)
{
    SaveChooser() = std::move(chooser);
}

EnSaveAnswer AskSaveChanges(const QString& title, const QString& text)
{
    if (Asker())
    {
        return Asker()(title, text);
    }
    QMessageBox box(QMessageBox::Warning, title, text,
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, DialogParent());
    box.setDefaultButton(QMessageBox::Save);
    box.setEscapeButton(QMessageBox::Cancel);
    switch (box.exec())
    {
    case QMessageBox::Save:
        return saSave;
    case QMessageBox::Discard:
        return saDiscard;
    default:
        return saCancel;
    }
}

void SetSaveChangesAsker(SaveChangesAsker asker)
{
    Asker() = std::move(asker);
}

bool AskOpenLargeImage(const QString& title, const QString& text)
{
    if (LargeAsker())
    {
        return LargeAsker()(title, text);
    }
    QMessageBox box(QMessageBox::Question, title, text, QMessageBox::Open | QMessageBox::Cancel,
                    DialogParent());
    box.setObjectName("LargeImage");
    box.setInformativeText(QObject::tr("Decoding it may take all the memory of this computer and "
                                       "a long time. Open it all the same?"));
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Open;
}

void SetLargeImageAsker(LargeImageAsker asker)
{
    LargeAsker() = std::move(asker);
}

QString ImageFileFilters()
{
    return QStringLiteral("Images (*.png *.tif *.tiff *.jpg *.jpeg *.bmp);;All files (*)");
}

} // namespace ImageTools
