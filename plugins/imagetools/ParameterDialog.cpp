#include "ParameterDialog.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueScalar.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{

const Zarn::CValue_Key kDefault("default");

[[noreturn]] void ThrowBadEntry(const std::string& name, const std::string& text)
{
    const std::string strMessage =
        "ParameterDialog: parameter \"" + name + "\" of the parameter list " + text;
    throw Zarn::CExBadParam(ZARN_LOCATION, strMessage.c_str());
}

bool IsNumber(const Zarn::CValue& value)
{
    return value.GenericType() == Zarn::CValue::vtDouble ||
           value.GenericType() == Zarn::CValue::vtLong;
}

QString NumberText(double dValue)
{
    return QString::number(dValue, 'g', 15);
}

int ToInt(double dValue)
{
    return static_cast<int>(std::clamp<double>(dValue, std::numeric_limits<int>::min(),
                                               std::numeric_limits<int>::max()));
}

void ReadType(CParameterDefinition& definition, const Zarn::CValueMap& entry)
{
    const std::string strType =
        entry.EntryString(Zarn::CValue_Key("type"), Zarn::CString()).StdString();
    if (strType == "double")
    {
        definition.m_enType = CParameterDefinition::ptDouble;
    }
    else if (strType == "int")
    {
        definition.m_enType = CParameterDefinition::ptInt;
        definition.m_dMin = std::numeric_limits<int>::min();
        definition.m_dMax = std::numeric_limits<int>::max();
    }
    else if (strType == "bool")
    {
        definition.m_enType = CParameterDefinition::ptBool;
    }
    else if (strType == "choice")
    {
        definition.m_enType = CParameterDefinition::ptChoice;
    }
    else
    {
        ThrowBadEntry(definition.m_strName,
                      "has type \"" + strType + "\"; known are double, int, bool and choice.");
    }
}

// "min", "max", "step" and "decimals"; an int parameter's limits start at the int range.
void ReadLimits(CParameterDefinition& definition, const Zarn::CValueMap& entry)
{
    for (const auto& [szKey, pLimit] :
         {std::pair<const char*, double*>{"min", &definition.m_dMin}, {"max", &definition.m_dMax}})
    {
        const Zarn::CValue* pValue = entry.Entry(Zarn::CValue_Key(szKey), false);
        if (pValue != nullptr)
        {
            if (!IsNumber(*pValue))
            {
                ThrowBadEntry(definition.m_strName,
                              std::string("has a \"") + szKey + "\" that is not a number.");
            }
            *pLimit = pValue->Double();
        }
    }
    if (definition.m_dMin > definition.m_dMax)
    {
        ThrowBadEntry(definition.m_strName, "has \"min\" above \"max\".");
    }
    definition.m_lStep = entry.EntryLong(Zarn::CValue_Key("step"), 1L);
    if (definition.m_lStep < 1)
    {
        ThrowBadEntry(definition.m_strName, "has a \"step\" below 1.");
    }
    definition.m_nDecimals =
        static_cast<int>(std::clamp(entry.EntryLong(Zarn::CValue_Key("decimals"), 2L), 0L, 10L));
}

