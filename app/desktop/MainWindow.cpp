#include "MainWindow.h"

#include "MessageJournalDock.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageSizeGuard.h>
#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QUrl>

namespace
{

// Icons by their freedesktop names, with a picture of the style where the desktop has no theme.
QIcon IconNamed(const QString& name, const QStyle* style)
{
    static const std::map<QString, QStyle::StandardPixmap> kFallbacks = {
        {"document-open", QStyle::SP_DialogOpenButton},
        {"document-save", QStyle::SP_DialogSaveButton},
        {"document-save-as", QStyle::SP_DialogSaveButton},
        {"document-close", QStyle::SP_DialogCloseButton},
        {"window-close", QStyle::SP_DialogCloseButton},
        {"application-exit", QStyle::SP_DialogCloseButton},
        {"window-new", QStyle::SP_FileDialogContentsView},
        {"help-about", QStyle::SP_MessageBoxInformation},
        {"system-run", QStyle::SP_MediaPlay},
    };
    if (name.isEmpty())
    {
        return QIcon();
    }
    if (name == "media-record" && !QIcon::hasThemeIcon(name))
    {
        // No style has a record button: the usual red dot.
        QPixmap dot(32, 32);
        dot.fill(Qt::transparent);
        QPainter painter(&dot);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(210, 40, 40));
        painter.drawEllipse(QRectF(6, 6, 20, 20));
        return QIcon(dot);
    }
    const auto it = kFallbacks.find(name);
    return QIcon::fromTheme(name,
                            it == kFallbacks.end() ? QIcon() : style->standardIcon(it->second));
}

std::string ErrorText(const std::exception& error)
{
    return error.what();
}

// Asks before decoding a file whose header claims more pixels than this computer should hold
// (the guard's default limit, or less when the free memory is short); true to read it. What is no
// image file at all (a named pipe, a looping link) throws, as reading it would.
bool ConfirmLargeImage(QWidget* parent, const QString& file)
{
    const std::string strRefusal = Zarn::CImageSizeGuard::Refusal(
        Zarn::CImageSizeGuard::Probe(file.toStdString()),
        Zarn::SImageSizeLimit::ForReaders(Zarn::SImageSizeLimit::kDefaultMaxPixels, 1));
    if (strRefusal.empty())
    {
        return true;
    }
    QMessageBox box(QMessageBox::Question, QObject::tr("Open a large image?"),
                    file + ": " + QString::fromStdString(strRefusal) + ".",
                    QMessageBox::Open | QMessageBox::Cancel, parent);
    box.setObjectName("LargeImage");
    box.setInformativeText(QObject::tr("Decoding it may take all the memory of this computer and "
                                       "a long time. Open it all the same?"));
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Open;
}

} // namespace

CMainWindow::CMainWindow(const CApplicationConfig& config, CHostSession& session)
    : m_config(config), m_session(session)
{
    setObjectName("MainWindow");
    setWindowTitle(config.Title() + "[*]");
    setAcceptDrops(true);
    resize(config.Width(), config.Height());
    m_pWindowPlugin = std::make_unique<CWindowPlugin>(session.Ids(), WindowHandlers());
    BuildStatusBar();
    FollowLog();
    CreatePlugins();
    PlaceWidgets();
    AddJournalDock();
    for (const SMenu& menu : config.Menus())
    {
        FillMenu(menuBar()->addMenu(menu.m_strTitle), menu.m_lstItems);
    }
    for (const SMenu& bar : config.ToolBars())
    {
        AddToolBar(bar);
    }
}

