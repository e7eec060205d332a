// The document tools in the application's set-up: the real repository and the real toolbox of
// this program, the tools created by name from the built "imagetools" module, every message
// through the real communication thread. Only the view factory (a plug-in of another module) is
// a double; its views give the repository and the toolbox a focused document.
//
// The toolbox and the repository come from the docview classes linked into this program, not
// from the built docview module: the error boxes of the toolbox go through this program's
// DocView::ShowCriticalMessage, where the test installs its recorder. The loader opens the built
// docview module too (it opens every module of the folder), but none of the plug-ins used here
// comes from it.
//
// The question "Save changes ... before closing?" is answered through ImageTools::
// SetSaveChangesAsker, which reaches only the tools of this program's copy of the image tools.
// The tests of that question therefore register "CloseDocument" in-process; the loader asks
// in-process registrations before any module.

#include "CloseDocumentTool.h"
#include "DocumentToolsTestTools.h"
#include "FakeViewFactory.h"
#include "MessageRecorder.h"
#include "ModuleEntry.h"
#include "TestHost.h"
#include "ValueReading.h"

#include "frame/MessageBoxes.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>

#include <QCoreApplication>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <utility>

using namespace DocumentToolsTest;

namespace
{

const char* const kViewMaker = "DocumentToolsTestViews";

// Subscribed first. Records "NAME label" for messages about a document (the label read at
// delivery), the bare name otherwise.
class CMessageRecorder : public DocViewTest::CMessageRecorder
{
public:
    using DocViewTest::CMessageRecorder::CMessageRecorder;

    std::vector<std::string> m_lstMessages;
    // The name and the document of every message about a document, in order.
    std::vector<std::pair<std::string, const void*>> m_lstDocumentMessages;

protected:
    void OnMessage(const DocViewTest::SRecordedMessage& record,
                   const Zarn::CValue* /*data*/) override
    {
        std::string strText = record.m_strName;
        if (record.m_pElementType != nullptr &&
            Zarn::AreTypesEqual(*record.m_pElementType, typeid(Zarn::CValueMap)))
        {
            const auto* pDocument = static_cast<const Zarn::CValueMap*>(record.m_pPointee);
            strText += " " + (pDocument != nullptr ? Zarn::ImageDocument::Label(*pDocument)
                                                   : std::string("null"));
            m_lstDocumentMessages.emplace_back(record.m_strName, pDocument);
        }
        m_lstMessages.push_back(strText);
    }
};

struct SBox
{
    std::string m_strCaption;
    std::string m_strText;
};

Zarn::CValueMap* ToolDescription(const char* plugin, const char* action)
{
    auto* pDescription = new Zarn::CValueMap;
    pDescription->SetEntry(Zarn::CValue_Key("plugin"), new Zarn::CValueString(plugin));
    pDescription->SetEntry(Zarn::CValue_Key("callaction"), new Zarn::CValueString(action));
    pDescription->SetEntry(Zarn::CValue_Key("threaded"), new Zarn::CValueBool(false));
    return pDescription;
}

class DocumentToolsFlow : public DocViewTest::CHostFixture
{
protected:
    // An "OpenImage" tool on the action "open" whose description names these files of the
    // test folder.
    Zarn::CValueMap* OpenToolFor(std::initializer_list<const char*> lstNames)
    {
        Zarn::CValueMap* pOpen = ToolDescription("OpenImage", "open");
        auto* pFiles = new Zarn::CValueVector;
        for (const char* szName : lstNames)
        {
            pFiles->PushBack(new Zarn::CValueString(m_folder.File(szName)));
        }
        pOpen->SetEntry(Zarn::CValue_Key("files"), pFiles);
        return pOpen;
    }

    void SetUp() override
    {
        Zarn::CPluginLoader::Obj().AddSearchDirectory(MODULE_DIR);
        // One view for every document.
        m_views.m_fnAccepts = [](const Zarn::CValueMap* pDoc) { return pDoc != nullptr; };
        DocViewTest::CFakeViewFactory::Register(kViewMaker, &m_views, &m_journal);
        DocView::SetCriticalMessagePresenter(
            [this](const QString& caption, const QString& text) {
                m_lstBoxes.push_back({caption.toStdString(), text.toStdString()});
            });

        m_pRecorder = std::make_unique<CMessageRecorder>(m_pIds.get());
        m_pThread->Subscribe(m_pRecorder.get());

        m_pRepository = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Repository"));
        ASSERT_NE(m_pRepository, nullptr);
        auto* pViews = new Zarn::CValueVector;
        pViews->PushBack(DocViewTest::MapOf({{"factory", new Zarn::CValueString(kViewMaker)},
                                             {"autocreate", new Zarn::CValueBool(true)}}));
        Zarn::CValueMap parameters;
        parameters.SetEntry(Zarn::CValue_Key("views"), pViews);
        m_pRepository->Init(nullptr, parameters);
        m_pThread->Subscribe(m_pRepository);
    }

