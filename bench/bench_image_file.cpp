// Reading a 16-bit grey TIFF of 2048x2048 with CImageFile::Read (decode, copy into the image,
// header) against cv::imread(IMREAD_UNCHANGED) of the same file in the same run. The file is
// written once at the start into a private temporary folder: a ramp with noise, LZW as our writer
// makes it, with a small header in its description. Items are pixels; the ratio is printed last.

#include <Zarn/Image/ImageFile.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValueScalar.h>

#include "RatioReporter.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace
{

constexpr std::uint32_t kSide = 2048;

std::string g_strPath; // the file both benchmarks read

void WriteTestFile(const std::string& path)
{
    Zarn::CImage image(Zarn::CSize(kSide, kSide), Zarn::IImage::CType(Zarn::IImage::etUInt16, 1));
    std::uint32_t uState = 2463534242u;
    for (std::uint32_t y = 0; y < kSide; ++y)
    {
        auto* pRow = reinterpret_cast<std::uint16_t*>(image.Data() + y * image.RowStride());
        for (std::uint32_t x = 0; x < kSide; ++x)
        {
            uState ^= uState << 13;
            uState ^= uState >> 17;
            uState ^= uState << 5;
            pRow[x] = static_cast<std::uint16_t>((x + y) * 12 + (uState & 0x3ff));
        }
    }
    Zarn::CTekaHeaderTools::AddToHistory(image, Zarn::CValueString("bench: ramp with noise"));
    Zarn::CImageFile::Write(path, image);
}

void BM_CImageFileRead(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::unique_ptr<Zarn::CImage> pImage(Zarn::CImageFile::Read(g_strPath));
        benchmark::DoNotOptimize(pImage->Data());
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(kSide) * kSide);
}

void BM_OpenCVImread(benchmark::State& state)
{
    for (auto _ : state)
    {
        cv::Mat matrix = cv::imread(g_strPath, cv::IMREAD_UNCHANGED);
        benchmark::DoNotOptimize(matrix.data);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(kSide) * kSide);
}

BENCHMARK(BM_CImageFileRead)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenCVImread)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    if (!StartBenchmarks(&argc, argv))
    {
        return 1;
    }
    std::string strFolder =
        (std::filesystem::temp_directory_path() / "docview-bench-image-file-XXXXXX").string();
    if (::mkdtemp(strFolder.data()) == nullptr)
    {
        std::perror("cannot make a temporary folder");
        return 1;
    }
    g_strPath = strFolder + "/ramp16.tif";
    WriteTestFile(g_strPath);

    cv::Mat check = cv::imread(g_strPath, cv::IMREAD_UNCHANGED);
    if (check.type() != CV_16UC1 || check.cols != int(kSide) || check.rows != int(kSide))
    {
        std::fprintf(stderr, "the test file does not read back as 16-bit grey %ux%u\n", kSide,
                     kSide);
        return 1;
    }
    std::printf("test file: %s, %ju bytes\n", g_strPath.c_str(),
                static_cast<std::uintmax_t>(std::filesystem::file_size(g_strPath)));

    CRatioReporter reporter;
    RunAndPrintRatios(reporter,
                      {{"BM_CImageFileRead", "BM_OpenCVImread",
                        "CImageFile::Read of a 2048x2048 uint16 TIFF against cv::imread"}});
    std::filesystem::remove_all(strFolder);
    return 0;
}