void ReadChoices(CParameterDefinition& definition, const Zarn::CValueMap& entry)
{
    const Zarn::CValue* pChoices = entry.Entry(Zarn::CValue_Key("choices"), false);
    if (pChoices == nullptr || pChoices->Vector() == nullptr || pChoices->Vector()->Size() == 0)
    {
        ThrowBadEntry(definition.m_strName, "has no \"choices\".");
    }
    for (unsigned int i = 0; i < pChoices->Vector()->Size(); ++i)
    {
        const Zarn::CValue* pChoice = pChoices->Vector()->Entry(Zarn::CValue_Key(i), true);
        if (pChoice->GenericType() != Zarn::CValue::vtString)
        {
            ThrowBadEntry(definition.m_strName, "has a choice that is not a text.");
        }
        definition.m_lstChoices.push_back(pChoice->String().StdString());
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------
// CParameterDefinition

CParameterDefinition CParameterDefinition::FromValue(const Zarn::CValueMap& entry)
{
    CParameterDefinition definition;
    if (!entry.HasEntry(Zarn::CValue_Key("name"), Zarn::CValue::vtString))
    {
        ThrowBadEntry("?", "has no \"name\".");
    }
    definition.m_strName = entry.EntryString(Zarn::CValue_Key("name")).StdString();
    definition.m_strLabel =
        entry.EntryString(Zarn::CValue_Key("label"), Zarn::CString(definition.m_strName))
            .StdString();
    definition.m_strUnit = entry.EntryString(Zarn::CValue_Key("unit"), Zarn::CString()).StdString();
    ReadType(definition, entry);
    ReadLimits(definition, entry);
    if (definition.m_enType == ptChoice)
    {
        ReadChoices(definition, entry);
    }
    const Zarn::CValue* pDefault = entry.Entry(kDefault, false);
    if (pDefault != nullptr)
    {
        Zarn::CValue* pAdopted = definition.Adopt(*pDefault);
        if (pAdopted == nullptr)
        {
            ThrowBadEntry(definition.m_strName,
                          "has a \"default\" of another kind or out of range.");
        }
        definition.m_mapDefault.SetEntry(kDefault, pAdopted);
    }
    return definition;
}

std::vector<CParameterDefinition>
CParameterDefinition::ListFromDescription(const Zarn::CValueMap& description)
{
    std::vector<CParameterDefinition> lstDefinitions;
    const Zarn::CValue* pList = description.Entry(Zarn::CValue_Key("parameter list"), false);
    if (pList == nullptr)
    {
        return lstDefinitions;
    }
    if (pList->Vector() == nullptr)
    {
        throw Zarn::CExBadParam(ZARN_LOCATION,
                                "ParameterDialog: \"parameter list\" must be a list of maps.");
    }
    for (unsigned int i = 0; i < pList->Vector()->Size(); ++i)
    {
        const Zarn::CValue* pEntry = pList->Vector()->Entry(Zarn::CValue_Key(i), true);
        if (pEntry->Map() == nullptr)
        {
            throw Zarn::CExBadParam(ZARN_LOCATION,
                                    "ParameterDialog: \"parameter list\" must be a list of maps.");
        }
        lstDefinitions.push_back(FromValue(*pEntry->Map()));
    }
    return lstDefinitions;
}

bool CParameterDefinition::Fits(const Zarn::CValue& value) const
{
    switch (m_enType)
    {
    case ptDouble:
        return value.GenericType() == Zarn::CValue::vtDouble && std::isfinite(value.Double()) &&
               value.Double() >= m_dMin && value.Double() <= m_dMax;
    case ptInt:
        return value.GenericType() == Zarn::CValue::vtLong &&
               static_cast<double>(value.Long()) >= m_dMin &&
               static_cast<double>(value.Long()) <= m_dMax &&
               (value.Long() - static_cast<long>(m_dMin)) % m_lStep == 0;
    case ptBool:
        return value.GenericType() == Zarn::CValue::vtBool;
    case ptChoice:
        return value.GenericType() == Zarn::CValue::vtString &&
               std::find(m_lstChoices.begin(), m_lstChoices.end(), value.String().StdString()) !=
                   m_lstChoices.end();
    }
    return false;
}

Zarn::CValue* CParameterDefinition::Adopt(const Zarn::CValue& value) const
{
    // A whole number given for a double is the same number.
    std::unique_ptr<Zarn::CValue> pValue(m_enType == ptDouble &&
                                                 value.GenericType() == Zarn::CValue::vtLong
                                             ? new Zarn::CValueDouble(value.Double())
                                             : value.Clone(Zarn::CValue::tfShare));
    return Fits(*pValue) ? pValue.release() : nullptr;
}

Zarn::CValue* CParameterDefinition::NewDefault() const
{
    const Zarn::CValue* pDefault = m_mapDefault.Entry(kDefault, false);
    if (pDefault != nullptr)
    {
        return pDefault->Clone(Zarn::CValue::tfShare);
    }
    switch (m_enType)
    {
    case ptDouble:
        return new Zarn::CValueDouble(std::clamp(0.0, m_dMin, m_dMax));
    case ptInt:
        return new Zarn::CValueLong(static_cast<long>(std::clamp(0.0, m_dMin, m_dMax)));
    case ptBool:
        return new Zarn::CValueBool(false);
    case ptChoice:
        return new Zarn::CValueString(m_lstChoices.front());
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// CParameterDialog

CParameterDialog::CParameterDialog(const std::vector<CParameterDefinition>& definitions,
                                   const Zarn::CValueMap& values, const QString& title,
                                   QWidget* parent)
    : QDialog(parent), m_lstDefinitions(definitions), m_pForm(nullptr), m_pMessage(nullptr),
      m_pButtons(nullptr)
{
    setWindowTitle(title);
    auto* pLayout = new QVBoxLayout(this);
    m_pForm = new QFormLayout;
    pLayout->addLayout(m_pForm);
    for (const CParameterDefinition& definition : m_lstDefinitions)
    {
        AddRow(definition, values);
    }
    m_pMessage = new QLabel(this);
    m_pMessage->setObjectName("message");
    pLayout->addWidget(m_pMessage);
    m_pButtons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(m_pButtons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_pButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    pLayout->addWidget(m_pButtons);
    SlotValidate();
}

void CParameterDialog::AddRow(const CParameterDefinition& definition, const Zarn::CValueMap& values)
{
    const Zarn::CValue* pGiven =
        values.Entry(Zarn::CValue_Key(definition.m_strName.c_str()), false);
    std::unique_ptr<Zarn::CValue> pDefault(definition.NewDefault());
    const Zarn::CValue& value = pGiven != nullptr && definition.Fits(*pGiven) ? *pGiven : *pDefault;
    QWidget* pEditor = NewEditor(definition, value);
    if (auto* pSpin = qobject_cast<QAbstractSpinBox*>(pEditor))
    {
        // The spin box itself signals only acceptable texts; its editor signals every key.
        connect(pSpin->findChild<QLineEdit*>(), &QLineEdit::textChanged, this,
                &CParameterDialog::SlotValidate);
    }
    pEditor->setObjectName(QString::fromStdString(definition.m_strName));
    m_mapEditors[definition.m_strName] = pEditor;
    m_pForm->addRow(QString::fromStdString(definition.m_strLabel) + ":", pEditor);
}

QWidget* CParameterDialog::NewEditor(const CParameterDefinition& definition,
                                     const Zarn::CValue& value)
{
    const QString strUnit = definition.m_strUnit.empty()
                                ? QString()
                                : " " + QString::fromStdString(definition.m_strUnit);
    switch (definition.m_enType)
    {
    case CParameterDefinition::ptDouble:
    {
        auto* pSpin = new QDoubleSpinBox(this);
        pSpin->setDecimals(definition.m_nDecimals);
        pSpin->setRange(definition.m_dMin, definition.m_dMax);
        pSpin->setSuffix(strUnit);
        pSpin->setValue(value.Double());
        return pSpin;
    }
    case CParameterDefinition::ptInt:
    {
        auto* pSpin = new QSpinBox(this);
        pSpin->setRange(ToInt(definition.m_dMin), ToInt(definition.m_dMax));
        pSpin->setSingleStep(ToInt(static_cast<double>(definition.m_lStep)));
        pSpin->setSuffix(strUnit);
        pSpin->setValue(ToInt(static_cast<double>(value.Long())));
        return pSpin;
    }
    case CParameterDefinition::ptBool:
    {
        auto* pCheck = new QCheckBox(this);
        pCheck->setChecked(value.Bool());
        connect(pCheck, &QCheckBox::toggled, this, &CParameterDialog::SlotValidate);
        return pCheck;
    }
    case CParameterDefinition::ptChoice:
        break;
    }
    auto* pCombo = new QComboBox(this);
    for (const std::string& strChoice : definition.m_lstChoices)
    {
        pCombo->addItem(QString::fromStdString(strChoice));
    }
    pCombo->setCurrentText(QString::fromStdString(value.String().StdString()));
    connect(pCombo, &QComboBox::currentIndexChanged, this, &CParameterDialog::SlotValidate);
    return pCombo;
}

Zarn::CValueMap CParameterDialog::Values() const
{
    Zarn::CValueMap values;
    for (const CParameterDefinition& definition : m_lstDefinitions)
    {
        QWidget* pEditor = m_mapEditors.at(definition.m_strName);
        const Zarn::CValue_Key key(definition.m_strName.c_str());
        switch (definition.m_enType)
        {
        case CParameterDefinition::ptDouble:
            values.SetEntry(key,
                            new Zarn::CValueDouble(static_cast<QDoubleSpinBox*>(pEditor)->value()));
            break;
        case CParameterDefinition::ptInt:
            values.SetEntry(key, new Zarn::CValueLong(static_cast<QSpinBox*>(pEditor)->value()));
            break;
        case CParameterDefinition::ptBool:
            values.SetEntry(key,
                            new Zarn::CValueBool(static_cast<QCheckBox*>(pEditor)->isChecked()));
            break;
        case CParameterDefinition::ptChoice:
            values.SetEntry(key,
                            new Zarn::CValueString(
                                static_cast<QComboBox*>(pEditor)->currentText().toStdString()));
            break;
        }
    }
    return values;
}

bool CParameterDialog::IsValid() const
{
    return m_pButtons->button(QDialogButtonBox::Ok)->isEnabled();
}

QWidget* CParameterDialog::Editor(const std::string& name) const
{
    const auto it = m_mapEditors.find(name);
    return it == m_mapEditors.end() ? nullptr : it->second;
}

QString CParameterDialog::Message() const
{
    return m_pMessage->text();
}

void CParameterDialog::SetFitCheck(FitCheck check)
{
    m_fnFitCheck = std::move(check);
    SlotValidate();
}

void CParameterDialog::SlotValidate()
{
    QString strProblem;
    std::string strAtFault;
    for (const CParameterDefinition& definition : m_lstDefinitions)
    {
        const auto it = m_mapEditors.find(definition.m_strName);
        const auto* pSpin =
            it != m_mapEditors.end() ? qobject_cast<const QAbstractSpinBox*>(it->second) : nullptr;
        // A spin box keeps text it could still complete ("1" on the way to "15"): that is the
        // out-of-range state to report.
        if (pSpin == nullptr)
        {
            continue;
        }
        const QString strLabel = QString::fromStdString(definition.m_strLabel);
        if (!pSpin->hasAcceptableInput())
        {
            strProblem =
                QString("%1 must be a number from %2 to %3.")
                    .arg(strLabel, NumberText(definition.m_dMin), NumberText(definition.m_dMax));
            strAtFault = definition.m_strName;
            break;
        }
        const auto* pIntSpin = qobject_cast<const QSpinBox*>(pSpin);
        if (pIntSpin != nullptr &&
            (pIntSpin->value() - pIntSpin->minimum()) % definition.m_lStep != 0)
        {
            strProblem = QString("%1 must be %2, %3, ... up to %4.")
                             .arg(strLabel, QString::number(pIntSpin->minimum()),
                                  QString::number(pIntSpin->minimum() + definition.m_lStep),
                                  QString::number(pIntSpin->maximum()));
            strAtFault = definition.m_strName;
            break;
        }
    }
    if (m_pMessage == nullptr || m_pButtons == nullptr)
    {
        return; // still being built
    }
    // Whether the values fit the image is asked only of values that are valid on their own.
    if (strProblem.isEmpty() && m_fnFitCheck)
    {
        if (const auto misfit = m_fnFitCheck(Values()))
        {
            strAtFault = misfit->first;
            strProblem = misfit->second;
        }
    }
    Mark(strAtFault, strProblem);
    m_pMessage->setText(strProblem);
    m_pMessage->setVisible(!strProblem.isEmpty());
    m_pButtons->button(QDialogButtonBox::Ok)->setEnabled(strProblem.isEmpty());
}

void CParameterDialog::Mark(const std::string& name, const QString& reason)
{
    m_strMarked = name;
    for (const auto& [strName, pEditor] : m_mapEditors)
    {
        const bool bAtFault = strName == name;
        pEditor->setToolTip(bAtFault ? reason : QString());
        if (auto* pLabel = qobject_cast<QLabel*>(m_pForm->labelForField(pEditor)))
        {
            QPalette palette = pLabel->palette();
            palette.setColor(QPalette::WindowText,
                             bAtFault ? QColor(Qt::red)
                                      : this->palette().color(QPalette::WindowText));
            pLabel->setPalette(palette);
        }
    }
}
