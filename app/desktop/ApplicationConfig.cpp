#include "ApplicationConfig.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueScalar.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <map>
#include <set>

namespace
{

const char* const kCommands[] = {"quit", "about", "docks", "record", "save_recording"};

std::string Join(const std::string& path, const std::string& key)
{
    return path.empty() ? key : path + "/" + key;
}

} // namespace

// Reads the tree with the positions of its values at hand, so that every rejection can say
// where the offending value is.
class CConfigReader
{
public:
    CConfigReader(const Zarn::CJsonPositions& positions, const QString& appDir, std::string folder)
        : m_positions(positions), m_strAppDir(appDir.toStdString()), m_strFolder(std::move(folder))
    {
    }

    [[noreturn]] void Fail(const std::string& path, const std::string& message) const
    {
        throw CConfigError(m_positions.Describe(path) + ": " + message);
    }

    const Zarn::CValueMap& Map(const Zarn::CValue* value, const std::string& path) const
    {
        if (value == nullptr || value->GenericType() != Zarn::CValue::vtMap)
        {
            Fail(path, "\"" + LastKey(path) + "\" must be an object");
        }
        return *value->Map();
    }

    const Zarn::CValueVector& Vector(const Zarn::CValue* value, const std::string& path) const
    {
        if (value == nullptr || value->GenericType() != Zarn::CValue::vtVector)
        {
            Fail(path, "\"" + LastKey(path) + "\" must be an array");
        }
        return *value->Vector();
    }

    std::string Text(const Zarn::CValueMap& map, const std::string& path, const char* key,
                     bool bRequired, const std::string& defaultText = std::string()) const
    {
        const Zarn::CValue* pValue = map.Entry(Zarn::CValue_Key(key), false);
        const std::string strPath = Join(path, key);
        if (pValue == nullptr)
        {
            if (bRequired)
            {
                Fail(path, "missing \"" + std::string(key) + "\"");
            }
            return defaultText;
        }
        if (pValue->GenericType() != Zarn::CValue::vtString)
        {
            Fail(strPath, "\"" + std::string(key) + "\" must be a text");
        }
        return Expand(pValue->String().StdString());
    }

    bool Bool(const Zarn::CValueMap& map, const std::string& path, const char* key,
              bool bDefault) const
    {
        const Zarn::CValue* pValue = map.Entry(Zarn::CValue_Key(key), false);
        if (pValue == nullptr)
        {
            return bDefault;
        }
        if (pValue->GenericType() != Zarn::CValue::vtBool)
        {
            Fail(Join(path, key), "\"" + std::string(key) + "\" must be true or false");
        }
        return pValue->Bool();
    }

    long Long(const Zarn::CValue* value, const std::string& path, long nMin, long nMax) const
    {
        if (value == nullptr || value->GenericType() != Zarn::CValue::vtLong ||
            value->Long() < nMin || value->Long() > nMax)
        {
            Fail(path, "expected a whole number from " + std::to_string(nMin) + " to " +
                           std::to_string(nMax));
        }
        return value->Long();
    }

    // Replaces "${APPDIR}" in every text of the tree.
    void ExpandAll(Zarn::CValue& value) const
    {
        if (value.GenericType() == Zarn::CValue::vtString)
        {
            value.String() = Zarn::CString(Expand(value.String().StdString()));
        }
        else if (value.GenericType() == Zarn::CValue::vtMap ||
                 value.GenericType() == Zarn::CValue::vtVector)
        {
            auto& container = static_cast<Zarn::CValueContainerBase&>(value);
            for (const Zarn::CValue_Key& key : container.ChildKeys())
            {
                if (Zarn::CValue* pChild = container.ChildAt(key))
                {
                    ExpandAll(*pChild);
                }
            }
        }
    }

