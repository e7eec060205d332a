// Each image tool against the direct OpenCV call on the same pixels, its type acceptance, its
// parameters and what it writes into the new document.

#include "ImageToolTestTools.h"

#include "ConvertTypeTool.h"
#include "CropTool.h"
#include "GaussianBlurTool.h"
#include "InvertTool.h"
#include "LabelTool.h"
#include "MedianTool.h"
#include "MorphologyTool.h"
#include "PluginCatalogue.h"
#include "ThresholdTool.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <string>

using namespace ImageToolTest;
using Zarn::IImage;

namespace
{

Zarn::CValueMap Parameters(const char* key, Zarn::CValue* value)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key(key), value);
    return parameters;
}

// Sets the parameters as a configuration plug-in's answer does.
void Configure(Zarn::CPluginBase& tool, const Zarn::CValueMap& parameters)
{
    Zarn::CValueMap answer = Answer(parameters);
    answer.SetEntry(Zarn::CValue_Key("config user"), new Zarn::CValueBool(true));
    tool.UpdateParameters(answer);
}

// Runs the tool on a document of a copy of the image; the document it adds.
std::unique_ptr<Zarn::CValueMap> RunOnImage(Zarn::CPluginBase& tool, const Zarn::CImage& image)
{
    auto pDocument = Document(image);
    return RunOn(tool, *pDocument);
}

// The largest difference between the tool's result on the image and the expected matrix.
double RunDifference(Zarn::CPluginBase& tool, const Zarn::CImage& image, const cv::Mat& expected)
{
    return LargestDifference(ImageOf(*RunOnImage(tool, image)), expected);
}

// Hands the tool the picture of the document and the view, as the toolbox does when the
// user picks it; the tool must accept it.
void TakePicture(Zarn::CPluginBase& tool, Zarn::CValueMap* document, Zarn::CPluginBase* view)
{
    const Zarn::CValueMap picture = Picture(document, view);
    ASSERT_TRUE(tool.TestParameters(picture));
    tool.UpdateParameters(picture);
}

bool AcceptsImage(Zarn::CPluginBase& tool, const Zarn::CImage& image)
{
    auto pDocument = Document(image);
    return tool.TestParameters(Picture(pDocument.get()));
}

std::string RunError(Zarn::CPluginBase& tool, const Zarn::CImage& image)
{
    auto pDocument = Document(image);
    try
    {
        RunOn(tool, *pDocument);
    }
    catch (const Zarn::CException& exception)
    {
        return exception.what();
    }
    return std::string();
}

std::string ConfigureError(Zarn::CPluginBase& tool, const Zarn::CValueMap& parameters)
{
    try
    {
        Configure(tool, parameters);
    }
    catch (const Zarn::CExBadParam& exception)
    {
        return exception.what();
    }
    return std::string();
}

// A view plug-in that reports a selection in its description, as the image view does.
class CSelectionView : public Zarn::CPluginBase
{
public:
    void Select(long x, long y, long width, long height)
    {
        m_selection.Clear();
        m_selection.SetEntry(Zarn::CValue_Key("x"), new Zarn::CValueLong(x));
        m_selection.SetEntry(Zarn::CValue_Key("y"), new Zarn::CValueLong(y));
        m_selection.SetEntry(Zarn::CValue_Key("width"), new Zarn::CValueLong(width));
        m_selection.SetEntry(Zarn::CValue_Key("height"), new Zarn::CValueLong(height));
        m_bSelected = true;
    }
    void ClearSelection() { m_bSelected = false; }
    void Run(Zarn::CValueMap& data) override
    {
        data.SetEntry(Zarn::CValue_Key("caption"), new Zarn::CValueString("view"));
        if (m_bSelected)
        {
            data.SetEntry(Zarn::CValue_Key("selection"), new Zarn::CValueMap(m_selection));
        }
    }

private:
    Zarn::CValueMap m_selection;
    bool m_bSelected = false;
};

} // namespace

// ---------------------------------------------------------------------------------------------
// GaussianBlur

