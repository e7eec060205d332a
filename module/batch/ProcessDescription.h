#pragma once

#include <Zarn/Value/ValueContainer.h>

#include <array>
#include <memory>
#include <span>
#include <string>

class CImageProcessBatcher;

// Process descriptions: the scripts that CImageProcessBatcher runs. A description is a
// Zarn::CValueVector of steps, each a Zarn::CValueMap with a "type"; docs/process-format.md has
// the vocabulary. Here live the readers for the two kinds of key ("typed": present and of the
// named kind; "present": only present, read as empty when of another kind), the structural
// checks with their exact rejection texts, and loading from JSON.
//
// Every rejection is a Zarn::CException whose function is the interpreter operation that rejects
// ("CImageProcessBatcher::RunLoop( const Zarn::CValueMap& )") and whose what is the message.
// Nothing here owns anything beyond what it returns; the readers lend parts of the step they are
// given. Free of state, so any thread may call it; no messages.
namespace ProcessDescription
{

// Typed keys.
bool HasString(const Zarn::CValueMap& step, const char* key);
bool HasVector(const Zarn::CValueMap& step, const char* key);
bool HasMap(const Zarn::CValueMap& step, const char* key);
bool HasBool(const Zarn::CValueMap& step, const char* key);

// Present keys read with the expected kind: a missing key or one of another kind reads as empty
// (an empty text, an empty vector, false). The vector is lent by the step, or a shared empty one.
std::string PresentString(const Zarn::CValueMap& step, const char* key);
const Zarn::CValueVector& PresentVector(const Zarn::CValueMap& step, const char* key);
bool PresentBool(const Zarn::CValueMap& step, const char* key);

// The text of a typed string key, or `defaultValue` when it is missing or not a string.
std::string StringOr(const Zarn::CValueMap& step, const char* key, const char* defaultValue);

// The step at an element of a process, lent: a map with "type". Anything else throws
// "invalid process structure (non-map element inside process struct)".
const Zarn::CValueMap& StepAt(const Zarn::CValue* element);

// The step's "type"; a "type" that is not a text reads as empty (an unknown element).
std::string StepType(const Zarn::CValueMap& step);

// One kind of step and all that the walks over a description (running, validating, searching
// for the first plug-in) need to know of it. The kinds are listed once, in StepKinds().
struct SStepKind
{
    const char* szType;                            // the step's "type"
    void (*pfnCheck)(const Zarn::CValueMap& step); // the structural check, as run makes it
    void (CImageProcessBatcher::*pfnRun)(const Zarn::CValueMap& work); // runs a working copy
    bool bNamesPlugin;      // its "plugin" names the plug-in that a first-plug-in search wants
    bool bDefaultsThreaded; // a working copy without "threaded" gets "threaded" = false
    std::array<const char*, 2> aszBodies; // nested processes, in search order; null when unused
};

// The step kinds in the order in which the interpreter tests a step's "type".
std::span<const SStepKind> StepKinds();
// The kind of the type; an unknown one throws "unknown process element (\"<type>\")".
const SStepKind& StepKindOf(const std::string& type);

// One operation of a "quen header tools" step. The handler gets the step and its "map position"
// as one key at the top of the parameter map (empty when the operation needs none).
struct SHeaderOperation
{
    const char* szName;
    bool bNeedsMapPosition;
    void (CImageProcessBatcher::*pfnRun)(const Zarn::CValueMap& step, const Zarn::CValue_Key& key);
};

// The header operations; null for an unknown name.
const SHeaderOperation* FindHeaderOperation(const std::string& name);

// The structural checks of each step kind, as the interpreter makes them before it runs a step.
// They look only at the step itself, never at the parameter map.
void CheckPluginStep(const Zarn::CValueMap& step);
void CheckConfigPluginStep(const Zarn::CValueMap& step);
void CheckLoopStep(const Zarn::CValueMap& step);
void CheckConditionStep(const Zarn::CValueMap& step);
void CheckSaveImageStep(const Zarn::CValueMap& step);
void CheckDeleteImageStep(const Zarn::CValueMap& step);
void CheckSwapImageStep(const Zarn::CValueMap& step);
void CheckCopyImageStep(const Zarn::CValueMap& step);
void CheckQuenHeaderToolsStep(const Zarn::CValueMap& step);
[[noreturn]] void ThrowUnknownElement(const std::string& type);

// The rejections that only a run can tell: a loop's condition value that is not a bool, and a
// condition identifier missing from the "parameters" map.
[[noreturn]] void ThrowConditionNotBool();
[[noreturn]] void ThrowConditionKeyMissing(const std::string& identifier);

// Checks every step of the process and of its bodies, to any depth, with the checks above, and
// throws the first rejection. What only a run can tell (a missing condition value, a condition
// value of the wrong kind, a missing stored image) is not checked.
void Validate(const Zarn::CValueVector& process);

// A process read from JSON text or a JSON file, owned by the caller. The JSON reader's errors
// pass unchanged; a document whose top level is not an array throws Zarn::CExBadParam. The steps
// are not checked: call Validate for that.
std::unique_ptr<Zarn::CValueVector> LoadString(const std::string& text,
                                               const std::string& sourceName = "<string>");
std::unique_ptr<Zarn::CValueVector> LoadFile(const std::string& path);

} // namespace ProcessDescription
