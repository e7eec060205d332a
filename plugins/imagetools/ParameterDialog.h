#pragma once

#include <Zarn/Value/ValueContainer.h>

#include <QDialog>

#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class QDialogButtonBox;
class QFormLayout;
class QLabel;
class QWidget;

// One entry of a tool's "parameter list":
//   {"name", "label", "type": "double" | "int" | "bool" | "choice", "min", "max", "default",
//    "unit", "choices": [texts] (choice only), "decimals" (double only), "step" (int only: the
//    allowed values are min, min + step, ...; 2 from 3 makes odd sizes)}
// Only "name" and "type" are required. A value type owning its strings and default; any thread.
class CParameterDefinition
{
public:
    enum EnType
    {
        ptDouble,
        ptInt,
        ptBool,
        ptChoice,
    };

    // Throws CExBadParam naming the entry for a missing name, an unknown type, a choice without
    // choices, min above max or a default of the wrong kind or out of range.
    static CParameterDefinition FromValue(const Zarn::CValueMap& entry);
    // The "parameter list" of a description; an absent list is empty, a list that is not a
    // vector of maps throws CExBadParam.
    static std::vector<CParameterDefinition>
    ListFromDescription(const Zarn::CValueMap& description);

    // Whether the value has this parameter's kind and lies in its range (or among its choices).
    bool Fits(const Zarn::CValue& value) const;
    // A new value of this parameter's kind (a whole number becomes a double for a double
    // parameter), owned by the caller; null when the value does not fit.
    Zarn::CValue* Adopt(const Zarn::CValue& value) const;
    // A new value owned by the caller: the default, or the lowest allowed value without one.
    Zarn::CValue* NewDefault() const;

    std::string m_strName;
    std::string m_strLabel;
    EnType m_enType = ptDouble;
    double m_dMin = std::numeric_limits<double>::lowest();
    double m_dMax = std::numeric_limits<double>::max();
    int m_nDecimals = 2;
    long m_lStep = 1;
    std::string m_strUnit;
    std::vector<std::string> m_lstChoices;
    Zarn::CValueMap m_mapDefault; // "default", when given
};

// The form of one tool's parameters: a row per parameter (QDoubleSpinBox, QSpinBox, QCheckBox or
// QComboBox, each named after its parameter), a message line and OK / Cancel. OK is disabled and
// the message says why while a number is outside its range or, with a fit check, while the values
// do not fit what the tool will work on; the row of the parameter at fault is marked (its label
// in red, the reason as the editor's tool tip). Values that do not fit are shown as they are, not
// changed behind the user's back.
//
// GUI thread only. The editors are the dialog's Qt children: m_mapEditors only lends them. Throws
// nothing of its own (definitions are checked when they are read). No host messages.
class CParameterDialog : public QDialog
{
    Q_OBJECT

public:
    // `values` holds a fitting value per parameter name (others are left at the defaults).
    CParameterDialog(const std::vector<CParameterDefinition>& definitions,
                     const Zarn::CValueMap& values, const QString& title,
                     QWidget* parent = nullptr);

    // The values the form shows, one per parameter.
    Zarn::CValueMap Values() const;
    bool IsValid() const;
    QWidget* Editor(const std::string& name) const;
    QDialogButtonBox* Buttons() const { return m_pButtons; }
    QString Message() const;

    // Nothing when the values fit, else the name of the parameter at fault (empty when none is
    // to blame alone) and the text to show.
    using FitCheck =
        std::function<std::optional<std::pair<std::string, QString>>(const Zarn::CValueMap&)>;
    // Asks the check now and after every change; an empty check asks nothing.
    void SetFitCheck(FitCheck check);
    // The parameter whose row is marked now, or empty.
    const std::string& MarkedParameter() const { return m_strMarked; }

private slots:
    void SlotValidate();

private:
    // One form row: the parameter's editor showing its given value when that fits, else the
    // default.
    void AddRow(const CParameterDefinition& definition, const Zarn::CValueMap& values);
    // A new editor of the parameter's kind, a child of the dialog.
    QWidget* NewEditor(const CParameterDefinition& definition, const Zarn::CValue& value);
    void Mark(const std::string& name, const QString& reason);

    std::vector<CParameterDefinition> m_lstDefinitions;

    // Lent: the editors are the dialog's Qt children, which Qt deletes with it.
    std::map<std::string, QWidget*> m_mapEditors;
    QFormLayout* m_pForm;
    FitCheck m_fnFitCheck;
    std::string m_strMarked;
    QLabel* m_pMessage;
    QDialogButtonBox* m_pButtons;
};
