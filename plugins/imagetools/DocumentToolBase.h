#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <string>

// What the tools that work on the focused document share ("SaveImage", "SaveImageAs",
// "CloseDocument"): the set-up record of a "Document" tool, the description's "file" (the path a
// run without a user answers with) and the focused document taken from the toolbox's input.
// Each tool gives its own Run.
//
// Owns nothing: the focused document is lent by the toolbox (or, for a batch step, by the run
// data) and forgotten with the next input. Throws only what Zarn::UnwrapPointer throws for a
// "focused" entry that is no document pointer. Sends no messages; UpdateParameters takes the
// toolbox's input maps ({"input": ...}), not host messages. GUI thread only ("threaded": false).
class CDocumentToolBase : public Zarn::CPluginBase
{
public:
    // "Version", "PluginType" = "Tool", "PluginSubType" = "Document", "PluginName".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "file".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // True while a document the tool takes has the focus.
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    // Keeps the focused document of a toolbox input; other maps are ignored.
    void UpdateParameters(const Zarn::CValueMap& message) override;

protected:
    // name: the plug-in name; bNeedsImage: only documents that hold an image are taken.
    CDocumentToolBase(const char* name, bool bNeedsImage);

    // The document to work on: "input/documents/focused" of the run data when it is there (a
    // batch step), else the one kept from the toolbox's input; null when there is none.
    Zarn::CValueMap* DocumentToRun(const Zarn::CValueMap& data) const;
    // The description's "file", or empty.
    const std::string& PresetFile() const { return m_strFile; }

private:
    // The focused document of a toolbox input when the tool takes it, else null.
    Zarn::CValueMap* TakenDocument(const Zarn::CValueMap& input) const;

    std::string m_strName;
    bool m_bNeedsImage;
    std::string m_strFile;
    Zarn::CValueMap* m_pDocument; // lent by the toolbox; null when nothing is focused
};
