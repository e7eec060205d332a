#include "ParameterDialogPlugin.h"

#include "ImageToolBase.h"
#include "PluginCatalogue.h"
#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QSettings>

#include <memory>

DOCVIEW_REGISTER_PLUGIN("ParameterDialog", CParameterDialogPlugin);

namespace
{

const Zarn::CValue_Key kConfigUser("config user");
const Zarn::CValue_Key kParameters("parameters");
const Zarn::CValue_Key kCancelled("cancelled");
const Zarn::CValue_Key kInput("input");

CParameterDialogPlugin::DialogRunner& Runner()
{
    static CParameterDialogPlugin::DialogRunner s_runner;
    return s_runner;
}

// The value a stored setting stands for, owned by the caller; null when it does not fit.
Zarn::CValue* ValueFromSetting(const CParameterDefinition& definition, const QVariant& setting)
{
    bool bOk = false;
    std::unique_ptr<Zarn::CValue> pValue;
    switch (definition.m_enType)
    {
    case CParameterDefinition::ptDouble:
        pValue = std::make_unique<Zarn::CValueDouble>(setting.toString().toDouble(&bOk));
        break;
    case CParameterDefinition::ptInt:
        pValue = std::make_unique<Zarn::CValueLong>(setting.toString().toLong(&bOk));
        break;
    case CParameterDefinition::ptBool:
        bOk = setting.toString() == "true" || setting.toString() == "false";
        pValue = std::make_unique<Zarn::CValueBool>(setting.toString() == "true");
        break;
    case CParameterDefinition::ptChoice:
        bOk = true;
        pValue = std::make_unique<Zarn::CValueString>(setting.toString().toStdString());
        break;
    }
    return bOk && definition.Fits(*pValue) ? pValue.release() : nullptr;
}

QString SettingFromValue(const Zarn::CValue& value)
{
    switch (value.GenericType())
    {
    case Zarn::CValue::vtDouble:
        return QString::number(value.Double(), 'g', 17);
    case Zarn::CValue::vtLong:
        return QString::number(value.Long());
    case Zarn::CValue::vtBool:
        return value.Bool() ? "true" : "false";
    default:
        return QString::fromStdString(value.String().StdString());
    }
}

// How a value reads in the form's messages: 7, 2.5, otsu.
QString DisplayText(const Zarn::CValue& value)
{
    return value.GenericType() == Zarn::CValue::vtDouble ? QString::number(value.Double(), 'g', 15)
                                                         : SettingFromValue(value);
}

} // namespace

CParameterDialogPlugin::CParameterDialogPlugin() = default;

CParameterDialogPlugin::~CParameterDialogPlugin() = default;

void CParameterDialogPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::WritePluginSetup(setup, "ConfigPlugin", "ParameterDialog", "ParameterDialog");
}

void CParameterDialogPlugin::Init(void* /*context*/, const Zarn::CValueMap& description)
{
    m_lstDefinitions = CParameterDefinition::ListFromDescription(description);
    m_strTool = description.EntryString(Zarn::CValue_Key("plugin"), Zarn::CString()).StdString();
    m_strTitle = description.EntryString(Zarn::CValue_Key("callaction"), Zarn::CString(m_strTool))
                     .StdString();

    const Zarn::CValue* pGiven = description.Entry(kParameters, false);
    m_mapGiven = pGiven != nullptr && pGiven->Map() != nullptr ? Zarn::CValueMap(*pGiven->Map())
                                                               : Zarn::CValueMap();
    m_mapValues.Clear();
    for (const CParameterDefinition& definition : m_lstDefinitions)
    {
        const Zarn::CValue_Key key(definition.m_strName.c_str());
        const Zarn::CValue* pValue = pGiven != nullptr && pGiven->Map() != nullptr
                                         ? pGiven->Map()->Entry(key, false)
                                         : nullptr;
        // The tool's own parameters in the description win over the list's defaults.
        Zarn::CValue* pAdopted = pValue != nullptr ? definition.Adopt(*pValue) : nullptr;
        m_mapValues.SetEntry(key, pAdopted != nullptr ? pAdopted : definition.NewDefault());
    }
    Recall();
}

void CParameterDialogPlugin::Run(Zarn::CValueMap& data)
{
    const bool bAskUser =
        !data.HasEntry(kConfigUser, Zarn::CValue::vtBool) || data.EntryBool(kConfigUser);
    if (bAskUser)
    {
        CParameterDialog dialog(m_lstDefinitions, m_mapValues, QString::fromStdString(m_strTitle),
                                QApplication::activeWindow());
        if (m_focusedType.has_value())
        {
            dialog.SetFitCheck([this](const Zarn::CValueMap& values) { return CheckFit(values); });
        }
        const int nResult = Runner() ? Runner()(dialog) : dialog.exec();
        if (nResult != QDialog::Accepted)
        {
            data.SetEntry(kCancelled, new Zarn::CValueBool(true));
            return;
        }
        m_mapValues = dialog.Values();
        Remember();
    }
    data.SetEntry(kParameters, new Zarn::CValueMap(m_mapValues));
}

