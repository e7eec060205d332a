#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <QPointer>
#include <QWidget>

#include <optional>
#include <string>
#include <vector>

namespace DocViewTest
{

// What happened to documents and doubles, in order ("destroyed view F-1", "DeleteData F-1");
// outlives every double that writes into it.
struct SJournal
{
    std::vector<std::string> m_lstEvents;

    int Count(const std::string& event) const;
    // Index of the first occurrence, -1 when absent.
    int IndexOf(const std::string& event) const;
};

// A view plug-in of another module. Owns its widget (when it has one) and deletes it unless Qt
// already did; lends its document (given by the repository through UpdateParameters "document")
// and its journal. Used on the GUI thread. Run throws std::runtime_error when m_bThrowInRun;
// nothing else throws. Handles every message by keeping a copy; sends none.
//
// Run describes the view: "caption" (when set), "document" (unless m_bDescribeDocument is
// false), "PluginType" "TestView" and "PluginSubType" "Plain" (unless m_bDescribeType is
// false), and, when set, "description", "icon" and "settings". The setup record holds the widget
// at m_strWidgetPath (none when empty or without a widget), "PluginType" when m_bSetupType and
// "showmaximized" when set.
class CFakeView : public Zarn::CPluginBase
{
public:
    explicit CFakeView(std::optional<std::string> caption = std::nullopt,
                       SJournal* journal = nullptr);
    ~CFakeView() override;

    // Gives the view a widget named after the caption; a shown child of `parent` when given.
    QWidget* MakeWidget(QWidget* parent = nullptr);
    // Takes `widget` as the view's own widget.
    void AdoptWidget(QWidget* widget);

    void GetPluginSetup(Zarn::CValueMap& setup) override;
    void DeleteData() override;
    void Run(Zarn::CValueMap& data) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

    const std::string& Caption() const { return m_strCaptionText; }
    QWidget* Widget() const { return m_pWidget.data(); }
    // Every map given to UpdateParameters, copied.
    const std::vector<Zarn::CValueMap>& Updates() const { return m_lstUpdates; }

    std::optional<std::string> m_strCaption;
    std::optional<std::string> m_strDescription;
    std::optional<std::string> m_strIcon;
    std::optional<Zarn::CValueMap> m_settings;
    bool m_bDescribeDocument = true;
    bool m_bDescribeType = true;
    bool m_bThrowInRun = false;
    int m_nRuns = 0;
    std::string m_strWidgetPath = "WidgetPtr";
    bool m_bSetupType = false;
    std::optional<bool> m_bShowMaximized;
    Zarn::CValueMap* m_pDocument = nullptr;

private:
    std::string m_strCaptionText;
    SJournal* m_pJournal;
    QPointer<QWidget> m_pWidget;
    bool m_bMadeWidget = false; // the setup names the widget even after Qt deleted it
    std::vector<Zarn::CValueMap> m_lstUpdates;
};

} // namespace DocViewTest
