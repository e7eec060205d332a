#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <string>

// "CloseDocument": closes the focused document, runnable while one is focused. A document with
// unsaved changes asks first (ImageTools::AskSaveChanges): Save saves it as "SaveImage" does
// (asking for a path when it has no file; the description's "file" answers instead) and closes
// only when that worked, Discard closes, Cancel does nothing.
//
// Closing lists the document under "output/documents/remove"; the repository then removes and
// deletes it. A failed save is reported in "output/error/message" and the document stays.
// GUI thread only ("threaded": false).
class CCloseDocumentTool : public Zarn::CPluginBase
{
public:
    CCloseDocumentTool();
    CCloseDocumentTool(const CCloseDocumentTool&) = delete;
    CCloseDocumentTool& operator=(const CCloseDocumentTool&) = delete;

    using Zarn::CPluginBase::Init;
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "file".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    // Keeps the focused document of a toolbox input; other maps are ignored.
    void UpdateParameters(const Zarn::CValueMap& message) override;
    void Run(Zarn::CValueMap& data) override;

private:
    std::string m_strFile;
    Zarn::CValueMap* m_pDocument; // lent by the toolbox; null when nothing is focused
};
