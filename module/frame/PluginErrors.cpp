#include "frame/PluginErrors.h"

#include <Zarn/Exception/Exception.h>

namespace DocView
{

void RethrowWrapped(const char* szOperation)
{
    // The host's wrapping is the one every module uses.
    Zarn::RethrowWithOperation(szOperation);
}

} // namespace DocView
