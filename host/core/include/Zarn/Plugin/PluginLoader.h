#pragma once

#include <Zarn/Export.h>

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace Zarn
{

class CLogger;
class CPluginBase;

extern "C"
{
    // The one entry a module exports, as `CreatePluginInstanceEx`: a new plug-in of that name
    // (its CPluginBase part, owned by the caller) or null when the module has no such plug-in.
    typedef void* (*PFN_CreatePluginInstanceEx)(const char* name);
}

// Creates plug-ins by name. Providers are asked in order and the first non-null answer wins:
// in-process registrations first, then every loaded module in load order.
//
// Modules are the regular "*.so" files of the search directories, taken in name order, opened
// once on the first look-up after their directory was added and never closed (the plug-ins'
// code must outlive every plug-in). A file is checked before dlopen sees it (an ELF shared
// library whose segments lie inside the file, so that a file cut short cannot kill the process).
// A module that fails the check, cannot be opened or has no entry is reported once at the error
// level and skipped for good. A module's entry runs under the native-fault guard: an entry that
// crashes is reported once, by path and fault, and the module is not asked again. Nothing is
// loaded from a place not named: empty directory names are ignored.
//
// Every operation may be called from any thread. A module must not create plug-ins from its
// static initialisation (it runs while the loader is scanning); registering is allowed.
//
// Contract: keeps the modules it opened loaded for the process's life and hands each created
// plug-in to the caller (DeleteData, then delete); the logger is lent. Problems with modules are
// logged, not thrown; an unknown name gives null. No messages.
class ZARN_CORE_API CPluginLoader
{
public:
    // The environment variable with extra search directories, separated by ':'.
    static constexpr const char* kSearchPathVariable = "DOCVIEW_PLUGIN_PATH";

    // The process's loader; its search directories start with those of DOCVIEW_PLUGIN_PATH.
    static CPluginLoader& Obj();

    // A loader with no search directories and no registrations.
    CPluginLoader();
    CPluginLoader(const CPluginLoader&) = delete;
    CPluginLoader& operator=(const CPluginLoader&) = delete;
    ~CPluginLoader();

    // An in-process provider for exactly this name (case-sensitive); replaces an earlier one.
    void RegisterPlugin(const char* name, std::function<CPluginBase*()> factory);
    void UnregisterPlugin(const char* name);

    // Adds a directory to search for modules; empty and already known names are ignored.
    void AddSearchDirectory(const std::string& directory);
    // Adds each directory of a ':'-separated list.
    void AddSearchPath(const std::string& directoryList);
    // Not to be read while another thread adds directories.
    const std::vector<std::string>& SearchDirectories() const;

    // The logger for module problems, lent; null selects DefaultLogger().
    void SetLogger(CLogger* logger);

    // A new plug-in owned by the caller (destroy it through its virtual destructor), or null for
    // an unknown or null name. The directory part of the name (up to the last '/' or '\\') is
    // ignored. An unknown name is not logged: the caller decides what it means. What a provider
    // throws reaches the caller.
    CPluginBase* CreatePlugin(const char* name);

    // The files of the modules opened so far, in load order.
    std::vector<std::string> LoadedModules() const;

private:
    struct SModule
    {
        std::string m_strPath;
        PFN_CreatePluginInstanceEx m_pfnCreate;
    };

    // Opens the modules of directories added since the last scan.
    void LoadNewModules();
    void LoadModule(const std::string& path);
    // The module's answer for `name`; null, and the module dropped, when its entry crashes.
    void* CallEntry(const SModule& module, const std::string& name);
    CLogger& Logger() const;

    // m_mtxScan serialises scanning (so each module is opened once) and is never taken while
    // m_mutex is held; m_mutex guards the members below and is held only briefly.
    std::mutex m_mtxScan;
    mutable std::mutex m_mutex;
    std::map<std::string, std::function<CPluginBase*()>> m_mapFactories;
    std::vector<std::string> m_lstDirectories;
    std::size_t m_nScannedDirectories = 0;
    std::set<std::string> m_setTriedFiles; // canonical module files tried; under m_mtxScan
    std::vector<SModule> m_lstModules;
    CLogger* m_pLogger = nullptr;
};

// CPluginLoader::Obj().CreatePlugin(name); null for a null name. The caller owns the result.
ZARN_CORE_API CPluginBase* GetNewPluginInstance(const char* name);

} // namespace Zarn
