// The generic parameter dialog: the form built from a "parameter list", its validation, and what
// the configuration plug-in answers when the user accepts, cancels or is not asked.

#include "GaussianBlurTool.h"
#include "ParameterDialogPlugin.h"
#include "PluginCatalogue.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace
{

const char* const kDescription = R"({
    "plugin": "Sample",
    "callaction": "sample",
    "parameter list": [
        {"name": "sigma", "label": "Sigma", "type": "double", "min": 0.5, "max": 10,
         "default": 2, "decimals": 1, "unit": "px"},
        {"name": "size", "label": "Size", "type": "int", "min": 3, "max": 255, "step": 2,
         "default": 5},
        {"name": "fill", "label": "Fill holes", "type": "bool", "default": true},
        {"name": "method", "label": "Method", "type": "choice", "choices": ["fixed", "otsu"]}
    ]
})";

Zarn::CValueMap Description(const char* text = kDescription)
{
    std::unique_ptr<Zarn::CValue> pValue(Zarn::CJsonValueFile::ReadString(text));
    return Zarn::CValueMap(*pValue);
}

Zarn::CValueMap Request(bool bConfigUser)
{
    Zarn::CValueMap request;
    request.SetEntry(Zarn::CValue_Key("config user"), new Zarn::CValueBool(bConfigUser));
    return request;
}

template <class TWidget> TWidget* EditorOf(CParameterDialog& dialog, const char* name)
{
    return qobject_cast<TWidget*>(dialog.Editor(name));
}

void TypeInto(QAbstractSpinBox* spin, const char* text)
{
    spin->selectAll();
    QTest::keyClicks(spin, text);
}

// A step on the shown dialog that types the text into the named spin box.
template <class TSpin>
std::function<void(CParameterDialog&)> TypeIn(const char* name, const char* text)
{
    return [name, text](CParameterDialog& dialog)
    { TypeInto(EditorOf<TSpin>(dialog, name), text); };
}

// Types the text into the named spin box; the form must then be invalid and say `message`.
template <class TSpin>
void ExpectInvalidAfterTyping(CParameterDialog& dialog, const char* name, const char* text,
                              const char* message)
{
    TypeInto(EditorOf<TSpin>(dialog, name), text);
    EXPECT_FALSE(dialog.IsValid());
    EXPECT_EQ(dialog.Message(), message);
}

void Click(CParameterDialog& dialog, QDialogButtonBox::StandardButton button)
{
    QTest::mouseClick(dialog.Buttons()->button(button), Qt::LeftButton);
}

// Every test starts with no remembered values, in a settings folder of its own.
class ParameterDialog : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_pSettingsFolder = std::make_unique<QTemporaryDir>();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                           s_pSettingsFolder->path());
    }
    static void TearDownTestSuite() { s_pSettingsFolder.reset(); }
    void SetUp() override { QSettings("docview", "docview").clear(); }
    void TearDown() override { CParameterDialogPlugin::SetDialogRunner(nullptr); }

    // Sends a request that asks the user: the dialog is shown, `fill` works on it and then
    // `button` is clicked. Returns the request as the plug-in answered it.
    static Zarn::CValueMap AskUser(CParameterDialogPlugin& plugin,
                                   std::function<void(CParameterDialog&)> fill,
                                   QDialogButtonBox::StandardButton button)
    {
        CParameterDialogPlugin::SetDialogRunner(
            [fill, button](CParameterDialog& dialog)
            {
                dialog.show();
                fill(dialog);
                Click(dialog, button);
                return dialog.result();
            });
        return Answer(plugin, true);
    }

    // Sends a request to the plug-in, one that asks the user when `bConfigUser`. Returns the
    // request as the plug-in answered it.
    static Zarn::CValueMap Answer(Zarn::CPluginBase& plugin, bool bConfigUser)
    {
        Zarn::CValueMap request = Request(bConfigUser);
        plugin.Run(request);
        return request;
    }

    // The plug-in of the sample description, made at the first call; it lives until the test
    // ends.
    CParameterDialogPlugin& SamplePlugin()
    {
        if (!m_pSample)
        {
            m_pSample = std::make_unique<CParameterDialogPlugin>();
            m_pSample->Init(nullptr, Description());
        }
        return *m_pSample;
    }

    static std::unique_ptr<QTemporaryDir> s_pSettingsFolder;
    std::unique_ptr<CParameterDialogPlugin> m_pSample;
};