    void TearDown() override
    {
        EXPECT_EQ(m_threadLogText.str(), "") << "a plug-in threw while a message was delivered";
        for (Zarn::CPluginBase* pPlugin : {m_pToolbox, m_pRepository})
        {
            if (pPlugin != nullptr)
            {
                m_pThread->Unsubscribe(pPlugin);
                pPlugin->DeleteData();
                delete pPlugin;
            }
        }
        m_pThread->Unsubscribe(m_pRecorder.get());
        DocView::SetCriticalMessagePresenter(nullptr);
        Zarn::CPluginLoader::Obj().UnregisterPlugin(kViewMaker);
        Zarn::CPluginLoader::Obj().UnregisterPlugin("CloseDocument");
        DocViewTest::CHostFixture::TearDown();
    }

    // The toolbox with these tool descriptions (taken), subscribed after the repository.
    void StartToolbox(const std::vector<Zarn::CValueMap*>& descriptions)
    {
        auto* pTools = new Zarn::CValueVector;
        for (Zarn::CValueMap* pDescription : descriptions)
        {
            pTools->PushBack(pDescription);
        }
        Zarn::CValueMap parameters;
        parameters.SetEntry(Zarn::CValue_Key("tool plugins"), pTools);
        m_pToolbox = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Toolbox"));
        ASSERT_NE(m_pToolbox, nullptr);
        m_pToolbox->Init(nullptr, parameters);
        m_pThread->Subscribe(m_pToolbox);
        Deliver();
    }

    void Trigger(const char* action)
    {
        Post("ON_ACTION", new Zarn::CValueString(action));
        Deliver();
    }