TEST(GaussianBlurTool, MatchesOpenCvOnEightSixteenBitAndFloatImages)
{
    for (const auto enType :
         {IImage::etUInt8, IImage::etUInt16, IImage::etInt16, IImage::etFloat32, IImage::etFloat64})
    {
        SCOPED_TRACE(IImage::CType(enType).ToString());
        const Zarn::CImage input = RandomImage(enType);
        CGaussianBlurTool tool;
        Configure(tool, Parameters("sigma", new Zarn::CValueDouble(2.0)));
        cv::Mat expected;
        cv::GaussianBlur(Zarn::PlaneView(input), expected, cv::Size(), 2.0, 2.0);
        EXPECT_EQ(RunDifference(tool, input, expected), 0.0);
    }
}

TEST(GaussianBlurTool, BlursEveryChannelOfColourImages)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt8, 3);
    CGaussianBlurTool tool;
    cv::Mat expected;
    cv::GaussianBlur(Zarn::PlaneView(input), expected, cv::Size(), 1.0, 1.0);
    EXPECT_EQ(RunDifference(tool, input, expected), 0.0);
}

TEST(GaussianBlurTool, RefusesTypesOpenCvCannotFilter)
{
    CGaussianBlurTool tool;
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etUInt8)));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etFloat64)));
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etInt8)));
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etInt32)));
    EXPECT_NE(RunError(tool, RandomImage(IImage::etInt32)).find("does not work on int32x1"),
              std::string::npos);
}

TEST(GaussianBlurTool, NonPositiveOrNonNumericSigmaIsRefused)
{
    CGaussianBlurTool tool;
    EXPECT_NE(ConfigureError(tool, Parameters("sigma", new Zarn::CValueDouble(0.0))).find("sigma"),
              std::string::npos);
    EXPECT_NE(ConfigureError(tool, Parameters("sigma", new Zarn::CValueLong(-2))).find("sigma"),
              std::string::npos);
    EXPECT_NE(ConfigureError(tool, Parameters("sigma", new Zarn::CValueString("2")))
                  .find("must be a number"),
              std::string::npos);
}

// ---------------------------------------------------------------------------------------------
// Median

TEST(MedianTool, MatchesOpenCvOnEightSixteenBitAndFloatImages)
{
    for (const auto enType : {IImage::etUInt8, IImage::etUInt16, IImage::etFloat32})
    {
        SCOPED_TRACE(IImage::CType(enType).ToString());
        const Zarn::CImage input = RandomImage(enType);
        CMedianTool tool;
        Configure(tool, Parameters("size", new Zarn::CValueLong(5)));
        cv::Mat expected;
        cv::medianBlur(Zarn::PlaneView(input), expected, 5);
        EXPECT_EQ(RunDifference(tool, input, expected), 0.0);
    }
}

TEST(MedianTool, EightBitImagesTakeLargeSizes)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt8);
    CMedianTool tool;
    Configure(tool, Parameters("size", new Zarn::CValueLong(9)));
    EXPECT_TRUE(AcceptsImage(tool, input));
    cv::Mat expected;
    cv::medianBlur(Zarn::PlaneView(input), expected, 9);
    EXPECT_EQ(RunDifference(tool, input, expected), 0.0);
}

// A size remembered from an 8-bit image must not grey Median out on a 16-bit one.
TEST(MedianTool, SizeSevenStaysOfferedOnSixteenBitAndFloatImagesAndItsRunNamesTheSize)
{
    CMedianTool tool;
    Configure(tool, Parameters("size", new Zarn::CValueLong(7)));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etUInt16)));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etFloat32)));
    const std::string strError = RunError(tool, RandomImage(IImage::etUInt16));
    EXPECT_NE(strError.find("Median: parameter \"size\" = 7 does not fit uint16x1 images: only "
                            "8-bit images take sizes above 5."),
              std::string::npos)
        << strError;

    Configure(tool, Parameters("size", new Zarn::CValueLong(3)));
    EXPECT_EQ(RunError(tool, RandomImage(IImage::etUInt16)), "");
}

