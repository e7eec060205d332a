#include "BatchTestTools.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace BatchTestTools
{

namespace
{

void Note(const std::string& strTool, const char* szOperation)
{
    Journal().m_lstCalls.push_back(strTool + ":" + szOperation);
}

const Zarn::CValueMap& FocusedDocument(const Zarn::CValueMap& data)
{
    const Zarn::CValue* pFocused = data.Entry("input/documents/focused", true);
    return *Zarn::UnwrapPointer<Zarn::CValueMap>(pFocused);
}

Zarn::CImage& InputImage(const Zarn::CValueMap& data)
{
    const Zarn::CValueMap& document = FocusedDocument(data);
    Zarn::CImage* pImage = Zarn::UnwrapPointer<Zarn::CImage>(
        const_cast<Zarn::CValue*>(document.Entry("content", true)));
    Journal().m_pLastInput = pImage;
    Journal().m_strLastLabel = document.EntryString(Zarn::CValue_Key("label")).StdString();
    return *pImage;
}

long ParameterLong(const Zarn::CValueMap& data, const char* szKey, long lDefault)
{
    const Zarn::CValue* pParameters = data.Entry(Zarn::CValue_Key("parameters"), false);
    if (pParameters == nullptr || pParameters->Map() == nullptr)
    {
        return lDefault;
    }
    return pParameters->Map()->EntryLong(Zarn::CValue_Key(szKey), lDefault);
}

// A new document holding `content` (a pointer value, owning or lending) for the receiver.
Zarn::CValue* NewDocument(Zarn::CValue* content, const char* szLabel)
{
    auto* pDocument = new Zarn::CValueMap;
    pDocument->SetEntry(Zarn::CValue_Key("content"), content);
    pDocument->SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString(szLabel));
    return new Zarn::CValuePointer<Zarn::CValueMap>(pDocument);
}

void WriteAdded(Zarn::CValueMap& data, std::vector<Zarn::CValue*> lstDocuments)
{
    auto* pAdded = new Zarn::CValueVector;
    for (Zarn::CValue* pDocument : lstDocuments)
    {
        pAdded->PushBack(pDocument);
    }
    data.SetEntry("output/documents/add", pAdded);
}

// A new image of the input's size, type and header.
std::unique_ptr<Zarn::CImage> NewLike(const Zarn::CImage& input)
{
    auto pImage = std::make_unique<Zarn::CImage>(input.Size(), input.Type());
    pImage->Attributes() = input.Attributes();
    return pImage;
}

void HandBack(Zarn::CValueMap& data, std::unique_ptr<Zarn::CImage> pResult)
{
    WriteAdded(data, {NewDocument(new Zarn::CValueOwnedPointer<Zarn::CImage>(pResult.release()),
                                  "result")});
}

class CTestTool : public Zarn::CPluginBase
{
public:
    explicit CTestTool(std::string strName) : m_strName(std::move(strName)) {}
    ~CTestTool() override { Note(m_strName, "~"); }

    void Init(void* /*context*/, const Zarn::CValueMap& parameters) override
    {
        Note(m_strName, "Init");
        Journal().m_pInitMap = std::make_unique<Zarn::CValueMap>(parameters);
    }
    void DeleteData() override { Note(m_strName, "DeleteData"); }
    bool TestParameters(const Zarn::CValueMap& /*parameters*/) override
    {
        Note(m_strName, "TestParameters");
        return true;
    }
    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        Note(m_strName, "UpdateParameters");
        Journal().m_pUpdateMap = std::make_unique<Zarn::CValueMap>(message);
    }
    void Run(Zarn::CValueMap& data) override
    {
        Note(m_strName, "Run");
        Work(data);
    }

protected:
    virtual void Work(Zarn::CValueMap& data) = 0;

    std::string m_strName;
};

// A tool made of one function of the run map.
class CFunctionTool : public CTestTool
{
public:
    CFunctionTool(std::string strName, std::function<void(Zarn::CValueMap&)> work)
        : CTestTool(std::move(strName)), m_work(std::move(work))
    {
    }

protected:
    void Work(Zarn::CValueMap& data) override { m_work(data); }

private:
    std::function<void(Zarn::CValueMap&)> m_work;
};

class CRejectingTool : public CFunctionTool
{
public:
    CRejectingTool() : CFunctionTool(kRejecting, [](Zarn::CValueMap&) {}) {}
    bool TestParameters(const Zarn::CValueMap& /*parameters*/) override
    {
        Note(m_strName, "TestParameters");
        return false;
    }
};

