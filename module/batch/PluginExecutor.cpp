#include "batch/PluginExecutor.h"

#include "batch/OwnedPlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/Image.h>
#include <Zarn/Image/ImageExtraction.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

namespace PluginExecutor
{

namespace
{

// Makes `target` hold what `source` holds. Entries the plug-in left as they were (Equal) stay the
// caller's own values, so that a value owning its object keeps owning it; the others move over
// from the work map as they are, ownership included. Maps are merged level by level for the same
// reason.
void TakeOver(Zarn::CValueMap& target, Zarn::CValueMap& source)
{
    for (const Zarn::CValue_Key& key : target.ChildKeys())
    {
        if (!source.HasEntry(key))
        {
            target.RemoveEntry(key);
        }
    }
    for (const Zarn::CValue_Key& key : source.ChildKeys())
    {
        Zarn::CValue* pOld = target.Entry(key, false);
        Zarn::CValue* pNew = source.Entry(key, false);
        if (pOld != nullptr && pOld->Equal(*pNew))
        {
            continue;
        }
        if (pOld != nullptr && pOld->Map() != nullptr && pNew->Map() != nullptr)
        {
            TakeOver(*pOld->Map(), *pNew->Map());
            continue;
        }
        target.SetEntry(key, source.Detach(key));
    }
}

bool IsDocumentPointer(const Zarn::CValue* value)
{
    return value != nullptr && value->GenericType() == Zarn::CValue::vtPointer &&
           Zarn::AreTypesEqual(value->ElementType(), typeid(Zarn::CValueMap));
}

// The documents a tool listed under "documents/add" of its output. They come as new documents
// come to any receiver: the receiver owns each map that its pointer value only lends, and
// deletes it when done (here: when this object dies, also on a failure path).
class CAddedDocuments
{
public:
    CAddedDocuments(const Zarn::CValueMap& output, const Zarn::CValueMap* ownDocument)
        : m_pAdded(nullptr)
    {
        const Zarn::CValue* pDocuments = output.Entry(Zarn::CValue_Key("documents"), false);
        if (pDocuments == nullptr || pDocuments->Map() == nullptr)
        {
            return;
        }
        const Zarn::CValue* pAdded = pDocuments->Map()->Entry(Zarn::CValue_Key("add"), false);
        if (pAdded == nullptr || pAdded->Vector() == nullptr)
        {
            return;
        }
        m_pAdded = pAdded->Vector();
        for (unsigned int uIndex = 0; uIndex < m_pAdded->Size(); ++uIndex)
        {
            const Zarn::CValue* pEntry = m_pAdded->Entry(Zarn::CValue_Key(uIndex), false);
            if (!IsDocumentPointer(pEntry) || pEntry->Pointer()->IsOwned())
            {
                continue;
            }
            auto* pDocument =
                static_cast<Zarn::CValueMap*>(const_cast<void*>(pEntry->Pointer()->Void()));
            // A document listed twice is still deleted once.
            if (pDocument != nullptr && pDocument != ownDocument && !Owns(pDocument))
            {
                m_lstOwned.emplace_back(pDocument);
            }
        }
    }
    CAddedDocuments(const CAddedDocuments&) = delete;
    CAddedDocuments& operator=(const CAddedDocuments&) = delete;

    ~CAddedDocuments() = default;

    // The first document; null when there is none. A first entry that is not a document
    // pointer throws the unwrapping's type mismatch.
    Zarn::CValueMap* First() const
    {
        if (m_pAdded == nullptr || m_pAdded->Size() == 0)
        {
            return nullptr;
        }
        // The pointer value lends the document: the constness of the output does not reach it.
        return Zarn::UnwrapPointer<Zarn::CValueMap>(
            const_cast<Zarn::CValue*>(m_pAdded->Entry(Zarn::CValue_Key(0u), false)));
    }

private:
    bool Owns(const Zarn::CValueMap* document) const
    {
        return std::any_of(m_lstOwned.begin(), m_lstOwned.end(),
                           [document](const auto& pOwned) { return pOwned.get() == document; });
    }