TEST(MedianTool, EvenTooSmallOrNonIntegerSizeIsRefused)
{
    CMedianTool tool;
    EXPECT_FALSE(ConfigureError(tool, Parameters("size", new Zarn::CValueLong(4))).empty());
    EXPECT_FALSE(ConfigureError(tool, Parameters("size", new Zarn::CValueLong(1))).empty());
    EXPECT_FALSE(ConfigureError(tool, Parameters("size", new Zarn::CValueDouble(5.0))).empty());
    EXPECT_EQ(tool.HistoryEntry(), "Median size=3");
}

TEST(MedianTool, RefusesTwoChannelAndSignedImages)
{
    CMedianTool tool;
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etUInt8, 2)));
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etInt16)));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etUInt8, 3)));
}

// ---------------------------------------------------------------------------------------------
// Threshold

TEST(ThresholdTool, FixedLevelMatchesOpenCv)
{
    struct SCase
    {
        IImage::EnElementType m_enType;
        double m_dLevel;
        double m_dForeground;
    };
    for (const SCase& testCase :
         {SCase{IImage::etUInt8, 100.0, 255.0}, SCase{IImage::etUInt16, 30000.0, 65535.0},
          SCase{IImage::etInt16, -1000.0, 32767.0}, SCase{IImage::etFloat32, 0.25, 1.0}})
    {
        SCOPED_TRACE(IImage::CType(testCase.m_enType).ToString());
        const Zarn::CImage input = RandomImage(testCase.m_enType);
        CThresholdTool tool;
        Configure(tool, Parameters("level", new Zarn::CValueDouble(testCase.m_dLevel)));
        auto pResult = RunOnImage(tool, input);

        cv::Mat expected;
        cv::threshold(Zarn::PlaneView(input), expected, testCase.m_dLevel, testCase.m_dForeground,
                      cv::THRESH_BINARY);
        EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
    }
}

TEST(ThresholdTool, OtsuMatchesOpenCvAndReportsTheLevelFound)
{
    for (const auto enType : {IImage::etUInt8, IImage::etUInt16})
    {
        SCOPED_TRACE(IImage::CType(enType).ToString());
        const Zarn::CImage input = RandomImage(enType);
        CThresholdTool tool;
        Zarn::CValueMap parameters;
        parameters.SetEntry(Zarn::CValue_Key("method"), new Zarn::CValueString("otsu"));
        Configure(tool, parameters);
        auto pDocument = Document(input);
        Zarn::CValueMap data;
        auto pResult = RunOn(tool, *pDocument, data);

        cv::Mat expected;
        const double dForeground = enType == IImage::etUInt8 ? 255.0 : 65535.0;
        const double dLevel = cv::threshold(Zarn::PlaneView(input), expected, 0.0, dForeground,
                                            cv::THRESH_BINARY | cv::THRESH_OTSU);
        EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
        EXPECT_EQ(data.Entry("output/parameters/level", true)->Double(), dLevel);
        EXPECT_EQ(data.Entry("output/parameters/method", true)->String().StdString(), "otsu");
    }
}

// Otsu chosen on an 8-bit image must not grey Threshold out on a float or colour one.
TEST(ThresholdTool, OtsuStaysOfferedOnFloatAndColourImagesAndItsRunNamesTheMethod)
{
    CThresholdTool tool;
    Configure(tool, Parameters("method", new Zarn::CValueString("otsu")));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etFloat32)));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etUInt8, 3)));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etUInt16)));
    const std::string strError = RunError(tool, RandomImage(IImage::etFloat32));
    EXPECT_NE(strError.find("Threshold: parameter \"method\" = otsu does not fit float32x1"),
              std::string::npos)
        << strError;
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etInt32)))
        << "refused for the image alone, whatever the method";
}

TEST(ThresholdTool, UnknownMethodIsRefusedWithTheChoices)
{
    CThresholdTool tool;
    EXPECT_NE(ConfigureError(tool, Parameters("method", new Zarn::CValueString("mean")))
                  .find("must be one of fixed, otsu"),
              std::string::npos);
}

