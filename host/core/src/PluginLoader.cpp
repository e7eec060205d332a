#include <Zarn/Plugin/PluginLoader.h>

#include "ModuleFileCheck.h"

#include <Zarn/Log/Logger.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/System/SystemException.h>

#include <dlfcn.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace Zarn
{

namespace
{
constexpr const char* kEntryName = "CreatePluginInstanceEx";
constexpr std::string_view kModuleSuffix = ".so";

// The module files of one directory, in name order so that the load order does not depend on
// the file system. An unreadable directory yields its error.
std::vector<std::filesystem::path> ModuleFiles(const std::string& directory, std::error_code& error)
{
    std::vector<std::filesystem::path> files;
    std::filesystem::directory_iterator it(directory, error);
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error))
    {
        std::error_code statusError;
        const std::string fileName = it->path().filename().string();
        if (fileName.size() > kModuleSuffix.size() && fileName.ends_with(kModuleSuffix) &&
            it->is_regular_file(statusError))
        {
            files.push_back(it->path());
        }
    }
    std::sort(files.begin(), files.end(),
              [](const std::filesystem::path& left, const std::filesystem::path& right)
              { return left.filename() < right.filename(); });
    return files;
}

// A native fault inside a module's entry, carried out of the guard.
struct SEntryFault
{
    std::uint32_t code;
    int signal;
};

void ThrowEntryFault(std::uint32_t code, SSystemExceptionInfo* info)
{
    // Ctrl+C is only noted by the guard and never leaves the code it interrupted.
    constexpr std::uint32_t kControlC = 0x40010005;
    if (code != kControlC)
    {
        throw SEntryFault{code, info != nullptr ? info->signal : 0};
    }
}

// Restores the thread's translator, also when the entry throws.
class CTranslatorScope
{
public:
    explicit CTranslatorScope(SystemExceptionTranslator translator)
        : m_pfnPrevious(SetSystemExceptionTranslator(translator))
    {
    }
    CTranslatorScope(const CTranslatorScope&) = delete;
    CTranslatorScope& operator=(const CTranslatorScope&) = delete;
    ~CTranslatorScope() { SetSystemExceptionTranslator(m_pfnPrevious); }

private:
    SystemExceptionTranslator m_pfnPrevious;
};

std::string DescribeFault(const SEntryFault& fault)
{
    char code[16];
    std::snprintf(code, sizeof(code), "0x%08" PRIX32, fault.code);
    const char* signalName = fault.signal != 0 ? sigdescr_np(fault.signal) : nullptr;
    return std::string(signalName != nullptr ? signalName : "native fault") + ", code " + code;
}
} // namespace

CPluginLoader& CPluginLoader::Obj()
{
    static CPluginLoader& s_loader = []() -> CPluginLoader&
    {
        static CPluginLoader loader;
        if (const char* searchPath = std::getenv(kSearchPathVariable))
        {
            loader.AddSearchPath(searchPath);
        }
        return loader;
    }();
    return s_loader;
}

CPluginLoader::CPluginLoader() = default;

// Modules stay loaded: plug-ins made by them may outlive the loader.
CPluginLoader::~CPluginLoader() = default;

void CPluginLoader::RegisterPlugin(const char* name, std::function<CPluginBase*()> factory)
{
    if (name == nullptr)
    {
        return;
    }
    std::lock_guard lock(m_mutex);
    m_mapFactories[name] = std::move(factory);
}

void CPluginLoader::UnregisterPlugin(const char* name)
{
    if (name == nullptr)
    {
        return;
    }
    std::lock_guard lock(m_mutex);
    m_mapFactories.erase(name);
}

void CPluginLoader::AddSearchDirectory(const std::string& directory)
{
    // An empty name would mean the current directory, which is never searched.
    if (directory.empty())
    {
        return;
    }
    std::lock_guard lock(m_mutex);
    if (std::find(m_lstDirectories.begin(), m_lstDirectories.end(), directory) ==
        m_lstDirectories.end())
    {
        m_lstDirectories.push_back(directory);
    }
}

void CPluginLoader::AddSearchPath(const std::string& directoryList)
{
    std::string::size_type start = 0;
    while (start <= directoryList.size())
    {
        std::string::size_type end = directoryList.find(':', start);
        if (end == std::string::npos)
        {
            end = directoryList.size();
        }
        AddSearchDirectory(directoryList.substr(start, end - start));
        start = end + 1;
    }
}

const std::vector<std::string>& CPluginLoader::SearchDirectories() const
{
    return m_lstDirectories;
}

void CPluginLoader::SetLogger(CLogger* logger)
{
    std::lock_guard lock(m_mutex);
    m_pLogger = logger;
}

