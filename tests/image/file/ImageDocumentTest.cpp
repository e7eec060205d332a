#include "ImageFileTestTools.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Value/ValueScalar.h>

#include <memory>

using namespace Zarn;
using namespace ZarnTest;

namespace
{

std::unique_ptr<CImage> SmallImage()
{
    auto pImage = std::make_unique<CImage>(CSize(7, 5), IImage::CType(IImage::etUInt16));
    for (std::uint32_t y = 0; y < 5; ++y)
    {
        auto* pRow = reinterpret_cast<std::uint16_t*>(pImage->Data() + y * pImage->RowStride());
        for (std::uint32_t x = 0; x < 7; ++x)
        {
            pRow[x] = static_cast<std::uint16_t>(1000 * y + x);
        }
    }
    return pImage;
}

TEST(ImageDocument, NewResultHasNoFileAndIsUnsaved)
{
    std::unique_ptr<CValueMap> pDocument(ImageDocument::Create(SmallImage().release(), "result"));
    EXPECT_EQ(ImageDocument::Label(*pDocument), "result");
    EXPECT_EQ(pDocument->EntryString(CValue_Key("type")).StdString(), "image");
    EXPECT_EQ(ImageDocument::FileName(*pDocument), "");
    EXPECT_FALSE(ImageDocument::IsSaved(*pDocument));
    ASSERT_NE(ImageDocument::Image(*pDocument), nullptr);
    EXPECT_EQ(ImageDocument::Image(*pDocument)->Size(), CSize(7, 5));
}

TEST(ImageDocument, ReadDocumentIsSavedAndNamedAfterItsFile)
{
    CTempFolder folder;
    const std::string strPath = folder.File("plate.tif");
    CImageFile::Write(strPath, *SmallImage());

    std::unique_ptr<CValueMap> pDocument(ImageDocument::Read(strPath));
    EXPECT_EQ(ImageDocument::Label(*pDocument), "plate.tif");
    EXPECT_EQ(ImageDocument::FileName(*pDocument), strPath);
    EXPECT_TRUE(ImageDocument::IsSaved(*pDocument));
    ASSERT_NE(ImageDocument::Image(*pDocument), nullptr);
    EXPECT_TRUE(ImageDocument::Image(*pDocument)->EqualPixels(*SmallImage()));
}

TEST(ImageDocument, WriteThenReadGivesTheSamePixels)
{
    CTempFolder folder;
    std::unique_ptr<CValueMap> pDocument(ImageDocument::Create(SmallImage().release(), "result"));
    const std::string strPath = folder.File("result.png");
    ImageDocument::Write(*pDocument, strPath);
    std::unique_ptr<CImage> pBack(CImageFile::Read(strPath));
    EXPECT_TRUE(pBack->EqualPixels(*SmallImage()));
    EXPECT_FALSE(ImageDocument::IsSaved(*pDocument)); // writing alone does not mark the document
}

TEST(ImageDocument, DocumentWithoutImageCannotBeWritten)
{
    CTempFolder folder;
    CValueMap document;
    document.SetEntry(CValue_Key("label"), new CValueString("text"));
    EXPECT_EQ(ImageDocument::Image(document), nullptr);
    EXPECT_THROW(ImageDocument::Write(document, folder.File("x.png")), CExBadParam);
}

TEST(ImageDocument, MissingFileFailsNamingIt)
{
    try
    {
        delete ImageDocument::Read("/nonexistent/none.png");
        FAIL() << "no exception";
    }
    catch (const CExBadParam& error)
    {
        EXPECT_NE(std::string(error.what()).find("/nonexistent/none.png"), std::string::npos);
    }
}

TEST(ImageDocument, LabelDefaultsToUnnamedAndSavedNeedsTrue)
{
    CValueMap document;
    EXPECT_EQ(ImageDocument::Label(document), "Unnamed");
    document.SetEntry("is_saved/image", new CValueBool(false));
    EXPECT_FALSE(ImageDocument::IsSaved(document));
    document.SetEntry("is_saved/image", new CValueBool(true));
    EXPECT_TRUE(ImageDocument::IsSaved(document));
}

TEST(ImageDocument, ProcessStepNamesTheToolAndItsParameters)
{
    std::unique_ptr<CValueMap> pDocument(ImageDocument::Create(SmallImage().release(), "blurred"));
    EXPECT_EQ(ImageDocument::ProcessStep(*pDocument), nullptr);
    CValueMap parameters;
    parameters.SetEntry(CValue_Key("sigma"), new CValueDouble(2.5));
    ImageDocument::SetProcessStep(*pDocument, "GaussianBlur", parameters);
    parameters.SetEntry(CValue_Key("sigma"), new CValueDouble(9.0)); // the step keeps its own copy
    const CValueMap* pStep = ImageDocument::ProcessStep(*pDocument);
    ASSERT_NE(pStep, nullptr);
    EXPECT_EQ(pStep->EntryString(CValue_Key("type")).StdString(), "plugin");
    EXPECT_EQ(pStep->EntryString(CValue_Key("plugin")).StdString(), "GaussianBlur");
    EXPECT_EQ(pStep->Entry("parameters/sigma", true)->Double(), 2.5);
}

// Results of a session that branched must each know only the steps that made them, so that a
// recording of one of them replays to that image.
TEST(ImageDocument, ProcessChainFollowsTheSourceDocumentsBackToTheFile)
{
    std::unique_ptr<CValueMap> pFile(
        ImageDocument::Create(SmallImage().release(), "a.png", "/data/a.png"));
    EXPECT_EQ(ImageDocument::ProcessChain(*pFile).Size(), 0u);
    CValueMap parameters;
    std::unique_ptr<CValueMap> pBlurred(ImageDocument::Create(SmallImage().release(), "b"));
    ImageDocument::SetProcessStep(*pBlurred, "GaussianBlur", parameters, pFile.get());
    std::unique_ptr<CValueMap> pInverted(ImageDocument::Create(SmallImage().release(), "c"));
    ImageDocument::SetProcessStep(*pInverted, "Invert", parameters, pFile.get());
    std::unique_ptr<CValueMap> pThresholded(ImageDocument::Create(SmallImage().release(), "d"));
    parameters.SetEntry(CValue_Key("level"), new CValueLong(100));
    ImageDocument::SetProcessStep(*pThresholded, "Threshold", parameters, pBlurred.get());

    const auto Plugins = [](const CValueMap& document)
    {
        std::vector<std::string> lstPlugins;
        const CValueVector chain = ImageDocument::ProcessChain(document);
        for (unsigned int i = 0; i < chain.Size(); ++i)
        {
            lstPlugins.push_back(chain.Entry(CValue_Key(i), true)
                                     ->Map()
                                     ->EntryString(CValue_Key("plugin"))
                                     .StdString());
        }
        return lstPlugins;
    };
    EXPECT_EQ(Plugins(*pBlurred), (std::vector<std::string>{"GaussianBlur"}));
    EXPECT_EQ(Plugins(*pInverted), (std::vector<std::string>{"Invert"}));
    EXPECT_EQ(Plugins(*pThresholded), (std::vector<std::string>{"GaussianBlur", "Threshold"}));
    const CValueVector chain = ImageDocument::ProcessChain(*pThresholded);
    EXPECT_EQ(chain.Entry(CValue_Key(1u), true)->Map()->Entry("parameters/level", true)->Long(),
              100);
    EXPECT_TRUE(
        chain.Entry(CValue_Key(1u), true)->Equal(*ImageDocument::ProcessStep(*pThresholded)));

    // The chain is the result's own: closing its source changes nothing.
    pBlurred.reset();
    EXPECT_EQ(Plugins(*pThresholded), (std::vector<std::string>{"GaussianBlur", "Threshold"}));
    // A document with a step but no chain (made before chains, or by hand) is its own chain.
    CValueMap handMade;
    handMade.SetEntry("process step/plugin", new CValueString("Median"));
    EXPECT_EQ(Plugins(handMade), (std::vector<std::string>{"Median"}));
}

// A replay runs the chain on the file it starts from; a chain that starts elsewhere has no origin.
TEST(ImageDocument, ProcessOriginIsTheFileTheChainStartsFromAndEmptyWithoutOne)
{
    std::unique_ptr<CValueMap> pFile(
        ImageDocument::Create(SmallImage().release(), "a.png", "/data/a.png"));
    const CValueMap parameters;
    std::unique_ptr<CValueMap> pBlurred(ImageDocument::Create(SmallImage().release(), "b"));
    ImageDocument::SetProcessStep(*pBlurred, "GaussianBlur", parameters, pFile.get());
    std::unique_ptr<CValueMap> pThresholded(ImageDocument::Create(SmallImage().release(), "c"));
    ImageDocument::SetProcessStep(*pThresholded, "Threshold", parameters, pBlurred.get());
    EXPECT_EQ(ImageDocument::ProcessOrigin(*pBlurred), "/data/a.png");
    EXPECT_EQ(ImageDocument::ProcessOrigin(*pThresholded), "/data/a.png");

    // A result saved to a file of its own still starts its chain at the first file.
    pBlurred->SetEntry(CValue_Key("filename"), new CValueString("/data/b.tif"));
    std::unique_ptr<CValueMap> pInverted(ImageDocument::Create(SmallImage().release(), "d"));
    ImageDocument::SetProcessStep(*pInverted, "Invert", parameters, pBlurred.get());
    EXPECT_EQ(ImageDocument::ProcessOrigin(*pInverted), "/data/a.png");

    // An image that neither a file nor a recorded step made (a process's result) is no origin,
    // and neither is anything made from it.
    std::unique_ptr<CValueMap> pProcessed(ImageDocument::Create(SmallImage().release(), "e"));
    std::unique_ptr<CValueMap> pMasked(ImageDocument::Create(SmallImage().release(), "f"));
    ImageDocument::SetProcessStep(*pMasked, "Threshold", parameters, pProcessed.get());
    EXPECT_EQ(ImageDocument::ProcessOrigin(*pMasked), "");
    std::unique_ptr<CValueMap> pLabelled(ImageDocument::Create(SmallImage().release(), "g"));
    ImageDocument::SetProcessStep(*pLabelled, "Label", parameters, pMasked.get());
    EXPECT_EQ(ImageDocument::ProcessOrigin(*pLabelled), "");
    EXPECT_FALSE(pLabelled->HasEntry(CValue_Key("process origin")));
}

} // namespace
