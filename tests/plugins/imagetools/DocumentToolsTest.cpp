// The document tools called directly, as the toolbox calls them: Init with the description, then
// TestParameters / UpdateParameters with an input map, then Run. Every dialog is answered by a
// CDialogScript.

#include "CloseDocumentTool.h"
#include "DocumentToolsTestTools.h"
#include "OpenImageTool.h"
#include "PluginCatalogue.h"
#include "SaveImageTool.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageFile.h>

#include <memory>

using namespace DocumentToolsTest;

namespace
{

// The documents the repository would take, deleted with the test.
class CDocuments
{
public:
    Zarn::CValueMap* Adopt(Zarn::CValueMap* document)
    {
        m_lstOwned.emplace_back(document);
        return document;
    }

private:
    std::vector<std::unique_ptr<Zarn::CValueMap>> m_lstOwned;
};

// A toolbox input whose focused document is `document` (none for null).
Zarn::CValueMap InputFocusing(Zarn::CValueMap* document)
{
    Zarn::CValueMap input;
    input.SetEntry(Zarn::CValue_Key("input"), new Zarn::CValueMap);
    if (document != nullptr)
    {
        input.SetEntry("input/documents/focused",
                       new Zarn::CValuePointer<Zarn::CValueMap>(document));
        auto* pAvailable = new Zarn::CValueVector;
        pAvailable->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(document));
        input.SetEntry("input/documents/available", pAvailable);
    }
    return input;
}

Zarn::CValueMap Description(const char* plugin, const char* key = nullptr,
                            Zarn::CValue* value = nullptr)
{
    Zarn::CValueMap description;
    description.SetEntry(Zarn::CValue_Key("plugin"), new Zarn::CValueString(plugin));
    description.SetEntry(Zarn::CValue_Key("threaded"), new Zarn::CValueBool(false));
    if (key != nullptr)
    {
        description.SetEntry(Zarn::CValue_Key(key), value);
    }
    return description;
}

Zarn::CValueVector* TextList(const std::vector<std::string>& texts)
{
    auto* pList = new Zarn::CValueVector;
    for (const std::string& strText : texts)
    {
        pList->PushBack(new Zarn::CValueString(strText));
    }
    return pList;
}

// The document pointers of the vector at `path`; empty when absent.
std::vector<Zarn::CValueMap*> DocumentsAt(const Zarn::CValueMap& data, const char* path)
{
    std::vector<Zarn::CValueMap*> lstDocuments;
    const Zarn::CValue* pList = data.Entry(path, false);
    if (pList != nullptr && pList->Vector() != nullptr)
    {
        for (unsigned int i = 0; i < pList->Vector()->Size(); ++i)
        {
            lstDocuments.push_back(
                const_cast<Zarn::CValueMap*>(Zarn::UnwrapPointer<Zarn::CValueMap>(
                    pList->Vector()->Entry(Zarn::CValue_Key(i), true))));
        }
    }
    return lstDocuments;
}

std::string ErrorText(const Zarn::CValueMap& data)
{
    const Zarn::CValue* pText = data.Entry("output/error/message", false);
    return pText != nullptr ? pText->String().StdString() : std::string();
}

// Prepares the tool as the toolbox does and tells it about `document`; returns TestParameters.
bool Prepare(Zarn::CPluginBase& tool, const Zarn::CValueMap& description, Zarn::CValueMap* document)
{
    tool.Init(nullptr, description);
    tool.UpdateParameters(description);
    const Zarn::CValueMap input = InputFocusing(document);
    const bool bRunnable = tool.TestParameters(input);
    if (bRunnable)
    {
        tool.UpdateParameters(input);
    }
    return bRunnable;
}

// Prepares the tool for `document` and, when it accepts, runs it once into `data`.
bool PrepareAndRun(Zarn::CPluginBase& tool, const Zarn::CValueMap& description,
                   Zarn::CValueMap* document, Zarn::CValueMap& data)
{
    if (!Prepare(tool, description, document))
    {
        return false;
    }
    tool.Run(data);
    return true;
}

