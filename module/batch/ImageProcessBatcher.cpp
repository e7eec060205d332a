#include "batch/ImageProcessBatcher.h"

#include "batch/OwnedPlugin.h"
#include "batch/PluginExecutor.h"
#include "batch/ProcessDescription.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageExtraction.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Serial/TextSerializer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <cstdint>
#include <iostream>

namespace
{

using namespace ProcessDescription;

const Zarn::CValue_Key kParameters("parameters");

std::unique_ptr<Zarn::CImage> CloneImage(const Zarn::CImage& image)
{
    return std::unique_ptr<Zarn::CImage>(Zarn::CImageExtraction::Clone(image));
}

} // namespace

CImageProcessBatcher::CImageProcessBatcher(const Zarn::CValueVector& process, Zarn::CLogger* logger,
                                           Zarn::CMessageThread* commThread,
                                           Zarn::CMessageIdFactory* messageIdFactory)
    : Zarn::CValueVector(process), m_bRunning(false), m_bCancelled(false),
      m_pMessageIdFactory(messageIdFactory), m_pCommThread(commThread), m_pLogger(logger)
{
}

CImageProcessBatcher::~CImageProcessBatcher() = default;

std::unique_ptr<Zarn::CImage> CImageProcessBatcher::Run(const Zarn::CImage& input)
{
    m_bRunning = false;
    m_bCancelled = false;
    m_pCurrentImage = CloneImage(input);
    ClearRunState();
    RunProcess(*this);
    ClearRunState();
    if (m_bCancelled)
    {
        m_pCurrentImage.reset();
        return nullptr;
    }
    return std::move(m_pCurrentImage);
}

Zarn::CPluginBase* CImageProcessBatcher::FindFirstPlugin()
{
    try
    {
        return FindFirstPluginIn(*this);
    }
    catch (...)
    {
        // Any failure of the search means "no first plug-in": the plug-in then refuses every
        // parameter set, which is how a broken description shows.
        return nullptr;
    }
}

void CImageProcessBatcher::ClearRunState()
{
    // Frees the stored images: their entries own them.
    m_mapParameters.Clear();
    m_strParameterHistory.clear();
}

void CImageProcessBatcher::RunProcess(const Zarn::CValueVector& process)
{
    // The size is read anew after every step.
    for (unsigned int uIndex = 0; uIndex < process.Size(); ++uIndex)
    {
        RunStep(StepAt(process.Entry(Zarn::CValue_Key(uIndex), false)));
    }
}

void CImageProcessBatcher::RunStep(const Zarn::CValueMap& step)
{
    if (m_bCancelled)
    {
        return;
    }
    const SStepKind& kind = StepKindOf(StepType(step));
    // The handlers get a copy, so that a step run many times (in a loop) is never changed.
    Zarn::CValueMap work(step);
    if (kind.bDefaultsThreaded && !work.HasEntry(Zarn::CValue_Key("threaded")))
    {
        work.SetEntry(Zarn::CValue_Key("threaded"), new Zarn::CValueBool(false));
    }
    // Each handler relies on its kind's structural check having passed.
    kind.pfnCheck(work);
    (this->*kind.pfnRun)(work);
}

Zarn::CValueMap CImageProcessBatcher::ParametersForPlugin(const Zarn::CValueMap& step) const
{
    // Stored images reach the plug-in as lent pointers: the parameter map keeps owning them.
    Zarn::CValueMap parameters(step);
    parameters.CopyNewEntries(m_mapParameters, Zarn::CValue::tfShare);
    const Zarn::CValue* pOwn = m_mapParameters.Entry(kParameters, false);
    if (pOwn != nullptr && pOwn->Map() != nullptr)
    {
        Zarn::CValue* pStepParameters = parameters.Entry(kParameters, false);
        if (pStepParameters != nullptr && pStepParameters->Map() != nullptr)
        {
            pStepParameters->Map()->CopyNewEntries(*pOwn, Zarn::CValue::tfShare);
        }
        else
        {
            parameters.SetEntry(kParameters, new Zarn::CValueMap(*pOwn->Map()));
        }
    }
    return parameters;
}