    const Zarn::CValueVector* m_pAdded;
    std::vector<std::unique_ptr<Zarn::CValueMap>> m_lstOwned;
};

// The image of a document's "content", made the caller's: an owned image is released from the
// document, the caller's own image comes back as it is, and an image the document only lends to
// somebody else is copied. Null when the content holds no image.
Zarn::CImage* TakeContent(Zarn::CValueMap& document, Zarn::CImage* callerImage)
{
    Zarn::CValue* pContent = document.Entry(Zarn::CValue_Key("content"), false);
    Zarn::CImage* pImage = Zarn::UnwrapPointer<Zarn::CImage>(pContent);
    if (pImage == nullptr)
    {
        return nullptr;
    }
    if (pContent->Pointer()->IsOwned())
    {
        pContent->Pointer()->Release();
        return pImage;
    }
    if (pImage == callerImage)
    {
        return pImage;
    }
    return Zarn::CImageExtraction::Clone(*pImage);
}

} // namespace

void RunPlugin(const std::string& name, Zarn::CValueMap& parameters)
{
    OwnedPluginPtr pPlugin(Zarn::GetNewPluginInstance(name.c_str()));
    if (!pPlugin)
    {
        // The loader answers an unknown name with null; a run must not go on without a plug-in.
        const std::string strMessage = "Plugin '" + name + "' is not known to the plugin loader.";
        throw Zarn::CException("PluginExecutor::RunPlugin", strMessage.c_str(), nullptr);
    }
    auto pInitMap = std::make_unique<Zarn::CValueMap>(parameters);
    pPlugin->Init(nullptr, *pInitMap);
    auto pWorkMap = std::make_unique<Zarn::CValueMap>(parameters);
    if (!pPlugin->TestParameters(*pWorkMap))
    {
        const std::string strMessage =
            "Plugin '" + name +
            "' did not accept parameter set (TestParameters returned an error).";
        throw Zarn::CException("PluginExecutor::RunPlugin", strMessage.c_str(), nullptr);
    }
    try
    {
        pPlugin->UpdateParameters(*pWorkMap);
    }
    catch (...)
    {
        throw Zarn::CException(
            "PluginExecutor::RunPlugin",
            "Plugin did not accept parameter set (UpdateParameters returned an error).", nullptr);
    }
    // The caller's values win over what the plug-in put under the same keys; its other keys stay.
    for (auto it = parameters.begin(); it != parameters.end(); ++it)
    {
        pWorkMap->SetEntry(it.Key(), it.Value()->Clone(Zarn::CValue::tfShare));
    }
    pPlugin->Run(*pWorkMap);
    TakeOver(parameters, *pWorkMap);
    pWorkMap.reset();
    pInitMap.reset();
    pPlugin.reset();
}

Zarn::CImage* RunImageToolPlugin(const std::string& name, Zarn::CImage* image,
                                 const Zarn::CValueMap& parameters, Zarn::CValueMap& output,
                                 const std::string& label)
{
    Zarn::CValueMap mapDocument;
    mapDocument.SetEntry(Zarn::CValue_Key("content"), new Zarn::CValuePointer<Zarn::CImage>(image));
    mapDocument.SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString(label.c_str()));
    Zarn::CValueMap mapFocus;
    mapFocus.SetEntry(Zarn::CValue_Key("focused"),
                      new Zarn::CValuePointer<Zarn::CValueMap>(&mapDocument));
    Zarn::CValueMap mapDocuments;
    mapDocuments.SetEntry(Zarn::CValue_Key("documents"), new Zarn::CValueMap(mapFocus));
    Zarn::CValueMap mapParameters(parameters);
    mapParameters.SetEntry(Zarn::CValue_Key("input"), new Zarn::CValueMap(mapDocuments));

    // Standard output, not the logger: these lines are part of the executor's fixed output.
    std::cout << "EXECUTETEKAPLUGIN: calling RunPlugin(...)" << std::endl;
    RunPlugin(name, mapParameters);
    std::cout << "EXECUTETEKAPLUGIN: RunPlugin(...) finished" << std::endl;

    Zarn::CValue* pOutput = mapParameters.Entry(Zarn::CValue_Key("output"), false);
    if (pOutput != nullptr && pOutput->Map() != nullptr)
    {
        output.SetEntry(Zarn::CValue_Key("output"), new Zarn::CValueMap(*pOutput->Map()));
        const CAddedDocuments documents(*pOutput->Map(), &mapDocument);
        Zarn::CValueMap* pFirst = documents.First();
        if (pFirst != nullptr && pFirst->HasEntry(Zarn::CValue_Key("content")))
        {
            if (Zarn::CImage* pResult = TakeContent(*pFirst, image))
            {
                return pResult;
            }
        }
    }
    throw Zarn::CException("PluginExecutor::RunImageToolPlugin",
                           "No output map from Plugin available.", nullptr);
}

} // namespace PluginExecutor
