#pragma once

#include "FakeView.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

class QWidget;

namespace DocViewTest
{

// How the view factory doubles registered under one name behave; shared by the test and every
// instance of that name.
struct SFactoryBehaviour
{
    enum EnRunResult
    {
        runView,      // a new CFakeView under "view plugin"
        runNothing,   // no "view plugin" (the user cancelled)
        runNullView,  // a null plug-in pointer under "view plugin"
        runOtherType, // a document pointer under "view plugin"
    };
    enum EnThrow
    {
        throwNone,
        throwZarn,    // Zarn::CException, what "factory refused to start"
        throwStd,     // std::runtime_error "factory refused to start"
        throwUnknown, // an int
    };

    // Which documents the factory accepts (TestParameters); unset: m_bAccepts.
    std::function<bool(const Zarn::CValueMap* doc)> m_fnAccepts;
    bool m_bAccepts = true;
    EnRunResult m_enRun = runView;
    EnThrow m_enInitThrows = throwNone;
    EnThrow m_enTestThrows = throwNone;
    // What the views made describe (see CFakeView).
    bool m_bViewsDescribeDocument = true;
    std::optional<Zarn::CValueMap> m_viewSettings;
    // Journal: "<prefix>destroyed"/"DeleteData" texts name the factory as m_strEventPrefix + name;
    // with m_bJournalCalls also "Init", "TestParameters", "UpdateParameters" and "Run"; with
    // m_bJournalViews the views journal their own end.
    std::string m_strEventPrefix;
    bool m_bJournalCalls = true;
    bool m_bJournalViews = false;

    // Filled by the doubles.
    std::vector<Zarn::CValueMap> m_lstInitParameters;
    std::vector<const Zarn::CValueMap*> m_lstTestedDocuments;
    std::vector<const Zarn::CValueMap*> m_lstUpdatedDocuments;
    std::vector<CFakeView*> m_lstViews; // every view made, also deleted ones: compare only
    std::vector<Zarn::CPluginBase*> m_lstInstances;
    int m_nInstances = 0;
};

// A view factory plug-in of another module. Lends its behaviour and journal; the views it makes
// belong to whoever takes them from "view plugin". Its views' widgets are children of the
// "parent" widget its Init was given, when there was one. Used on the GUI thread. Init and
// TestParameters throw as their behaviour says; handles the repository's document message (its
// "document"), sends none.
class CFakeViewFactory : public Zarn::CPluginBase
{
public:
    CFakeViewFactory(std::string name, SFactoryBehaviour* behaviour, SJournal* journal);
    ~CFakeViewFactory() override;

    using Zarn::CPluginBase::Init;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    void Run(Zarn::CValueMap& data) override;
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

    // Makes factories of that name known to the host's plug-in loader.
    static void Register(const std::string& name, SFactoryBehaviour* behaviour, SJournal* journal);

private:
    void Note(const std::string& event);
    CFakeView* MakeView();

    std::string m_strName;
    SFactoryBehaviour* m_pBehaviour;
    SJournal* m_pJournal;
    QWidget* m_pParent = nullptr;
    Zarn::CValueMap* m_pDocument = nullptr;
};

} // namespace DocViewTest