// A document owning the image; an empty path leaves it without file.
std::unique_ptr<Zarn::CValueMap> NewDocument(Zarn::CImage* image, const std::string& label,
                                             const std::string& path = std::string())
{
    return std::unique_ptr<Zarn::CValueMap>(Zarn::ImageDocument::Create(image, label, path));
}

// Prepares a new tool of the class, described by its plug-in name alone, for `document` and runs
// it into `data`; false when it does not accept the document.
template <class TTool>
bool RunNewTool(const char* plugin, Zarn::CValueMap* document, Zarn::CValueMap& data)
{
    TTool tool;
    return PrepareAndRun(tool, Description(plugin), document, data);
}

// Runs Save As on `document` into `data`, its dialog answering `path`.
bool SaveAsAnswering(const std::string& path, Zarn::CValueMap* document, Zarn::CValueMap& data)
{
    CDialogScript dialogs;
    dialogs.AnswerSave(path);
    return RunNewTool<CSaveImageAsTool>("SaveImageAs", document, data);
}

bool UpdateFlag(const Zarn::CValueMap& document, const char* path)
{
    const Zarn::CValue* pFlag = document.Entry(path, false);
    EXPECT_NE(pFlag, nullptr) << path;
    return pFlag != nullptr && pFlag->Bool();
}

// ---------------------------------------------------------------------------------------------

TEST(DocumentToolCatalogue, EveryDocumentToolIsRegisteredByName)
{
    for (const char* szName : {"OpenImage", "SaveImage", "SaveImageAs", "CloseDocument"})
    {
        std::unique_ptr<Zarn::CPluginBase> pTool(CPluginCatalogue::Create(szName));
        ASSERT_NE(pTool, nullptr) << szName;
        Zarn::CValueMap setup;
        pTool->GetPluginSetup(setup);
        EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("PluginName")).StdString(), szName);
    }
}

TEST(OpenImageTool, IsRunnableWithoutAnyDocument)
{
    COpenImageTool tool;
    EXPECT_TRUE(Prepare(tool, Description("OpenImage"), nullptr));
}

TEST(OpenImageTool, FilesOfTheDescriptionBecomeSavedDocumentsInOrder)
{
    CTempFolder folder;
    Zarn::CImageFile::Write(folder.File("a.png"), *std::unique_ptr<Zarn::CImage>(NewUInt8Image(1)));
    Zarn::CImageFile::Write(folder.File("b.tif"), *std::unique_ptr<Zarn::CImage>(NewUInt16Image()));
    CDialogScript dialogs;
    CDocuments documents;

    COpenImageTool tool;
    Prepare(
        tool,
        Description("OpenImage", "files", TextList({folder.File("a.png"), folder.File("b.tif")})),
        nullptr);
    Zarn::CValueMap data;
    tool.Run(data);

    const std::vector<Zarn::CValueMap*> lstAdded = DocumentsAt(data, "output/documents/add");
    ASSERT_EQ(lstAdded.size(), 2U);
    for (Zarn::CValueMap* pDocument : lstAdded)
    {
        documents.Adopt(pDocument);
    }
    EXPECT_EQ(Zarn::ImageDocument::Label(*lstAdded[0]), "a.png");
    EXPECT_EQ(Zarn::ImageDocument::FileName(*lstAdded[1]), folder.File("b.tif"));
    EXPECT_TRUE(Zarn::ImageDocument::IsSaved(*lstAdded[0]));
    ASSERT_NE(Zarn::ImageDocument::Image(*lstAdded[1]), nullptr);
    EXPECT_TRUE(Zarn::ImageDocument::Image(*lstAdded[1])
                    ->EqualPixels(*std::unique_ptr<Zarn::CImage>(NewUInt16Image())));
    EXPECT_FALSE(data.HasEntry("output/error"));
    EXPECT_TRUE(dialogs.m_lstOpenCalls.empty());
}

