#include "ImageToolBase.h"

#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace
{

const Zarn::CValue_Key kParameters("parameters");
const Zarn::CValue_Key kInput("input");

// The shortest text that reads back to the same double: 2 stays "2", 0.1 stays "0.1".
std::string NumberText(double dValue)
{
    char acBuffer[64];
    const auto result = std::to_chars(acBuffer, acBuffer + sizeof(acBuffer), dValue);
    return std::string(acBuffer, result.ptr);
}

std::string ValueText(const Zarn::CValue& value)
{
    switch (value.GenericType())
    {
    case Zarn::CValue::vtBool:
        return value.Bool() ? "true" : "false";
    case Zarn::CValue::vtLong:
        return std::to_string(value.Long());
    case Zarn::CValue::vtDouble:
        return NumberText(value.Double());
    case Zarn::CValue::vtString:
        return value.String().StdString();
    default:
        return "?";
    }
}

} // namespace

CImageToolBase::CImageToolBase(const char* name, const char* label)
    : m_strName(name), m_strLabel(label), m_pFocusedDocument(nullptr)
{
}

CImageToolBase::~CImageToolBase() = default;

void CImageToolBase::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::WritePluginSetup(setup, "Tool", "ImageTool", m_strName.c_str());
}

void CImageToolBase::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    UpdateParameters(parameters);
}

bool CImageToolBase::TestParameters(const Zarn::CValueMap& parameters)
{
    const Zarn::CValue* pInput = parameters.Entry(kInput, false);
    if (pInput == nullptr || pInput->Map() == nullptr)
    {
        return false;
    }
    const Zarn::CValueMap* pDocument = FocusedDocument(*pInput->Map());
    const Zarn::CImage* pImage =
        pDocument != nullptr ? Zarn::ImageDocument::Image(*pDocument) : nullptr;
    return pImage != nullptr && Accepts(pImage->Type()) && TestInput(*pInput->Map(), *pImage);
}

void CImageToolBase::UpdateParameters(const Zarn::CValueMap& message)
{
    const Zarn::CValue* pParameters = message.Entry(kParameters, false);
    if (pParameters != nullptr)
    {
        if (pParameters->Map() == nullptr)
        {
            ThrowBadParameter("\"parameters\" must be a map of named values.");
        }
        TakeParameters(*pParameters->Map());
    }
    const Zarn::CValue* pInput = message.Entry(kInput, false);
    if (pInput != nullptr && pInput->Map() != nullptr)
    {
        const Zarn::CValueMap* pDocument = FocusedDocument(*pInput->Map());
        m_pFocusedDocument = pDocument;
        KeepInput(*pInput->Map(),
                  pDocument != nullptr ? Zarn::ImageDocument::Image(*pDocument) : nullptr);
    }
}