class CUpdateThrowingTool : public CFunctionTool
{
public:
    CUpdateThrowingTool() : CFunctionTool(kUpdateThrowing, [](Zarn::CValueMap&) {}) {}
    void UpdateParameters(const Zarn::CValueMap& /*message*/) override
    {
        Note(m_strName, "UpdateParameters");
        throw std::runtime_error("update refused");
    }
};

class CKeyAddingTool : public CFunctionTool
{
public:
    CKeyAddingTool()
        : CFunctionTool(kKeyAdding, [](Zarn::CValueMap& data)
                        { Journal().m_pRunMap = std::make_unique<Zarn::CValueMap>(data); })
    {
    }
    // The work map is the tool's to write, as a host plug-in that keeps it would.
    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        Note(m_strName, "UpdateParameters");
        auto& work = const_cast<Zarn::CValueMap&>(message);
        work.SetEntry(Zarn::CValue_Key("added by update"), new Zarn::CValueLong(11));
        work.SetEntry(Zarn::CValue_Key("shared"), new Zarn::CValueString("from update"));
    }
};

void Invert(Zarn::CValueMap& data)
{
    const Zarn::CImage& input = InputImage(data);
    auto pResult = NewLike(input);
    cv::Mat result = Zarn::PlaneView(*pResult);
    cv::bitwise_not(Zarn::PlaneView(input), result);
    HandBack(data, std::move(pResult));
}

void AddConstant(Zarn::CValueMap& data)
{
    const Zarn::CImage& input = InputImage(data);
    auto pResult = NewLike(input);
    cv::Mat result = Zarn::PlaneView(*pResult);
    cv::add(Zarn::PlaneView(input), cv::Scalar(double(ParameterLong(data, "constant", 0))), result);
    HandBack(data, std::move(pResult));
}

void SetLabels(Zarn::CValueMap& data)
{
    const Zarn::CImage& input = InputImage(data);
    auto pResult = std::make_unique<Zarn::CImage>(input);
    Zarn::CTekaHeaderTools::SetNumberOfLabels(*pResult,
                                              std::uint64_t(ParameterLong(data, "labels", 0)));
    HandBack(data, std::move(pResult));
}

void ThresholdInPlace(Zarn::CValueMap& data)
{
    Zarn::CImage& input = InputImage(data);
    cv::Mat view = Zarn::PlaneView(input);
    cv::threshold(view, view, double(ParameterLong(data, "level", 0)), 65535.0, cv::THRESH_BINARY);
    WriteAdded(data, {NewDocument(new Zarn::CValuePointer<Zarn::CImage>(&input), "in place")});
}

void Count(Zarn::CValueMap& data)
{
    SJournal& journal = Journal();
    ++journal.m_nCounterRuns;
    journal.m_pRunMap = std::make_unique<Zarn::CValueMap>(data);
    const long lFailAt = data.EntryLong(Zarn::CValue_Key("fail at run"), 0);
    if (lFailAt != 0 && journal.m_nCounterRuns == lFailAt)
    {
        throw Zarn::CException("TestCounter::Run", "counter stops the run", nullptr);
    }
    journal.m_pCounterInput = std::make_unique<Zarn::CImage>(InputImage(data));
    HandBack(data, std::make_unique<Zarn::CImage>(InputImage(data)));
}

void TwoDocuments(Zarn::CValueMap& data)
{
    const Zarn::CImage& input = InputImage(data);
    auto pFirst = NewLike(input);
    cv::Mat first = Zarn::PlaneView(*pFirst);
    cv::bitwise_not(Zarn::PlaneView(input), first);
    auto pSecond = std::make_unique<Zarn::CImage>(input);
    WriteAdded(
        data,
        {NewDocument(new Zarn::CValueOwnedPointer<Zarn::CImage>(pFirst.release()), "first"),
         NewDocument(new Zarn::CValueOwnedPointer<Zarn::CImage>(pSecond.release()), "second")});
}

void Lend(Zarn::CValueMap& data)
{
    InputImage(data);
    WriteAdded(data, {NewDocument(new Zarn::CValuePointer<Zarn::CImage>(&LentImage()), "lent")});
}

void NoDocuments(Zarn::CValueMap& data)
{
    data.SetEntry("output/message", new Zarn::CValueString("nothing to add"));
}

