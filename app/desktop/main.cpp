// docview-app: the desktop application. Boots the host, creates the plug-ins that the
// configuration names and builds the main window around them.

#include "ApplicationConfig.h"
#include "AutomationChannel.h"
#include "ConsoleStreams.h"
#include "HostSession.h"
#include "MainWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QTimer>

#include <iostream>
#include <memory>

namespace
{

// Whether a window can be seen at all. The offscreen and minimal platforms draw nowhere, and
// without DISPLAY or WAYLAND_DISPLAY there is no desktop session: a modal box would wait there for
// ever for a click nobody can give.
bool HasDisplay()
{
    const QString strPlatform = QGuiApplication::platformName();
    if (strPlatform == "offscreen" || strPlatform == "minimal")
    {
        return false;
    }
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// True on a terminal without any desktop: no display and no platform chosen. Qt would abort in
// QApplication then, before the configuration could say anything.
bool NoDisplayAtAll(int argc, char* argv[])
{
    if (!qEnvironmentVariableIsEmpty("DISPLAY") ||
        !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
        !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
    {
        return false;
    }
    for (int i = 1; i < argc; ++i)
    {
        const std::string strArgument = argv[i];
        if (strArgument == "-platform" || strArgument == "--platform")
        {
            return false;
        }
    }
    return true;
}

// Shown where the user looks: on the terminal, and in a box when a user can see and close it
// (not when a script drives the program, nor without a display). Standard error and not the log:
// the program ends, and when the configuration is what failed there is no log yet.
void ReportStartFailure(const QString& text, bool bShowBox)
{
    std::cerr << "docview-app: " << text.toStdString() << std::endl;
    if (bShowBox && HasDisplay())
    {
        QMessageBox box(QMessageBox::Critical, QObject::tr("docview cannot start"), text);
        box.exec();
    }
}

void NameTheApplication()
{
    QCoreApplication::setApplicationName("docview");
    QCoreApplication::setOrganizationName("docview");
    QCoreApplication::setApplicationVersion(DOCVIEW_VERSION);
}

// The command line's options; the parser lends them by name.
struct SCommandLine
{
    SCommandLine()
    {
        m_parser.setApplicationDescription("Documents, views and tools for image analysis.");
        m_parser.addHelpOption();
        m_parser.addVersionOption();
        m_parser.addOptions({m_config, m_automation, m_screenshot, m_verbose});
        m_parser.addPositionalArgument("images", "Image files to open.", "[images...]");
    }

    QCommandLineParser m_parser;
    const QCommandLineOption m_config{
        "config", "Reads the configuration from <file> instead of the built-in one.", "file"};
    const QCommandLineOption m_automation{
        "automation", "Takes commands on standard input (for end-to-end tests)."};
    const QCommandLineOption m_screenshot{
        "screenshot",
        "Saves a picture of the window to <file> once the images are shown, then quits.", "file"};
    const QCommandLineOption m_verbose{
        "verbose", "Also shows what the plug-ins and the log say while they work (progress and "
                   "settings, besides warnings and errors)."};
};

// What the command line asks of this run.
struct SRunOptions
{
    QString m_strConfig;
    QString m_strScreenshot;
    QStringList m_lstFiles;
    bool m_bAutomation = false;
    bool m_bScreenshot = false;
    bool m_bVerbose = false;

    // A user at the window: neither a script nor --screenshot drives it.
    bool Interactive() const { return !m_bAutomation && !m_bScreenshot; }
};

// --help and --version answer on standard output and end the program before any window system
// is touched, so that they work on a terminal without a display. Returns when neither is asked.
void AnswerHelpOrVersion(int argc, char* argv[])
{
    QStringList lstArguments;
    for (int i = 0; i < argc; ++i)
    {
        lstArguments << QString::fromLocal8Bit(argv[i]);
    }
    SCommandLine commandLine;
    // Errors (an option of Qt's own, unknown here) are for the full parse later.
    commandLine.m_parser.parse(lstArguments);
    const bool bHelp = commandLine.m_parser.isSet("help");
    if (!bHelp && !commandLine.m_parser.isSet("version"))
    {
        return;
    }
    int nArguments = argc;
    const QCoreApplication core(nArguments, argv); // no platform: only names and arguments
    NameTheApplication();
    if (bHelp)
    {
        commandLine.m_parser.showHelp(0);
    }
    commandLine.m_parser.showVersion();
}

SRunOptions ParseCommandLine(const QApplication& application)
{
    SCommandLine commandLine;
    commandLine.m_parser.process(application);
    SRunOptions options;
    options.m_strConfig = commandLine.m_parser.isSet(commandLine.m_config)
                              ? commandLine.m_parser.value(commandLine.m_config)
                              : QString(CApplicationConfig::kBuiltInPath);
    options.m_strScreenshot = commandLine.m_parser.value(commandLine.m_screenshot);
    options.m_lstFiles = commandLine.m_parser.positionalArguments();
    options.m_bAutomation = commandLine.m_parser.isSet(commandLine.m_automation);
    options.m_bScreenshot = commandLine.m_parser.isSet(commandLine.m_screenshot);
    options.m_bVerbose = commandLine.m_parser.isSet(commandLine.m_verbose);
    return options;
}

// The configuration, or null after telling the user why there is none.
std::unique_ptr<CApplicationConfig> LoadConfiguration(const SRunOptions& options)
{
    try
    {
        return CApplicationConfig::Load(options.m_strConfig,
                                        QCoreApplication::applicationDirPath());
    }
    catch (const CConfigError& error)
    {
        ReportStartFailure(QString::fromStdString(error.what()), options.Interactive());
        return nullptr;
    }
}

// The window with its plug-ins, or null after telling the user what is missing.
std::unique_ptr<CMainWindow> BuildWindow(const CApplicationConfig& config, CHostSession& session,
                                         const SRunOptions& options)
{
    try
    {
        return std::make_unique<CMainWindow>(config, session);
    }
    catch (const CConfigError& error)
    {
        ReportStartFailure(QString::fromStdString(error.what()), options.Interactive());
        return nullptr;
    }
}

// The result of --screenshot: the program's own output, seen also in a normal run.
void SaveScreenshot(QWidget& window, const QString& file)
{
    const bool bSaved = window.grab().save(file, "PNG");
    CConsoleStreams::Output() << (bSaved ? "saved " : "cannot save ") << file.toStdString()
                              << std::endl;
    QCoreApplication::exit(bSaved ? 0 : 1);
}

// Notes when the first image is shown; with --screenshot, saves the window a moment later.
void FollowFirstView(CMainWindow& window, CHostSession& session, const SRunOptions& options,
                     const QElapsedTimer& clock)
{
    QObject::connect(
        &window, &CMainWindow::FirstViewShown, &window,
        [&window, &session, &clock, options]()
        {
            const qint64 nMilliseconds = clock.elapsed();
            session.Logger().SetLevel(Zarn::CLogger::levelProgress)
                << "first image shown " << nMilliseconds << " ms after the start\n";
            if (options.m_bAutomation)
            {
                CAutomationChannel::Announce("first-view-shown",
                                             "{\"ms\": " + std::to_string(nMilliseconds) + "}");
            }
            if (options.m_bScreenshot)
            {
                // A moment for the thumbnails and the navigator to settle.
                QTimer::singleShot(300, &window,
                                   [&window, options]()
                                   { SaveScreenshot(window, options.m_strScreenshot); });
            }
        });
}

// Once the event loop runs: opens the files of the command line and says that the program is
// ready.
void StartWork(CMainWindow& window, const SRunOptions& options, const QElapsedTimer& clock)
{
    QTimer::singleShot(0, &window,
                       [&window, &clock, options]()
                       {
                           if (!options.m_lstFiles.isEmpty())
                           {
                               window.OpenFiles(options.m_lstFiles);
                           }
                           else if (options.m_bScreenshot)
                           {
                               QTimer::singleShot(500, &window,
                                                  [&window]() { emit window.FirstViewShown(); });
                           }
                           if (options.m_bAutomation)
                           {
                               CAutomationChannel::Announce(
                                   "ready", "{\"ms\": " + std::to_string(clock.elapsed()) + "}");
                           }
                       });
}

// Builds the window and runs the event loop; the program's exit code.
int Run(const CApplicationConfig& config, CHostSession& session, const SRunOptions& options,
        bool bNoDisplay, const QElapsedTimer& clock)
{
    std::unique_ptr<CMainWindow> pWindow = BuildWindow(config, session, options);
    if (!pWindow)
    {
        return 2;
    }
    if (bNoDisplay && options.Interactive())
    {
        // The configuration is good, but a window nobody can see would run for ever.
        ReportStartFailure(
            "no display to show the window on (neither DISPLAY nor WAYLAND_DISPLAY is set); "
            "start it in a desktop session, under xvfb-run, or with --screenshot FILE",
            false);
        pWindow->ShutDown();
        return 2;
    }
    FollowFirstView(*pWindow, session, options, clock);
    if (options.m_bAutomation)
    {
        new CAutomationChannel(*pWindow); // a child of the window
    }
    pWindow->show();
    StartWork(*pWindow, options, clock);
    const int nResult = QApplication::exec();
    pWindow->ShutDown();
    return nResult;
}

} // namespace

int main(int argc, char* argv[])
{
    QElapsedTimer clock;
    clock.start();
    AnswerHelpOrVersion(argc, argv);
    const bool bNoDisplay = NoDisplayAtAll(argc, argv);
    if (bNoDisplay)
    {
        // Off screen, so that the configuration is still checked and --screenshot still works.
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    NameTheApplication();
    const SRunOptions options = ParseCommandLine(application);
    // Before the first plug-in is made: they talk from the start.
    const CConsoleStreams streams(options.m_bVerbose);
    const std::unique_ptr<CApplicationConfig> pConfig = LoadConfiguration(options);
    if (!pConfig)
    {
        return 2;
    }
    CHostSession session(*pConfig);
    // The terminal gets the log's progress lines only when asked for, warnings and errors always;
    // the log file and the status bar hear every line.
    session.Logger().SetConsoleThreshold(options.m_bVerbose ? 0 : Zarn::CLogger::levelWarning);
    return Run(*pConfig, session, options, bNoDisplay, clock);
}