CWindowPlugin::SHandlers CMainWindow::WindowHandlers()
{
    CWindowPlugin::SHandlers handlers;
    handlers.m_fnControl = [this](const std::string& name, bool bEnabled)
    { SetControl(name, bEnabled); };
    handlers.m_fnShutdown = [this]()
    { QMetaObject::invokeMethod(this, "close", Qt::QueuedConnection); };
    handlers.m_fnActiveView = [this](const std::string& caption, const Zarn::CValueMap* pDocument)
    { ShowActiveView(caption, pDocument); };
    handlers.m_fnDocumentsChanged = [this]()
    { setWindowModified(!m_pWindowPlugin->UnsavedDocuments().empty()); };
    handlers.m_fnPost = [this](const char* name, Zarn::CValue* pData)
    { m_session.Post(name, pData); };
    handlers.m_fnNewDocument = [this](const Zarn::CValueMap& document) { Record(document); };
    handlers.m_fnDocumentGone = [this](const Zarn::CValueMap* pDocument)
    { ForgetDocument(pDocument); };
    handlers.m_fnActivity = [this](bool bRunning) { ShowActivityState(bRunning); };
    return handlers;
}

void CMainWindow::BuildStatusBar()
{
    m_pStatusLabel = new QLabel(this);
    m_pStatusLabel->setObjectName("LogStatus");
    m_pStatusLabel->setTextFormat(Qt::PlainText);
    statusBar()->addWidget(m_pStatusLabel, 1);
    m_pRecordingLabel = new QLabel(this);
    m_pRecordingLabel->setObjectName("RecordingState");
    statusBar()->addPermanentWidget(m_pRecordingLabel);
    m_pRecordingLabel->hide();
}

void CMainWindow::FollowLog()
{
    // The logger calls from any thread, under its lock: only hand the line over. Installed
    // before the plug-ins start, so that their start-up problems show too. A line written without
    // its own level goes out at whatever level the logger last had (after a file that could not
    // be opened, an error): that level says nothing about the line, so only lines whose writer
    // chose warning or error are shown as such.
    m_session.Logger().SetLineListener(
        [this](int level, const std::string& text, bool bLevelSelected)
        {
            if (bLevelSelected && level >= Zarn::CLogger::levelWarning)
            {
                QMetaObject::invokeMethod(this, "SlotLogLine", Qt::QueuedConnection,
                                          Q_ARG(int, level),
                                          Q_ARG(QString, QString::fromStdString(text)));
            }
        });
}

void CMainWindow::CreatePlugins()
{
    try
    {
        m_session.CreatePlugins(m_pWindowPlugin.get());
    }
    catch (...)
    {
        // Whatever failed, this window will not be built: it must stop following the log
        // before the error leaves the constructor.
        m_session.Logger().SetLineListener({});
        throw;
    }
}

void CMainWindow::AbandonWithoutWidget(const std::string& id, const char* role)
{
    m_session.Logger().SetLineListener({});
    m_session.ShutDown();
    std::string strWhere = m_config.Source().toStdString();
    for (const SPluginEntry& plugin : m_config.Plugins())
    {
        if (plugin.m_strId == id)
        {
            strWhere = plugin.m_strWhere;
        }
    }
    throw CConfigError(strWhere + ": the plug-in \"" + id + "\" " + role + " has no widget");
}

void CMainWindow::PlaceWidgets()
{
    // Every widget is checked before any is placed: a window is built whole or not at all.
    QWidget* pCentral = m_session.WidgetOf(m_config.Central());
    if (pCentral == nullptr)
    {
        AbandonWithoutWidget(m_config.Central(), "named as \"central\"");
    }
    for (const SDock& dock : m_config.Docks())
    {
        if (m_session.WidgetOf(dock.m_strPlugin) == nullptr)
        {
            AbandonWithoutWidget(dock.m_strPlugin, "of a dock");
        }
    }

    setCentralWidget(pCentral);
    for (const SDock& dock : m_config.Docks())
    {
        auto* pDock = new QDockWidget(dock.m_strTitle, this);
        pDock->setObjectName(QString::fromStdString("Dock " + dock.m_strPlugin));
        pDock->setWidget(m_session.WidgetOf(dock.m_strPlugin));
        addDockWidget(dock.m_enArea, pDock);
        m_lstDockToggles.push_back(pDock->toggleViewAction());
    }
}

