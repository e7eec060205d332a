// docview-batch against the same pipeline written directly with OpenCV: 200 generated
// 1024x1024 16-bit images, counted with the shipped "count objects" process (Gaussian blur,
// Otsu threshold, 8-bit mask, connected components), two workers each. The direct program reads,
// computes and writes exactly what the process does, so the ratio is the cost of the framework:
// starting the program, loading the modules, the process interpreter, the documents, the headers
// and the summary.

#include "RatioReporter.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace
{

const int kImages = 200;
const int kSize = 1024;
const int kWorkers = 2;

// The inputs, made once for the whole run and removed at its end.
class CInputFolder
{
public:
    CInputFolder()
    {
        std::string strTemplate =
            (fs::temp_directory_path() / "docview-bench-batch-XXXXXX").string();
        if (::mkdtemp(strTemplate.data()) == nullptr)
        {
            std::abort();
        }
        m_root = strTemplate;
        fs::create_directories(m_root / "in");
        cv::RNG random(2026);
        for (int i = 0; i < kImages; ++i)
        {
            cv::Mat pixels(kSize, kSize, CV_16UC1);
            random.fill(pixels, cv::RNG::NORMAL, 3000, 600);
            for (int nDisc = 0; nDisc < 40; ++nDisc)
            {
                const cv::Point centre(random.uniform(20, kSize - 20),
                                       random.uniform(20, kSize - 20));
                cv::circle(pixels, centre, random.uniform(5, 18),
                           cv::Scalar(random.uniform(20000, 40000)), cv::FILLED);
            }
            m_lstFiles.push_back(m_root / "in" / ("plate" + std::to_string(1000 + i) + ".tif"));
            cv::imwrite(m_lstFiles.back().string(), pixels,
                        {cv::IMWRITE_TIFF_COMPRESSION, 5 /* LZW, as the program writes */});
        }
    }
    ~CInputFolder() { fs::remove_all(m_root); }

    fs::path m_root;
    std::vector<fs::path> m_lstFiles;
};

CInputFolder& Inputs()
{
    static CInputFolder s_inputs;
    return s_inputs;
}

// The process, written out with OpenCV: the same calls with the same arguments.
void CountDirectly(const fs::path& input, const fs::path& output)
{
    const cv::Mat image = cv::imread(input.string(), cv::IMREAD_UNCHANGED);
    cv::Mat smoothed;
    cv::GaussianBlur(image, smoothed, cv::Size(), 2.0, 2.0);
    cv::Mat binary;
    cv::threshold(smoothed, binary, 0, 65535, cv::THRESH_BINARY | cv::THRESH_OTSU);
    cv::Mat mask;
    cv::normalize(binary, mask, 0, 255, cv::NORM_MINMAX, CV_8U);
    cv::Mat labels;
    const int nLabels = cv::connectedComponents(mask, labels, 8, CV_32S);
    benchmark::DoNotOptimize(nLabels);
    cv::imwrite(output.string(), labels, {cv::IMWRITE_TIFF_COMPRESSION, 5});
}

void BM_DirectOpenCV(benchmark::State& state)
{
    CInputFolder& inputs = Inputs();
    const fs::path output = inputs.m_root / "direct";
    fs::create_directories(output);
    for (auto _ : state)
    {
        std::atomic<size_t> uNext{0};
        std::vector<std::thread> lstWorkers;
        for (int i = 0; i < kWorkers; ++i)
        {
            lstWorkers.emplace_back(
                [&]()
                {
                    for (size_t u = uNext++; u < inputs.m_lstFiles.size(); u = uNext++)
                    {
                        const fs::path& input = inputs.m_lstFiles[u];
                        CountDirectly(input, output / input.filename());
                    }
                });
        }
        for (std::thread& worker : lstWorkers)
        {
            worker.join();
        }
    }
    state.SetItemsProcessed(state.iterations() * kImages);
}

void BM_DocviewBatch(benchmark::State& state)
{
    CInputFolder& inputs = Inputs();
    const std::string strCommand = std::string(DOCVIEW_BATCH) + " --process " PROCESS_FILE " -j " +
                                   std::to_string(kWorkers) + " --output '" +
                                   (inputs.m_root / "batch").string() + "' '" +
                                   (inputs.m_root / "in").string() + "' 2>/dev/null";
    for (auto _ : state)
    {
        if (std::system(strCommand.c_str()) != 0)
        {
            state.SkipWithError("docview-batch failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kImages);
}

// Both pipelines must give the same labels, or the ratio compares different work.
bool SameResults()
{
    CInputFolder& inputs = Inputs();
    const fs::path check = inputs.m_root / "check";
    fs::create_directories(check / "in");
    fs::copy_file(inputs.m_lstFiles.front(), check / "in" / "first.tif");
    CountDirectly(check / "in" / "first.tif", check / "direct.tif");
    const std::string strCommand =
        std::string(DOCVIEW_BATCH) + " --process " PROCESS_FILE " -j 1 --output '" +
        (check / "batch").string() + "' '" + (check / "in").string() + "' 2>/dev/null";
    if (std::system(strCommand.c_str()) != 0)
    {
        return false;
    }
    const cv::Mat direct = cv::imread((check / "direct.tif").string(), cv::IMREAD_UNCHANGED);
    const cv::Mat batch =
        cv::imread((check / "batch" / "first.tif").string(), cv::IMREAD_UNCHANGED);
    double dMin = 0;
    double dMax = 0;
    cv::minMaxLoc(direct, &dMin, &dMax);
    std::printf("check: %d objects in the first image, ", static_cast<int>(dMax));
    const bool bSame = !direct.empty() && direct.type() == batch.type() &&
                       direct.size() == batch.size() && cv::countNonZero(direct != batch) == 0;
    std::printf("%s\n", bSame ? "both pipelines give the same labels" : "THE PIPELINES DIFFER");
    return bSame;
}

// Each measured in turn, several times, so that both see the same machine.
BENCHMARK(BM_DirectOpenCV)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5);
BENCHMARK(BM_DocviewBatch)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    Inputs(); // made before any measurement
    if (!SameResults())
    {
        return 1;
    }
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatio(
        "BM_DocviewBatch/iterations:1/repeats:5", "BM_DirectOpenCV/iterations:1/repeats:5",
        "docview-batch -j 2 against the same pipeline in OpenCV, 200 images 1024x1024 uint16");
    benchmark::Shutdown();
    return 0;
}
