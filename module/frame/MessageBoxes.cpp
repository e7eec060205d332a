#include "frame/MessageBoxes.h"

#include <QApplication>
#include <QDialog>
#include <QMainWindow>
#include <QMessageBox>
#include <QWidget>

namespace DocView
{

namespace
{

CriticalMessagePresenter& Presenter()
{
    static CriticalMessagePresenter presenter;
    return presenter;
}

} // namespace

QWidget* ApplicationMainWidget()
{
    // Never the active window: that may be the busy dialog or another box, and a box parented
    // to a dialog goes when the dialog goes. The plug-ins are set up inside the main window's
    // constructor, before it is shown, so a hidden main window counts too.
    QWidget* pHiddenMainWindow = nullptr;
    QWidget* pOtherWindow = nullptr;
    for (QWidget* pWidget : QApplication::topLevelWidgets())
    {
        if (qobject_cast<QMainWindow*>(pWidget) != nullptr)
        {
            if (pWidget->isVisible())
            {
                return pWidget;
            }
            if (pHiddenMainWindow == nullptr)
            {
                pHiddenMainWindow = pWidget;
            }
        }
        else if (pOtherWindow == nullptr && pWidget->isVisible() &&
                 pWidget->windowType() == Qt::Window && qobject_cast<QDialog*>(pWidget) == nullptr)
        {
            pOtherWindow = pWidget;
        }
    }
    return pHiddenMainWindow != nullptr ? pHiddenMainWindow : pOtherWindow;
}

void ShowCriticalMessage(const QString& caption, const QString& text)
{
    if (Presenter())
    {
        Presenter()(caption, text);
        return;
    }
    QMessageBox::critical(ApplicationMainWidget(), caption, text);
}

void SetCriticalMessagePresenter(CriticalMessagePresenter presenter)
{
    Presenter() = std::move(presenter);
}

} // namespace DocView
