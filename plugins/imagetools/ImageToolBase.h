#pragma once

#include <Zarn/Image/Image.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <opencv2/core/mat.hpp>

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What every image tool shares: it finds the focused image document, refuses image types it
// cannot work on, reads its "parameters" map, and adds one NEW document whose image header
// history gains an entry "<Tool> key=value ...".
//
// Where the tool is told things:
//   Init(context, description)     the description's "parameters", if any
//   UpdateParameters(map)           "parameters" (a configuration answer, a batch step) and
//                                   "input" (the toolbox's picture: the focused document is kept)
//   TestParameters({"input": ...})  true when the focused document holds an image the tool can
//                                   work on with SOME valid parameters: the parameters held now
//                                   never make a tool unreachable, so that its dialog can still
//                                   be opened to choose ones that fit
//   Run(data)                       works on "input/documents/focused" of data when present (a
//                                   batch step), else on the document kept from the last input;
//                                   writes "output/documents/add" (one lent pointer to the new
//                                   document; the receiver owns it) and "output/parameters" (the
//                                   effective parameters of this run, named as in "parameters");
//                                   the new document's "process step" names the tool and them
//
// Parameters are merged: a key that is absent keeps its current value (the default at first). A
// value of the wrong kind or out of range throws CExBadParam and leaves all parameters as they
// were. Parameters that are valid in general but do not fit the image at hand (a median size
// that only 8-bit images take) are accepted; Run then throws CExBadParam naming the parameter,
// and CheckParameters lets a configuration dialog say so before the run.
//
// Run may be called on a tool thread: it reads only its data map, its own members and the input
// image, and writes only its data map and its own members. Everything else runs on the GUI
// thread.
//
// Owns its parameters; the focused document is lent (by the toolbox's input or the run data) and
// the new document is handed to whoever takes up "output/documents/add". Sends no messages and
// handles none: UpdateParameters reads only "parameters" and "input", which a delivered host
// message does not have.
class CImageToolBase : public Zarn::CPluginBase
{
public:
    ~CImageToolBase() override;

    // "Version", "PluginType" = "Tool", "PluginSubType" = "ImageTool", "PluginName" = the
    // tool's name.
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;
    void Run(Zarn::CValueMap& data) override;

    const std::string& Name() const { return m_strName; }
    // "GaussianBlur sigma=2": the history entry for the current parameters.
    std::string HistoryEntry() const;
    // The current parameters as a map, the form "parameters" has.
    Zarn::CValueMap ParameterMap() const;

    // A parameter that does not fit images of some type: its key and why, as in "only 8-bit
    // images take sizes above 5".
    struct SParameterMisfit
    {
        std::string m_strParameter;
        std::string m_strReason;
    };
    // Takes the parameters (as UpdateParameters does) and tells whether they fit images of the
    // type; nothing when they do. A parameter refused in general (out of range) is reported with
    // the refusal's text and an empty key. Changes this tool's parameters: meant for a probe
    // instance, never for a tool that may be running on a tool thread.
    std::optional<SParameterMisfit> CheckParameters(const Zarn::CValueMap& parameters,
                                                    const Zarn::IImage::CType& type);

    // The document at "documents/focused" of a toolbox picture, or null.
    static const Zarn::CValueMap* FocusedDocument(const Zarn::CValueMap& input);

    // One named value, in the order the tool lists its parameters.
    using ParameterList = std::vector<std::pair<std::string, std::unique_ptr<Zarn::CValue>>>;

    // Readers for TakeParameters: the map's value for the key, or `current` when it is absent.
    // A value of another kind or outside the limits throws CExBadParam naming tool and key.
    double ReadDouble(const Zarn::CValueMap& parameters, const char* key, double current) const;
    long ReadLong(const Zarn::CValueMap& parameters, const char* key, long current) const;
    std::string ReadChoice(const Zarn::CValueMap& parameters, const char* key,
                           const std::string& current,
                           std::initializer_list<const char*> choices) const;
    [[noreturn]] void ThrowBadParameter(const std::string& text) const;

    // The element types OpenCV's filters work on: uint8, uint16, int16, float32 and float64.
    static bool IsFilterType(Zarn::IImage::EnElementType type);
    // Whether `type` is one of `types`; tools state the element types they accept with it.
    static bool IsOneOf(Zarn::IImage::EnElementType type,
                        std::initializer_list<Zarn::IImage::EnElementType> types);
    // A new image of the input's size with `type`, each plane filled by `operation(source,
    // result)`; the result matrix must come out with the OpenCV type of `type`.
    static Zarn::CImage*
    ForEachPlane(const Zarn::CImage& input, const Zarn::IImage::CType& type,
                 const std::function<void(const cv::Mat&, cv::Mat&)>& operation);

protected:
    // name: the plug-in name ("GaussianBlur"); label: what the new document's label gets
    // appended ("Gaussian blur").
    CImageToolBase(const char* name, const char* label);

