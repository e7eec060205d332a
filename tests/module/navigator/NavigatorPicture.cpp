// Draws the navigator beside the workspace holding three views and saves the window as a PNG (the
// path given as the first argument, else the build folder's navigator.png), for a person to look
// at. Both are the module's plug-ins; the views are doubles with a label as their widget; messages
// go through the real communication thread.

#include "frame/Messages.h"
#include "views/NavigatorPlugin.h"
#include "views/ViewListBox.h"
#include "views/WorkspacePlugin.h"

#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QRect>
#include <QWidget>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace
{

// A view whose widget is a label, shown in a window of its own size and place.
class CPictureView : public Zarn::CPluginBase
{
public:
    CPictureView(std::string caption, std::string description, const QRect& place)
        : m_strCaption(std::move(caption)), m_strDescription(std::move(description)),
          m_pLabel(new QLabel(QString::fromStdString(m_strDescription)))
    {
        m_pLabel->setAlignment(Qt::AlignCenter);
        m_pLabel->setWindowTitle(QString::fromStdString(m_strCaption));
        m_pLabel->setGeometry(place);
    }
    ~CPictureView() override { delete m_pLabel.data(); }

    void GetPluginSetup(Zarn::CValueMap& setup) override
    {
        setup.SetEntry(Zarn::CValue_Key("WidgetPtr"), new Zarn::CValuePointer<QWidget>(m_pLabel));
        setup.SetEntry(Zarn::CValue_Key("showmaximized"), new Zarn::CValueBool(false));
    }

    void Run(Zarn::CValueMap& data) override
    {
        data.SetEntry(Zarn::CValue_Key("caption"), new Zarn::CValueString(m_strCaption.c_str()));
        data.SetEntry(Zarn::CValue_Key("document"),
                      new Zarn::CValuePointer<Zarn::CValueMap>(nullptr));
        data.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("TestView"));
        data.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Plain"));
        data.SetEntry(Zarn::CValue_Key("description"),
                      new Zarn::CValueString(m_strDescription.c_str()));
    }

    std::string m_strCaption;
    std::string m_strDescription;
    QPointer<QLabel> m_pLabel;
};

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

    Zarn::CMessageIdFactory ids;
    Zarn::CMessageThread thread;
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    registry.SetEntry("tmp/commthread", new Zarn::CValuePointer<Zarn::CMessageThread>(&thread));
    registry.SetEntry("tmp/messageidfactory",
                      new Zarn::CValuePointer<Zarn::CMessageIdFactory>(&ids));

    QWidget window;
    window.setWindowTitle("navigator");
    auto* pLayout = new QHBoxLayout(&window);
    auto navigator = std::make_unique<CNavigatorPlugin>();
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValuePointer<QWidget>(&window));
    parameters.SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("Navigator"));
    navigator->Init(nullptr, parameters);
    thread.Subscribe(navigator.get());
    auto workspace = std::make_unique<CWorkspacePlugin>();
    workspace->Init(nullptr, parameters);
    thread.Subscribe(workspace.get());
    Zarn::CValueMap setup;
    workspace->GetPluginSetup(setup);
    pLayout->addWidget(navigator->ListBox(), 1);
    pLayout->addWidget(
        DocView::PointerOf<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true)), 2);

    std::vector<std::unique_ptr<CPictureView>> views;
    views.push_back(std::make_unique<CPictureView>("cells.tif", "Image view, 512 x 512, 16 bit",
                                                   QRect(10, 10, 250, 150)));
    views.push_back(std::make_unique<CPictureView>("cells.tif (labels)", "Label view, 214 labels",
                                                   QRect(150, 110, 250, 150)));
    views.push_back(std::make_unique<CPictureView>("blobs.png", "Image view, 256 x 254, 8 bit",
                                                   QRect(290, 210, 250, 150)));
    for (const auto& pView : views)
    {
        DocView::SendMessage(&thread, &ids, "NEW_VIEW",
                             new Zarn::CValuePointer<Zarn::CPluginBase>(pView.get()));
    }
    DocView::SendMessage(&thread, &ids, "ACTIVE_VIEW",
                         new Zarn::CValuePointer<Zarn::CPluginBase>(views[1].get()));
    thread.DeliverUntilIdle();

    window.resize(900, 440);
    window.show();
    QApplication::processEvents();
    const bool bSaved = window.grab().save(strFile);
    std::cout << (bSaved ? "wrote " : "could not write ") << strFile.toStdString() << std::endl;

    thread.Unsubscribe(navigator.get());
    thread.Unsubscribe(workspace.get());
    workspace.reset();
    views.clear();
    registry.RemoveEntry("tmp/commthread");
    registry.RemoveEntry("tmp/messageidfactory");
    return bSaved ? 0 : 1;
}