std::unique_ptr<QTemporaryDir> ParameterDialog::s_pSettingsFolder;

// The toolbox's picture with a document of an empty image of the type in focus.
class CFocusedImage
{
public:
    explicit CFocusedImage(Zarn::IImage::EnElementType type, unsigned int channels = 1)
        : m_pDocument(Zarn::ImageDocument::Create(
              new Zarn::CImage(Zarn::CSize(8, 6), Zarn::IImage::CType(type, channels)), "image"))
    {
    }

    Zarn::CValueMap Picture() const
    {
        Zarn::CValueMap picture;
        picture.SetEntry("input/documents/focused",
                         new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument.get()));
        return picture;
    }

private:
    std::unique_ptr<Zarn::CValueMap> m_pDocument;
};

// The shipped description of a tool, with its own "parameters" as a remembered choice.
Zarn::CValueMap ShippedDescription(const std::string& plugin)
{
    std::unique_ptr<Zarn::CValue> pTools(
        Zarn::CJsonValueFile::ReadFile(std::string(SOURCE_DIR) + "/share/config/tools.json"));
    const Zarn::CValue* pList = pTools->Map()->Entry(Zarn::CValue_Key("tool plugins"), true);
    for (unsigned int i = 0; i < pList->Vector()->Size(); ++i)
    {
        const Zarn::CValueMap& description =
            *pList->Vector()->Entry(Zarn::CValue_Key(i), true)->Map();
        if (description.EntryString(Zarn::CValue_Key("plugin")).StdString() == plugin)
        {
            return description;
        }
    }
    ADD_FAILURE() << plugin << " is not in tools.json";
    return Zarn::CValueMap();
}

} // namespace

TEST_F(ParameterDialog, FormHasAnEditorOfTheRightKindPerParameter)
{
    CParameterDialogPlugin& plugin = SamplePlugin();
    bool bShown = false;
    CParameterDialogPlugin::SetDialogRunner(
        [&](CParameterDialog& dialog)
        {
            bShown = true;
            EXPECT_EQ(dialog.windowTitle(), "sample");
            auto* pSigma = EditorOf<QDoubleSpinBox>(dialog, "sigma");
            EXPECT_NE(pSigma, nullptr);
            if (pSigma != nullptr)
            {
                EXPECT_EQ(pSigma->minimum(), 0.5);
                EXPECT_EQ(pSigma->maximum(), 10.0);
                EXPECT_EQ(pSigma->decimals(), 1);
                EXPECT_EQ(pSigma->suffix(), " px");
                EXPECT_EQ(pSigma->value(), 2.0);
            }
            auto* pSize = EditorOf<QSpinBox>(dialog, "size");
            EXPECT_NE(pSize, nullptr);
            if (pSize != nullptr)
            {
                EXPECT_EQ(pSize->value(), 5);
                EXPECT_EQ(pSize->singleStep(), 2);
            }
            auto* pFill = EditorOf<QCheckBox>(dialog, "fill");
            EXPECT_TRUE(pFill != nullptr && pFill->isChecked());
            auto* pMethod = EditorOf<QComboBox>(dialog, "method");
            EXPECT_TRUE(pMethod != nullptr && pMethod->count() == 2 &&
                        pMethod->currentText() == "fixed");
            EXPECT_TRUE(dialog.IsValid());
            return int(QDialog::Rejected);
        });
    Zarn::CValueMap request = Answer(plugin, true);
    EXPECT_TRUE(bShown);
}

TEST_F(ParameterDialog, SilentRunAnswersTheDefaultsAtFirst)
{
    CParameterDialogPlugin& plugin = SamplePlugin();
    CParameterDialogPlugin::SetDialogRunner(
        [](CParameterDialog&)
        {
            ADD_FAILURE() << "a silent run shows no dialog";
            return int(QDialog::Rejected);
        });
    Zarn::CValueMap request = Answer(plugin, false);

    EXPECT_EQ(request.Entry("parameters/sigma", true)->GenericType(), Zarn::CValue::vtDouble);
    EXPECT_EQ(request.Entry("parameters/sigma", true)->Double(), 2.0);
    EXPECT_EQ(request.Entry("parameters/size", true)->Long(), 5);
    EXPECT_TRUE(request.Entry("parameters/fill", true)->Bool());
    EXPECT_EQ(request.Entry("parameters/method", true)->String().StdString(), "fixed");
}

