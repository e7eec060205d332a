#include "ImageToolTestTools.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Value/ValuePointer.h>

#include <opencv2/core.hpp>

#include <map>
#include <utility>

namespace ImageToolTest
{

namespace
{

// Where random pixels are drawn from: low (included) to high (excluded). Integers span their
// type (int32 a part of it), floating point 0 to 1.
std::pair<double, double> ValueRange(Zarn::IImage::EnElementType elementType)
{
    static const std::map<Zarn::IImage::EnElementType, std::pair<double, double>> mapRanges = {
        {Zarn::IImage::etUInt8, {0.0, 256.0}},
        {Zarn::IImage::etInt8, {-128.0, 128.0}},
        {Zarn::IImage::etUInt16, {0.0, 65536.0}},
        {Zarn::IImage::etInt16, {-32768.0, 32768.0}},
        {Zarn::IImage::etInt32, {-100000.0, 100000.0}}};
    const auto it = mapRanges.find(elementType);
    return it != mapRanges.end() ? it->second : std::pair(0.0, 1.0);
}

} // namespace

Zarn::CImage RandomImage(Zarn::IImage::EnElementType elementType, unsigned int channels,
                         std::uint32_t z, std::uint64_t seed, std::uint32_t w, std::uint32_t h)
{
    Zarn::CImage image(Zarn::CSize(w, h, z), Zarn::IImage::CType(elementType, channels));
    cv::RNG random(seed);
    const auto [dLow, dHigh] = ValueRange(elementType);
    for (std::uint32_t uPlane = 0; uPlane < z; ++uPlane)
    {
        cv::Mat plane = Zarn::PlaneView(image, uPlane);
        random.fill(plane, cv::RNG::UNIFORM, dLow, dHigh);
    }
    return image;
}

std::unique_ptr<Zarn::CValueMap> Document(const Zarn::CImage& image, const std::string& label)
{
    return std::unique_ptr<Zarn::CValueMap>(
        Zarn::ImageDocument::Create(new Zarn::CImage(image), label));
}

Zarn::CValueMap Picture(Zarn::CValueMap* document, Zarn::CPluginBase* view)
{
    Zarn::CValueMap picture;
    picture.SetEntry("input/context", new Zarn::CValueMap);
    if (document != nullptr)
    {
        picture.SetEntry("input/documents/focused",
                         new Zarn::CValuePointer<Zarn::CValueMap>(document));
    }
    if (view != nullptr)
    {
        picture.SetEntry("input/views/active", new Zarn::CValuePointer<Zarn::CPluginBase>(view));
    }
    return picture;
}

Zarn::CValueMap Answer(const Zarn::CValueMap& parameters)
{
    Zarn::CValueMap answer;
    answer.SetEntry(Zarn::CValue_Key("parameters"), new Zarn::CValueMap(parameters));
    return answer;
}

std::unique_ptr<Zarn::CValueMap> RunOn(Zarn::CPluginBase& tool, Zarn::CValueMap& document,
                                       Zarn::CValueMap& data)
{
    data.SetEntry("input/documents/focused", new Zarn::CValuePointer<Zarn::CValueMap>(&document));
    tool.Run(data);
    return std::unique_ptr<Zarn::CValueMap>(
        Zarn::UnwrapPointer<Zarn::CValueMap>(data.Entry("output/documents/add/0", true)));
}

std::unique_ptr<Zarn::CValueMap> RunOn(Zarn::CPluginBase& tool, Zarn::CValueMap& document)
{
    Zarn::CValueMap data;
    return RunOn(tool, document, data);
}

const Zarn::CImage& ImageOf(const Zarn::CValueMap& document)
{
    return *Zarn::ImageDocument::Image(document);
}

double LargestDifference(const Zarn::CImage& image, const cv::Mat& expected, std::uint32_t z)
{
    const cv::Mat plane = Zarn::PlaneView(image, z);
    if (plane.type() != expected.type() || plane.size() != expected.size())
    {
        return -1.0;
    }
    return cv::norm(plane, expected, cv::NORM_INF);
}

} // namespace ImageToolTest