    // Hands the document to the repository, which makes a view and focuses it.
    Zarn::CValueMap* AddDocument(Zarn::CValueMap* document)
    {
        Post("ADD_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(document));
        Deliver();
        return document;
    }

    void Deliver()
    {
        for (int nRound = 0; nRound < 20; ++nRound)
        {
            QCoreApplication::processEvents();
            if (m_pThread->DeliverUntilIdle() == 0)
            {
                return;
            }
        }
        ADD_FAILURE() << "messages kept coming";
    }

    size_t Count(const std::string& message) const
    {
        return static_cast<size_t>(std::count(m_pRecorder->m_lstMessages.begin(),
                                              m_pRecorder->m_lstMessages.end(), message));
    }

    bool WasInvalidated(const Zarn::CValueMap* document) const
    {
        const auto& lstSeen = m_pRecorder->m_lstDocumentMessages;
        return std::find(lstSeen.begin(), lstSeen.end(),
                         std::make_pair(std::string("INVALID_DOCUMENT"),
                                        static_cast<const void*>(document))) != lstSeen.end();
    }

    static bool IsSavedFlagTrue(const Zarn::CValueMap& document)
    {
        const Zarn::CValue* pFlag = document.Entry("is_saved/image", false);
        return pFlag != nullptr && pFlag->GenericType() == Zarn::CValue::vtBool && pFlag->Bool();
    }

    CTempFolder m_folder;
    DocViewTest::SJournal m_journal;
    DocViewTest::SFactoryBehaviour m_views;
    std::unique_ptr<CMessageRecorder> m_pRecorder;
    Zarn::CPluginBase* m_pRepository = nullptr;
    Zarn::CPluginBase* m_pToolbox = nullptr;
    std::vector<SBox> m_lstBoxes;
};

TEST_F(DocumentToolsFlow, OpeningTwoFilesAddsTwoDocumentsToTheRepository)
{
    Zarn::CImageFile::Write(m_folder.File("left.png"),
                            *std::unique_ptr<Zarn::CImage>(NewUInt8Image(1)));
    Zarn::CImageFile::Write(m_folder.File("right.tif"),
                            *std::unique_ptr<Zarn::CImage>(NewUInt16Image()));
    Zarn::CValueMap* pOpen = OpenToolFor({"left.png", "right.tif"});
    StartToolbox({pOpen});

    Trigger("open");

    EXPECT_EQ(Count("ADD_DOCUMENT left.png"), 1U);
    EXPECT_EQ(Count("ADD_DOCUMENT right.tif"), 1U);
    EXPECT_EQ(Count("NEW_DOCUMENT left.png"), 1U);
    EXPECT_EQ(Count("NEW_DOCUMENT right.tif"), 1U);
    EXPECT_TRUE(m_lstBoxes.empty());
    const std::vector<std::string> lstModules = Zarn::CPluginLoader::Obj().LoadedModules();
    EXPECT_TRUE(
        std::any_of(lstModules.begin(), lstModules.end(),
                    [](const std::string& strModule)
                    { return std::filesystem::path(strModule).filename() == "imagetools.so"; }))
        << "the tool did not come from the built module";
}

TEST_F(DocumentToolsFlow, OpeningWithACorruptFileAddsTheOtherAndTheErrorBoxNamesTheCorruptOne)
{
    Zarn::CImageFile::Write(m_folder.File("fine.png"),
                            *std::unique_ptr<Zarn::CImage>(NewUInt8Image(1)));
    WriteText(m_folder.File("broken.png"), "not a PNG at all");
    Zarn::CValueMap* pOpen = OpenToolFor({"broken.png", "fine.png"});
    StartToolbox({pOpen});

    Trigger("open");

    EXPECT_EQ(Count("NEW_DOCUMENT fine.png"), 1U);
    EXPECT_EQ(Count("NEW_DOCUMENT broken.png"), 0U);
    ASSERT_EQ(m_lstBoxes.size(), 1U);
    EXPECT_EQ(m_lstBoxes[0].m_strCaption, "Error while running plugin");
    EXPECT_EQ(m_lstBoxes[0].m_strText.rfind(m_folder.File("broken.png") + ": ", 0), 0U)
        << m_lstBoxes[0].m_strText;
    EXPECT_EQ(m_lstBoxes[0].m_strText.find("fine.png"), std::string::npos);
}

TEST_F(DocumentToolsFlow, Saving16BitImageWritesPixelsAndHeaderAndTheRepositoryMarksItSaved)
{
    const std::string strPath = m_folder.File("scan16.tif");
    Zarn::CValueMap* pSave = ToolDescription("SaveImage", "save");
    pSave->SetEntry(Zarn::CValue_Key("file"), new Zarn::CValueString(strPath));
    StartToolbox({pSave});
    Zarn::CValueMap* pDocument = AddDocument(Zarn::ImageDocument::Create(NewUInt16Image(), "scan"));
    ASSERT_FALSE(IsSavedFlagTrue(*pDocument));

    Trigger("save");

    EXPECT_TRUE(m_lstBoxes.empty()) << m_lstBoxes[0].m_strText;
    std::unique_ptr<Zarn::CImage> pBack(Zarn::CImageFile::Read(strPath));
    std::unique_ptr<Zarn::CImage> pExpected(NewUInt16Image());
    EXPECT_TRUE(pBack->EqualPixels(*pExpected));
    EXPECT_TRUE(pBack->Attributes().Equal(HeaderAsRead(*pExpected, strPath)));
    EXPECT_EQ(Count("UPDATE_DOCUMENT scan16.tif"), 1U);
    EXPECT_TRUE(IsSavedFlagTrue(*pDocument));
    EXPECT_EQ(Zarn::ImageDocument::Label(*pDocument), "scan16.tif");
    EXPECT_EQ(Zarn::ImageDocument::FileName(*pDocument), strPath);
}

TEST_F(DocumentToolsFlow, SavingAChangedDocumentKeepsItsLabelAndMarksItSavedAgain)
{
    const std::string strPath = m_folder.File("plate.png");
    StartToolbox({ToolDescription("SaveImage", "save")});
    Zarn::CValueMap* pDocument =
        AddDocument(Zarn::ImageDocument::Create(NewUInt8Image(8), "plate.png", strPath));
    pDocument->RemoveEntry("is_saved/image"); // a tool changed the image

    Trigger("save");

    EXPECT_TRUE(m_lstBoxes.empty());
    EXPECT_TRUE(std::filesystem::exists(strPath));
    EXPECT_TRUE(IsSavedFlagTrue(*pDocument));
    EXPECT_EQ(Zarn::ImageDocument::Label(*pDocument), "plate.png");
    EXPECT_EQ(pDocument->EntryLong(Zarn::CValue_Key("index")), 1) << "the label was not renewed";
}

TEST_F(DocumentToolsFlow, SavingAFloatImageAsPngShowsTheErrorAndWritesNothing)
{
    Zarn::CValueMap* pSaveAs = ToolDescription("SaveImageAs", "saveas");
    pSaveAs->SetEntry(Zarn::CValue_Key("file"), new Zarn::CValueString(m_folder.File("heat.png")));
    StartToolbox({pSaveAs});
    Zarn::CValueMap* pDocument = AddDocument(Zarn::ImageDocument::Create(NewFloatImage(), "heat"));

    Trigger("saveas");

    ASSERT_EQ(m_lstBoxes.size(), 1U);
    EXPECT_EQ(m_lstBoxes[0].m_strCaption, "Error while running plugin");
    EXPECT_NE(m_lstBoxes[0].m_strText.find("cannot store float32x1 images"), std::string::npos)
        << m_lstBoxes[0].m_strText;
    EXPECT_TRUE(m_folder.IsEmpty());
    EXPECT_EQ(Count("UPDATE_DOCUMENT heat"), 0U);
    EXPECT_FALSE(IsSavedFlagTrue(*pDocument));
}

TEST_F(DocumentToolsFlow, ClosingASavedDocumentRemovesIt)
{
    Zarn::CImageFile::Write(m_folder.File("kept.png"),
                            *std::unique_ptr<Zarn::CImage>(NewUInt8Image(1)));
    Zarn::CValueMap* pOpen = OpenToolFor({"kept.png"});
    StartToolbox({pOpen, ToolDescription("CloseDocument", "close")});
    Trigger("open");
    ASSERT_EQ(Count("NEW_DOCUMENT kept.png"), 1U);

    Trigger("close");

    EXPECT_EQ(Count("REMOVE_DOCUMENT kept.png"), 1U);
    EXPECT_EQ(Count("INVALID_DOCUMENT kept.png"), 1U);
    EXPECT_TRUE(m_lstBoxes.empty());
}

// The tests of the question: "CloseDocument" of this program, so that the answer reaches it.
class DocumentToolsCloseFlow : public DocumentToolsFlow
{
protected:
    void SetUp() override
    {
        DocumentToolsFlow::SetUp();
        Zarn::CPluginLoader::Obj().RegisterPlugin(
            "CloseDocument", []() -> Zarn::CPluginBase* { return new CCloseDocumentTool; });
        m_dialogs.m_bQuestionExpected = true;
    }