void CMainWindow::AddJournalDock()
{
    m_pJournalDock = new CMessageJournalDock(this);
    addDockWidget(Qt::BottomDockWidgetArea, m_pJournalDock);
    m_pJournalDock->hide();
    connect(m_pJournalDock, &QDockWidget::visibilityChanged, this,
            &CMainWindow::SlotJournalVisibility);
    m_lstDockToggles.push_back(m_pJournalDock->toggleViewAction());
}

void CMainWindow::AddToolBar(const SMenu& bar)
{
    QToolBar* pBar = addToolBar(bar.m_strTitle);
    pBar->setObjectName("ToolBar " + bar.m_strTitle);
    pBar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    for (const SMenuItem& item : bar.m_lstItems)
    {
        if (item.m_enKind == SMenuItem::kSeparator)
        {
            pBar->addSeparator();
        }
        else if (item.m_enKind != SMenuItem::kSubmenu)
        {
            pBar->addAction(MakeAction(item));
        }
    }
}

CMainWindow::~CMainWindow()
{
    // QWidget's destructor hides the docks, and their signals must not reach this half-destroyed
    // window.
    disconnect(m_pJournalDock, nullptr, this, nullptr);
    ShutDown();
}

void CMainWindow::ShutDown()
{
    if (m_bShutDown)
    {
        return;
    }
    m_bShutDown = true;
    m_session.Logger().SetLineListener({});
    m_session.Thread().DisableJournal();
    // The plug-ins destroy their own widgets; the window must not do it a second time.
    if (centralWidget() != nullptr)
    {
        takeCentralWidget();
    }
    for (QDockWidget* pDock : findChildren<QDockWidget*>())
    {
        if (pDock != m_pJournalDock && pDock->widget() != nullptr)
        {
            pDock->widget()->setParent(nullptr);
        }
    }
    m_session.ShutDown();
}

QAction* CMainWindow::MakeAction(const SMenuItem& item)
{
    std::map<std::string, QAction*>* pActions = nullptr;
    if (item.m_enKind == SMenuItem::kAction || item.m_enKind == SMenuItem::kConfigure)
    {
        pActions = item.m_enKind == SMenuItem::kAction ? &m_mapActions : &m_mapConfigureActions;
        const auto it = pActions->find(item.m_strName);
        if (it != pActions->end())
        {
            return it->second; // the same action in a menu and a tool bar
        }
    }

    auto* pAction = new QAction(IconNamed(item.m_strIcon, style()), item.m_strText, this);
    pAction->setObjectName(QString::fromStdString(item.m_strName));
    if (!item.m_strShortcut.isEmpty())
    {
        pAction->setShortcut(QKeySequence(item.m_strShortcut));
    }
    if (!item.m_strTip.isEmpty())
    {
        pAction->setStatusTip(item.m_strTip);
        pAction->setToolTip(item.m_strTip);
    }
    // The activity dialog stays up until an ACTIVITY_STOP: it is offered only while a run is in
    // flight, or nothing would ever close it.
    pAction->setEnabled(item.m_strName == kActivityAction ? m_pWindowPlugin->RunningActivities() > 0
                                                          : item.m_bEnabled);
    if (pActions != nullptr)
    {
        PostWhenTriggered(pAction, item);
        (*pActions)[item.m_strName] = pAction;
    }
    else
    {
        ConnectCommand(pAction, item.m_strName);
    }
    return pAction;
}

void CMainWindow::PostWhenTriggered(QAction* pAction, const SMenuItem& item)
{
    const char* szMessage = item.m_enKind == SMenuItem::kAction ? "ON_ACTION" : "ON_CONFIGURE";
    const std::string strName = item.m_strName;
    connect(pAction, &QAction::triggered, this,
            [this, szMessage, strName]()
            { m_session.Post(szMessage, new Zarn::CValueString(strName.c_str())); });
}

