#include "BatchTestTools.h"

#include "batch/ImageProcessBatcher.h"
#include "batch/ProcessDescription.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <string>

namespace
{

using namespace BatchTestTools;

std::string DataFile(const std::string& strName)
{
    return std::string(BATCH_DATA_DIR) + "/" + strName;
}

struct SRejection
{
    const char* m_szFile;
    const char* m_szFunction;
    const char* m_szMessage;
};

const SRejection kRejections[] = {
    {"reject_non_map_element", "CImageProcessBatcher::RunProcess( const Zarn::CValueVector& )",
     "invalid process structure (non-map element inside process struct)"},
    {"reject_map_without_type", "CImageProcessBatcher::RunProcess( const Zarn::CValueVector& )",
     "invalid process structure (non-map element inside process struct)"},
    {"reject_unknown_type_other_case", "CImageProcessBatcher::RunStep( const Zarn::CValueMap& )",
     "unknown process element (\"Plugin\")"},
    {"reject_plugin_without_name", "CImageProcessBatcher::RunPlugin( const Zarn::CValueMap& )",
     "invalid plugin section (plugin spec required)"},
    {"reject_plugin_name_number", "CImageProcessBatcher::RunPlugin( const Zarn::CValueMap& )",
     "invalid plugin section (plugin spec required)"},
    {"reject_config_plugin_without_name",
     "CImageProcessBatcher::RunConfigPlugin( const Zarn::CValueMap& )",
     "invalid config plugin section (plugin spec required)"},
    {"reject_loop_without_body", "CImageProcessBatcher::RunLoop( const Zarn::CValueMap& )",
     "invalid loop section (subtype, loopbody, and condition identifier spec required)"},
    {"reject_loop_unknown_subtype", "CImageProcessBatcher::RunLoop( const Zarn::CValueMap& )",
     "invalid loop section (subtype \"for\" unknown)"},
    {"reject_loop_subtype_not_string", "CImageProcessBatcher::RunLoop( const Zarn::CValueMap& )",
     "invalid loop section (subtype \"\" unknown)"},
    {"reject_condition_without_value",
     "CImageProcessBatcher::RunCondition( const Zarn::CValueMap& )",
     "invalid condition section (subtype, thenbody, condition value, and condition identifier "
     "spec required)"},
    {"reject_condition_unknown_subtype",
     "CImageProcessBatcher::RunCondition( const Zarn::CValueMap& )",
     "invalid condition section (unknown subtype - \"less\")"},
    {"reject_save_image_without_process",
     "CImageProcessBatcher::RunSaveImage( const Zarn::CValueMap& )",
     "invalid save image section ('map position' and 'save process' required)"},
    {"reject_save_image_process_not_vector",
     "CImageProcessBatcher::RunSaveImage( const Zarn::CValueMap& )",
     "invalid save image section ('map position' and 'save process' required)"},
    // The delete step names the save image section: the text is matched by other tools.
    {"reject_delete_image_without_position",
     "CImageProcessBatcher::RunDeleteImage( const Zarn::CValueMap& )",
     "invalid save image section ('map position' required)"},
    {"reject_swap_image_without_position",
     "CImageProcessBatcher::RunSwapImage( const Zarn::CValueMap& )",
     "invalid swap image section ('map position' required)"},
    {"reject_copy_image_without_target",
     "CImageProcessBatcher::RunCopyImage( const Zarn::CValueMap& )",
     "invalid copy image section ('from position' and 'to position' required)"},
    {"reject_header_tools_without_operation",
     "CImageProcessBatcher::RunQuenHeaderTools( const Zarn::CValueMap& )",
     "invalid quen header tools section ('operation' required)"},
    {"reject_header_tools_without_position",
     "CImageProcessBatcher::RunQuenHeaderTools( const Zarn::CValueMap& )",
     "invalid quen header tools section (operation requires 'map position')"},
    {"reject_header_tools_unknown_operation",
     "CImageProcessBatcher::RunQuenHeaderTools( const Zarn::CValueMap& )",
     "unknown operation (\"rename\")"},
    {"reject_unknown_type_in_loop_body", "CImageProcessBatcher::RunStep( const Zarn::CValueMap& )",
     "unknown process element (\"invert\")"},
};

class CRejectedProcess : public ::testing::TestWithParam<SRejection>
{
protected:
    void SetUp() override { RegisterTools(); }

