#pragma once

#include <string>

namespace DocView
{

// One module-wide label naming what runs now: a toolbox operation ("CToolboxPlugin::Init()"),
// a tool being loaded (its plug-in name), an action being run, or a tool thread (its name). The
// system-exception translator reads it as the origin of its errors. The toolbox and every tool
// thread write it; it is a best-effort label for error texts only.
//
// A thread that has written the label reads back its own latest text, so that a tool thread's
// fault names its tool even while the GUI thread labels the tools it asks meanwhile (and the
// other way round). A thread that never wrote it reads the text written last by any thread.
// Both calls may be made from any thread (a short lock keeps the shared text whole). The text is
// copied in and out: nothing is lent. Throws only what copying a string throws (std::bad_alloc).
// Sends and handles no message.
void SetCurrentContext(const std::string& context);
std::string CurrentContext();

} // namespace DocView
