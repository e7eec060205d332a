#include "HostException.h"

#include <Zarn/Exception/Exception.h>

#include <gtest/gtest.h>

namespace DocViewTest
{

void ExpectHostException(const std::function<void()>& call, const SHostExceptionTexts& texts)
{
    try
    {
        call();
        ADD_FAILURE() << "no Zarn exception was thrown";
    }
    catch (const Zarn::CException& caught)
    {
        if (texts.m_strFunction)
        {
            EXPECT_EQ(caught.function(), *texts.m_strFunction);
        }
        if (texts.m_strWhat)
        {
            EXPECT_EQ(caught.what(), *texts.m_strWhat);
        }
        if (texts.m_strInstance)
        {
            EXPECT_EQ(caught.instance(), *texts.m_strInstance);
        }
    }
}

void ExpectHostExceptionFrom(const std::function<void()>& call, const std::string& functionPrefix)
{
    try
    {
        call();
        ADD_FAILURE() << "no Zarn exception was thrown";
    }
    catch (const Zarn::CException& caught)
    {
        const std::string strFunction = caught.function();
        EXPECT_EQ(strFunction.rfind(functionPrefix, 0), 0u) << strFunction;
    }
}

} // namespace DocViewTest
