// The factory: which documents it takes and how many views it makes.

#include "ImageViewFactoryPlugin.h"
#include "ImageViewPlugin.h"
#include "ImageViewTestSupport.h"

#include <Zarn/Value/TypeInfo.h>

#include <QWidget>

#include <gtest/gtest.h>

#include <memory>

using namespace ImageViewTest;

namespace
{

std::unique_ptr<Zarn::CValueMap> SmallImageDocument()
{
    return std::unique_ptr<Zarn::CValueMap>(
        MakeDocument(MakeImage16(4, 3, [](std::uint32_t x, std::uint32_t) { return x; }), "a.png"));
}

// The view a Run made, or null; the caller owns it.
Zarn::CPluginBase* ViewOf(Zarn::CValueMap& result)
{
    const Zarn::CValue* pValue = result.Entry(Zarn::CValue_Key("view plugin"), false);
    if (pValue == nullptr)
    {
        return nullptr;
    }
    EXPECT_TRUE(Zarn::AreTypesEqual(pValue->ElementType(), typeid(Zarn::CPluginBase)));
    return static_cast<Zarn::CPluginBase*>(const_cast<void*>(pValue->Pointer()->Void()));
}

void Release(Zarn::CPluginBase* view)
{
    view->DeleteData();
    delete view;
}

} // namespace

TEST(ImageViewFactory, SetupNamesAViewFactoryOfImageViews)
{
    CImageViewFactoryPlugin factory;
    Zarn::CValueMap setup;
    factory.GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("Version")).StdString(), "version 1.0.0");
    EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("PluginType")).StdString(), "ViewFactory");
    EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("PluginSubType")).StdString(), "ImageView");
}

TEST(ImageViewFactory, AcceptsADocumentHoldingAnImage)
{
    CImageViewFactoryPlugin factory;
    auto pDocument = SmallImageDocument();
    EXPECT_TRUE(factory.TestParameters(DocumentParameters(pDocument.get())));
}

TEST(ImageViewFactory, RefusesMissingNullTextAndEmptyDocuments)
{
    CImageViewFactoryPlugin factory;
    EXPECT_FALSE(factory.TestParameters(Zarn::CValueMap()));
    EXPECT_FALSE(factory.TestParameters(DocumentParameters(nullptr)));

    Zarn::CValueMap textDocument;
    textDocument.SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("notes.txt"));
    textDocument.SetEntry(Zarn::CValue_Key("type"), new Zarn::CValueString("text"));
    textDocument.SetEntry(Zarn::CValue_Key("content"), new Zarn::CValueString("some text"));
    EXPECT_FALSE(factory.TestParameters(DocumentParameters(&textDocument)));

    Zarn::CValueMap emptyDocument;
    emptyDocument.SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("empty"));
    EXPECT_FALSE(factory.TestParameters(DocumentParameters(&emptyDocument)));

    // A "document" that points at something else than a document.
    Zarn::CValueMap wrongPointer;
    long nNotADocument = 0;
    wrongPointer.SetEntry(Zarn::CValue_Key("document"),
                          new Zarn::CValuePointer<long>(&nNotADocument));
    EXPECT_FALSE(factory.TestParameters(wrongPointer));
}

TEST(ImageViewFactory, RunWithoutDocumentMakesNoView)
{
    CImageViewFactoryPlugin factory;
    Zarn::CValueMap result;
    factory.Run(result);
    EXPECT_FALSE(result.HasEntry(Zarn::CValue_Key("view plugin")));
}

TEST(ImageViewFactory, EachUpdateAndRunPairMakesExactlyOneViewOfTheDocument)
{
    QWidget parent;
    CImageViewFactoryPlugin factory;
    Zarn::CValueMap init;
    init.SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValuePointer<QWidget>(&parent));
    factory.Init(nullptr, init);
    auto pDocument = SmallImageDocument();

    factory.UpdateParameters(DocumentParameters(pDocument.get()));
    Zarn::CValueMap first;
    factory.Run(first);
    Zarn::CPluginBase* pFirst = ViewOf(first);
    ASSERT_NE(pFirst, nullptr);

    Zarn::CValueMap repeated;
    factory.Run(repeated);
    EXPECT_EQ(ViewOf(repeated), nullptr) << "a Run without a new document made a view";

    factory.UpdateParameters(DocumentParameters(pDocument.get()));
    Zarn::CValueMap second;
    factory.Run(second);
    Zarn::CPluginBase* pSecond = ViewOf(second);
    ASSERT_NE(pSecond, nullptr);
    EXPECT_NE(pFirst, pSecond);

    auto* pView = dynamic_cast<CImageViewPlugin*>(pFirst);
    ASSERT_NE(pView, nullptr);
    EXPECT_EQ(pView->Document(), pDocument.get());
    ASSERT_NE(pView->Widget(), nullptr);
    EXPECT_EQ(pView->Widget()->parentWidget(), &parent);
    EXPECT_EQ(pView->Widget()->ImageSize(), QSize(4, 3));

    Release(pFirst);
    Release(pSecond);
}

TEST(ImageViewFactory, MessagesDoNotChangeTheDocument)
{
    CImageViewFactoryPlugin factory;
    auto pDocument = SmallImageDocument();
    factory.UpdateParameters(DocumentParameters(pDocument.get()));
    Zarn::CValueMap message = DocumentParameters(nullptr);
    message.SetEntry(Zarn::CValue_Key("id"), new Zarn::CValueLong(3));
    factory.UpdateParameters(message);
    Zarn::CValueMap result;
    factory.Run(result);
    Zarn::CPluginBase* pView = ViewOf(result);
    ASSERT_NE(pView, nullptr);
    Release(pView);
}