TEST_F(ParameterDialog, AcceptedDialogAnswersTheEnteredValues)
{
    Zarn::CValueMap request = AskUser(
        SamplePlugin(),
        [](CParameterDialog& dialog)
        {
            TypeInto(EditorOf<QDoubleSpinBox>(dialog, "sigma"), "3.5");
            TypeInto(EditorOf<QSpinBox>(dialog, "size"), "7");
            QTest::keyClick(EditorOf<QCheckBox>(dialog, "fill"), Qt::Key_Space);
            EditorOf<QComboBox>(dialog, "method")->setCurrentText("otsu");
        },
        QDialogButtonBox::Ok);

    ASSERT_TRUE(request.HasEntry("parameters"));
    EXPECT_EQ(request.Entry("parameters/sigma", true)->Double(), 3.5);
    EXPECT_EQ(request.Entry("parameters/size", true)->Long(), 7);
    EXPECT_FALSE(request.Entry("parameters/fill", true)->Bool());
    EXPECT_EQ(request.Entry("parameters/method", true)->String().StdString(), "otsu");
    EXPECT_FALSE(request.HasEntry("cancelled"));
}

TEST_F(ParameterDialog, ValueBelowTheRangeDisablesOkAndSaysWhy)
{
    Zarn::CValueMap request = AskUser(
        SamplePlugin(),
        [](CParameterDialog& dialog)
        {
            ExpectInvalidAfterTyping<QSpinBox>(dialog, "size", "1",
                                               "Size must be a number from 3 to 255.");
            // A click on the disabled button does not close the dialog.
            Click(dialog, QDialogButtonBox::Ok);
            EXPECT_TRUE(dialog.isVisible());
            TypeInto(EditorOf<QSpinBox>(dialog, "size"), "9");
            EXPECT_TRUE(dialog.IsValid());
            EXPECT_TRUE(dialog.Message().isEmpty());
        },
        QDialogButtonBox::Cancel);
    EXPECT_FALSE(request.HasEntry("parameters"));
}

TEST_F(ParameterDialog, ValueAboveTheRangeCannotBeTyped)
{
    Zarn::CValueMap request =
        AskUser(SamplePlugin(), TypeIn<QDoubleSpinBox>("sigma", "50"), QDialogButtonBox::Ok);
    // The "0" that would make 50 is not taken: 5 stays.
    ASSERT_TRUE(request.HasEntry("parameters"));
    EXPECT_EQ(request.Entry("parameters/sigma", true)->Double(), 5.0);
}

TEST_F(ParameterDialog, EvenSizeOffTheStepsDisablesOk)
{
    Zarn::CValueMap request = AskUser(
        SamplePlugin(),
        [](CParameterDialog& dialog) {
            ExpectInvalidAfterTyping<QSpinBox>(dialog, "size", "8",
                                               "Size must be 3, 5, ... up to 255.");
        },
        QDialogButtonBox::Ok);
    EXPECT_FALSE(request.HasEntry("parameters"));
}

TEST_F(ParameterDialog, CancelAnswersNothingAndKeepsTheLastValues)
{
    CParameterDialogPlugin& plugin = SamplePlugin();
    Zarn::CValueMap request =
        AskUser(plugin, TypeIn<QSpinBox>("size", "11"), QDialogButtonBox::Cancel);
    EXPECT_FALSE(request.HasEntry("parameters"));
    EXPECT_TRUE(request.EntryBool(Zarn::CValue_Key("cancelled"), false));

    Zarn::CValueMap silent = Answer(plugin, false);
    EXPECT_EQ(silent.Entry("parameters/size", true)->Long(), 5);
}

TEST_F(ParameterDialog, LastAcceptedValuesAreAnsweredSilentlyAndShownNextTime)
{
    CParameterDialogPlugin& plugin = SamplePlugin();
    Zarn::CValueMap first = AskUser(plugin, TypeIn<QSpinBox>("size", "13"), QDialogButtonBox::Ok);

    Zarn::CValueMap silent = Answer(plugin, false);
    EXPECT_EQ(silent.Entry("parameters/size", true)->Long(), 13);

    int nShownSize = 0;
    CParameterDialogPlugin::SetDialogRunner(
        [&](CParameterDialog& dialog)
        {
            nShownSize = EditorOf<QSpinBox>(dialog, "size")->value();
            return int(QDialog::Rejected);
        });
    Zarn::CValueMap again = Answer(plugin, true);
    EXPECT_EQ(nShownSize, 13);
}

