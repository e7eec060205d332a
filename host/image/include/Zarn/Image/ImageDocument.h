#pragma once

#include <Zarn/Image/Image.h>
#include <Zarn/Value/ValueContainer.h>

#include <string>

// Document helpers: free of state; the documents and images they read are lent, New and Read
// hand the new document to the caller. Any thread, one document at a time. No messages: the
// repository announces documents.
namespace Zarn
{

// The document map of an image, as the repository keeps it and the views and tools read it:
//
//   "label"          the name shown to the user (the file name without its folder)
//   "type"           "image"
//   "content"        the image, owned by the document
//   "filename"       the file the image was read from or last saved to; absent for a new result
//   "is_saved/image" true while the file holds what the document holds
//   "process step"   how a tool made the image: a "plugin" step of a process description with the
//                    tool's name and the parameters it used, so that a recording can replay it
//   "process chain"  every step from the document no tool made (a file) to this one, oldest first,
//                    this document's own step last: a process description's "process" vector
//
// A document without "is_saved/image" has changes that would be lost on closing.
namespace ImageDocument
{

inline constexpr const char* kType = "image";

// A new document owning the image. An empty path leaves "filename" out and the document unsaved.
ZARN_IMAGE_API CValueMap* Create(CImage* image, const std::string& label,
                                 const std::string& path = std::string());

// Reads the file (CImageFile::Read, failures included) into a new, saved document whose label is
// the file name and whose "filename" is the absolute path.
ZARN_IMAGE_API CValueMap* Read(const std::string& path);

// Writes the document's image with its header to the path; the document is not changed.
// A document without an image throws CExBadParam.
ZARN_IMAGE_API void Write(const CValueMap& document, const std::string& path);

// The image of the document, or null when "content" is missing or holds no image.
ZARN_IMAGE_API CImage* Image(CValueMap& document);
ZARN_IMAGE_API const CImage* Image(const CValueMap& document);

// "filename", or empty.
ZARN_IMAGE_API std::string FileName(const CValueMap& document);
// "label", or "Unnamed" as the repository names a document without one.
ZARN_IMAGE_API std::string Label(const CValueMap& document);
ZARN_IMAGE_API bool IsSaved(const CValueMap& document);

// Writes "process step" = {"type": "plugin", "plugin": plugin, "parameters": a copy of parameters}
// and "process chain" = the chain of `source` (the document the tool worked on; none: empty)
// followed by the step. Results of results thus know every step back to the file, however the
// session branched. "process origin" names that file: the origin of `source` when it has a chain,
// else its "filename"; it is left out when the chain starts at an image that no file holds and
// no recorded step made (a process's result, say), whose chain would not replay. `source` is
// only read.
ZARN_IMAGE_API void SetProcessStep(CValueMap& document, const std::string& plugin,
                                   const CValueMap& parameters, const CValueMap* source = nullptr);
// The document's "process step", or null when no tool left one.
ZARN_IMAGE_API const CValueMap* ProcessStep(const CValueMap& document);
// A copy of the steps that made the document, oldest first: its "process chain", or its
// "process step" alone when it has no chain; empty when no tool made it.
ZARN_IMAGE_API CValueVector ProcessChain(const CValueMap& document);
// The file the document's chain starts from ("process origin"); empty when it is not known.
ZARN_IMAGE_API std::string ProcessOrigin(const CValueMap& document);

} // namespace ImageDocument

} // namespace Zarn
