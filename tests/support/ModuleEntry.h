#pragma once

// The docview module's one exported entry, linked in from the module's classes (the
// docview_objects library): makes the module's plug-in of that name, or returns null. The caller
// owns what it gets; safe from the GUI thread.
extern "C" void* CreatePluginInstanceEx(const char* name);