void CImageProcessBatcher::RunPlugin(const Zarn::CValueMap& step)
{
    static_cast<void>(PresentBool(step, "threaded")); // the plug-in always runs in this thread
    const std::string strLabel = StringOr(step, "title", "<unknown>");
    const Zarn::CValueMap parameters = ParametersForPlugin(step);
    Zarn::CValueMap scratch;
    Zarn::CImage* pResult = PluginExecutor::RunImageToolPlugin(
        PresentString(step, "plugin"), m_pCurrentImage.get(), parameters, scratch, strLabel);
    // A tool that worked in place hands back the current image itself.
    if (pResult != m_pCurrentImage.get())
    {
        m_pCurrentImage.reset(pResult);
    }
}

void CImageProcessBatcher::RunConfigPlugin(const Zarn::CValueMap& step)
{
    Zarn::CValueMap parameters = ParametersForPlugin(step);
    PluginExecutor::RunPlugin(PresentString(step, "plugin"), parameters);
    if (HasBool(parameters, "cancelled") &&
        parameters.Entry(Zarn::CValue_Key("cancelled"), false)->Bool())
    {
        m_bCancelled = true;
        return;
    }
    if (!HasMap(parameters, "parameters"))
    {
        return;
    }
    const Zarn::CValueMap& answered = *parameters.Entry(kParameters, false)->Map();
    AddToParameterHistory(answered);
    // Answers replace the values of the same name; values owned by the answer move over.
    Zarn::CValue* pOwn = m_mapParameters.Entry(kParameters, false);
    if (pOwn != nullptr && pOwn->Map() != nullptr)
    {
        for (auto it = answered.begin(); it != answered.end(); ++it)
        {
            pOwn->Map()->SetEntry(it.Key(), it.Value()->Clone(Zarn::CValue::tfTransfer));
        }
    }
    else
    {
        m_mapParameters.SetEntry(kParameters, answered.Clone(Zarn::CValue::tfTransfer));
    }
}

void CImageProcessBatcher::AddToParameterHistory(const Zarn::CValueMap& answered)
{
    // Only a history that was not empty when the step began gets separators: the entries of the
    // first answer of a run stand side by side. Other tools parse the history so; keep it.
    const bool bSeparate = !m_strParameterHistory.empty();
    const Zarn::CTextSerializer serializer(true, false, nullptr);
    std::string strText;
    for (auto it = answered.begin(); it != answered.end(); ++it)
    {
        if (bSeparate)
        {
            strText += ", ";
        }
        strText += it.Key().ToString();
        strText += "=";
        strText += serializer.ToString(it.Value());
    }
    strText.erase(std::remove(strText.begin(), strText.end(), '\n'), strText.end());
    m_strParameterHistory += strText;
}

void CImageProcessBatcher::RunLoop(const Zarn::CValueMap& step)
{
    const bool bRepeatUntil = PresentString(step, "subtype") == "repeat-until";
    const Zarn::CValueVector& body = PresentVector(step, "loopbody");
    std::unique_ptr<Zarn::CImage> pSnapshot;
    if (PresentBool(step, "keep image"))
    {
        pSnapshot = CloneImage(*m_pCurrentImage);
    }
    // Only the condition ends a loop, also after a cancel: a cancelled pass does nothing.
    for (bool bFirstPass = true;; bFirstPass = false)
    {
        if (!(bRepeatUntil && bFirstPass))
        {
            const bool bCondition = EvalLoopCondition(step);
            if (bRepeatUntil ? bCondition : !bCondition)
            {
                break;
            }
        }
        RunProcess(body);
        if (pSnapshot)
        {
            Zarn::CImageExtraction::Copy(*m_pCurrentImage, *pSnapshot);
        }
    }
}

bool CImageProcessBatcher::EvalLoopCondition(const Zarn::CValueMap& step)
{
    const Zarn::CValue* pValue = nullptr;
    try
    {
        pValue = FindConditionValue(PresentString(step, "condition identifier"));
    }
    catch (const Zarn::CException& caught)
    {
        // Standard error, not the logger: this line is part of the interpreter's fixed output.
        std::cerr << "CImageProcessBatcher::EvalLoopCondition( const Zarn::CValueMap& ): "
                  << caught.what() << std::endl;
        return false;
    }
    if (pValue->GenericType() != Zarn::CValue::vtBool)
    {
        ThrowConditionNotBool();
    }
    return pValue->Bool();
}