TEST(OpenImageTool, CorruptAndMissingFilesAreReportedOneLineEachAndTheRestStillOpens)
{
    CTempFolder folder;
    Zarn::CImageFile::Write(folder.File("good.png"),
                            *std::unique_ptr<Zarn::CImage>(NewUInt8Image(7)));
    WriteText(folder.File("corrupt.tif"), "this is no TIFF file");
    CDocuments documents;

    COpenImageTool tool;
    Prepare(tool,
            Description("OpenImage", "files",
                        TextList({folder.File("corrupt.tif"), folder.File("good.png"),
                                  folder.File("missing.png")})),
            nullptr);
    Zarn::CValueMap data;
    tool.Run(data);

    const std::vector<Zarn::CValueMap*> lstAdded = DocumentsAt(data, "output/documents/add");
    ASSERT_EQ(lstAdded.size(), 1U);
    documents.Adopt(lstAdded[0]);
    EXPECT_EQ(Zarn::ImageDocument::Label(*lstAdded[0]), "good.png");
    ASSERT_TRUE(data.HasEntry("output/error"));
    const std::string strError = ErrorText(data);
    const size_t uBreak = strError.find('\n');
    ASSERT_NE(uBreak, std::string::npos) << strError;
    EXPECT_EQ(strError.substr(0, uBreak).rfind(folder.File("corrupt.tif") + ": ", 0), 0U)
        << strError;
    EXPECT_EQ(strError.substr(uBreak + 1),
              folder.File("missing.png") + ": cannot open: No such file or directory");
}

TEST(OpenImageTool, WithoutFilesTheDialogAsksForImagesAndStartsInTheFolderLastUsed)
{
    CTempFolder folder;
    Zarn::CImageFile::Write(folder.File("first.bmp"),
                            *std::unique_ptr<Zarn::CImage>(NewUInt8Image(3)));
    CDialogScript dialogs;
    dialogs.m_bOpenExpected = true;
    dialogs.m_lstFilesToOpen = {QString::fromStdString(folder.File("first.bmp"))};
    CDocuments documents;

    COpenImageTool tool;
    Prepare(tool, Description("OpenImage"), nullptr);
    Zarn::CValueMap first;
    tool.Run(first);
    dialogs.m_lstFilesToOpen.clear(); // the second time the user cancels
    Zarn::CValueMap second;
    tool.Run(second);

    ASSERT_EQ(DocumentsAt(first, "output/documents/add").size(), 1U);
    documents.Adopt(DocumentsAt(first, "output/documents/add")[0]);
    ASSERT_EQ(dialogs.m_lstOpenCalls.size(), 2U);
    EXPECT_EQ(dialogs.m_lstOpenCalls[0].m_strFilters,
              "Images (*.png *.tif *.tiff *.jpg *.jpeg *.bmp);;All files (*)");
    EXPECT_EQ(dialogs.m_lstOpenCalls[1].m_strArgument, folder.Path());
    EXPECT_FALSE(second.HasEntry("output")) << "a cancelled dialog gives no output";
}

// A header that claims a billion pixels could take all the memory while it is decoded: the user
// is asked first, a description's file is refused.
TEST(OpenImageTool, ImageTooLargeIsOpenedOnlyAfterTheUserSaidSo)
{
    const std::string strBomb = std::string(BATCH_INPUTS) + "/bomb-32000x32000.png";
    CDialogScript dialogs;
    dialogs.m_bOpenExpected = true;
    dialogs.m_lstFilesToOpen = {QString::fromStdString(strBomb)};
    dialogs.m_bLargeImageExpected = true;
    COpenImageTool chosen;
    Prepare(chosen, Description("OpenImage"), nullptr);
    Zarn::CValueMap data;
    chosen.Run(data);
    EXPECT_TRUE(DocumentsAt(data, "output/documents/add").empty());
    EXPECT_FALSE(data.HasEntry("output/error")) << "cancelled, not failed";
    ASSERT_EQ(dialogs.m_lstLargeImageQuestions.size(), 1U);
    EXPECT_EQ(dialogs.m_lstLargeImageQuestions[0].m_strCaption, "Open a large image?");
    EXPECT_EQ(dialogs.m_lstLargeImageQuestions[0].m_strArgument,
              strBomb + ": image too large: 32000 × 32000 pixels, the limit is 268435456 pixels.");

    COpenImageTool described;
    Prepare(described, Description("OpenImage", "files", TextList({strBomb})), nullptr);
    Zarn::CValueMap replayed;
    described.Run(replayed);
    EXPECT_TRUE(DocumentsAt(replayed, "output/documents/add").empty());
    EXPECT_EQ(ErrorText(replayed),
              strBomb + ": image too large: 32000 × 32000 pixels, the limit is 268435456 pixels");
    EXPECT_EQ(dialogs.m_lstLargeImageQuestions.size(), 1U);
}

