#pragma once

#include <Zarn/Export.h>
#include <Zarn/Value/ValueContainer.h>

#include <memory>
#include <mutex>

namespace Zarn
{

class CLogger;
class CMessageIdFactory;
class CMessageThread;

// The process's registry: a value tree where the host and the plug-ins leave objects for each
// other ("tmp/commthread", "tmp/logger"). A key's text is a slash path into the tree.
//
// Every operation may be called from any thread. Entry lends the value: it stays valid until
// the entry is replaced or removed, which the callers have to agree on among themselves.
//
// Contract: owns the values set in it and lends them through Entry; the objects that pointer
// values in it name stay their owners'. Throws CExBadParam for a missing required entry. No
// messages.
class ZARN_CORE_API CRegistry
{
public:
    static CRegistry& Obj();

    CRegistry(const CRegistry&) = delete;
    CRegistry& operator=(const CRegistry&) = delete;

    // The value at the key, lent. A missing entry throws CExBadParam naming the key.
    CValue* Entry(const CValue_Key& key);
    // Takes the value (also when it throws), making missing maps on the way; an existing value
    // is replaced and deleted. An empty key or a path through a non-container throws
    // CExBadParam.
    void SetEntry(const CValue_Key& key, CValue* value);
    bool HasEntry(const CValue_Key& key) const;
    // Deletes the value; false when there was none.
    bool RemoveEntry(const CValue_Key& key);
    // Deletes every entry.
    void Clear();

private:
    CRegistry();
    ~CRegistry();

    // Takes a map child out of the tree, so that the caller deletes it once the lock is
    // released (a value's destructor may use the registry). Null for a vector child or none.
    std::unique_ptr<CValue> DetachLocked(const CValue_Path& path);

    mutable std::mutex m_mutex;
    CValueMap m_mapRoot;
};

// The host objects every plug-in borrows in Init, as lent pointer values: "tmp/commthread",
// "tmp/messageidfactory" and "tmp/logger". The host keeps them alive until it removes them again.
ZARN_CORE_API void RegisterHostObjects(CMessageThread* thread, CMessageIdFactory* ids,
                                       CLogger* logger);
// Removes those three entries, where present.
ZARN_CORE_API void UnregisterHostObjects();

} // namespace Zarn