    // Replaces every {"$include": FILE, ...} below the value by the members of the object in
    // FILE, the object's own members winning. A relative FILE is found beside the file that names
    // it; FILE may be a resource of the program (":/processes/count-objects.json").
    void ResolveIncludes(Zarn::CValue& value, const std::string& path) const
    {
        ResolveIncludes(value, path, m_strFolder, 0);
    }

    void ResolveIncludes(Zarn::CValue& value, const std::string& path, const std::string& folder,
                         int depth) const
    {
        if (value.GenericType() != Zarn::CValue::vtMap &&
            value.GenericType() != Zarn::CValue::vtVector)
        {
            return;
        }
        auto& container = static_cast<Zarn::CValueContainerBase&>(value);
        if (value.GenericType() == Zarn::CValue::vtMap)
        {
            Zarn::CValueMap& map = *value.Map();
            const Zarn::CValue* pInclude = map.Entry(Zarn::CValue_Key("$include"), false);
            if (pInclude != nullptr)
            {
                const std::string strWhere = Join(path, "$include");
                if (pInclude->GenericType() != Zarn::CValue::vtString)
                {
                    Fail(strWhere, "\"$include\" must be a file name");
                }
                if (depth >= 8)
                {
                    Fail(strWhere, "files include each other too deeply");
                }
                QString strFile = QString::fromStdString(pInclude->String().StdString());
                if (QFileInfo(strFile).isRelative() && !strFile.startsWith(":/"))
                {
                    strFile = QDir::cleanPath(QString::fromStdString(folder) + "/" + strFile);
                }
                QFile file(strFile);
                if (!file.open(QIODevice::ReadOnly))
                {
                    Fail(strWhere, "cannot include: " + strFile.toStdString() +
                                       ": cannot open: " + file.errorString().toStdString());
                }
                std::unique_ptr<Zarn::CValue> pIncluded;
                try
                {
                    pIncluded.reset(Zarn::CJsonValueFile::ReadString(file.readAll().toStdString(),
                                                                     strFile.toStdString()));
                }
                catch (const Zarn::CException& error)
                {
                    Fail(strWhere, std::string("cannot include: ") + error.what());
                }
                if (pIncluded->GenericType() != Zarn::CValue::vtMap)
                {
                    Fail(strWhere,
                         "cannot include " + strFile.toStdString() + ": it holds no object");
                }
                ExpandAll(*pIncluded);
                ResolveIncludes(*pIncluded, path, QFileInfo(strFile).path().toStdString(),
                                depth + 1);
                map.RemoveEntry(Zarn::CValue_Key("$include"));
                for (auto it = pIncluded->Map()->begin(); it != pIncluded->Map()->end(); ++it)
                {
                    if (!map.HasEntry(it.Key()))
                    {
                        map.SetEntry(it.Key(), it.Value()->Clone(Zarn::CValue::tfShare));
                    }
                }
            }
        }
        for (const Zarn::CValue_Key& key : container.ChildKeys())
        {
            if (Zarn::CValue* pChild = container.ChildAt(key))
            {
                const std::string strKey =
                    key.IsText() ? std::string(key.ToString()) : std::to_string(key.AsIndex());
                ResolveIncludes(*pChild, Join(path, strKey), folder, depth);
            }
        }
    }

    std::vector<SMenuItem> Items(const Zarn::CValueMap& owner, const std::string& path) const
    {
        std::vector<SMenuItem> lstItems;
        const std::string strItemsPath = Join(path, "items");
        const Zarn::CValueVector& items =
            Vector(owner.Entry(Zarn::CValue_Key("items"), false), strItemsPath);
        for (unsigned int i = 0; i < items.Size(); ++i)
        {
            const std::string strPath = Join(strItemsPath, std::to_string(i));
            lstItems.push_back(Item(Map(items.Entry(Zarn::CValue_Key(i), true), strPath), strPath));
        }
        return lstItems;
    }