TEST(OpenImageTool, DescriptionFilesThatAreNoListOfTextsAreRejected)
{
    COpenImageTool tool;
    EXPECT_THROW(
        tool.Init(nullptr, Description("OpenImage", "files", new Zarn::CValueString("a.png"))),
        Zarn::CException);
    auto* pList = new Zarn::CValueVector;
    pList->PushBack(new Zarn::CValueLong(1));
    EXPECT_THROW(tool.Init(nullptr, Description("OpenImage", "files", pList)), Zarn::CException);
}

// ---------------------------------------------------------------------------------------------

TEST(SaveImageTool, IsRunnableOnlyWhileTheFocusedDocumentHoldsAnImage)
{
    std::unique_ptr<Zarn::CValueMap> pImageDocument(
        Zarn::ImageDocument::Create(NewUInt8Image(0), "result"));
    Zarn::CValueMap textDocument;
    textDocument.SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("notes"));

    for (const char* szName : {"SaveImage", "SaveImageAs"})
    {
        std::unique_ptr<Zarn::CPluginBase> pTool(CPluginCatalogue::Create(szName));
        EXPECT_FALSE(Prepare(*pTool, Description(szName), nullptr)) << szName;
        EXPECT_FALSE(Prepare(*pTool, Description(szName), &textDocument)) << szName;
        EXPECT_TRUE(Prepare(*pTool, Description(szName), pImageDocument.get())) << szName;
    }
}

TEST(SaveImageTool, SavesToTheDocumentsFileWithHeaderAndAsksTheRepositoryToMarkItSaved)
{
    CTempFolder folder;
    const std::string strPath = folder.File("scan.tif");
    std::unique_ptr<Zarn::CValueMap> pDocument = NewDocument(NewUInt16Image(), "scan.tif", strPath);
    pDocument->RemoveEntry("is_saved/image"); // changed since it was read
    CDialogScript dialogs;

    Zarn::CValueMap data;
    ASSERT_TRUE(RunNewTool<CSaveImageTool>("SaveImage", pDocument.get(), data));

    EXPECT_FALSE(data.HasEntry("output/error")) << ErrorText(data);
    EXPECT_EQ(DocumentsAt(data, "output/documents/update"),
              std::vector<Zarn::CValueMap*>{pDocument.get()});
    std::unique_ptr<Zarn::CImage> pBack(Zarn::CImageFile::Read(strPath));
    const Zarn::CImage& saved = *Zarn::ImageDocument::Image(*pDocument);
    EXPECT_TRUE(pBack->EqualPixels(saved));
    EXPECT_TRUE(pBack->Attributes().Equal(HeaderAsRead(saved, strPath)));
    EXPECT_FALSE(UpdateFlag(*pDocument, "update/label"));
    EXPECT_FALSE(UpdateFlag(*pDocument, "update/content"));
    EXPECT_TRUE(UpdateFlag(*pDocument, "update/is_saved/image"));
    EXPECT_EQ(Zarn::ImageDocument::Label(*pDocument), "scan.tif");
    EXPECT_TRUE(dialogs.m_lstSaveCalls.empty());
}