void CMainWindow::ConnectCommand(QAction* pAction, const std::string& name)
{
    if (name == "quit")
    {
        pAction->setMenuRole(QAction::QuitRole);
        connect(pAction, &QAction::triggered, this, &QWidget::close);
    }
    else if (name == "about")
    {
        pAction->setMenuRole(QAction::AboutRole);
        connect(pAction, &QAction::triggered, this, &CMainWindow::SlotAbout);
    }
    else if (name == "record")
    {
        pAction->setCheckable(true);
        connect(pAction, &QAction::toggled, this, &CMainWindow::SetRecording);
        m_pRecordAction = pAction;
    }
    else if (name == "save_recording")
    {
        pAction->setEnabled(false); // until something is recorded
        connect(pAction, &QAction::triggered, this, &CMainWindow::SlotSaveRecording);
        m_pSaveRecordingAction = pAction;
    }
}

void CMainWindow::FillMenu(QMenu* menu, const std::vector<SMenuItem>& items)
{
    for (const SMenuItem& item : items)
    {
        if (item.m_enKind == SMenuItem::kSeparator)
        {
            menu->addSeparator();
        }
        else if (item.m_enKind == SMenuItem::kSubmenu)
        {
            FillMenu(menu->addMenu(item.m_strText), item.m_lstItems);
        }
        else if (item.m_enKind == SMenuItem::kCommand && item.m_strName == "docks")
        {
            FillDockEntries(menu);
        }
        else
        {
            menu->addAction(MakeAction(item));
        }
    }
}

void CMainWindow::FillDockEntries(QMenu* menu)
{
    for (QAction* pToggle : m_lstDockToggles)
    {
        menu->addAction(pToggle);
    }
}

QAction* CMainWindow::Action(const std::string& name, bool bConfigure) const
{
    const std::map<std::string, QAction*>& actions =
        bConfigure ? m_mapConfigureActions : m_mapActions;
    const auto it = actions.find(name);
    return it == actions.end() ? nullptr : it->second;
}

void CMainWindow::SetControl(const std::string& name, bool bEnabled)
{
    if (name == kActivityAction)
    {
        return; // follows the runs in flight alone
    }
    // One name may be a tool's action and its configuration action at once.
    for (QAction* pAction : {Action(name, false), Action(name, true)})
    {
        if (pAction != nullptr)
        {
            pAction->setEnabled(bEnabled);
        }
    }
}

void CMainWindow::ShowActivityState(bool bRunning)
{
    if (QAction* pAction = Action(kActivityAction))
    {
        pAction->setEnabled(bRunning);
    }
}

void CMainWindow::ShowActiveView(const std::string& caption, const Zarn::CValueMap* pDocument)
{
    m_pActiveDocument = pDocument;
    if (!caption.empty() && !m_bViewShown)
    {
        m_bViewShown = true;
        QMetaObject::invokeMethod(
            this,
            [this]()
            {
                repaint();
                emit FirstViewShown();
            },
            Qt::QueuedConnection);
    }
    setWindowTitle(caption.empty() ? m_config.Title() + "[*]"
                                   : QString::fromStdString(caption) + "[*] - " + m_config.Title());
}

void CMainWindow::SetRecording(bool bOn)
{
    if (bOn == m_bRecording)
    {
        return;
    }
    m_bRecording = bOn;
    if (bOn)
    {
        m_lstRecorded.clear(); // a new recording starts empty
    }
    if (m_pRecordAction != nullptr && m_pRecordAction->isChecked() != bOn)
    {
        m_pRecordAction->setChecked(bOn);
    }
    ShowRecordingState();
}

QString CMainWindow::SRecordedDocument::Caption() const
{
    const QString strLabel = QString::fromStdString(m_strLabel);
    return m_nIndex > 0 ? QString("%1 [%2]").arg(strLabel).arg(m_nIndex) : strLabel;
}

