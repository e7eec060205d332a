#pragma once

#include <QString>

#include <functional>

class QWidget;

namespace DocView
{

// The widget that dialogs of the module are shown over: the application's active window, else
// its first visible main window, else null (a box of its own).
QWidget* ApplicationMainWidget();

// Shows a modal critical message box over ApplicationMainWidget() with one OK button. Every
// error box of the module goes through here, so tests can see what the user would be told.
void ShowCriticalMessage(const QString& caption, const QString& text);

// Replaces the real box, for instance with a recorder in tests: no modal loop runs. An empty
// function restores the real box. GUI thread only.
using CriticalMessagePresenter = std::function<void(const QString& caption, const QString& text)>;
void SetCriticalMessagePresenter(CriticalMessagePresenter presenter);

} // namespace DocView
