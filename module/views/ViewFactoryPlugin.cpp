#include "views/ViewFactoryPlugin.h"

#include "frame/HostObjects.h"
#include "frame/Messages.h"
#include "frame/Parameters.h"
#include "frame/PluginErrors.h"
#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QLabel>
#include <QWidget>

#include <exception>
#include <iostream>
#include <string>
#include <utility>

namespace
{

const Zarn::CValue_Key kDocument("document");
const Zarn::CValue_Key kViewPlugin("view plugin");

// One line on standard output, flushed at once.
void PrintLine(const std::string& text)
{
    std::cout << text << std::endl;
}

} // namespace

CViewFactoryPlugin::CViewFactoryPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pOrphanage(nullptr)
{
    m_messageTable.OnPointer<Zarn::CValueMap>("NEW_DOCUMENT", [this](Zarn::CValueMap* document)
                                              { AddCreateView(document); });
}

CViewFactoryPlugin::~CViewFactoryPlugin()
{
    DeleteOrphanage();
    // The factories were released by DeleteData, if at all: never deleted here.
    m_lstFactories.clear();
}

void CViewFactoryPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    // "Deamon" is deliberate: hosts match on this exact text, and it differs from the activity
    // dialog's "DaemonPlugin".
    DocView::WritePluginSetup(setup, "DeamonPlugin", "ViewFactory");
}

void CViewFactoryPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped("CViewFactoryPlugin::Init",
                        [&]
                        {
                            // Init runs once; should it run again, widgets may already hang on the
                            // orphanage.
                            if (m_pOrphanage == nullptr)
                            {
                                m_pOrphanage = new QLabel(QStringLiteral(
                                    "Orphanage - If you can see this, something's wrong!"));
                                m_pOrphanage->setObjectName(QStringLiteral("Orphanage"));
                                m_pOrphanage->hide();
                            }

                            m_pCommThread = DocView::BorrowCommThread();
                            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();

                            const bool bHasParent = parameters.HasEntry(Zarn::CValue_Key("parent"));
                            DocView::ForEachListEntry(parameters, "views",
                                                      [this, bHasParent](const Zarn::CValue* entry)
                                                      { LoadFactory(entry, bHasParent); });
                        });
}

// One "views" entry; whatever fails is printed and ends this entry only.
void CViewFactoryPlugin::LoadFactory(const Zarn::CValue* entry, bool bHasParent)
{
    try
    {
        if (entry == nullptr)
        {
            throw Zarn::CExBadParam(ZARN_LOCATION, "null view factory entry");
        }
        Zarn::CValueMap parameters(*entry);
        const std::string strName =
            std::as_const(parameters).EntryString(Zarn::CValue_Key("factory")).StdString();
        Zarn::CPluginBase* pFactory = Zarn::GetNewPluginInstance(strName.c_str());
        if (pFactory == nullptr)
        {
            throw Zarn::CExBadParam(ZARN_LOCATION,
                                    ("no view factory plugin named " + strName).c_str());
        }
        if (bHasParent)
        {
            QWidget* pParent = m_pOrphanage;
            parameters.SetEntry(Zarn::CValue_Key("parent"),
                                new Zarn::CValuePointer<QWidget>(pParent));
        }
        // Listed before its Init: a factory whose Init fails stays and is released with the rest.
        m_lstFactories.push_back(pFactory);
        pFactory->Init(nullptr, parameters);
        PrintLine("CViewFactoryPlugin::Init: Viewfactory plugin " + strName + " loaded.");
    }
    catch (const Zarn::CException& exception)
    {
        PrintLine(std::string("CViewFactoryPlugin::Init: Caught Zarn exception!(") +
                  exception.what() + ")");
    }
    catch (const std::exception& exception)
    {
        PrintLine(std::string("CViewFactoryPlugin::Init: Caught stl-exception!(") +
                  exception.what() + ")");
    }
    catch (...)
    {
        // "unknwon" is deliberate: readers of the output match on this line as it stands.
        PrintLine("CViewFactoryPlugin::Init: Caught unknwon exception!");
    }
}

void CViewFactoryPlugin::DeleteData()
{
    for (Zarn::CPluginBase* pFactory : m_lstFactories)
    {
        pFactory->DeleteData();
        delete pFactory;
    }
    m_lstFactories.clear();
    DeleteOrphanage();
}

void CViewFactoryPlugin::DeleteOrphanage()
{
    if (m_pOrphanage == nullptr)
    {
        return;
    }
    // The widgets still on it belong to views the repository owns: they leave it first.
    for (QWidget* pWidget : m_pOrphanage->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
    {
        pWidget->hide();
        pWidget->setParent(nullptr);
    }
    delete m_pOrphanage;
    m_pOrphanage = nullptr;
}

void CViewFactoryPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    DocView::RunWrapped("CViewFactoryPlugin::UpdateParameters",
                        [&] { m_messageTable.DispatchWithData(m_pMessageIdFactory, message); });
}

void CViewFactoryPlugin::AddCreateView(Zarn::CValueMap* document)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(kDocument, new Zarn::CValuePointer<Zarn::CValueMap>(document));

    Zarn::CPluginBase* pChosen = nullptr;
    for (Zarn::CPluginBase* pFactory : m_lstFactories)
    {
        if (pFactory->TestParameters(parameters))
        {
            pChosen = pFactory;
            break;
        }
    }
    if (pChosen == nullptr)
    {
        PrintLine("CViewFactoryPlugin::AddCreateView - No view factory found.");
        return;
    }

    pChosen->UpdateParameters(parameters);
    Zarn::CValueMap result;
    pChosen->Run(result);

    const Zarn::CValue* pViewValue = result.Entry(kViewPlugin, false);
    if (pViewValue == nullptr || pViewValue->GenericType() != Zarn::CValue::vtPointer ||
        !Zarn::AreTypesEqual(pViewValue->ElementType(), typeid(Zarn::CPluginBase)))
    {
        // A factory may ask the user first, who may cancel.
        PrintLine("CViewFactoryPlugin::AddCreateView - View plugin not created, user aborted?");
        return;
    }
    Zarn::CPluginBase* pView = DocView::PointerOf<Zarn::CPluginBase>(pViewValue);
    if (pView == nullptr)
    {
        PrintLine("CViewFactoryPlugin::AddCreateView - View plugin not loaded.");
        return;
    }

    Zarn::CValueMap request;
    request.SetEntry(kDocument, new Zarn::CValuePointer<Zarn::CValueMap>(document));
    request.SetEntry(Zarn::CValue_Key("view"), new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
    // From here on the repository owns the view; no reference is kept.
    DocView::SendMessage(m_pCommThread, m_pMessageIdFactory, "ADD_VIEW",
                         request.Clone(Zarn::CValue::tfNone));
    PrintLine("CViewFactoryPlugin::AddCreateView - View plugin loaded.");
}
