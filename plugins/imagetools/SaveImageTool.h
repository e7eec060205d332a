#pragma once

#include "DocumentToolBase.h"

// "SaveImage": writes the focused document's image with its header to the document's file; a
// document without one is saved as with "SaveImageAs". Runnable while the focused document
// holds an image. The path asked for comes from the description's "file" when it has one (for
// runs without a user), else from a file dialog; cancelling it gives no output.
//
// A saved document is listed under "output/documents/update" with its "update" map set, so that
// the repository marks it saved (see ImageTools::SaveImageDocument). A failure (a format that
// cannot store the image, a write error) is reported in "output/error/message" and leaves the
// document unsaved. The document is lent by the toolbox, or given at "input/documents/focused"
// of the run data by a batch process. GUI thread only ("threaded": false). Ownership, errors
// and messages: as CDocumentToolBase.
class CSaveImageTool : public CDocumentToolBase
{
public:
    CSaveImageTool();

    void Run(Zarn::CValueMap& data) override;

protected:
    // bAlwaysAsk: ask for the path even when the document has a file.
    CSaveImageTool(const char* name, bool bAlwaysAsk);

private:
    bool m_bAlwaysAsk;
};

// "SaveImageAs": as "SaveImage", but always asks for the path. The label then becomes the new
// file name.
class CSaveImageAsTool : public CSaveImageTool
{
public:
    CSaveImageAsTool();
};
