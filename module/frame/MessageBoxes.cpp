#include "frame/MessageBoxes.h"

#include <QApplication>
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
    if (QWidget* active = QApplication::activeWindow())
        return active;
    for (QWidget* widget : QApplication::topLevelWidgets())
    {
        if (widget->isVisible() && qobject_cast<QMainWindow*>(widget))
            return widget;
    }
    return nullptr;
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
