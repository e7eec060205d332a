// Widgets need a QApplication: one for the whole test program, made before the first test and
// destroyed after the last one.

#include <QApplication>

#include <gtest/gtest.h>

#include <memory>

namespace
{

class CQtApplicationEnvironment : public ::testing::Environment
{
public:
    void SetUp() override { m_pApplication = std::make_unique<QApplication>(m_nArgc, m_apArgv); }
    void TearDown() override { m_pApplication.reset(); }

private:
    int m_nArgc = 1;
    char m_szName[32] = "docview_module_test";
    char* m_apArgv[2] = {m_szName, nullptr};
    std::unique_ptr<QApplication> m_pApplication;
};

// gtest takes ownership of the environment.
[[maybe_unused]] ::testing::Environment* const g_pQtEnvironment =
    ::testing::AddGlobalTestEnvironment(new CQtApplicationEnvironment);

} // namespace
