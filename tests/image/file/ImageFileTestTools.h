#pragma once

// Helpers of the image file tests: a private folder per test, images full of varied pixels, the
// header every round trip carries, and the text of an expected CExBadParam.

#include "TempFolder.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/Image.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace ZarnTest
{

namespace fs = std::filesystem;

using DocViewTest::CTempFolder;

// A fixed sequence of numbers, so that every run sees the same pixels.
class CXorShift
{
public:
    explicit CXorShift(std::uint32_t uSeed) : m_uState(uSeed == 0 ? 1 : uSeed) {}
    std::uint32_t Next()
    {
        m_uState ^= m_uState << 13;
        m_uState ^= m_uState >> 17;
        m_uState ^= m_uState << 5;
        return m_uState;
    }

private:
    std::uint32_t m_uState;
};

// Every byte of integer pixels varies, so that byte order, sign and channel order all show;
// float pixels get finite values of both signs with fractions.
inline void FillVaried(Zarn::CImage& image, std::uint32_t uSeed)
{
    CXorShift random(uSeed);
    const Zarn::IImage::CType& type = image.Type();
    const size_t uValues = size_t(image.Size().X()) * type.Channels();
    for (std::uint32_t z = 0; z < image.Size().Z(); ++z)
    {
        for (std::uint32_t y = 0; y < image.Size().Y(); ++y)
        {
            std::uint8_t* pRow = image.Data() + z * image.PlaneStride() + y * image.RowStride();
            for (size_t i = 0; i < uValues; ++i)
            {
                const std::uint32_t uBits = random.Next();
                const double dValue = (static_cast<double>(uBits % 200001) - 100000.0) / 64.0;
                if (type.ElementType() == Zarn::IImage::etFloat32)
                {
                    const float fValue = static_cast<float>(dValue);
                    std::memcpy(pRow + i * 4, &fValue, 4);
                }
                else if (type.ElementType() == Zarn::IImage::etFloat64)
                {
                    std::memcpy(pRow + i * 8, &dValue, 8);
                }
                else
                {
                    const size_t uSize = type.ElementSize();
                    const std::uint32_t uHigh = random.Next();
                    std::uint8_t bytes[8];
                    std::memcpy(bytes, &uBits, 4);
                    std::memcpy(bytes + 4, &uHigh, 4);
                    std::memcpy(pRow + i * uSize, bytes, uSize);
                }
            }
        }
    }
}

// Slowly varying 8-bit pixels, different per channel: what a lossy codec keeps well.
inline void FillSmooth(Zarn::CImage& image)
{
    const unsigned int uChannels = image.Type().Channels();
    for (std::uint32_t y = 0; y < image.Size().Y(); ++y)
    {
        std::uint8_t* pRow = image.Data() + y * image.RowStride();
        for (std::uint32_t x = 0; x < image.Size().X(); ++x)
        {
            for (unsigned int c = 0; c < uChannels; ++c)
            {
                pRow[x * uChannels + c] = static_cast<std::uint8_t>(40 + x * (c + 1) + y * 2);
            }
        }
    }
}

// The header of the round trips: a history of two entries, a number of labels, a text and a real.
inline void AddTestHeader(Zarn::CImage& image)
{
    Zarn::CTekaHeaderTools::AddToHistory(image, Zarn::CValueString("threshold: otsu"));
    Zarn::CTekaHeaderTools::AddToHistory(image, Zarn::CValueString("label: 8-connected"));
    Zarn::CTekaHeaderTools::SetNumberOfLabels(image, 42);
    image.Attributes().SetEntry(Zarn::CValue_Key("operator"), new Zarn::CValueString("Ada"));
    image.Attributes().SetEntry(Zarn::CValue_Key("pixel spacing"), new Zarn::CValueDouble(0.125));
}

// The header a read of `path` gives back: the saved one plus the source file.
inline Zarn::CValueMap ExpectedHeader(const Zarn::CImage& saved, const std::string& path)
{
    Zarn::CValueMap header(saved.Attributes());
    header.SetEntry(Zarn::CValue_Key(Zarn::CTekaHeaderTools::kSourceFile),
                    new Zarn::CValueString(Zarn::CString(path)));
    return header;
}

inline std::string HeaderText(const Zarn::CValueMap& header)
{
    return Zarn::CJsonValueFile::WriteString(header, false);
}

// The what text of the CExBadParam that the call throws; fails the test when it throws nothing.
template <class TCall> std::string BadParamText(TCall&& call)
{
    try
    {
        call();
        ADD_FAILURE() << "no CExBadParam was thrown";
    }
    catch (const Zarn::CExBadParam& ex)
    {
        return ex.what();
    }
    return {};
}

inline std::string ReadError(const std::string& path)
{
    return BadParamText([&]
                        { std::unique_ptr<Zarn::CImage> pImage(Zarn::CImageFile::Read(path)); });
}

inline std::vector<char> FileBytes(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::vector<char>((std::istreambuf_iterator<char>(stream)),
                             std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& path, const char* pData, size_t uSize)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(pData, static_cast<std::streamsize>(uSize));
}

} // namespace ZarnTest
