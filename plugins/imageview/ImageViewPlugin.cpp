#include "ImageViewPlugin.h"

#include "ImageViewValues.h"
#include "ImageViewWidget.h"
#include "frame/Messages.h"
#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QWidget>

#include <array>
#include <atomic>
#include <map>
#include <set>
#include <string>

namespace
{

const char* const kPluginType = "QtWidget";
const char* const kPluginSubType = "ImageView";
const int kThumbnailSize = 32;
// A new window's size follows its image within these bounds; windows are cascaded by this step.
const QSize kSmallestWindow(160, 120);
const QSize kLargestWindow(720, 540);
const int kCascadeStep = 32;
const int kCascadePlaces = 8;

// Numbers views across the process, for thumbnail names that no two views share.
std::atomic<std::uint64_t> g_uNextViewNumber{1};

// The view numbers held per document (GUI thread only). The document is only a key: it is
// never read through, and its entry goes with the last number.
std::map<const Zarn::CValueMap*, std::set<unsigned int>>& NumbersInUse()
{
    static std::map<const Zarn::CValueMap*, std::set<unsigned int>> s_mapNumbers;
    return s_mapNumbers;
}

unsigned int TakeViewNumber(const Zarn::CValueMap* document)
{
    std::set<unsigned int>& setNumbers = NumbersInUse()[document];
    unsigned int uNumber = 1;
    while (setNumbers.count(uNumber) != 0)
    {
        ++uNumber;
    }
    setNumbers.insert(uNumber);
    return uNumber;
}

void FreeViewNumber(const Zarn::CValueMap* document, unsigned int number)
{
    const auto it = NumbersInUse().find(document);
    if (it == NumbersInUse().end())
    {
        return;
    }
    it->second.erase(number);
    if (it->second.empty())
    {
        NumbersInUse().erase(it);
    }
}

// A host object the host left in the registry, or null when there is none of that type.
template <class T> T* BorrowedHostObject(const char* key)
{
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    if (!registry.HasEntry(Zarn::CValue_Key(key)))
    {
        return nullptr;
    }
    const Zarn::CValue* pValue = registry.Entry(Zarn::CValue_Key(key));
    if (pValue->GenericType() != Zarn::CValue::vtPointer ||
        !Zarn::AreTypesEqual(pValue->ElementType(), typeid(T)))
    {
        return nullptr;
    }
    return const_cast<T*>(Zarn::UnwrapPointer<T>(pValue));
}

const char* ElementTypeName(Zarn::IImage::EnElementType type)
{
    // Indexed by the element type, in the order the enumeration declares them.
    static constexpr std::array<const char*, 8> kNames = {"uint8",  "int8",  "uint16",  "int16",
                                                          "uint32", "int32", "float32", "float64"};
    const auto uIndex = static_cast<size_t>(type);
    return uIndex < kNames.size() ? kNames[uIndex] : "unknown";
}

// "512 x 512, uint16, 1 channel"; planes show as a third extent ("64 x 64 x 5, ...").
std::string DescribeImage(const Zarn::CImage& image)
{
    const Zarn::CSize& size = image.Size();
    std::string strText = std::to_string(size.X()) + " x " + std::to_string(size.Y());
    if (size.Z() > 1)
    {
        strText += " x " + std::to_string(size.Z());
    }
    const unsigned int nChannels = image.Type().Channels();
    strText += std::string(", ") + ElementTypeName(image.Type().ElementType()) + ", " +
               std::to_string(nChannels) + (nChannels == 1 ? " channel" : " channels");
    return strText;
}

void SetString(Zarn::CValueMap& map, const char* key, const std::string& text)
{
    map.SetEntry(Zarn::CValue_Key(key), new Zarn::CValueString(text.c_str()));
}

// The label and the index the repository numbers documents of one label with: "cells.png [2]".
std::string CaptionOf(const Zarn::CValueMap* document)
{
    if (document == nullptr)
    {
        return std::string();
    }
    std::string strCaption = Zarn::ImageDocument::Label(*document);
    const Zarn::CValue* pIndex = document->Entry(Zarn::CValue_Key("index"), false);
    if (pIndex != nullptr && pIndex->GenericType() == Zarn::CValue::vtLong)
    {
        strCaption += " [" + std::to_string(pIndex->Long()) + "]";
    }
    return strCaption;
}

} // namespace

CImageViewPlugin::CImageViewPlugin()
    : m_strName("CImageViewPlugin"), m_pWidget(new CImageViewWidget),
      m_uViewNumber(g_uNextViewNumber++)
{
    connect(m_pWidget.data(), &CImageViewWidget::SelectionChanged, this,
            &CImageViewPlugin::PostChangedView);
}

CImageViewPlugin::~CImageViewPlugin()
{
    delete m_pWidget.data();
    RemoveThumbnail();
    if (m_pDocument != nullptr)
    {
        FreeViewNumber(m_pDocument, m_uNumberOfDocument);
    }
}

void CImageViewPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::WritePluginSetup(setup, kPluginType, kPluginSubType, m_strName.c_str());
    setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                   new Zarn::CValuePointer<QWidget>(m_pWidget.data()));
    // Images are compared side by side: a workspace shows the window at its own size and place.
    setup.SetEntry(Zarn::CValue_Key("showmaximized"), new Zarn::CValueBool(false));
}

void CImageViewPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    try
    {
        m_strName = parameters.EntryString(Zarn::CValue_Key("name"), m_strName);
        SetInstance(m_strName.c_str());
        const Zarn::CValue* pParent = parameters.Entry(Zarn::CValue_Key("parent"), false);
        QWidget* pParentWidget = pParent != nullptr
                                     ? const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(pParent))
                                     : nullptr;
        if (pParentWidget != nullptr && m_pWidget != nullptr)
        {
            // A first home only: the container that takes the view reparents the widget.
            m_pWidget->setParent(pParentWidget);
            m_pWidget->hide();
        }
        if (Zarn::CValueMap* pDocument = ImageViewValues::DocumentOf(parameters))
        {
            SetDocument(pDocument);
        }
    }
    catch (...)
    {
        Zarn::RethrowWithOperation("CImageViewPlugin::Init");
    }
}

void CImageViewPlugin::DeleteData()
{
    delete m_pWidget.data();
}