TEST(SaveImageTool, DocumentWithoutFileIsSavedAsProposingItsLabelWithTif)
{
    CTempFolder folder;
    std::unique_ptr<Zarn::CValueMap> pDocument = NewDocument(NewUInt8Image(9), "result");
    CDialogScript dialogs;
    dialogs.AnswerSave(folder.File("chosen.png"));

    Zarn::CValueMap data;
    ASSERT_TRUE(RunNewTool<CSaveImageTool>("SaveImage", pDocument.get(), data));

    ASSERT_EQ(dialogs.m_lstSaveCalls.size(), 1U);
    EXPECT_EQ(fs::path(dialogs.m_lstSaveCalls[0].m_strArgument).filename(), "result.tif");
    EXPECT_TRUE(fs::exists(folder.File("chosen.png")));
    EXPECT_EQ(Zarn::ImageDocument::FileName(*pDocument), folder.File("chosen.png"));
    EXPECT_EQ(Zarn::ImageDocument::Label(*pDocument), "chosen.png");
    EXPECT_TRUE(UpdateFlag(*pDocument, "update/label"));
    EXPECT_EQ(DocumentsAt(data, "output/documents/update").size(), 1U);
}

TEST(SaveImageAsTool, ProposesTheLabelAsItIsWhenItNamesAFormatAndKeepsTheFolder)
{
    CTempFolder folder;
    std::unique_ptr<Zarn::CValueMap> pDocument =
        NewDocument(NewUInt8Image(2), "plate.png", folder.File("plate.png"));
    CDialogScript dialogs;
    dialogs.m_bSaveExpected = true; // and cancelled

    Zarn::CValueMap data;
    ASSERT_TRUE(RunNewTool<CSaveImageAsTool>("SaveImageAs", pDocument.get(), data));

    ASSERT_EQ(dialogs.m_lstSaveCalls.size(), 1U);
    EXPECT_EQ(dialogs.m_lstSaveCalls[0].m_strArgument, folder.File("plate.png"));
    EXPECT_FALSE(data.HasEntry("output")) << "a cancelled dialog gives no output";
    EXPECT_FALSE(pDocument->HasEntry(Zarn::CValue_Key("update")));
    EXPECT_TRUE(folder.IsEmpty());
}

TEST(SaveImageAsTool, DescriptionFileAnswersWithoutDialogAndRenamesTheDocument)
{
    CTempFolder folder;
    std::unique_ptr<Zarn::CValueMap> pDocument =
        NewDocument(NewUInt8Image(4), "old.png", folder.File("old.png"));
    CDialogScript dialogs;

    CSaveImageAsTool tool;
    ASSERT_TRUE(Prepare(
        tool, Description("SaveImageAs", "file", new Zarn::CValueString(folder.File("new.bmp"))),
        pDocument.get()));
    Zarn::CValueMap data;
    tool.Run(data);

    EXPECT_FALSE(data.HasEntry("output/error")) << ErrorText(data);
    EXPECT_TRUE(fs::exists(folder.File("new.bmp")));
    EXPECT_EQ(Zarn::ImageDocument::Label(*pDocument), "new.bmp");
    EXPECT_EQ(Zarn::ImageDocument::FileName(*pDocument), folder.File("new.bmp"));
    EXPECT_TRUE(UpdateFlag(*pDocument, "update/label"));
}

TEST(SaveImageAsTool, ChosenNameWithoutExtensionIsSavedAsTiff)
{
    CTempFolder folder;
    std::unique_ptr<Zarn::CValueMap> pDocument = NewDocument(NewUInt16Image(), "result");

    Zarn::CValueMap data;
    ASSERT_TRUE(SaveAsAnswering(folder.File("bare"), pDocument.get(), data));

    EXPECT_FALSE(data.HasEntry("output/error")) << ErrorText(data);
    EXPECT_TRUE(fs::exists(folder.File("bare.tif")));
    EXPECT_EQ(Zarn::ImageDocument::Label(*pDocument), "bare.tif");
}

TEST(SaveImageAsTool, FloatImageToPngIsRefusedWithAClearErrorAndNothingIsWritten)
{
    CTempFolder folder;
    std::unique_ptr<Zarn::CValueMap> pDocument = NewDocument(NewFloatImage(), "map");

    Zarn::CValueMap data;
    ASSERT_TRUE(SaveAsAnswering(folder.File("map.png"), pDocument.get(), data));

    EXPECT_TRUE(data.HasEntry("output/error"));
    EXPECT_EQ(ErrorText(data), "Cannot save 'map' as '" + folder.File("map.png") +
                                   "': this file type cannot store float32x1 images.");
    EXPECT_TRUE(folder.IsEmpty());
    EXPECT_FALSE(data.HasEntry("output/documents"));
    EXPECT_FALSE(pDocument->HasEntry(Zarn::CValue_Key("update")));
    EXPECT_FALSE(pDocument->HasEntry(Zarn::CValue_Key("filename")));
}

