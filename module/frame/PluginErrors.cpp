#include "frame/PluginErrors.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/Value.h>
#include <Zarn/Value/ValueKey.h>

#include <exception>
#include <string>

namespace DocView
{

void RethrowWrapped(const char* szOperation)
{
    try
    {
        throw;
    }
    catch (const Zarn::CException& caught)
    {
        std::string strFunction = std::string(szOperation) + " - ";
        if (const Zarn::CValue* pFunction = caught.Entry(Zarn::CValue_Key("Function")))
        {
            strFunction += pFunction->String().c_str();
        }
        throw Zarn::CException(strFunction.c_str(), caught.what(), caught.instance());
    }
    catch (const std::exception& caught)
    {
        // Built and dropped on purpose: the rethrown exception carries the bare what() text, and
        // the callers that show it rely on there being no prefix.
        const std::string strDiscarded = std::string("STL Exception - ") + caught.what();
        static_cast<void>(strDiscarded);
        throw Zarn::CException(szOperation, caught.what(), nullptr);
    }
    catch (...)
    {
        // The misspelling is deliberate: other modules match this text.
        throw Zarn::CException(szOperation, "UNKNWON EXCEPTION!", nullptr);
    }
}

} // namespace DocView
