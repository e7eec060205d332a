#pragma once

#include "DocumentToolBase.h"

// "CloseDocument": closes the focused document, runnable while one is focused. A document with
// unsaved changes asks first (ImageTools::AskSaveChanges): Save saves it as "SaveImage" does
// (asking for a path when it has no file; the description's "file" answers instead) and closes
// only when that worked, Discard closes, Cancel does nothing.
//
// Closing lists the document under "output/documents/remove"; the repository then removes and
// deletes it. A failed save is reported in "output/error/message" and the document stays.
// GUI thread only ("threaded": false). Ownership, errors and messages: as CDocumentToolBase.
class CCloseDocumentTool : public CDocumentToolBase
{
public:
    CCloseDocumentTool();

    void Run(Zarn::CValueMap& data) override;
};
