#pragma once

#include "ParameterDialog.h"

#include <Zarn/Image/Image.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
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
//
// UpdateParameters({"input": the toolbox's picture}) keeps the type of the focused image. When
// the tool is an image tool of this module, the form then checks the values against that type
// with a probe instance of the tool (never the tool itself, which may be running): values that
// do not fit (a median size only 8-bit images take, on a 16-bit image) are shown as they are,
// their row is marked and OK stays disabled until they fit. A silent answer is not checked: the
// tool's own run names the parameter that does not fit.
//
// Owns its definitions and values; the dialog lives only inside Run; lends nothing. Init throws
// the Zarn::CExBadParam of CParameterDefinition for a bad "parameter list". Sends no messages and
// handles none: UpdateParameters reads only "input", which a delivered host message lacks.
class CParameterDialogPlugin : public Zarn::CPluginBase
{
public:
    // Shows the dialog and answers QDialog::Accepted or Rejected; by default exec().
    using DialogRunner = std::function<int(CParameterDialog&)>;

    CParameterDialogPlugin();
    ~CParameterDialogPlugin() override;

    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Throws CExBadParam for a broken "parameter list".
    void Init(void* context, const Zarn::CValueMap& description) override;
    void Run(Zarn::CValueMap& data) override;
    // Keeps the type of the image at "input/documents/focused"; other maps are ignored.
    void UpdateParameters(const Zarn::CValueMap& parameters) override;

    const Zarn::CValueMap& Values() const { return m_mapValues; }

    // Replaces how the dialog is shown (tests fill it and close it); an empty runner restores
    // exec().
    static void SetDialogRunner(DialogRunner runner);

private:
    // Whether the values fit the focused image, for the form; see CParameterDialog::FitCheck.
    std::optional<std::pair<std::string, QString>> CheckFit(const Zarn::CValueMap& values) const;
    void Remember() const;
    void Recall();
    QString SettingsGroup() const;

    std::vector<CParameterDefinition> m_lstDefinitions;
    Zarn::CValueMap m_mapValues;
    std::string m_strTool;
    std::string m_strTitle;
    // The description's own "parameters", for the probe.
    Zarn::CValueMap m_mapGiven;
    std::optional<Zarn::IImage::CType> m_focusedType;
};
