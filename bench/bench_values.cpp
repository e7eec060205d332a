// Deep copies of value trees against the standard containers doing the same work in the same run:
// a CValueMap of 1,000 strings against a std::map<std::string, std::string>, and a CValueVector of
// 10,000 pointer values against a vector of 10,000 owned heap objects that each hold a pointer.
// The two ratios (tree time / baseline time) are printed at the end.

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include "RatioReporter.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace
{

constexpr int kMapEntries = 1000;
constexpr int kVectorEntries = 10000;

// "key0042" for 42.
std::string NumberedText(const char* prefix, int number)
{
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%s%04d", prefix, number);
    return szText;
}

void BM_CloneValueMap(benchmark::State& state)
{
    Zarn::CValueMap map;
    for (int i = 0; i < kMapEntries; ++i)
    {
        map.SetEntry(Zarn::CValue_Key(NumberedText("key", i)),
                     new Zarn::CValueString(NumberedText("value", i).c_str()));
    }
    for (auto _ : state)
    {
        std::unique_ptr<Zarn::CValue> pClone(map.Clone(Zarn::CValue::tfShare));
        benchmark::DoNotOptimize(pClone.get());
    }
    state.SetItemsProcessed(state.iterations() * kMapEntries);
}

void BM_CopyStdMap(benchmark::State& state)
{
    std::map<std::string, std::string> map;
    for (int i = 0; i < kMapEntries; ++i)
    {
        map.emplace(NumberedText("key", i), NumberedText("value", i));
    }
    for (auto _ : state)
    {
        std::map<std::string, std::string> copy(map);
        benchmark::DoNotOptimize(copy);
    }
    state.SetItemsProcessed(state.iterations() * kMapEntries);
}

DOCVIEW_COMPARE_BENCHMARKS(BM_CloneValueMap, BM_CopyStdMap, benchmark::kMicrosecond,
                           "Clone of a CValueMap of 1,000 strings against a std::map copy");

void BM_CloneValuePointerVector(benchmark::State& state)
{
    std::vector<int> lstTargets(kVectorEntries);
    Zarn::CValueVector vector;
    for (int& nTarget : lstTargets)
    {
        vector.PushBack(new Zarn::CValuePointer<int>(&nTarget));
    }
    for (auto _ : state)
    {
        std::unique_ptr<Zarn::CValue> pClone(vector.Clone(Zarn::CValue::tfShare));
        benchmark::DoNotOptimize(pClone.get());
    }
    state.SetItemsProcessed(state.iterations() * kVectorEntries);
}

// The baseline's element: a small heap object that lends a pointer, as a pointer value does.
struct SHolder
{
    int* m_pTarget;
};

void BM_CopyHolderVector(benchmark::State& state)
{
    std::vector<int> lstTargets(kVectorEntries);
    std::vector<std::unique_ptr<SHolder>> lstHolders;
    for (int& nTarget : lstTargets)
    {
        lstHolders.push_back(std::make_unique<SHolder>(SHolder{&nTarget}));
    }
    for (auto _ : state)
    {
        std::vector<std::unique_ptr<SHolder>> lstCopy;
        lstCopy.reserve(lstHolders.size());
        for (const auto& pHolder : lstHolders)
        {
            lstCopy.push_back(std::make_unique<SHolder>(*pHolder));
        }
        benchmark::DoNotOptimize(lstCopy.data());
    }
    state.SetItemsProcessed(state.iterations() * kVectorEntries);
}

DOCVIEW_COMPARE_BENCHMARKS(
    BM_CloneValuePointerVector, BM_CopyHolderVector, benchmark::kMicrosecond,
    "Clone of a CValueVector of 10,000 pointer values against 10,000 heap holders");

} // namespace
