// Image tools of the built module run by the real toolbox on a tool thread, with the real
// repository taking the result; only the view is a double.

#include "ImageToolTestTools.h"

#include "ParameterDialogPlugin.h"

#include "../../module/toolbox/ToolboxHarness.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Plugin/PluginLoader.h>

#include <opencv2/imgproc.hpp>

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace ImageToolTest;
using Zarn::IImage;

namespace
{

class ImageToolInToolbox : public ToolboxTest::CToolboxFixture
{
protected:
    void SetUp() override
    {
        CToolboxFixture::SetUp();
        Zarn::CPluginLoader::Obj().AddSearchDirectory(MODULE_DIR);
    }

    // Hands the document to the repository and makes the view showing it the active one.
    void Focus(Zarn::CValueMap* document, ToolboxTest::CFakeView& view)
    {
        view.m_pDocument = document;
        document->SetEntry(Zarn::CValue_Key("active_view"),
                           new Zarn::CValuePointer<Zarn::CPluginBase>(&view));
        PostDocument("ADD_DOCUMENT", document);
        Deliver();
        PostView("ACTIVE_VIEW", &view);
        Deliver();
    }

    // The documents of every ADD_DOCUMENT delivered so far.
    std::vector<const Zarn::CValueMap*> AddedDocuments() const
    {
        std::vector<const Zarn::CValueMap*> lstDocuments;
        for (size_t i = 0; i < m_pRecorder->m_lstMessages.size(); ++i)
        {
            if (m_pRecorder->m_lstMessages[i].rfind("ADD_DOCUMENT", 0) == 0)
            {
                lstDocuments.push_back(
                    static_cast<const Zarn::CValueMap*>(m_pRecorder->m_lstPointers[i]));
            }
        }
        return lstDocuments;
    }
};

} // namespace

TEST_F(ImageToolInToolbox, ThreadedGaussianBlurHandsANewDocumentToTheRepository)
{
    StartRepository();
    Zarn::CValueMap* pDescription = ToolDescription("GaussianBlur", "gaussian blur", true);
    pDescription->SetEntry("parameters/sigma", new Zarn::CValueDouble(2.0));
    StartToolbox(ToolboxParameters({pDescription}));

    const Zarn::CImage input = RandomImage(IImage::etUInt16);
    ToolboxTest::CFakeView view;
    Focus(Zarn::ImageDocument::Create(new Zarn::CImage(input), "cells.tif"), view);
    const std::vector<std::string> lstControls = TakeMessages();
    EXPECT_NE(
        std::find(lstControls.begin(), lstControls.end(), "UPDATE_CONTROLS {gaussian blur=true}"),
        lstControls.end());

    const size_t nStops = CountMessages("ACTIVITY_STOP");
    PostText("ON_ACTION", "gaussian blur");
    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", nStops + 1));
    Deliver();
    EXPECT_TRUE(TakeBoxes().empty());

    const std::vector<const Zarn::CValueMap*> lstAdded = AddedDocuments();
    ASSERT_EQ(lstAdded.size(), 2u);
    const Zarn::CValueMap& result = *lstAdded[1];
    EXPECT_EQ(Zarn::ImageDocument::Label(result), "cells.tif - Gaussian blur");
    cv::Mat expected;
    cv::GaussianBlur(Zarn::PlaneView(input), expected, cv::Size(), 2.0, 2.0);
    EXPECT_EQ(LargestDifference(ImageOf(result), expected), 0.0);
}

TEST_F(ImageToolInToolbox, ToolStaysDisabledWhileTheFocusedImageHasATypeItRefuses)
{
    StartRepository();
    Zarn::CValueMap* pDescription = ToolDescription("Label", "label", true);
    StartToolbox(ToolboxParameters({pDescription}));

    ToolboxTest::CFakeView view;
    Focus(Zarn::ImageDocument::Create(new Zarn::CImage(RandomImage(IImage::etUInt16)), "deep"),
          view);
    EXPECT_EQ(CountMessages("UPDATE_CONTROLS"), 0u);

    ToolboxTest::CFakeView binaryView;
    Focus(Zarn::ImageDocument::Create(new Zarn::CImage(RandomImage(IImage::etUInt8)), "binary"),
          binaryView);
    const std::vector<std::string> lstMessages = TakeMessages();
    EXPECT_NE(std::find(lstMessages.begin(), lstMessages.end(), "UPDATE_CONTROLS {label=true}"),
              lstMessages.end());
}

