#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <QPointer>

class QWidget;

namespace Zarn
{
class CValueMap;
} // namespace Zarn

// The view factory of image documents, created by the module entry as "ImageViewFactory" and
// driven by the repository or the "ViewFactory" daemon: TestParameters asks whether a document
// holds an image, UpdateParameters names the document, Run makes one CImageViewPlugin for it.
// The caller owns every view made. The document and the parent widget are lent. GUI thread only.
// Init throws a Zarn::CException naming "CImageViewFactoryPlugin::Init" and the cause;
// TestParameters never throws. Sends no messages and handles none: UpdateParameters ignores
// delivered messages (maps with an "id") and takes only {"document": pointer}.
class CImageViewFactoryPlugin : public Zarn::CPluginBase
{
public:
    CImageViewFactoryPlugin();
    ~CImageViewFactoryPlugin() override;

    // "Version", "PluginType" = "ViewFactory", "PluginSubType" = "ImageView".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "parent" (a QWidget pointer, optional): the first parent of the views' widgets.
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // True when "document" points at a document with an image; a missing, null or foreign
    // value is false.
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    // Takes "document" for the next Run; messages (maps with "id") are ignored.
    void UpdateParameters(const Zarn::CValueMap& parameters) override;
    // "view plugin": a new view of the document named last, once; without one nothing is made.
    void Run(Zarn::CValueMap& data) override;

private:
    QPointer<QWidget> m_pParent;
    Zarn::CValueMap* m_pDocument = nullptr;
};