// ---------------------------------------------------------------------------------------------
// Invert

TEST(InvertTool, UnsignedImagesBecomeMaximumMinusValue)
{
    for (const auto enType : {IImage::etUInt8, IImage::etUInt16})
    {
        SCOPED_TRACE(IImage::CType(enType).ToString());
        const Zarn::CImage input = RandomImage(enType, 3);
        CInvertTool tool;
        auto pResult = RunOnImage(tool, input);

        const double dMax = enType == IImage::etUInt8 ? 255.0 : 65535.0;
        cv::Mat expected;
        cv::subtract(cv::Scalar::all(dMax), Zarn::PlaneView(input), expected);
        EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
    }
}

TEST(InvertTool, FloatImagesBecomeOneMinusValue)
{
    const Zarn::CImage input = RandomImage(IImage::etFloat32);
    CInvertTool tool;
    cv::Mat expected;
    cv::subtract(cv::Scalar::all(1.0), Zarn::PlaneView(input), expected);
    EXPECT_EQ(RunDifference(tool, input, expected), 0.0);
    EXPECT_EQ(tool.HistoryEntry(), "Invert");
}

TEST(InvertTool, SignedIntegerImagesAreRefused)
{
    CInvertTool tool;
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etInt16)));
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etInt32)));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etFloat64)));
}

// ---------------------------------------------------------------------------------------------
// Label

TEST(LabelTool, MatchesConnectedComponentsAndCountsLabelsWithoutBackground)
{
    for (const long lConnectivity : {4L, 8L})
    {
        SCOPED_TRACE(lConnectivity);
        // Sparse foreground, so that there are many components.
        Zarn::CImage input = RandomImage(IImage::etUInt8);
        cv::Mat plane = Zarn::PlaneView(input);
        cv::threshold(plane, plane, 200, 255, cv::THRESH_BINARY);

        CLabelTool tool;
        Configure(tool, Parameters("connectivity", new Zarn::CValueLong(lConnectivity)));
        auto pResult = RunOnImage(tool, input);

        cv::Mat expected;
        const int nCount =
            cv::connectedComponents(plane, expected, static_cast<int>(lConnectivity), CV_32S);
        ASSERT_GT(nCount, 2);
        EXPECT_EQ(ImageOf(*pResult).Type(), IImage::CType(IImage::etInt32, 1));
        EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
        std::uint64_t uLabels = 0;
        ASSERT_TRUE(Zarn::CTekaHeaderTools::GetNumberOfLabels(ImageOf(*pResult), uLabels));
        EXPECT_EQ(uLabels, static_cast<std::uint64_t>(nCount - 1));
    }
}

TEST(LabelTool, DiagonalNeighboursJoinOnlyWithConnectivityEight)
{
    Zarn::CImage input(Zarn::CSize(4, 4), IImage::CType(IImage::etUInt8, 1));
    cv::Mat plane = Zarn::PlaneView(input);
    plane.at<std::uint8_t>(1, 1) = 1;
    plane.at<std::uint8_t>(2, 2) = 1;
    auto pDocument = Document(input);

    CLabelTool tool;
    std::uint64_t uLabels = 0;
    auto pEight = RunOn(tool, *pDocument);
    ASSERT_TRUE(Zarn::CTekaHeaderTools::GetNumberOfLabels(ImageOf(*pEight), uLabels));
    EXPECT_EQ(uLabels, 1u);

    Configure(tool, Parameters("connectivity", new Zarn::CValueLong(4)));
    auto pFour = RunOn(tool, *pDocument);
    ASSERT_TRUE(Zarn::CTekaHeaderTools::GetNumberOfLabels(ImageOf(*pFour), uLabels));
    EXPECT_EQ(uLabels, 2u);
}

