#pragma once

#include "ParameterDialog.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <functional>
#include <string>
#include <vector>

// "ParameterDialog": the configuration plug-in of any tool whose description has a "parameter
// list" (see CParameterDefinition). Init reads the list from the tool's description; the values
// start at the defaults, then take the description's "parameters" and what was last accepted for
// the same "plugin" (kept with QSettings, so across runs of the application).
//
// Run({"config user": true}) (or without the key) shows the form; OK answers "parameters" (a map
// of named values: double -> CValueDouble, int -> CValueLong, bool -> CValueBool, choice ->
// CValueString) and remembers them; Cancel answers no "parameters" and "cancelled" = true.
// Run({"config user": false}) answers the current values silently. GUI thread only.
class CParameterDialogPlugin : public Zarn::CPluginBase
{
public:
    // Shows the dialog and answers QDialog::Accepted or Rejected; by default exec().
    using DialogRunner = std::function<int(CParameterDialog&)>;

    CParameterDialogPlugin();
    ~CParameterDialogPlugin() override;

    using Zarn::CPluginBase::Init;
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Throws CExBadParam for a broken "parameter list".
    void Init(void* context, const Zarn::CValueMap& description) override;
    void Run(Zarn::CValueMap& data) override;

    const Zarn::CValueMap& Values() const { return m_mapValues; }

    // Replaces how the dialog is shown (tests fill it and close it); an empty runner restores
    // exec().
    static void SetDialogRunner(DialogRunner runner);

private:
    void Remember() const;
    void Recall();
    QString SettingsGroup() const;

    std::vector<CParameterDefinition> m_lstDefinitions;
    Zarn::CValueMap m_mapValues;
    std::string m_strTool;
    std::string m_strTitle;
};
