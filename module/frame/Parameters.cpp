#include "frame/Parameters.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueKey.h>

namespace DocView
{

void ForEachListEntry(const Zarn::CValueMap& parameters, const char* key,
                      const std::function<void(const Zarn::CValue* entry)>& fnEntry)
{
    const Zarn::CValue_Key listKey(key);
    if (!parameters.HasEntry(listKey))
    {
        return;
    }
    const Zarn::CValue* pList = parameters.Entry(listKey, true);
    const Zarn::CValueVector* pEntries = pList->Vector();
    if (pEntries == nullptr)
    {
        throw Zarn::CExBadType(ZARN_LOCATION, pList);
    }
    for (unsigned int i = 0; i < pEntries->Size(); ++i)
    {
        fnEntry(pEntries->Entry(Zarn::CValue_Key(i), true));
    }
}

} // namespace DocView