TEST(LabelTool, RefusesSixteenBitAndColourImagesAndOtherConnectivities)
{
    CLabelTool tool;
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etUInt8)));
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etUInt16)));
    EXPECT_FALSE(AcceptsImage(tool, RandomImage(IImage::etUInt8, 3)));
    EXPECT_NE(ConfigureError(tool, Parameters("connectivity", new Zarn::CValueLong(6)))
                  .find("must be 4 or 8"),
              std::string::npos);
}

// ---------------------------------------------------------------------------------------------
// Morphology

TEST(MorphologyTool, EveryOperationAndShapeMatchesOpenCv)
{
    const std::pair<const char*, int> aOperations[] = {{"erode", cv::MORPH_ERODE},
                                                       {"dilate", cv::MORPH_DILATE},
                                                       {"open", cv::MORPH_OPEN},
                                                       {"close", cv::MORPH_CLOSE}};
    const std::pair<const char*, int> aShapes[] = {
        {"rect", cv::MORPH_RECT}, {"ellipse", cv::MORPH_ELLIPSE}, {"cross", cv::MORPH_CROSS}};
    for (const auto enType :
         {IImage::etUInt8, IImage::etUInt16, IImage::etInt16, IImage::etFloat32})
    {
        const Zarn::CImage input = RandomImage(enType);
        auto pDocument = Document(input);
        for (const auto& [szOperation, nOperation] : aOperations)
        {
            for (const auto& [szShape, nShape] : aShapes)
            {
                SCOPED_TRACE(IImage::CType(enType).ToString() + " " + szOperation + " " + szShape);
                CMorphologyTool tool;
                Zarn::CValueMap parameters;
                parameters.SetEntry(Zarn::CValue_Key("operation"),
                                    new Zarn::CValueString(szOperation));
                parameters.SetEntry(Zarn::CValue_Key("shape"), new Zarn::CValueString(szShape));
                parameters.SetEntry(Zarn::CValue_Key("size"), new Zarn::CValueLong(5));
                Configure(tool, parameters);
                auto pResult = RunOn(tool, *pDocument);

                cv::Mat expected;
                cv::morphologyEx(Zarn::PlaneView(input), expected, nOperation,
                                 cv::getStructuringElement(nShape, cv::Size(5, 5)));
                EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
            }
        }
    }
}

TEST(MorphologyTool, EvenSizeOrUnknownOperationIsRefused)
{
    CMorphologyTool tool;
    EXPECT_NE(ConfigureError(tool, Parameters("size", new Zarn::CValueLong(6))).find("odd"),
              std::string::npos);
    EXPECT_NE(ConfigureError(tool, Parameters("operation", new Zarn::CValueString("tophat")))
                  .find("erode, dilate, open, close"),
              std::string::npos);
    EXPECT_EQ(tool.HistoryEntry(), "Morphology operation=erode shape=rect size=3");
}

// ---------------------------------------------------------------------------------------------
// ConvertType

TEST(ConvertTypeTool, MinMaxScalingMatchesNormalizeOntoTheTargetRange)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt16);
    CConvertTypeTool tool;
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("target"), new Zarn::CValueString("uint8"));
    parameters.SetEntry(Zarn::CValue_Key("scaling"), new Zarn::CValueString("min-max"));
    Configure(tool, parameters);
    cv::Mat expected;
    cv::normalize(Zarn::PlaneView(input), expected, 0.0, 255.0, cv::NORM_MINMAX, CV_8U);
    EXPECT_EQ(RunDifference(tool, input, expected), 0.0);
}

TEST(ConvertTypeTool, FactorScalingMatchesConvertTo)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt8, 3);
    CConvertTypeTool tool;
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("target"), new Zarn::CValueString("float32"));
    parameters.SetEntry(Zarn::CValue_Key("scaling"), new Zarn::CValueString("factor"));
    parameters.SetEntry(Zarn::CValue_Key("factor"), new Zarn::CValueDouble(1.0 / 255.0));
    Configure(tool, parameters);
    auto pResult = RunOnImage(tool, input);

    cv::Mat expected;
    Zarn::PlaneView(input).convertTo(expected, CV_32FC3, 1.0 / 255.0);
    EXPECT_EQ(ImageOf(*pResult).Type(), IImage::CType(IImage::etFloat32, 3));
    EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
}

