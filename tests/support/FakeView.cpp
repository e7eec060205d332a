#include "FakeView.h"

#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <stdexcept>

namespace DocViewTest
{

namespace
{

void SetText(Zarn::CValueMap& map, const char* key, const std::string& text)
{
    map.SetEntry(Zarn::CValue_Key(key), new Zarn::CValueString(text.c_str()));
}

} // namespace

int SJournal::Count(const std::string& event) const
{
    return static_cast<int>(std::count(m_lstEvents.begin(), m_lstEvents.end(), event));
}

int SJournal::IndexOf(const std::string& event) const
{
    const auto it = std::find(m_lstEvents.begin(), m_lstEvents.end(), event);
    return it == m_lstEvents.end() ? -1 : static_cast<int>(it - m_lstEvents.begin());
}

CFakeView::CFakeView(std::optional<std::string> caption, SJournal* journal)
    : m_strCaption(std::move(caption)), m_strCaptionText(m_strCaption.value_or("")),
      m_pJournal(journal)
{
}

CFakeView::~CFakeView()
{
    if (m_pJournal != nullptr)
    {
        m_pJournal->m_lstEvents.push_back("destroyed view " + m_strCaptionText);
    }
    delete m_pWidget.data();
}

QWidget* CFakeView::MakeWidget(QWidget* parent)
{
    m_bMadeWidget = true;
    m_pWidget = new QWidget(parent);
    m_pWidget->setObjectName(QString::fromStdString(m_strCaptionText));
    if (parent != nullptr)
    {
        m_pWidget->show();
    }
    return m_pWidget.data();
}

void CFakeView::AdoptWidget(QWidget* widget)
{
    m_bMadeWidget = true;
    m_pWidget = widget;
}

void CFakeView::GetPluginSetup(Zarn::CValueMap& setup)
{
    if (m_bSetupType)
    {
        SetText(setup, "PluginType", "TestView");
    }
    if (!m_strWidgetPath.empty() && m_bMadeWidget)
    {
        setup.SetEntry(Zarn::CValue_Path(m_strWidgetPath),
                       new Zarn::CValuePointer<QWidget>(m_pWidget.data()));
    }
    if (m_bShowMaximized)
    {
        setup.SetEntry(Zarn::CValue_Key("showmaximized"), new Zarn::CValueBool(*m_bShowMaximized));
    }
}

void CFakeView::DeleteData()
{
    if (m_pJournal != nullptr)
    {
        m_pJournal->m_lstEvents.push_back("DeleteData " + m_strCaptionText);
    }
}

void CFakeView::Run(Zarn::CValueMap& data)
{
    ++m_nRuns;
    if (m_bThrowInRun)
    {
        throw std::runtime_error("view cannot describe itself");
    }
    if (m_strCaption)
    {
        SetText(data, "caption", *m_strCaption);
    }
    if (m_bDescribeDocument)
    {
        data.SetEntry(Zarn::CValue_Key("document"),
                      new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
    }
    if (m_bDescribeType)
    {
        SetText(data, "PluginType", "TestView");
        SetText(data, "PluginSubType", "Plain");
    }
    if (m_strDescription)
    {
        SetText(data, "description", *m_strDescription);
    }
    if (m_strIcon)
    {
        SetText(data, "icon", *m_strIcon);
    }
    if (m_settings)
    {
        data.SetEntry(Zarn::CValue_Key("settings"), new Zarn::CValueMap(*m_settings));
    }
}

void CFakeView::UpdateParameters(const Zarn::CValueMap& message)
{
    m_lstUpdates.push_back(message);
    // The repository hands a view its document this way.
    const Zarn::CValue* pDocument = message.Entry(Zarn::CValue_Key("document"), false);
    if (pDocument != nullptr)
    {
        m_pDocument = const_cast<Zarn::CValueMap*>(Zarn::UnwrapPointer<Zarn::CValueMap>(pDocument));
    }
}

} // namespace DocViewTest
