#include "batch/ProcessDescription.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValueScalar.h>

namespace ProcessDescription
{

namespace
{

const char* const kRunProcess = "CImageProcessBatcher::RunProcess( const Zarn::CValueVector& )";
const char* const kRunStep = "CImageProcessBatcher::RunStep( const Zarn::CValueMap& )";
const char* const kRunPlugin = "CImageProcessBatcher::RunPlugin( const Zarn::CValueMap& )";
const char* const kRunConfigPlugin =
    "CImageProcessBatcher::RunConfigPlugin( const Zarn::CValueMap& )";
const char* const kRunLoop = "CImageProcessBatcher::RunLoop( const Zarn::CValueMap& )";
const char* const kEvalLoopCondition =
    "CImageProcessBatcher::EvalLoopCondition( const Zarn::CValueMap& )";
const char* const kFindConditionValue = "CImageProcessBatcher::FindConditionValue( const string& )";
const char* const kRunCondition = "CImageProcessBatcher::RunCondition( const Zarn::CValueMap& )";
const char* const kRunSaveImage = "CImageProcessBatcher::RunSaveImage( const Zarn::CValueMap& )";
const char* const kRunDeleteImage =
    "CImageProcessBatcher::RunDeleteImage( const Zarn::CValueMap& )";
const char* const kRunSwapImage = "CImageProcessBatcher::RunSwapImage( const Zarn::CValueMap& )";
const char* const kRunCopyImage = "CImageProcessBatcher::RunCopyImage( const Zarn::CValueMap& )";
const char* const kRunQuenHeaderTools =
    "CImageProcessBatcher::RunQuenHeaderTools( const Zarn::CValueMap& )";

[[noreturn]] void Reject(const char* szOperation, const std::string& strMessage)
{
    throw Zarn::CException(szOperation, strMessage.c_str(), nullptr);
}

bool HasKind(const Zarn::CValueMap& step, const char* key, Zarn::CValue::EnValType kind)
{
    return step.HasEntry(Zarn::CValue_Key(key), kind);
}

bool Has(const Zarn::CValueMap& step, const char* key)
{
    return step.HasEntry(Zarn::CValue_Key(key));
}

bool NeedsMapPosition(const std::string& strOperation)
{
    return strOperation == "get attributes" || strOperation == "set attributes" ||
           strOperation == "get number of labels" || strOperation == "set number of labels";
}

void ValidateStep(const Zarn::CValueMap& step)
{
    const std::string strType = StepType(step);
    if (strType == "plugin")
    {
        CheckPluginStep(step);
    }
    else if (strType == "config plugin")
    {
        CheckConfigPluginStep(step);
    }
    else if (strType == "loop")
    {
        CheckLoopStep(step);
        Validate(PresentVector(step, "loopbody"));
    }
    else if (strType == "condition")
    {
        CheckConditionStep(step);
        Validate(PresentVector(step, "thenbody"));
        Validate(PresentVector(step, "elsebody"));
    }
    else if (strType == "save image")
    {
        CheckSaveImageStep(step);
        Validate(PresentVector(step, "save process"));
    }
    else if (strType == "delete image")
    {
        CheckDeleteImageStep(step);
    }
    else if (strType == "swap image")
    {
        CheckSwapImageStep(step);
    }
    else if (strType == "copy image")
    {
        CheckCopyImageStep(step);
    }
    else if (strType == "quen header tools")
    {
        CheckQuenHeaderToolsStep(step);
    }
    else
    {
        ThrowUnknownElement(strType);
    }
}

} // namespace

bool HasString(const Zarn::CValueMap& step, const char* key)
{
    return HasKind(step, key, Zarn::CValue::vtString);
}

bool HasVector(const Zarn::CValueMap& step, const char* key)
{
    return HasKind(step, key, Zarn::CValue::vtVector);
}

bool HasMap(const Zarn::CValueMap& step, const char* key)
{
    return HasKind(step, key, Zarn::CValue::vtMap);
}

bool HasBool(const Zarn::CValueMap& step, const char* key)
{
    return HasKind(step, key, Zarn::CValue::vtBool);
}

std::string PresentString(const Zarn::CValueMap& step, const char* key)
{
    return StringOr(step, key, "");
}

const Zarn::CValueVector& PresentVector(const Zarn::CValueMap& step, const char* key)
{
    static const Zarn::CValueVector s_empty;
    const Zarn::CValue* pValue = step.Entry(Zarn::CValue_Key(key), false);
    if (pValue == nullptr || pValue->Vector() == nullptr)
    {
        return s_empty;
    }
    return *pValue->Vector();
}

bool PresentBool(const Zarn::CValueMap& step, const char* key)
{
    const Zarn::CValue* pValue = step.Entry(Zarn::CValue_Key(key), false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtBool && pValue->Bool();
}

std::string StringOr(const Zarn::CValueMap& step, const char* key, const char* defaultValue)
{
    const Zarn::CValue* pValue = step.Entry(Zarn::CValue_Key(key), false);
    if (pValue == nullptr || pValue->GenericType() != Zarn::CValue::vtString)
    {
        return defaultValue;
    }
    return pValue->String().StdString();
}

const Zarn::CValueMap& StepAt(const Zarn::CValue* element)
{
    if (element == nullptr || element->Map() == nullptr || !element->Map()->HasEntry("type"))
    {
        Reject(kRunProcess, "invalid process structure (non-map element inside process struct)");
    }
    return *element->Map();
}

std::string StepType(const Zarn::CValueMap& step)
{
    return PresentString(step, "type");
}

void CheckPluginStep(const Zarn::CValueMap& step)
{
    if (!HasString(step, "plugin"))
    {
        Reject(kRunPlugin, "invalid plugin section (plugin spec required)");
    }
}

void CheckConfigPluginStep(const Zarn::CValueMap& step)
{
    if (!HasString(step, "plugin"))
    {
        Reject(kRunConfigPlugin, "invalid config plugin section (plugin spec required)");
    }
}

void CheckLoopStep(const Zarn::CValueMap& step)
{
    if (!Has(step, "subtype") || !Has(step, "loopbody") || !Has(step, "condition identifier"))
    {
        Reject(kRunLoop,
               "invalid loop section (subtype, loopbody, and condition identifier spec required)");
    }
    const std::string strSubtype = PresentString(step, "subtype");
    if (strSubtype != "while-do" && strSubtype != "repeat-until")
    {
        Reject(kRunLoop, "invalid loop section (subtype \"" + strSubtype + "\" unknown)");
    }
}

void CheckConditionStep(const Zarn::CValueMap& step)
{
    if (!Has(step, "subtype") || !Has(step, "thenbody") || !Has(step, "condition identifier") ||
        !Has(step, "condition value"))
    {
        Reject(kRunCondition, "invalid condition section (subtype, thenbody, condition value, and "
                              "condition identifier spec required)");
    }
    const std::string strSubtype = PresentString(step, "subtype");
    if (strSubtype != "equal")
    {
        Reject(kRunCondition,
               "invalid condition section (unknown subtype - \"" + strSubtype + "\")");
    }
}

void CheckSaveImageStep(const Zarn::CValueMap& step)
{
    if (!HasString(step, "map position") || !HasVector(step, "save process"))
    {
        Reject(kRunSaveImage,
               "invalid save image section ('map position' and 'save process' required)");
    }
}

void CheckDeleteImageStep(const Zarn::CValueMap& step)
{
    if (!HasString(step, "map position"))
    {
        // "save image section" is the text other tools match on; it is kept as it is.
        Reject(kRunDeleteImage, "invalid save image section ('map position' required)");
    }
}

void CheckSwapImageStep(const Zarn::CValueMap& step)
{
    if (!HasString(step, "map position"))
    {
        Reject(kRunSwapImage, "invalid swap image section ('map position' required)");
    }
}

void CheckCopyImageStep(const Zarn::CValueMap& step)
{
    if (!HasString(step, "from position") || !HasString(step, "to position"))
    {
        Reject(kRunCopyImage,
               "invalid copy image section ('from position' and 'to position' required)");
    }
}

void CheckQuenHeaderToolsStep(const Zarn::CValueMap& step)
{
    if (!HasString(step, "operation"))
    {
        Reject(kRunQuenHeaderTools, "invalid quen header tools section ('operation' required)");
    }
    const std::string strOperation = PresentString(step, "operation");
    if (NeedsMapPosition(strOperation))
    {
        if (!Has(step, "map position"))
        {
            Reject(kRunQuenHeaderTools,
                   "invalid quen header tools section (operation requires 'map position')");
        }
    }
    else if (strOperation != "add to history")
    {
        Reject(kRunQuenHeaderTools, "unknown operation (\"" + strOperation + "\")");
    }
}

void ThrowUnknownElement(const std::string& type)
{
    Reject(kRunStep, "unknown process element (\"" + type + "\")");
}

void ThrowConditionNotBool()
{
    Reject(kEvalLoopCondition, "invalid condition value (value must be bool)");
}

void ThrowConditionKeyMissing(const std::string& identifier)
{
    Reject(kFindConditionValue,
           "condition key \"" + identifier + "\" not present in parameter map");
}

void Validate(const Zarn::CValueVector& process)
{
    for (unsigned int uIndex = 0; uIndex < process.Size(); ++uIndex)
    {
        ValidateStep(StepAt(process.Entry(Zarn::CValue_Key(uIndex), false)));
    }
}

std::unique_ptr<Zarn::CValueVector> LoadString(const std::string& text,
                                               const std::string& sourceName)
{
    std::unique_ptr<Zarn::CValue> pTree(Zarn::CJsonValueFile::ReadString(text, sourceName));
    if (pTree->Vector() == nullptr)
    {
        const std::string strMessage =
            sourceName + ": a process description is a JSON array of steps";
        throw Zarn::CExBadParam(ZARN_LOCATION, strMessage.c_str());
    }
    return std::unique_ptr<Zarn::CValueVector>(static_cast<Zarn::CValueVector*>(pTree.release()));
}

std::unique_ptr<Zarn::CValueVector> LoadFile(const std::string& path)
{
    std::unique_ptr<Zarn::CValue> pTree(Zarn::CJsonValueFile::ReadFile(path));
    if (pTree->Vector() == nullptr)
    {
        const std::string strMessage = path + ": a process description is a JSON array of steps";
        throw Zarn::CExBadParam(ZARN_LOCATION, strMessage.c_str());
    }
    return std::unique_ptr<Zarn::CValueVector>(static_cast<Zarn::CValueVector*>(pTree.release()));
}

} // namespace ProcessDescription
