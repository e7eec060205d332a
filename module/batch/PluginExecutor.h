#pragma once

#include <Zarn/Value/ValueContainer.h>

#include <string>

namespace Zarn
{
class CImage;
} // namespace Zarn

// Runs one plug-in, named as the host's plug-in loader knows it, to completion in the calling
// thread. Every run creates a new instance of the plug-in and destroys it (DeleteData, then the
// destructor) before returning, also when the run fails. No state of its own.
//
// Thread: the calling one. Messages: sends none and handles none. An image tool run is framed by
// two lines on standard output ("EXECUTETEKAPLUGIN: ..."), a fixed part of its output.
namespace PluginExecutor
{

// Init (with a copy of `parameters`), TestParameters, UpdateParameters and Run on a work map;
// afterwards `parameters` holds what the plug-in left in the work map. Values the plug-in did not
// change stay the caller's own objects; what the plug-in added or changed is handed over with
// any ownership it carries.
// Throws Zarn::CException "PluginExecutor::RunPlugin" when TestParameters answers false or
// UpdateParameters throws, and when the loader knows no plug-in of that name; what Init and Run
// throw passes unchanged. On failure `parameters` is left as it was.
void RunPlugin(const std::string& name, Zarn::CValueMap& parameters);

// Runs an image tool on `image` (lent; the tool may change it) as the focused document
// "input/documents/focused" = {"content", "label"}, and returns the image of the first document
// under "output/documents/add". `output` receives a copy of the tool's "output" map; the
// document pointers in it do not outlive the call.
//
// Ownership: the returned image belongs to the caller. It is either `image` itself (a tool that
// worked in place and handed back what it was given) or a new image. The documents that the tool
// listed under "add" are handed to the executor as to any receiver of new documents: it deletes
// them (and with them the images they own) after taking the first one's image out; an image that
// a document only lends is copied instead, so that its lender keeps it.
// Throws Zarn::CException "PluginExecutor::RunImageToolPlugin" "No output map from Plugin
// available." when the tool left no such document, and whatever RunPlugin throws.
Zarn::CImage* RunImageToolPlugin(const std::string& name, Zarn::CImage* image,
                                 const Zarn::CValueMap& parameters, Zarn::CValueMap& output,
                                 const std::string& label);

} // namespace PluginExecutor
