#pragma once

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/Image.h>
#include <Zarn/Value/ValueContainer.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Small real plug-ins for the batch tests, created by name through the host's plug-in loader
// (registered in-process). The image tools work on the image at "input/documents/focused" with
// OpenCV and hand their result back as a new document at "output/documents/add", as tools do.
namespace BatchTestTools
{

// Image tools. Each result is a new image with the input's header.
inline constexpr const char* kInvert = "TestInvert";           // bitwise not
inline constexpr const char* kAddConstant = "TestAddConstant"; // + "parameters/constant"
inline constexpr const char* kSetLabels = "TestSetLabels"; // header labels = "parameters/labels"
// Thresholds the image it was given in place (at "parameters/level") and hands that image back.
inline constexpr const char* kThresholdInPlace = "TestThresholdInPlace";
// Hands back a copy of its input; counts its runs, records the map it ran with, and throws a
// Zarn::CException on the run whose number is "fail at run" (when present).
inline constexpr const char* kCounter = "TestCounter";
// Lists two documents under "add": the inverted image first, a copy second.
inline constexpr const char* kTwoDocuments = "TestTwoDocuments";
// Lends an image it does not own (a process-wide one) as its result.
inline constexpr const char* kLendingTool = "TestLendingTool";
// Writes "output" without "documents".
inline constexpr const char* kNoDocuments = "TestNoDocuments";

// A configuration plug-in: answers its "answer" map as "parameters" (replacing what it got), sets
// "cancelled" = true when its "cancel" is true, and, with a "count key", counts the passes in
// "parameters/<count key>" and answers "parameters/<done key>" = passes >= "until" and
// "parameters/<more key>" = passes < "until".
inline constexpr const char* kConfig = "TestConfig";

// Contract probes.
inline constexpr const char* kRejecting = "TestRejecting";           // TestParameters false
inline constexpr const char* kUpdateThrowing = "TestUpdateThrowing"; // UpdateParameters throws
inline constexpr const char* kRunThrowing = "TestRunThrowing";       // Run throws CException
inline constexpr const char* kStdThrowing = "TestStdThrowing";       // Run throws std::exception
inline constexpr const char* kIntThrowing = "TestIntThrowing";       // Run throws an int
// In UpdateParameters adds "added by update" and overwrites "shared" in its work map.
inline constexpr const char* kKeyAdding = "TestKeyAdding";

// What the tools saw, process-wide; Reset() clears it.
struct SJournal
{
    std::vector<std::string> m_lstCalls; // "TestCounter:Init", ... in call order
    int m_nCounterRuns = 0;
    std::unique_ptr<Zarn::CValueMap> m_pInitMap;   // the last Init map of any tool
    std::unique_ptr<Zarn::CValueMap> m_pRunMap;    // the last Run map of the counter / probes
    std::unique_ptr<Zarn::CValueMap> m_pUpdateMap; // the last UpdateParameters map
    const Zarn::CImage* m_pLastInput = nullptr;    // the image the last image tool was given
    std::unique_ptr<Zarn::CImage> m_pCounterInput; // a copy of the counter's last input
    std::string m_strLastLabel;                    // its document's label
};
SJournal& Journal();
void ResetJournal();
// How often a call "Tool:Operation" was journaled.
int CountCalls(const std::string& call);

// The image the lending tool lends; lives for the whole process.
Zarn::CImage& LentImage();

// Registers every tool above with Zarn::CPluginLoader::Obj() (idempotent).
void RegisterTools();

// A 16-bit image of the given size whose pixels are (x + 3 * y) * 7, with an empty header.
std::unique_ptr<Zarn::CImage> MakeRamp(unsigned int width, unsigned int height);
// One pixel of a single-channel 16-bit image.
unsigned short PixelAt(const Zarn::CImage& image, unsigned int x, unsigned int y);

// Runs `action` and returns the host error it throws; empty when it throws none. Errors of
// other kinds pass through to the test.
inline std::optional<Zarn::CException> CatchHostError(const std::function<void()>& action)
{
    try
    {
        action();
    }
    catch (const Zarn::CException& caught)
    {
        return caught;
    }
    return std::nullopt;
}

// Fails fatally when `caught` is empty, else checks the error's function and text against the
// values the test states. Call it through ASSERT_NO_FATAL_FAILURE where the test goes on to use
// `caught`.
inline void ExpectHostError(const std::optional<Zarn::CException>& caught, const char* szFunction,
                            const char* szWhat)
{
    ASSERT_TRUE(caught) << "no host error was thrown";
    EXPECT_STREQ(caught->function(), szFunction);
    EXPECT_STREQ(caught->what(), szWhat);
}

} // namespace BatchTestTools