TEST(ConvertTypeTool, NoScalingSaturatesIntoTheTarget)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt16);
    CConvertTypeTool tool;
    Configure(tool, Parameters("target", new Zarn::CValueString("uint8")));
    auto pResult = RunOnImage(tool, input);

    cv::Mat expected;
    Zarn::PlaneView(input).convertTo(expected, CV_8U);
    EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
    EXPECT_EQ(tool.HistoryEntry(), "ConvertType target=uint8 scaling=none factor=1");
}

TEST(ConvertTypeTool, RefusesUnsigned32BitImagesAndUnknownTargets)
{
    CConvertTypeTool tool;
    EXPECT_FALSE(
        AcceptsImage(tool, Zarn::CImage(Zarn::CSize(4, 4), IImage::CType(IImage::etUInt32, 1))));
    EXPECT_TRUE(AcceptsImage(tool, RandomImage(IImage::etInt32)));
    EXPECT_FALSE(
        ConfigureError(tool, Parameters("target", new Zarn::CValueString("uint32"))).empty());
}

// ---------------------------------------------------------------------------------------------
// Crop

TEST(CropTool, CropsEveryPlaneToTheActiveViewSelection)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt16, 1, 2);
    auto pDocument = Document(input);
    CSelectionView view;
    view.Select(5, 7, 11, 13);
    CCropTool tool;
    ASSERT_NO_FATAL_FAILURE(TakePicture(tool, pDocument.get(), &view));
    // The run on the tool thread asks the view nothing: the selection is kept from the picture.
    view.ClearSelection();
    Zarn::CValueMap data;
    tool.Run(data);
    std::unique_ptr<Zarn::CValueMap> pResult(
        Zarn::UnwrapPointer<Zarn::CValueMap>(data.Entry("output/documents/add/0", true)));

    EXPECT_EQ(ImageOf(*pResult).Size(), Zarn::CSize(11, 13, 2));
    for (std::uint32_t z = 0; z < 2; ++z)
    {
        EXPECT_EQ(LargestDifference(ImageOf(*pResult),
                                    Zarn::PlaneView(input, z)(cv::Rect(5, 7, 11, 13)), z),
                  0.0);
    }
    EXPECT_EQ(tool.HistoryEntry(), "Crop x=5 y=7 width=11 height=13");
}

TEST(CropTool, IsDisabledWithoutSelectionOrWithOneOutsideTheImage)
{
    auto pDocument = Document(RandomImage(IImage::etUInt8));
    CSelectionView view;
    CCropTool tool;
    EXPECT_FALSE(tool.TestParameters(Picture(pDocument.get(), &view)));
    EXPECT_FALSE(tool.TestParameters(Picture(pDocument.get())));
    view.Select(100, 100, 5, 5);
    EXPECT_FALSE(tool.TestParameters(Picture(pDocument.get(), &view)));
    view.Select(0, 0, 0, 5);
    EXPECT_FALSE(tool.TestParameters(Picture(pDocument.get(), &view)));
    view.Select(0, 0, 1, 1);
    EXPECT_TRUE(tool.TestParameters(Picture(pDocument.get(), &view)));
}

TEST(CropTool, SelectionReachingOutIsClippedToTheImage)
{
    const Zarn::CImage input = RandomImage(IImage::etFloat32, 4);
    auto pDocument = Document(input);
    CSelectionView view;
    view.Select(30, 20, 100, 100);
    CCropTool tool;
    ASSERT_NO_FATAL_FAILURE(TakePicture(tool, pDocument.get(), &view));
    Zarn::CValueMap data;
    auto pResult = RunOn(tool, *pDocument, data);

    EXPECT_EQ(ImageOf(*pResult).Size(), Zarn::CSize(11, 9, 1));
    EXPECT_EQ(LargestDifference(ImageOf(*pResult), Zarn::PlaneView(input)(cv::Rect(30, 20, 11, 9))),
              0.0);
    EXPECT_EQ(data.Entry("output/parameters/width", true)->Long(), 11);
}