void CMainWindow::Record(const Zarn::CValueMap& document)
{
    // Only what a tool made has steps; an opened file is where a chain starts.
    if (!m_bRecording || Zarn::ImageDocument::ProcessStep(document) == nullptr)
    {
        return;
    }
    SRecordedDocument recorded;
    recorded.m_pDocument = &document;
    recorded.m_strLabel = Zarn::ImageDocument::Label(document);
    recorded.m_nIndex = document.EntryLong(Zarn::CValue_Key("index"), 0);
    recorded.m_pChain =
        std::make_shared<const Zarn::CValueVector>(Zarn::ImageDocument::ProcessChain(document));
    recorded.m_strOrigin = Zarn::ImageDocument::ProcessOrigin(document);
    m_lstRecorded.push_back(std::move(recorded));
    ShowRecordingState();
}

void CMainWindow::ForgetDocument(const Zarn::CValueMap* pDocument)
{
    for (SRecordedDocument& recorded : m_lstRecorded)
    {
        if (recorded.m_pDocument == pDocument)
        {
            recorded.m_pDocument = nullptr;
        }
    }
    if (m_pActiveDocument == pDocument)
    {
        m_pActiveDocument = nullptr;
    }
}

int CMainWindow::RecordingChoice() const
{
    for (size_t i = 0; i < m_lstRecorded.size() && m_pActiveDocument != nullptr; ++i)
    {
        if (m_lstRecorded[i].m_pDocument == m_pActiveDocument)
        {
            return static_cast<int>(i);
        }
    }
    return static_cast<int>(m_lstRecorded.size()) - 1;
}

Zarn::CValueVector CMainWindow::RecordingSteps(int nDocument) const
{
    if (nDocument < 0)
    {
        nDocument = RecordingChoice();
    }
    if (nDocument < 0 || nDocument >= static_cast<int>(m_lstRecorded.size()))
    {
        return Zarn::CValueVector();
    }
    return *m_lstRecorded[static_cast<size_t>(nDocument)].m_pChain;
}

void CMainWindow::ShowRecordingState()
{
    const int nResults = static_cast<int>(m_lstRecorded.size());
    m_pRecordingLabel->setVisible(m_bRecording || nResults > 0);
    const QString strResults = nResults == 1 ? tr("1 result") : tr("%1 results").arg(nResults);
    m_pRecordingLabel->setText((m_bRecording ? tr("Recording: ") : tr("Recorded: ")) + strResults);
    if (m_pSaveRecordingAction != nullptr)
    {
        m_pSaveRecordingAction->setEnabled(nResults > 0);
    }
}

bool CMainWindow::SaveRecording(const QString& path, int nDocument)
{
    if (nDocument < 0)
    {
        nDocument = RecordingChoice();
    }
    if (nDocument < 0 || nDocument >= static_cast<int>(m_lstRecorded.size()))
    {
        QMessageBox::critical(this, tr("Cannot save the recording"),
                              tr("Nothing has been recorded."));
        return false;
    }
    const SRecordedDocument& recorded = m_lstRecorded[static_cast<size_t>(nDocument)];
    if (recorded.m_strOrigin.empty())
    {
        // Saved anyway, the steps would run on the original file and quietly give another image.
        QMessageBox::critical(
            this, tr("Cannot save the recording"),
            tr("The steps that made \"%1\" would not replay: they start at an image that was "
               "neither opened from a file nor made by a tool that records its steps (the result "
               "of a process, for example). Save that image, open the file and run the tools "
               "from there.")
                .arg(recorded.Caption()));
        return false;
    }
    Zarn::CValueMap process;
    process.SetEntry(Zarn::CValue_Key("process"), recorded.m_pChain->Clone(Zarn::CValue::tfShare));
    try
    {
        Zarn::CJsonValueFile::WriteFile(path.toStdString(), process);
    }
    catch (const std::exception& error)
    {
        QMessageBox::critical(this, tr("Cannot save the recording"),
                              QString::fromStdString(ErrorText(error)));
        return false;
    }
    const unsigned int uSteps = recorded.m_pChain->Size();
    statusBar()->showMessage(
        tr("Saved the %1 that made \"%2\" to %3")
            .arg(uSteps == 1 ? tr("step") : tr("%1 steps").arg(uSteps), recorded.Caption(), path),
        8000);
    return true;
}

