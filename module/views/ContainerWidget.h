#pragma once

#include <functional>
#include <utility>

// A container widget (a QStackedWidget, a QMdiArea) that calls its owner back before Qt destroys
// the children in it, so that the views' widgets can leave first: they belong to the views, not
// to the container. The call comes at most once; the owner clears it when it goes first. Owns
// the callback only; the callback must not throw (it runs in a destructor). GUI thread only; no
// messages.
template <class TWidget> class CContainerWidget : public TWidget
{
public:
    std::function<void()> m_fnBeforeDestruction;

    ~CContainerWidget() override
    {
        if (m_fnBeforeDestruction)
        {
            const std::function<void()> fnCall = std::move(m_fnBeforeDestruction);
            fnCall();
        }
    }
};