// ---------------------------------------------------------------------------------------------
// What every tool shares

TEST(ImageTool, ResultIsANewDocumentWithLabelAndAHistoryEntryAfterTheEarlierOnes)
{
    Zarn::CImage input = RandomImage(IImage::etUInt8);
    Zarn::CTekaHeaderTools::AddToHistory(input, Zarn::CValueString("Read cells.png"));
    auto pDocument = Document(input, "cells.png");
    CGaussianBlurTool tool;
    Configure(tool, Parameters("sigma", new Zarn::CValueLong(2)));
    auto pResult = RunOn(tool, *pDocument);

    ASSERT_NE(pResult.get(), pDocument.get());
    EXPECT_EQ(Zarn::ImageDocument::Label(*pResult), "cells.png - Gaussian blur");
    EXPECT_EQ(pResult->EntryString(Zarn::CValue_Key("type")).StdString(), "image");
    EXPECT_FALSE(Zarn::ImageDocument::IsSaved(*pResult));
    const Zarn::CValue* pHistory =
        ImageOf(*pResult).Attributes().Entry(Zarn::CValue_Key("history"), true);
    ASSERT_NE(pHistory->Vector(), nullptr);
    ASSERT_EQ(pHistory->Vector()->Size(), 2u);
    EXPECT_EQ(pHistory->Vector()->Entry(Zarn::CValue_Key(0u), true)->String().StdString(),
              "Read cells.png");
    EXPECT_EQ(pHistory->Vector()->Entry(Zarn::CValue_Key(1u), true)->String().StdString(),
              "GaussianBlur sigma=2");
    // The input keeps its own history.
    EXPECT_EQ(ImageOf(*pDocument).Attributes().Entry("history", true)->Vector()->Size(), 1u);
    EXPECT_TRUE(ImageOf(*pDocument).Equal(input));
}

TEST(ImageTool, LabelCountOfTheInputIsNotInherited)
{
    Zarn::CImage input = RandomImage(IImage::etUInt8);
    Zarn::CTekaHeaderTools::SetNumberOfLabels(input, 12);
    auto pDocument = Document(input);
    CMedianTool tool;
    auto pResult = RunOn(tool, *pDocument);
    std::uint64_t uLabels = 0;
    EXPECT_FALSE(Zarn::CTekaHeaderTools::GetNumberOfLabels(ImageOf(*pResult), uLabels));
}

TEST(ImageTool, ParametersOfTheDescriptionAreUsedAndListedInTheOutput)
{
    Zarn::CValueMap description;
    description.SetEntry(Zarn::CValue_Key("plugin"), new Zarn::CValueString("GaussianBlur"));
    description.SetEntry("parameters/sigma", new Zarn::CValueDouble(2.5));
    CGaussianBlurTool tool;
    tool.Init(nullptr, description);
    const Zarn::CImage input = RandomImage(IImage::etUInt8);
    auto pDocument = Document(input);
    Zarn::CValueMap data;
    auto pResult = RunOn(tool, *pDocument, data);

    cv::Mat expected;
    cv::GaussianBlur(Zarn::PlaneView(input), expected, cv::Size(), 2.5, 2.5);
    EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
    EXPECT_EQ(data.Entry("output/parameters/sigma", true)->Double(), 2.5);
    // The new document tells a recording how it was made.
    const Zarn::CValueMap* pStep = Zarn::ImageDocument::ProcessStep(*pResult);
    ASSERT_NE(pStep, nullptr);
    EXPECT_EQ(pStep->EntryString(Zarn::CValue_Key("type")).StdString(), "plugin");
    EXPECT_EQ(pStep->EntryString(Zarn::CValue_Key("plugin")).StdString(), "GaussianBlur");
    EXPECT_EQ(pStep->Entry("parameters/sigma", true)->Double(), 2.5);
}

