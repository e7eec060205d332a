#pragma once

// Images, documents and toolbox pictures for the image tool tests.

#include <Zarn/Image/Image.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <opencv2/core/mat.hpp>

#include <memory>
#include <string>

namespace ImageToolTest
{

// w x h x z pixels of random values over the type's range (0..1 for floats), the same for a seed.
Zarn::CImage RandomImage(Zarn::IImage::EnElementType elementType, unsigned int channels = 1,
                         std::uint32_t z = 1, std::uint64_t seed = 7, std::uint32_t w = 41,
                         std::uint32_t h = 29);

// A document owning a copy of the image.
std::unique_ptr<Zarn::CValueMap> Document(const Zarn::CImage& image,
                                          const std::string& label = "input");

// {"input": {"documents": {"focused": document}, "views": {"active": view}}}; null leaves out.
Zarn::CValueMap Picture(Zarn::CValueMap* document, Zarn::CPluginBase* view = nullptr);

// {"parameters": parameters}
Zarn::CValueMap Answer(const Zarn::CValueMap& parameters);

// Runs the tool the way a batch step does (the document at "input/documents/focused") and takes
// the new document it added. `data` receives the whole output.
std::unique_ptr<Zarn::CValueMap> RunOn(Zarn::CPluginBase& tool, Zarn::CValueMap& document,
                                       Zarn::CValueMap& data);
std::unique_ptr<Zarn::CValueMap> RunOn(Zarn::CPluginBase& tool, Zarn::CValueMap& document);

const Zarn::CImage& ImageOf(const Zarn::CValueMap& document);

// The largest difference between plane z of the image and the matrix; -1 for another type or size.
double LargestDifference(const Zarn::CImage& image, const cv::Mat& expected, std::uint32_t z = 0);

} // namespace ImageToolTest