    SMenuItem Item(const Zarn::CValueMap& entry, const std::string& path) const
    {
        SMenuItem item;
        int nKinds = 0;
        if (entry.HasEntry(Zarn::CValue_Key("action")))
        {
            item.m_enKind = SMenuItem::kAction;
            item.m_strName = Text(entry, path, "action", true);
            ++nKinds;
        }
        if (entry.HasEntry(Zarn::CValue_Key("configure")))
        {
            item.m_enKind = SMenuItem::kConfigure;
            item.m_strName = Text(entry, path, "configure", true);
            ++nKinds;
        }
        if (entry.HasEntry(Zarn::CValue_Key("command")))
        {
            item.m_enKind = SMenuItem::kCommand;
            item.m_strName = Text(entry, path, "command", true);
            if (std::find(std::begin(kCommands), std::end(kCommands), item.m_strName) ==
                std::end(kCommands))
            {
                Fail(Join(path, "command"),
                     "unknown command \"" + item.m_strName +
                         "\" (known: quit, about, docks, record, save_recording)");
            }
            ++nKinds;
        }
        if (entry.HasEntry(Zarn::CValue_Key("separator")))
        {
            item.m_enKind = SMenuItem::kSeparator;
            ++nKinds;
        }
        if (entry.HasEntry(Zarn::CValue_Key("items")))
        {
            item.m_enKind = SMenuItem::kSubmenu;
            item.m_lstItems = Items(entry, path);
            ++nKinds;
        }
        if (nKinds != 1)
        {
            Fail(path, "a menu entry needs exactly one of \"action\", \"configure\", \"command\", "
                       "\"separator\" or \"items\"");
        }
        if ((item.m_enKind == SMenuItem::kAction || item.m_enKind == SMenuItem::kConfigure) &&
            item.m_strName.empty())
        {
            Fail(path, "the action name is empty");
        }
        item.m_strText = QString::fromStdString(Text(entry, path, "text", false, item.m_strName));
        item.m_strShortcut = QString::fromStdString(Text(entry, path, "shortcut", false));
        item.m_strIcon = QString::fromStdString(Text(entry, path, "icon", false));
        item.m_strTip = QString::fromStdString(Text(entry, path, "tip", false));
        item.m_bEnabled = Bool(entry, path, "enabled", item.m_enKind == SMenuItem::kCommand);
        return item;
    }

    std::vector<SMenu> Menus(const Zarn::CValueMap& window, const std::string& path,
                             const char* key) const
    {
        std::vector<SMenu> lstMenus;
        const Zarn::CValue* pMenus = window.Entry(Zarn::CValue_Key(key), false);
        if (pMenus == nullptr)
        {
            return lstMenus;
        }
        const std::string strMenusPath = Join(path, key);
        const Zarn::CValueVector& menus = Vector(pMenus, strMenusPath);
        for (unsigned int i = 0; i < menus.Size(); ++i)
        {
            const std::string strPath = Join(strMenusPath, std::to_string(i));
            const Zarn::CValueMap& menu = Map(menus.Entry(Zarn::CValue_Key(i), true), strPath);
            lstMenus.push_back(
                {QString::fromStdString(Text(menu, strPath, "title", true)), Items(menu, strPath)});
        }
        return lstMenus;
    }

    // "plugin path", "log file", "message journal" and "globalsettings".
    void ReadSettings(const Zarn::CValueMap& root, CApplicationConfig& config) const
    {
        if (const Zarn::CValue* pPath = root.Entry(Zarn::CValue_Key("plugin path"), false))
        {
            const Zarn::CValueVector& folders = Vector(pPath, "plugin path");
            for (unsigned int i = 0; i < folders.Size(); ++i)
            {
                const Zarn::CValue* pFolder = folders.Entry(Zarn::CValue_Key(i), true);
                if (pFolder->GenericType() != Zarn::CValue::vtString)
                {
                    Fail("plugin path/" + std::to_string(i), "a folder must be a text");
                }
                config.m_lstPluginPath.push_back(Expand(pFolder->String().StdString()));
            }
        }
        config.m_strLogFile = Text(root, "", "log file", false);
        config.m_bMessageJournal = Bool(root, "", "message journal", false);
        if (const Zarn::CValue* pSettings = root.Entry(Zarn::CValue_Key("globalsettings"), false))
        {
            config.m_pGlobalSettings.reset(static_cast<Zarn::CValueMap*>(
                Map(pSettings, "globalsettings").Clone(Zarn::CValue::tfShare)));
            ExpandAll(*config.m_pGlobalSettings);
        }
    }