const Zarn::CValue* CImageProcessBatcher::FindConditionValue(const std::string& identifier) const
{
    const Zarn::CValue* pParameters = m_mapParameters.Entry(kParameters, false);
    if (pParameters == nullptr || pParameters->Map() == nullptr)
    {
        ThrowConditionKeyMissing(identifier);
    }
    const Zarn::CValue* pValue = pParameters->Map()->Entry(Zarn::CValue_Key(identifier), false);
    if (pValue == nullptr)
    {
        ThrowConditionKeyMissing(identifier);
    }
    return pValue;
}

void CImageProcessBatcher::RunCondition(const Zarn::CValueMap& step)
{
    const Zarn::CValue* pFound = FindConditionValue(PresentString(step, "condition identifier"));
    const Zarn::CValue* pExpected = step.Entry(Zarn::CValue_Key("condition value"), false);
    if (pFound->Equal(*pExpected))
    {
        RunProcess(PresentVector(step, "thenbody"));
    }
    else if (step.HasEntry(Zarn::CValue_Key("elsebody")))
    {
        RunProcess(PresentVector(step, "elsebody"));
    }
}

void CImageProcessBatcher::RunSaveImage(const Zarn::CValueMap& step)
{
    std::unique_ptr<Zarn::CImage> pKept = CloneImage(*m_pCurrentImage);
    RunProcess(PresentVector(step, "save process"));
    std::unique_ptr<Zarn::CImage> pResult = std::move(m_pCurrentImage);
    m_pCurrentImage = std::move(pKept);
    StoreImage(PresentString(step, "map position"), std::move(pResult));
}

void CImageProcessBatcher::RunDeleteImage(const Zarn::CValueMap& step)
{
    const Zarn::CValue_Path path(PresentString(step, "map position"));
    // Checks that an image is there; removing its entry frees it (the entry owns it).
    Zarn::UnwrapPointer<Zarn::CImage>(m_mapParameters.Entry(path, true));
    m_mapParameters.RemoveEntry(path);
}

void CImageProcessBatcher::RunSwapImage(const Zarn::CValueMap& step)
{
    const std::string strPath = PresentString(step, "map position");
    Zarn::CImage& stored = StoredImage(strPath);
    Zarn::CValuePointerBase* pEntry =
        m_mapParameters.Entry(Zarn::CValue_Path(strPath), true)->Pointer();
    std::unique_ptr<Zarn::CImage> pTaken;
    if (pEntry->IsOwned())
    {
        pEntry->Release();
        pTaken.reset(&stored);
    }
    else
    {
        // An image that the entry only lends stays with its lender.
        pTaken = CloneImage(stored);
    }
    std::unique_ptr<Zarn::CImage> pPrevious = std::move(m_pCurrentImage);
    m_pCurrentImage = std::move(pTaken);
    StoreImage(strPath, std::move(pPrevious));
}

void CImageProcessBatcher::RunCopyImage(const Zarn::CValueMap& step)
{
    std::unique_ptr<Zarn::CImage> pCopy =
        CloneImage(StoredImage(PresentString(step, "from position")));
    StoreImage(PresentString(step, "to position"), std::move(pCopy));
}

void CImageProcessBatcher::RunQuenHeaderTools(const Zarn::CValueMap& step)
{
    const SHeaderOperation* pOperation = FindHeaderOperation(PresentString(step, "operation"));
    // One key at the top of the parameter map, not a path.
    const Zarn::CValue_Key key(PresentString(step, "map position"));
    (this->*pOperation->pfnRun)(step, key);
}

void CImageProcessBatcher::GetAttributes(const Zarn::CValueMap& /*step*/,
                                         const Zarn::CValue_Key& key)
{
    m_mapParameters.SetEntry(key, new Zarn::CValueMap(m_pCurrentImage->Attributes()));
}

void CImageProcessBatcher::SetAttributes(const Zarn::CValueMap& /*step*/,
                                         const Zarn::CValue_Key& key)
{
    const Zarn::CValue* pAttributes = m_mapParameters.Entry(key, true);
    if (pAttributes->Map() == nullptr)
    {
        throw Zarn::CExBadType(ZARN_LOCATION, pAttributes);
    }
    Zarn::CTekaHeaderTools::SetAttributes(*m_pCurrentImage, *pAttributes->Map());
}