TEST_F(ParameterDialog, AcceptedValuesAreRememberedForTheSameToolAcrossInstances)
{
    {
        CParameterDialogPlugin plugin;
        plugin.Init(nullptr, Description());
        Zarn::CValueMap request =
            AskUser(plugin, TypeIn<QDoubleSpinBox>("sigma", "4.5"), QDialogButtonBox::Ok);
    }
    CParameterDialogPlugin later;
    later.Init(nullptr, Description());
    Zarn::CValueMap silent = Answer(later, false);
    EXPECT_EQ(silent.Entry("parameters/sigma", true)->Double(), 4.5);

    // Another tool with the same parameter names has its own memory.
    Zarn::CValueMap other = Description();
    other.SetEntry(Zarn::CValue_Key("plugin"), new Zarn::CValueString("Other"));
    CParameterDialogPlugin stranger;
    stranger.Init(nullptr, other);
    Zarn::CValueMap strangerAnswer = Answer(stranger, false);
    EXPECT_EQ(strangerAnswer.Entry("parameters/sigma", true)->Double(), 2.0);
}

TEST_F(ParameterDialog, ParametersOfTheDescriptionReplaceTheDefaults)
{
    Zarn::CValueMap description = Description();
    description.SetEntry("parameters/sigma", new Zarn::CValueLong(3));
    description.SetEntry("parameters/size", new Zarn::CValueLong(400));
    CParameterDialogPlugin plugin;
    plugin.Init(nullptr, description);
    Zarn::CValueMap silent = Answer(plugin, false);
    EXPECT_EQ(silent.Entry("parameters/sigma", true)->Double(), 3.0);
    // Out of range: the default stays.
    EXPECT_EQ(silent.Entry("parameters/size", true)->Long(), 5);
}

TEST_F(ParameterDialog, BrokenParameterListsAreRefused)
{
    const char* const aBroken[] = {
        R"({"parameter list": [{"name": "a", "type": "text"}]})",
        R"({"parameter list": [{"type": "int"}]})",
        R"({"parameter list": [{"name": "a", "type": "choice"}]})",
        R"({"parameter list": [{"name": "a", "type": "int", "min": 5, "max": 1}]})",
        R"({"parameter list": [{"name": "a", "type": "int", "max": 3, "default": 9}]})",
        R"({"parameter list": [{"name": "a", "type": "bool", "default": 1}]})",
        R"({"parameter list": {"name": "a", "type": "bool"}})",
    };
    for (const char* szText : aBroken)
    {
        SCOPED_TRACE(szText);
        CParameterDialogPlugin plugin;
        EXPECT_THROW(plugin.Init(nullptr, Description(szText)), Zarn::CExBadParam);
    }
}

TEST_F(ParameterDialog, AnswerConfiguresTheToolThroughItsUpdate)
{
    Zarn::CValueMap description = Description(R"({
        "plugin": "GaussianBlur",
        "parameter list": [{"name": "sigma", "type": "double", "min": 0.1, "max": 100,
                            "default": 1}]})");
    CParameterDialogPlugin plugin;
    plugin.Init(nullptr, description);
    Zarn::CValueMap request =
        AskUser(plugin, TypeIn<QDoubleSpinBox>("sigma", "2.5"), QDialogButtonBox::Ok);
    CGaussianBlurTool tool;
    tool.Init(nullptr, description);
    tool.UpdateParameters(request);
    EXPECT_EQ(tool.HistoryEntry(), "GaussianBlur sigma=2.5");
}

// The shipped descriptions must stay in step with what the tools accept.
TEST_F(ParameterDialog, ShippedToolDescriptionsGiveDefaultsTheToolsAccept)
{
    std::unique_ptr<Zarn::CValue> pTools(
        Zarn::CJsonValueFile::ReadFile(std::string(SOURCE_DIR) + "/share/config/tools.json"));
    const Zarn::CValue* pList = pTools->Map()->Entry(Zarn::CValue_Key("tool plugins"), true);
    unsigned int uImageTools = 0;
    for (unsigned int i = 0; i < pList->Vector()->Size(); ++i)
    {
        const Zarn::CValueMap& description =
            *pList->Vector()->Entry(Zarn::CValue_Key(i), true)->Map();
        // The list also holds the document tools and the processes, which take no parameters.
        if (!description.HasEntry(Zarn::CValue_Key("parameter list")))
        {
            continue;
        }
        ++uImageTools;
        const std::string strName = description.EntryString(Zarn::CValue_Key("plugin")).StdString();
        SCOPED_TRACE(strName);
        std::unique_ptr<Zarn::CPluginBase> pTool(CPluginCatalogue::Create(strName));
        ASSERT_NE(pTool, nullptr);
        pTool->Init(nullptr, description);
        if (!description.HasEntry(Zarn::CValue_Key("configplugin")))
        {
            continue;
        }
        EXPECT_EQ(description.EntryString(Zarn::CValue_Key("configplugin")).StdString(),
                  "ParameterDialog");
        std::unique_ptr<Zarn::CPluginBase> pConfig(CPluginCatalogue::Create("ParameterDialog"));
        pConfig->Init(nullptr, description);
        Zarn::CValueMap request = Answer(*pConfig, false);
        ASSERT_TRUE(request.HasEntry("parameters"));
        EXPECT_NO_THROW(pTool->UpdateParameters(request));
    }
    EXPECT_EQ(uImageTools, 8u);
}