void CMainWindow::SlotSaveRecording()
{
    int nChoice = RecordingChoice();
    if (nChoice < 0)
    {
        return;
    }
    if (m_lstRecorded.size() > 1)
    {
        // Each result has its own chain of steps: the user says whose to save.
        QStringList lstCaptions;
        for (const SRecordedDocument& recorded : m_lstRecorded)
        {
            const unsigned int uSteps = recorded.m_pChain->Size();
            lstCaptions << (uSteps == 1 ? tr("%1 (1 step)").arg(recorded.Caption())
                                        : tr("%1 (%2 steps)").arg(recorded.Caption()).arg(uSteps));
        }
        QInputDialog dialog(this);
        dialog.setObjectName("RecordedDocumentChoice");
        dialog.setWindowTitle(tr("Save Recording"));
        dialog.setLabelText(tr("Save the steps that made:"));
        dialog.setComboBoxItems(lstCaptions);
        dialog.setComboBoxEditable(false);
        dialog.setTextValue(lstCaptions.at(nChoice));
        if (dialog.exec() != QDialog::Accepted)
        {
            return;
        }
        nChoice = static_cast<int>(lstCaptions.indexOf(dialog.textValue()));
        if (nChoice < 0)
        {
            return;
        }
    }
    const QString strCaption = m_lstRecorded[static_cast<size_t>(nChoice)].Caption();
    const QString strPath =
        QFileDialog::getSaveFileName(this, tr("Save the steps that made \"%1\"").arg(strCaption),
                                     tr("recording.json"), tr("Process descriptions (*.json)"));
    if (!strPath.isEmpty())
    {
        SaveRecording(strPath, nChoice);
    }
}

QString CMainWindow::StatusText() const
{
    return m_pStatusLabel->text();
}

void CMainWindow::SlotLogLine(int level, const QString& text)
{
    const QString strKind = level >= Zarn::CLogger::levelError ? tr("Error") : tr("Warning");
    m_pStatusLabel->setText(strKind + ": " + text.simplified());
    m_pStatusLabel->setToolTip(text);
}

void CMainWindow::SlotJournalVisibility(bool bVisible)
{
    if (bVisible)
    {
        m_session.Thread().EnableJournal(&m_pJournalDock->Stream());
    }
    else if (m_config.MessageJournal())
    {
        m_session.Thread().EnableJournal("-");
    }
    else
    {
        m_session.Thread().DisableJournal();
    }
}

void CMainWindow::SlotAbout()
{
    QMessageBox::about(this, tr("About docview"),
                       tr("<b>docview</b><p>Documents, views and tools for image analysis.</p>"
                          "<p>Configuration: %1</p>")
                           .arg(m_config.Source().toHtmlEscaped()));
}