void Configure(Zarn::CValueMap& data)
{
    if (data.EntryBool(Zarn::CValue_Key("cancel"), false))
    {
        data.SetEntry(Zarn::CValue_Key("cancelled"), new Zarn::CValueBool(true));
        return;
    }
    const Zarn::CValue* pAnswer = data.Entry(Zarn::CValue_Key("answer"), false);
    if (pAnswer != nullptr)
    {
        data.SetEntry(Zarn::CValue_Key("parameters"), new Zarn::CValueMap(*pAnswer));
    }
    if (data.HasEntry(Zarn::CValue_Key("count key")))
    {
        const std::string strCount = data.EntryString(Zarn::CValue_Key("count key")).StdString();
        const long lPasses = ParameterLong(data, strCount.c_str(), 0) + 1;
        const long lUntil = data.EntryLong(Zarn::CValue_Key("until"), 0);
        auto* pAnswered = new Zarn::CValueMap;
        pAnswered->SetEntry(Zarn::CValue_Key(strCount), new Zarn::CValueLong(lPasses));
        if (data.HasEntry(Zarn::CValue_Key("done key")))
        {
            pAnswered->SetEntry(Zarn::CValue_Key(data.EntryString(Zarn::CValue_Key("done key"))),
                                new Zarn::CValueBool(lPasses >= lUntil));
        }
        if (data.HasEntry(Zarn::CValue_Key("more key")))
        {
            pAnswered->SetEntry(Zarn::CValue_Key(data.EntryString(Zarn::CValue_Key("more key"))),
                                new Zarn::CValueBool(lPasses < lUntil));
        }
        data.SetEntry(Zarn::CValue_Key("parameters"), pAnswered);
    }
}

void RegisterFunction(const char* szName, void (*pfnWork)(Zarn::CValueMap&))
{
    const std::string strName(szName);
    Zarn::CPluginLoader::Obj().RegisterPlugin(szName,
                                              [strName, pfnWork]() -> Zarn::CPluginBase*
                                              { return new CFunctionTool(strName, pfnWork); });
}

} // namespace

SJournal& Journal()
{
    static SJournal s_journal;
    return s_journal;
}

void ResetJournal()
{
    Journal() = SJournal();
}

int CountCalls(const std::string& call)
{
    const auto& lstCalls = Journal().m_lstCalls;
    return static_cast<int>(std::count(lstCalls.begin(), lstCalls.end(), call));
}

Zarn::CImage& LentImage()
{
    static Zarn::CImage s_image(Zarn::CSize(4, 3), Zarn::IImage::CType(Zarn::IImage::etUInt16));
    return s_image;
}

void RegisterTools()
{
    RegisterFunction(kInvert, &Invert);
    RegisterFunction(kAddConstant, &AddConstant);
    RegisterFunction(kSetLabels, &SetLabels);
    RegisterFunction(kThresholdInPlace, &ThresholdInPlace);
    RegisterFunction(kCounter, &Count);
    RegisterFunction(kTwoDocuments, &TwoDocuments);
    RegisterFunction(kLendingTool, &Lend);
    RegisterFunction(kNoDocuments, &NoDocuments);
    RegisterFunction(kConfig, &Configure);
    RegisterFunction(
        kRunThrowing, [](Zarn::CValueMap&)
        { throw Zarn::CException("TestRunThrowing::Run", "run failed", "tool instance"); });
    RegisterFunction(kStdThrowing,
                     [](Zarn::CValueMap&) { throw std::runtime_error("standard failure"); });
    RegisterFunction(kIntThrowing, [](Zarn::CValueMap&) { throw 42; });
    Zarn::CPluginLoader& loader = Zarn::CPluginLoader::Obj();
    loader.RegisterPlugin(kRejecting, []() -> Zarn::CPluginBase* { return new CRejectingTool; });
    loader.RegisterPlugin(kUpdateThrowing,
                          []() -> Zarn::CPluginBase* { return new CUpdateThrowingTool; });
    loader.RegisterPlugin(kKeyAdding, []() -> Zarn::CPluginBase* { return new CKeyAddingTool; });
}

std::unique_ptr<Zarn::CImage> MakeRamp(unsigned int width, unsigned int height)
{
    auto pImage = std::make_unique<Zarn::CImage>(Zarn::CSize(width, height),
                                                 Zarn::IImage::CType(Zarn::IImage::etUInt16));
    cv::Mat view = Zarn::PlaneView(*pImage);
    for (unsigned int y = 0; y < height; ++y)
    {
        for (unsigned int x = 0; x < width; ++x)
        {
            view.at<unsigned short>(int(y), int(x)) = static_cast<unsigned short>((x + 3 * y) * 7);
        }
    }
    return pImage;
}

unsigned short PixelAt(const Zarn::CImage& image, unsigned int x, unsigned int y)
{
    return Zarn::PlaneView(image).at<unsigned short>(int(y), int(x));
}

} // namespace BatchTestTools