    // "plugins", in their order; each id once.
    void ReadPlugins(const Zarn::CValueMap& root, CApplicationConfig& config) const
    {
        std::set<std::string> setIds;
        const Zarn::CValueVector& plugins =
            Vector(root.Entry(Zarn::CValue_Key("plugins"), false), "plugins");
        for (unsigned int i = 0; i < plugins.Size(); ++i)
        {
            const std::string strPath = "plugins/" + std::to_string(i);
            config.m_lstPlugins.push_back(
                Plugin(Map(plugins.Entry(Zarn::CValue_Key(i), true), strPath), strPath, setIds));
        }
    }

    // One entry of "plugins"; its id joins `ids`.
    SPluginEntry Plugin(const Zarn::CValueMap& entry, const std::string& path,
                        std::set<std::string>& ids) const
    {
        SPluginEntry plugin;
        plugin.m_strPlugin = Text(entry, path, "plugin", true);
        plugin.m_strId = Text(entry, path, "id", false, plugin.m_strPlugin);
        plugin.m_strWhere = m_positions.Describe(path);
        if (!ids.insert(plugin.m_strId).second)
        {
            Fail(Join(path, "id"), "the id \"" + plugin.m_strId + "\" is used twice");
        }
        plugin.m_pParameters = std::make_shared<Zarn::CValueMap>();
        if (const Zarn::CValue* pParameters = entry.Entry(Zarn::CValue_Key("parameters"), false))
        {
            plugin.m_pParameters.reset(static_cast<Zarn::CValueMap*>(
                Map(pParameters, Join(path, "parameters")).Clone(Zarn::CValue::tfShare)));
            ExpandAll(*plugin.m_pParameters);
            ResolveIncludes(*plugin.m_pParameters, Join(path, "parameters"));
        }
        return plugin;
    }

    // "window": title, size, central widget, docks, menus and tool bars. Needs the plug-ins read.
    void ReadWindow(const Zarn::CValueMap& root, CApplicationConfig& config) const
    {
        const Zarn::CValueMap& window =
            Map(root.Entry(Zarn::CValue_Key("window"), false), "window");
        config.m_strTitle =
            QString::fromStdString(Text(window, "window", "title", false, "docview"));
        if (const Zarn::CValue* pSize = window.Entry(Zarn::CValue_Key("size"), false))
        {
            const Zarn::CValueVector& size = Vector(pSize, "window/size");
            if (size.Size() != 2)
            {
                Fail("window/size", "\"size\" must be [width, height]");
            }
            config.m_nWidth = static_cast<int>(
                Long(size.Entry(Zarn::CValue_Key(0u), true), "window/size/0", 200, 10000));
            config.m_nHeight = static_cast<int>(
                Long(size.Entry(Zarn::CValue_Key(1u), true), "window/size/1", 150, 10000));
        }
        config.m_strCentral = Text(window, "window", "central", true);
        RequireId(config, config.m_strCentral, "window/central");
        if (const Zarn::CValue* pDocks = window.Entry(Zarn::CValue_Key("docks"), false))
        {
            const Zarn::CValueVector& docks = Vector(pDocks, "window/docks");
            for (unsigned int i = 0; i < docks.Size(); ++i)
            {
                const std::string strPath = "window/docks/" + std::to_string(i);
                config.m_lstDocks.push_back(
                    Dock(config, Map(docks.Entry(Zarn::CValue_Key(i), true), strPath), strPath));
            }
        }
        config.m_lstMenus = Menus(window, "window", "menus");
        config.m_lstToolBars = Menus(window, "window", "toolbars");
    }

private:
    SDock Dock(const CApplicationConfig& config, const Zarn::CValueMap& entry,
               const std::string& path) const
    {
        static const std::map<std::string, Qt::DockWidgetArea> kAreas = {
            {"left", Qt::LeftDockWidgetArea},
            {"right", Qt::RightDockWidgetArea},
            {"top", Qt::TopDockWidgetArea},
            {"bottom", Qt::BottomDockWidgetArea},
        };
        SDock dock;
        dock.m_strPlugin = Text(entry, path, "plugin", true);
        RequireId(config, dock.m_strPlugin, Join(path, "plugin"));
        dock.m_strTitle =
            QString::fromStdString(Text(entry, path, "title", false, dock.m_strPlugin));
        const auto it = kAreas.find(Text(entry, path, "area", false, "left"));
        if (it == kAreas.end())
        {
            Fail(Join(path, "area"), "\"area\" must be left, right, top or bottom");
        }
        dock.m_enArea = it->second;
        return dock;
    }

