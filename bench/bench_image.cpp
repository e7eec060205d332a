// Cloning a 4096x4096 16-bit one-channel image (32 MiB) against copying the same bytes, in the
// same run: memcpy into a buffer allocated once (the floor), and new[] + memcpy + delete[] per
// iteration (what a clone would cost without the image's buffer reuse). The ratios are printed
// at the end.

#include <Zarn/Image/Image.h>
#include <Zarn/Image/ImageExtraction.h>

#include "RatioReporter.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace
{

const Zarn::CSize kSize(4096, 4096);
const Zarn::IImage::CType kType(Zarn::IImage::etUInt16, 1);

// The source image, filled so that its pages are real and the bytes not all alike.
const Zarn::CImage& SourceImage()
{
    static const Zarn::CImage* s_pImage = []
    {
        auto* pImage = new Zarn::CImage(kSize, kType);
        for (std::uint32_t y = 0; y < kSize.Y(); ++y)
        {
            auto* pRow = reinterpret_cast<std::uint16_t*>(pImage->Data() + y * pImage->RowStride());
            for (std::uint32_t x = 0; x < kSize.X(); ++x)
            {
                pRow[x] = static_cast<std::uint16_t>(x * 7 + y * 13);
            }
        }
        return pImage;
    }();
    return *s_pImage;
}

void SetCounters(benchmark::State& state, size_t uBytes)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(uBytes));
    state.SetItemsProcessed(state.iterations());
}

void BM_Clone(benchmark::State& state)
{
    const Zarn::CImage& source = SourceImage();
    for (auto _ : state)
    {
        std::unique_ptr<Zarn::CImage> pClone(Zarn::CImageExtraction::Clone(source));
        benchmark::DoNotOptimize(pClone->Data());
        benchmark::ClobberMemory();
    }
    SetCounters(state, source.ByteCount());
}

void BM_Memcpy(benchmark::State& state)
{
    const Zarn::CImage& source = SourceImage();
    const size_t uBytes = source.ByteCount();
    // Written once before timing, so that the target's pages exist.
    std::vector<std::uint8_t> lstTarget(uBytes, 1);
    for (auto _ : state)
    {
        std::memcpy(lstTarget.data(), source.Data(), uBytes);
        benchmark::DoNotOptimize(lstTarget.data());
        benchmark::ClobberMemory();
    }
    SetCounters(state, uBytes);
}

DOCVIEW_COMPARE_BENCHMARKS(BM_Clone, BM_Memcpy, benchmark::kMillisecond,
                           "Clone of a 32 MiB image against memcpy into a buffer allocated once");

void BM_NewMemcpy(benchmark::State& state)
{
    const Zarn::CImage& source = SourceImage();
    const size_t uBytes = source.ByteCount();
    for (auto _ : state)
    {
        auto* pTarget = new std::uint8_t[uBytes];
        std::memcpy(pTarget, source.Data(), uBytes);
        benchmark::DoNotOptimize(pTarget);
        benchmark::ClobberMemory();
        delete[] pTarget;
    }
    SetCounters(state, uBytes);
}

DOCVIEW_COMPARE_BENCHMARKS(
    BM_NewMemcpy, BM_Memcpy, benchmark::kMillisecond,
    "new[] + memcpy + delete[] per copy against memcpy into a buffer allocated once");
DOCVIEW_COMPARE_BENCHMARKS(BM_Clone, BM_NewMemcpy, benchmark::kMillisecond,
                           "Clone of a 32 MiB image against new[] + memcpy + delete[] per copy");

} // namespace
