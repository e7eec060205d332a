#include "views/ViewStackPlugin.h"

#include "views/ContainerWidget.h"

#include "frame/Messages.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QStackedWidget>
#include <QString>
#include <QWidget>

namespace
{
using CViewStackWidget = CContainerWidget<QStackedWidget>;
} // namespace

CViewStackPlugin::CViewStackPlugin()
    : m_host("CViewStackPlugin"), m_messageTable(CViewContainerHost::MakeViewTable(
                                      [this](Zarn::CPluginBase* view) { AddView(view); },
                                      [this](Zarn::CPluginBase* view) { RemoveView(view); },
                                      [this](Zarn::CPluginBase* view) { ActivateView(view); })),
      m_pEmptyWidget(nullptr), m_pCurrentWidget(nullptr)
{
    m_pWidgetStack = NewStack();
}

CViewStackPlugin::~CViewStackPlugin()
{
    // Pages going with the stack must not reach the slot of a plug-in being destroyed.
    DisconnectStack();
    ReleasePages();
    if (auto* pStack = static_cast<CViewStackWidget*>(m_pWidgetStack.data()); pStack != nullptr)
    {
        pStack->m_fnBeforeDestruction = nullptr;
        // A stack with a parent goes with its parent.
        if (pStack->parentWidget() == nullptr)
        {
            delete pStack;
        }
    }
}

QStackedWidget* CViewStackPlugin::NewStack()
{
    auto* pStack = new CViewStackWidget;
    pStack->m_fnBeforeDestruction = [this]
    {
        DisconnectStack();
        ReleasePages();
        m_pWidgetStack = nullptr;
        m_pEmptyWidget = nullptr;
        m_pCurrentWidget = nullptr;
    };
    return pStack;
}

void CViewStackPlugin::ReleasePages()
{
    for (const auto& [pView, pWidget] : m_views.Widgets())
    {
        if (m_setDummies.count(pWidget) == 0)
        {
            Release(pWidget);
        }
    }
    m_views.Clear();
}

void CViewStackPlugin::Release(QWidget* widget)
{
    // Only a page still on the stack is touched: one that is not was destroyed by its view.
    if (!m_pWidgetStack || m_pWidgetStack->indexOf(widget) < 0)
    {
        return;
    }
    m_pWidgetStack->removeWidget(widget);
    widget->hide();
    widget->setParent(nullptr);
}

void CViewStackPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    m_host.WriteSetup(setup, m_pWidgetStack.data(), "ViewStack");
}

void CViewStackPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped("CViewStackPlugin::Init",
                        [&]
                        {
                            QWidget* pParent = m_host.ReadInit(parameters);
                            if (!m_pWidgetStack)
                            {
                                m_pWidgetStack = NewStack();
                            }
                            if (pParent != nullptr)
                            {
                                m_pWidgetStack->setParent(pParent);
                            }
                            m_pWidgetStack->setObjectName(QString::fromUtf8(m_host.Name().c_str()));
                            AddEmptyPage();
                            ConnectStack();
                        });
}

void CViewStackPlugin::AddEmptyPage()
{
    m_pEmptyWidget = new QWidget(m_pWidgetStack);
    m_pEmptyWidget->setObjectName(QStringLiteral("empty"));
    m_pWidgetStack->addWidget(m_pEmptyWidget);
    m_pEmptyWidget->show();
    m_pCurrentWidget = m_pEmptyWidget;
}

void CViewStackPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    m_host.Dispatch(m_messageTable, message);
}

void CViewStackPlugin::AddView(Zarn::CPluginBase* view)
{
    if (view == nullptr || !m_pWidgetStack)
    {
        return;
    }
    Zarn::CValueMap setup;
    view->GetPluginSetup(setup);

    QWidget* pWidget = nullptr;
    const Zarn::CValue* pEntry = m_host.WidgetEntry(setup);
    if (pEntry != nullptr)
    {
        pWidget = DocView::PointerOf<QWidget>(pEntry);
    }
    if (pWidget == nullptr)
    {
        // Every view gets a page. The placeholder is the stack's own: it stays on the stack (also
        // after its view went) and goes with it.
        pWidget = new QWidget;
        pWidget->setObjectName(QStringLiteral("dummy widget"));
        m_setDummies.insert(pWidget);
    }

    m_views.Enter(view, pWidget);

    m_pWidgetStack->addWidget(pWidget);
    // A new view comes to the front only when the repository announces it as active.
    Raise(m_pCurrentWidget);
}

void CViewStackPlugin::RemoveView(Zarn::CPluginBase* view)
{
    QWidget* pWidget = m_views.Take(view);
    if (pWidget == nullptr || !m_pWidgetStack)
    {
        return;
    }
    if (pWidget == m_pCurrentWidget)
    {
        m_pCurrentWidget = m_pEmptyWidget;
        Raise(m_pEmptyWidget);
    }
    // Off the stack, a view's page is the view's alone: it must not go with the stack's parent.
    if (m_setDummies.count(pWidget) == 0)
    {
        Release(pWidget);
    }
    else
    {
        m_pWidgetStack->removeWidget(pWidget);
    }
}

void CViewStackPlugin::ActivateView(Zarn::CPluginBase* view)
{
    // Raising a page here must not come back as a focus request.
    DisconnectStack();
    QWidget* pWidget = m_views.WidgetOf(view);
    m_pCurrentWidget = pWidget != nullptr ? pWidget : m_pEmptyWidget;
    Raise(m_pCurrentWidget);
    ConnectStack();
}

void CViewStackPlugin::SlotWidgetActivated(QWidget* widget)
{
    Zarn::CPluginBase* pView = m_views.ViewOf(widget);
    if (pView == nullptr)
    {
        return;
    }
    m_pCurrentWidget = widget;
    m_host.PostView("FOCUS_VIEW", pView);
}

void CViewStackPlugin::ConnectStack()
{
    if (!m_pWidgetStack || m_connection)
    {
        return;
    }
    QStackedWidget* pStack = m_pWidgetStack.data();
    m_connection =
        connect(pStack, &QStackedWidget::currentChanged, this,
                [this, pStack](int index) { SlotWidgetActivated(pStack->widget(index)); });
}

void CViewStackPlugin::DisconnectStack()
{
    if (m_connection)
    {
        disconnect(m_connection);
        m_connection = QMetaObject::Connection();
    }
}

void CViewStackPlugin::Raise(QWidget* widget)
{
    if (m_pWidgetStack && widget != nullptr)
    {
        m_pWidgetStack->setCurrentWidget(widget);
    }
}
