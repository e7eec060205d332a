#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <string>
#include <vector>

// "OpenImage": reads image files into new documents. Always runnable. The files are the
// description's "files" (a list of paths, for runs without a user) when it has one, else the
// user's choice in a file dialog that starts in the folder last used; a cancelled dialog gives
// no output.
//
// Run lists every document read under "output/documents/add" (lent; the receiver owns them).
// Files that cannot be read are skipped and named in "output/error/message", one line each with
// the path and the reason. A file whose header claims more pixels than this computer should
// decode (CImageSizeGuard) is opened only when the user who chose it says so; a description's
// file is refused with that reason. GUI thread only ("threaded": false): it may show a dialog.
// Owns nothing after a run. Init throws a Zarn::CException for "files" that is not a list of
// texts; Run reports unreadable files instead of throwing. Sends and handles no messages.
class COpenImageTool : public Zarn::CPluginBase
{
public:
    COpenImageTool();

    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Reads "files"; anything there but a list of texts throws a Zarn::CException.
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    void Run(Zarn::CValueMap& data) override;

private:
    bool m_bHasFiles;
    std::vector<std::string> m_lstFiles;
};