TEST(SaveImageTool, WriteErrorIsReportedAndTheDocumentStaysUnsaved)
{
    CTempFolder folder;
    const std::string strPath = folder.File("gone/scan.tif"); // the folder does not exist
    std::unique_ptr<Zarn::CValueMap> pDocument = NewDocument(NewUInt16Image(), "scan");
    pDocument->SetEntry(Zarn::CValue_Key("filename"), new Zarn::CValueString(strPath));

    Zarn::CValueMap data;
    ASSERT_TRUE(RunNewTool<CSaveImageTool>("SaveImage", pDocument.get(), data));

    const std::string strError = ErrorText(data);
    EXPECT_EQ(strError.rfind("Cannot save 'scan': " + strPath + ": ", 0), 0U) << strError;
    EXPECT_FALSE(data.HasEntry("output/documents"));
    EXPECT_FALSE(pDocument->HasEntry(Zarn::CValue_Key("update")));
    EXPECT_FALSE(Zarn::ImageDocument::IsSaved(*pDocument));
}

TEST(SaveImageTool, DocumentGivenInTheRunDataIsSavedLikeTheFocusedOne)
{
    CTempFolder folder;
    std::unique_ptr<Zarn::CValueMap> pDocument =
        NewDocument(NewUInt8Image(5), "batch", folder.File("batch.png"));

    CSaveImageTool tool;
    tool.Init(nullptr, Description("SaveImage"));
    Zarn::CValueMap data = InputFocusing(pDocument.get());
    tool.Run(data);

    EXPECT_TRUE(fs::exists(folder.File("batch.png")));
    EXPECT_EQ(DocumentsAt(data, "output/documents/update").size(), 1U);
}

TEST(SaveImageTool, ForgetsTheDocumentWhenNothingIsFocusedAnyMore)
{
    std::unique_ptr<Zarn::CValueMap> pDocument = NewDocument(NewUInt8Image(5), "gone");
    CSaveImageTool tool;
    ASSERT_TRUE(Prepare(tool, Description("SaveImage"), pDocument.get()));
    EXPECT_FALSE(tool.TestParameters(InputFocusing(nullptr)));
    pDocument.reset();

    Zarn::CValueMap data;
    tool.Run(data);
    EXPECT_EQ(ErrorText(data), "There is no image to save.");
}

// ---------------------------------------------------------------------------------------------

class CloseDocumentTool : public ::testing::Test
{
protected:
    // Runs the tool on m_pDocument.
    Zarn::CValueMap RunClose(const Zarn::CValueMap& description)
    {
        CCloseDocumentTool tool;
        EXPECT_TRUE(Prepare(tool, description, m_pDocument.get()));
        Zarn::CValueMap data;
        tool.Run(data);
        return data;
    }

    CTempFolder m_folder;
    CDialogScript m_dialogs;
    std::unique_ptr<Zarn::CValueMap> m_pDocument{
        Zarn::ImageDocument::Create(NewUInt16Image(), "work")};
};

TEST_F(CloseDocumentTool, IsRunnableOnlyWhileADocumentIsFocused)
{
    CCloseDocumentTool tool;
    EXPECT_FALSE(Prepare(tool, Description("CloseDocument"), nullptr));
    Zarn::CValueMap anyDocument;
    EXPECT_TRUE(Prepare(tool, Description("CloseDocument"), &anyDocument));
}

