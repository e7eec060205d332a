// docview-app: the desktop application. Boots the host, creates the plug-ins that the
// configuration names and builds the main window around them.

#include "ApplicationConfig.h"
#include "AutomationChannel.h"
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
// (not when a script drives the program, nor without a display).
void ReportStartFailure(const QString& text, bool bShowBox)
{
    std::cerr << "docview-app: " << text.toStdString() << std::endl;
    if (bShowBox && HasDisplay())
    {
        QMessageBox box(QMessageBox::Critical, QObject::tr("docview cannot start"), text);
        box.exec();
    }
}

} // namespace

int main(int argc, char* argv[])
{
    QElapsedTimer clock;
    clock.start();
    const bool bNoDisplay = NoDisplayAtAll(argc, argv);
    if (bNoDisplay)
    {
        // Off screen, so that the configuration is still checked and --screenshot still works.
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName("docview");
    QApplication::setOrganizationName("docview");
    QApplication::setApplicationVersion(DOCVIEW_VERSION);

    QCommandLineParser parser;
    parser.setApplicationDescription("Documents, views and tools for image analysis.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption configOption(
        "config", "Reads the configuration from <file> instead of the built-in one.", "file");
    const QCommandLineOption automationOption(
        "automation", "Takes commands on standard input (for end-to-end tests).");
    const QCommandLineOption screenshotOption(
        "screenshot",
        "Saves a picture of the window to <file> once the images are shown, then quits.", "file");
    parser.addOption(configOption);
    parser.addOption(automationOption);
    parser.addOption(screenshotOption);
    parser.addPositionalArgument("images", "Image files to open.", "[images...]");
    parser.process(application);
    const bool bAutomation = parser.isSet(automationOption);
    const bool bScreenshot = parser.isSet(screenshotOption);
    const bool bInteractive = !bAutomation && !bScreenshot;

    std::unique_ptr<CApplicationConfig> pConfig;
    try
    {
        pConfig =
            CApplicationConfig::Load(parser.isSet(configOption) ? parser.value(configOption)
                                                                : CApplicationConfig::kBuiltInPath,
                                     QCoreApplication::applicationDirPath());
    }
    catch (const CConfigError& error)
    {
        ReportStartFailure(QString::fromStdString(error.what()), bInteractive);
        return 2;
    }

    CHostSession session(*pConfig);
    std::unique_ptr<CMainWindow> pWindow;
    try
    {
        pWindow = std::make_unique<CMainWindow>(*pConfig, session);
    }
    catch (const CConfigError& error)
    {
        ReportStartFailure(QString::fromStdString(error.what()), bInteractive);
        return 2;
    }
    if (bNoDisplay && bInteractive)
    {
        // The configuration is good, but a window nobody can see would run for ever.
        ReportStartFailure(
            "no display to show the window on (neither DISPLAY nor WAYLAND_DISPLAY is set); "
            "start it in a desktop session, under xvfb-run, or with --screenshot FILE",
            false);
        pWindow->ShutDown();
        return 2;
    }

    QObject::connect(
        pWindow.get(), &CMainWindow::FirstViewShown, pWindow.get(),
        [&]()
        {
            const qint64 nMilliseconds = clock.elapsed();
            session.Logger().SetLevel(Zarn::CLogger::levelProgress)
                << "first image shown " << nMilliseconds << " ms after the start\n";
            if (bAutomation)
            {
                CAutomationChannel::Announce("first-view-shown",
                                             "{\"ms\": " + std::to_string(nMilliseconds) + "}");
            }
            if (bScreenshot)
            {
                // A moment for the thumbnails and the navigator to settle.
                QTimer::singleShot(300, pWindow.get(),
                                   [&]()
                                   {
                                       const QString strFile = parser.value(screenshotOption);
                                       const bool bSaved = pWindow->grab().save(strFile, "PNG");
                                       std::cout << (bSaved ? "saved " : "cannot save ")
                                                 << strFile.toStdString() << std::endl;
                                       QCoreApplication::exit(bSaved ? 0 : 1);
                                   });
            }
        });

    if (bAutomation)
    {
        new CAutomationChannel(*pWindow);
    }
    pWindow->show();

    const QStringList lstFiles = parser.positionalArguments();
    QTimer::singleShot(0, pWindow.get(),
                       [&]()
                       {
                           if (!lstFiles.isEmpty())
                           {
                               pWindow->OpenFiles(lstFiles);
                           }
                           else if (bScreenshot)
                           {
                               QTimer::singleShot(500, pWindow.get(),
                                                  [&]() { emit pWindow->FirstViewShown(); });
                           }
                           if (bAutomation)
                           {
                               CAutomationChannel::Announce(
                                   "ready", "{\"ms\": " + std::to_string(clock.elapsed()) + "}");
                           }
                       });

    const int nResult = QApplication::exec();
    pWindow->ShutDown();
    pWindow.reset();
    return nResult;
}