void CParameterDialogPlugin::UpdateParameters(const Zarn::CValueMap& parameters)
{
    const Zarn::CValue* pInput = parameters.Entry(kInput, false);
    if (pInput == nullptr || pInput->Map() == nullptr)
    {
        return;
    }
    const Zarn::CValueMap* pDocument = CImageToolBase::FocusedDocument(*pInput->Map());
    const Zarn::CImage* pImage =
        pDocument != nullptr ? Zarn::ImageDocument::Image(*pDocument) : nullptr;
    m_focusedType =
        pImage != nullptr ? std::optional<Zarn::IImage::CType>(pImage->Type()) : std::nullopt;
}

std::optional<std::pair<std::string, QString>>
CParameterDialogPlugin::CheckFit(const Zarn::CValueMap& values) const
{
    // A fresh probe per check: it starts from the description as the tool did.
    std::unique_ptr<Zarn::CPluginBase> pPlugin(CPluginCatalogue::Create(m_strTool));
    auto* pProbe = dynamic_cast<CImageToolBase*>(pPlugin.get());
    if (pProbe == nullptr || !m_focusedType.has_value())
    {
        return std::nullopt; // not an image tool of this module: nothing to ask
    }
    try
    {
        Zarn::CValueMap description;
        description.SetEntry(kParameters, new Zarn::CValueMap(m_mapGiven));
        pProbe->Init(nullptr, description);
    }
    catch (const Zarn::CException&)
    {
        // The tool refuses its description's parameters; the form's values are checked alone.
    }
    const auto misfit = pProbe->CheckParameters(values, *m_focusedType);
    if (!misfit.has_value())
    {
        return std::nullopt;
    }
    if (misfit->m_strParameter.empty())
    {
        return std::make_pair(std::string(), QString::fromStdString(misfit->m_strReason));
    }
    QString strLabel = QString::fromStdString(misfit->m_strParameter);
    for (const CParameterDefinition& definition : m_lstDefinitions)
    {
        if (definition.m_strName == misfit->m_strParameter)
        {
            strLabel = QString::fromStdString(definition.m_strLabel);
        }
    }
    const Zarn::CValue* pValue =
        values.Entry(Zarn::CValue_Key(misfit->m_strParameter.c_str()), false);
    const QString strValue = pValue != nullptr ? " " + DisplayText(*pValue) : QString();
    return std::make_pair(misfit->m_strParameter,
                          QString("%1%2 does not fit this %3 image: %4.")
                              .arg(strLabel, strValue,
                                   QString::fromStdString(m_focusedType->ToString()),
                                   QString::fromStdString(misfit->m_strReason)));
}

void CParameterDialogPlugin::SetDialogRunner(DialogRunner runner)
{
    Runner() = std::move(runner);
}

QString CParameterDialogPlugin::SettingsGroup() const
{
    return "ParameterDialog/" + QString::fromStdString(m_strTool);
}

void CParameterDialogPlugin::Remember() const
{
    if (m_strTool.empty())
    {
        return;
    }
    QSettings settings("docview", "docview");
    settings.beginGroup(SettingsGroup());
    for (const CParameterDefinition& definition : m_lstDefinitions)
    {
        const Zarn::CValue* pValue =
            m_mapValues.Entry(Zarn::CValue_Key(definition.m_strName.c_str()), false);
        if (pValue != nullptr)
        {
            settings.setValue(QString::fromStdString(definition.m_strName),
                              SettingFromValue(*pValue));
        }
    }
}

void CParameterDialogPlugin::Recall()
{
    if (m_strTool.empty())
    {
        return;
    }
    QSettings settings("docview", "docview");
    settings.beginGroup(SettingsGroup());
    for (const CParameterDefinition& definition : m_lstDefinitions)
    {
        const QString strKey = QString::fromStdString(definition.m_strName);
        if (!settings.contains(strKey))
        {
            continue;
        }
        // A setting that no longer fits the list (a changed range) is ignored.
        if (Zarn::CValue* pValue = ValueFromSetting(definition, settings.value(strKey)))
        {
            m_mapValues.SetEntry(Zarn::CValue_Key(definition.m_strName.c_str()), pValue);
        }
    }
}