TEST_F(CloseDocumentTool, SavedDocumentClosesWithoutAQuestion)
{
    m_pDocument->SetEntry("is_saved/image", new Zarn::CValueBool(true));
    const Zarn::CValueMap data = RunClose(Description("CloseDocument"));
    EXPECT_EQ(DocumentsAt(data, "output/documents/remove"),
              std::vector<Zarn::CValueMap*>{m_pDocument.get()});
    EXPECT_TRUE(m_dialogs.m_lstQuestions.empty());
}

TEST_F(CloseDocumentTool, UnsavedDocumentAsksAndCancelKeepsIt)
{
    m_dialogs.m_bQuestionExpected = true;
    m_dialogs.m_enAnswer = ImageTools::saCancel;
    const Zarn::CValueMap data = RunClose(Description("CloseDocument"));
    ASSERT_EQ(m_dialogs.m_lstQuestions.size(), 1U);
    EXPECT_EQ(m_dialogs.m_lstQuestions[0].m_strArgument, "Save changes to 'work' before closing?");
    EXPECT_FALSE(data.HasEntry("output"));
}

TEST_F(CloseDocumentTool, UnsavedDocumentDiscardedClosesWithoutWriting)
{
    m_dialogs.m_bQuestionExpected = true;
    m_dialogs.m_enAnswer = ImageTools::saDiscard;
    const Zarn::CValueMap data = RunClose(Description("CloseDocument"));
    EXPECT_EQ(DocumentsAt(data, "output/documents/remove").size(), 1U);
    EXPECT_TRUE(m_folder.IsEmpty());
}

TEST_F(CloseDocumentTool, SaveWithoutFileAsksForAPathWritesThenCloses)
{
    m_dialogs.m_bQuestionExpected = true;
    m_dialogs.m_enAnswer = ImageTools::saSave;
    m_dialogs.m_bSaveExpected = true;
    m_dialogs.m_strSavePath = m_folder.File("work.tif");
    const Zarn::CValueMap data = RunClose(Description("CloseDocument"));
    EXPECT_EQ(DocumentsAt(data, "output/documents/remove").size(), 1U);
    std::unique_ptr<Zarn::CImage> pBack(Zarn::CImageFile::Read(m_folder.File("work.tif")));
    EXPECT_TRUE(pBack->EqualPixels(*Zarn::ImageDocument::Image(*m_pDocument)));
}

TEST_F(CloseDocumentTool, CancelledSaveDialogKeepsTheDocument)
{
    m_dialogs.m_bQuestionExpected = true;
    m_dialogs.m_enAnswer = ImageTools::saSave;
    m_dialogs.m_bSaveExpected = true; // and cancelled
    const Zarn::CValueMap data = RunClose(Description("CloseDocument"));
    EXPECT_FALSE(data.HasEntry("output"));
}

TEST_F(CloseDocumentTool, FailedSaveIsReportedAndTheDocumentStays)
{
    m_dialogs.m_bQuestionExpected = true;
    m_dialogs.m_enAnswer = ImageTools::saSave;
    const std::string strPath = m_folder.File("work.jpg"); // JPEG cannot store 16 bits
    const Zarn::CValueMap data =
        RunClose(Description("CloseDocument", "file", new Zarn::CValueString(strPath)));
    EXPECT_EQ(ErrorText(data), "Cannot save 'work' as '" + strPath +
                                   "': this file type cannot store uint16x1 images.");
    EXPECT_FALSE(data.HasEntry("output/documents"));
    EXPECT_TRUE(m_folder.IsEmpty());
}

// ---------------------------------------------------------------------------------------------

TEST(DocumentDialogs, InstalledAskerAnswersTheQuestionWithItsTitleAndText)
{
    CDialogScript dialogs;
    dialogs.m_bQuestionExpected = true;
    dialogs.m_enAnswer = ImageTools::saDiscard;
    EXPECT_EQ(ImageTools::AskSaveChanges("Quit", "Save changes before quitting?"),
              ImageTools::saDiscard);
    ASSERT_EQ(dialogs.m_lstQuestions.size(), 1U);
    EXPECT_EQ(dialogs.m_lstQuestions[0].m_strCaption, "Quit");
    EXPECT_EQ(dialogs.m_lstQuestions[0].m_strArgument, "Save changes before quitting?");
}

} // namespace
