#pragma once

// The one error wrapping of the module's plug-ins. Runs on the caller's thread, owns nothing and
// sends no messages; what it throws is listed at each function.
namespace DocView
{

// Rethrows the exception being handled as one Zarn::CException naming `szOperation`
// ("CNavigatorPlugin::Init"). Only to be called from inside a catch clause.
//   Zarn::CException -> function "<szOperation> - " + the caught "Function" entry, what and
//                       instance of the caught one;
//   std::exception   -> function szOperation, what = what(), no instance;
//   anything else    -> function szOperation, what "UNKNWON EXCEPTION!", no instance.
[[noreturn]] void RethrowWrapped(const char* szOperation);

// Runs `body` inside the error wrapping of the plug-ins' Init and UpdateParameters: whatever
// leaves it reaches the caller as a Zarn::CException built by RethrowWrapped. Whatever state the
// body changed before it threw stays changed.
template <class TBody> void RunWrapped(const char* szOperation, TBody&& body)
{
    try
    {
        body();
    }
    catch (...)
    {
        RethrowWrapped(szOperation);
    }
}

} // namespace DocView