    std::unique_ptr<Zarn::CValueVector> Load() const
    {
        return ProcessDescription::LoadFile(DataFile(std::string(GetParam().m_szFile) + ".json"));
    }
};

TEST_P(CRejectedProcess, ValidateRejectsWithOperationAndMessage)
{
    const auto pProcess = Load();
    try
    {
        ProcessDescription::Validate(*pProcess);
        FAIL() << "no rejection";
    }
    catch (const Zarn::CException& caught)
    {
        EXPECT_STREQ(caught.function(), GetParam().m_szFunction);
        EXPECT_STREQ(caught.what(), GetParam().m_szMessage);
    }
}

TEST_P(CRejectedProcess, RunRejectsWithOperationAndMessage)
{
    const auto pProcess = Load();
    CImageProcessBatcher batcher(*pProcess, nullptr, nullptr, nullptr);
    const auto pInput = MakeRamp(8, 6);
    try
    {
        batcher.Run(*pInput);
        FAIL() << "no rejection";
    }
    catch (const Zarn::CException& caught)
    {
        EXPECT_STREQ(caught.function(), GetParam().m_szFunction);
        EXPECT_STREQ(caught.what(), GetParam().m_szMessage);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryMalformedStep, CRejectedProcess, ::testing::ValuesIn(kRejections),
                         [](const ::testing::TestParamInfo<SRejection>& param)
                         { return std::string(param.param.m_szFile); });

TEST(ProcessDescription, LoadsTheWorkedExampleAndValidatesIt)
{
    const auto pProcess = ProcessDescription::LoadFile(DataFile("all_step_types.json"));
    ASSERT_EQ(pProcess->Size(), 9u);
    EXPECT_NO_THROW(ProcessDescription::Validate(*pProcess));
}

TEST(ProcessDescription, WorkedExampleRunsEveryStepKind)
{
    RegisterTools();
    const auto pProcess = ProcessDescription::LoadFile(DataFile("all_step_types.json"));
    CImageProcessBatcher batcher(*pProcess, nullptr, nullptr, nullptr);
    const auto pInput = MakeRamp(8, 6);
    const auto pResult = batcher.Run(*pInput);
    ASSERT_NE(pResult, nullptr);
    // Brightened by 100, inverted in the save process, swapped back in by the condition.
    EXPECT_EQ(PixelAt(*pResult, 2, 1), 65535 - (PixelAt(*pInput, 2, 1) + 100));
    const Zarn::CValue* pHistory =
        pResult->Attributes().Entry(Zarn::CValue_Key(Zarn::CTekaHeaderTools::kHistory), false);
    ASSERT_NE(pHistory, nullptr);
    ASSERT_EQ(pHistory->Vector()->Size(), 1u);
    EXPECT_EQ(pHistory->Vector()->Entry(Zarn::CValue_Key(0), true)->String().StdString(),
              "example(constant=100mode=\"bright\", done=false, passes=1, done=false, passes=2, "
              "done=true, passes=3)<0>");
}

TEST(ProcessDescription, FileWhoseTopLevelIsNotAnArrayIsRefused)
{
    EXPECT_THROW(ProcessDescription::LoadFile(DataFile("not_an_array.json")), Zarn::CExBadParam);
}

TEST(ProcessDescription, MissingFileReportsTheReader)
{
    EXPECT_THROW(ProcessDescription::LoadFile(DataFile("no_such_process.json")), Zarn::CException);
}

TEST(ProcessDescription, EmptyProcessAndEmptyBodiesAreValid)
{
    EXPECT_NO_THROW(ProcessDescription::Validate(*ProcessDescription::LoadString("[]")));
    EXPECT_NO_THROW(ProcessDescription::Validate(*ProcessDescription::LoadString(
        R"([{"type": "loop", "subtype": "while-do", "loopbody": [],
             "condition identifier": "go"}])")));
}

TEST(ProcessDescription, AddToHistoryNeedsNoMapPosition)
{
    EXPECT_NO_THROW(ProcessDescription::Validate(*ProcessDescription::LoadString(
        R"([{"type": "quen header tools", "operation": "add to history"}])")));
}

TEST(ProcessDescription, PresentKeyOfAnotherKindReadsAsEmpty)
{
    const auto pProcess = ProcessDescription::LoadString(
        R"([{"type": "loop", "subtype": 3, "loopbody": "none", "condition identifier": 1}])");
    const Zarn::CValueMap& step = *pProcess->Entry(Zarn::CValue_Key(0), true)->Map();
    EXPECT_EQ(ProcessDescription::PresentString(step, "subtype"), "");
    EXPECT_EQ(ProcessDescription::PresentVector(step, "loopbody").Size(), 0u);
    EXPECT_FALSE(ProcessDescription::HasString(step, "condition identifier"));
}

} // namespace
