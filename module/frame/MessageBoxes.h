#pragma once

#include <QString>

#include <functional>

class QWidget;

// The module's dialogs over the main window. Nothing here is owned past a call; the presenter
// is kept until replaced. GUI thread only; throws nothing of its own; no messages.
namespace DocView
{

// The widget that dialogs of the module (the busy dialog, every error box) are shown over: the
// application's main top-level window, whichever window is active. That is the first visible
// QMainWindow among the top-level widgets, else the first hidden one (plug-ins are set up while
// the main window is being built), else the first visible plain top-level window that is no
// dialog, else null (a window of its own). Never a QDialog, so a box shown while the busy dialog
// is up does not become its child. GUI thread only.
QWidget* ApplicationMainWidget();

// Shows a modal critical message box over ApplicationMainWidget() with one OK button. Every
// error box of the module goes through here, so tests can see what the user would be told.
void ShowCriticalMessage(const QString& caption, const QString& text);

// Replaces the real box, for instance with a recorder in tests: no modal loop runs. An empty
// function restores the real box. GUI thread only.
using CriticalMessagePresenter = std::function<void(const QString& caption, const QString& text)>;
void SetCriticalMessagePresenter(CriticalMessagePresenter presenter);

} // namespace DocView
