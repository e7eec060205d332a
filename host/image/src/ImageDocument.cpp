#include <Zarn/Image/ImageDocument.h>

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <filesystem>
#include <memory>

namespace Zarn::ImageDocument
{

CValueMap* Create(CImage* image, const std::string& label, const std::string& path)
{
    auto pDocument = std::make_unique<CValueMap>();
    pDocument->SetEntry(CValue_Key("content"), new CValueOwnedPointer<CImage>(image));
    pDocument->SetEntry(CValue_Key("label"), new CValueString(label));
    pDocument->SetEntry(CValue_Key("type"), new CValueString(kType));
    if (!path.empty())
    {
        pDocument->SetEntry(CValue_Key("filename"), new CValueString(path));
        pDocument->SetEntry("is_saved/image", new CValueBool(true));
    }
    return pDocument.release();
}

CValueMap* Read(const std::string& path)
{
    std::unique_ptr<CImage> pImage(CImageFile::Read(path));
    const std::filesystem::path absolute = std::filesystem::absolute(path).lexically_normal();
    return Create(pImage.release(), absolute.filename().string(), absolute.string());
}

void Write(const CValueMap& document, const std::string& path)
{
    const CImage* pImage = Image(document);
    if (pImage == nullptr)
    {
        throw CExBadParam(ZARN_LOCATION,
                          ("document '" + Label(document) + "' holds no image").c_str());
    }
    CImageFile::Write(path, *pImage);
}

CImage* Image(CValueMap& document)
{
    CValue* pContent = document.Entry(CValue_Key("content"), false);
    if (pContent == nullptr || pContent->GenericType() != CValue::vtPointer ||
        !AreTypesEqual(pContent->ElementType(), typeid(CImage)))
    {
        return nullptr;
    }
    return UnwrapPointer<CImage>(pContent);
}

const CImage* Image(const CValueMap& document)
{
    return Image(const_cast<CValueMap&>(document));
}

std::string FileName(const CValueMap& document)
{
    return document.EntryString(CValue_Key("filename"), CString()).StdString();
}

std::string Label(const CValueMap& document)
{
    return document.EntryString(CValue_Key("label"), CString("Unnamed")).StdString();
}

bool IsSaved(const CValueMap& document)
{
    const CValue* pSaved = document.Entry("is_saved/image", false);
    return pSaved != nullptr && pSaved->GenericType() == CValue::vtBool && pSaved->Bool();
}

void SetProcessStep(CValueMap& document, const std::string& plugin, const CValueMap& parameters,
                    const CValueMap* source)
{
    // The source is read before anything is stored, so it may even be the document itself.
    auto pChain =
        std::make_unique<CValueVector>(source != nullptr ? ProcessChain(*source) : CValueVector());
    std::string strOrigin;
    if (source != nullptr)
    {
        strOrigin = source->HasEntry(CValue_Key("process chain")) ? ProcessOrigin(*source)
                                                                  : FileName(*source);
    }
    auto pStep = std::make_unique<CValueMap>();
    pStep->SetEntry(CValue_Key("type"), new CValueString("plugin"));
    pStep->SetEntry(CValue_Key("plugin"), new CValueString(plugin));
    pStep->SetEntry(CValue_Key("parameters"), parameters.Clone(CValue::tfShare));
    pChain->PushBack(pStep->Clone(CValue::tfShare));
    document.SetEntry(CValue_Key("process step"), pStep.release());
    document.SetEntry(CValue_Key("process chain"), pChain.release());
    if (strOrigin.empty())
    {
        document.RemoveEntry(CValue_Key("process origin"));
    }
    else
    {
        document.SetEntry(CValue_Key("process origin"), new CValueString(strOrigin));
    }
}

const CValueMap* ProcessStep(const CValueMap& document)
{
    const CValue* pStep = document.Entry(CValue_Key("process step"), false);
    return pStep != nullptr && pStep->GenericType() == CValue::vtMap ? pStep->Map() : nullptr;
}

CValueVector ProcessChain(const CValueMap& document)
{
    const CValue* pChain = document.Entry(CValue_Key("process chain"), false);
    if (pChain != nullptr && pChain->GenericType() == CValue::vtVector)
    {
        return CValueVector(*pChain->Vector());
    }
    CValueVector chain;
    if (const CValueMap* pStep = ProcessStep(document))
    {
        chain.PushBack(pStep->Clone(CValue::tfShare));
    }
    return chain;
}

std::string ProcessOrigin(const CValueMap& document)
{
    const CValue* pOrigin = document.Entry(CValue_Key("process origin"), false);
    return pOrigin != nullptr && pOrigin->GenericType() == CValue::vtString
               ? pOrigin->String().StdString()
               : std::string();
}

} // namespace Zarn::ImageDocument