CPluginBase* CPluginLoader::CreatePlugin(const char* name)
{
    if (name == nullptr)
    {
        return nullptr;
    }
    std::string strName(name);
    const std::string::size_type separator = strName.find_last_of("/\\");
    if (separator != std::string::npos)
    {
        strName.erase(0, separator + 1);
    }
    if (strName.empty())
    {
        return nullptr;
    }

    LoadNewModules();

    // The providers are called without the lock: a plug-in's constructor may create others.
    std::function<CPluginBase*()> factory;
    std::vector<SModule> lstModules;
    {
        std::lock_guard lock(m_mutex);
        const auto it = m_mapFactories.find(strName);
        if (it != m_mapFactories.end())
        {
            factory = it->second;
        }
        lstModules = m_lstModules;
    }
    if (factory)
    {
        if (CPluginBase* pPlugin = factory())
        {
            return pPlugin;
        }
    }
    for (const SModule& module : lstModules)
    {
        if (void* pPlugin = CallEntry(module, strName))
        {
            return static_cast<CPluginBase*>(pPlugin);
        }
    }
    return nullptr;
}

void* CPluginLoader::CallEntry(const SModule& module, const std::string& name)
{
    void* pPlugin = nullptr;
    try
    {
        const CTranslatorScope scope(&ThrowEntryFault);
        RunWithSystemExceptionGuard([&] { pPlugin = module.m_pfnCreate(name.c_str()); });
    }
    catch (const SEntryFault& fault)
    {
        // The module's state is unknown after a fault: it is not asked again.
        bool bDropped = false;
        {
            std::lock_guard lock(m_mutex);
            const auto it = std::find_if(m_lstModules.begin(), m_lstModules.end(),
                                         [&](const SModule& loaded)
                                         { return loaded.m_strPath == module.m_strPath; });
            if (it != m_lstModules.end())
            {
                m_lstModules.erase(it);
                bDropped = true;
            }
        }
        if (bDropped)
        {
            Logger().SetLevel(CLogger::levelError)
                << "Plug-in module '" << module.m_strPath << "' crashed in " << kEntryName
                << " when asked for '" << name << "' (" << DescribeFault(fault)
                << "); the module is not used any more" << notype << std::endl;
        }
        return nullptr;
    }
    return pPlugin;
}

CLogger& CPluginLoader::Logger() const
{
    std::lock_guard lock(m_mutex);
    return m_pLogger != nullptr ? *m_pLogger : DefaultLogger();
}

std::vector<std::string> CPluginLoader::LoadedModules() const
{
    std::lock_guard lock(m_mutex);
    std::vector<std::string> lstPaths;
    lstPaths.reserve(m_lstModules.size());
    for (const SModule& module : m_lstModules)
    {
        lstPaths.push_back(module.m_strPath);
    }
    return lstPaths;
}

void CPluginLoader::LoadNewModules()
{
    std::lock_guard scanLock(m_mtxScan);
    std::vector<std::string> lstNewDirectories;
    {
        std::lock_guard lock(m_mutex);
        lstNewDirectories.assign(m_lstDirectories.begin() +
                                     static_cast<std::ptrdiff_t>(m_nScannedDirectories),
                                 m_lstDirectories.end());
        m_nScannedDirectories = m_lstDirectories.size();
    }
    for (const std::string& directory : lstNewDirectories)
    {
        std::error_code error;
        const std::vector<std::filesystem::path> files = ModuleFiles(directory, error);
        if (error)
        {
            Logger().SetLevel(CLogger::levelWarning)
                << "Plug-in directory '" << directory << "' cannot be read: " << error.message()
                << notype << std::endl;
            continue;
        }
        for (const std::filesystem::path& file : files)
        {
            // The same file reached through another directory name is still one module.
            std::error_code canonicalError;
            std::filesystem::path canonical = std::filesystem::canonical(file, canonicalError);
            const std::string key = canonicalError ? file.string() : canonical.string();
            if (m_setTriedFiles.insert(key).second)
            {
                LoadModule(file.string());
            }
        }
    }
}

void CPluginLoader::LoadModule(const std::string& path)
{
    CLogger& logger = Logger();

    const std::string problem = ModuleFileProblem(path);
    if (!problem.empty())
    {
        logger.SetLevel(CLogger::levelError)
            << "Plug-in module '" << path << "' cannot be loaded: " << problem << notype
            << std::endl;
        return;
    }

    // The path always holds a '/', so dlopen takes the file itself and never searches.
    dlerror();
    void* pHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (pHandle == nullptr)
    {
        const char* reason = dlerror();
        logger.SetLevel(CLogger::levelError)
            << "Plug-in module '" << path
            << "' cannot be loaded: " << (reason != nullptr ? reason : "unknown error") << notype
            << std::endl;
        return;
    }
    dlerror();
    void* pEntry = dlsym(pHandle, kEntryName);
    if (pEntry == nullptr)
    {
        // The module stays open: its static objects may already be in use.
        logger.SetLevel(CLogger::levelError)
            << "Plug-in module '" << path << "' has no entry " << kEntryName << notype << std::endl;
        return;
    }
    std::lock_guard lock(m_mutex);
    m_lstModules.push_back({path, reinterpret_cast<PFN_CreatePluginInstanceEx>(pEntry)});
}

CPluginBase* GetNewPluginInstance(const char* name)
{
    if (name == nullptr)
    {
        return nullptr;
    }
    return CPluginLoader::Obj().CreatePlugin(name);
}

} // namespace Zarn
