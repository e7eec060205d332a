#pragma once

#include "ImageViewWidget.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

#include <QObject>
#include <QPointer>

#include <cstdint>
#include <string>

namespace Zarn
{
class CValueMap;
} // namespace Zarn

// A view of one image document: created by the module entry as "ImageView", usually by the
// "ImageViewFactory". The owner (the repository) holds its Zarn::CPluginBase part. GUI thread only.
//
// Not subscribed to the communication thread: the repository hands it the document with
// UpdateParameters ({"document": pointer}, on creation and after every change of the document)
// and reads its description through Run. Owns its CImageViewWidget until DeleteData destroys it;
// a container that hosts the widget only lends it a parent. The document is lent.
//
// Posts CHANGED_VIEW (data: a non-owning Zarn::CValuePointer<Zarn::CPluginBase> to itself) when
// the user's selection is set or cleared, so that the toolbox asks its tools again (Crop to
// Selection). The communication thread and the message id factory are borrowed from the registry
// ("tmp/commthread", "tmp/messageidfactory") at that moment; without them nothing is posted.
// Handles no messages: UpdateParameters ignores delivered messages (maps with an "id"). Init and
// UpdateParameters throw a Zarn::CException naming "CImageViewPlugin::Init" or
// "CImageViewPlugin::UpdateParameters" and the cause.
//
// Caption and window title: the document's label and index ("own16.tif [1]"). Several views of
// one document are told apart by a view number: a view takes the lowest number from 1 up that no
// other living image view of the same document holds, keeps it while it lives and frees it when
// destroyed; every number but 1 is shown after the caption ("own16.tif [1] (2)"). The first view
// keeps the plain caption; the document's label is never changed.
//
// Writes a 32x32 thumbnail of its image into the thumbnail cache for the navigator's icon, once
// per image shown, and removes its last one when destroyed.
class CImageViewPlugin : public QObject, public Zarn::CPluginBase
{
    Q_OBJECT

public:
    CImageViewPlugin();
    ~CImageViewPlugin() override;

    // "Version", "WidgetPtr" (the widget, lent), "PluginType", "PluginSubType", "PluginName".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "parent" (a QWidget pointer, optional: the widget's first parent) and "document" (a
    // document pointer, optional), "name" (default "CImageViewPlugin"). Throws Zarn::CException
    // naming "CImageViewPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // Destroys the widget unless Qt already has.
    void DeleteData() override;
    // The description: "caption", "description", "icon" (once a thumbnail exists), "document",
    // "PluginType", "PluginSubType", "settings" and, while the user has one, "selection".
    void Run(Zarn::CValueMap& data) override;
    // "document": shows the document's image anew. "settings": takes zoom and contrast from
    // another view's description. Messages (maps with "id") and other maps are ignored. Throws
    // Zarn::CException naming "CImageViewPlugin::UpdateParameters".
    void UpdateParameters(const Zarn::CValueMap& parameters) override;

    // Null once the widget is gone.
    CImageViewWidget* Widget() const { return m_pWidget.data(); }
    Zarn::CValueMap* Document() const { return m_pDocument; }
    // The icon file written last; empty before the first description.
    const std::string& ThumbnailPath() const { return m_strThumbnailPath; }
    // $XDG_CACHE_HOME/docview/thumbnails, else ~/.cache/docview/thumbnails.
    static std::string ThumbnailDirectory();

private:
    // Sizes a new window to its image (within bounds) and cascades it below the earlier ones.
    void PlaceNewWindow(const Zarn::CImage& image);
    void SetDocument(Zarn::CValueMap* document);
    // "own16.tif [1]", with " (n)" for view numbers above 1.
    std::string Caption() const;
    void PostChangedView();
    void ApplySettings(const Zarn::CValueMap& settings);
    // Writes the thumbnail of the image shown now, unless it was written already.
    void UpdateThumbnail();
    void RemoveThumbnail();

    Zarn::CString m_strName;
    QPointer<CImageViewWidget> m_pWidget;
    Zarn::CValueMap* m_pDocument = nullptr;
    // Counts the images shown; the thumbnail names the version it shows.
    std::uint64_t m_uImageVersion = 0;
    std::uint64_t m_uThumbnailVersion = 0;
    std::uint64_t m_uViewNumber;
    // Among the views of m_pDocument; 0 without a document.
    unsigned int m_uNumberOfDocument = 0;
    std::string m_strThumbnailPath;
};