    // Reads the keys the tool knows from the map; all or nothing (see above).
    virtual void TakeParameters(const Zarn::CValueMap& parameters) = 0;
    // The effective parameters of the last run, or the current ones before any run.
    virtual ParameterList Parameters() const = 0;
    // Whether the tool works on this image type with some valid parameters; never a question of
    // the current parameters (see Misfit).
    virtual bool Accepts(const Zarn::IImage::CType& type) const = 0;
    // Why the type is refused; by default "<Tool> does not work on <type> images."
    virtual std::string RefusalText(const Zarn::IImage::CType& type) const;
    // Which current parameter does not fit an accepted image type, and why; nothing by default.
    virtual std::optional<SParameterMisfit> Misfit(const Zarn::IImage::CType& type) const;
    // The result image, owned by the caller. May store what the run found out (an automatic
    // threshold) in the tool's members. Throws CExBadParam when it cannot work.
    virtual Zarn::CImage* Process(const Zarn::CImage& input) = 0;
    // Lets a tool look at the rest of the toolbox's picture ("views/active"); GUI thread only.
    // TestInput answers whether the tool can run with it, KeepInput keeps what Run needs.
    virtual bool TestInput(const Zarn::CValueMap& input, const Zarn::CImage& image);
    virtual void KeepInput(const Zarn::CValueMap& input, const Zarn::CImage* image);

private:
    const Zarn::CValueMap* DocumentToRun(const Zarn::CValueMap& data) const;

    std::string m_strName;
    std::string m_strLabel;
    // Written by the GUI thread while a threaded run may read it.
    std::atomic<const Zarn::CValueMap*> m_pFocusedDocument;
};

namespace ImageTools
{
// Tools whose values have nothing that fails on some image types find no misfit.
template <class TValues>
std::optional<CImageToolBase::SParameterMisfit> FindMisfit(const TValues& /*values*/,
                                                           const Zarn::IImage::CType& /*type*/)
{
    return std::nullopt;
}
} // namespace ImageTools

// The image tool of one parameter set. TValues, a struct in namespace ImageTools, holds the tool's
// plug-in name (kszName), the label its documents get (kszLabel) and its parameter values with
// their defaults. The tool's source file gives its operations as functions of namespace
// ImageTools, found through TValues:
//   void ReadParameters(TValues&, const CImageToolBase&, const Zarn::CValueMap& parameters)
//   CImageToolBase::ParameterList ListParameters(const TValues&)
//   bool AcceptsType(const TValues&, const Zarn::IImage::CType&)
//   Zarn::CImage* ProcessImage(TValues&, const Zarn::CImage& input)
//   std::optional<CImageToolBase::SParameterMisfit> FindMisfit(const TValues&, const CType&)
//     (optional: without it, no misfit)
// each meaning what the virtual operation of CImageToolBase it stands for means, and ends with
// `template class CImageTool<ImageTools::TValues>;` (its header declares that extern). Reading
// is all or nothing: ReadParameters works on a copy that replaces the values only when it
// returns. Owns its values; threads as CImageToolBase.
template <class TValues> class CImageTool final : public CImageToolBase
{
public:
    CImageTool() : CImageToolBase(TValues::kszName, TValues::kszLabel) {}

protected:
    void TakeParameters(const Zarn::CValueMap& parameters) override;
    ParameterList Parameters() const override;
    bool Accepts(const Zarn::IImage::CType& type) const override;
    std::optional<SParameterMisfit> Misfit(const Zarn::IImage::CType& type) const override;
    Zarn::CImage* Process(const Zarn::CImage& input) override;

private:
    TValues m_values;
};

template <class TValues> void CImageTool<TValues>::TakeParameters(const Zarn::CValueMap& parameters)
{
    TValues values = m_values;
    ReadParameters(values, *this, parameters);
    m_values = values;
}

template <class TValues> CImageToolBase::ParameterList CImageTool<TValues>::Parameters() const
{
    return ListParameters(m_values);
}

template <class TValues> bool CImageTool<TValues>::Accepts(const Zarn::IImage::CType& type) const
{
    return AcceptsType(m_values, type);
}

template <class TValues>
std::optional<CImageToolBase::SParameterMisfit>
CImageTool<TValues>::Misfit(const Zarn::IImage::CType& type) const
{
    return FindMisfit(m_values, type);
}

template <class TValues> Zarn::CImage* CImageTool<TValues>::Process(const Zarn::CImage& input)
{
    return ProcessImage(m_values, input);
}
