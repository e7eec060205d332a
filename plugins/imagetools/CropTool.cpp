#include "CropTool.h"

#include "PluginCatalogue.h"

#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/core.hpp>

#include <limits>

DOCVIEW_REGISTER_PLUGIN("Crop", CCropTool);

namespace
{

// Rectangles larger than OpenCV's int coordinates are clipped by the image anyway.
int ClampToInt(long lValue)
{
    if (lValue > std::numeric_limits<int>::max())
    {
        return std::numeric_limits<int>::max();
    }
    if (lValue < std::numeric_limits<int>::min())
    {
        return std::numeric_limits<int>::min();
    }
    return static_cast<int>(lValue);
}

} // namespace

CCropTool::CCropTool() : CImageToolBase("Crop", "Crop") {}

void CCropTool::TakeParameters(const Zarn::CValueMap& parameters)
{
    const long lX = ReadLong(parameters, "x", m_rectConfigured.x);
    const long lY = ReadLong(parameters, "y", m_rectConfigured.y);
    const long lWidth = ReadLong(parameters, "width", m_rectConfigured.width);
    const long lHeight = ReadLong(parameters, "height", m_rectConfigured.height);
    if (lX < 0 || lY < 0 || lWidth < 0 || lHeight < 0)
    {
        ThrowBadParameter("parameters \"x\", \"y\", \"width\" and \"height\" must not be "
                          "negative.");
    }
    m_rectConfigured =
        cv::Rect(ClampToInt(lX), ClampToInt(lY), ClampToInt(lWidth), ClampToInt(lHeight));
    m_rectEffective = m_rectConfigured;
}

CImageToolBase::ParameterList CCropTool::Parameters() const
{
    ParameterList parameters;
    parameters.emplace_back("x", std::make_unique<Zarn::CValueLong>(m_rectEffective.x));
    parameters.emplace_back("y", std::make_unique<Zarn::CValueLong>(m_rectEffective.y));
    parameters.emplace_back("width", std::make_unique<Zarn::CValueLong>(m_rectEffective.width));
    parameters.emplace_back("height", std::make_unique<Zarn::CValueLong>(m_rectEffective.height));
    return parameters;
}

bool CCropTool::Accepts(const Zarn::IImage::CType& /*type*/) const
{
    return true;
}

bool CCropTool::TestInput(const Zarn::CValueMap& input, const Zarn::CImage& image)
{
    return !RectangleFor(ViewSelection(input), image).empty();
}

void CCropTool::KeepInput(const Zarn::CValueMap& input, const Zarn::CImage* /*image*/)
{
    m_viewSelection = ViewSelection(input);
}

Zarn::CImage* CCropTool::Process(const Zarn::CImage& input)
{
    const cv::Rect rect = RectangleFor(m_viewSelection, input);
    if (rect.empty())
    {
        ThrowBadParameter("there is no selection inside the image to crop to.");
    }
    const Zarn::IImage::CType type = input.Type();
    auto pResult = std::make_unique<Zarn::CImage>(
        Zarn::CSize(static_cast<std::uint32_t>(rect.width), static_cast<std::uint32_t>(rect.height),
                    input.Size().Z()),
        type);
    for (std::uint32_t z = 0; z < input.Size().Z(); ++z)
    {
        cv::Mat target = Zarn::PlaneView(*pResult, z);
        Zarn::PlaneView(input, z)(rect).copyTo(target);
    }
    m_rectEffective = rect;
    return pResult.release();
}

std::optional<cv::Rect> CCropTool::ViewSelection(const Zarn::CValueMap& input)
{
    const Zarn::CValue* pActive = input.Entry("views/active", false);
    if (pActive == nullptr || pActive->GenericType() != Zarn::CValue::vtPointer ||
        !Zarn::AreTypesEqual(pActive->ElementType(), typeid(Zarn::CPluginBase)))
    {
        return std::nullopt;
    }
    // The pointer value lends the view: the constness of the picture does not reach it.
    Zarn::CPluginBase* pView =
        Zarn::UnwrapPointer<Zarn::CPluginBase>(const_cast<Zarn::CValue*>(pActive));
    if (pView == nullptr)
    {
        return std::nullopt;
    }
    Zarn::CValueMap description;
    pView->Run(description);
    const Zarn::CValue* pSelection = description.Entry(Zarn::CValue_Key("selection"), false);
    if (pSelection == nullptr || pSelection->Map() == nullptr)
    {
        return std::nullopt;
    }
    const Zarn::CValueMap& selection = *pSelection->Map();
    for (const char* szKey : {"x", "y", "width", "height"})
    {
        if (!selection.HasEntry(Zarn::CValue_Key(szKey), Zarn::CValue::vtLong))
        {
            return std::nullopt;
        }
    }
    return cv::Rect(ClampToInt(selection.EntryLong(Zarn::CValue_Key("x"))),
                    ClampToInt(selection.EntryLong(Zarn::CValue_Key("y"))),
                    ClampToInt(selection.EntryLong(Zarn::CValue_Key("width"))),
                    ClampToInt(selection.EntryLong(Zarn::CValue_Key("height"))));
}

cv::Rect CCropTool::RectangleFor(const std::optional<cv::Rect>& selection,
                                 const Zarn::CImage& image) const
{
    const cv::Rect bounds(0, 0, static_cast<int>(image.Size().X()),
                          static_cast<int>(image.Size().Y()));
    const cv::Rect rect = selection.has_value() ? *selection : m_rectConfigured;
    if (rect.width <= 0 || rect.height <= 0)
    {
        return cv::Rect();
    }
    return rect & bounds;
}