void CImageToolBase::Run(Zarn::CValueMap& data)
{
    const Zarn::CValueMap* pDocument = DocumentToRun(data);
    if (pDocument == nullptr)
    {
        ThrowBadParameter("there is no focused document to work on.");
    }
    const Zarn::CImage* pInput = Zarn::ImageDocument::Image(*pDocument);
    if (pInput == nullptr)
    {
        ThrowBadParameter("the focused document holds no image.");
    }
    if (!Accepts(pInput->Type()))
    {
        throw Zarn::CExBadParam(ZARN_LOCATION, RefusalText(pInput->Type()).c_str());
    }
    // Offered on this image does not mean these parameters fit it: without a dialog (a batch
    // step) the run stops here, naming the parameter.
    if (const std::optional<SParameterMisfit> misfit = Misfit(pInput->Type()))
    {
        const Zarn::CValueMap parameters = ParameterMap();
        const Zarn::CValue* pValue =
            parameters.Entry(Zarn::CValue_Key(misfit->m_strParameter.c_str()), false);
        ThrowBadParameter("parameter \"" + misfit->m_strParameter + "\"" +
                          (pValue != nullptr ? " = " + ValueText(*pValue) : std::string()) +
                          " does not fit " + pInput->Type().ToString() +
                          " images: " + misfit->m_strReason + ".");
    }

    std::unique_ptr<Zarn::CImage> pResult(Process(*pInput));
    // The input's header travels on, except a label count that described the input's pixels;
    // what the tool wrote into the result's header wins.
    Zarn::CValueMap own(pResult->Attributes());
    pResult->Attributes() = pInput->Attributes();
    pResult->Attributes().RemoveEntry(Zarn::CValue_Key(Zarn::CTekaHeaderTools::kNumberOfLabels));
    Zarn::CTekaHeaderTools::SetAttributes(*pResult, own);
    Zarn::CTekaHeaderTools::AddToHistory(*pResult, Zarn::CValueString(HistoryEntry()));

    const std::string strLabel = Zarn::ImageDocument::Label(*pDocument) + " - " + m_strLabel;
    std::unique_ptr<Zarn::CValueMap> pNew(Zarn::ImageDocument::Create(pResult.release(), strLabel));
    const Zarn::CValueMap parameters = ParameterMap();
    // A recording replays the run from this step, after the steps that made the input.
    Zarn::ImageDocument::SetProcessStep(*pNew, m_strName, parameters, pDocument);
    auto* pAdded = new Zarn::CValueVector;
    data.SetEntry("output/documents/add", pAdded);
    data.SetEntry("output/parameters", new Zarn::CValueMap(parameters));
    // The receiver owns the document from here on.
    pAdded->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(pNew.release()));
}

bool CImageToolBase::IsFilterType(Zarn::IImage::EnElementType type)
{
    return IsOneOf(type, {Zarn::IImage::etUInt8, Zarn::IImage::etUInt16, Zarn::IImage::etInt16,
                          Zarn::IImage::etFloat32, Zarn::IImage::etFloat64});
}

bool CImageToolBase::IsOneOf(Zarn::IImage::EnElementType type,
                             std::initializer_list<Zarn::IImage::EnElementType> types)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

std::string CImageToolBase::HistoryEntry() const
{
    std::string strEntry = m_strName;
    for (const auto& [strKey, pValue] : Parameters())
    {
        strEntry += " " + strKey + "=" + ValueText(*pValue);
    }
    return strEntry;
}

Zarn::CValueMap CImageToolBase::ParameterMap() const
{
    Zarn::CValueMap parameters;
    for (auto& [strKey, pValue] : Parameters())
    {
        parameters.SetEntry(Zarn::CValue_Key(strKey.c_str()), pValue.release());
    }
    return parameters;
}

std::optional<CImageToolBase::SParameterMisfit>
CImageToolBase::CheckParameters(const Zarn::CValueMap& parameters, const Zarn::IImage::CType& type)
{
    try
    {
        TakeParameters(parameters);
    }
    catch (const Zarn::CException& refusal)
    {
        return SParameterMisfit{std::string(), refusal.what()};
    }
    return Misfit(type);
}

std::optional<CImageToolBase::SParameterMisfit>
CImageToolBase::Misfit(const Zarn::IImage::CType& /*type*/) const
{
    return std::nullopt;
}

std::string CImageToolBase::RefusalText(const Zarn::IImage::CType& type) const
{
    return m_strName + " does not work on " + type.ToString() + " images.";
}

bool CImageToolBase::TestInput(const Zarn::CValueMap& /*input*/, const Zarn::CImage& /*image*/)
{
    return true;
}

void CImageToolBase::KeepInput(const Zarn::CValueMap& /*input*/, const Zarn::CImage* /*image*/) {}