TEST(ImageTool, DefaultsApplyWithoutParameters)
{
    CThresholdTool tool;
    tool.Init(nullptr, Zarn::CValueMap());
    EXPECT_EQ(tool.HistoryEntry(), "Threshold method=fixed level=128");
}

TEST(ImageTool, ConfigurationAnswerChangesOnlyTheKeysItNames)
{
    CMorphologyTool tool;
    Configure(tool, Parameters("size", new Zarn::CValueLong(7)));
    Configure(tool, Parameters("shape", new Zarn::CValueString("cross")));
    EXPECT_EQ(tool.HistoryEntry(), "Morphology operation=erode shape=cross size=7");
}

TEST(ImageTool, BadParameterLeavesTheEarlierParametersInPlace)
{
    CMorphologyTool tool;
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("operation"), new Zarn::CValueString("dilate"));
    parameters.SetEntry(Zarn::CValue_Key("size"), new Zarn::CValueLong(4));
    EXPECT_THROW(Configure(tool, parameters), Zarn::CExBadParam);
    EXPECT_EQ(tool.HistoryEntry(), "Morphology operation=erode shape=rect size=3");
}

TEST(ImageTool, ParametersThatAreNoMapAreRefused)
{
    CGaussianBlurTool tool;
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("parameters"), new Zarn::CValueDouble(2.0));
    EXPECT_THROW(tool.UpdateParameters(message), Zarn::CExBadParam);
}

TEST(ImageTool, RunsOnTheDocumentKeptFromTheToolboxPicture)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt8);
    auto pDocument = Document(input);
    CInvertTool tool;
    const Zarn::CValueMap picture = Picture(pDocument.get());
    ASSERT_TRUE(tool.TestParameters(picture));
    tool.UpdateParameters(picture);
    // The toolbox's run map names only the action.
    Zarn::CValueMap data;
    data.SetEntry(Zarn::CValue_Key("action"), new Zarn::CValueString("invert"));
    tool.Run(data);
    std::unique_ptr<Zarn::CValueMap> pResult(
        Zarn::UnwrapPointer<Zarn::CValueMap>(data.Entry("output/documents/add/0", true)));
    cv::Mat expected;
    cv::bitwise_not(Zarn::PlaneView(input), expected);
    EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected), 0.0);
}

TEST(ImageTool, RunWithoutAFocusedDocumentThrows)
{
    CInvertTool tool;
    Zarn::CValueMap data;
    EXPECT_THROW(tool.Run(data), Zarn::CExBadParam);
    EXPECT_FALSE(tool.TestParameters(Picture(nullptr)));
    EXPECT_FALSE(tool.TestParameters(Zarn::CValueMap()));
}

TEST(ImageTool, PlanesAreProcessedOneByOne)
{
    const Zarn::CImage input = RandomImage(IImage::etUInt8, 1, 3);
    auto pDocument = Document(input);
    CGaussianBlurTool tool;
    auto pResult = RunOn(tool, *pDocument);
    ASSERT_EQ(ImageOf(*pResult).Size().Z(), 3u);
    for (std::uint32_t z = 0; z < 3; ++z)
    {
        cv::Mat expected;
        cv::GaussianBlur(Zarn::PlaneView(input, z), expected, cv::Size(), 1.0, 1.0);
        EXPECT_EQ(LargestDifference(ImageOf(*pResult), expected, z), 0.0);
    }
}

TEST(ImageTool, EveryToolIsRegisteredByName)
{
    for (const char* szName : {"GaussianBlur", "Median", "Threshold", "Invert", "Label",
                               "Morphology", "ConvertType", "Crop"})
    {
        SCOPED_TRACE(szName);
        std::unique_ptr<Zarn::CPluginBase> pTool(CPluginCatalogue::Create(szName));
        ASSERT_NE(pTool, nullptr);
        Zarn::CValueMap setup;
        pTool->GetPluginSetup(setup);
        EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("PluginName")).StdString(), szName);
    }
}