    // The window may only name plug-ins of "plugins".
    void RequireId(const CApplicationConfig& config, const std::string& id,
                   const std::string& where) const
    {
        std::set<std::string> setIds;
        for (const SPluginEntry& plugin : config.m_lstPlugins)
        {
            setIds.insert(plugin.m_strId);
        }
        if (setIds.count(id) != 0)
        {
            return;
        }
        std::string strKnown;
        for (const std::string& strId : setIds)
        {
            strKnown += (strKnown.empty() ? "" : ", ") + strId;
        }
        Fail(where, "\"" + id + "\" names no entry of \"plugins\" (ids: " + strKnown + ")");
    }

    std::string Expand(std::string text) const
    {
        const std::string strToken = "${APPDIR}";
        for (size_t uAt = text.find(strToken); uAt != std::string::npos;
             uAt = text.find(strToken, uAt + m_strAppDir.size()))
        {
            text.replace(uAt, strToken.size(), m_strAppDir);
        }
        return text;
    }

    static std::string LastKey(const std::string& path)
    {
        const size_t uSlash = path.rfind('/');
        return uSlash == std::string::npos ? path : path.substr(uSlash + 1);
    }

    const Zarn::CJsonPositions& m_positions;
    std::string m_strAppDir;
    std::string m_strFolder; // of the configuration file
};

namespace
{

// The file's text and the name errors give it ("built-in default.json" for a resource).
QByteArray ReadConfigFile(const QString& path, std::string& source)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        throw CConfigError(path.toStdString() +
                           ": cannot open: " + file.errorString().toStdString());
    }
    source = path.startsWith(":/") ? "built-in " + path.mid(2).toStdString() : path.toStdString();
    return file.readAll();
}

} // namespace

std::unique_ptr<CApplicationConfig> CApplicationConfig::Load(const QString& path,
                                                             const QString& appDir)
{
    std::string strSource;
    const QByteArray text = ReadConfigFile(path, strSource);
    Zarn::CJsonPositions positions;
    std::unique_ptr<Zarn::CValue> pRoot;
    try
    {
        pRoot.reset(Zarn::CJsonValueFile::ReadString(text.toStdString(), strSource, positions));
    }
    catch (const Zarn::CException& error)
    {
        throw CConfigError(error.what());
    }

    const CConfigReader reader(positions, appDir,
                               path.startsWith(":/")
                                   ? QFileInfo(path).path().toStdString()
                                   : QFileInfo(path).absolutePath().toStdString());
    std::unique_ptr<CApplicationConfig> pConfig(new CApplicationConfig);
    pConfig->m_strSource = QString::fromStdString(strSource);
    const Zarn::CValueMap& root = reader.Map(pRoot.get(), "");
    reader.ReadSettings(root, *pConfig);
    reader.ReadPlugins(root, *pConfig);
    reader.ReadWindow(root, *pConfig);
    return pConfig;
}
