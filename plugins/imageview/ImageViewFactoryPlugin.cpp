#include "ImageViewFactoryPlugin.h"

#include "ImageViewPlugin.h"
#include "ImageViewValues.h"
#include "frame/Messages.h"
#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QWidget>

#include <memory>

CImageViewFactoryPlugin::CImageViewFactoryPlugin() = default;
CImageViewFactoryPlugin::~CImageViewFactoryPlugin() = default;

void CImageViewFactoryPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::WritePluginSetup(setup, "ViewFactory", "ImageView");
}

void CImageViewFactoryPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    try
    {
        const Zarn::CValue* pParent = parameters.Entry(Zarn::CValue_Key("parent"), false);
        m_pParent = pParent != nullptr ? const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(pParent))
                                       : nullptr;
    }
    catch (...)
    {
        Zarn::RethrowWithOperation("CImageViewFactoryPlugin::Init");
    }
}

bool CImageViewFactoryPlugin::TestParameters(const Zarn::CValueMap& parameters)
{
    const Zarn::CValueMap* pDocument = ImageViewValues::DocumentOf(parameters);
    if (pDocument == nullptr)
    {
        return false;
    }
    try
    {
        return Zarn::ImageDocument::Image(*pDocument) != nullptr;
    }
    catch (...)
    {
        // A "content" of another kind is no image.
        return false;
    }
}

void CImageViewFactoryPlugin::UpdateParameters(const Zarn::CValueMap& parameters)
{
    if (!DocView::HasMessageId(parameters))
    {
        m_pDocument = ImageViewValues::DocumentOf(parameters);
    }
}

void CImageViewFactoryPlugin::Run(Zarn::CValueMap& data)
{
    if (m_pDocument == nullptr)
    {
        return;
    }
    Zarn::CValueMap viewParameters;
    viewParameters.SetEntry(Zarn::CValue_Key("parent"),
                            new Zarn::CValuePointer<QWidget>(m_pParent.data()));
    viewParameters.SetEntry(Zarn::CValue_Key("document"),
                            new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
    auto pView = std::make_unique<CImageViewPlugin>();
    pView->Init(nullptr, viewParameters);
    // One view per UpdateParameters: a second Run without a new document makes none.
    m_pDocument = nullptr;
    data.SetEntry(Zarn::CValue_Key("view plugin"),
                  new Zarn::CValuePointer<Zarn::CPluginBase>(pView.release()));
}