// Median's size 7, chosen on an 8-bit image, shown for a 16-bit image: marked, OK disabled until
// a size that fits is entered.
TEST_F(ParameterDialog, RememberedSizeThatDoesNotFitTheFocusedImageIsMarkedAndOkWaitsForOneThatFits)
{
    Zarn::CValueMap description = ShippedDescription("Median");
    description.SetEntry("parameters/size", new Zarn::CValueLong(7));
    CParameterDialogPlugin plugin;
    plugin.Init(nullptr, description);
    const CFocusedImage deep(Zarn::IImage::etUInt16);
    plugin.UpdateParameters(deep.Picture());

    bool bShown = false;
    Zarn::CValueMap request = AskUser(
        plugin,
        [&](CParameterDialog& dialog)
        {
            bShown = true;
            auto* pSize = EditorOf<QSpinBox>(dialog, "size");
            EXPECT_EQ(pSize->value(), 7) << "the remembered value is shown as it is";
            EXPECT_FALSE(dialog.IsValid());
            EXPECT_EQ(dialog.Message(), "Size 7 does not fit this uint16x1 image: only 8-bit "
                                        "images take sizes above 5.");
            EXPECT_FALSE(pSize->toolTip().isEmpty()) << "the size's row is marked";
            TypeInto(pSize, "5");
            EXPECT_TRUE(dialog.IsValid()) << dialog.Message().toStdString();
            EXPECT_TRUE(pSize->toolTip().isEmpty());
        },
        QDialogButtonBox::Ok);
    ASSERT_TRUE(bShown);
    EXPECT_EQ(request.Entry("parameters/size", true)->Long(), 5);

    // On an 8-bit image the same size fits.
    const CFocusedImage flat(Zarn::IImage::etUInt8);
    plugin.UpdateParameters(flat.Picture());
    CParameterDialogPlugin::SetDialogRunner(
        [](CParameterDialog& dialog)
        {
            TypeInto(EditorOf<QSpinBox>(dialog, "size"), "7");
            EXPECT_TRUE(dialog.IsValid()) << dialog.Message().toStdString();
            return int(QDialog::Rejected);
        });
    Zarn::CValueMap again = Answer(plugin, true);
}

// Otsu on a float image is marked; choosing the fixed level makes the form valid at once.
TEST_F(ParameterDialog, ChoiceThatDoesNotFitTheFocusedImageIsMarkedUntilAnotherIsChosen)
{
    Zarn::CValueMap description = ShippedDescription("Threshold");
    description.SetEntry("parameters/method", new Zarn::CValueString("otsu"));
    CParameterDialogPlugin plugin;
    plugin.Init(nullptr, description);
    const CFocusedImage floating(Zarn::IImage::etFloat32);
    plugin.UpdateParameters(floating.Picture());
    bool bShown = false;
    CParameterDialogPlugin::SetDialogRunner(
        [&](CParameterDialog& dialog)
        {
            bShown = true;
            auto* pMethod = EditorOf<QComboBox>(dialog, "method");
            EXPECT_EQ(pMethod->currentText(), "otsu");
            EXPECT_FALSE(dialog.IsValid());
            EXPECT_TRUE(dialog.Message().startsWith("Method otsu does not fit this float32x1"))
                << dialog.Message().toStdString();
            pMethod->setCurrentText("fixed");
            EXPECT_TRUE(dialog.IsValid()) << dialog.Message().toStdString();
            return int(QDialog::Rejected);
        });
    Zarn::CValueMap request = Answer(plugin, true);
    EXPECT_TRUE(bShown);
}
