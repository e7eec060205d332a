#pragma once

// In-process plug-ins standing in for the modules in the application's unit tests.

#include <Zarn/Exception/Exception.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QLabel>
#include <QPointer>

#include <string>
#include <vector>

namespace AppTest
{

// What the plug-ins saw, in order: "init panel", "message panel ON_ACTION open", "end panel".
struct SJournal
{
    std::vector<std::string> m_lstEvents;
    std::vector<std::string>
        m_lstActions;                    // the texts of ON_ACTION and ON_CONFIGURE ("configure x")
    std::vector<std::string> m_lstAdded; // labels of the documents of ADD_DOCUMENT
    int m_nAlive = 0;
};

inline SJournal& Journal()
{
    static SJournal s_journal;
    return s_journal;
}

// A plug-in with a widget, named by its "name" parameter.
class CPanelPlugin : public Zarn::CPluginBase
{
public:
    CPanelPlugin() { ++Journal().m_nAlive; }
    ~CPanelPlugin() override
    {
        --Journal().m_nAlive;
        delete m_pWidget.data();
    }

    void GetPluginSetup(Zarn::CValueMap& setup) override
    {
        setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                       new Zarn::CValuePointer<QWidget>(m_pWidget.data()));
    }

    void Init(void*, const Zarn::CValueMap& parameters) override
    {
        m_strName =
            parameters.EntryString(Zarn::CValue_Key("name"), Zarn::CString("panel")).StdString();
        m_pIds = Zarn::UnwrapPointer<Zarn::CMessageIdFactory>(
            Zarn::CRegistry::Obj().Entry(Zarn::CValue_Key("tmp/messageidfactory")));
        m_pWidget = new QLabel(QString::fromStdString(m_strName));
        m_pWidget->setObjectName(QString::fromStdString(m_strName));
        Journal().m_lstEvents.push_back("init " + m_strName);
    }

    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        const long nId = message.EntryLong(Zarn::CValue_Key("id"), -1);
        const Zarn::CValue* pData = message.Entry(Zarn::CValue_Key("data"), false);
        for (const char* szName : {"ON_ACTION", "ON_CONFIGURE"})
        {
            if (nId == m_pIds->GetMessageId(szName) && pData != nullptr &&
                pData->GenericType() == Zarn::CValue::vtString && m_strName == "panel")
            {
                Journal().m_lstActions.push_back(
                    std::string(szName == std::string("ON_ACTION") ? "" : "configure ") +
                    pData->String().StdString());
            }
        }

        // Takes the documents, as the repository would.
        if (nId == m_pIds->GetMessageId("ADD_DOCUMENT") && m_strName == "panel")
        {
            Zarn::CValueMap* pDocument =
                Zarn::UnwrapPointer<Zarn::CValueMap>(const_cast<Zarn::CValue*>(pData));
            Journal().m_lstAdded.push_back(
                pDocument->EntryString(Zarn::CValue_Key("label")).StdString());
            delete pDocument;
        }
    }

    void DeleteData() override { Journal().m_lstEvents.push_back("end " + m_strName); }

private:
    std::string m_strName;
    Zarn::CMessageIdFactory* m_pIds = nullptr;
    QPointer<QLabel> m_pWidget;
};

// A plug-in without a widget whose Init fails.
class CFailingPlugin : public Zarn::CPluginBase
{
public:
    void Init(void*, const Zarn::CValueMap&) override
    {
        throw Zarn::CException("CFailingPlugin::Init", "disk not found", "failing");
    }
};

inline void RegisterTestPlugins()
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        "TestPanel", []() -> Zarn::CPluginBase* { return new CPanelPlugin; });
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        "TestFailing", []() -> Zarn::CPluginBase* { return new CFailingPlugin; });
}

} // namespace AppTest
