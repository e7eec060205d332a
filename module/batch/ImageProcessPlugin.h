#pragma once

#include "batch/ImageProcessBatcher.h"
#include "batch/OwnedPlugin.h"

#include <Zarn/Plugin/PluginBase.h>

#include <memory>

// The host objects (Zarn::CLogger, CMessageThread, CMessageIdFactory) are declared with the
// batcher, which is given them.

// Runs a process description against one image and behaves towards the rest of the system like a
// single image tool: it takes the focused document at "input/documents/focused" and hands the
// result back as a new document at "output/documents/add". Created by the module entry as
// "ImageProcess". Every operation runs in its caller's thread; a run is synchronous.
//
// Ownership: the batcher and the process's first plug-in are owned (released by DeleteData and
// by the destructor); the focused document and the host objects borrowed in Init are lent. The
// document that a run writes belongs to whoever takes up "output/documents/add" (the repository,
// or a plug-in executor), and its image to the document's "content".
//
// Nothing is wrapped in Init and UpdateParameters: what they throw reaches the caller unchanged.
//
// Messages: sends none and handles none. UpdateParameters takes a tool's input map ({"input":
// {"documents": {"focused": ...}}}); a delivered host message has no "input" and changes nothing.
class CImageProcessPlugin : public Zarn::CPluginBase
{
public:
    CImageProcessPlugin();
    ~CImageProcessPlugin() override;

    // Writes nothing: the setup map is left as it is.
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Borrows "tmp/logger", "tmp/commthread" and "tmp/messageidfactory"; with a "process" vector,
    // builds the batcher and creates the process's first plug-in (null when there is none).
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    // Runs the process on a copy of the focused document's image. Writes "output/documents/add"
    // unless the run was cancelled. Throws Zarn::CException only ("CImageProcessPlugin" for
    // standard and unknown exceptions); needs TestParameters and UpdateParameters first.
    void Run(Zarn::CValueMap& data) override;
    // True for a focused document with an image that the process's first plug-in accepts. Never
    // throws.
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    // Keeps the document at "input/documents/focused" when the map has one.
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    void RunProcess(Zarn::CValueMap& data);

    Zarn::CValueMap* m_pFocusedDocument; // lent by the caller
    std::unique_ptr<CImageProcessBatcher> m_pBatcher;
    OwnedPluginPtr m_pFirstPlugin;
    Zarn::CMessageIdFactory* m_pMessageIdFactory; // lent by the host
    Zarn::CMessageThread* m_pCommThread;          // lent by the host
    Zarn::CLogger* m_pLogger;                     // lent by the host
};
