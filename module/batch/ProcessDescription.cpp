#include "batch/ProcessDescription.h"

#include "batch/ImageProcessBatcher.h"

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

void ValidateStep(const Zarn::CValueMap& step)
{
    const SStepKind& kind = StepKindOf(StepType(step));
    kind.pfnCheck(step);
    for (const char* szBody : kind.aszBodies)
    {
        if (szBody != nullptr)
        {
            Validate(PresentVector(step, szBody));
        }
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

std::span<const SStepKind> StepKinds()
{
    // A friend of the batcher, so that its step handlers can stand in the table.
    using B = CImageProcessBatcher;
    static const SStepKind s_aKinds[] = {
        {"plugin", CheckPluginStep, &B::RunPlugin, true, true, {}},
        {"config plugin", CheckConfigPluginStep, &B::RunConfigPlugin, true, false, {}},
        {"loop", CheckLoopStep, &B::RunLoop, false, false, {"loopbody", nullptr}},
        {"condition", CheckConditionStep, &B::RunCondition, false, false, {"thenbody", "elsebody"}},
        {"save image",
         CheckSaveImageStep,
         &B::RunSaveImage,
         false,
         false,
         {"save process", nullptr}},
        {"delete image", CheckDeleteImageStep, &B::RunDeleteImage, false, false, {}},
        {"swap image", CheckSwapImageStep, &B::RunSwapImage, false, false, {}},
        {"copy image", CheckCopyImageStep, &B::RunCopyImage, false, false, {}},
        {"quen header tools", CheckQuenHeaderToolsStep, &B::RunQuenHeaderTools, false, false, {}},
    };
    return s_aKinds;
}

const SStepKind& StepKindOf(const std::string& type)
{
    for (const SStepKind& kind : StepKinds())
    {
        if (type == kind.szType)
        {
            return kind;
        }
    }
    ThrowUnknownElement(type);
}

const SHeaderOperation* FindHeaderOperation(const std::string& name)
{
    using B = CImageProcessBatcher;
    static const SHeaderOperation s_aOperations[] = {
        {"get attributes", true, &B::GetAttributes},
        {"set attributes", true, &B::SetAttributes},
        {"get number of labels", true, &B::GetNumberOfLabels},
        {"set number of labels", true, &B::SetNumberOfLabels},
        {"add to history", false, &B::AddToHistory},
    };
    for (const SHeaderOperation& operation : s_aOperations)
    {
        if (name == operation.szName)
        {
            return &operation;
        }
    }
    return nullptr;
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
    const SHeaderOperation* pOperation = FindHeaderOperation(strOperation);
    if (pOperation == nullptr)
    {
        Reject(kRunQuenHeaderTools, "unknown operation (\"" + strOperation + "\")");
    }
    if (pOperation->bNeedsMapPosition && !Has(step, "map position"))
    {
        Reject(kRunQuenHeaderTools,
               "invalid quen header tools section (operation requires 'map position')");
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