    Zarn::CValueMap* AddUnsavedDocument()
    {
        return AddDocument(Zarn::ImageDocument::Create(NewUInt16Image(), "draft"));
    }

    // Starts the close tool, adds an unsaved document and closes it; the question about saving
    // gets `enAnswer`. Returns the document that was asked about.
    Zarn::CValueMap* CloseUnsavedDocumentAnswering(ImageTools::EnSaveAnswer enAnswer)
    {
        StartToolbox({ToolDescription("CloseDocument", "close")});
        Zarn::CValueMap* pDocument = AddUnsavedDocument();
        m_dialogs.m_enAnswer = enAnswer;
        Trigger("close");
        return pDocument;
    }

    CDialogScript m_dialogs;
};

TEST_F(DocumentToolsCloseFlow, CancelKeepsTheUnsavedDocument)
{
    Zarn::CValueMap* pDocument = CloseUnsavedDocumentAnswering(ImageTools::saCancel);

    ASSERT_EQ(m_dialogs.m_lstQuestions.size(), 1U);
    EXPECT_EQ(m_dialogs.m_lstQuestions[0].m_strArgument, "Save changes to 'draft' before closing?");
    EXPECT_EQ(Count("REMOVE_DOCUMENT draft"), 0U);
    EXPECT_FALSE(WasInvalidated(pDocument));
    EXPECT_TRUE(m_folder.IsEmpty());
}

TEST_F(DocumentToolsCloseFlow, DiscardRemovesTheUnsavedDocumentWithoutWriting)
{
    Zarn::CValueMap* pDocument = CloseUnsavedDocumentAnswering(ImageTools::saDiscard);

    EXPECT_EQ(m_dialogs.m_lstQuestions.size(), 1U);
    EXPECT_TRUE(WasInvalidated(pDocument));
    EXPECT_TRUE(m_folder.IsEmpty());
}

TEST_F(DocumentToolsCloseFlow, SaveWritesTheFileThenRemovesTheDocument)
{
    Zarn::CValueMap* pClose = ToolDescription("CloseDocument", "close");
    pClose->SetEntry(Zarn::CValue_Key("file"), new Zarn::CValueString(m_folder.File("draft.tif")));
    StartToolbox({pClose});
    Zarn::CValueMap* pDocument = AddUnsavedDocument();
    m_dialogs.m_enAnswer = ImageTools::saSave;

    Trigger("close");

    EXPECT_EQ(m_dialogs.m_lstQuestions.size(), 1U);
    std::unique_ptr<Zarn::CImage> pBack(Zarn::CImageFile::Read(m_folder.File("draft.tif")));
    EXPECT_TRUE(pBack->EqualPixels(*std::unique_ptr<Zarn::CImage>(NewUInt16Image())));
    EXPECT_TRUE(WasInvalidated(pDocument));
    EXPECT_TRUE(m_lstBoxes.empty());
}

} // namespace
