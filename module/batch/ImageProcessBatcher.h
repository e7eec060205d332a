#pragma once

#include "batch/ProcessDescription.h"

#include <Zarn/Image/Image.h>
#include <Zarn/Value/ValueContainer.h>

#include <memory>
#include <string>

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
class CPluginBase;
} // namespace Zarn

// Runs a process description (docs/process-format.md) against one image. The batcher is the
// description itself (a copy made at construction) plus the state of one run: the current image,
// the parameter map (condition values, plug-in parameters, stored images, header values) and the
// parameter history. Plug-ins run through PluginExecutor, synchronously, in the calling thread.
//
// Ownership: the current image is owned by the batcher. A stored image is owned by its entry in
// the parameter map (a Zarn::CValueOwnedPointer<Zarn::CImage>): replacing the entry, removing it
// or clearing the map frees it, and a swap hands it back to the batcher as the current image.
// Nothing is left to free by hand when a run fails or is cancelled.
//
// Errors: structural faults of the description throw Zarn::CException with the rejecting
// operation and message of ProcessDescription; what plug-ins and the host's image functions throw
// passes unchanged. A failing run ends at once and leaves the parameter map as it was then (the
// next run clears it); the current image is never left null.
//
// Thread: the one that calls Run, synchronously; a batcher is never shared between threads.
// Messages: sends none and handles none; the lent host objects are kept for the steps only. A
// missing loop condition is written to standard error and "FIRST PLUGIN: <name>" to standard
// output, as fixed parts of its output.
class CImageProcessBatcher : public Zarn::CValueVector
{
public:
    // The host objects are lent and kept for the steps' use; the batcher never deletes them.
    CImageProcessBatcher(const Zarn::CValueVector& process, Zarn::CLogger* logger,
                         Zarn::CMessageThread* commThread,
                         Zarn::CMessageIdFactory* messageIdFactory);
    CImageProcessBatcher(const CImageProcessBatcher&) = delete;
    CImageProcessBatcher& operator=(const CImageProcessBatcher&) = delete;
    ~CImageProcessBatcher() override;

    // Runs the process on a deep copy of `input` (which is never changed) and returns the
    // resulting image, owned by the caller; null when a "config plugin" step cancelled the run.
    std::unique_ptr<Zarn::CImage> Run(const Zarn::CImage& input);

    // A new instance of the first "plugin" or "config plugin" step's plug-in, at any depth,
    // initialised with a copy of its step; owned by the caller (DeleteData, then delete). Null
    // when there is none or the search fails in any way. Writes "FIRST PLUGIN: <name>" to
    // standard output.
    Zarn::CPluginBase* FindFirstPlugin();

    // The parameter map of the run under way, or of the last run that failed; empty otherwise.
    const Zarn::CValueMap& Parameters() const { return m_mapParameters; }

private:
    // The step kinds' table names the step handlers below.
    friend std::span<const ProcessDescription::SStepKind> ProcessDescription::StepKinds();
    friend const ProcessDescription::SHeaderOperation*
    ProcessDescription::FindHeaderOperation(const std::string& name);

    void RunProcess(const Zarn::CValueVector& process);
    void RunStep(const Zarn::CValueMap& step);
    void RunPlugin(const Zarn::CValueMap& step);
    void RunConfigPlugin(const Zarn::CValueMap& step);
    void RunLoop(const Zarn::CValueMap& step);
    bool EvalLoopCondition(const Zarn::CValueMap& step);
    void RunCondition(const Zarn::CValueMap& step);
    const Zarn::CValue* FindConditionValue(const std::string& identifier) const;
    void RunSaveImage(const Zarn::CValueMap& step);
    void RunDeleteImage(const Zarn::CValueMap& step);
    void RunSwapImage(const Zarn::CValueMap& step);
    void RunCopyImage(const Zarn::CValueMap& step);
    void RunQuenHeaderTools(const Zarn::CValueMap& step);
    // The "quen header tools" operations on the current image; `key` is the step's "map position".
    void GetAttributes(const Zarn::CValueMap& step, const Zarn::CValue_Key& key);
    void SetAttributes(const Zarn::CValueMap& step, const Zarn::CValue_Key& key);
    void GetNumberOfLabels(const Zarn::CValueMap& step, const Zarn::CValue_Key& key);
    void SetNumberOfLabels(const Zarn::CValueMap& step, const Zarn::CValue_Key& key);
    void AddToHistory(const Zarn::CValueMap& step, const Zarn::CValue_Key& key);

    // The map a plug-in step hands to its plug-in: the step, the parameter map's entries the step
    // lacks, and "parameters" merged with the step's own winning.
    Zarn::CValueMap ParametersForPlugin(const Zarn::CValueMap& step) const;
    // Appends a "config plugin" step's answered parameters to the history.
    void AddToParameterHistory(const Zarn::CValueMap& answered);
    // The image stored at the path, lent; throws when there is none.
    Zarn::CImage& StoredImage(const std::string& path);
    void StoreImage(const std::string& path, std::unique_ptr<Zarn::CImage> image);
    Zarn::CPluginBase* FindFirstPluginIn(const Zarn::CValueVector& process);
    // Announces the plug-in step's plug-in, creates it and initialises it with a copy of the step.
    Zarn::CPluginBase* NewFirstPlugin(const Zarn::CValueMap& step);
    void ClearRunState();

    bool m_bRunning;
    bool m_bCancelled;
    Zarn::CMessageIdFactory* m_pMessageIdFactory; // lent by the host
    Zarn::CMessageThread* m_pCommThread;          // lent by the host
    Zarn::CLogger* m_pLogger;                     // lent by the host
    std::unique_ptr<Zarn::CImage> m_pCurrentImage;
    Zarn::CValueMap m_mapParameters;
    std::string m_strParameterHistory;
};