int CMainWindow::OpenFiles(const QStringList& files)
{
    QStringList lstFailures;
    int nOpened = 0;
    for (const QString& strFile : files)
    {
        try
        {
            if (!ConfirmLargeImage(this, strFile))
            {
                continue;
            }
            Zarn::CValueMap* pDocument = Zarn::ImageDocument::Read(strFile.toStdString());
            // The repository takes the document when the message reaches it.
            m_session.Post("ADD_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
            ++nOpened;
        }
        catch (const std::exception& error)
        {
            lstFailures << QString::fromStdString(ErrorText(error));
            m_session.Logger().SetLevel(Zarn::CLogger::levelError) << ErrorText(error) << "\n";
        }
    }
    if (!lstFailures.isEmpty())
    {
        QMessageBox box(QMessageBox::Warning, tr("Cannot open"),
                        lstFailures.size() == 1
                            ? tr("A file could not be opened.")
                            : tr("%1 files could not be opened.").arg(lstFailures.size()),
                        QMessageBox::Ok, this);
        box.setObjectName("OpenFailures");
        box.setInformativeText(lstFailures.join("\n"));
        box.exec();
    }
    return nOpened;
}

void CMainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
    {
        for (const QUrl& url : event->mimeData()->urls())
        {
            if (url.isLocalFile())
            {
                event->acceptProposedAction();
                return;
            }
        }
    }
}

void CMainWindow::dropEvent(QDropEvent* event)
{
    QStringList lstFiles;
    for (const QUrl& url : event->mimeData()->urls())
    {
        if (url.isLocalFile())
        {
            lstFiles << url.toLocalFile();
        }
    }
    event->acceptProposedAction();
    // Not inside the drop: a warning box would block the drag source.
    QMetaObject::invokeMethod(
        this, [this, lstFiles]() { OpenFiles(lstFiles); }, Qt::QueuedConnection);
}

void CMainWindow::closeEvent(QCloseEvent* event)
{
    if (!MayClose())
    {
        event->ignore();
        return;
    }
    event->accept();
}

bool CMainWindow::MayClose()
{
    const std::vector<Zarn::CValueMap*> lstUnsaved = m_pWindowPlugin->UnsavedDocuments();
    if (lstUnsaved.empty())
    {
        return true;
    }
    QStringList lstLabels;
    for (const Zarn::CValueMap* pDocument : lstUnsaved)
    {
        lstLabels << QString::fromStdString(Zarn::ImageDocument::Label(*pDocument));
    }
    QMessageBox box(QMessageBox::Warning, tr(kUnsavedTitle),
                    lstUnsaved.size() == 1
                        ? tr("The document \"%1\" has unsaved changes.").arg(lstLabels.front())
                        : tr("%1 documents have unsaved changes.").arg(lstUnsaved.size()),
                    QMessageBox::SaveAll | QMessageBox::Discard | QMessageBox::Cancel, this);
    box.setObjectName("UnsavedQuestion");
    box.setInformativeText(tr("Save them before quitting? Changes that are not saved are lost."));
    if (lstUnsaved.size() > 1)
    {
        box.setDetailedText(lstLabels.join("\n"));
    }
    box.setDefaultButton(QMessageBox::SaveAll);
    switch (box.exec())
    {
    case QMessageBox::SaveAll:
        return SaveAll(lstUnsaved);
    case QMessageBox::Discard:
        return true;
    default:
        return false;
    }
}

bool CMainWindow::SaveAll(const std::vector<Zarn::CValueMap*>& documents)
{
    for (Zarn::CValueMap* pDocument : documents)
    {
        std::string strPath = Zarn::ImageDocument::FileName(*pDocument);
        const QString strLabel = QString::fromStdString(Zarn::ImageDocument::Label(*pDocument));
        if (strPath.empty())
        {
            const QString strChosen = QFileDialog::getSaveFileName(
                this, tr("Save \"%1\" as").arg(strLabel), strLabel + ".tif",
                tr("Images (*.tif *.tiff *.png *.jpg *.jpeg *.bmp)"));
            if (strChosen.isEmpty())
            {
                return false; // cancelled: stay
            }
            strPath = strChosen.toStdString();
        }
        try
        {
            Zarn::ImageDocument::Write(*pDocument, strPath);
        }
        catch (const std::exception& error)
        {
            QMessageBox::critical(this, tr("Cannot save"),
                                  tr("\"%1\" was not saved, so the application stays open.\n\n%2")
                                      .arg(strLabel, QString::fromStdString(ErrorText(error))));
            return false;
        }
    }
    return true;
}
