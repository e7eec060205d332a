#pragma once

#include <string>

namespace DocView
{

// One module-wide label naming what runs now: a toolbox operation ("CToolboxPlugin::Init()"),
// a tool being loaded (its plug-in name), an action being run, or a tool thread (its name). The
// system-exception translator reads it as the origin of its errors. The toolbox and every tool
// thread write it; the last writer wins, so it is a best-effort label for error texts only.
// Both calls may be made from any thread (a short lock keeps the text whole).
void SetCurrentContext(const std::string& context);
std::string CurrentContext();

} // namespace DocView
