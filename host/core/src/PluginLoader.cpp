#include <Zarn/Plugin/PluginLoader.h>

#include <Zarn/Log/Logger.h>
#include <Zarn/Plugin/PluginBase.h>

#include <dlfcn.h>

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
    std::vector<PFN_CreatePluginInstanceEx> lstEntries;
    {
        std::lock_guard lock(m_mutex);
        const auto it = m_mapFactories.find(strName);
        if (it != m_mapFactories.end())
        {
            factory = it->second;
        }
        lstEntries.reserve(m_lstModules.size());
        for (const SModule& module : m_lstModules)
        {
            lstEntries.push_back(module.m_pfnCreate);
        }
    }
    if (factory)
    {
        if (CPluginBase* pPlugin = factory())
        {
            return pPlugin;
        }
    }
    for (const PFN_CreatePluginInstanceEx pfnCreate : lstEntries)
    {
        if (void* pPlugin = pfnCreate(strName.c_str()))
        {
            return static_cast<CPluginBase*>(pPlugin);
        }
    }
    return nullptr;
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
            CLogger* pLogger = nullptr;
            {
                std::lock_guard lock(m_mutex);
                pLogger = m_pLogger;
            }
            CLogger& logger = pLogger != nullptr ? *pLogger : DefaultLogger();
            logger.SetLevel(CLogger::levelWarning)
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
    CLogger* pLogger = nullptr;
    {
        std::lock_guard lock(m_mutex);
        pLogger = m_pLogger;
    }
    CLogger& logger = pLogger != nullptr ? *pLogger : DefaultLogger();

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
