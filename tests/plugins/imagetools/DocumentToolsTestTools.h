#pragma once

// Helpers of the document tool tests: a private folder per test, small images with a header,
// and answers for the tools' dialogs that a test installs for its own duration.

#include "DocumentDialogs.h"
#include "TempFolder.h"

#include <Zarn/Image/Image.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace DocumentToolsTest
{

namespace fs = std::filesystem;

using DocViewTest::CTempFolder;

// A 16-bit grey image whose pixels all differ in both bytes, with a header entry.
inline Zarn::CImage* NewUInt16Image()
{
    auto* pImage = new Zarn::CImage(Zarn::CSize(9, 6), Zarn::IImage::CType(Zarn::IImage::etUInt16));
    for (std::uint32_t y = 0; y < 6; ++y)
    {
        auto* pRow = reinterpret_cast<std::uint16_t*>(pImage->Data() + y * pImage->RowStride());
        for (std::uint32_t x = 0; x < 9; ++x)
        {
            pRow[x] = static_cast<std::uint16_t>(4099 * y + 257 * x + 3);
        }
    }
    pImage->Attributes().SetEntry(Zarn::CValue_Key("operator"), new Zarn::CValueString("Ada"));
    pImage->Attributes().SetEntry(Zarn::CValue_Key("exposure"), new Zarn::CValueLong(250));
    return pImage;
}

inline Zarn::CImage* NewFloatImage()
{
    auto* pImage =
        new Zarn::CImage(Zarn::CSize(4, 3), Zarn::IImage::CType(Zarn::IImage::etFloat32));
    auto* pPixels = reinterpret_cast<float*>(pImage->Data());
    pPixels[0] = 0.25F;
    return pImage;
}

inline Zarn::CImage* NewUInt8Image(std::uint8_t value)
{
    auto* pImage = new Zarn::CImage(Zarn::CSize(5, 4), Zarn::IImage::CType(Zarn::IImage::etUInt8));
    for (std::uint32_t y = 0; y < 4; ++y)
    {
        std::uint8_t* pRow = pImage->Data() + y * pImage->RowStride();
        for (std::uint32_t x = 0; x < 5; ++x)
        {
            pRow[x] = static_cast<std::uint8_t>(value + x + 10 * y);
        }
    }
    return pImage;
}

// The header as a file gives it back: the reader names the file it came from.
inline Zarn::CValueMap HeaderAsRead(const Zarn::CImage& saved, const std::string& path)
{
    Zarn::CValueMap header(saved.Attributes());
    header.SetEntry(Zarn::CValue_Key(Zarn::CTekaHeaderTools::kSourceFile),
                    new Zarn::CValueString(path));
    return header;
}

inline void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream stream(path, std::ios::binary);
    stream << text;
}

// What the dialogs were asked, and how they answer. Installs itself on construction and puts
// the real dialogs back on destruction; an unexpected dialog fails the test.
class CDialogScript
{
public:
    CDialogScript()
    {
        ImageTools::SetFilesToOpenChooser(
            [this](const QString& caption, const QString& folder, const QString& filters)
            {
                Note(m_lstOpenCalls, {caption, folder, filters}, m_bOpenExpected,
                     "unexpected open dialog");
                return m_lstFilesToOpen;
            });
        ImageTools::SetSavePathChooser(
            [this](const QString& caption, const QString& proposed, const QString& filters)
            {
                Note(m_lstSaveCalls, {caption, proposed, filters}, m_bSaveExpected,
                     "unexpected save dialog");
                return QString::fromStdString(m_strSavePath);
            });
        ImageTools::SetSaveChangesAsker(
            [this](const QString& title, const QString& text)
            {
                Note(m_lstQuestions, {title, text, QString()}, m_bQuestionExpected,
                     "unexpected question: " + text.toStdString());
                return m_enAnswer;
            });
        ImageTools::SetLargeImageAsker(
            [this](const QString& title, const QString& text)
            {
                Note(m_lstLargeImageQuestions, {title, text, QString()}, m_bLargeImageExpected,
                     "unexpected question: " + text.toStdString());
                return m_bOpenLargeImage;
            });
    }
    CDialogScript(const CDialogScript&) = delete;
    CDialogScript& operator=(const CDialogScript&) = delete;
    ~CDialogScript()
    {
        ImageTools::SetFilesToOpenChooser(nullptr);
        ImageTools::SetSavePathChooser(nullptr);
        ImageTools::SetSaveChangesAsker(nullptr);
        ImageTools::SetLargeImageAsker(nullptr);
    }

    // The save dialog is expected and answers the path.
    void AnswerSave(const std::string& path)
    {
        m_bSaveExpected = true;
        m_strSavePath = path;
    }

    struct SCall
    {
        std::string m_strCaption;
        std::string m_strArgument; // the folder, proposed path or question text
        std::string m_strFilters;
    };

    bool m_bOpenExpected = false;
    QStringList m_lstFilesToOpen; // empty: cancelled
    bool m_bSaveExpected = false;
    std::string m_strSavePath; // empty: cancelled
    bool m_bQuestionExpected = false;
    ImageTools::EnSaveAnswer m_enAnswer = ImageTools::saCancel;
    bool m_bLargeImageExpected = false;
    bool m_bOpenLargeImage = false; // the answer to the large image question

    std::vector<SCall> m_lstOpenCalls;
    std::vector<SCall> m_lstSaveCalls;
    std::vector<SCall> m_lstQuestions;
    std::vector<SCall> m_lstLargeImageQuestions;

private:
    struct SAsked
    {
        QString m_strCaption;
        QString m_strArgument;
        QString m_strFilters;
    };

    // Keeps what a dialog was asked; a dialog the test did not expect fails it.
    static void Note(std::vector<SCall>& lstCalls, const SAsked& asked, bool bExpected,
                     const std::string& strFailure)
    {
        lstCalls.push_back({asked.m_strCaption.toStdString(), asked.m_strArgument.toStdString(),
                            asked.m_strFilters.toStdString()});
        if (!bExpected)
        {
            ADD_FAILURE() << strFailure;
        }
    }
};

} // namespace DocumentToolsTest