namespace
{

// The parameter dialog comes from this program, registered in-process before the modules are
// asked, so that the test can answer it; the tools still come from the built module.
class ImageToolWithDialog : public ImageToolInToolbox
{
protected:
    // Median with the parameter dialog, its size as left by a run on an 8-bit image: 7.
    static Zarn::CValueMap* MedianOfSizeSeven()
    {
        Zarn::CValueMap* pDescription =
            ToolDescription("Median", "median", true, "ParameterDialog");
        auto* pList = new Zarn::CValueVector;
        pList->PushBack(DocViewTest::MapOf({{"name", new Zarn::CValueString("size")},
                                            {"label", new Zarn::CValueString("Size")},
                                            {"type", new Zarn::CValueString("int")},
                                            {"min", new Zarn::CValueLong(3)},
                                            {"max", new Zarn::CValueLong(255)},
                                            {"step", new Zarn::CValueLong(2)}}));
        pDescription->SetEntry(Zarn::CValue_Key("parameter list"), pList);
        pDescription->SetEntry("parameters/size", new Zarn::CValueLong(7));
        return pDescription;
    }

    void SetUp() override
    {
        ImageToolInToolbox::SetUp();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsFolder.path());
        Zarn::CPluginLoader::Obj().RegisterPlugin(
            "ParameterDialog", []() -> Zarn::CPluginBase* { return new CParameterDialogPlugin; });
    }
    void TearDown() override
    {
        CParameterDialogPlugin::SetDialogRunner(nullptr);
        ImageToolInToolbox::TearDown();
        Zarn::CPluginLoader::Obj().UnregisterPlugin("ParameterDialog");
    }

    void StartBlurWithDialog()
    {
        StartRepository();
        Zarn::CValueMap* pDescription =
            ToolDescription("GaussianBlur", "gaussian blur", true, "ParameterDialog");
        auto* pList = new Zarn::CValueVector;
        auto* pSigma = new Zarn::CValueMap;
        pSigma->SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("sigma"));
        pSigma->SetEntry(Zarn::CValue_Key("type"), new Zarn::CValueString("double"));
        pSigma->SetEntry(Zarn::CValue_Key("min"), new Zarn::CValueDouble(0.1));
        pSigma->SetEntry(Zarn::CValue_Key("max"), new Zarn::CValueDouble(100.0));
        pSigma->SetEntry(Zarn::CValue_Key("default"), new Zarn::CValueDouble(1.0));
        pList->PushBack(pSigma);
        pDescription->SetEntry(Zarn::CValue_Key("parameter list"), pList);
        StartToolbox(ToolboxParameters({pDescription}));
    }

    QTemporaryDir m_settingsFolder;
};

} // namespace

