// A process of four image tool steps (Gaussian blur, add a constant, threshold, erode) run by the
// batch interpreter on a 4096x4096 16-bit image, against the same four OpenCV calls made directly
// in the same run. The tools are real plug-ins created by name for every step, as in a real
// process. Three tool sets: each tool as its operation allows (filters write a new image, point
// operations work on the image they are given and hand it back), all in place, all into new
// images. The interpreter itself copies only the input at the start of a run. OpenCV runs on one
// thread so that both sides compete for the same core; run with --benchmark_repetitions=9
// --benchmark_enable_random_interleaving=true so that a busy machine weighs on all sides alike.
// The program first checks that the process computes what the direct calls compute. The ratios
// are printed at the end.

#include "batch/ImageProcessBatcher.h"
#include "batch/ProcessDescription.h"

#include <Zarn/Image/Image.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include "RatioReporter.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace
{

const Zarn::CSize kSize(4096, 4096);
const Zarn::IImage::CType kType(Zarn::IImage::etUInt16, 1);

// The four operations, shared by the tools and the direct baseline.
void Blur(const cv::Mat& source, cv::Mat& target)
{
    cv::GaussianBlur(source, target, cv::Size(5, 5), 1.5);
}
void AddConstant(const cv::Mat& source, cv::Mat& target)
{
    cv::add(source, cv::Scalar(1000.0), target);
}
void Threshold(const cv::Mat& source, cv::Mat& target)
{
    cv::threshold(source, target, 30000.0, 65535.0, cv::THRESH_BINARY);
}
void Erode(const cv::Mat& source, cv::Mat& target)
{
    static const cv::Mat s_kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
    cv::erode(source, target, s_kernel);
}

using Operation = void (*)(const cv::Mat&, cv::Mat&);

Zarn::CImage& FocusedImage(const Zarn::CValueMap& data)
{
    const auto* pDocument =
        Zarn::UnwrapPointer<Zarn::CValueMap>(data.Entry("input/documents/focused", true));
    return *Zarn::UnwrapPointer<Zarn::CImage>(
        const_cast<Zarn::CValue*>(pDocument->Entry("content", true)));
}

// Hands the result over as a new document; its receiver owns the document map.
void AddDocument(Zarn::CValueMap& data, Zarn::CValue* content)
{
    auto* pDocument = new Zarn::CValueMap;
    pDocument->SetEntry(Zarn::CValue_Key("content"), content);
    auto* pAdded = new Zarn::CValueVector;
    pAdded->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    data.SetEntry("output/documents/add", pAdded);
}

// Works on the image it is given and hands that same image back.
class CInPlaceTool : public Zarn::CPluginBase
{
public:
    explicit CInPlaceTool(Operation pfnOperation) : m_pfnOperation(pfnOperation) {}
    void Run(Zarn::CValueMap& data) override
    {
        Zarn::CImage& image = FocusedImage(data);
        cv::Mat view = Zarn::PlaneView(image);
        m_pfnOperation(view, view);
        AddDocument(data, new Zarn::CValuePointer<Zarn::CImage>(&image));
    }

private:
    Operation m_pfnOperation;
};

// Writes its result into a new image that the document owns.
class CNewImageTool : public Zarn::CPluginBase
{
public:
    explicit CNewImageTool(Operation pfnOperation) : m_pfnOperation(pfnOperation) {}
    void Run(Zarn::CValueMap& data) override
    {
        const Zarn::CImage& image = FocusedImage(data);
        auto pResult = std::make_unique<Zarn::CImage>(image.Size(), image.Type());
        cv::Mat target = Zarn::PlaneView(*pResult);
        m_pfnOperation(Zarn::PlaneView(image), target);
        AddDocument(data, new Zarn::CValueOwnedPointer<Zarn::CImage>(pResult.release()));
    }

private:
    Operation m_pfnOperation;
};

void RegisterTools()
{
    const struct
    {
        const char* m_szName;
        Operation m_pfnOperation;
    } kTools[] = {{"Blur", &Blur},
                  {"AddConstant", &AddConstant},
                  {"Threshold", &Threshold},
                  {"Erode", &Erode}};
    Zarn::CPluginLoader& loader = Zarn::CPluginLoader::Obj();
    for (const auto& tool : kTools)
    {
        const Operation pfnOperation = tool.m_pfnOperation;
        loader.RegisterPlugin((std::string("InPlace") + tool.m_szName).c_str(),
                              [pfnOperation]() -> Zarn::CPluginBase*
                              { return new CInPlaceTool(pfnOperation); });
        loader.RegisterPlugin((std::string("NewImage") + tool.m_szName).c_str(),
                              [pfnOperation]() -> Zarn::CPluginBase*
                              { return new CNewImageTool(pfnOperation); });
    }
}

std::string FourSteps(const char* szBlur, const char* szAdd, const char* szThreshold,
                      const char* szErode)
{
    std::string strProcess = "[";
    for (const char* szTool : {szBlur, szAdd, szThreshold, szErode})
    {
        strProcess += std::string(strProcess.size() > 1 ? ", " : "") +
                      R"({"type": "plugin", "plugin": ")" + szTool + R"("})";
    }
    return strProcess + "]";
}

// The input, filled so that its pages are real and the pixels not all alike.
const Zarn::CImage& InputImage()
{
    static const Zarn::CImage* s_pImage = []
    {
        auto* pImage = new Zarn::CImage(kSize, kType);
        cv::Mat view = Zarn::PlaneView(*pImage);
        cv::randu(view, cv::Scalar(0.0), cv::Scalar(65535.0));
        return pImage;
    }();
    return *s_pImage;
}

void RunBatch(benchmark::State& state, const std::string& strProcess)
{
    RegisterTools();
    const auto pProcess = ProcessDescription::LoadString(strProcess);
    CImageProcessBatcher batcher(*pProcess, nullptr, nullptr, nullptr);
    const Zarn::CImage& input = InputImage();
    // The executor's console lines are still written, but to /dev/null rather than between the
    // benchmark's own lines.
    std::ofstream nullStream("/dev/null");
    std::streambuf* pConsole = std::cout.rdbuf(nullStream.rdbuf());
    for (auto _ : state)
    {
        std::unique_ptr<Zarn::CImage> pResult = batcher.Run(input);
        benchmark::DoNotOptimize(pResult->Data());
    }
    std::cout.rdbuf(pConsole);
    state.SetItemsProcessed(state.iterations());
}

// Each tool as its operation allows: the filters write a new image (OpenCV would copy the source
// for them anyway), the point operations work in place.
void BM_BatchProcess(benchmark::State& state)
{
    RunBatch(state,
             FourSteps("NewImageBlur", "InPlaceAddConstant", "InPlaceThreshold", "NewImageErode"));
}

void BM_BatchInPlaceTools(benchmark::State& state)
{
    RunBatch(state,
             FourSteps("InPlaceBlur", "InPlaceAddConstant", "InPlaceThreshold", "InPlaceErode"));
}

void BM_BatchNewImageTools(benchmark::State& state)
{
    RunBatch(state, FourSteps("NewImageBlur", "NewImageAddConstant", "NewImageThreshold",
                              "NewImageErode"));
}

// The same four calls on the same input, as a direct caller would make them: the filters write
// into result buffers allocated once, the point operations work in place. The buffers are images'
// pixels, so that both sides work on memory of the same kind.
void BM_DirectOpenCV(benchmark::State& state)
{
    const cv::Mat input = Zarn::PlaneView(InputImage());
    Zarn::CImage blurredImage(kSize, kType);
    Zarn::CImage resultImage(kSize, kType);
    cv::Mat blurred = Zarn::PlaneView(blurredImage);
    cv::Mat result = Zarn::PlaneView(resultImage);
    for (auto _ : state)
    {
        Blur(input, blurred);
        AddConstant(blurred, blurred);
        Threshold(blurred, blurred);
        Erode(blurred, result);
        benchmark::DoNotOptimize(result.data);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_DirectOpenCV)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BatchProcess)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BatchInPlaceTools)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BatchNewImageTools)->Unit(benchmark::kMillisecond)->UseRealTime();