void CImageViewPlugin::Run(Zarn::CValueMap& data)
{
    const Zarn::CImage* pImage =
        m_pDocument != nullptr ? Zarn::ImageDocument::Image(*m_pDocument) : nullptr;
    SetString(data, "caption", Caption());
    SetString(data, "description", pImage != nullptr ? DescribeImage(*pImage) : std::string());
    UpdateThumbnail();
    // Without a thumbnail the entry stays out, and the navigator shows its default icon.
    if (!m_strThumbnailPath.empty())
    {
        SetString(data, "icon", m_strThumbnailPath);
    }
    data.SetEntry(Zarn::CValue_Key("document"),
                  new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
    SetString(data, "PluginType", kPluginType);
    SetString(data, "PluginSubType", kPluginSubType);
    if (m_pWidget == nullptr)
    {
        return;
    }
    auto* pSettings = new Zarn::CValueMap;
    pSettings->SetEntry(Zarn::CValue_Key("zoom"), new Zarn::CValueDouble(m_pWidget->Zoom()));
    pSettings->SetEntry(Zarn::CValue_Key("fit"), new Zarn::CValueBool(m_pWidget->IsFit()));
    auto* pContrast = new Zarn::CValueMap;
    pContrast->SetEntry(Zarn::CValue_Key("auto"),
                        new Zarn::CValueBool(m_pWidget->IsAutoContrast()));
    pContrast->SetEntry(Zarn::CValue_Key("low"), new Zarn::CValueDouble(m_pWidget->ContrastLow()));
    pContrast->SetEntry(Zarn::CValue_Key("high"),
                        new Zarn::CValueDouble(m_pWidget->ContrastHigh()));
    pSettings->SetEntry(Zarn::CValue_Key("contrast"), pContrast);
    data.SetEntry(Zarn::CValue_Key("settings"), pSettings);
    const QRect selection = m_pWidget->Selection();
    if (!selection.isNull())
    {
        auto* pSelection = new Zarn::CValueMap;
        pSelection->SetEntry(Zarn::CValue_Key("x"), new Zarn::CValueLong(selection.x()));
        pSelection->SetEntry(Zarn::CValue_Key("y"), new Zarn::CValueLong(selection.y()));
        pSelection->SetEntry(Zarn::CValue_Key("width"), new Zarn::CValueLong(selection.width()));
        pSelection->SetEntry(Zarn::CValue_Key("height"), new Zarn::CValueLong(selection.height()));
        data.SetEntry(Zarn::CValue_Key("selection"), pSelection);
    }
}

void CImageViewPlugin::UpdateParameters(const Zarn::CValueMap& parameters)
{
    if (DocView::HasMessageId(parameters))
    {
        return;
    }
    try
    {
        if (Zarn::CValueMap* pDocument = ImageViewValues::DocumentOf(parameters))
        {
            SetDocument(pDocument);
        }
        const Zarn::CValue* pSettings = parameters.Entry(Zarn::CValue_Key("settings"), false);
        if (pSettings != nullptr && pSettings->Map() != nullptr)
        {
            ApplySettings(*pSettings->Map());
        }
    }
    catch (...)
    {
        Zarn::RethrowWithOperation("CImageViewPlugin::UpdateParameters");
    }
}

std::string CImageViewPlugin::ThumbnailDirectory()
{
    QString strBase = qEnvironmentVariable("XDG_CACHE_HOME");
    if (strBase.isEmpty())
    {
        strBase = QDir::homePath() + "/.cache";
    }
    return (strBase + "/docview/thumbnails").toStdString();
}

void CImageViewPlugin::SetDocument(Zarn::CValueMap* document)
{
    const bool bFirst = m_pDocument == nullptr;
    if (document != m_pDocument)
    {
        if (m_pDocument != nullptr)
        {
            FreeViewNumber(m_pDocument, m_uNumberOfDocument);
        }
        m_uNumberOfDocument = TakeViewNumber(document);
    }
    m_pDocument = document;
    if (m_pWidget != nullptr)
    {
        const Zarn::CImage* pImage = Zarn::ImageDocument::Image(*document);
        m_pWidget->SetImage(pImage);
        // The title names the window wherever a container shows it.
        m_pWidget->setWindowTitle(QString::fromStdString(Caption()));
        if (bFirst && pImage != nullptr)
        {
            PlaceNewWindow(*pImage);
        }
    }
    ++m_uImageVersion;
}

std::string CImageViewPlugin::Caption() const
{
    std::string strCaption = CaptionOf(m_pDocument);
    if (m_uNumberOfDocument > 1)
    {
        strCaption += " (" + std::to_string(m_uNumberOfDocument) + ")";
    }
    return strCaption;
}

void CImageViewPlugin::PostChangedView()
{
    auto* pThread = BorrowedHostObject<Zarn::CMessageThread>("tmp/commthread");
    auto* pIds = BorrowedHostObject<Zarn::CMessageIdFactory>("tmp/messageidfactory");
    if (pThread == nullptr || pIds == nullptr)
    {
        return;
    }
    DocView::SendMessage(pThread, pIds, "CHANGED_VIEW",
                         new Zarn::CValuePointer<Zarn::CPluginBase>(this));
}

void CImageViewPlugin::PlaceNewWindow(const Zarn::CImage& image)
{
    static int s_nWindows = 0;
    const QSize frame = m_pWidget->size() - m_pWidget->viewport()->size();
    const QSize wanted(static_cast<int>(image.Size().X()) + frame.width(),
                       static_cast<int>(image.Size().Y()) + frame.height());
    m_pWidget->resize(wanted.expandedTo(kSmallestWindow).boundedTo(kLargestWindow));
    const int nPlace = s_nWindows++ % kCascadePlaces;
    m_pWidget->move(nPlace * kCascadeStep, nPlace * kCascadeStep);
}

void CImageViewPlugin::ApplySettings(const Zarn::CValueMap& settings)
{
    if (m_pWidget == nullptr)
    {
        return;
    }
    if (settings.EntryBool(Zarn::CValue_Key("fit"), false))
    {
        m_pWidget->FitToWindow();
    }
    else if (settings.HasEntry(Zarn::CValue_Key("zoom")))
    {
        m_pWidget->SetZoom(settings.EntryDouble(Zarn::CValue_Key("zoom"), m_pWidget->Zoom()));
    }
    const Zarn::CValue* pContrast = settings.Entry(Zarn::CValue_Key("contrast"), false);
    if (pContrast != nullptr && pContrast->Map() != nullptr)
    {
        const Zarn::CValueMap& contrast = *pContrast->Map();
        if (contrast.EntryBool(Zarn::CValue_Key("auto"), true))
        {
            m_pWidget->SetAutoContrast();
        }
        else
        {
            m_pWidget->SetContrast(
                contrast.EntryDouble(Zarn::CValue_Key("low"), m_pWidget->ContrastLow()),
                contrast.EntryDouble(Zarn::CValue_Key("high"), m_pWidget->ContrastHigh()));
        }
    }
}

void CImageViewPlugin::UpdateThumbnail()
{
    if (m_pWidget == nullptr || !m_pWidget->HasImage() || m_uThumbnailVersion == m_uImageVersion)
    {
        return;
    }
    const QString strDirectory = QString::fromStdString(ThumbnailDirectory());
    const QString strPath = QString("%1/view-%2-%3-%4.png")
                                .arg(strDirectory)
                                .arg(QCoreApplication::applicationPid())
                                .arg(m_uViewNumber)
                                .arg(m_uImageVersion);
    const QImage thumbnail = m_pWidget->DisplayImage().scaled(
        kThumbnailSize, kThumbnailSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    // A cache that cannot be written keeps the last icon, or none.
    if (!QDir().mkpath(strDirectory) || !thumbnail.save(strPath, "PNG"))
    {
        return;
    }
    RemoveThumbnail();
    m_strThumbnailPath = strPath.toStdString();
    m_uThumbnailVersion = m_uImageVersion;
}

void CImageViewPlugin::RemoveThumbnail()
{
    if (!m_strThumbnailPath.empty())
    {
        QFile::remove(QString::fromStdString(m_strThumbnailPath));
        m_strThumbnailPath.clear();
    }
}
