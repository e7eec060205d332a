#pragma once

#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValueContainer.h>

#include <QString>
#include <Qt>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// A configuration that cannot be used; the text names the file, line and column.
class CConfigError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// One entry of a menu or tool bar.
struct SMenuItem
{
    enum EnKind
    {
        kAction,    // posts ON_ACTION with the name
        kConfigure, // posts ON_CONFIGURE with the name
        kCommand,   // handled by the window itself: "quit", "about", "docks", "record",
                    // "save_recording"
        kSeparator,
        kSubmenu,
    };
    EnKind m_enKind = kSeparator;
    std::string m_strName;
    QString m_strText;
    QString m_strShortcut;
    QString m_strIcon;
    QString m_strTip;
    bool m_bEnabled = false;           // the state before the first UPDATE_CONTROLS
    std::vector<SMenuItem> m_lstItems; // of a submenu
};

struct SMenu
{
    QString m_strTitle;
    std::vector<SMenuItem> m_lstItems;
};

struct SDock
{
    std::string m_strPlugin; // the id of the plug-in whose widget the dock shows
    QString m_strTitle;
    Qt::DockWidgetArea m_enArea = Qt::LeftDockWidgetArea;
};

struct SPluginEntry
{
    std::string m_strId;
    std::string m_strPlugin;
    std::shared_ptr<Zarn::CValueMap> m_pParameters;
    std::string m_strWhere; // "file:line:column" of the entry, for errors found later
};

// The application's configuration: which plug-ins make up the program and how the main window
// shows them. Everything is read and checked before anything is built, so a broken file stops
// the start with one message instead of a half-built window. "${APPDIR}" in any text stands for
// the folder of the executable.
//
// Owns everything it read (the global settings and each plug-in's parameters, shared with whoever
// keeps a copy of an entry); lends it through const accessors for as long as it lives. Immutable
// once loaded, so any thread may read it; loaded on the main thread before anything is built.
// Load throws CConfigError; sends and handles no messages.
class CApplicationConfig
{
public:
    // The configuration compiled into the program.
    static constexpr const char* kBuiltInPath = ":/config/default.json";

    // Reads and checks the file (a Qt resource path works too); CConfigError when it cannot be
    // used.
    static std::unique_ptr<CApplicationConfig> Load(const QString& path, const QString& appDir);

    const QString& Source() const { return m_strSource; }
    const QString& Title() const { return m_strTitle; }
    int Width() const { return m_nWidth; }
    int Height() const { return m_nHeight; }
    const std::vector<std::string>& PluginPath() const { return m_lstPluginPath; }
    const std::string& LogFile() const { return m_strLogFile; }
    bool MessageJournal() const { return m_bMessageJournal; }
    // Goes to the registry as "main/globalsettings"; null when the file has none.
    const Zarn::CValueMap* GlobalSettings() const { return m_pGlobalSettings.get(); }
    // In subscription order.
    const std::vector<SPluginEntry>& Plugins() const { return m_lstPlugins; }
    const std::string& Central() const { return m_strCentral; }
    const std::vector<SDock>& Docks() const { return m_lstDocks; }
    const std::vector<SMenu>& Menus() const { return m_lstMenus; }
    const std::vector<SMenu>& ToolBars() const { return m_lstToolBars; }

private:
    CApplicationConfig() = default;

    QString m_strSource;
    QString m_strTitle = "docview";
    int m_nWidth = 1200;
    int m_nHeight = 800;
    std::vector<std::string> m_lstPluginPath;
    std::string m_strLogFile;
    bool m_bMessageJournal = false;
    std::unique_ptr<Zarn::CValueMap> m_pGlobalSettings;
    std::vector<SPluginEntry> m_lstPlugins;
    std::string m_strCentral;
    std::vector<SDock> m_lstDocks;
    std::vector<SMenu> m_lstMenus;
    std::vector<SMenu> m_lstToolBars;

    friend class CConfigReader;
};
