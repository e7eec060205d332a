#include <Zarn/Registry/Registry.h>

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Value/ValuePointer.h>

#include <string>

namespace Zarn
{

namespace
{

CValue_Path PathOf(const CValue_Key& key)
{
    return CValue_Path(std::string(key.ToString()));
}

} // namespace

CRegistry& CRegistry::Obj()
{
    static CRegistry s_registry;
    return s_registry;
}

CRegistry::CRegistry() = default;

CRegistry::~CRegistry() = default;

CValue* CRegistry::Entry(const CValue_Key& key)
{
    const CValue_Path path = PathOf(key);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        CValue* pValue = path.IsEmpty() ? nullptr : m_mapRoot.Entry(path, false);
        if (pValue != nullptr)
        {
            return pValue;
        }
    }
    const std::string strMessage = std::string("Registry entry '") + key.ToString() + "' not found";
    throw CExBadParam(ZARN_LOCATION, strMessage.c_str());
}

void CRegistry::SetEntry(const CValue_Key& key, CValue* value)
{
    std::unique_ptr<CValue> pValue(value);
    const CValue_Path path = PathOf(key);
    if (path.IsEmpty())
    {
        throw CExBadParam(ZARN_LOCATION, "A registry entry needs a non-empty key");
    }
    std::unique_ptr<CValue> pOld;
    std::lock_guard<std::mutex> lock(m_mutex);
    pOld = DetachLocked(path);
    m_mapRoot.SetEntry(path, pValue.release(), true);
}

bool CRegistry::HasEntry(const CValue_Key& key) const
{
    const CValue_Path path = PathOf(key);
    std::lock_guard<std::mutex> lock(m_mutex);
    return !path.IsEmpty() && m_mapRoot.HasEntry(path);
}

bool CRegistry::RemoveEntry(const CValue_Key& key)
{
    const CValue_Path path = PathOf(key);
    if (path.IsEmpty())
    {
        return false;
    }
    std::unique_ptr<CValue> pOld;
    std::lock_guard<std::mutex> lock(m_mutex);
    pOld = DetachLocked(path);
    return pOld != nullptr || m_mapRoot.RemoveEntry(path);
}

std::unique_ptr<CValue> CRegistry::DetachLocked(const CValue_Path& path)
{
    CValue* pParent = &m_mapRoot;
    if (path.Size() > 1)
    {
        CValue_Path parentPath;
        const std::vector<CValue_Key>& lstKeys = path.Keys();
        for (size_t nKey = 0; nKey + 1 < lstKeys.size(); ++nKey)
        {
            parentPath = CValue_Path(parentPath.ToString() + "/" + lstKeys[nKey].ToString());
        }
        pParent = m_mapRoot.Entry(parentPath, false);
    }
    CValueMap* pMap = pParent != nullptr ? pParent->Map() : nullptr;
    return std::unique_ptr<CValue>(pMap != nullptr ? pMap->Detach(path.Keys().back()) : nullptr);
}

void CRegistry::Clear()
{
    // The values go after the lock is released: a destructor may use the registry itself.
    CValueMap mapOld;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        mapOld.Move(m_mapRoot);
    }
}

void RegisterHostObjects(CMessageThread* thread, CMessageIdFactory* ids, CLogger* logger)
{
    CRegistry& registry = CRegistry::Obj();
    registry.SetEntry(CValue_Key("tmp/commthread"), new CValuePointer<CMessageThread>(thread));
    registry.SetEntry(CValue_Key("tmp/messageidfactory"),
                      new CValuePointer<CMessageIdFactory>(ids));
    registry.SetEntry(CValue_Key("tmp/logger"), new CValuePointer<CLogger>(logger));
}

void UnregisterHostObjects()
{
    CRegistry& registry = CRegistry::Obj();
    for (const char* szKey : {"tmp/commthread", "tmp/messageidfactory", "tmp/logger"})
    {
        registry.RemoveEntry(CValue_Key(szKey));
    }
}

} // namespace Zarn