double CImageToolBase::ReadDouble(const Zarn::CValueMap& parameters, const char* key,
                                  double current) const
{
    const Zarn::CValue* pValue = parameters.Entry(Zarn::CValue_Key(key), false);
    if (pValue == nullptr)
    {
        return current;
    }
    if (pValue->GenericType() != Zarn::CValue::vtDouble &&
        pValue->GenericType() != Zarn::CValue::vtLong)
    {
        ThrowBadParameter(std::string("parameter \"") + key + "\" must be a number.");
    }
    const double dValue = pValue->Double();
    if (!std::isfinite(dValue))
    {
        ThrowBadParameter(std::string("parameter \"") + key + "\" must be a finite number.");
    }
    return dValue;
}

long CImageToolBase::ReadLong(const Zarn::CValueMap& parameters, const char* key,
                              long current) const
{
    const Zarn::CValue* pValue = parameters.Entry(Zarn::CValue_Key(key), false);
    if (pValue == nullptr)
    {
        return current;
    }
    if (pValue->GenericType() != Zarn::CValue::vtLong)
    {
        ThrowBadParameter(std::string("parameter \"") + key + "\" must be an integer.");
    }
    return pValue->Long();
}

std::string CImageToolBase::ReadChoice(const Zarn::CValueMap& parameters, const char* key,
                                       const std::string& current,
                                       std::initializer_list<const char*> choices) const
{
    const Zarn::CValue* pValue = parameters.Entry(Zarn::CValue_Key(key), false);
    if (pValue == nullptr)
    {
        return current;
    }
    std::string strChoices;
    for (const char* szChoice : choices)
    {
        if (pValue->GenericType() == Zarn::CValue::vtString &&
            pValue->String().StdString() == szChoice)
        {
            return szChoice;
        }
        strChoices += strChoices.empty() ? "" : ", ";
        strChoices += szChoice;
    }
    ThrowBadParameter(std::string("parameter \"") + key + "\" must be one of " + strChoices + ".");
}

void CImageToolBase::ThrowBadParameter(const std::string& text) const
{
    const std::string strMessage = m_strName + ": " + text;
    throw Zarn::CExBadParam(ZARN_LOCATION, strMessage.c_str());
}

Zarn::CImage*
CImageToolBase::ForEachPlane(const Zarn::CImage& input, const Zarn::IImage::CType& type,
                             const std::function<void(const cv::Mat&, cv::Mat&)>& operation)
{
    auto pResult = std::make_unique<Zarn::CImage>(input.Size(), type);
    for (std::uint32_t z = 0; z < input.Size().Z(); ++z)
    {
        const cv::Mat source = Zarn::PlaneView(input, z);
        cv::Mat computed;
        operation(source, computed);
        cv::Mat target = Zarn::PlaneView(*pResult, z);
        // copyTo writes into the image's own pixels only when size and type match.
        if (computed.type() != target.type() || computed.size() != target.size())
        {
            throw Zarn::CException("CImageToolBase::ForEachPlane",
                                   "The operation's result does not fit the result image.",
                                   nullptr);
        }
        computed.copyTo(target);
    }
    return pResult.release();
}

const Zarn::CValueMap* CImageToolBase::FocusedDocument(const Zarn::CValueMap& input)
{
    const Zarn::CValue* pFocused = input.Entry("documents/focused", false);
    if (pFocused == nullptr || pFocused->GenericType() != Zarn::CValue::vtPointer ||
        !Zarn::AreTypesEqual(pFocused->ElementType(), typeid(Zarn::CValueMap)))
    {
        return nullptr;
    }
    return Zarn::UnwrapPointer<Zarn::CValueMap>(pFocused);
}

const Zarn::CValueMap* CImageToolBase::DocumentToRun(const Zarn::CValueMap& data) const
{
    const Zarn::CValue* pInput = data.Entry(kInput, false);
    if (pInput != nullptr && pInput->Map() != nullptr)
    {
        if (const Zarn::CValueMap* pDocument = FocusedDocument(*pInput->Map()))
        {
            return pDocument;
        }
    }
    return m_pFocusedDocument;
}