void CImageProcessBatcher::GetNumberOfLabels(const Zarn::CValueMap& /*step*/,
                                             const Zarn::CValue_Key& key)
{
    std::uint64_t uCount = 0;
    Zarn::CTekaHeaderTools::GetNumberOfLabels(*m_pCurrentImage, uCount);
    m_mapParameters.SetEntry(key, new Zarn::CValueLong(static_cast<long>(uCount)));
}

void CImageProcessBatcher::SetNumberOfLabels(const Zarn::CValueMap& /*step*/,
                                             const Zarn::CValue_Key& key)
{
    const auto nCount = static_cast<std::int32_t>(m_mapParameters.Entry(key, true)->Long());
    Zarn::CTekaHeaderTools::SetNumberOfLabels(*m_pCurrentImage, static_cast<std::uint64_t>(nCount));
}

void CImageProcessBatcher::AddToHistory(const Zarn::CValueMap& step,
                                        const Zarn::CValue_Key& /*key*/)
{
    std::string strEntry = StringOr(step, "process id", "unknown");
    strEntry.append("(").append(m_strParameterHistory).append(")");
    if (HasString(step, "label map position"))
    {
        const Zarn::CValue_Path path(PresentString(step, "label map position"));
        const long lLabels = m_mapParameters.Entry(path, true)->Long();
        strEntry.append("<").append(std::to_string(lLabels)).append(">");
    }
    Zarn::CTekaHeaderTools::AddToHistory(*m_pCurrentImage, Zarn::CValueString(strEntry.c_str()));
}

Zarn::CImage& CImageProcessBatcher::StoredImage(const std::string& path)
{
    Zarn::CImage* pImage =
        Zarn::UnwrapPointer<Zarn::CImage>(m_mapParameters.Entry(Zarn::CValue_Path(path), true));
    if (pImage == nullptr)
    {
        // The current image must never become null, so an empty entry is refused here.
        const std::string strMessage = "no image stored at '" + path + "'";
        throw Zarn::CExBadParam(ZARN_LOCATION, strMessage.c_str());
    }
    return *pImage;
}

void CImageProcessBatcher::StoreImage(const std::string& path, std::unique_ptr<Zarn::CImage> image)
{
    auto pValue = std::make_unique<Zarn::CValueOwnedPointer<Zarn::CImage>>(image.get());
    image.release();
    // Replaces (and so frees) an image stored there before.
    m_mapParameters.SetEntry(Zarn::CValue_Path(path), pValue.release());
}

Zarn::CPluginBase* CImageProcessBatcher::FindFirstPluginIn(const Zarn::CValueVector& process)
{
    for (unsigned int uIndex = 0; uIndex < process.Size(); ++uIndex)
    {
        const Zarn::CValueMap& step = StepAt(process.Entry(Zarn::CValue_Key(uIndex), false));
        const SStepKind& kind = StepKindOf(StepType(step));
        if (kind.bNamesPlugin)
        {
            return NewFirstPlugin(step);
        }
        for (const char* szBody : kind.aszBodies)
        {
            Zarn::CPluginBase* pFound =
                szBody != nullptr ? FindFirstPluginIn(PresentVector(step, szBody)) : nullptr;
            if (pFound != nullptr)
            {
                return pFound;
            }
        }
    }
    return nullptr;
}

Zarn::CPluginBase* CImageProcessBatcher::NewFirstPlugin(const Zarn::CValueMap& step)
{
    const std::string strName = step.EntryString(Zarn::CValue_Key("plugin")).StdString();
    // Standard output, not the logger: this line is part of the interpreter's fixed output.
    std::cout << "\nFIRST PLUGIN: " << strName << "\n" << std::endl;
    OwnedPluginPtr pPlugin(Zarn::GetNewPluginInstance(strName.c_str()));
    if (pPlugin)
    {
        const Zarn::CValueMap initMap(step);
        pPlugin->Init(nullptr, initMap);
    }
    return pPlugin.release();
}
