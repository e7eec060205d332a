#pragma once

// Helpers shared by the image core tests: the table of element types, typed dispatch, and a
// pixel pattern that is never zero, so that "kept" and "zeroed" pixels can be told apart. They
// own nothing, run on the test's thread, send no messages, and throw only std::logic_error for an
// element type outside the table.

#include <Zarn/Image/Image.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

namespace ZarnTest
{

using Zarn::CImage;
using Zarn::CSize;
using Zarn::IImage;

struct SElementCase
{
    IImage::EnElementType m_enType;
    const char* m_szName;
    size_t m_uSize;
};

inline constexpr std::array<SElementCase, 8> kElementCases = {{
    {IImage::etUInt8, "uint8", 1},
    {IImage::etInt8, "int8", 1},
    {IImage::etUInt16, "uint16", 2},
    {IImage::etInt16, "int16", 2},
    {IImage::etUInt32, "uint32", 4},
    {IImage::etInt32, "int32", 4},
    {IImage::etFloat32, "float32", 4},
    {IImage::etFloat64, "float64", 8},
}};

inline const SElementCase& ElementCase(IImage::EnElementType type)
{
    for (const SElementCase& element : kElementCases)
    {
        if (element.m_enType == type)
        {
            return element;
        }
    }
    throw std::logic_error("unknown element type");
}

inline std::array<IImage::EnElementType, 8> AllElementTypes()
{
    std::array<IImage::EnElementType, 8> lstTypes{};
    for (size_t i = 0; i < kElementCases.size(); ++i)
    {
        lstTypes[i] = kElementCases[i].m_enType;
    }
    return lstTypes;
}

// The C++ type that stores one channel of each element type, in the order of kElementCases.
using ElementTypes = std::tuple<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t,
                                std::uint32_t, std::int32_t, float, double>;
static_assert(std::tuple_size_v<ElementTypes> == kElementCases.size());

template <class TFunc, size_t... I>
void DispatchElementAt(size_t uIndex, TFunc&& func, std::index_sequence<I...>)
{
    static_assert(
        ((sizeof(std::tuple_element_t<I, ElementTypes>) == kElementCases[I].m_uSize) && ...),
        "ElementTypes and kElementCases disagree");
    // Only the matching index calls func; || stops there.
    static_cast<void>(
        ((uIndex == I && (func(std::tuple_element_t<I, ElementTypes>{}), true)) || ...));
}

// Calls func with a value of the C++ type that stores one channel of the element type.
template <class TFunc> void DispatchElement(IImage::EnElementType type, TFunc&& func)
{
    const auto uIndex = static_cast<size_t>(&ElementCase(type) - kElementCases.data());
    DispatchElementAt(uIndex, func, std::make_index_sequence<kElementCases.size()>{});
}

// 1..97: fits every element type, including int8, and is never zero.
inline int PatternValue(std::uint32_t x, std::uint32_t y, std::uint32_t z, unsigned int channel,
                        int nSeed)
{
    return static_cast<int>((x * 3 + y * 5 + z * 7 + channel * 11 + unsigned(nSeed)) % 97) + 1;
}

inline std::uint8_t* PixelAddress(CImage& image, std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    return image.Data() + z * image.PlaneStride() + y * image.RowStride() +
           x * image.Type().PixelSize();
}

inline const std::uint8_t* PixelAddress(const CImage& image, std::uint32_t x, std::uint32_t y,
                                        std::uint32_t z)
{
    return image.Data() + z * image.PlaneStride() + y * image.RowStride() +
           x * image.Type().PixelSize();
}

// Writes the pattern through the image's rows (Data, RowStride, PlaneStride).
inline void FillPattern(CImage& image, int nSeed)
{
    const unsigned int uChannels = image.Type().Channels();
    DispatchElement(image.Type().ElementType(),
                    [&](auto tag)
                    {
                        using T = decltype(tag);
                        for (std::uint32_t z = 0; z < image.Size().Z(); ++z)
                        {
                            for (std::uint32_t y = 0; y < image.Size().Y(); ++y)
                            {
                                for (std::uint32_t x = 0; x < image.Size().X(); ++x)
                                {
                                    T* pPixel = reinterpret_cast<T*>(PixelAddress(image, x, y, z));
                                    for (unsigned int c = 0; c < uChannels; ++c)
                                    {
                                        pPixel[c] = static_cast<T>(PatternValue(x, y, z, c, nSeed));
                                    }
                                }
                            }
                        }
                    });
}

// The number of pixels that differ from the pattern; 0 when the image holds it completely.
inline std::uint64_t PatternMismatches(const CImage& image, int nSeed)
{
    std::uint64_t uMismatches = 0;
    const unsigned int uChannels = image.Type().Channels();
    DispatchElement(
        image.Type().ElementType(),
        [&](auto tag)
        {
            using T = decltype(tag);
            for (std::uint32_t z = 0; z < image.Size().Z(); ++z)
            {
                for (std::uint32_t y = 0; y < image.Size().Y(); ++y)
                {
                    for (std::uint32_t x = 0; x < image.Size().X(); ++x)
                    {
                        const T* pPixel = reinterpret_cast<const T*>(PixelAddress(image, x, y, z));
                        for (unsigned int c = 0; c < uChannels; ++c)
                        {
                            if (pPixel[c] != static_cast<T>(PatternValue(x, y, z, c, nSeed)))
                            {
                                ++uMismatches;
                                break;
                            }
                        }
                    }
                }
            }
        });
    return uMismatches;
}

inline bool IsPixelZero(const CImage& image, std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    const std::uint8_t* pPixel = PixelAddress(image, x, y, z);
    for (size_t i = 0; i < image.Type().PixelSize(); ++i)
    {
        if (pPixel[i] != 0)
        {
            return false;
        }
    }
    return true;
}

// The number of non-zero pixels (row padding not counted).
inline std::uint64_t NonZeroPixels(const CImage& image)
{
    std::uint64_t uCount = 0;
    for (std::uint32_t z = 0; z < image.Size().Z(); ++z)
    {
        for (std::uint32_t y = 0; y < image.Size().Y(); ++y)
        {
            for (std::uint32_t x = 0; x < image.Size().X(); ++x)
            {
                uCount += IsPixelZero(image, x, y, z) ? 0 : 1;
            }
        }
    }
    return uCount;
}

using TypeCase = std::tuple<IImage::EnElementType, unsigned int>;

// "uint16x3" for the test names, independent of the library's own ToString.
inline std::string TypeCaseName(const ::testing::TestParamInfo<TypeCase>& info)
{
    std::string strName = ElementCase(std::get<0>(info.param)).m_szName;
    strName += 'x';
    strName += std::to_string(std::get<1>(info.param));
    return strName;
}

inline auto AllTypeCases()
{
    return ::testing::Combine(::testing::ValuesIn(AllElementTypes()), ::testing::Range(1u, 5u));
}

} // namespace ZarnTest
