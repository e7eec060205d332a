#pragma once

#include <Zarn/Value/ValueContainer.h>

#include <string>

// What the document tools (open, save, close) share: reading their input, writing their output,
// and saving a document. GUI thread only: saving may ask the user. The documents handled are lent
// by the caller; saving reports failures in its result instead of throwing. No messages.
namespace ImageTools
{

// The document at "input/documents/focused" of a toolbox input, lent; null when there is none.
// A value there that is no document pointer throws the CExBadParam of Zarn::UnwrapPointer.
Zarn::CValueMap* FocusedDocument(const Zarn::CValueMap& parameters);

// Appends a lent pointer to the document to the vector at `path` ("output/documents/update"),
// making the vector when it is missing.
void ListDocument(Zarn::CValueMap& data, const char* path, Zarn::CValueMap* document);

// The set-up record of a document tool: "Version", "PluginType" = "Tool", "PluginSubType" =
// "Document", "PluginName" = name.
void WriteDocumentToolSetup(Zarn::CValueMap& setup, const std::string& name);

// Sets "output/error/message"; the toolbox shows it when "output/error" exists, which the
// message makes.
void ReportError(Zarn::CValueMap& data, const std::string& message);

// The folder of the last file opened or saved through a dialog; the user's current folder at
// first.
std::string LastUsedFolder();
void RememberFolderOf(const std::string& path);

// The name Save As proposes: the label, with ".tif" added when the label names no image format.
std::string ProposedFileName(const std::string& label);

struct SSaveResult
{
    enum EnOutcome
    {
        soSaved,
        soCancelled,
        soFailed,
    };
    EnOutcome m_enOutcome = soCancelled;
    std::string m_strError; // for soFailed: says which document, where and why
};

// Writes the document's image with its header. The path is the document's "filename"; with
// bAskPath, or when there is none, `presetPath` when it is not empty, else ChooseSavePath (a
// chosen name without extension gets ".tif"). A format that cannot store the image fails before
// anything is written; a failed write leaves an old file as it was.
//
// After a good write the document carries "filename" (absolute), an "update" map for the
// repository's UPDATE_DOCUMENT ("label" true only when the file name changed, "content" false,
// "is_saved/image" true) and, when the file name changed, the new file name as "label". Listing
// it under "output/documents/update" is the caller's part. Cancelled or failed: unchanged.
SSaveResult SaveImageDocument(Zarn::CValueMap& document, bool bAskPath,
                              const std::string& presetPath);

} // namespace ImageTools