TEST_F(ImageToolWithDialog, AcceptedDialogConfiguresTheThreadedRun)
{
    StartBlurWithDialog();
    CParameterDialogPlugin::SetDialogRunner(
        [](CParameterDialog& dialog)
        {
            dialog.show();
            auto* pSigma = qobject_cast<QDoubleSpinBox*>(dialog.Editor("sigma"));
            pSigma->selectAll();
            QTest::keyClicks(pSigma, "3");
            QTest::mouseClick(dialog.Buttons()->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return dialog.result();
        });
    const Zarn::CImage input = RandomImage(IImage::etUInt8);
    ToolboxTest::CFakeView view;
    Focus(Zarn::ImageDocument::Create(new Zarn::CImage(input), "cells.png"), view);

    const size_t nStops = CountMessages("ACTIVITY_STOP");
    PostText("ON_ACTION", "gaussian blur");
    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", nStops + 1));
    Deliver();

    const std::vector<const Zarn::CValueMap*> lstAdded = AddedDocuments();
    ASSERT_EQ(lstAdded.size(), 2u);
    cv::Mat expected;
    cv::GaussianBlur(Zarn::PlaneView(input), expected, cv::Size(), 3.0, 3.0);
    EXPECT_EQ(LargestDifference(ImageOf(*lstAdded[1]), expected), 0.0);
    const Zarn::CValue* pHistory =
        ImageOf(*lstAdded[1]).Attributes().Entry(Zarn::CValue_Key("history"), true);
    EXPECT_EQ(pHistory->Vector()->Entry(Zarn::CValue_Key(0u), true)->String().StdString(),
              "GaussianBlur sigma=3");
}

TEST_F(ImageToolWithDialog, CancelledDialogRunsNothing)
{
    StartBlurWithDialog();
    CParameterDialogPlugin::SetDialogRunner([](CParameterDialog&)
                                            { return int(QDialog::Rejected); });
    ToolboxTest::CFakeView view;
    Focus(Zarn::ImageDocument::Create(new Zarn::CImage(RandomImage(IImage::etUInt8)), "a"), view);

    PostText("ON_ACTION", "gaussian blur");
    Deliver();
    EXPECT_EQ(CountMessages("ACTIVITY_START"), 0u);
    EXPECT_EQ(AddedDocuments().size(), 1u);
}

// Median run with size 7 on an 8-bit image was greyed on a 16-bit one and its dialog could not be
// reached to choose a smaller size.
TEST_F(ImageToolWithDialog,
       MedianSizeSevenStaysOfferedOnASixteenBitImageAndItsDialogAsksForOneThatFits)
{
    StartRepository();
    StartToolbox(ToolboxParameters({MedianOfSizeSeven()}));

    ToolboxTest::CFakeView flatView;
    Focus(Zarn::ImageDocument::Create(new Zarn::CImage(RandomImage(IImage::etUInt8)), "flat"),
          flatView);
    std::vector<std::string> lstMessages = TakeMessages();
    ASSERT_NE(std::find(lstMessages.begin(), lstMessages.end(), "UPDATE_CONTROLS {median=true}"),
              lstMessages.end());

    const Zarn::CImage deep = RandomImage(IImage::etUInt16);
    ToolboxTest::CFakeView deepView;
    Focus(Zarn::ImageDocument::Create(new Zarn::CImage(deep), "deep"), deepView);
    lstMessages = TakeMessages();
    EXPECT_EQ(std::find(lstMessages.begin(), lstMessages.end(), "UPDATE_CONTROLS {median=false}"),
              lstMessages.end())
        << "Median stays offered on the 16-bit image";

    bool bShown = false;
    CParameterDialogPlugin::SetDialogRunner(
        [&](CParameterDialog& dialog)
        {
            bShown = true;
            dialog.show();
            EXPECT_FALSE(dialog.IsValid()) << "size 7 does not fit a 16-bit image";
            EXPECT_NE(dialog.Message().toStdString().find("Size 7 does not fit"), std::string::npos)
                << dialog.Message().toStdString();
            auto* pSpin = qobject_cast<QSpinBox*>(dialog.Editor("size"));
            pSpin->selectAll();
            QTest::keyClicks(pSpin, "5");
            EXPECT_TRUE(dialog.IsValid());
            QTest::mouseClick(dialog.Buttons()->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return dialog.result();
        });
    const size_t nStops = CountMessages("ACTIVITY_STOP");
    PostText("ON_ACTION", "median");
    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", nStops + 1));
    Deliver();
    EXPECT_TRUE(bShown);
    EXPECT_TRUE(TakeBoxes().empty());

    const std::vector<const Zarn::CValueMap*> lstAdded = AddedDocuments();
    ASSERT_EQ(lstAdded.size(), 3u);
    cv::Mat expected;
    cv::medianBlur(Zarn::PlaneView(deep), expected, 5);
    EXPECT_EQ(LargestDifference(ImageOf(*lstAdded[2]), expected), 0.0);
}
