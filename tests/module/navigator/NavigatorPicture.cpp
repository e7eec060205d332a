// Draws the navigator beside the workspace holding three views and saves the window as a PNG (the
// path given as the first argument, else the build folder's navigator.png), for a person to look
// at. Both are the module's plug-ins; the views are doubles with a label as their widget; messages
// go through the real communication thread.

#include "FakeView.h"
#include "TestHost.h"

#include "frame/Messages.h"
#include "views/NavigatorPlugin.h"
#include "views/ViewListBox.h"
#include "views/WorkspacePlugin.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QRect>
#include <QWidget>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace
{

// A view whose widget is a label showing its description, in a window of its own size and place.
std::unique_ptr<DocViewTest::CFakeView>
MakePictureView(const std::string& caption, const std::string& description, const QRect& place)
{
    auto pView = std::make_unique<DocViewTest::CFakeView>(caption);
    pView->m_strDescription = description;
    pView->m_bShowMaximized = false;
    auto* pLabel = new QLabel(QString::fromStdString(description));
    pLabel->setAlignment(Qt::AlignCenter);
    pLabel->setWindowTitle(QString::fromStdString(caption));
    pLabel->setGeometry(place);
    pView->AdoptWidget(pLabel);
    return pView;
}

// The navigator's list and the workspace's area side by side in `window`.
void PlacePlugins(QWidget& window, CNavigatorPlugin& navigator, CWorkspacePlugin& workspace)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValuePointer<QWidget>(&window));
    parameters.SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("Navigator"));
    navigator.Init(nullptr, parameters);
    workspace.Init(nullptr, parameters);
    Zarn::CValueMap setup;
    workspace.GetPluginSetup(setup);
    auto* pLayout = new QHBoxLayout(&window);
    pLayout->addWidget(navigator.ListBox(), 1);
    pLayout->addWidget(
        DocView::PointerOf<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true)), 2);
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    const QString strFile =
        argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString(NAVIGATOR_PICTURE_FILE);
    DocViewTest::CTestHost host;

    QWidget window;
    window.setWindowTitle("navigator");
    auto navigator = std::make_unique<CNavigatorPlugin>();
    auto workspace = std::make_unique<CWorkspacePlugin>();
    PlacePlugins(window, *navigator, *workspace);
    host.m_pThread->Subscribe(navigator.get());
    host.m_pThread->Subscribe(workspace.get());

    std::vector<std::unique_ptr<DocViewTest::CFakeView>> views;
    views.push_back(
        MakePictureView("cells.tif", "Image view, 512 x 512, 16 bit", QRect(10, 10, 250, 150)));
    views.push_back(
        MakePictureView("cells.tif (labels)", "Label view, 214 labels", QRect(150, 110, 250, 150)));
    views.push_back(
        MakePictureView("blobs.png", "Image view, 256 x 254, 8 bit", QRect(290, 210, 250, 150)));
    for (const auto& pView : views)
    {
        host.PostView("NEW_VIEW", pView.get());
    }
    host.PostView("ACTIVE_VIEW", views[1].get());
    host.Deliver();

    window.resize(900, 440);
    window.show();
    QApplication::processEvents();
    const bool bSaved = window.grab().save(strFile);
    std::cout << (bSaved ? "wrote " : "could not write ") << strFile.toStdString() << std::endl;

    host.m_pThread->Unsubscribe(navigator.get());
    host.m_pThread->Unsubscribe(workspace.get());
    workspace.reset();
    views.clear();
    return bSaved ? 0 : 1;
}