// Also keeps the median CPU time of each benchmark: on a machine that other work keeps busy, the
// CPU time of this single-threaded work shows the interpreter's cost with less noise than the
// real time does.
class CBatchReporter : public CRatioReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
            {
                m_mapCpuTimes[run.run_name.str()] = run.GetAdjustedCPUTime();
            }
        }
        CRatioReporter::ReportRuns(runs);
    }

    void PrintCpuRatio(const std::string& measured, const std::string& baseline) const
    {
        const auto itMeasured = m_mapCpuTimes.find(measured + "/real_time");
        const auto itBaseline = m_mapCpuTimes.find(baseline + "/real_time");
        if (itMeasured != m_mapCpuTimes.end() && itBaseline != m_mapCpuTimes.end() &&
            itBaseline->second > 0.0)
        {
            std::printf("  CPU time: %.1f against %.1f ms, ratio %.2f\n", itMeasured->second,
                        itBaseline->second, itMeasured->second / itBaseline->second);
        }
    }

private:
    std::map<std::string, double> m_mapCpuTimes;
};

// The process must compute what the direct calls compute, or the comparison means nothing.
bool SameResults()
{
    RegisterTools();
    const cv::Mat input = Zarn::PlaneView(InputImage());
    cv::Mat blurred(input.size(), input.type());
    cv::Mat expected(input.size(), input.type());
    Blur(input, blurred);
    AddConstant(blurred, blurred);
    Threshold(blurred, blurred);
    Erode(blurred, expected);
    std::ofstream nullStream("/dev/null");
    std::streambuf* pConsole = std::cout.rdbuf(nullStream.rdbuf());
    bool bSame = true;
    for (const char* szPrefix : {"InPlace", "NewImage"})
    {
        const std::string strPrefix(szPrefix);
        const auto pProcess = ProcessDescription::LoadString(
            FourSteps((strPrefix + "Blur").c_str(), (strPrefix + "AddConstant").c_str(),
                      (strPrefix + "Threshold").c_str(), (strPrefix + "Erode").c_str()));
        CImageProcessBatcher batcher(*pProcess, nullptr, nullptr, nullptr);
        const std::unique_ptr<Zarn::CImage> pResult = batcher.Run(InputImage());
        bSame = bSame && cv::norm(Zarn::PlaneView(*pResult), expected, cv::NORM_INF) == 0.0;
    }
    std::cout.rdbuf(pConsole);
    return bSame;
}

} // namespace

int main(int argc, char** argv)
{
    cv::setNumThreads(1);
    if (!SameResults())
    {
        std::fprintf(stderr, "the process and the direct calls disagree\n");
        return 1;
    }
    if (!StartBenchmarks(&argc, argv))
    {
        return 1;
    }
    CBatchReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatio("BM_BatchProcess", "BM_DirectOpenCV",
                        "Four-step process, each tool in place where its operation allows, "
                        "against four direct OpenCV calls");
    reporter.PrintCpuRatio("BM_BatchProcess", "BM_DirectOpenCV");
    reporter.PrintRatio("BM_BatchInPlaceTools", "BM_DirectOpenCV",
                        "Four-step process, tools working in place, against four direct OpenCV "
                        "calls");
    reporter.PrintCpuRatio("BM_BatchInPlaceTools", "BM_DirectOpenCV");
    reporter.PrintRatio("BM_BatchNewImageTools", "BM_DirectOpenCV",
                        "Four-step process, tools making new images, against four direct OpenCV "
                        "calls");
    reporter.PrintCpuRatio("BM_BatchNewImageTools", "BM_DirectOpenCV");
    benchmark::Shutdown();
    return 0;
}
