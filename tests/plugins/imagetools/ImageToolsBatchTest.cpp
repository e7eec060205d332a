// Image tools as "plugin" steps of a batch process: the real executor creates the tool of the
// built module by name and hands it the step.

#include "ImageToolTestTools.h"

#include "batch/PluginExecutor.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <memory>

using namespace ImageToolTest;
using Zarn::IImage;

namespace
{

class ImageToolsInBatch : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { Zarn::CPluginLoader::Obj().AddSearchDirectory(MODULE_DIR); }

    static Zarn::CValueMap Step(const char* plugin)
    {
        Zarn::CValueMap step;
        step.SetEntry(Zarn::CValue_Key("type"), new Zarn::CValueString("plugin"));
        step.SetEntry(Zarn::CValue_Key("plugin"), new Zarn::CValueString(plugin));
        step.SetEntry(Zarn::CValue_Key("threaded"), new Zarn::CValueBool(false));
        return step;
    }

    // The result image, owned by the caller.
    static std::unique_ptr<Zarn::CImage> RunStep(const Zarn::CValueMap& step, Zarn::CImage& image,
                                                 Zarn::CValueMap& output)
    {
        const std::string strName = step.EntryString(Zarn::CValue_Key("plugin")).StdString();
        return std::unique_ptr<Zarn::CImage>(
            PluginExecutor::RunImageToolPlugin(strName, &image, step, output, "step"));
    }

    static std::string StepError(const Zarn::CValueMap& step, Zarn::CImage& image)
    {
        Zarn::CValueMap output;
        try
        {
            RunStep(step, image, output);
        }
        catch (const Zarn::CException& exception)
        {
            return exception.what();
        }
        return std::string();
    }
};

} // namespace

TEST_F(ImageToolsInBatch, StepParametersReachTheTool)
{
    Zarn::CImage input = RandomImage(IImage::etUInt16);
    Zarn::CValueMap step = Step("GaussianBlur");
    step.SetEntry("parameters/sigma", new Zarn::CValueLong(3));
    Zarn::CValueMap output;
    std::unique_ptr<Zarn::CImage> pResult = RunStep(step, input, output);

    ASSERT_NE(pResult.get(), &input);
    cv::Mat expected;
    cv::GaussianBlur(Zarn::PlaneView(input), expected, cv::Size(), 3.0, 3.0);
    EXPECT_EQ(LargestDifference(*pResult, expected), 0.0);
    EXPECT_EQ(output.Entry("output/parameters/sigma", true)->Double(), 3.0);
}

TEST_F(ImageToolsInBatch, StepWithoutParametersUsesTheDefaults)
{
    Zarn::CImage input = RandomImage(IImage::etUInt8);
    Zarn::CValueMap output;
    std::unique_ptr<Zarn::CImage> pResult = RunStep(Step("Threshold"), input, output);

    cv::Mat expected;
    cv::threshold(Zarn::PlaneView(input), expected, 128.0, 255.0, cv::THRESH_BINARY);
    EXPECT_EQ(LargestDifference(*pResult, expected), 0.0);
}

TEST_F(ImageToolsInBatch, CropStepCutsItsOwnRectangle)
{
    Zarn::CImage input = RandomImage(IImage::etUInt8);
    Zarn::CValueMap step = Step("Crop");
    step.SetEntry("parameters/x", new Zarn::CValueLong(2));
    step.SetEntry("parameters/y", new Zarn::CValueLong(3));
    step.SetEntry("parameters/width", new Zarn::CValueLong(10));
    step.SetEntry("parameters/height", new Zarn::CValueLong(4));
    Zarn::CValueMap output;
    std::unique_ptr<Zarn::CImage> pResult = RunStep(step, input, output);

    EXPECT_EQ(LargestDifference(*pResult, Zarn::PlaneView(input)(cv::Rect(2, 3, 10, 4))), 0.0);
}

TEST_F(ImageToolsInBatch, BadStepParameterStopsWithTheToolsText)
{
    Zarn::CImage input = RandomImage(IImage::etUInt8);
    Zarn::CValueMap step = Step("Median");
    step.SetEntry("parameters/size", new Zarn::CValueLong(4));
    EXPECT_NE(StepError(step, input).find("Median: parameter \"size\" must be an odd integer"),
              std::string::npos);
}

// Without a dialog a size that does not fit the image stops the run naming the parameter.
TEST_F(ImageToolsInBatch, MedianSizeThatDoesNotFitTheImageFailsNamingTheSize)
{
    Zarn::CImage input = RandomImage(IImage::etUInt16);
    Zarn::CValueMap step = Step("Median");
    step.SetEntry("parameters/size", new Zarn::CValueLong(7));
    const std::string strError = StepError(step, input);
    EXPECT_NE(strError.find("Median: parameter \"size\" = 7 does not fit uint16x1 images"),
              std::string::npos)
        << strError;
}

TEST_F(ImageToolsInBatch, RefusedImageTypeStopsTheStep)
{
    Zarn::CImage input = RandomImage(IImage::etUInt16);
    EXPECT_NE(StepError(Step("Label"), input).find("did not accept parameter set"),
              std::string::npos);
}
